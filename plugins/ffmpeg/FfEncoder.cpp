// plxffmpeg encoders: one AVCodecContext per instance; output as PLX_PACKETS.
#include "ffmpeg/FfCodecs.h"

#include "PlxContract.h"
#include "common/PlxCommon.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <limits.h>
#include <math.h>
#include <string.h>

#include <cstdlib>

#include <algorithm>
#include <vector>

namespace plxff {

namespace {

struct Encoder {
    const CodecEntry* entry = nullptr;
    AVCodecContext* ctx = nullptr;
    AVFrame* frame = nullptr;
    AVCodecParameters* par = nullptr;
    std::vector<AVPacket*> out;
    PLX_PACKETS list{};
    int64_t nextPts = 0;
    std::vector<int16_t> pending;  // audio waiting for a whole codec frame
    bool flushed = false;
    bool warnedSize = false;
};

std::string Name(const Encoder* e) {
    return plx::FourCCText(e->entry->fourcc) + " (" + e->ctx->codec->name + ")";
}

// Sample formats we can fill from interleaved 16-bit samples, best first.
const AVSampleFormat kFormats[] = {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLTP,
                                   AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S32P, AV_SAMPLE_FMT_S32};

AVSampleFormat PickSampleFormat(const AVCodec* codec) {
    if (!codec->sample_fmts) return AV_SAMPLE_FMT_S16;
    for (AVSampleFormat want : kFormats)
        for (const AVSampleFormat* f = codec->sample_fmts; *f != AV_SAMPLE_FMT_NONE; ++f)
            if (*f == want) return want;
    return AV_SAMPLE_FMT_NONE;
}

void SetOption(AVCodecContext* ctx, const char* name, const char* value) {
    av_opt_set(ctx->priv_data, name, value, 0);
}

// Fills a context for the (already revised) parameters; false when the
// parameters cannot be expressed.
bool Configure(AVCodecContext* ctx, const AVCodec* codec, const CodecEntry* entry,
               const EncodeParam* param) {
    if (entry->type == 1) {
        const EncodeVideoParam& v = param->video;
        int num, den;
        if (!plx::FrameRateRatio(v.dFrameRate, &num, &den)) return false;
        ctx->width = v.nWidth;
        ctx->height = v.nHeight;
        ctx->time_base = AVRational{den, num};
        ctx->framerate = AVRational{num, den};
        ctx->pix_fmt = AV_PIX_FMT_YUV420P;
        ctx->sample_aspect_ratio = AVRational{1, 1};
        ctx->bit_rate = v.nBitRate;
        // A key frame every two seconds keeps fragments and clusters short,
        // so a file cut off mid-write loses little.
        ctx->gop_size = std::max(1, static_cast<int>(2.0 * num / den + 0.5));
        const char* name = codec->name;
        if (!strcmp(name, "libx264")) {
            SetOption(ctx, "preset", "veryfast");
        } else if (!strcmp(name, "libx265")) {
            SetOption(ctx, "preset", "ultrafast");
            SetOption(ctx, "x265-params", "log-level=error");
        } else if (!strcmp(name, "libvpx-vp9")) {
            SetOption(ctx, "deadline", "realtime");
            SetOption(ctx, "cpu-used", "8");
            SetOption(ctx, "row-mt", "1");
        } else if (!strcmp(name, "libsvtav1")) {
            SetOption(ctx, "preset", "12");
        } else if (!strcmp(name, "libaom-av1")) {
            SetOption(ctx, "cpu-used", "8");
            SetOption(ctx, "usage", "realtime");
        } else if (!strcmp(name, "mjpeg")) {
            // Our pictures are limited-range BT.601; say so rather than
            // pretend they are full-range JPEG samples.
            ctx->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
            ctx->color_range = AVCOL_RANGE_MPEG;
        }
    } else {
        const EncodeAudioParam& a = param->audio;
        ctx->sample_rate = a.nSampleRate;
        av_channel_layout_uninit(&ctx->ch_layout);
        av_channel_layout_default(&ctx->ch_layout, a.nChannels);
        ctx->sample_fmt = PickSampleFormat(codec);
        if (ctx->sample_fmt == AV_SAMPLE_FMT_NONE) return false;
        ctx->time_base = AVRational{1, a.nSampleRate};
        if (entry->maxBitRate > 0) ctx->bit_rate = a.nBitRate;
    }
    if (WantsGlobalHeader(param->dwFileFormat)) ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return true;
}

void ClearOut(Encoder* e) {
    for (AVPacket* p : e->out) av_packet_free(&p);
    e->out.clear();
}

void Publish(Encoder* e) {
    e->list.ppPackets = e->out.data();
    e->list.nPackets = static_cast<int32_t>(e->out.size());
}

// Collects every packet the encoder has ready.
void Drain(Encoder* e) {
    for (;;) {
        AVPacket* pkt = av_packet_alloc();
        int err = avcodec_receive_packet(e->ctx, pkt);
        if (err < 0) {
            av_packet_free(&pkt);
            if (err != AVERROR(EAGAIN) && err != AVERROR_EOF)
                plx::Report("plxffmpeg: the %s encoder failed: %s", Name(e).c_str(), ErrorText(err).c_str());
            break;
        }
        if (e->entry->type == 1 && pkt->duration == 0) pkt->duration = 1;
        e->out.push_back(pkt);
    }
    Publish(e);
}

void Send(Encoder* e, AVFrame* frame) {
    int err = avcodec_send_frame(e->ctx, frame);
    if (err < 0 && err != AVERROR_EOF)
        plx::Report("plxffmpeg: the %s encoder refused a frame: %s", Name(e).c_str(), ErrorText(err).c_str());
}

void CopyPlane(uint8_t* dst, int dstPitch, const uint8_t* src, int srcPitch, int width, int rows) {
    for (int y = 0; y < rows; ++y)
        memcpy(dst + static_cast<ptrdiff_t>(y) * dstPitch, src + static_cast<ptrdiff_t>(y) * srcPitch,
               static_cast<size_t>(width));
}

void EncodeVideo(Encoder* e, const MEDIA_FRAME* in) {
    const int w = e->ctx->width, h = e->ctx->height, cw = (w + 1) / 2, ch = (h + 1) / 2;
    // Frames arrive at the revised size; one that claims to be smaller, or
    // whose rows are shorter than ours, cannot be encoded without reading
    // outside it.
    // Negative pitches are bottom-up planes addressed from their top row.
    bool fits = in->pPlane[0] && in->pPlane[1] && in->pPlane[2] && std::abs(in->nPitch[0]) >= w &&
                std::abs(in->nPitch[1]) >= cw && std::abs(in->nPitch[2]) >= cw &&
                !(in->nWidth > 0 && in->nWidth < w) && !(in->nHeight > 0 && in->nHeight < h);
    if (!fits) {
        if (!e->warnedSize)
            plx::Report("plxffmpeg: the %s encoder got a frame that does not cover %dx%d; skipped",
                        Name(e).c_str(), w, h);
        e->warnedSize = true;
        return;
    }
    int err = av_frame_make_writable(e->frame);
    if (err < 0) {
        plx::Report("plxffmpeg: the %s encoder has no frame buffer: %s", Name(e).c_str(), ErrorText(err).c_str());
        return;
    }
    AVFrame* f = e->frame;
    CopyPlane(f->data[0], f->linesize[0], in->pPlane[0], in->nPitch[0], w, h);
    CopyPlane(f->data[1], f->linesize[1], in->pPlane[1], in->nPitch[1], cw, ch);
    CopyPlane(f->data[2], f->linesize[2], in->pPlane[2], in->nPitch[2], cw, ch);
    // Frame-count mode: the n-th frame handed over is output frame n.
    f->pts = e->nextPts++;
    Send(e, f);
}

// Sends n pending sample frames (fewer than frame_size only at the end).
void SendAudio(Encoder* e, int n) {
    AVFrame* f = e->frame;
    f->nb_samples = e->ctx->frame_size > 0 ? e->ctx->frame_size : 4096;
    int err = av_frame_make_writable(f);
    if (err < 0) {
        plx::Report("plxffmpeg: the %s encoder has no frame buffer: %s", Name(e).c_str(), ErrorText(err).c_str());
        return;
    }
    f->nb_samples = n;
    const int channels = e->ctx->ch_layout.nb_channels;
    const int16_t* src = e->pending.data();
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < channels; ++c) {
            int16_t s = src[static_cast<size_t>(i) * channels + c];
            switch (e->ctx->sample_fmt) {
            case AV_SAMPLE_FMT_S16: reinterpret_cast<int16_t*>(f->data[0])[i * channels + c] = s; break;
            case AV_SAMPLE_FMT_S16P: reinterpret_cast<int16_t*>(f->data[c])[i] = s; break;
            case AV_SAMPLE_FMT_FLT: reinterpret_cast<float*>(f->data[0])[i * channels + c] = s / 32768.0f; break;
            case AV_SAMPLE_FMT_FLTP: reinterpret_cast<float*>(f->data[c])[i] = s / 32768.0f; break;
            case AV_SAMPLE_FMT_S32: reinterpret_cast<int32_t*>(f->data[0])[i * channels + c] = s * 65536; break;
            case AV_SAMPLE_FMT_S32P: reinterpret_cast<int32_t*>(f->data[c])[i] = s * 65536; break;
            default: break;
            }
        }
    }
    e->pending.erase(e->pending.begin(), e->pending.begin() + static_cast<ptrdiff_t>(n) * channels);
    f->pts = e->nextPts;  // samples since the start of the stream
    e->nextPts += n;
    Send(e, f);
}

