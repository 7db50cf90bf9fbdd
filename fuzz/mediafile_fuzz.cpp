// A media file written through an in-process recording encoder and muxer,
// with fuzzed parameters, input descriptions, frames (sizes from 1x1, pitches
// of either sign, null planes), audio blocks (any byte count) and times
// (backwards, repeated, the 64-bit extremes), in any interleaving.
//
// Input: the parameters and plugin behaviour first, then operations of one
// byte each (video frame, audio block) with their arguments.
//
// The muxer reads every byte that what it receives declares: planes over the
// frame's size and pitches, audio over nDataSize. A frame or block handed on
// with bad pointers or sizes shows up as a sanitizer report. After every
// write the file's statistics must add up.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include <memory>
#include <vector>

#include <quevarra/qv_embed.h>
#include <quevarra/qv_mediafile.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"

namespace {

constexpr uint32_t kVideo = QV_FOURCC('F', 'Z', 'V', 'E');
constexpr uint32_t kAudio = QV_FOURCC('F', 'Z', 'A', 'E');
constexpr uint32_t kVideoInline = QV_FOURCC('F', 'Z', 'V', 'I');
constexpr uint32_t kAudioInline = QV_FOURCC('F', 'Z', 'A', 'I');
constexpr uint32_t kFrameMux = QV_FOURCC('F', 'Z', 'F', 'C');  // frame-count pacing
constexpr uint32_t kStampMux = QV_FOURCC('F', 'Z', 'T', 'S');  // time-stamp pacing
constexpr uint32_t kCodes[] = {kVideo, kAudio, kVideoInline, kAudioInline, 0,
                               QV_FOURCC('N', 'O', 'N', 'E')};

// Per run: a frame-count gap is filled by repeating frames or holding the
// last sample; the harness keeps each write below these (the library does
// what it is asked; a ten-year jump is simply a lot of output).
constexpr double kMaxRepeats = 64;
constexpr double kMaxFillBytes = 1 << 20;
constexpr double kMaxConvertedSamples = 1 << 20;

// What the plugins do this run, and what they saw.
struct Plugins {
    bool createFails, videoEncoderFails, audioEncoderFails, encoderDropsOutput;
    bool reviseVideoRefuses, reviseAudioRefuses;
    int reviseWidth, reviseHeight, reviseRate, reviseChannels;  // 0: leave as is
    const void* lastPlanes[3];
    int lastPitches[3], lastWidth, lastHeight;
    uint64_t sum;  // what was read, so that the reads are not optimised away
} g;

ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {kVideoInline, 1}, {0, 0}};
ENCODER_MODE g_audioModes[] = {{kAudio, 0}, {kAudioInline, 1}, {0, 0}};

uint64_t ReadPlane(const uint8_t* p, int rows, int pitch, int bytes) {
    uint64_t sum = 0;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < bytes; ++c) sum += p[static_cast<ptrdiff_t>(r) * pitch + c];
    return sum;
}

uint32_t MuxVideo(void*, const void* data) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    if (!f) return 0;  // an encoder may leave its output slot empty
    const int w = f->nWidth, h = f->nHeight;
    QV_FUZZ_CHECK(w > 0 && h > 0);
    // A repeated frame is the same memory: read it once per host call.
    if (memcmp(g.lastPlanes, f->pPlane, sizeof g.lastPlanes) == 0 &&
        memcmp(g.lastPitches, f->nPitch, sizeof g.lastPitches) == 0 && g.lastWidth == w &&
        g.lastHeight == h)
        return 1;
    memcpy(g.lastPlanes, f->pPlane, sizeof g.lastPlanes);
    memcpy(g.lastPitches, f->nPitch, sizeof g.lastPitches);
    g.lastWidth = w, g.lastHeight = h;
    if (!f->pPlane[0] || !f->pPlane[1] || !f->pPlane[2]) return 1;  // COPY hands anything on
    g.sum += ReadPlane(f->pPlane[0], h, f->nPitch[0], w);
    g.sum += ReadPlane(f->pPlane[1], (h + 1) / 2, f->nPitch[1], (w + 1) / 2);
    g.sum += ReadPlane(f->pPlane[2], (h + 1) / 2, f->nPitch[2], (w + 1) / 2);
    return 1;
}

uint32_t MuxAudio(void*, const void* data, uint32_t) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    if (!f) return 0;
    QV_FUZZ_CHECK(f->nDataSize > 0 && f->pData);
    g.sum += ReadPlane(reinterpret_cast<const uint8_t*>(f->pData), 1, 0, f->nDataSize);
    return 1;
}

