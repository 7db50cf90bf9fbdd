#include "Request.h"

#include <Names.h>

#include <cctype>
#include <cmath>
#include <stdexcept>

#include "Runtime.h"

namespace qvpy {

namespace {

// The largest picture side the library resizes.
constexpr int64_t kMaxSide = 32767;

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

[[noreturn]] void Bad(const std::string& what) { throw std::invalid_argument(what); }

// One of a few words, any case; `values` maps each to its code.
template <size_t N>
int Choose(const char* what, const std::string& text, const std::pair<const char*, int> (&values)[N]) {
    const std::string typed = Lower(text);
    std::string known;
    for (size_t i = 0; i < N; ++i) {
        if (typed == values[i].first) return values[i].second;
        known += std::string(i == 0 ? "" : i + 1 == N ? " or " : ", ") + "'" + values[i].first + "'";
    }
    Bad(std::string(what) + ": expected " + known + ", got '" + text + "'");
}

int64_t InRange(const char* what, int64_t value, int64_t low, int64_t high) {
    if (value < low || value > high)
        Bad(std::string(what) + ": expected " + std::to_string(low) + ".." + std::to_string(high) + ", got " +
            std::to_string(value));
    return value;
}

double Rate(const char* what, double value) {
    if (!std::isfinite(value) || value <= 0 || value > 1000)
        Bad(std::string(what) + ": expected frames per second above 0 and at most 1000, got " + std::to_string(value));
    return value;
}

// Width and height come as a pair; each side may stand in for the other.
bool SizePair(const char* w, const char* h, const std::optional<int64_t>& width, const std::optional<int64_t>& height) {
    if (width.has_value() != height.has_value())
        Bad(std::string(w) + " and " + h + " go together: give both or neither");
    if (width) {
        InRange(w, *width, 1, kMaxSide);
        InRange(h, *height, 1, kMaxSide);
    }
    return width.has_value();
}

template <typename T>
T First(const std::optional<T>& a, const std::optional<T>& b, T fallback) {
    return a ? *a : b ? *b : fallback;
}

uint32_t Resolve(qvnames::NameKind kind, const std::string& text) {
    const qvnames::NameResult r = qvnames::ResolveName(kind, text, qvnames::PublishedCodes(kind));
    if (!r.code) Bad(r.error);
    return r.code;
}

// The codec for one stream, or 0 when the file gets no such stream.
uint32_t ChooseStream(const FILEFORMAT_INFO* container, qvnames::NameKind kind, const std::optional<std::string>& name,
                      uint32_t libraryDefault) {
    const uint32_t requested = name ? Resolve(kind, *name) : 0;
    const qvnames::CodecChoice choice = qvnames::ChooseCodec(container, kind, requested, libraryDefault);
    if (!choice.ok) Bad(choice.error);
    return choice.carries ? choice.code : 0;
}

const std::pair<const char*, int> kPixelFormats[] = {
    {"rgb24", static_cast<int>(PixelFormat::Rgb24)}, {"bgr24", static_cast<int>(PixelFormat::Bgr24)},
    {"rgba", static_cast<int>(PixelFormat::Rgba)},   {"bgra", static_cast<int>(PixelFormat::Bgra)},
    {"yuv420p", static_cast<int>(PixelFormat::Yuv420p)}};
const std::pair<const char*, int> kResize[] = {{"stretch", IMAGE_RESIZE_STRETCH},
                                               {"keep", IMAGE_RESIZE_KEEP_ASPECT},
                                               {"16:9", IMAGE_RESIZE_16_9},
                                               {"4:3", IMAGE_RESIZE_4_3},
                                               {"crop", IMAGE_RESIZE_CROP}};
const std::pair<const char*, int> kInterpolation[] = {{"bilinear", IMAGE_INTERPOLATION_BILINEAR},
                                                      {"nearest", IMAGE_INTERPOLATION_NEAREST}};

}  // namespace

const char* PixelFormatName(PixelFormat format) {
    for (const auto& p : kPixelFormats)
        if (p.second == static_cast<int>(format)) return p.first;
    return "?";
}

FileConfig ResolveRequest(const FileRequest& rq) {
    FileConfig c;
    c.path = rq.path;
    c.pathText = rq.pathText;
    if (rq.path.empty()) Bad("path: empty file name");
    if (rq.path.find(L'\0') != std::wstring::npos) Bad("path: embedded null character");

    // Everything that can be checked without the plugins comes first.
    c.pixelFormat = static_cast<PixelFormat>(Choose("pixel_format", rq.pixelFormat, kPixelFormats));
    const int resize = Choose("resize", rq.resize, kResize);
    const int interpolation = Choose("interpolation", rq.interpolation, kInterpolation);
    const bool outSize = SizePair("width", "height", rq.width, rq.height);
    const bool inSize = SizePair("input_width", "input_height", rq.inputWidth, rq.inputHeight);
    if (rq.fps) Rate("fps", *rq.fps);
    if (rq.inputFps) Rate("input_fps", *rq.inputFps);
    const auto check = [](const char* what, const std::optional<int64_t>& v, int64_t low, int64_t high) {
        if (v) InRange(what, *v, low, high);
    };
    check("sample_rate", rq.sampleRate, 1, 1000000);
    check("input_sample_rate", rq.inputSampleRate, 1, 1000000);
    // 32 channels of 16 bits fill the library's last-sample buffer.
    check("channels", rq.channels, 1, 32);
    check("input_channels", rq.inputChannels, 1, 32);
    check("video_bitrate", rq.videoBitrate, 1, INT32_MAX);
    check("audio_bitrate", rq.audioBitrate, 1, INT32_MAX);

    EncodeParam& p = c.param;
    QVDefaultEncodeParam(&p);
    const EncodeParam defaults = p;

    uint32_t container;
    if (rq.format) {
        container = Resolve(qvnames::NameKind::Container, *rq.format);
    } else {
        container = qvnames::ContainerForFileName(rq.pathText);
        if (!container) Bad("cannot tell the container from '" + rq.pathText + "': pass format= (e.g. format=\"mp4\")");
    }
    const FILEFORMAT_INFO* info = QVFindFileFormatPlugin(container);
    if (!info)
        throw LibraryError("cannot create '" + rq.pathText + "': no installed plugin writes container '" +
                           qvnames::DisplayName(container) + "' (quevarra.formats() lists those that are)");
    p.dwFileFormat = container;

    const uint32_t video =
        rq.video ? ChooseStream(info, qvnames::NameKind::VideoCodec, rq.videoCodec, defaults.video.dwFourCC) : 0;
    const uint32_t audio =
        rq.audio ? ChooseStream(info, qvnames::NameKind::AudioCodec, rq.audioCodec, defaults.audio.dwFourCC) : 0;
    p.bDisableVideo = video == 0;
    p.bDisableAudio = audio == 0;
    if (video) p.video.dwFourCC = video;
    if (audio) p.audio.dwFourCC = audio;

    // The output's size and rates default to the input's and the other way
    // round; with neither, the library's defaults serve both.
    const int64_t outW = outSize ? *rq.width : inSize ? *rq.inputWidth : defaults.video.nWidth;
    const int64_t outH = outSize ? *rq.height : inSize ? *rq.inputHeight : defaults.video.nHeight;
    p.video.nWidth = static_cast<int32_t>(outW);
    p.video.nHeight = static_cast<int32_t>(outH);
    p.video.dFrameRate = First(rq.fps, rq.inputFps, defaults.video.dFrameRate);
    p.video.nResizeMethod = resize;
    p.video.nInterpolation = interpolation;
    if (rq.videoBitrate) p.video.nBitRate = static_cast<int32_t>(*rq.videoBitrate);

    p.audio.nSampleRate = static_cast<int32_t>(First<int64_t>(rq.sampleRate, rq.inputSampleRate, defaults.audio.nSampleRate));
    p.audio.nChannels = static_cast<int32_t>(First<int64_t>(rq.channels, rq.inputChannels, defaults.audio.nChannels));
    if (rq.audioBitrate) p.audio.nBitRate = static_cast<int32_t>(*rq.audioBitrate);

    xVideoInfo& vi = c.videoInfo;
    vi.width = static_cast<int32_t>(inSize ? *rq.inputWidth : outW);
    vi.height = static_cast<int32_t>(inSize ? *rq.inputHeight : outH);
    vi.fps = First(rq.inputFps, rq.fps, defaults.video.dFrameRate);

    xAudioInfo& ai = c.audioInfo;
    ai.samplerate = static_cast<int32_t>(First<int64_t>(rq.inputSampleRate, rq.sampleRate, defaults.audio.nSampleRate));
    ai.channels = static_cast<int32_t>(First<int64_t>(rq.inputChannels, rq.channels, defaults.audio.nChannels));
    ai.bitspersample = 16;
    ai.bytespersec = ai.samplerate * ai.channels * 2;
    return c;
}

}  // namespace qvpy
