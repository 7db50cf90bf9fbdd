// Runs the built qvencode (or another command) and collects what it printed.
#ifndef QVENCODE_TESTS_TOOLRUN_H
#define QVENCODE_TESTS_TOOLRUN_H

#include <string>
#include <vector>

namespace qvtools {

struct ToolResult {
    int code = -1;       // exit status; -1 when it did not exit normally
    std::string output;  // standard output and standard error together
};

// Runs a command (arguments are quoted) with QUEVARRA_BUNDLE and QUEVARRA_LOG unset.
ToolResult Command(const std::vector<std::string>& args);
ToolResult Qvencode(const std::vector<std::string>& args);
bool HaveProgram(const std::string& name);
bool FileExists(const std::string& path);
std::string ReadFile(const std::string& path);

}  // namespace qvtools

#endif
