// Encoder and muxer records living in the test executable, registered straight
// into the pipeline's registries: encoders pass frames through, the muxer
// copies everything it receives.
#include "mediafile/RecordingPlugins.h"

#include <cstring>

#include "common/TestSupport.h"

namespace rec {
namespace {

State g;
ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {0, 0}};
ENCODER_MODE g_audioModes[] = {{kAudio, 0}, {0, 0}};

void* EncCreate(uint32_t, EncodeParam* p) { return g.created.push_back(*p), &g; }
int EncPass(void*, const MEDIA_FRAME* in, void** out, uint32_t*) {
    *out = const_cast<MEDIA_FRAME*>(in);
    return 1;
}
void EncClose(void*) {}
int ReviseVideo(EncodeParam* p) {
    if (g.reviseWidth) p->video.nWidth = g.reviseWidth;
    return 1;
}
void* MuxCreate(const wchar_t*, EncodeParam*) { return &g; }
void Rows(std::vector<uint8_t>& to, const uint8_t* p, int pitch, int w, int h) {
    for (int r = 0; r < h; ++r) to.insert(to.end(), p + r * pitch, p + r * pitch + w);
}
uint32_t MuxAudio(void*, const void* data, uint32_t) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    g.audio.push_back({*f, {}, {}, {}});
    Rows(g.audio.back().data, reinterpret_cast<const uint8_t*>(f->pData), 0, f->nDataSize, 1);
    return g.writeResult;
}
uint32_t MuxVideo(void*, const void* data) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    g.video.push_back({*f, {}, {}, {}});
    const int cw = (f->nWidth + 1) / 2, ch = (f->nHeight + 1) / 2;
    Rows(g.video.back().data, f->pPlane[0], f->nPitch[0], f->nWidth, f->nHeight);
    Rows(g.video.back().u, f->pPlane[1], f->nPitch[1], cw, ch);
    Rows(g.video.back().v, f->pPlane[2], f->nPitch[2], cw, ch);
    return g.writeResult;
}
int MuxClose(void*, QVPROGRESS_CALLBACK callback, void* user) {
    ++g.closes;
    g.callback = callback;
    g.user = user;
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
    return e;
}

FILEFORMAT_ITEM Muxer(uint32_t code, bool video, uint32_t flags) {
    FILEFORMAT_ITEM m;
    std::memset(&m, 0, sizeof m);
    m.dwFourCC = code;
    m.pAudioModes = g_audioModes;
    m.pVideoModes = video ? g_videoModes : nullptr;
    m.pfnCreateFile = MuxCreate;
    m.pfnWriteAudio = MuxAudio;
    m.pfnWriteVideo = MuxVideo;
    m.pfnCloseFile = MuxClose;
    m.dwFlags = flags;
    return m;
}

}  // namespace

State& S() { return g; }

void PluginTest::SetUp() {
    g = State();
    CAudioConverter::s_dSpare = 0.0;
    PluginMgr::m_arEncoder = {Encoder(kVideo, 1), Encoder(kAudio, 0)};
    PluginMgr::m_arFileFormat = {Muxer(kMux, true, 0), Muxer(kStampMux, true, 1),
                                 Muxer(kAudioOnly, false, 0), Muxer(QV_FOURCC_COPY, true, 0)};
    qvtest::TakeLog();
}

void PluginTest::TearDown() {
    PluginMgr::m_arEncoder.clear();
    PluginMgr::m_arFileFormat.clear();
    CAudioConverter::s_dSpare = 0.0;
}

EncodeParam Params(uint32_t container, int outW, int outH, double rate, int method) {
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.video.dwFourCC = kVideo;
    p.audio.dwFourCC = kAudio;
    p.dwFileFormat = container;
    p.video.nWidth = outW;
    p.video.nHeight = outH;
    p.video.dFrameRate = rate;
    p.video.nResizeMethod = method;
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

MEDIA_FRAME Block(std::vector<int16_t>& samples, int64_t streamTime, int64_t timeStamp) {
    MEDIA_FRAME f;
    std::memset(&f, 0, sizeof f);
    f.pData = samples.data();
    f.nDataSize = static_cast<int32_t>(samples.size() * 2);
    f.llStreamTime = streamTime;
    f.llTimeStamp = timeStamp;
    f.nDuration = 1234;
    return f;
}

}  // namespace rec
