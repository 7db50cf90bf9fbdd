#include "Inputs.h"

#include "Job.h"

#include <quevarra/qv_mediafile.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <numeric>

namespace qvenc {

namespace {

// The library's default frame rate as a ratio, for the test pattern.
Rational DefaultRate() {
    EncodeParam d{};
    QVDefaultEncodeParam(&d);
    Rational r{std::lround(d.video.dFrameRate * 1000), 1000};
    const int64_t g = std::gcd(r.num, r.den);
    return Rational{r.num / g, r.den / g};
}

// Stream time 0 is the earliest first time of the streams used from one input,
// so that streams starting at different times stay apart as they were.
void SetOrigins(Inputs& in) {
    const bool shared = in.video.IsOpen() && in.audio.IsOpen() && !in.audioFile;
    const int64_t v = in.video.FirstTime(), a = in.audio.FirstTime();
    if (shared && v != AV_NOPTS_VALUE && a != AV_NOPTS_VALUE) {
        in.video.SetOrigin(std::min(v, a));
        in.audio.SetOrigin(std::min(v, a));
        return;
    }
    if (in.video.IsOpen() && v != AV_NOPTS_VALUE) in.video.SetOrigin(v);
    if (in.audio.IsOpen() && a != AV_NOPTS_VALUE) in.audio.SetOrigin(a);
}

}  // namespace

int OpenInputs(const Options& o, Inputs& in, std::string& error) {
    if (o.videoInput.empty() && o.audioInput.empty()) {
        if (!o.noVideo) in.video.OpenPattern(o.rate.Valid() ? o.rate : DefaultRate(), o.duration);
        if (!o.noAudio) {
            EncodeParam d{};
            QVDefaultEncodeParam(&d);
            in.audio.OpenPattern(o.sampleRate ? o.sampleRate : d.audio.nSampleRate,
                                 o.channels ? o.channels : d.audio.nChannels, o.duration);
        }
        return 0;
    }
    RawVideo raw;
    if (!o.rawFormat.empty()) {
        if (av_get_pix_fmt(o.rawFormat.c_str()) == AV_PIX_FMT_NONE) {
            error = "--raw: unknown pixel format '" + o.rawFormat + "' (e.g. bgra, bgr24, rgb24, yuv420p)";
            return kExitUsage;
        }
        raw = RawVideo{o.rawFormat, o.rawWidth, o.rawHeight, o.rawRate};
    }
    if (!o.videoInput.empty()) {
        in.videoFile.reset(new InputFile);
        if (!in.videoFile->Open(o.videoInput, o.rawFormat.empty() ? nullptr : &raw, error)) return kExitInput;
    }
    if (!o.audioInput.empty()) {
        in.audioFile.reset(new InputFile);
        if (!in.audioFile->Open(o.audioInput, nullptr, error)) return kExitInput;
    }

    int videoStream = -1, audioStream = -1;
    if (in.videoFile && !o.noVideo) {
        videoStream = in.videoFile->PickStream(AVMEDIA_TYPE_VIDEO, o.videoStream, -1, error);
        if (!error.empty()) return kExitInput;
    }
    InputFile* audioFile = in.audioFile ? in.audioFile.get() : in.videoFile.get();
    if (audioFile && !o.noAudio) {
        audioStream = audioFile->PickStream(AVMEDIA_TYPE_AUDIO, o.audioStream, audioFile == in.videoFile.get() ? videoStream : -1, error);
        if (!error.empty()) return kExitInput;
        if (audioStream < 0 && in.audioFile) {
            error = in.audioFile->Name() + " has no audio stream";
            return kExitInput;
        }
    }
    if (videoStream < 0 && in.videoFile && (in.audioFile || o.noAudio)) {
        error = in.videoFile->Name() + " has no video stream";
        return kExitInput;
    }
    if (videoStream < 0 && audioStream < 0) {
        error = in.videoFile->Name() + " has no " + (o.noVideo ? "audio" : o.noAudio ? "video" : "video or audio") + " stream";
        return kExitInput;
    }
    // Both streams are claimed before either is read, so that the packets of
    // one met while the other finds its first picture or block are kept.
    if (videoStream >= 0) in.videoFile->Use(videoStream);
    if (audioStream >= 0) audioFile->Use(audioStream);
    if (videoStream >= 0 && !in.video.OpenStream(*in.videoFile, videoStream, error)) return kExitInput;
    if (audioStream >= 0 && !in.audio.OpenStream(*audioFile, audioStream, error)) return kExitInput;
    SetOrigins(in);
    return 0;
}

}  // namespace qvenc
