// The output file before and after the library writes it: whether it may be
// written at all, and its removal when the run fails.
#ifndef QVENCODE_OUTPUTFILE_H
#define QVENCODE_OUTPUTFILE_H

#include <cstdio>
#include <string>
#include <vector>

namespace qvenc {

enum class Overwrite { Ask, Yes, No };

// Whether `path` may be written: 0 yes, else the exit code with `error` set.
// An existing file is overwritten with Yes, refused with No, and with Ask
// the user is asked on `prompt` and answers on `answers` when `canAsk` (a
// terminal), otherwise refused. An output that is one of the inputs is
// always refused.
int CheckOutput(const std::string& path, Overwrite policy, bool canAsk, FILE* prompt, FILE* answers,
                const std::vector<std::string>& inputs, std::string& error);

// What a file was before the run wrote it, to tell afterwards whether the run
// touched it.
struct FileStamp {
    bool exists = false;
    unsigned long long device = 0, inode = 0;
    long long size = 0, modifiedNs = 0;
};
FileStamp StampFile(const std::string& path);

// Removes the output of a failed run if this run wrote it: a regular file
// that did not exist before or has changed since. 1 = removed, 0 = nothing
// of this run's to remove, -1 = it could not be removed.
int RemoveFailedOutput(const std::string& path, const FileStamp& before);

}  // namespace qvenc

#endif
