// Helpers of the qvencode tests: running commands and a temporary directory.
#ifndef QVENCODE_TESTS_TOOLRUN_H
#define QVENCODE_TESTS_TOOLRUN_H

#include "common/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
#include <sys/wait.h>
#include <unistd.h>

namespace qvtools {

struct ToolResult {
    int code = -1;       // exit status; -1 when it did not exit normally
    std::string output;  // standard output and standard error together
};
// Runs a command (arguments are quoted) with QUEVARRA_BUNDLE and QUEVARRA_LOG
// unset, standard input from `input` (a file; /dev/null when empty).
inline ToolResult Command(const std::vector<std::string>& args, const std::string& input = "") {
    std::string cmd = "env -u QUEVARRA_BUNDLE -u QUEVARRA_LOG";
    for (const std::string& a : args) {
        cmd += " '";
        for (char c : a) cmd += c == '\'' ? std::string("'\\''") : std::string(1, c);
        cmd += "'";
    }
    cmd += " < '" + (input.empty() ? std::string("/dev/null") : input) + "' 2>&1";
    ToolResult run;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return run;
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) run.output.append(buf, n);
    const int status = pclose(p);
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}
#ifdef QVENCODE_PATH
inline ToolResult Qvencode(const std::vector<std::string>& args, const std::string& input = "") {
    // Codec libraries unloaded with the plugins at exit keep allocations that a
    // sanitizer build would report as leaks of the child; the library's own
    // leaks are checked in-process by the other tests.
    std::vector<std::string> all{"ASAN_OPTIONS=detect_leaks=0", QVENCODE_PATH};
    all.insert(all.end(), args.begin(), args.end());
    return Command(all, input);
}
#endif
inline bool HaveProgram(const std::string& name) { return Command({"sh", "-c", "command -v " + name}).code == 0; }
inline bool FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class TempDirTest : public ::testing::Test {
protected:
    void SetUp() override { m_dir = qvtest::MakeTempDir("qvencode-test"); }
    void TearDown() override {
        if (!m_dir.empty()) qvtest::RemoveTree(m_dir);
    }
    std::string Path(const std::string& name) const { return m_dir + "/" + name; }
    std::string Write(const std::string& name, const std::string& bytes) const {
        FILE* f = std::fopen(Path(name).c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        return Path(name);
    }
    std::string m_dir;
};

}  // namespace qvtools

#endif
