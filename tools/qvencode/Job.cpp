#include "Job.h"

#include <quevarra/quevarra.h>
#include "FfLog.h"
#include "FormatList.h"
#include "Inputs.h"
#include "Interrupt.h"
#include "LogCapture.h"
#include "Names.h"
#include "OutputFile.h"
#include "Progress.h"
#include "TestPattern.h"
#include "Text.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <thread>
#include <unistd.h>

namespace qvenc {

using qvnames::NameKind;

namespace {

constexpr size_t kLogLinesOnFailure = 8;
constexpr size_t kWarningsShown = 5;

void SayLogTail(const LogCapture& log) {
    for (const std::string& line : log.Tail(kLogLinesOnFailure)) std::fprintf(stderr, "  log: %s\n", line.c_str());
}

// One initialisation of the plugins, released on every way out (a failed
// scan still counts as one).
struct PluginScope {
    PluginScope() : opened(QVInitPlugins() != 0) {}
    ~PluginScope() { QVUninitPlugins(); }
    const bool opened;
};

// Where the library looks for plugins, for messages.
std::string PluginDirectory() {
    char app[512] = {0};
    GetAppPathA(app, 511);
    return std::string(app) + "/Encoder";
}

// The file to write, as the library is asked for it.
struct Plan {
    EncodeParam param{};
    xVideoInfo videoInfo{};
    xAudioInfo audioInfo{};
    bool video = false, audio = false;
    const FILEFORMAT_INFO* container = nullptr;
};

std::string Name(uint32_t code) { return "'" + qvnames::DisplayName(code) + "'"; }

// Resolves the names, picks the codecs and fills the parameters; output
// defaults follow the input, so a plain conversion keeps size and timing.
int PlanOutput(const Options& o, const Inputs& in, Plan& plan, std::string& error) {
    EncodeParam& p = plan.param;
    QVDefaultEncodeParam(&p);
    const EncodeParam defaults = p;
    if (!o.container.empty()) {
        const qvnames::NameResult r =
            qvnames::ResolveName(NameKind::Container, o.container, qvnames::PublishedCodes(NameKind::Container));
        if (!r.code) {
            error = "-f: " + r.error;
            return kExitUsage;
        }
        p.dwFileFormat = r.code;
    } else {
        p.dwFileFormat = qvnames::ContainerForFileName(o.output);
        if (!p.dwFileFormat) {
            error = "cannot tell the container from '" + o.output + "'; name it with -f (mp4, mkv, webm, ...)";
            return kExitUsage;
        }
    }
    uint32_t requested[2] = {0, 0};
    const std::string* typed[2] = {&o.videoCodec, &o.audioCodec};
    for (int k = 0; k < 2; ++k) {
        const NameKind kind = k == 0 ? NameKind::VideoCodec : NameKind::AudioCodec;
        if (typed[k]->empty()) continue;
        const qvnames::NameResult r = qvnames::ResolveName(kind, *typed[k], qvnames::PublishedCodes(kind));
        if (!r.code) {
            error = std::string(k == 0 ? "-c:v: " : "-c:a: ") + r.error;
            return kExitUsage;
        }
        requested[k] = r.code;
    }
    plan.container = QVFindFileFormatPlugin(p.dwFileFormat);
    if (!plan.container) {
        error = "no plugin writes container " + Name(p.dwFileFormat) + " (qvencode --list shows what this build writes)";
        return kExitUsage;
    }
    plan.video = in.video.IsOpen();
    plan.audio = in.audio.IsOpen();
    const qvnames::CodecChoice video =
        qvnames::ChooseCodec(plan.container, NameKind::VideoCodec, plan.video ? requested[0] : 0, defaults.video.dwFourCC);
    const qvnames::CodecChoice audio =
        qvnames::ChooseCodec(plan.container, NameKind::AudioCodec, plan.audio ? requested[1] : 0, defaults.audio.dwFourCC);
    if (!video.ok || !audio.ok) {
        error = !video.ok ? video.error : audio.error;
        return kExitUsage;
    }
    if (plan.video && !video.carries) {
        if (!in.video.IsPattern()) Say("note: container " + Name(p.dwFileFormat) + " carries no video; the video input is not used");
        plan.video = false;
    }
    if (plan.audio && !audio.carries) {
        if (!in.audio.IsPattern()) Say("note: container " + Name(p.dwFileFormat) + " carries no audio; the audio input is not used");
        plan.audio = false;
    }
    if (!plan.video && !plan.audio) {
        error = "nothing to write: container " + Name(p.dwFileFormat) + " carries no stream of the input";
        return kExitUsage;
    }
    if (plan.video) {
        const VideoSource& v = in.video;
        p.video.dwFourCC = video.code;
        p.video.nWidth = o.width ? o.width : v.Width();
        p.video.nHeight = o.height ? o.height : v.Height();
        p.video.dFrameRate = (o.rate.Valid() ? o.rate : v.Rate()).Value();
        if (o.videoBitRate) p.video.nBitRate = o.videoBitRate;
        if (o.resizeMethod >= 0) p.video.nResizeMethod = o.resizeMethod;
        if (o.interpolation >= 0) p.video.nInterpolation = o.interpolation;
        plan.videoInfo.width = v.Width();
        plan.videoInfo.height = v.Height();
        plan.videoInfo.fps = v.Rate().Value();
        plan.videoInfo.duration = v.Seconds();
        plan.videoInfo.aspectx = o.aspectX ? o.aspectX : v.AspectX();
        plan.videoInfo.aspecty = o.aspectX ? o.aspectY : v.AspectY();
    }
    if (plan.audio) {
        const AudioSource& a = in.audio;
        p.audio.dwFourCC = audio.code;
        p.audio.nSampleRate = o.sampleRate ? o.sampleRate : a.Rate();
        p.audio.nChannels = o.channels ? o.channels : a.Channels();
        if (o.audioBitRate) p.audio.nBitRate = o.audioBitRate;
        plan.audioInfo.samplerate = a.Rate();
        plan.audioInfo.channels = a.Channels();
        plan.audioInfo.bitspersample = 16;
        plan.audioInfo.bytespersec = a.Rate() * a.Channels() * 2;
        plan.audioInfo.duration = a.Total() > 0 ? static_cast<double>(a.Total()) / a.Rate() : 0.0;
    }
    p.bDisableVideo = !plan.video;
    p.bDisableAudio = !plan.audio;
    return 0;
}

// What the writing loops leave behind.
struct Written {
    long long frames = 0;
    std::string videoFailure, audioFailure;
};

// The library's counters of the file: repeated and dropped pictures. A
// picture held over a gap is handed over again, and counts as repeated too.
std::string Counters(void* file, const VideoSource& video) {
    QV_MEDIAFILE_STATS stats{};
    stats.cbSize = sizeof stats;
    if (!QVGetMediaFileStats(file, &stats)) return "";
    return "dup " + std::to_string(stats.llVideoFramesRepeated + video.Holds()) + " drop " +
           std::to_string(stats.llVideoFramesDropped);
}

// Video on this thread, audio on a second one unless --single-thread; on one
// thread audio is kept up with the picture about to be written.
void WriteStreams(void* file, const Options& o, Inputs& in, const Plan& plan, Progress& progress, Written& w) {
    VideoSource& video = in.video;
    AudioSource& audio = in.audio;
    std::atomic<bool> stop{false};
    auto stopping = [&] { return stop.load() || Interrupted(); };

    std::vector<int16_t> samples;
    auto writeAudioBlock = [&]() -> bool {
        int64_t time = 0;
        const int r = audio.Next(samples, time);
        if (r <= 0) {
            if (r < 0) {
                w.audioFailure = audio.Error();
                stop = true;
            }
            return false;
        }
        MEDIA_FRAME block{};
        block.nSampleRate = audio.Rate();
        block.nChannels = audio.Channels();
        block.nBitsPerSample = 16;
        block.pData = samples.data();
        block.nDataSize = static_cast<int32_t>(samples.size() * sizeof(int16_t));
        block.llStreamTime = block.llTimeStamp = time;
        block.nDuration = static_cast<int32_t>(StampOf(static_cast<long long>(samples.size()) / audio.Channels(), audio.Rate(), 1));
        QVWriteAudioData(file, &block);
        return true;
    };

    video.SetOutputRate(plan.param.video.dFrameRate);
    // A stream the container cannot carry is not read at all.
    if (!plan.video) video.Stop();
    if (!plan.audio) audio.Stop();
    const bool threaded = plan.video && plan.audio && !o.singleThread;
    if (in.videoFile) in.videoFile->SetThreaded(threaded);
    std::thread audioThread;
    if (threaded)
        audioThread = std::thread([&] {
            while (!stopping() && writeAudioBlock()) {
            }
            audio.Stop();
        });

    bool audioDone = !plan.audio;
    if (plan.video) {
        for (;;) {
            MEDIA_FRAME f{};
            const int r = video.Next(f);
            if (r < 0) {
                w.videoFailure = video.Error();
                stop = true;
            }
            if (r <= 0) break;
            while (!threaded && !audioDone && !stopping() && audio.Position() <= f.llStreamTime)
                audioDone = !writeAudioBlock();
            if (stopping()) break;
            QVWriteVideoFrame(file, &f);
            w.frames = video.Covered();
            progress.Update(w.frames, Counters(file, video));
        }
        video.Stop();
    }
    if (threaded) {
        audioThread.join();
    } else {
        while (!audioDone && !stopping()) {
            audioDone = !writeAudioBlock();
            if (!plan.video) progress.Update(audio.Count());
        }
    }
    progress.FinishWriting(plan.video ? w.frames : audio.Count(), plan.video ? Counters(file, video) : "");
}

void SayInputWarnings(const Inputs& in) {
    if (in.video.IsOpen() && in.video.Damaged())
        Say("warning: " + in.videoFile->Name() + ": " + std::to_string(in.video.Damaged()) +
            " damaged video packet(s) skipped");
    if (in.audio.IsOpen() && in.audio.Damaged())
        Say("warning: " + (in.audioFile ? in.audioFile : in.videoFile)->Name() + ": " +
            std::to_string(in.audio.Damaged()) + " damaged audio packet(s) skipped");
    const std::vector<std::string> warnings = FfmpegWarnings();
    for (size_t i = 0; i < warnings.size() && i < kWarningsShown; ++i) Say("warning: " + warnings[i]);
    if (warnings.size() > kWarningsShown)
        Say("warning: and " + std::to_string(warnings.size() - kWarningsShown) + " more (-v shows them)");
}

}  // namespace

void Say(const std::string& text) { std::fprintf(stderr, "qvencode: %s\n", text.c_str()); }

int RunList(const Options& options) {
    LogCapture log(options.verbose ? stderr : nullptr);
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
    // Signals are caught from the start: reading a slow input can take long.
    InterruptScope interrupts;
    LogCapture log(o.verbose ? stderr : nullptr);
    // Inputs first: a bad input is reported before anything is created.
    Inputs in;
    std::string error;
    int code = OpenInputs(o, in, error);
    if (code && Interrupted()) {
        Say("interrupted");
        return kExitInterrupted;
    }
    if (code) {
        Say(error);
        if (code == kExitUsage) std::fputs("Try 'qvencode -h'.\n", stderr);
        return code;
    }

    PluginScope plugins;
    if (!plugins.opened) {
        Say("cannot open the plugin directory " + PluginDirectory());
        SayLogTail(log);
        return kExitLibrary;
    }
    Plan plan;
    if ((code = PlanOutput(o, in, plan, error)) != 0) {
        Say(error);
        if (code == kExitUsage) std::fputs("Try 'qvencode -h'.\n", stderr);
        return code;
    }
    const Overwrite policy = o.overwrite ? Overwrite::Yes : o.noOverwrite ? Overwrite::No : Overwrite::Ask;
    const bool canAsk = isatty(fileno(stdin)) && o.videoInput != "-" && o.audioInput != "-";
    if ((code = CheckOutput(o.output, policy, canAsk, stderr, stdin, {o.videoInput, o.audioInput}, error)) != 0) {
        Say(error);
        return code;
    }
    if (Interrupted()) return kExitInterrupted;

    const FileStamp before = StampFile(o.output);
    const EncodeParam& p = plan.param;
    void* file = QVCreateMediaFile(Utf8ToWide(o.output).c_str(), &p, plan.video ? &plan.videoInfo : nullptr,
                                   plan.audio ? &plan.audioInfo : nullptr);
    if (!file) {
        Say("the library could not create '" + o.output + "' (container " + Name(p.dwFileFormat) +
            (plan.video ? ", video " + Name(p.video.dwFourCC) : std::string()) +
            (plan.audio ? ", audio " + Name(p.audio.dwFourCC) : std::string()) + ")");
        SayLogTail(log);
        if (RemoveFailedOutput(o.output, before) > 0) Say("removed the incomplete '" + o.output + "'");
        return kExitLibrary;
    }

    const bool show = !o.quiet && (o.progress || isatty(fileno(stderr)));
    // Progress counts output frames: a variable-rate input makes more or fewer.
    const double outputRate = p.video.dFrameRate;
    const long long frames = plan.video && in.video.Seconds() > 0 ? std::llround(in.video.Seconds() * outputRate) : -1;
    Progress progress(show, stderr, plan.video ? frames : in.audio.Total(), plan.video ? outputRate : in.audio.Rate(),
                      plan.video ? "frames" : "samples");
    Written w;
    WriteStreams(file, o, in, plan, progress, w);
    const std::string counters = plan.video ? Counters(file, in.video) : "";
    QV_MEDIAFILE_STATS stats{};
    stats.cbSize = sizeof stats;
    QVGetMediaFileStats(file, &stats);
    QVCloseMediaFile(file, show ? &Progress::CloseCallback : nullptr, &progress);
    progress.EndClose();

    const std::string failure = !w.videoFailure.empty() ? w.videoFailure : w.audioFailure;
    if (!failure.empty() || Interrupted()) {
        Say(failure.empty() ? std::string("interrupted") : failure);
        const int removed = RemoveFailedOutput(o.output, before);
        if (removed > 0) Say("'" + o.output + "' is incomplete and was removed");
        else if (removed < 0) Say("'" + o.output + "' is incomplete and could not be removed");
        return failure.empty() ? kExitInterrupted : kExitInput;
    }
    if (!o.quiet) SayInputWarnings(in);
    if (show) {
        std::string line = "wrote '" + o.output + "'";
        if (plan.video) line += ": " + std::to_string(stats.llVideoFramesOut) + " frames (" + counters + ")";
        if (plan.audio)
            line += std::string(plan.video ? ", " : ": ") + ClockText(stats.llAudioTime / 10000) + " of audio";
        Say(line);
    }
    return kExitOk;
}

}  // namespace qvenc