void EncodeAudio(Encoder* e, const MEDIA_FRAME* in) {
    const int channels = e->ctx->ch_layout.nb_channels;
    if (!in->pData || in->nDataSize <= 0) return;
    size_t samples = static_cast<size_t>(in->nDataSize) / 2 / channels * channels;  // whole sample frames
    e->pending.insert(e->pending.end(), in->pData, in->pData + samples);
    // Codecs without a fixed frame size take chunks of the buffer's size.
    const size_t frameSize = e->ctx->frame_size > 0 ? static_cast<size_t>(e->ctx->frame_size) : 4096;
    while (e->pending.size() / channels >= frameSize) {
        SendAudio(e, static_cast<int>(frameSize));
        Drain(e);  // keep the encoder's queue short
    }
}

// SVT-AV1 (1.4) never finishes a stream that received no picture: it waits
// forever in its flush and teardown. Such a stream gets one black picture
// whose packets are thrown away.
void FinishEmptySvtStream(Encoder* e) {
    if (e->entry->type != 1 || e->nextPts != 0 || strcmp(e->ctx->codec->name, "libsvtav1") != 0) return;
    if (av_frame_make_writable(e->frame) < 0) return;
    AVFrame* f = e->frame;
    for (int p = 0; p < 3; ++p) {
        int rows = p ? (e->ctx->height + 1) / 2 : e->ctx->height;
        memset(f->data[p], p ? 128 : 16, static_cast<size_t>(f->linesize[p]) * rows);
    }
    f->pts = 0;
    Send(e, f);
    Send(e, nullptr);
    Drain(e);
    ClearOut(e);
    Publish(e);
    e->flushed = true;
}

