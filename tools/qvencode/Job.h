// One qvencode run: inputs opened, the file written through the library.
#ifndef QVENCODE_JOB_H
#define QVENCODE_JOB_H

#include "Options.h"

namespace qvenc {

enum ExitCode { kExitOk = 0, kExitUsage = 1, kExitInput = 2, kExitLibrary = 3, kExitInterrupted = 130 };

// Writes options.output; messages go to standard error. Returns the exit code.
int RunJob(const Options& options);
// --list. Returns the exit code.
int RunList(const Options& options);

// One line for the user on standard error: "qvencode: TEXT".
void Say(const std::string& text);

}  // namespace qvenc

#endif