ENCODER_ITEM Encoder(uint32_t code, int type) {
    ENCODER_ITEM e{};
    e.dwFourCC = code, e.nType = type;
    e.pfnCreate = [](uint32_t fourCC, EncodeParam*) -> void* {
        const bool fails = fourCC == kVideo ? g.videoEncoderFails : g.audioEncoderFails;
        return fails ? nullptr : &g;
    };
    e.pfnEncode = [](void*, const MEDIA_FRAME* in, void** out, uint32_t*) {
        *out = g.encoderDropsOutput ? nullptr : const_cast<MEDIA_FRAME*>(in);
        return 1;
    };
    e.pfnClose = [](void*) {};
    e.pfnGetAudioExtra = [](void*, uintptr_t* a, uintptr_t* b) { *a = 1, *b = 2; };
    e.pfnGetVideoExtra = [](void*, uintptr_t* a, uintptr_t*, uintptr_t*, uintptr_t* d) { *a = *d = 3; };
    e.pfnReviseVideoParam = [](EncodeParam* p) {
        if (g.reviseWidth) p->video.nWidth = g.reviseWidth;
        if (g.reviseHeight) p->video.nHeight = g.reviseHeight;
        return g.reviseVideoRefuses ? 0 : 1;
    };
    e.pfnReviseAudioParam = [](EncodeAudioParam* a) {
        if (g.reviseRate) a->nSampleRate = g.reviseRate;
        if (g.reviseChannels) a->nChannels = g.reviseChannels;
        return g.reviseAudioRefuses ? 0 : 1;
    };
    return e;
}

FILEFORMAT_ITEM Muxer(uint32_t code, uint32_t flags, bool audio, bool video) {
    FILEFORMAT_ITEM m{};
    m.dwFourCC = code, m.dwFlags = flags;
    m.pAudioModes = audio ? g_audioModes : nullptr;
    m.pVideoModes = video ? g_videoModes : nullptr;
    m.pfnCreateFile = [](const wchar_t*, EncodeParam*) -> void* {
        return g.createFails ? nullptr : &g;
    };
    m.pfnWriteAudio = MuxAudio, m.pfnWriteVideo = MuxVideo;
    m.pfnCloseFile = [](void*, QVPROGRESS_CALLBACK callback, void* user) {
        return callback ? static_cast<int>(callback(user, 1, 1, 3)) : 1;
    };
    m.pfnSetAudioExtra = [](void*, uintptr_t, uintptr_t) {};
    m.pfnSetVideoExtra = [](void*, uintptr_t, uintptr_t, uintptr_t, uintptr_t) {};
    return m;
}

// A picture side: mostly small, sometimes empty, negative or beyond the
// library's limit (refused at creation).
int Side(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    if (v < 240) return 1 + v % 96;
    const int odd[] = {0, -1, -640, 32768, 40000, 1, 2, 3, 127, 128, 129, 160, 200, 255, 256, 2};
    return odd[v - 240];
}

double Rate(qvfuzz::Input& in) {
    const double rates[] = {25.0, 29.97, 30.0, 50.0, 24.0, 12.5, 25.0005, 0.0, 0.0005, -25.0,
                            240.0, 1e300, NAN, INFINITY, 1e-300, 60.0};
    const uint8_t v = in.U8();
    return v < 240 ? rates[v % 16] : static_cast<double>(static_cast<int16_t>(in.U16())) / 8.0;
}

int SampleRate(qvfuzz::Input& in) {
    const int rates[] = {44100, 48000, 22050, 8000, 11025, 32000, 96000, 16000};
    const uint8_t v = in.U8();
    return v < 248 ? rates[v % 8] : (v == 248 ? 0 : v == 249 ? -8000 : 1 + in.U16());
}

int ChannelCount(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    return v < 240 ? 1 + v % 2 : (v < 250 ? v - 245 : 30 + v - 250);  // -5..4, 30..35
}

// Times: mostly forwards from the last one, sometimes backwards, repeated or
// anywhere in the 64-bit range.
int64_t NextTime(qvfuzz::Input& in, int64_t& clock) {
    const uint8_t v = in.U8();
    const int64_t step = int64_t{in.U16()} * 32;
    switch (v % 8) {
    case 5: clock -= step; break;
    case 6: return v & 8 ? INT64_MAX : INT64_MIN;
    case 7: return in.I64();
    default: clock += step; break;
    }
    return clock;
}

// One host frame of w x h pixels; each plane's pitch has a fuzzed sign and
// slack, and its memory is exactly the rows that pitch addresses.
struct HostFrame {
    qvfuzz::Plane planes[3];
    MEDIA_FRAME f{};
};

