#include "ToolRun.h"
#include "WavReader.h"
#include "Y4mReader.h"

using namespace qvenc;
using namespace qvtools;

using Y4m = TempDirTest;
using Wave = TempDirTest;
using Files = TempDirTest;

TEST_F(Y4m, ReadsTagsPlanesAndFrameCount) {
    // 5x3: odd sizes give 3x2 chroma planes; bytes count up so order shows.
    std::string frame;
    for (int i = 0; i < 15 + 6 + 6; ++i) frame.push_back(char(i));
    Y4mReader r;
    ASSERT_TRUE(r.Open(Write("a.y4m", "YUV4MPEG2 W5 H3 F30000:1001 Ip A4:3 C420jpeg XYSCSS=420JPEG\nFRAME\n" + frame +
                                          "FRAME Ixyz\n" + frame)))
        << r.Error();
    EXPECT_EQ(r.Header().rate.num * 10000 + r.Header().rate.den, 300001001);
    EXPECT_EQ(r.Header().parNum * 10 + r.Header().parDen, 43);
    EXPECT_EQ(r.FrameCount(), -1);  // the second frame header has parameters
    Picture p;
    for (int n = 0; n < 2; ++n) {
        ASSERT_EQ(r.ReadFrame(p), 1) << r.Error();
        // U (Cb) follows Y; chroma rows are 3 wide.
        EXPECT_EQ(std::vector<int>({p.plane[0][14], p.plane[1][0], p.plane[2][5], p.pitch[1]}), std::vector<int>({14, 15, 26, 3}));
    }
    EXPECT_EQ(r.ReadFrame(p), 0);

    const std::string plain = "FRAME\n" + std::string(12, 'x');
    Y4mReader b;
    ASSERT_TRUE(b.Open(Write("b.y4m", "YUV4MPEG2 W4 H2\n" + plain + plain + plain)));
    EXPECT_EQ(b.FrameCount(), 3);
    EXPECT_EQ(b.Header().rate.num, 25);  // no F tag
}

TEST_F(Wave, ReadsSixteenBitPcmPastOtherChunksAndStreamedLengths) {
    const std::string data = Le16(1) + Le16(0xFFFF) + Le16(300) + Le16(0x8000);
    // An odd-sized chunk is padded to an even length.
    WavReader w;
    ASSERT_TRUE(w.Open(Write("s.wav", Wav(Fmt(1, 2, 22050, 16) + "LIST" + Le32(3) + "abc" + std::string(1, '\0') +
                                          "data" + Le32(data.size()) + data))))
        << w.Error();
    EXPECT_TRUE(w.SampleRate() == 22050 && w.Channels() == 2 && w.TotalFrames() == 2);
    std::vector<int16_t> s;
    ASSERT_EQ(w.Read(s, 100), 2);
    EXPECT_EQ(s, (std::vector<int16_t>{1, -1, 300, -32768}));
    EXPECT_EQ(w.Read(s, 100), 0);
    // A streamed length runs to the end of the file; the odd byte is not a sample.
    WavReader u;
    ASSERT_TRUE(u.Open(Write("u.wav", Wav(Fmt(1, 1, 8000, 16) + "data" + Le32(0xFFFFFFFF) + std::string(7, '\0')))));
    EXPECT_EQ(u.TotalFrames(), 3);
}

TEST_F(Files, RefusalsNameTheFileAndTheReason) {
    auto refuses = [&](auto reader, const std::string& name, const std::string& bytes, const std::string& fragment) {
        const std::string path = Write(name, bytes);
        EXPECT_FALSE(reader.Open(path)) << fragment;
        EXPECT_NE(reader.Error().find(fragment), std::string::npos) << reader.Error();
        EXPECT_EQ(reader.Error().rfind(path, 0), 0u) << "the message names the file: " << reader.Error();
    };
    for (const auto& [bytes, fragment] : std::vector<std::pair<std::string, std::string>>{
             {"YUV4MPEG2 W4 H2 C444\n", "C444"}, {"YUV4MPEG2 W4 H2 C420p10\n", "only 4:2:0 8-bit"},
             {"YUV4MPEG2 W4\n", "picture size"}, {"YUV4MPEG2 W4 H2 F0:1\n", "frame rate"},
             {"RIFF....WAVE", "not a YUV4MPEG2"}, {"", "empty"}})
        refuses(Y4mReader(), "bad.y4m", bytes, fragment);
    for (const auto& [bytes, fragment] : std::vector<std::pair<std::string, std::string>>{
             {Wav(Fmt(1, 1, 8000, 24) + "data" + Le32(3) + "abc"), "24-bit"},
             {Wav(Fmt(3, 1, 8000, 32) + "data" + Le32(4) + "abcd"), "not PCM"},
             {Wav(Fmt(1, 6, 8000, 16) + "data" + Le32(12) + std::string(12, 'a')), "6 channels"},
             {Wav(Fmt(1, 1, 8000, 16)), "no data chunk"},
             {std::string("RIFF\x10\0\0\0WAVEfmt ", 16), "truncated"},
             {"RIFX", "truncated WAV header"}})
        refuses(WavReader(), "bad.wav", bytes, fragment);
}
