#include "Job.h"

#include <quevarra/quevarra.h>
#include "FormatList.h"
#include "LogCapture.h"
#include "Progress.h"
#include "RawReader.h"
#include "TestPattern.h"
#include "Text.h"
#include "WavReader.h"
#include "Y4mReader.h"

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <numeric>
#include <thread>
#include <unistd.h>

namespace qvenc {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;
void OnSignal(int) { g_interrupted = 1; }

constexpr long kAudioBlockFrames = 2048;
constexpr size_t kLogLinesOnFailure = 8;

void Say(const std::string& text) { std::fprintf(stderr, "qvencode: %s\n", text.c_str()); }

// The video input, whichever kind it is.
struct VideoSource {
    enum Kind { None, Y4m, Raw, Pattern } kind = None;
    Y4mReader y4m;
    RawReader raw;
    int width = 0, height = 0;
    Rational rate;
    long long total = -1;  // frames, -1 = unknown
    int aspectX = 0, aspectY = 0;
    long long next = 0;    // pattern frames made so far
    std::string error;

    int Read(Picture& picture) {
        int r = 0;
        switch (kind) {
        case Y4m:
            r = y4m.ReadFrame(picture);
            if (r < 0) error = y4m.Error();
            break;
        case Raw:
            r = raw.ReadFrame(picture);
            if (r < 0) error = raw.Error();
            break;
        case Pattern:
            if (next >= total) return 0;
            RenderPatternFrame(next++, rate, picture);
            r = 1;
            break;
        case None:
            break;
        }
        return r;
    }
};

// The audio input, whichever kind it is.
struct AudioSource {
    enum Kind { None, Wav, Pattern } kind = None;
    WavReader wav;
    int rate = 0, channels = 0;
    long long total = 0;  // sample frames
    long long next = 0;
    std::string error;

