// plxffmpeg.dylib end to end: files written through the plugin entries, read
// back by ffprobe and decoded fully by ffmpeg.
#include <gtest/gtest.h>

#include "PlxContract.h"

#include <quevarra/qv_plugin.h>
#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <math.h>
#include <string.h>

#include <array>
#include <set>

using namespace plxtest;

namespace {

uint32_t Code(const char* s) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

EncodeParam Param(const char* container, const char* video, const char* audio, int w, int h,
                  double fps, int rate, int channels) {
    EncodeParam p{};
    p.video.dwFourCC = video ? Code(video) : 0;
    p.video.nWidth = w;
    p.video.nHeight = h;
    p.video.dFrameRate = fps;
    p.video.nBitRate = 400000;
    p.audio = {audio ? Code(audio) : 0, rate, channels, 16, 0, 96000, 0};
    p.bDisableVideo = video ? 0 : 1;
    p.bDisableAudio = audio ? 0 : 1;
    p.dwFileFormat = Code(container);
    return p;
}

class FfmpegFiles : public ::testing::Test {
protected:
    void SetUp() override { dir = qvtest::MakeTempDir("qvff"); }
    void TearDown() override { qvtest::RemoveTree(dir); }
    std::string dir;
};

struct Case {
    const char *container, *video, *audio, *ext;
    const char *vname, *aname;  // ffprobe codec names
    int w, h;
    double fps;
    int rate, channels;
    int audioFrame;  // samples per coded audio frame
};

// One file per container, and every encoder at least once.
const Case kCases[] = {
    {"MP4 ", "H264", "AAC ", "mp4", "h264", "aac", 160, 120, 25, 44100, 2, 1024},
    {"MOV ", "MJPG", "AC3 ", "mov", "mjpeg", "ac3", 160, 120, 25, 48000, 2, 1536},
    {"MKV ", "HEVC", "FLAC", "mkv", "hevc", "flac", 160, 120, 30000.0 / 1001, 44100, 1, 4608},
    {"AVI ", "XVID", "MP3 ", "avi", "mpeg4", "mp3", 160, 120, 25, 44100, 2, 1152},
    {"WEBM", "VP90", "OPUS", "webm", "vp9", "opus", 160, 120, 24, 48000, 2, 960},
    {"FMP4", "AV01", "AAC ", "mp4", "av1", "aac", 192, 128, 25, 48000, 2, 1024},
    {"M4A ", nullptr, "AAC ", "m4a", nullptr, "aac", 0, 0, 25, 44100, 2, 1024},
};

TEST_F(FfmpegFiles, TheLibraryPublishesEveryContainer) {
    ASSERT_TRUE(InitLibraryPlugins());
    std::set<std::string> published;
    for (const FILEFORMAT_INFO* f = QVGetFileFormatInfos(); f && f->dwFourCC; ++f)
        published.insert(std::string(reinterpret_cast<const char*>(&f->dwFourCC), 4));
    for (const char* m : {"MP4 ", "MOV ", "MKV ", "AVI ", "WEBM", "M4A ", "FMP4", "WAV ", "Y4M "})
        EXPECT_EQ(published.count(m), 1u) << m;
}

// Through QVCreateMediaFile, QVWrite* and QVCloseMediaFile.
TEST_F(FfmpegFiles, EveryContainerWritesAFileFfprobeAndFfmpegAccept) {
    const double seconds = 2.0;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.container);
        std::string path = dir + "/out." + c.ext;
        EncodeParam param = Param(c.container, c.video, c.audio, c.w, c.h, c.fps, c.rate, c.channels);
        Pipeline p;
        ASSERT_TRUE(p.CreateViaLibrary(path, param));
        WriteAV(p, param, seconds, c.video != nullptr, true);
        p.Close();
        Probe probe = ProbeFile(path);
        if (c.video) {
            const auto* v = probe.Stream("video");
            ASSERT_NE(v, nullptr);
            EXPECT_EQ(v->at("codec_name"), c.vname);
            EXPECT_EQ(Num(*v, "width"), c.w);
            EXPECT_EQ(Num(*v, "height"), c.h);
            EXPECT_NEAR(Ratio(v->at("avg_frame_rate")), c.fps, 0.01);
            EXPECT_NEAR(Num(*v, "nb_read_packets"), floor(seconds * c.fps + 0.5), 1.0);
        }
        const auto* a = probe.Stream("audio");
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->at("codec_name"), c.aname);
        EXPECT_EQ(Num(*a, "sample_rate"), c.rate);
        EXPECT_EQ(Num(*a, "channels"), c.channels);
        // Matroska and AVI keep no per-stream duration; the file's then.
        double duration = Num(*a, "duration");
        if (isnan(duration)) duration = Num(probe.format, "duration");
        // AVI cannot record the encoder's start delay, so its audio also
        // lasts the delay longer (under one more frame).
        const int frames = strcmp(c.container, "AVI ") == 0 ? 2 : 1;
        EXPECT_NEAR(duration, seconds, static_cast<double>(frames * c.audioFrame) / c.rate + 1e-3);
        EXPECT_EQ(DecodeErrors(path), "");
    }
}

