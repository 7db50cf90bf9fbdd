// The frame path paints only what the plane resizers leave, yet every frame
// it hands on equals a picture painted black whole and then resized.
#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "common/TestSupport.h"

// Counts C++ allocations, the library's included (it allocates only with
// new): the replacements are exported so that the library binds to them.
#define QV_EXPORTED __attribute__((visibility("default")))
static int g_news = 0;
QV_EXPORTED void* operator new(size_t n, const std::nothrow_t&) noexcept { return ++g_news, std::malloc(n ? n : 1); }
QV_EXPORTED void* operator new[](size_t n, const std::nothrow_t&) noexcept { return operator new(n, std::nothrow); }
QV_EXPORTED void* operator new(size_t n) {
    if (void* p = operator new(n, std::nothrow)) return p;
    throw std::bad_alloc();
}
QV_EXPORTED void* operator new[](size_t n) { return operator new(n); }
QV_EXPORTED void operator delete(void* p) noexcept { std::free(p); }
QV_EXPORTED void operator delete[](void* p) noexcept { std::free(p); }
QV_EXPORTED void operator delete(void* p, size_t) noexcept { std::free(p); }
QV_EXPORTED void operator delete[](void* p, size_t) noexcept { std::free(p); }

namespace {

constexpr uint32_t kVideo = QV_FOURCC('B', 'V', 'I', 'D'), kMux = QV_FOURCC('B', 'M', 'U', 'X');
ENCODER_MODE g_modes[] = {{kVideo, 0}, {0, 0}};
std::vector<MEDIA_FRAME> g_frames;

class FrameBorders : public ::testing::Test {
protected:
    void SetUp() override {
        ENCODER_ITEM e{};
        e.dwFourCC = kVideo, e.nType = 1, e.pfnClose = [](void*) {};
        e.pfnCreate = [](uint32_t, EncodeParam*) -> void* { return &g_frames; };
        e.pfnEncode = [](void*, const MEDIA_FRAME* in, void** out, uint32_t*) { return *out = (void*)in, 1; };
        FILEFORMAT_ITEM m{};
        m.dwFourCC = kMux, m.pVideoModes = g_modes, m.pAudioModes = g_modes;
        m.pfnCreateFile = [](const wchar_t*, EncodeParam*) -> void* { return &g_frames; };
        m.pfnWriteVideo = [](void*, const void* f) { return g_frames.push_back(*static_cast<const MEDIA_FRAME*>(f)), 1u; };
        m.pfnCloseFile = [](void*, QVPROGRESS_CALLBACK, void*) { return 1; };
        PluginMgr::m_arEncoder = {e};
        PluginMgr::m_arFileFormat = {m};
        qvtest::InstallTestLog();
        g_frames.clear();
        g_frames.reserve(4);
    }
    void TearDown() override { PluginMgr::m_arEncoder.clear(), PluginMgr::m_arFileFormat.clear(); }
};

// Letterboxed and pillarboxed rectangles at odd and even places and sizes,
// every interpolation (3 has no plane resizer: the picture stays black).
TEST_F(FrameBorders, OnlyTheUncoveredAreaIsPaintedAndItIsBlack) {
    const struct { int w, h, method, ax, ay; } cases[] = {
        {64, 48, 1, 16, 9}, {51, 47, 1, 16, 9}, {64, 48, 1, 1, 1}, {75, 33, 1, 4, 3}, {50, 41, 3, 0, 0},
        {41, 50, 1, 3, 4},  {64, 48, 0, 0, 0},  {9, 7, 2, 0, 0}};
    for (const auto& c : cases)
        for (int interp = 0; interp < 4; ++interp) {
            EncodeParam p;
            QVDefaultEncodeParam(&p);
            p.dwFileFormat = kMux, p.video.dwFourCC = kVideo, p.bDisableAudio = 1;
            p.video.nWidth = c.w, p.video.nHeight = c.h, p.video.dFrameRate = 25.0;
            p.video.nResizeMethod = c.method, p.video.nInterpolation = interp;
            xVideoInfo vi{57, 43, 25.0, 0.0, c.ax, c.ay, {}, 0};
            MediaFile file;
            ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
            std::vector<uint8_t> y(57 * 43), u(29 * 22), v(29 * 22);
            for (size_t i = 0; i < y.size(); ++i) y[i] = uint8_t(i * 7 + 3);
            for (size_t i = 0; i < u.size(); ++i) u[i] = uint8_t(i * 5 + 1), v[i] = uint8_t(i * 3 + 2);
            MEDIA_FRAME f{};
            f.pPlane[0] = y.data(), f.pPlane[1] = u.data(), f.pPlane[2] = v.data();
            f.nWidth = 57, f.nHeight = 43, f.nPitch[0] = 57, f.nPitch[1] = f.nPitch[2] = 29;

            // What the whole black picture resized gives: Y, then V, then U.
            const int W = c.w, H = c.h, C = (W + 1) / 2, S = C * ((H + 1) / 2);
            std::vector<uint8_t> want(size_t(W) * H + 2 * S, 128);
            std::memset(want.data(), 16, size_t(W) * H);
            IMG_PARAM sy = file.m_SrcY, dy = file.m_DstY, suv = file.m_SrcUV, duv = file.m_DstUV;
            sy.pBits = y.data(), dy.pBits = want.data();
            ImageResizeY(sy, dy, IMAGE_INTERPOLATION(interp));
            suv.pBits = v.data(), duv.pBits = want.data() + W * H;
            ImageResizeUV(suv, duv, IMAGE_INTERPOLATION(interp));
            suv.pBits = u.data(), duv.pBits = want.data() + W * H + S;
            ImageResizeUV(suv, duv, IMAGE_INTERPOLATION(interp));

            // The second frame finds the first one's buffer scribbled over.
            for (int k = 0; k < 2; ++k) {
                g_frames.clear();
                f.llStreamTime = f.llTimeStamp = 400000 * k;
                ASSERT_EQ(file.WriteVideoFrame(&f), 1u);
                ASSERT_EQ(g_frames.size(), 1u);
                uint8_t* got = g_frames[0].pPlane[0];
                EXPECT_EQ(std::vector<uint8_t>(got, got + want.size()), want)
                    << W << "x" << H << " method " << c.method << " interpolation " << interp << " frame " << k;
                std::memset(got, 0x5A, want.size());
            }
        }
}

TEST_F(FrameBorders, ResizedFramesAllocateNothing) {
    for (int interp : {0, 1}) {
        EncodeParam p;
        QVDefaultEncodeParam(&p);
        p.dwFileFormat = kMux, p.video.dwFourCC = kVideo, p.bDisableAudio = 1;
        p.video.nWidth = 1280, p.video.nHeight = 720, p.video.dFrameRate = 25.0, p.video.nInterpolation = interp;
        xVideoInfo vi{1920, 1080, 25.0, 0.0, 4, 3, {}, 0};
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        std::vector<uint8_t> y(1920 * 1080, 99), uv(960 * 540, 77);
        MEDIA_FRAME f{};
        f.pPlane[0] = y.data(), f.pPlane[1] = f.pPlane[2] = uv.data();
        f.nWidth = 1920, f.nHeight = 1080, f.nPitch[0] = 1920, f.nPitch[1] = f.nPitch[2] = 960;
        const int before = g_news;
        for (int k = 0; k < 3; ++k) {
            f.llStreamTime = f.llTimeStamp = 400000 * k;
            g_frames.clear();
            ASSERT_EQ(file.WriteVideoFrame(&f), 1u);
        }
        EXPECT_EQ(g_news, before) << interp;
    }
}

}  // namespace