void MakeFrame(qvfuzz::Input& in, qvfuzz::Noise& noise, int w, int h, HostFrame& out) {
    const uint8_t layout = in.U8();
    for (int p = 0; p < 3; ++p) {
        const int cols = p == 0 ? w : (w + 1) / 2, rows = p == 0 ? h : (h + 1) / 2;
        const uint8_t choice = in.U8();
        // Slack 0..15; 1 in 16 planes gets a pitch shorter than a row.
        int pitch = (choice & 0xF0) == 0xF0 ? cols / 2 : cols + (choice & 15);
        if (layout & (1 << p)) pitch = -pitch;
        out.planes[p] = qvfuzz::Plane(rows, pitch, cols);
        noise.Fill(out.planes[p].Base(), out.planes[p].Size());
        out.f.pPlane[p] = (layout & 0x80) && p == (layout >> 3) % 3 ? nullptr : out.planes[p].Row0();
        out.f.nPitch[p] = pitch;
    }
    out.f.nWidth = w, out.f.nHeight = h;
}

// The file's counters agree with each other and with the frames sent.
void CheckStats(void* handle, int64_t framesSent) {
    QV_MEDIAFILE_STATS st{};
    st.cbSize = sizeof st;
    QV_FUZZ_CHECK(QVGetMediaFileStats(handle, &st) == 1);
    QV_FUZZ_CHECK(st.llVideoFramesIn == framesSent);
    QV_FUZZ_CHECK(st.llVideoFramesOut ==
                  st.llVideoFramesIn + st.llVideoFramesRepeated - st.llVideoFramesDropped);
    QV_FUZZ_CHECK(st.llVideoFramesRepeated >= 0 && st.llVideoFramesDropped >= 0);
    QV_FUZZ_CHECK(st.llAudioSamplesIn >= 0 && st.llAudioSamplesOut >= 0 &&
                  st.llAudioSamplesFilled >= 0 && st.llAudioSamplesCut >= 0);
}

// Repeats the library would make for a frame at `streamTime` in frame-count mode.
double Repeats(const MediaFile& mf, int64_t streamTime) {
    double n = trunc(static_cast<double>(streamTime) / 1e7 * mf.m_EncParam.video.dFrameRate + 0.5);
    if (isnan(n)) n = 0;
    if (n > INT32_MAX - 1.0) n = INT32_MAX - 1.0;
    return n - mf.m_nOutFrames + 1;
}

