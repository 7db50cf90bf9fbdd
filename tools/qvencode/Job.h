// One qvencode run: inputs opened, the file written through the library.
#ifndef QVENCODE_JOB_H
#define QVENCODE_JOB_H

#include "Options.h"

#include <cstdint>

namespace qvenc {

enum ExitCode { kExitOk = 0, kExitUsage = 1, kExitInput = 2, kExitLibrary = 3, kExitInterrupted = 130 };

// Writes options.output; messages go to standard error. Returns the exit code.
int RunJob(const Options& options);
// --list. Returns the exit code.
int RunList(const Options& options);

// 100-ns time of item `index` at `perSecond` items per second given as a
// ratio num/den, rounded to the nearest unit (exact for 30000/1001).
int64_t StampOf(long long index, int64_t num, int64_t den);

}  // namespace qvenc

#endif