void Flush(Encoder* e) {
    ClearOut(e);
    if (!e->flushed) FinishEmptySvtStream(e);
    if (!e->flushed) {
        if (e->entry->type == 0 && !e->pending.empty())
            SendAudio(e, static_cast<int>(e->pending.size() / e->ctx->ch_layout.nb_channels));
        Drain(e);
        Send(e, nullptr);
        e->flushed = true;
    }
    Drain(e);
}

}  // namespace

bool WantsGlobalHeader(uint32_t container) { return container != QV_FOURCC('A', 'V', 'I', ' '); }

void* EncCreate(uint32_t fourcc, EncodeParam* param) {
    const CodecEntry* entry = FindCodecEntry(fourcc);
    const AVCodec* codec = ProbedEncoder(fourcc);
    if (!entry || !codec || !param) return nullptr;
    Encoder* e = new Encoder;
    e->entry = entry;
    e->ctx = avcodec_alloc_context3(codec);
    e->frame = av_frame_alloc();
    e->par = avcodec_parameters_alloc();
    int err = AVERROR(EINVAL);
    if (e->ctx && e->frame && e->par && Configure(e->ctx, codec, entry, param))
        err = avcodec_open2(e->ctx, codec, nullptr);
    if (err >= 0) {
        AVFrame* f = e->frame;
        if (entry->type == 1) {
            f->format = e->ctx->pix_fmt;
            f->width = e->ctx->width;
            f->height = e->ctx->height;
        } else {
            f->format = e->ctx->sample_fmt;
            f->sample_rate = e->ctx->sample_rate;
            av_channel_layout_copy(&f->ch_layout, &e->ctx->ch_layout);
            f->nb_samples = e->ctx->frame_size > 0 ? e->ctx->frame_size : 4096;
        }
        err = av_frame_get_buffer(f, 0);
    }
    if (err >= 0) err = avcodec_parameters_from_context(e->par, e->ctx);
    if (err < 0) {
        if (entry->type == 1)
            plx::Report("plxffmpeg: cannot open the %s encoder (%s) for %dx%d at %g fps, %d bps: %s",
                        plx::FourCCText(fourcc).c_str(), codec->name, param->video.nWidth,
                        param->video.nHeight, param->video.dFrameRate, param->video.nBitRate,
                        ErrorText(err).c_str());
        else
            plx::Report("plxffmpeg: cannot open the %s encoder (%s) for %d Hz, %d channels, %d bps: %s",
                        plx::FourCCText(fourcc).c_str(), codec->name, param->audio.nSampleRate,
                        param->audio.nChannels, param->audio.nBitRate, ErrorText(err).c_str());
        EncClose(e);
        return nullptr;
    }
    e->list.tag = PLX_CONTRACT_TAG;
    e->list.dwFourCC = fourcc;
    e->list.nType = entry->type;
    e->list.nTimeBaseNum = e->ctx->time_base.num;
    e->list.nTimeBaseDen = e->ctx->time_base.den;
    e->list.pCodecPar = e->par;
    Publish(e);
    return e;
}

