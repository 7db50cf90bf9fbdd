// Known answers of the media file's frame path: what reaches the muxer for
// paced input whose times sit on the rounding boundaries, resized pictures,
// and audio that is converted, filled and cut.
#include <quevarra/qv_mediafile.h>

#include "common/TestSupport.h"
#include "kat/Kat.h"

namespace {

constexpr uint32_t kVideo = QV_FOURCC('K', 'V', 'I', 'D'), kAudio = QV_FOURCC('K', 'A', 'U', 'D');
constexpr uint32_t kPaced = QV_FOURCC('K', 'M', 'U', 'X'), kStamped = QV_FOURCC('K', 'S', 'T', 'P');

const std::map<std::string, uint64_t> kVideoPins = {
#include "kat/KatVideoPathPins.inc"
};
const std::map<std::string, uint64_t> kAudioPins = {
#include "kat/KatAudioPathPins.inc"
};

kat::Digest* g_digest = nullptr;  // what the muxer receives goes here
ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {0, 0}}, g_audioModes[] = {{kAudio, 0}, {0, 0}};

uint32_t MuxVideo(void*, const void* data) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    g_digest->AddInt(f->llStreamTime), g_digest->AddInt(f->llTimeStamp);
    g_digest->AddInt(f->nWidth), g_digest->AddInt(f->nHeight);
    for (int k = 0; k < 3; ++k) {
        const int w = k ? (f->nWidth + 1) / 2 : f->nWidth, h = k ? (f->nHeight + 1) / 2 : f->nHeight;
        for (int r = 0; r < h; ++r) g_digest->Add(f->pPlane[k] + r * f->nPitch[k], size_t(w));
    }
    return 1;
}
uint32_t MuxAudio(void*, const void* data, uint32_t) {
    const MEDIA_FRAME* f = static_cast<const MEDIA_FRAME*>(data);
    g_digest->AddInt(f->llStreamTime), g_digest->AddInt(f->llTimeStamp), g_digest->AddInt(f->nDuration);
    g_digest->AddInt(f->nSampleRate), g_digest->AddInt(f->nChannels);
    g_digest->Add(f->pData, size_t(f->nDataSize));
    return 1;
}

class FramePath : public ::testing::Test {
protected:
    void SetUp() override {
        ENCODER_ITEM v{}, a{};
        for (ENCODER_ITEM* e : {&v, &a}) {
            e->pfnClose = [](void*) {};
            e->pfnCreate = [](uint32_t, EncodeParam*) -> void* { return &g_digest; };
            e->pfnEncode = [](void*, const MEDIA_FRAME* in, void** out, uint32_t*) { return *out = (void*)in, 1; };
        }
        v.dwFourCC = kVideo, v.nType = 1, a.dwFourCC = kAudio, a.nType = 0;
        PluginMgr::m_arEncoder = {v, a};
        PluginMgr::m_arFileFormat.clear();
        for (uint32_t code : {kPaced, kStamped}) {
            FILEFORMAT_ITEM m{};
            m.dwFourCC = code, m.dwFlags = code == kStamped, m.pAudioModes = g_audioModes, m.pVideoModes = g_videoModes;
            m.pfnCreateFile = [](const wchar_t*, EncodeParam*) -> void* { return &g_digest; };
            m.pfnWriteAudio = MuxAudio, m.pfnWriteVideo = MuxVideo;
            m.pfnCloseFile = [](void*, QVPROGRESS_CALLBACK, void*) { return 1; };
            PluginMgr::m_arFileFormat.push_back(m);
        }
        CAudioConverter::s_dSpare = 0.0;
        qvtest::InstallTestLog();
    }
    void TearDown() override { PluginMgr::m_arEncoder.clear(), PluginMgr::m_arFileFormat.clear(); }
};

