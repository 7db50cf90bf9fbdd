#include "LogCapture.h"
#include "WavReader.h"
#include "Y4mReader.h"

#include "common/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using namespace qvenc;

namespace {

class Files : public ::testing::Test {
protected:
    void SetUp() override { m_dir = qvtest::MakeTempDir("qvencode-readers"); }
    void TearDown() override { qvtest::RemoveTree(m_dir); }
    std::string Write(const std::string& name, const std::string& bytes) {
        const std::string path = m_dir + "/" + name;
        FILE* f = std::fopen(path.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        return path;
    }
    std::string m_dir;
};

std::string Le32(uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; }
std::string Le16(uint16_t v) { return std::string{char(v), char(v >> 8)}; }

std::string Fmt(uint16_t tag, int channels, int rate, int bits) {
    return "fmt " + Le32(16) + Le16(tag) + Le16(channels) + Le32(rate) + Le32(rate * channels * bits / 8) +
           Le16(channels * bits / 8) + Le16(bits);
}

std::string Wav(const std::string& chunks) { return "RIFF" + Le32(4 + chunks.size()) + "WAVE" + chunks; }

using Y4m = Files;
using Wave = Files;

}  // namespace

TEST_F(Y4m, ReadsTagsAndPlanesInOrder) {
    // 5x3: odd sizes give 3x2 chroma planes; bytes count up so order shows.
    std::string frame;
    for (int i = 0; i < 15 + 6 + 6; ++i) frame.push_back(char(i));
    const std::string path =
        Write("a.y4m", "YUV4MPEG2 W5 H3 F30000:1001 Ip A4:3 C420jpeg XYSCSS=420JPEG\nFRAME\n" + frame + "FRAME Ixyz\n" + frame);
    Y4mReader r;
    ASSERT_TRUE(r.Open(path)) << r.Error();
    EXPECT_EQ(r.Header().rate.num, 30000);
    EXPECT_EQ(r.Header().rate.den, 1001);
    EXPECT_EQ(r.Header().parNum * 10 + r.Header().parDen, 43);
    EXPECT_EQ(r.FrameCount(), -1);  // the second frame header has parameters
    Picture p;
    for (int n = 0; n < 2; ++n) {
        ASSERT_EQ(r.ReadFrame(p), 1) << r.Error();
        EXPECT_EQ(p.plane[0][14], 14);
        EXPECT_EQ(p.plane[1][0], 15);  // U (Cb) follows Y
        EXPECT_EQ(p.plane[2][5], 26);
        EXPECT_EQ(p.pitch[1], 3);
    }
    EXPECT_EQ(r.ReadFrame(p), 0);
}

TEST_F(Y4m, CountsFramesOfARegularFile) {
    const std::string frame = "FRAME\n" + std::string(4 * 2 + 2 * 2 * 1, 'x');
    Y4mReader r;
    ASSERT_TRUE(r.Open(Write("b.y4m", "YUV4MPEG2 W4 H2\n" + frame + frame + frame)));
    EXPECT_EQ(r.FrameCount(), 3);
    EXPECT_EQ(r.Header().rate.num, 25);  // no F tag
}

TEST_F(Y4m, RefusesWhatItCannotRead) {
    struct Case {
        std::string bytes, fragment;
    } cases[] = {
        {"YUV4MPEG2 W4 H2 C444\n", "C444"},
        {"YUV4MPEG2 W4 H2 C420p10\n", "only 4:2:0 8-bit"},
        {"YUV4MPEG2 W4\n", "picture size"},
        {"YUV4MPEG2 W4 H2 F0:1\n", "frame rate"},
        {"RIFF....WAVE", "not a YUV4MPEG2"},
        {"", "empty"},
    };
    for (const Case& c : cases) {
        Y4mReader r;
        const std::string path = Write("bad.y4m", c.bytes);
        EXPECT_FALSE(r.Open(path)) << c.fragment;
        EXPECT_NE(r.Error().find(c.fragment), std::string::npos) << r.Error();
        EXPECT_EQ(r.Error().rfind(path, 0), 0u) << "the message names the file: " << r.Error();
    }
}

TEST_F(Y4m, ReportsATruncatedFrame) {
    Y4mReader r;
    ASSERT_TRUE(r.Open(Write("t.y4m", "YUV4MPEG2 W4 H2\nFRAME\n" + std::string(12, 'a') + "FRAME\n" + std::string(7, 'a'))));
    Picture p;
    EXPECT_EQ(r.ReadFrame(p), 1);
    EXPECT_EQ(r.ReadFrame(p), -1);
    EXPECT_NE(r.Error().find("truncated frame 1"), std::string::npos) << r.Error();
}

TEST_F(Wave, ReadsSixteenBitPcmPastOtherChunks) {
    const std::string data = Le16(1) + Le16(0xFFFF) + Le16(300) + Le16(0x8000);
    // An odd-sized chunk is padded to an even length.
    const std::string path = Write("s.wav", Wav(Fmt(1, 2, 22050, 16) + "LIST" + Le32(3) + "abc" + std::string(1, '\0') +
                                              "data" + Le32(data.size()) + data));
    WavReader w;
    ASSERT_TRUE(w.Open(path)) << w.Error();
    EXPECT_EQ(w.SampleRate(), 22050);
    EXPECT_EQ(w.Channels(), 2);
    EXPECT_EQ(w.TotalFrames(), 2);
    std::vector<int16_t> s;
    ASSERT_EQ(w.Read(s, 100), 2);
    EXPECT_EQ(s, (std::vector<int16_t>{1, -1, 300, -32768}));
    EXPECT_EQ(w.Read(s, 100), 0);
}

TEST_F(Wave, StreamedLengthMeansToTheEndOfTheFile) {
    WavReader w;
    ASSERT_TRUE(w.Open(Write("u.wav", Wav(Fmt(1, 1, 8000, 16) + "data" + Le32(0xFFFFFFFF) + std::string(7, '\0')))));
    EXPECT_EQ(w.TotalFrames(), 3);  // the odd byte is not a sample
}

TEST_F(Wave, RefusesOtherFormatsAndTruncation) {
    struct Case {
        std::string bytes, fragment;
    } cases[] = {
        {Wav(Fmt(1, 1, 8000, 8) + "data" + Le32(2) + "ab"), "8-bit"},
        {Wav(Fmt(1, 1, 8000, 24) + "data" + Le32(3) + "abc"), "24-bit"},
        {Wav(Fmt(3, 1, 8000, 32) + "data" + Le32(4) + "abcd"), "not PCM"},
        {Wav(Fmt(1, 6, 8000, 16) + "data" + Le32(12) + std::string(12, 'a')), "6 channels"},
        {Wav(Fmt(1, 1, 8000, 16) + "data" + Le32(1000) + std::string(10, 'a')), "declares 1000 bytes"},
        {Wav(Fmt(1, 1, 8000, 16)), "no data chunk"},
        {std::string("RIFF\x10\0\0\0WAVEfmt ", 16), "truncated"},
        {"RIFX", "truncated WAV header"},
    };
    for (const Case& c : cases) {
        WavReader w;
        const std::string path = Write("bad.wav", c.bytes);
        EXPECT_FALSE(w.Open(path)) << c.fragment;
        EXPECT_NE(w.Error().find(c.fragment), std::string::npos) << w.Error();
        EXPECT_EQ(w.Error().rfind(path, 0), 0u) << w.Error();
    }
}

TEST(LogTail, KeepsTheLastNonEmptyLines) {
    EXPECT_EQ(LastLines("a\r\nb\r\n\r\nc", 2), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(LastLines("QVInitEncodersFound Muxer", 5), (std::vector<std::string>{"QVInitEncodersFound Muxer"}));
    EXPECT_TRUE(LastLines("\n\r\n", 3).empty());
}