int EncEncode(void* hEnc, const MEDIA_FRAME* in, void** ppOut, uint32_t* pOutWord) {
    Encoder* e = static_cast<Encoder*>(hEnc);
    if (ppOut) *ppOut = nullptr;
    if (pOutWord) *pOutWord = 0;
    if (!e) return 0;
    ClearOut(e);
    if (in && !e->flushed) {
        if (e->entry->type == 1) EncodeVideo(e, in);
        else EncodeAudio(e, in);
    }
    Drain(e);
    if (ppOut) *ppOut = &e->list;
    if (pOutWord) *pOutWord = PLX_CONTRACT_TAG;
    return e->list.nPackets;
}

void EncClose(void* hEnc) {
    Encoder* e = static_cast<Encoder*>(hEnc);
    if (!e) return;
    // Some encoder libraries (SVT-AV1) wait forever in their teardown unless
    // they have seen the end of the stream; give it to them.
    if (e->ctx && avcodec_is_open(e->ctx) && !e->flushed) Flush(e);
    ClearOut(e);
    av_frame_free(&e->frame);
    avcodec_free_context(&e->ctx);
    avcodec_parameters_free(&e->par);
    delete e;
}

void EncGetAudioExtra(void* hEnc, uintptr_t* w1, uintptr_t* w2) {
    Encoder* e = static_cast<Encoder*>(hEnc);
    if (!e || !w1 || !w2) return;
    Flush(e);
    *w1 = reinterpret_cast<uintptr_t>(&e->list);
    *w2 = PLX_CONTRACT_TAG;
}

void EncGetVideoExtra(void* hEnc, uintptr_t* w1, uintptr_t* w2, uintptr_t* w3, uintptr_t* w4) {
    Encoder* e = static_cast<Encoder*>(hEnc);
    if (!e || !w1 || !w2) return;
    Flush(e);
    *w1 = reinterpret_cast<uintptr_t>(&e->list);
    *w2 = PLX_CONTRACT_TAG;
    if (w3) *w3 = 0;
    if (w4) *w4 = 0;
}

