// plxraw.dylib: WAV and Y4M files written through the library and read back
// by ffprobe/ffmpeg, and the revise entries of the raw codecs.
#include <gtest/gtest.h>

#include "common/PlxCommon.h"
#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <math.h>

using namespace plxtest;

namespace {

const uint32_t kPCM = QV_FOURCC('P', 'C', 'M', ' ');
const uint32_t kI420 = QV_FOURCC('I', '4', '2', '0');

class RawFiles : public ::testing::Test {
protected:
    void SetUp() override { dir = qvtest::MakeTempDir("qvraw"); }
    void TearDown() override { qvtest::RemoveTree(dir); }
    std::string dir;
};

EncodeParam AudioParam(int rate, int channels) {
    EncodeParam p{};
    p.audio = {kPCM, rate, channels, 16, 0, 0, 0};
    p.video.dwFourCC = kI420;
    p.dwFileFormat = QV_FOURCC('W', 'A', 'V', ' ');
    return p;
}

EncodeParam VideoParam(int w, int h, double fps) {
    EncodeParam p{};
    p.video.dwFourCC = kI420;
    p.video.nWidth = w;
    p.video.nHeight = h;
    p.video.dFrameRate = fps;
    p.audio.dwFourCC = kPCM;
    p.dwFileFormat = QV_FOURCC('Y', '4', 'M', ' ');
    return p;
}

TEST_F(RawFiles, WavHoldsExactlyTheAudioWrittenInEitherLayout) {
    for (int channels : {1, 2}) {
        std::string path = dir + "/tone" + std::to_string(channels) + ".wav";
        EncodeParam param = AudioParam(22050, channels);
        Pipeline p;
        ASSERT_TRUE(p.CreateViaLibrary(path, param));
        WriteAV(p, param, 1.5, false, true);
        p.Close();
        Probe probe = ProbeFile(path);
        const auto* a = probe.Stream("audio");
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->at("codec_name"), "pcm_s16le");
        EXPECT_EQ(Num(*a, "sample_rate"), 22050);
        EXPECT_EQ(Num(*a, "channels"), channels);
        EXPECT_NEAR(Num(*a, "duration"), 1.5, 1.0 / 22050);
        EXPECT_EQ(DecodeErrors(path), "");
    }
}

TEST_F(RawFiles, Y4mKeepsAnNtscRateExactAndEveryPixel) {
    std::string path = dir + "/clip.y4m";
    EncodeParam param = VideoParam(33, 17, 29.97);  // odd sizes round chroma up
    Pipeline p;
    ASSERT_TRUE(p.CreateViaLibrary(path, param));
    WriteAV(p, param, 1.0, true, false);
    p.Close();
    Probe probe = ProbeFile(path);
    const auto* v = probe.Stream("video");
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->at("r_frame_rate"), "30000/1001");
    EXPECT_EQ(Num(*v, "width"), 33);
    EXPECT_EQ(Num(*v, "height"), 17);
    EXPECT_EQ(Num(*v, "nb_read_packets"), 30);
    EXPECT_EQ(DecodeErrors(path), "");
    // The third frame, decoded, is the picture we painted (planes in Y, U, V order).
    Picture pic(33, 17);
    pic.Paint(2);
    std::string raw = plxtest::Shell("ffmpeg -nostdin -v error -i '" + path +
                          "' -vf 'select=eq(n\\,2)' -frames:v 1 -f rawvideo -pix_fmt yuv420p - 2>&1");
    std::string expect(pic.y.begin(), pic.y.end());
    expect.append(pic.u.begin(), pic.u.end());
    expect.append(pic.v.begin(), pic.v.end());
    ASSERT_EQ(raw.size(), expect.size()) << raw.substr(0, 200);
    EXPECT_TRUE(raw == expect);
}

