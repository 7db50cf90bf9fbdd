// In-process plugins for media-file tests: pass-through encoders and a
// recording muxer in frame-count, time-stamp and COPY flavours, with helpers
// that make parameters, stream descriptions, audio blocks and pictures.
#ifndef QUEVARRA_TESTS_MEDIAFILE_MEDIAFILEFIXTURE_H
#define QUEVARRA_TESTS_MEDIAFILE_MEDIAFILEFIXTURE_H

#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <vector>

#include "common/TestSupport.h"

namespace mftest {

constexpr uint32_t kVideo = QV_FOURCC('T', 'V', 'I', 'D'), kAudio = QV_FOURCC('T', 'A', 'U', 'D');
constexpr uint32_t kMux = QV_FOURCC('T', 'M', 'U', 'X');       // frame-count pacing
constexpr uint32_t kStampMux = QV_FOURCC('T', 'S', 'T', 'P');  // time-stamp pacing
using Ints = std::vector<int64_t>;
using Bytes = std::vector<uint8_t>;
struct Written { MEDIA_FRAME frame; Bytes data; };  // audio keeps a copy of its bytes
struct State {
    std::vector<Written> audio, video;
    std::vector<EncodeParam> created;  // what each encoder instance was created with
    int closes = 0, reviseWidth = 0;   // non-zero: the video encoder revises the width
    QVPROGRESS_CALLBACK callback = nullptr;
    void* user = nullptr;
    unsigned writeResult = 1;  // returned by every muxer write
};
inline State g;
inline ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {0, 0}}, g_audioModes[] = {{kAudio, 0}, {0, 0}};

inline uint32_t MuxAudio(void*, const void* data, uint32_t) {
    auto f = static_cast<const MEDIA_FRAME*>(data);
    auto p = reinterpret_cast<const uint8_t*>(f->pData);
    return g.audio.push_back({*f, Bytes(p, p + f->nDataSize)}), g.writeResult;
}
inline uint32_t MuxVideo(void*, const void* data) {  // planes stay valid until the next frame
    return g.video.push_back({*static_cast<const MEDIA_FRAME*>(data), {}}), g.writeResult;
}

inline ENCODER_ITEM Encoder(uint32_t code, int type) {
    ENCODER_ITEM e{};
    e.dwFourCC = code, e.nType = type, e.pfnClose = [](void*) {};
    e.pfnCreate = [](uint32_t, EncodeParam* p) -> void* { return g.created.push_back(*p), &g; };
    e.pfnEncode = [](void*, const MEDIA_FRAME* in, void** out, uint32_t*) { return *out = (void*)in, 1; };
    e.pfnReviseVideoParam = [](EncodeParam* p) { return p->video.nWidth += g.reviseWidth, 1; };
    return e;
}
inline FILEFORMAT_ITEM Muxer(uint32_t code, uint32_t flags) {
    FILEFORMAT_ITEM m{};
    m.dwFourCC = code, m.dwFlags = flags, m.pAudioModes = g_audioModes, m.pVideoModes = g_videoModes;
    m.pfnCreateFile = [](const wchar_t*, EncodeParam*) -> void* { return &g; };
    m.pfnWriteAudio = MuxAudio, m.pfnWriteVideo = MuxVideo;
    m.pfnCloseFile = [](void*, QVPROGRESS_CALLBACK callback, void* user) {
        return ++g.closes, g.callback = callback, g.user = user, 1;
    };
    return m;
}

inline EncodeParam Params(uint32_t container = kMux, int outW = 320, int outH = 240,
                          double rate = 25.0, int method = 1) {
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.video.dwFourCC = kVideo, p.audio.dwFourCC = kAudio, p.dwFileFormat = container;
    p.video.nWidth = outW, p.video.nHeight = outH, p.video.nResizeMethod = method;
    return p.video.dFrameRate = rate, p;
}
inline xVideoInfo VideoInfo(int w, int h, double fps, int ax = 0, int ay = 0) {
    return xVideoInfo{w, h, fps, 0.0, ax, ay, {}, 0};
}
inline xAudioInfo AudioInfo(int rate, int channels, int bits = 16) {
    return xAudioInfo{rate, channels, bits, rate * channels * bits / 8, 0.0, 0};
}
inline MEDIA_FRAME Block(std::vector<int16_t>& samples, int64_t streamTime, int64_t timeStamp = -5) {
    MEDIA_FRAME f{};
    f.pData = samples.data(), f.nDataSize = static_cast<int32_t>(samples.size() * 2);
    f.llStreamTime = streamTime, f.llTimeStamp = timeStamp, f.nDuration = 1234;
    return f;
}

class MediaFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        g = State(), CAudioConverter::s_dSpare = 0.0;
        PluginMgr::m_arEncoder = {Encoder(kVideo, 1), Encoder(kAudio, 0)};
        PluginMgr::m_arFileFormat = {Muxer(kMux, 0), Muxer(kStampMux, 1), Muxer(QV_FOURCC_COPY, 0)};
        qvtest::TakeLog();
    }
    void TearDown() override { PluginMgr::m_arEncoder.clear(), PluginMgr::m_arFileFormat.clear(); }
    MediaFile mf;
};

struct Picture {
    Picture(int w, int h, uint8_t y, uint8_t u, uint8_t v)
        : Y(size_t(w) * h, y), U(size_t((w + 1) / 2) * ((h + 1) / 2), u), V(U.size(), v), f{} {
        f.pPlane[0] = Y.data(), f.pPlane[1] = U.data(), f.pPlane[2] = V.data();
        f.nWidth = w, f.nHeight = h, f.nPitch[0] = w, f.nPitch[1] = f.nPitch[2] = (w + 1) / 2;
    }
    const MEDIA_FRAME* At(int64_t t, int64_t stamp = 0) { return f.llStreamTime = t, f.llTimeStamp = stamp, &f; }
    Bytes Y, U, V;
    MEDIA_FRAME f;
};

}  // namespace mftest

#endif
