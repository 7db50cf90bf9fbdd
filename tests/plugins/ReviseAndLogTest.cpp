// The revise entries' decisions, and Log.dylib: what it writes where, and that
// plugin failures reach it.
#include <gtest/gtest.h>

#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <quevarra/qv_embed.h>

#include <dlfcn.h>
#include <math.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>

using namespace plxtest;

namespace {

EncodeParam Video(const char* codec, int w, int h, double fps, int bitRate = 500000) {
    EncodeParam p{};
    p.video = {Code(codec), 0, 12, w, h, fps, 0, bitRate, 0, 0, 0, {0}};
    p.dwFileFormat = Code("MKV ");
    return p;
}
EncodeParam Wav() {
    EncodeParam p{};
    p.audio = {Code("PCM "), 44100, 2, 16, 0, 0, 0};
    p.bDisableVideo = 1;
    p.dwFileFormat = Code("WAV ");
    return p;
}
int ReviseV(EncodeParam& p) { return Encoder(p.video.dwFourCC)->pfnReviseVideoParam(&p); }
int ReviseA(EncodeAudioParam& a) { return Encoder(a.dwFourCC)->pfnReviseAudioParam(&a); }

TEST(Revise, RawCodecsSetTheirBitRatesAndRefuseWhatTheyCannotStore) {
    ASSERT_NE(Encoder(Code("PCM ")), nullptr);
    EncodeAudioParam a = {Code("PCM "), 48000, 2, 16, 0, 128000, 0};
    EXPECT_NE(ReviseA(a), 0);
    EXPECT_EQ(a.nBitRate, 48000 * 2 * 16);
    EncodeAudioParam bad[] = {{Code("PCM "), 48000, 2, 8, 0, 0, 0}, {Code("PCM "), 48000, 0, 16, 0, 0, 0},
                              {Code("PCM "), 0, 2, 16, 0, 0, 0}, {Code("PCM "), 48000, 33, 16, 0, 0, 0}};
    for (EncodeAudioParam& b : bad) EXPECT_EQ(ReviseA(b), 0);
    EncodeParam ok = Video("I420", 320, 240, 25);
    EXPECT_NE(ReviseV(ok), 0);
    EXPECT_EQ(ok.video.nBitRate, 320 * 240 * 12 * 25);
    EncodeParam badV[] = {Video("I420", 0, 240, 25), Video("I420", 320, -2, 25), Video("I420", 320, 240, 0),
                          Video("I420", 320, 240, NAN)};
    for (EncodeParam& b : badV) EXPECT_EQ(ReviseV(b), 0);
}

#if QV_WITH_FFMPEG
TEST(Revise, VideoSizesAndBitRatesBecomeWhatTheCodecTakes) {
    struct { const char* codec; int w, h, bitRate, wantW, wantH, wantBitRate; } cases[] = {
        {"H264", 321, 241, 500000, 320, 240, 500000},  // even
        {"AV01", 32, 20, 500000, 64, 64, 500000},      // the AV1 encoders want 64
        {"H264", 320, 240, 1, 320, 240, 32000},        // clamped
    };
    for (const auto& c : cases) {
        EncodeParam p = Video(c.codec, c.w, c.h, 25, c.bitRate);
        ASSERT_NE(ReviseV(p), 0) << c.codec;
        EXPECT_EQ(p.video.nWidth, c.wantW) << c.codec;
        EXPECT_EQ(p.video.nHeight, c.wantH) << c.codec;
        EXPECT_EQ(p.video.nBitRate, c.wantBitRate) << c.codec;
    }
    EncodeParam huge = Video("XVID", 16000, 9000, 25);
    ASSERT_NE(ReviseV(huge), 0);
    EXPECT_LE(huge.video.nWidth, 8190);
    EXPECT_NEAR(double(huge.video.nWidth) / huge.video.nHeight, 16.0 / 9, 0.01);
    EncodeParam unset = Video("VP90", 320, 240, 25, 0);
    ASSERT_NE(ReviseV(unset), 0);
    EXPECT_GT(unset.video.nBitRate, 32000);
    EncodeParam none = Video("H264", 0, 240, 25), noRate = Video("H264", 320, 240, 0);
    EXPECT_EQ(ReviseV(none), 0);
    EXPECT_EQ(ReviseV(noRate), 0);
}

TEST(Revise, AudioGetsARateChannelsAndBitRateTheCodecTakes) {
    struct { const char* codec; int rate, channels, bitRate, wantRate, wantChannels, wantBitRate; } cases[] = {
        {"OPUS", 44100, 2, 128000, 48000, 2, 128000}, {"OPUS", 8000, 1, 128000, 48000, 1, 128000},
        {"MP3 ", 44100, 6, 128000, 44100, 2, 128000}, {"MP3 ", 44100, 2, 2000000, 44100, 2, 320000},
        {"AC3 ", 22050, 2, 128000, 32000, 2, 128000}, {"AAC ", 44100, 2, 128000, 44100, 2, 128000},
        {"AAC ", 192000, 2, 128000, 96000, 2, 128000}, {"FLAC", 44100, 2, 128000, 44100, 2, 128000},
    };
    for (const auto& c : cases) {
        EncodeAudioParam a = {Code(c.codec), c.rate, c.channels, 16, 0, c.bitRate, 0};
        ASSERT_NE(ReviseA(a), 0) << c.codec;
        EXPECT_EQ(a.nSampleRate, c.wantRate) << c.codec << " " << c.rate;
        EXPECT_EQ(a.nChannels, c.wantChannels) << c.codec;
        if (c.bitRate != c.wantBitRate) {
            EXPECT_EQ(a.nBitRate, c.wantBitRate) << c.codec;
        }
    }
    EncodeAudioParam eight = {Code("AAC "), 44100, 2, 8, 0, 128000, 0};
    EXPECT_EQ(ReviseA(eight), 0);
}
#endif

class LogLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        handle = dlopen((BundleDir() + "/Log.dylib").c_str(), RTLD_LAZY);
        ASSERT_NE(handle, nullptr) << dlerror();
        log = reinterpret_cast<int (*)(const wchar_t*)>(dlsym(handle, "Log"));
        ASSERT_NE(log, nullptr);
        dir = qvtest::MakeTempDir("qvlogfile");
        file = dir + "/quevarra.log";
    }
    void TearDown() override {
        unsetenv("QUEVARRA_LOG");
        qvtest::RemoveTree(dir);
        if (handle) dlclose(handle);
    }
    void* handle = nullptr;
    int (*log)(const wchar_t*) = nullptr;
    std::string dir, file;
};