    long Read(std::vector<int16_t>& samples, long maxFrames) {
        if (kind == Wav) {
            long n = wav.Read(samples, maxFrames);
            if (n < 0) error = wav.Error();
            return n;
        }
        long n = static_cast<long>(std::min<long long>(maxFrames, total - next));
        if (n <= 0) return 0;
        RenderPatternAudio(next, n, rate, channels, samples);
        next += n;
        return n;
    }
};

bool Lists(ENCODER_ITEM** list, int count, uint32_t code) {
    for (int i = 0; list && i < count; ++i)
        if (list[i]->dwFourCC == code) return true;
    return false;
}

std::string CodeList(ENCODER_ITEM** list, int count) {
    std::string s;
    for (int i = 0; list && i < count; ++i) s += (s.empty() ? "'" : ", '") + FourCCText(list[i]->dwFourCC) + "'";
    return s;
}

// Picks the codec for one stream. requested 0 = not given. Returns false
// (with a message) when the container cannot carry what was asked for.
// `carries` becomes false when the container has no codec for the stream.
bool ChooseCodec(const FILEFORMAT_INFO* info, bool video, uint32_t requested, uint32_t& codec,
                 bool& carries, std::string& error) {
    carries = true;
    if (!info) {  // not published: the library decides
        if (requested) codec = requested;
        return true;
    }
    ENCODER_ITEM** list = video ? info->ppVideoEnc : info->ppAudioEnc;
    const int count = video ? info->nVideoEnc : info->nAudioEnc;
    const char* kind = video ? "video" : "audio";
    if (count == 0) {
        carries = false;
        if (requested) {
            error = "container '" + FourCCText(info->dwFourCC) + "' carries no " + kind;
            return false;
        }
        return true;
    }
    if (requested) {
        if (!Lists(list, count, requested)) {
            error = "container '" + FourCCText(info->dwFourCC) + "' does not take " + kind + " codec '" +
                    FourCCText(requested) + "' (it takes " + CodeList(list, count) + ")";
            return false;
        }
        codec = requested;
    } else if (!Lists(list, count, codec)) {
        codec = list[0]->dwFourCC;  // the default codec does not fit: the container's first
    }
    return true;
}

void SayLogTail(const LogCapture& log) {
    for (const std::string& line : log.Tail(kLogLinesOnFailure)) std::fprintf(stderr, "  log: %s\n", line.c_str());
}

// Releases the plugins when the job leaves, whichever way.
// One initialisation of the plugins, released on every way out (a failed
// scan still counts as one).
struct PluginScope {
    PluginScope() : opened(QVInitPlugins() != 0) {}
    ~PluginScope() { QVUninitPlugins(); }
    const bool opened;
};

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace

int64_t StampOf(long long index, int64_t num, int64_t den) {
    const __int128 scaled = static_cast<__int128>(index) * 10000000 * den;
    return static_cast<int64_t>((scaled + num / 2) / num);
}

// Where the library looks for plugins, for messages.
std::string PluginDirectory() {
    char app[512] = {0};
    GetAppPathA(app, 511);
    return std::string(app) + "/Encoder";
}

int RunList(const Options& options) {
    LogCapture log(options.verbose);
    PluginScope plugins;
    if (!plugins.opened) {
        Say("cannot open the plugin directory " + PluginDirectory());
        SayLogTail(log);
        return kExitLibrary;
    }
    if (PrintFormatList(stdout) == 0) {
        Say("no file formats found in " + PluginDirectory());
        SayLogTail(log);
        return kExitLibrary;
    }
    return kExitOk;
}

int RunJob(const Options& o) {
    // Inputs first: a bad input is reported before anything is created.
    VideoSource video;
    AudioSource audio;
    const bool pattern = o.videoInput.empty() && o.audioInput.empty();
    if (!o.noVideo && !o.videoInput.empty()) {
        if (o.raw != RawFormat::None) {
            video.kind = VideoSource::Raw;
            if (!video.raw.Open(o.videoInput, o.raw, o.rawWidth, o.rawHeight)) {
                Say(video.raw.Error());
                return kExitInput;
            }
            video.width = o.rawWidth;
            video.height = o.rawHeight;
            video.rate = o.rawRate;
            video.total = video.raw.FrameCount();
        } else {
            video.kind = VideoSource::Y4m;
            if (!video.y4m.Open(o.videoInput)) {
                Say(video.y4m.Error());
                return kExitInput;
            }
            const Y4mHeader& h = video.y4m.Header();
            video.width = h.width;
            video.height = h.height;
            video.rate = h.rate;
            video.total = video.y4m.FrameCount();
            if (h.parNum > 0 && h.parDen > 0) {  // pixel aspect -> display aspect
                const int64_t x = static_cast<int64_t>(h.width) * h.parNum, y = static_cast<int64_t>(h.height) * h.parDen;
                const int64_t g = std::gcd(x, y);
                if (x / g <= 0x7fffffff && y / g <= 0x7fffffff) {
                    video.aspectX = static_cast<int>(x / g);
                    video.aspectY = static_cast<int>(y / g);
                }
            }
        }
    } else if (!o.noVideo && pattern) {
        video.kind = VideoSource::Pattern;
        video.width = kPatternWidth;
        video.height = kPatternHeight;
        if (o.rate.Valid()) {
            video.rate = o.rate;
        } else {
            EncodeParam d{};
            QVDefaultEncodeParam(&d);
            video.rate = Rational{std::lround(d.video.dFrameRate * 1000), 1000};
            const int64_t g = std::gcd(video.rate.num, video.rate.den);
            video.rate.num /= g;
            video.rate.den /= g;
        }
        video.total = std::max<long long>(1, std::llround(o.duration * video.rate.Value()));
    }
    if (o.aspectX) {
        video.aspectX = o.aspectX;
        video.aspectY = o.aspectY;
    }
    if (!o.noAudio && !o.audioInput.empty()) {
        audio.kind = AudioSource::Wav;
        if (!audio.wav.Open(o.audioInput)) {
            Say(audio.wav.Error());
            return kExitInput;
        }
        audio.rate = audio.wav.SampleRate();
        audio.channels = audio.wav.Channels();
        audio.total = audio.wav.TotalFrames();
    } else if (!o.noAudio && pattern) {
        audio.kind = AudioSource::Pattern;
        EncodeParam d{};
        QVDefaultEncodeParam(&d);
        audio.rate = o.sampleRate ? o.sampleRate : d.audio.nSampleRate;
        audio.channels = o.channels ? o.channels : d.audio.nChannels;
        audio.total = std::max<long long>(1, std::llround(o.duration * audio.rate));
    }

    // The first picture is read before the output exists: an unreadable
    // input leaves nothing behind. (Raw frames need the library's converter.)
    Picture picture;
    bool havePicture = false;
    auto readFirst = [&]() {
        const int r = video.Read(picture);
        if (r <= 0) Say(r < 0 ? video.error : o.videoInput + ": no frames");
        havePicture = r > 0;
        return havePicture;
    };
    if (video.kind == VideoSource::Y4m && !readFirst()) return kExitInput;

    LogCapture log(o.verbose);
    PluginScope plugins;
    if (!plugins.opened) {
        Say("cannot open the plugin directory " + PluginDirectory());
        SayLogTail(log);
        return kExitLibrary;
    }

    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.dwFileFormat = o.container;
    const FILEFORMAT_INFO* info = QVFindFileFormatPlugin(o.container);
    bool hasVideo = video.kind != VideoSource::None, hasAudio = audio.kind != AudioSource::None;
    bool carriesVideo, carriesAudio;
    std::string error;
    if (!ChooseCodec(info, true, o.videoCodec, p.video.dwFourCC, carriesVideo, error) ||
        !ChooseCodec(info, false, o.audioCodec, p.audio.dwFourCC, carriesAudio, error)) {
        Say(error);
        return kExitUsage;
    }
    if (hasVideo && !carriesVideo) {
        if (video.kind != VideoSource::Pattern)
            Say("note: container '" + FourCCText(o.container) + "' carries no video; the video input is ignored");
        hasVideo = false;
    }
    if (hasAudio && !carriesAudio) {
        if (audio.kind != AudioSource::Pattern)
            Say("note: container '" + FourCCText(o.container) + "' carries no audio; the audio input is ignored");
        hasAudio = false;
    }
    if (!hasVideo && !hasAudio) {
        Say("nothing to write: no stream that container '" + FourCCText(o.container) + "' can carry");
        return kExitUsage;
    }

    // Output defaults follow the input, so a plain conversion keeps size and timing.
    xVideoInfo vi{};
    if (hasVideo) {
        p.video.nWidth = o.width ? o.width : video.width;
        p.video.nHeight = o.height ? o.height : video.height;
        p.video.dFrameRate = (o.rate.Valid() ? o.rate : video.rate).Value();
        if (o.videoBitRate) p.video.nBitRate = o.videoBitRate;
        if (o.resizeMethod >= 0) p.video.nResizeMethod = o.resizeMethod;
        if (o.interpolation >= 0) p.video.nInterpolation = o.interpolation;
        vi.width = video.width;
        vi.height = video.height;
        vi.fps = video.rate.Value();
        vi.duration = video.total > 0 ? video.total / video.rate.Value() : 0.0;
        vi.aspectx = video.aspectX;
        vi.aspecty = video.aspectY;
    }
    p.bDisableVideo = !hasVideo;
    xAudioInfo ai{};
    if (hasAudio) {
        p.audio.nSampleRate = o.sampleRate ? o.sampleRate : audio.rate;
        p.audio.nChannels = o.channels ? o.channels : audio.channels;
        if (o.audioBitRate) p.audio.nBitRate = o.audioBitRate;
        ai.samplerate = audio.rate;
        ai.channels = audio.channels;
        ai.bitspersample = 16;
        ai.bytespersec = audio.rate * audio.channels * 2;
        ai.duration = static_cast<double>(audio.total) / audio.rate;
    }
    p.bDisableAudio = !hasAudio;

    if (hasVideo && !havePicture && !readFirst()) return kExitInput;

    const bool existed = Exists(o.output);
    void* file = QVCreateMediaFile(Utf8ToWide(o.output).c_str(), &p, hasVideo ? &vi : nullptr,
                                   hasAudio ? &ai : nullptr);
    if (!file) {
        Say("the library could not create '" + o.output + "' (container '" + FourCCText(o.container) + "'" +
            (hasVideo ? ", video '" + FourCCText(p.video.dwFourCC) + "'" : std::string()) +
            (hasAudio ? ", audio '" + FourCCText(p.audio.dwFourCC) + "'" : std::string()) + ")");
        if (!info) Say("no plugin publishes file format '" + FourCCText(o.container) + "' (see qvencode --list)");
        SayLogTail(log);
        if (!existed && Exists(o.output) && std::remove(o.output.c_str()) == 0)
            Say("removed the incomplete '" + o.output + "'");
        return info ? kExitLibrary : kExitUsage;
    }

    g_interrupted = 0;
    auto previousInt = std::signal(SIGINT, OnSignal);
    auto previousTerm = std::signal(SIGTERM, OnSignal);

    const bool show = !o.quiet && (o.progress || isatty(fileno(stderr)));
    Progress progress(show, stderr, hasVideo ? video.total : audio.total,
                      hasVideo ? video.rate.Value() : audio.rate, hasVideo ? "frames" : "samples");

    std::atomic<bool> stop{false};
    auto stopping = [&] { return stop.load() || g_interrupted; };

    // One audio block per call; false at the end or on an error.
    long long audioFrames = 0;
    std::vector<int16_t> samples;
    auto writeAudioBlock = [&]() -> bool {
        const long n = audio.Read(samples, kAudioBlockFrames);
        if (n <= 0) {
            if (n < 0) stop = true;
            return false;
        }
        MEDIA_FRAME block{};
        block.nSampleRate = audio.rate;
        block.nChannels = audio.channels;
        block.nBitsPerSample = 16;
        block.pData = samples.data();
        block.nDataSize = static_cast<int32_t>(n * audio.channels * 2);
        block.llStreamTime = block.llTimeStamp = StampOf(audioFrames, audio.rate, 1);
        block.nDuration = static_cast<int32_t>(StampOf(audioFrames + n, audio.rate, 1) - block.llStreamTime);
        QVWriteAudioData(file, &block);
        audioFrames += n;
        return true;
    };

    const bool threaded = hasVideo && hasAudio && !o.singleThread;
    std::thread audioThread;
    if (threaded)
        audioThread = std::thread([&] {
            while (!stopping() && writeAudioBlock()) {
            }
        });

    long long frames = 0;
    bool audioDone = !hasAudio;
    if (hasVideo) {
        for (;;) {
            MEDIA_FRAME f{};
            for (int k = 0; k < 3; ++k) {
                f.pPlane[k] = picture.plane[k].data();
                f.nPitch[k] = picture.pitch[k];
            }
            f.nWidth = picture.width;
            f.nHeight = picture.height;
            f.llStreamTime = f.llTimeStamp = StampOf(frames, video.rate.num, video.rate.den);
            f.nDuration = static_cast<int32_t>(StampOf(frames + 1, video.rate.num, video.rate.den) - f.llStreamTime);
            // On one thread, audio is kept up with the picture about to be written.
            while (!threaded && !audioDone && !stopping() &&
                   StampOf(audioFrames, audio.rate, 1) <= f.llStreamTime)
                audioDone = !writeAudioBlock();
            if (stopping()) break;
            QVWriteVideoFrame(file, &f);
            progress.Update(++frames);
            const int r = video.Read(picture);
            if (r < 0) stop = true;
            if (r <= 0) break;
        }
    }
    if (threaded) {
        audioThread.join();
    } else {
        while (!audioDone && !stopping()) {
            audioDone = !writeAudioBlock();
            if (!hasVideo) progress.Update(audioFrames);
        }
    }
    progress.FinishWriting(hasVideo ? frames : audioFrames);

    QVCloseMediaFile(file, show ? &Progress::CloseCallback : nullptr, &progress);
    progress.EndClose();
    std::signal(SIGINT, previousInt);
    std::signal(SIGTERM, previousTerm);

    const std::string failure = !video.error.empty() ? video.error : audio.error;
    if (!failure.empty() || g_interrupted) {
        Say(failure.empty() ? std::string("interrupted") : failure);
        if (std::remove(o.output.c_str()) == 0) Say("'" + o.output + "' is incomplete and was removed");
        else Say("'" + o.output + "' is incomplete");
        return failure.empty() ? kExitInterrupted : kExitInput;
    }
    if (show)
        std::fprintf(stderr, "qvencode: wrote '%s'%s%s\n", o.output.c_str(),
                     hasVideo ? (": " + std::to_string(frames) + " frames").c_str() : "",
                     hasAudio ? (", " + ClockText(audioFrames * 1000 / audio.rate) + " of audio").c_str() : "");
    return kExitOk;
}

}  // namespace qvenc