TEST_F(RawFiles, Y4mRefusesFramesThatCannotFillItsRows) {
    EncodeParam param = VideoParam(64, 48, 25);
    Pipeline p;
    std::string error;
    ASSERT_TRUE(p.Create(dir + "/x.y4m", &param, &error)) << error;
    Picture small(32, 24);
    small.Paint(0);
    MEDIA_FRAME f = small.Frame(0);
    EXPECT_EQ(p.WriteVideo(&f), 0u);
    f.nWidth = f.nHeight = 0;  // size unknown: the pitches must still cover a row
    EXPECT_EQ(p.WriteVideo(&f), 0u);
    Picture ok(64, 48);
    ok.Paint(0);
    f = ok.Frame(0);
    EXPECT_EQ(p.WriteVideo(&f), 1u);
}

TEST(RawRevise, PcmAcceptsOnly16BitAndSetsTheBitRate) {
    const ENCODER_ITEM* pcm = Plugins().Encoder(kPCM);
    ASSERT_NE(pcm, nullptr);
    EXPECT_EQ(pcm->nType, 0);
    EncodeAudioParam a = {kPCM, 48000, 2, 16, 0, 128000, 0};
    EXPECT_NE(pcm->pfnReviseAudioParam(&a), 0);
    EXPECT_EQ(a.nBitRate, 48000 * 2 * 16);
    EncodeAudioParam bad[] = {{kPCM, 48000, 2, 8, 0, 0, 0},
                              {kPCM, 48000, 0, 16, 0, 0, 0},
                              {kPCM, 0, 2, 16, 0, 0, 0},
                              {kPCM, 48000, 33, 16, 0, 0, 0}};
    for (EncodeAudioParam& b : bad) EXPECT_EQ(pcm->pfnReviseAudioParam(&b), 0);
}

TEST(RawRevise, I420RefusesEmptyPicturesAndRates) {
    const ENCODER_ITEM* i420 = Plugins().Encoder(kI420);
    ASSERT_NE(i420, nullptr);
    EXPECT_EQ(i420->nType, 1);
    EncodeParam ok = VideoParam(320, 240, 25);
    EXPECT_NE(i420->pfnReviseVideoParam(&ok), 0);
    EXPECT_EQ(ok.video.nBitRate, 320 * 240 * 12 * 25);
    EncodeParam bad[] = {VideoParam(0, 240, 25), VideoParam(320, -2, 25), VideoParam(320, 240, 0),
                         VideoParam(320, 240, NAN)};
    for (EncodeParam& b : bad) EXPECT_EQ(i420->pfnReviseVideoParam(&b), 0);
}

TEST(PlxCommon, FrameRatesBecomeExactRatios) {
    struct { double fps; int num, den; } cases[] = {
        {25, 25, 1}, {29.97, 30000, 1001}, {30000.0 / 1001, 30000, 1001}, {23.976, 24000, 1001},
        {59.94, 60000, 1001}, {12.5, 25, 2}, {7.3, 73, 10}};
    for (const auto& c : cases) {
        int num = 0, den = 0;
        ASSERT_TRUE(plx::FrameRateRatio(c.fps, &num, &den)) << c.fps;
        EXPECT_EQ(num, c.num) << c.fps;
        EXPECT_EQ(den, c.den) << c.fps;
    }
    int num, den;
    EXPECT_FALSE(plx::FrameRateRatio(0, &num, &den));
    EXPECT_FALSE(plx::FrameRateRatio(-25, &num, &den));
    EXPECT_FALSE(plx::FrameRateRatio(INFINITY, &num, &den));
}

TEST(PlxCommon, WideTextRoundTripsThroughUtf8) {
    std::wstring text = L"Ma\u00f1ana/\u65e5\u672c/\U0001F3B5.mp4";
    EXPECT_EQ(plx::Utf8ToWide(plx::WideToUtf8(text.c_str())), text);
    const wchar_t bad[] = {0xD800, 0x110000, 0};  // not scalar values
    EXPECT_EQ(plx::WideToUtf8(bad), "\xef\xbf\xbd\xef\xbf\xbd");
}

}  // namespace