// Filler bytes the library would write before a block at `streamTime`.
double FillBytes(const MediaFile& mf, int64_t streamTime) {
    const EncodeAudioParam& a = mf.m_EncParam.audio;
    const double byteRate = static_cast<double>(int64_t{a.nSampleRate} * a.nChannels * a.nBitsPerSample / 8);
    if (!(byteRate > 0)) return 0;
    const double gap = static_cast<double>(streamTime) / 1e7 - mf.m_llAudioBytes / byteRate;
    return gap * a.nSampleRate * a.nChannels * a.nBitsPerSample / 8;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16384) return -1;
    qvfuzz::Input in(data, size);
    qvfuzz::Noise noise(in.U32());
    g = Plugins{};
    const uint16_t behaviour = in.U16();
    g.createFails = (behaviour & 0x0007) == 0x0007;
    g.videoEncoderFails = (behaviour & 0x0038) == 0x0038;
    g.audioEncoderFails = (behaviour & 0x01C0) == 0x01C0;
    g.encoderDropsOutput = (behaviour & 0x0E00) == 0x0E00;
    g.reviseVideoRefuses = (behaviour & 0x7000) == 0x7000;
    g.reviseAudioRefuses = (behaviour & 0x8001) == 0x8001;
    if (in.U8() < 32) g.reviseWidth = Side(in), g.reviseHeight = Side(in);
    if (in.U8() < 32) g.reviseRate = SampleRate(in), g.reviseChannels = ChannelCount(in);
    const uint8_t lists = in.U8();  // muxers without an audio or video list, now and then
    PluginMgr::m_arEncoder = {Encoder(kVideo, 1), Encoder(kAudio, 0), Encoder(kVideoInline, 1),
                              Encoder(kAudioInline, 0)};
    PluginMgr::m_arFileFormat = {Muxer(kFrameMux, 0, lists % 16 != 1, lists % 16 != 2),
                                 Muxer(kStampMux, 1, lists % 16 != 3, lists % 16 != 4),
                                 Muxer(QV_FOURCC_COPY, lists >> 7, lists % 16 != 5, true)};
    CAudioConverter::s_dSpare = 0.0;  // shared by the process; each run starts clean

    EncodeParam param;
    QVDefaultEncodeParam(&param);
    const uint8_t codes = in.U8();
    param.video.dwFourCC = kCodes[codes % 6] == kAudio ? kVideo : kCodes[codes % 6];
    param.audio.dwFourCC = (codes & 0x40) ? kAudioInline : ((codes & 0x80) ? kCodes[codes % 6] : kAudio);
    const uint32_t containers[] = {kFrameMux, kStampMux, QV_FOURCC_COPY, kFrameMux};
    const uint8_t container = in.U8();
    param.dwFileFormat = container < 252 ? containers[container % 4] : container - 252;  // 0..3: unknown
    param.video.nWidth = Side(in), param.video.nHeight = Side(in);
    param.video.dFrameRate = Rate(in);
    // Values beyond the enumerations are the host's to send: any 32-bit value.
    const uint8_t methods = in.U8();
    param.video.nResizeMethod = methods < 240 ? methods % 6 : static_cast<int>(in.U32());
    param.video.nInterpolation = methods % 7 < 4 ? methods % 4 : static_cast<int8_t>(in.U8());
    param.audio.nSampleRate = SampleRate(in), param.audio.nChannels = ChannelCount(in);
    const uint8_t flags = in.U8();
    param.audio.nBitsPerSample = flags % 32 == 31 ? 8 : 16;
    param.bDisableVideo = flags % 16 == 7, param.bDisableAudio = flags % 16 == 9;

    xVideoInfo vi{};
    const bool hasVideo = in.U8() < 224;
    vi.width = Side(in), vi.height = Side(in), vi.fps = Rate(in);
    const uint8_t aspect = in.U8();
    if (aspect >= 128) vi.aspectx = 1 + aspect % 21, vi.aspecty = 1 + (aspect >> 2) % 13;
    if (aspect == 255) vi.aspectx = 32767, vi.aspecty = 1;
    xAudioInfo ai{};
    const bool hasAudio = in.U8() < 224;
    ai.samplerate = SampleRate(in), ai.channels = ChannelCount(in);
    ai.bitspersample = in.U8() == 255 ? 8 : 16;

    void* handle = QVCreateMediaFile(L"fuzz.out", &param, hasVideo ? &vi : nullptr,
                                     hasAudio ? &ai : nullptr);
    if (!handle) return 0;
    const MediaFile& mf = *static_cast<MediaFile*>(handle);
    const bool copy = mf.m_EncParam.dwFileFormat == QV_FOURCC_COPY;
    int64_t videoClock = 0, audioClock = 0, framesSent = 0;

    for (int op = 0; op < 48 && !in.Empty(); ++op) {
        if (in.U8() & 1) {
            // Input pictures have the described size; without a description
            // the library hands them on as they are, so any size goes.
            int w = vi.width, h = vi.height;
            if (!hasVideo || w < 1 || h < 1 || w > 256 || h > 256) w = 1 + in.U8() % 48, h = 1 + in.U8() % 48;
            HostFrame frame;
            MakeFrame(in, noise, w, h, frame);
            frame.f.llStreamTime = NextTime(in, videoClock);
            frame.f.llTimeStamp = in.U8() < 192 ? frame.f.llStreamTime : NextTime(in, videoClock);
            frame.f.nDuration = 400000;
            if (!copy && !mf.m_PluginMgr.m_bTimestampMode &&
                Repeats(mf, frame.f.llStreamTime) > kMaxRepeats)
                continue;
            memset(g.lastPlanes, 0, sizeof g.lastPlanes);
            QVWriteVideoFrame(handle, &frame.f);
            ++framesSent;
        } else {
            // Any byte count: odd, or not whole sample frames; null data now and then.
            int bytes = in.Range(0, 8192);
            if (const CAudioConverter* c = mf.m_pAudioConverter) {
                const double perSample = (c->m_nOutChannels == 1 ? 1.0 : 2.0) * c->m_nOutRate /
                                         (c->m_nInRate > 0 ? c->m_nInRate : 1);
                if (bytes / 2 * perSample > kMaxConvertedSamples)
                    bytes = static_cast<int>(kMaxConvertedSamples / perSample) * 2;
            }
            std::unique_ptr<uint8_t[]> pcm(new uint8_t[bytes]);
            noise.Fill(pcm.get(), static_cast<size_t>(bytes));
            MEDIA_FRAME block{};
            block.nSampleRate = ai.samplerate, block.nChannels = ai.channels, block.nBitsPerSample = 16;
            block.pData = bytes % 61 == 60 ? nullptr : reinterpret_cast<int16_t*>(pcm.get());
            block.nDataSize = bytes;
            block.llStreamTime = NextTime(in, audioClock);
            block.llTimeStamp = block.llStreamTime;
            if (!mf.m_PluginMgr.m_bTimestampMode && FillBytes(mf, block.llStreamTime) > kMaxFillBytes)
                continue;
            QVWriteAudioData(handle, &block);
        }
        CheckStats(handle, framesSent);
    }
    int user = 0;
    QVCloseMediaFile(handle, [](void*, unsigned, unsigned, unsigned) -> unsigned { return 1; },
                     &user);
    return 0;
}
