#include "RecordingPlugins.h"

#include <cstring>

#include "common/TestSupport.h"

namespace rec {

namespace {

State g_state;
ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {0, 0}};
ENCODER_MODE g_audioModes[] = {{kAudio, 0}, {0, 0}};

void* EncCreate(uint32_t, EncodeParam* param) {
    g_state.created.push_back(*param);
    return &g_state;
}
int EncPass(void*, const MEDIA_FRAME* in, void** out, uint32_t*) {
    *out = const_cast<MEDIA_FRAME*>(in);
    return 1;
}
void EncClose(void*) {}
int ReviseVideo(EncodeParam* p) {
    if (g_state.reviseWidth) p->video.nWidth = g_state.reviseWidth;
    if (g_state.reviseHeight) p->video.nHeight = g_state.reviseHeight;
    return 1;
}
int ReviseAudio(EncodeAudioParam* a) {
    if (g_state.reviseSampleRate) a->nSampleRate = g_state.reviseSampleRate;
    return 1;
}

void* MuxCreate(const wchar_t*, EncodeParam* param) {
    g_state.fileParam = *param;
    return &g_state;
}
uint32_t MuxAudio(void*, const void* data, uint32_t) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    Written w{*f, {}, {}, {}, {}};
    const uint8_t* p = reinterpret_cast<const uint8_t*>(f->pData);
    w.data.assign(p, p + f->nDataSize);
    g_state.audio.push_back(w);
    return g_state.writeResult;
}
void CopyPlane(std::vector<uint8_t>& to, const uint8_t* p, int pitch, int w, int h) {
    for (int r = 0; r < h; ++r) to.insert(to.end(), p + r * pitch, p + r * pitch + w);
}
uint32_t MuxVideo(void*, const void* data) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    Written w{*f, {}, {}, {}, {}};
    CopyPlane(w.y, f->pPlane[0], f->nPitch[0], f->nWidth, f->nHeight);
    CopyPlane(w.u, f->pPlane[1], f->nPitch[1], (f->nWidth + 1) / 2, (f->nHeight + 1) / 2);
    CopyPlane(w.v, f->pPlane[2], f->nPitch[2], (f->nWidth + 1) / 2, (f->nHeight + 1) / 2);
    g_state.video.push_back(w);
    return g_state.writeResult;
}
int MuxClose(void*, QVPROGRESS_CALLBACK callback, void* user) {
    ++g_state.closes;
    g_state.callback = callback;
    g_state.user = user;
    return 1;
}

ENCODER_ITEM Encoder(uint32_t code, int type) {
    ENCODER_ITEM e;
    std::memset(&e, 0, sizeof e);
    e.dwFourCC = code;
    e.nType = type;
    e.pfnCreate = EncCreate;
    e.pfnEncode = EncPass;
    e.pfnClose = EncClose;
    e.pfnReviseVideoParam = type == 1 ? ReviseVideo : nullptr;
    e.pfnReviseAudioParam = type == 0 ? ReviseAudio : nullptr;
    return e;
}

FILEFORMAT_ITEM Muxer(uint32_t code, bool video) {
    FILEFORMAT_ITEM m;
    std::memset(&m, 0, sizeof m);
    m.dwFourCC = code;
    m.pAudioModes = g_audioModes;
    m.pVideoModes = video ? g_videoModes : nullptr;
    m.pfnCreateFile = MuxCreate;
    m.pfnWriteAudio = MuxAudio;
    m.pfnWriteVideo = MuxVideo;
    m.pfnCloseFile = MuxClose;
    return m;
}

}  // namespace

State& S() { return g_state; }

void PluginTest::SetUp() {
    g_state = State();
    CAudioConverter::s_dSpare = 0.0;
    PluginMgr::m_arEncoder = {Encoder(kVideo, 1), Encoder(kAudio, 0)};
    PluginMgr::m_arFileFormat = {Muxer(kMux, true), Muxer(kAudioOnly, false),
                                 Muxer(QV_FOURCC_COPY, true)};
    qvtest::TakeLog();
}

void PluginTest::TearDown() {
    PluginMgr::m_arEncoder.clear();
    PluginMgr::m_arFileFormat.clear();
    CAudioConverter::s_dSpare = 0.0;
}

void PluginTest::UseTimestampMode(bool on) {
    for (FILEFORMAT_ITEM& m : PluginMgr::m_arFileFormat) m.dwFlags = on ? 1 : 0;
}

EncodeParam Params(uint32_t container) {
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.video.dwFourCC = kVideo;
    p.audio.dwFourCC = kAudio;
    p.dwFileFormat = container;
    return p;
}

xVideoInfo VideoInfo(int w, int h, double fps, int ax, int ay) {
    xVideoInfo v;
    std::memset(&v, 0, sizeof v);
    v.width = w;
    v.height = h;
    v.fps = fps;
    v.aspectx = ax;
    v.aspecty = ay;
    return v;
}

xAudioInfo AudioInfo(int rate, int channels, int bits) {
    xAudioInfo a;
    std::memset(&a, 0, sizeof a);
    a.samplerate = rate;
    a.channels = channels;
    a.bitspersample = bits;
    a.bytespersec = rate * channels * bits / 8;
    return a;
}

}  // namespace rec
