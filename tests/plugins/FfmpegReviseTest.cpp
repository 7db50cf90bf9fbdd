// plxffmpeg revise entries: the decisions they make for the library.
#include <gtest/gtest.h>

#include "plugins/PlxDriver.h"

#include <set>

using namespace plxtest;

namespace {

uint32_t Code(const char* s) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

TEST(FfmpegPublish, ListsTheEncodersThisFfmpegOpensWithTheirTypes) {
    // Debian's FFmpeg opens all of them.
    const char* video[] = {"XVID", "H264", "HEVC", "VP90", "AV01", "MJPG"};
    const char* audio[] = {"AAC ", "MP3 ", "OPUS", "FLAC", "AC3 "};
    for (const char* v : video) {
        const ENCODER_ITEM* e = Plugins().Encoder(Code(v));
        ASSERT_NE(e, nullptr) << v;
        EXPECT_EQ(e->nType, 1) << v;
        EXPECT_NE(e->pfnGetVideoExtra, nullptr);
    }
    for (const char* a : audio) {
        const ENCODER_ITEM* e = Plugins().Encoder(Code(a));
        ASSERT_NE(e, nullptr) << a;
        EXPECT_EQ(e->nType, 0) << a;
        EXPECT_NE(e->pfnGetAudioExtra, nullptr);
    }
    std::set<std::string> muxers;
    for (const FILEFORMAT_ITEM& m : Plugins().muxers)
        muxers.insert(std::string(reinterpret_cast<const char*>(&m.dwFourCC), 4));
    for (const char* m : {"MP4 ", "MOV ", "MKV ", "AVI ", "WEBM", "M4A ", "FMP4", "WAV ", "Y4M "})
        EXPECT_EQ(muxers.count(m), 1u) << m;
    const FILEFORMAT_ITEM* m4a = Plugins().Muxer(Code("M4A "));
    ASSERT_NE(m4a, nullptr);
    EXPECT_EQ(m4a->pVideoModes, nullptr);
}

EncodeParam Video(const char* codec, int w, int h, double fps, int bitRate) {
    EncodeParam p{};
    p.video.dwFourCC = Code(codec);
    p.video.nWidth = w;
    p.video.nHeight = h;
    p.video.dFrameRate = fps;
    p.video.nBitRate = bitRate;
    p.dwFileFormat = Code("MKV ");
    return p;
}

int ReviseV(EncodeParam& p) { return Plugins().Encoder(p.video.dwFourCC)->pfnReviseVideoParam(&p); }

TEST(FfmpegRevise, VideoSizesBecomeEvenAndWithinTheCodecsRange) {
    EncodeParam odd = Video("H264", 321, 241, 25, 500000);
    ASSERT_NE(ReviseV(odd), 0);
    EXPECT_EQ(odd.video.nWidth, 320);
    EXPECT_EQ(odd.video.nHeight, 240);
    EncodeParam tiny = Video("AV01", 32, 20, 25, 500000);  // the AV1 encoders want 64
    ASSERT_NE(ReviseV(tiny), 0);
    EXPECT_EQ(tiny.video.nWidth, 64);
    EXPECT_EQ(tiny.video.nHeight, 64);
    EncodeParam huge = Video("XVID", 16000, 9000, 25, 500000);
    ASSERT_NE(ReviseV(huge), 0);
    EXPECT_LE(huge.video.nWidth, 8190);
    EXPECT_NEAR(static_cast<double>(huge.video.nWidth) / huge.video.nHeight, 16.0 / 9, 0.01);
    EncodeParam none = Video("H264", 0, 240, 25, 500000);
    EXPECT_EQ(ReviseV(none), 0);
    EncodeParam noRate = Video("H264", 320, 240, 0, 500000);
    EXPECT_EQ(ReviseV(noRate), 0);
}

TEST(FfmpegRevise, BitRatesAreClampedOrChosen) {
    EncodeParam low = Video("H264", 320, 240, 25, 1);
    ASSERT_NE(ReviseV(low), 0);
    EXPECT_EQ(low.video.nBitRate, 32000);
    EncodeParam unset = Video("VP90", 320, 240, 25, 0);
    ASSERT_NE(ReviseV(unset), 0);
    EXPECT_GT(unset.video.nBitRate, 32000);
    EncodeAudioParam mp3 = {Code("MP3 "), 44100, 2, 16, 0, 2000000, 0};
    ASSERT_NE(Plugins().Encoder(mp3.dwFourCC)->pfnReviseAudioParam(&mp3), 0);
    EXPECT_EQ(mp3.nBitRate, 320000);
}

TEST(FfmpegRevise, AudioGetsARateAndChannelCountTheCodecTakes) {
    struct {
        const char* codec;
        int rate, channels, wantRate, wantChannels;
    } cases[] = {
        {"OPUS", 44100, 2, 48000, 2}, {"OPUS", 8000, 1, 48000, 1}, {"MP3 ", 44100, 6, 44100, 2},
        {"AC3 ", 22050, 2, 32000, 2}, {"AAC ", 44100, 2, 44100, 2}, {"AAC ", 192000, 2, 96000, 2},
        {"FLAC", 44100, 2, 44100, 2},
    };
    for (const auto& c : cases) {
        EncodeAudioParam a = {Code(c.codec), c.rate, c.channels, 16, 0, 128000, 0};
        ASSERT_NE(Plugins().Encoder(a.dwFourCC)->pfnReviseAudioParam(&a), 0) << c.codec;
        EXPECT_EQ(a.nSampleRate, c.wantRate) << c.codec << " " << c.rate;
        EXPECT_EQ(a.nChannels, c.wantChannels) << c.codec;
    }
    EncodeAudioParam eight = {Code("AAC "), 44100, 2, 8, 0, 128000, 0};
    EXPECT_EQ(Plugins().Encoder(eight.dwFourCC)->pfnReviseAudioParam(&eight), 0);
}

}  // namespace
