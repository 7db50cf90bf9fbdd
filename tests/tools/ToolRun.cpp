#include "ToolRun.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace qvtools {

namespace {

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

}  // namespace

ToolResult Command(const std::vector<std::string>& args) {
    std::string cmd = "env -u QUEVARRA_BUNDLE -u QUEVARRA_LOG";
    for (const std::string& a : args) cmd += " " + Quote(a);
    cmd += " < /dev/null 2>&1";
    ToolResult run;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return run;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) run.output.append(buf, n);
    const int status = pclose(p);
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

ToolResult Qvencode(const std::vector<std::string>& args) {
    std::vector<std::string> all{QVENCODE_PATH};
    all.insert(all.end(), args.begin(), args.end());
    return Command(all);
}

bool HaveProgram(const std::string& name) { return Command({"sh", "-c", "command -v " + name}).code == 0; }

bool FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace qvtools
