// Usage and input errors of the built program: exit codes, messages, and no
// output file left behind.
#include "ToolRun.h"

#include "common/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace qvtools;

namespace {

class Cli : public ::testing::Test {
protected:
    void SetUp() override { m_dir = qvtest::MakeTempDir("qvencode-cli"); }
    void TearDown() override { qvtest::RemoveTree(m_dir); }
    std::string Path(const std::string& name) const { return m_dir + "/" + name; }
    std::string Write(const std::string& name, const std::string& bytes) {
        FILE* f = std::fopen(Path(name).c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        return Path(name);
    }
    std::string m_dir;
};

std::string Le32(uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }
std::string Le16(uint16_t v) { return std::string{char(v), char(v >> 8)}; }
std::string Wav(int bits, uint32_t declared, size_t present) {
    const std::string fmt = "fmt " + Le32(16) + Le16(1) + Le16(1) + Le32(8000) + Le32(8000 * bits / 8) +
                            Le16(bits / 8) + Le16(bits);
    return "RIFF" + Le32(36 + declared) + "WAVE" + fmt + "data" + Le32(declared) + std::string(present, '\0');
}

}  // namespace

TEST_F(Cli, BadUsageExitsWithOneAndShowsUsage) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"-s", "0x480", Path("o.mp4")},
        {"-s", "640x", Path("o.mp4")},
        {"-f", "TOOLONG", Path("o.mp4")},
        {"-c:v", "", Path("o.mp4")},
        {"--interp", "cubic", Path("o.mp4")},
        {Path("o.unknown")},
        {"--bogus", Path("o.mp4")},
    };
    for (const auto& args : cases) {
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 1) << r.output;
        EXPECT_NE(r.output.find("usage: qvencode"), std::string::npos) << r.output;
    }
    EXPECT_NE(Qvencode({"-s", "0x480", Path("o.mp4")}).output.find("bad size '0x480'"), std::string::npos);
    EXPECT_NE(Qvencode({"-f", "TOOLONG", Path("o.mp4")}).output.find("bad FourCC 'TOOLONG'"), std::string::npos);
    EXPECT_EQ(Qvencode({"--help"}).code, 0);
}

TEST_F(Cli, UnreadableInputExitsWithTwoNamingTheFile) {
    struct Case {
        std::vector<std::string> args;
        std::string fragment;
    } cases[] = {
        {{"-i", Path("missing.y4m")}, "missing.y4m: No such file"},
        {{"-i", Write("text.y4m", "hello\n")}, "text.y4m: not a YUV4MPEG2 stream"},
        {{"-i", Write("422.y4m", "YUV4MPEG2 W4 H2 C422\nFRAME\n")}, "422.y4m: unsupported colour space 'C422'"},
        {{"-i", Write("short.y4m", "YUV4MPEG2 W4 H2\nFRAME\nabc")}, "short.y4m: truncated frame 0"},
        {{"-a", Write("cut.wav", Wav(16, 8000, 100))}, "cut.wav: truncated WAV"},
        {{"-a", Write("u8.wav", Wav(8, 100, 100))}, "u8.wav: 8-bit samples"},
        {{"-a", Write("s24.wav", Wav(24, 99, 99))}, "s24.wav: 24-bit samples"},
        {{"-i", Write("odd.bgra", std::string(4 * 4 * 4 + 3, 'x')), "--raw", "bgra", "--size", "4x4", "--rate", "25"},
         "odd.bgra: size 67 is not a whole number"},
    };
    for (Case& c : cases) {
        c.args.push_back(Path("out.mkv"));
        const ToolResult r = Qvencode(c.args);
        EXPECT_EQ(r.code, 2) << r.output;
        EXPECT_NE(r.output.find(c.fragment), std::string::npos) << r.output;
        EXPECT_FALSE(FileExists(Path("out.mkv"))) << c.fragment;
    }
}