TEST_F(FfmpegFiles, AudioWrittenBeforeAnyVideoWaitsForTheHeader) {
    // The muxer cannot start the file before the video stream has described
    // itself; nothing that came earlier may be lost.
    std::string path = dir + "/late.mkv";
    EncodeParam param = Param("MKV ", "H264", "OPUS", 128, 96, 25, 48000, 2);
    Pipeline p;
    std::string error;
    ASSERT_TRUE(p.Create(path, &param, &error)) << error;
    WriteAV(p, param, 1.0, false, true);
    WriteAV(p, param, 1.0, true, false);
    p.Close();
    Probe probe = ProbeFile(path);
    ASSERT_NE(probe.Stream("video"), nullptr);
    ASSERT_NE(probe.Stream("audio"), nullptr);
    EXPECT_EQ(Num(*probe.Stream("video"), "nb_read_packets"), 25);
    EXPECT_NEAR(Num(probe.format, "duration"), 1.0, 0.03);
    EXPECT_EQ(DecodeErrors(path), "");
}

struct Progress {
    std::vector<std::array<unsigned, 3>> calls;
    static unsigned Record(void* user, unsigned done, unsigned total, unsigned stage) {
        static_cast<Progress*>(user)->calls.push_back({done, total, stage});
        return 0;
    }
};

TEST_F(FfmpegFiles, FastStartReportsRisingProgressThenDone) {
    std::string path = dir + "/fast.mp4";
    EncodeParam param = Param("MP4 ", "H264", "AAC ", 160, 120, 25, 44100, 2);
    Pipeline p;
    std::string error;
    ASSERT_TRUE(p.Create(path, &param, &error)) << error;
    WriteAV(p, param, 1.0, true, true);
    Progress progress;
    p.Close(Progress::Record, &progress);
    ASSERT_GE(progress.calls.size(), 2u);
    unsigned last = 0;
    for (size_t i = 0; i + 1 < progress.calls.size(); ++i) {
        const auto& c = progress.calls[i];
        EXPECT_EQ(c[2], unsigned(PLX_STAGE_FASTSTART));
        EXPECT_EQ(c[1], 1000u);
        EXPECT_GT(c[0], last);
        last = c[0];
    }
    EXPECT_EQ(last, 1000u);
    EXPECT_EQ(progress.calls.back(), (std::array<unsigned, 3>{1, 1, PLX_STAGE_DONE}));
    // Fast start: the index precedes the media data.
    std::string head = Shell("head -c 4096 '" + path + "' | grep -c moov");
    EXPECT_EQ(head, "1\n");
}

TEST_F(FfmpegFiles, ContainerRefusesACodecItCannotHold) {
    std::string log = dir + "/plx.log";
    setenv("QUEVARRA_LOG", log.c_str(), 1);
    EncodeParam param = Param("WEBM", "H264", "OPUS", 160, 120, 25, 48000, 2);
    Pipeline p;
    std::string error;
    EXPECT_FALSE(p.Create(dir + "/x.webm", &param, &error));
    std::string bad = dir + "/missing/x.mkv";
    param = Param("MKV ", "H264", "OPUS", 160, 120, 25, 48000, 2);
    EXPECT_FALSE(p.Create(bad, &param, &error));
    unsetenv("QUEVARRA_LOG");
    std::string text = Shell("cat '" + log + "'");
    EXPECT_NE(text.find("plxffmpeg: a WEBM file cannot hold H264 [" + dir + "/x.webm]\r\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("plxffmpeg: cannot create the file [" + bad + "]: No such file or directory\r\n"),
              std::string::npos)
        << text;
}

}  // namespace
