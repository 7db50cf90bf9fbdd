// Usage and input errors of the built program: exit codes, messages, and no
// output file left behind.
#include "ToolRun.h"

using namespace qvtools;

using Cli = TempDirTest;

TEST_F(Cli, BadUsageExitsWithOneAndShowsUsage) {
    const std::string out = Path("o.mp4");
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, ""},
        {{"-s", "0x480", out}, "bad size '0x480'"},
        {{"-s", "640x", out}, "bad size"},
        {{"-f", "TOOLONG", out}, "bad FourCC 'TOOLONG'"},
        {{"-c:v", "", out}, ""},
        {{"--interp", "cubic", out}, ""},
        {{Path("o.unknown")}, ""},
        {{"--bogus", out}, ""},
    };
    for (const auto& [args, fragment] : cases) {
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 1) << r.output;
        EXPECT_NE(r.output.find("usage: qvencode"), std::string::npos) << r.output;
        EXPECT_NE(r.output.find(fragment), std::string::npos) << r.output;
    }
    EXPECT_EQ(Qvencode({"--help"}).code, 0);
}

TEST_F(Cli, UnreadableInputExitsWithTwoNamingTheFile) {
    const std::string frame = "FRAME\n" + std::string(12, 'a');  // one whole 4x2 picture
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"-i", Path("missing.y4m")}, "missing.y4m: No such file"},
        {{"-i", Write("short.y4m", "YUV4MPEG2 W4 H2\n" + frame + "FRAME\nabc")}, "short.y4m: truncated frame 1"},
        {{"-a", Write("cut.wav", Wav(Fmt(1, 1, 8000, 16) + "data" + Le32(8000) + std::string(100, '\0')))},
         "cut.wav: truncated WAV: the data chunk declares 8000 bytes"},
        {{"-a", Write("u8.wav", Wav(Fmt(1, 1, 8000, 8) + "data" + Le32(2) + "ab"))}, "u8.wav: 8-bit samples"},
        {{"-i", Write("odd.bgra", std::string(4 * 4 * 4 + 3, 'x')), "--raw", "bgra", "--size", "4x4", "--rate", "25"},
         "odd.bgra: size 67 is not a whole number"},
    };
    for (auto [args, fragment] : cases) {
        args.push_back(Path("out.mkv"));
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 2) << r.output;
        EXPECT_NE(r.output.find(fragment), std::string::npos) << r.output;
        EXPECT_FALSE(FileExists(Path("out.mkv"))) << fragment;
    }
}