TEST_F(FramePath, PacedResizedVideoOnTheRoundingBoundaries) {
    kat::Pins pins(kVideoPins);
    // Output rate, container, resize method, interpolation, output size, aspect.
    const struct { double rate; uint32_t mux; int method, interp, w, h, ax, ay; } cases[] = {
        {25.0, kPaced, 0, 0, 40, 30, 0, 0},       {25.0, kPaced, 0, 1, 40, 30, 0, 0},
        {25.0, kPaced, 1, 2, 64, 48, 16, 9},      {30000.0 / 1001, kPaced, 5, 0, 48, 48, 16, 9},
        {24.0, kPaced, 0, 0, 64, 48, 0, 0},       {25.0, kStamped, 0, 0, 96, 72, 0, 0},
        {12.5, kStamped, 2, 1, 50, 40, 0, 0}};
    // Offsets inside each 1/25 s: on, just under and just over the half, and near it.
    const int64_t offsets[] = {0, 200000, 199999, 200001, 208000, 192000, 380000};
    int n = 0;
    for (const auto& c : cases) {
        EncodeParam p;
        QVDefaultEncodeParam(&p);
        p.dwFileFormat = c.mux, p.video.dwFourCC = kVideo, p.bDisableAudio = 1;
        p.video.nWidth = c.w, p.video.nHeight = c.h, p.video.dFrameRate = c.rate;
        p.video.nResizeMethod = c.method, p.video.nInterpolation = c.interp;
        xVideoInfo vi{64, 48, 25.0, 0.0, c.ax, c.ay, {}, 0};
        kat::Digest d;
        g_digest = &d;
        void* h = QVCreateMediaFile(L"kat", &p, &vi, nullptr);
        ASSERT_NE(h, nullptr);
        kat::Rng rng(n);
        kat::Bytes y = rng.Fill(64 * 48 + 5), u = rng.Fill(32 * 24 + 3), v = rng.Fill(32 * 24 + 7);
        for (int k = 0; k < 40; ++k) {
            MEDIA_FRAME f{};
            f.pPlane[0] = y.data() + k % 5, f.pPlane[1] = u.data() + k % 3, f.pPlane[2] = v.data() + k % 7;
            f.nWidth = 64, f.nHeight = 48, f.nPitch[0] = 64, f.nPitch[1] = f.nPitch[2] = 32;
            f.llStreamTime = 400000 * int64_t(k) + offsets[k % 7];
            f.llTimeStamp = k % 4 == 3 ? f.llStreamTime - 300000 : f.llStreamTime;
            d.AddInt(QVWriteVideoFrame(h, &f));
        }
        QVCloseMediaFile(h, nullptr, nullptr);
        pins.Check("video/" + std::to_string(n++), d);
    }
}

TEST_F(FramePath, ConvertedFilledAndCutAudio) {
    kat::Pins pins(kAudioPins);
    const struct { int inRate, inCh; uint32_t mux; } cases[] = {
        {44100, 2, kPaced}, {22050, 1, kPaced}, {48000, 2, kPaced}, {11025, 2, kPaced}, {22050, 1, kStamped}};
    int n = 0;
    for (const auto& c : cases) {
        EncodeParam p;
        QVDefaultEncodeParam(&p);
        p.dwFileFormat = c.mux, p.audio.dwFourCC = kAudio, p.bDisableVideo = 1;
        xAudioInfo ai{c.inRate, c.inCh, 16, c.inRate * c.inCh * 2, 0.0, 0};
        kat::Digest d;
        g_digest = &d;
        CAudioConverter::s_dSpare = 0.0;
        void* h = QVCreateMediaFile(L"kat", &p, nullptr, &ai);
        ASSERT_NE(h, nullptr);
        kat::Rng rng(100 + n);
        int64_t time = 0;
        for (int k = 0; k < 30; ++k) {
            const int frames = 100 + rng.Below(3000);
            std::vector<int16_t> pcm(size_t(frames) * c.inCh);
            for (auto& s : pcm) s = int16_t(rng.Next() >> 48);
            MEDIA_FRAME b{};
            b.pData = pcm.data(), b.nDataSize = int32_t(pcm.size() * 2), b.nDuration = 77;
            // In step, then holes and overlaps of a few samples to a few tenths of a second.
            const int64_t jitter = k % 3 == 0 ? 0 : (k % 3 == 1 ? 1 : -1) * int64_t(rng.Below(3000000));
            b.llStreamTime = b.llTimeStamp = time + jitter;
            d.AddInt(QVWriteAudioData(h, &b));
            time += int64_t(frames) * 10000000 / c.inRate;
        }
        QVCloseMediaFile(h, nullptr, nullptr);
        pins.Check("audio/" + std::to_string(n++), d);
    }
    CAudioConverter::s_dSpare = 0.0;
}

}  // namespace
