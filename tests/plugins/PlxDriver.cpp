#include "plugins/PlxDriver.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include <quevarra/qv_plugin.h>

namespace plxtest {

static bool InitLibrary() {
    static bool ok = [] {
        std::string bundle = BundleDir();
        bundle.resize(bundle.size() - strlen("/Contents/MacOS"));
        setenv("QUEVARRA_BUNDLE", bundle.c_str(), 1);
        return QVInitPlugins() != 0 && QVGetFileFormatInfos() != nullptr;
    }();
    return ok;
}

const ENCODER_ITEM* Encoder(uint32_t fourcc) {
    static std::map<uint32_t, ENCODER_ITEM> items;
    ENCODER_ITEM& e = items[fourcc];
    return InitLibrary() && QVGetEncoderInfo(fourcc, &e) ? &e : nullptr;
}

bool Pipeline::Create(const std::string& path, const EncodeParam& param) {
    xVideoInfo vi = {param.video.nWidth, param.video.nHeight, param.video.dFrameRate, 0.0, 0, 0, {0}, 0};
    xAudioInfo ai = {param.audio.nSampleRate, param.audio.nChannels, 16,
                     param.audio.nSampleRate * param.audio.nChannels * 2, 0.0, 0};
    std::wstring wpath(path.begin(), path.end());
    m_media = InitLibrary() ? QVCreateMediaFile(wpath.c_str(), &param, &vi, &ai) : nullptr;
    return m_media != nullptr;
}

void Pipeline::Close(QVPROGRESS_CALLBACK callback, void* user) {
    if (m_media) QVCloseMediaFile(m_media, callback, user);
    m_media = nullptr;
}

Picture::Picture(int w, int h)
    : width(w), height(h), y(static_cast<size_t>(w) * h),
      u(static_cast<size_t>((w + 1) / 2) * ((h + 1) / 2)), v(u.size()) {}

void Picture::Paint(int index, bool flash) {
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c)
            y[static_cast<size_t>(r) * width + c] =
                flash ? 235 : static_cast<uint8_t>(32 + ((c + r + 3 * index) % 64));
    std::fill(u.begin(), u.end(), static_cast<uint8_t>(flash ? 128 : 100 + index % 50));
    std::fill(v.begin(), v.end(), static_cast<uint8_t>(flash ? 128 : 150 - index % 50));
}

MEDIA_FRAME Picture::Frame(int64_t t) const {
    MEDIA_FRAME f{};
    f.pPlane[0] = const_cast<uint8_t*>(y.data());
    f.pPlane[1] = const_cast<uint8_t*>(u.data());
    f.pPlane[2] = const_cast<uint8_t*>(v.data());
    f.nPitch[0] = f.nWidth = width;
    f.nHeight = height;
    f.nPitch[1] = f.nPitch[2] = (width + 1) / 2;
    f.llTimeStamp = f.llStreamTime = t;
    return f;
}

std::vector<int16_t> Tone(int rate, int channels, int frames, double hz, int amplitude,
                          int64_t first) {
    std::vector<int16_t> s(static_cast<size_t>(frames) * channels);
    for (int i = 0; i < frames; ++i) {
        double x = amplitude * sin(2 * M_PI * hz * static_cast<double>(first + i) / rate);
        for (int c = 0; c < channels; ++c) s[static_cast<size_t>(i) * channels + c] = static_cast<int16_t>(x);
    }
    return s;
}

MEDIA_FRAME AudioBlock(const std::vector<int16_t>& samples, int rate, int channels, int64_t t) {
    MEDIA_FRAME f{};
    f.nSampleRate = rate;
    f.nChannels = channels;
    f.nBitsPerSample = 16;
    f.pData = const_cast<int16_t*>(samples.data());
    f.nDataSize = static_cast<int32_t>(samples.size() * 2);
    f.llTimeStamp = f.llStreamTime = t;
    f.nDuration = static_cast<int32_t>(samples.size() / channels * 10000000LL / rate);
    return f;
}

void WriteAV(Pipeline& p, const EncodeParam& param, double seconds, bool video, bool audio) {
    const int rate = param.audio.nSampleRate, ch = param.audio.nChannels;
    const double fps = param.video.dFrameRate;
    const int frames = static_cast<int>(seconds * fps + 0.5);
    const int64_t totalSamples = static_cast<int64_t>(seconds * rate + 0.5);
    const int blockFrames = rate / 20;  // 50 ms blocks
    Picture pic(param.video.nWidth, param.video.nHeight);
    int64_t written = 0;
    for (int i = 0; video ? i < frames : written < totalSamples; ++i) {
        int64_t t = video ? static_cast<int64_t>(i * 1e7 / fps + 0.5) : 0;
        if (video) {
            pic.Paint(i);
            MEDIA_FRAME f = pic.Frame(t);
            p.WriteVideo(&f);
        }
        // Audio up to the end of this frame (or in plain blocks without video).
        int64_t until = video ? std::min<int64_t>(totalSamples, static_cast<int64_t>((i + 1) * rate / fps))
                              : std::min<int64_t>(totalSamples, written + blockFrames);
        while (audio && written < until) {
            int n = static_cast<int>(std::min<int64_t>(blockFrames, until - written));
            std::vector<int16_t> s = Tone(rate, ch, n, 440, 8000, written);
            MEDIA_FRAME b = AudioBlock(s, rate, ch, written * 10000000LL / rate);
            p.WriteAudio(&b);
            written += n;
        }
        if (!video && !audio) break;
    }
}

std::string Shell(const std::string& command) {
    std::string out;
    FILE* p = popen(command.c_str(), "r");
    if (!p) return "popen failed";
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    pclose(p);
    return out;
}

Fields ProbeStream(const std::string& path, char type) {
    std::string text = Shell(std::string("ffprobe -v error -count_packets -select_streams ") + type +
                             " -show_entries stream=codec_name,width,height,r_frame_rate,avg_frame_rate,"
                             "nb_read_packets,sample_rate,channels,duration:format=duration "
                             "-of default=nw=1 '" + path + "' 2>&1");
    Fields fields;  // the stream comes first; N/A never lands, so the file's duration fills in
    for (size_t pos = 0, end; pos < text.size(); pos = end + 1) {
        end = std::min(text.find('\n', pos), text.size());
        size_t eq = text.find('=', pos);
        if (eq < end && text.compare(eq + 1, end - eq - 1, "N/A") != 0)
            fields.emplace(text.substr(pos, eq - pos), text.substr(eq + 1, end - eq - 1));
    }
    return fields;
}

std::string DecodeErrors(const std::string& path) {
    return Shell("ffmpeg -nostdin -v error -i '" + path + "' -f null - 2>&1");
}

double Num(const Fields& m, const std::string& key) {
    auto it = m.find(key);
    if (it == m.end()) return NAN;
    size_t slash = it->second.find('/');
    double den = slash == std::string::npos ? 1 : atof(it->second.c_str() + slash + 1);
    return den == 0 ? NAN : atof(it->second.c_str()) / den;
}

}  // namespace plxtest

// x265 (3.5) keeps a few allocations of every encoder it opens past its own
// teardown; under LeakSanitizer they would fail every test that loads our
// plugin. Nothing of ours is hidden by this.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions() {
    return "leak:libx265.so\n";
}
