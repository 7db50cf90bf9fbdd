// Messages and exit codes of the built program that need no plugins: usage
// errors, help, versions and inputs that cannot be read.
#include "ToolRun.h"

using namespace qvtools;

using Cli = TempDirTest;

TEST_F(Cli, UsageErrorsSayOneLineAndPointToHelp) {
    const std::string out = Path("o.mp4");
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "no output file given"},
        {{"-s", "0x480", out}, "-s: bad size '0x480'"},
        {{"-y", "-n", out}, "-y and -n contradict each other"},
        {{"--interp", "cubic", out}, "--interp: unknown method 'cubic'"},
        {{"--bogus", out}, "unknown option '--bogus'"},
        {{"-i", Path("x.rgb"), "--raw", "nosuchformat", "--size", "4x4", "--rate", "25", out},
         "--raw: unknown pixel format 'nosuchformat'"},
    };
    for (const auto& [args, message] : cases) {
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 1) << r.output;
        // The problem on one line, then the pointer to -h; never the usage.
        const size_t end = r.output.find('\n');
        EXPECT_EQ(r.output.rfind("qvencode: " + message, 0), 0u) << r.output;
        EXPECT_EQ(r.output.substr(end == std::string::npos ? 0 : end + 1), "Try 'qvencode -h'.\n") << r.output;
    }
    const ToolResult help = Qvencode({"-h"});
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.output.rfind("usage: qvencode", 0), 0u) << help.output;
    const ToolResult version = Qvencode({"--version"});
    EXPECT_EQ(version.code, 0);
    for (const char* part : {"qvencode ", "libavformat ", "libavcodec ", "libswscale ", "libswresample "})
        EXPECT_NE(version.output.find(part), std::string::npos) << version.output;
}

TEST_F(Cli, UnreadableInputsExitWithTwoNamingTheInput) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"-i", Path("missing.mp4")}, "missing.mp4: No such file or directory"},
        {{"-i", Write("notes.mp4", "these are not pictures\n")}, "notes.mp4: Invalid data found"},
        {{"-a", Path("missing.wav")}, "missing.wav: No such file or directory"},
    };
    for (auto [args, fragment] : cases) {
        args.push_back(Path("out.mkv"));
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 2) << r.output;
        EXPECT_NE(r.output.find(fragment), std::string::npos) << r.output;
        EXPECT_EQ(r.output.find("usage:"), std::string::npos) << r.output;
        EXPECT_FALSE(FileExists(Path("out.mkv"))) << fragment;
    }
}