int ReviseVideo(EncodeParam* param) {
    if (!param) return 0;
    EncodeVideoParam& v = param->video;
    const CodecEntry* entry = FindCodecEntry(v.dwFourCC);
    if (!entry || entry->type != 1 || !ProbedEncoder(v.dwFourCC)) return 0;
    int num, den;
    if (v.nWidth < 1 || v.nHeight < 1 || !plx::FrameRateRatio(v.dFrameRate, &num, &den)) return 0;
    // MPEG-4 Part 2 stores the time base in 16 bits: round odd rates to 1/100.
    if (v.dwFourCC == QV_FOURCC('X', 'V', 'I', 'D') && num > 65535) {
        v.dFrameRate = floor(v.dFrameRate * 100 + 0.5) / 100;
        if (!plx::FrameRateRatio(v.dFrameRate, &num, &den) || num > 65535) return 0;
    }
    // Too large: scale down keeping the shape; too small: the library
    // letterboxes into the minimum. 4:2:0 wants even sides.
    int longest = std::max(v.nWidth, v.nHeight);
    if (longest > entry->maxSide) {
        double s = static_cast<double>(entry->maxSide) / longest;
        v.nWidth = std::max(1, static_cast<int>(v.nWidth * s));
        v.nHeight = std::max(1, static_cast<int>(v.nHeight * s));
    }
    v.nWidth = std::max(entry->minSide, v.nWidth) & ~1;
    v.nHeight = std::max(entry->minSide, v.nHeight) & ~1;
    if (v.nBitRate <= 0) {
        // About 0.1 bit per pixel and frame, a usable default for these codecs.
        double guess = 0.1 * v.nWidth * v.nHeight * v.dFrameRate;
        v.nBitRate = guess > INT_MAX ? INT_MAX : static_cast<int32_t>(guess);
    }
    v.nBitRate = std::min(std::max(v.nBitRate, entry->minBitRate), entry->maxBitRate);
    v.dwColorFormat = QV_FOURCC('I', '4', '2', '0');
    v.nBitCount = 12;
    return 1;
}

int ReviseAudio(EncodeAudioParam* a) {
    if (!a) return 0;
    const CodecEntry* entry = FindCodecEntry(a->dwFourCC);
    const AVCodec* codec = ProbedEncoder(a->dwFourCC);
    if (!entry || entry->type != 0 || !codec) return 0;
    // The library delivers 16-bit samples only; other sizes cannot be made to work.
    if (a->nBitsPerSample != 16 || a->nChannels < 1 || a->nSampleRate < 1) return 0;
    a->nChannels = std::min(a->nChannels, entry->maxChannels);
    if (a->dwFourCC == QV_FOURCC('O', 'P', 'U', 'S')) {
        a->nSampleRate = 48000;  // Opus always runs at 48 kHz; the library resamples
    } else if (codec->supported_samplerates) {
        // The exact rate, else the nearest above (no loss), else the highest.
        int above = 0, highest = 0;
        for (const int* r = codec->supported_samplerates; *r; ++r) {
            if (*r == a->nSampleRate) above = *r;
            if (*r > a->nSampleRate && (above == 0 || *r < above)) above = *r;
            highest = std::max(highest, *r);
        }
        a->nSampleRate = above ? above : highest;
    } else {
        a->nSampleRate = std::min(a->nSampleRate, 655350);  // FLAC's limit
    }
    if (entry->maxBitRate <= 0) {
        a->nBitRate = 0;  // lossless: no bit rate to choose
        return 1;
    }
    const int scale = entry->perChannel ? a->nChannels : 1;
    if (a->nBitRate <= 0) a->nBitRate = 64000 * a->nChannels;
    a->nBitRate = std::min(std::max(a->nBitRate, entry->minBitRate * scale), entry->maxBitRate * scale);
    return 1;
}

}  // namespace plxff
