// Files written through the library by every muxer, read back by ffprobe and
// decoded fully by ffmpeg; and what the muxers do with awkward input.
#include <gtest/gtest.h>

#include "PlxContract.h"
#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <dlfcn.h>
#include <math.h>
#include <string.h>

#include <array>

using namespace plxtest;

namespace {

EncodeParam Param(const char* container, const char* video, const char* audio, int w, int h,
                  double fps, int rate, int channels) {
    EncodeParam p{};
    p.video = {video ? Code(video) : 0, 0, 12, w, h, fps, 0, 400000, 0, 0, 0, {0}};
    p.audio = {audio ? Code(audio) : 0, rate, channels, 16, 0, 96000, 0};
    p.bDisableVideo = video ? 0 : 1;
    p.bDisableAudio = audio ? 0 : 1;
    p.dwFileFormat = Code(container);
    return p;
}

class PluginFiles : public ::testing::Test {
protected:
    void SetUp() override { dir = qvtest::MakeTempDir("qvplx"); }
    void TearDown() override { qvtest::RemoveTree(dir); }
    std::string dir;
};

struct Case {
    const char *container, *video, *audio, *ext;
    const char *vname, *aname;  // ffprobe codec names
    int w, h;
    double fps;
    int rate, channels, audioFrame;  // audioFrame: samples per coded audio frame
};

// One file per container, and every encoder at least once.
const Case kCases[] = {
    {"WAV ", nullptr, "PCM ", "wav", nullptr, "pcm_s16le", 0, 0, 25, 22050, 1, 1},
    {"WAV ", nullptr, "PCM ", "wav", nullptr, "pcm_s16le", 0, 0, 25, 22050, 2, 1},
    {"Y4M ", "I420", nullptr, "y4m", "rawvideo", nullptr, 33, 17, 29.97, 0, 0, 0},  // odd: chroma rounds up
#if QV_WITH_FFMPEG
    {"MP4 ", "H264", "AAC ", "mp4", "h264", "aac", 160, 120, 25, 44100, 2, 1024},
    {"MOV ", "MJPG", "AC3 ", "mov", "mjpeg", "ac3", 160, 120, 25, 48000, 2, 1536},
    {"MKV ", "HEVC", "FLAC", "mkv", "hevc", "flac", 160, 120, 30000.0 / 1001, 44100, 1, 4608},
    {"AVI ", "XVID", "MP3 ", "avi", "mpeg4", "mp3", 160, 120, 25, 44100, 2, 1152},
    {"WEBM", "VP90", "OPUS", "webm", "vp9", "opus", 160, 120, 24, 48000, 2, 960},
    {"FMP4", "AV01", "AAC ", "mp4", "av1", "aac", 192, 128, 25, 48000, 2, 1024},
    {"M4A ", nullptr, "AAC ", "m4a", nullptr, "aac", 0, 0, 25, 44100, 2, 1024},
#endif
};

TEST_F(PluginFiles, EveryContainerWritesAFileFfprobeAndFfmpegAccept) {
    const double seconds = 2.0;
    for (const Case& c : kCases) {
        SCOPED_TRACE(std::string(c.container) + std::to_string(c.channels));
        std::string path = dir + "/out." + c.ext;
        EncodeParam param = Param(c.container, c.video, c.audio, c.w, c.h, c.fps, c.rate, c.channels);
        Pipeline p;
        ASSERT_TRUE(p.Create(path, param));
        WriteAV(p, param, seconds, c.video != nullptr, c.audio != nullptr);
        p.Close();
        if (c.video) {
            Fields v = ProbeStream(path, 'v');
            EXPECT_EQ(v["codec_name"], c.vname);
            EXPECT_EQ(Num(v, "width"), c.w);
            EXPECT_EQ(Num(v, "height"), c.h);
            EXPECT_NEAR(Num(v, "avg_frame_rate"), c.fps, 0.01);
            EXPECT_NEAR(Num(v, "nb_read_packets"), floor(seconds * c.fps + 0.5), 1.0);
        }
        if (c.audio) {
            Fields a = ProbeStream(path, 'a');
            EXPECT_EQ(a["codec_name"], c.aname);
            EXPECT_EQ(Num(a, "sample_rate"), c.rate);
            EXPECT_EQ(Num(a, "channels"), c.channels);
            // AVI cannot record the encoder's start delay, so its audio also
            // lasts the delay longer (under one more frame).
            const int frames = strcmp(c.container, "AVI ") == 0 ? 2 : 1;
            EXPECT_NEAR(Num(a, "duration"), seconds, double(frames * c.audioFrame) / c.rate + 1e-3);
        }
        EXPECT_EQ(DecodeErrors(path), "");
        if (strcmp(c.container, "Y4M ") != 0) continue;
        // Y4M keeps the NTSC rate exact, and every pixel: frame 2 decodes to
        // the picture painted (planes in Y, U, V order).
        EXPECT_EQ(ProbeStream(path, 'v')["r_frame_rate"], "30000/1001");
        Picture pic(c.w, c.h);
        pic.Paint(2);
        std::string raw = Shell("ffmpeg -nostdin -v error -i '" + path +
                                "' -vf 'select=eq(n\\,2)' -frames:v 1 -f rawvideo -pix_fmt yuv420p - 2>&1");
        std::string expect(pic.y.begin(), pic.y.end());
        expect.append(pic.u.begin(), pic.u.end());
        expect.append(pic.v.begin(), pic.v.end());
        EXPECT_TRUE(raw == expect) << raw.substr(0, 200);
    }
}

TEST_F(PluginFiles, Y4mRefusesFramesThatCannotFillItsRows) {
    // The muxer's own guard: the library would resize the frame first.
    void* raw = dlopen((BundleDir() + "/Encoder/plxraw.dylib").c_str(), RTLD_LAZY);
    ASSERT_NE(raw, nullptr);
    auto muxers = reinterpret_cast<FILEFORMAT_ITEM* (*)()>(dlsym(raw, "PLXGetFileMuxers"));
    const FILEFORMAT_ITEM* y4m = muxers ? muxers() : nullptr;
    while (y4m && y4m->dwFourCC && y4m->dwFourCC != Code("Y4M ")) ++y4m;
    ASSERT_TRUE(y4m && y4m->dwFourCC);
    EncodeParam param = Param("Y4M ", "I420", nullptr, 64, 48, 25, 0, 0);
    std::wstring path(dir.begin(), dir.end());
    void* file = y4m->pfnCreateFile((path + L"/x.y4m").c_str(), &param);
    ASSERT_NE(file, nullptr);
    Picture small(32, 24), ok(64, 48);
    MEDIA_FRAME f = small.Frame(0);
    EXPECT_EQ(y4m->pfnWriteVideo(file, &f), 0u);
    f.nWidth = f.nHeight = 0;  // size unknown: the pitches must still cover a row
    EXPECT_EQ(y4m->pfnWriteVideo(file, &f), 0u);
    f = ok.Frame(0);
    EXPECT_EQ(y4m->pfnWriteVideo(file, &f), 1u);
    y4m->pfnCloseFile(file, nullptr, nullptr);
    dlclose(raw);
}

#if QV_WITH_FFMPEG
TEST_F(PluginFiles, AudioWrittenBeforeAnyVideoWaitsForTheHeader) {
    // Matroska starts once the video stream has described itself; nothing earlier may be lost.
    std::string path = dir + "/late.mkv";
    EncodeParam param = Param("MKV ", "H264", "OPUS", 128, 96, 25, 48000, 2);
    Pipeline p;
    ASSERT_TRUE(p.Create(path, param));
    WriteAV(p, param, 1.0, false, true);
    WriteAV(p, param, 1.0, true, false);
    p.Close();
    EXPECT_EQ(Num(ProbeStream(path, 'v'), "nb_read_packets"), 25);
    EXPECT_NEAR(Num(ProbeStream(path, 'a'), "duration"), 1.0, 0.03);
    EXPECT_EQ(DecodeErrors(path), "");
}

TEST_F(PluginFiles, FastStartReportsRisingProgressThenDone) {
    std::string path = dir + "/fast.mp4";
    EncodeParam param = Param("MP4 ", "H264", "AAC ", 160, 120, 25, 44100, 2);
    Pipeline p;
    ASSERT_TRUE(p.Create(path, param));
    WriteAV(p, param, 1.0, true, true);
    std::vector<std::array<unsigned, 3>> calls;
    p.Close([](void* user, unsigned done, unsigned total, unsigned stage) {
        return static_cast<decltype(calls)*>(user)->push_back({done, total, stage}), 0u;
    }, &calls);
    ASSERT_GE(calls.size(), 2u);
    unsigned last = 0;
    for (size_t i = 0; i + 1 < calls.size(); ++i) {
        EXPECT_EQ(calls[i][2], unsigned(PLX_STAGE_FASTSTART));
        EXPECT_EQ(calls[i][1], 1000u);
        EXPECT_GT(calls[i][0], last);
        last = calls[i][0];
    }
    EXPECT_EQ(last, 1000u);
    EXPECT_EQ(calls.back(), (std::array<unsigned, 3>{1, 1, PLX_STAGE_DONE}));
    // Fast start: the index precedes the media data.
    EXPECT_EQ(Shell("head -c 4096 '" + path + "' | grep -c moov"), "1\n");
}
#endif

}  // namespace
