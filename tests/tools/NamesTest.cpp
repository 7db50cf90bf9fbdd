// Names people type for codecs and containers, and the codec a container gets.
#include "Names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace qvnames;

namespace {

constexpr uint32_t Code(const char (&s)[5]) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

std::string Resolve(NameKind kind, const std::string& text, const std::vector<uint32_t>& published = {}) {
    const NameResult r = ResolveName(kind, text, published);
    return r.code ? FourCCText(r.code) : "error: " + r.error;
}

}  // namespace

TEST(Names, UsualNamesAndFourCCsInAnyCaseResolve) {
    const struct {
        NameKind kind;
        std::vector<const char*> names;
        const char* code;
    } cases[] = {
        {NameKind::VideoCodec, {"h264", "H264", "avc", "x264", "libx264", "LibX264"}, "H264"},
        {NameKind::VideoCodec, {"hevc", "h265", "x265", "libx265"}, "HEVC"},
        {NameKind::VideoCodec, {"vp9", "libvpx-vp9", "vp90", "VP90"}, "VP90"},
        {NameKind::VideoCodec, {"av1", "libsvtav1", "libaom-av1", "av01"}, "AV01"},
        {NameKind::VideoCodec, {"mpeg4", "xvid", "XVID"}, "XVID"},
        {NameKind::VideoCodec, {"mjpeg", "mjpg"}, "MJPG"},
        {NameKind::VideoCodec, {"rawvideo", "i420"}, "I420"},
        {NameKind::AudioCodec, {"aac", "AAC", "AAC ", "Aac"}, "AAC "},
        {NameKind::AudioCodec, {"mp3", "libmp3lame"}, "MP3 "},
        {NameKind::AudioCodec, {"opus", "libopus"}, "OPUS"},
        {NameKind::AudioCodec, {"flac"}, "FLAC"},
        {NameKind::AudioCodec, {"ac3", "AC3 "}, "AC3 "},
        {NameKind::AudioCodec, {"pcm", "pcm_s16le", "PCM"}, "PCM "},
        {NameKind::Container, {"mp4", "MP4 "}, "MP4 "},
        {NameKind::Container, {"mov"}, "MOV "},
        {NameKind::Container, {"mkv", "matroska", "Matroska"}, "MKV "},
        {NameKind::Container, {"webm", "WEBM"}, "WEBM"},
        {NameKind::Container, {"avi"}, "AVI "},
        {NameKind::Container, {"m4a"}, "M4A "},
        {NameKind::Container, {"wav"}, "WAV "},
        {NameKind::Container, {"y4m", "yuv4mpegpipe"}, "Y4M "},
        {NameKind::Container, {"fmp4"}, "FMP4"},
    };
    for (const auto& c : cases)
        for (const char* name : c.names) EXPECT_EQ(Resolve(c.kind, name), c.code) << name;
    // A code only a plugin publishes: exactly, or in any case without padding.
    const std::vector<uint32_t> published = {Code("Ab1 ")};
    EXPECT_EQ(Resolve(NameKind::AudioCodec, "Ab1 ", published), "Ab1 ");
    EXPECT_EQ(Resolve(NameKind::AudioCodec, "ab1", published), "Ab1 ");
    EXPECT_EQ(Resolve(NameKind::VideoCodec, "ab1"), "error: unknown video codec 'ab1' (did you mean 'av1'?)");
}

TEST(Names, UnknownNamesSuggestCloseOnesOrListTheKnown) {
    const std::pair<std::string, std::string> video[] = {
        {"h246", "(did you mean 'h264', 'x264' or 'h265'?)"},
        {"libx26", "'libx264' or 'libx265'"},
        {"libvpx", "'libvpx-vp9'"},
        {"aac", "('aac' is an audio codec)"},
        {"wmv3", "(known: 'h264', 'hevc', 'vp9', 'av1', 'xvid', 'mjpeg', 'rawvideo')"},
    };
    for (const auto& [typed, fragment] : video) {
        const std::string got = Resolve(NameKind::VideoCodec, typed);
        EXPECT_EQ(got.rfind("error: unknown video codec '" + typed + "' ", 0), 0u) << got;
        EXPECT_NE(got.find(fragment), std::string::npos) << got;
    }
    EXPECT_NE(Resolve(NameKind::Container, "matroshka").find("'matroska'"), std::string::npos);
    EXPECT_NE(Resolve(NameKind::Container, "mkvv").find("'mkv'"), std::string::npos);
    EXPECT_NE(Resolve(NameKind::Container, "h264").find("is a video codec"), std::string::npos);
    EXPECT_EQ(Resolve(NameKind::AudioCodec, ""), "error: empty audio codec name");
}

TEST(Names, ExtensionsGiveContainersAndCodesGetShortNames) {
    const std::pair<const char*, const char*> files[] = {
        {"a/b/Clip.MKV", "MKV "}, {"x.webm", "WEBM"}, {"x.m4v", "MP4 "}, {"song.mka", "MKV "},
        {"x.y4m", "Y4M "},        {"x.mov", "MOV "},  {"x.M4A", "M4A "}, {"x.wav", "WAV "},
    };
    for (const auto& [name, code] : files) EXPECT_EQ(FourCCText(ContainerForFileName(name)), code) << name;
    for (const char* none : {"dir.mp4/noext", "x.", "x.flv", "plain"}) EXPECT_EQ(ContainerForFileName(none), 0u) << none;
    EXPECT_EQ(DisplayName(Code("VP90")) + DisplayName(Code("AAC ")) + DisplayName(Code("Ab1 ")), "vp9aacab1");
}

TEST(Names, ContainersGetTheRequestedDefaultOrFirstCodec) {
    ENCODER_ITEM h264{}, xvid{};
    h264.dwFourCC = Code("H264");
    xvid.dwFourCC = Code("XVID");
    ENCODER_ITEM* video[] = {&h264, &xvid};
    FILEFORMAT_INFO mkv{};
    mkv.dwFourCC = Code("MKV ");
    mkv.ppVideoEnc = video;
    mkv.nVideoEnc = 2;
    auto choose = [&](NameKind kind, uint32_t requested, uint32_t fallback) {
        const CodecChoice c = ChooseCodec(&mkv, kind, requested, fallback);
        return c.ok ? (c.carries ? FourCCText(c.code) : std::string("none")) : "error: " + c.error;
    };
    EXPECT_EQ(choose(NameKind::VideoCodec, 0, Code("XVID")), "XVID");                // the library's default
    EXPECT_EQ(choose(NameKind::VideoCodec, 0, Code("VP90")), "H264");                // else the first listed
    EXPECT_EQ(choose(NameKind::VideoCodec, Code("XVID"), Code("H264")), "XVID");     // what was asked for
    EXPECT_EQ(choose(NameKind::VideoCodec, Code("VP90"), 0),
              "error: container 'mkv' does not take video codec 'vp9' (it takes 'h264', 'xvid')");
    EXPECT_EQ(choose(NameKind::AudioCodec, 0, Code("AAC ")), "none");
    EXPECT_EQ(choose(NameKind::AudioCodec, Code("AAC "), 0), "error: container 'mkv' carries no audio");
    EXPECT_FALSE(ChooseCodec(nullptr, NameKind::VideoCodec, 0, Code("XVID")).ok);
}
