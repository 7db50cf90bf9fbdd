#include "OutputFile.h"

#include "Job.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace qvenc {

int CheckOutput(const std::string& path, Overwrite policy, bool canAsk, FILE* prompt, FILE* answers,
                const std::vector<std::string>& inputs, std::string& error) {
    struct stat out;
    if (stat(path.c_str(), &out) != 0) return 0;
    for (const std::string& in : inputs) {
        struct stat st;
        if (in != "-" && stat(in.c_str(), &st) == 0 && st.st_dev == out.st_dev && st.st_ino == out.st_ino) {
            error = "'" + path + "' is also an input; write to another file";
            return kExitUsage;
        }
    }
    if (policy == Overwrite::Yes) return 0;
    if (policy == Overwrite::Ask && canAsk) {
        std::fprintf(prompt, "File '%s' already exists. Overwrite? [y/N] ", path.c_str());
        std::fflush(prompt);
        char answer[64] = {0};
        if (std::fgets(answer, sizeof answer, answers) && (answer[0] == 'y' || answer[0] == 'Y')) return 0;
        error = "not overwriting '" + path + "'";
        return kExitUsage;
    }
    error = "'" + path + "' already exists" + (policy == Overwrite::No ? "" : " (-y overwrites it)");
    return kExitUsage;
}

FileStamp StampFile(const std::string& path) {
    FileStamp f;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return f;
    f.exists = true;
    f.device = st.st_dev;
    f.inode = st.st_ino;
    f.size = st.st_size;
    f.modifiedNs = static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
    return f;
}

int RemoveFailedOutput(const std::string& path, const FileStamp& before) {
    const FileStamp now = StampFile(path);
    if (!now.exists) return 0;
    struct stat st;
    // Special files (/dev/null, a pipe) are written through, never removed;
    // a file this run did not touch is not this run's to remove.
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return 0;
    if (before.exists && now.device == before.device && now.inode == before.inode && now.size == before.size &&
        now.modifiedNs == before.modifiedNs)
        return 0;
    return std::remove(path.c_str()) == 0 ? 1 : -1;
}

}  // namespace qvenc