TEST_F(LogLibrary, AppendsUtf8WithoutLineEndsOnlyWhereTheVariablePoints) {
    EXPECT_EQ(log(L"lost"), 0);  // unset: nothing written anywhere
    setenv("QUEVARRA_LOG", (dir + "/missing/dir/x.log").c_str(), 1);
    EXPECT_EQ(log(L"lost"), 0);  // unwritable: no crash either
    EXPECT_EQ(log(nullptr), 0);
    struct stat st;
    EXPECT_NE(stat(file.c_str(), &st), 0);
    setenv("QUEVARRA_LOG", file.c_str(), 1);
    EXPECT_EQ(log(L"QVInitEncoders"), 1);
    EXPECT_EQ(log(L"caf\u00e9 \U0001F600 [\u65e5]\r\n"), 1);
    EXPECT_EQ(Shell("cat '" + file + "'"), "QVInitEncoderscaf\xc3\xa9 \xf0\x9f\x98\x80 [\xe6\x97\xa5]\r\n");
}

TEST_F(LogLibrary, PluginFailuresNameTheFileAndTheSystemError) {
    setenv("QUEVARRA_LOG", file.c_str(), 1);
    std::string bad = dir + "/no/such/dir/out.";
    EXPECT_FALSE(Pipeline().Create(bad + "wav", Wav()));
    std::vector<std::string> expect = {"plxraw: cannot create the WAV file [" + bad +
                                       "wav]: No such file or directory\r\n"};
#if QV_WITH_FFMPEG
    EncodeParam webm = Video("H264", 160, 120, 25), mkv = webm;
    webm.bDisableAudio = mkv.bDisableAudio = 1;
    webm.dwFileFormat = Code("WEBM");
    EXPECT_FALSE(Pipeline().Create(dir + "/x.webm", webm));
    EXPECT_FALSE(Pipeline().Create(bad + "mkv", mkv));
    expect.push_back("plxffmpeg: a WEBM file cannot hold H264 [" + dir + "/x.webm]\r\n");
    expect.push_back("plxffmpeg: cannot create the file [" + bad + "mkv]: No such file or directory\r\n");
#endif
    std::string text = Shell("cat '" + file + "'");
    for (const std::string& line : expect) EXPECT_NE(text.find(line), std::string::npos) << text;
}

// Our plugins report through the library's log, so a host callback gets
// their failures and Log.dylib nothing.
TEST_F(LogLibrary, WithAHostCallbackPluginFailuresGoToItInstead) {
    setenv("QUEVARRA_LOG", file.c_str(), 1);
    std::vector<std::wstring> got;
    QVSetLogCallback([](void* user, const wchar_t* m) { static_cast<std::vector<std::wstring>*>(user)->push_back(m); },
                     &got);
    const std::string bad = dir + "/no/such/dir/out.wav";
    EXPECT_FALSE(Pipeline().Create(bad, Wav()));
    QVSetLogCallback(nullptr, nullptr);
    const std::wstring expected = L"plxraw: cannot create the WAV file [" + std::wstring(bad.begin(), bad.end()) +
                                  L"]: No such file or directory\r\n";
    EXPECT_NE(std::find(got.begin(), got.end(), expected), got.end()) << got.size() << " messages";
    struct stat st;
    EXPECT_NE(stat(file.c_str(), &st), 0) << "Log.dylib wrote " << Shell("cat '" + file + "'");
}

}  // namespace
