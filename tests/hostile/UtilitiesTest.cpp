// The exported utilities given null pointers, zero, negative and huge sizes,
// pitches and positions: each refuses (0, or one log line for the colour
// converters) and touches nothing, never crashes, overflows or hangs.
#include <gtest/gtest.h>

#include <limits.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <quevarra/quevarra.h>

#include "common/TestSupport.h"

namespace {

using Bytes = std::vector<uint8_t>;
typedef std::vector<std::wstring> Msgs;
constexpr uint8_t kGuard = 0xEE;

bool Untouched(const Bytes& b) {
    return std::all_of(b.begin(), b.end(), [](uint8_t v) { return v == kGuard; });
}

struct ResizerCase {
    const char* name;
    int (*fn)(const IMG_PARAM&, IMG_PARAM&);
    int srcBpp, dstBpp;
};
const ResizerCase kResizers[] = {
    {"Near", DIB_ResizeNear, 4, 4},           {"Near8", DIB_ResizeNear8, 1, 1},
    {"NearY", DIB_ResizeNearY, 1, 1},         {"NearUV", DIB_ResizeNearUV, 1, 1},
    {"BiLiner", DIB_ResizeBiLiner, 4, 4},     {"BiLiner8", DIB_ResizeBiLiner8, 1, 1},
    {"BiLinerY", DIB_ResizeBiLinerY, 1, 1},   {"BiLinerUV", DIB_ResizeBiLinerUV, 1, 1},
    {"Simulate", DIB_ResizeBiLinerY_Simulate, 1, 1}, {"Convolve", DIB_ResizeConvolve, 4, 4},
    {"Alpha", DIB_AlphaResizeBiLiner, 4, 4},  {"MaskNear", StretchMaskResizeNear, 1, 4},
    {"MaskBiLiner", StretchMaskResizeBiLiner, 1, 4},
};

TEST(HostileImage, ResizersRefuseWhatTheyCannotAddress) {
    typedef std::function<void(IMG_PARAM&, IMG_PARAM&)> Change;
    const std::pair<const char*, Change> changes[] = {
        {"null source", [](IMG_PARAM& s, IMG_PARAM&) { s.pBits = nullptr; }},
        {"null destination", [](IMG_PARAM&, IMG_PARAM& d) { d.pBits = nullptr; }},
        {"destination 1 wide", [](IMG_PARAM&, IMG_PARAM& d) { d.cx = 1; }},
        {"destination 0 high", [](IMG_PARAM&, IMG_PARAM& d) { d.cy = 0; }},
        {"negative width", [](IMG_PARAM& s, IMG_PARAM&) { s.cx = -3; }},
        {"huge width", [](IMG_PARAM&, IMG_PARAM& d) { d.cx = INT_MAX; }},
        {"huge negative height", [](IMG_PARAM& s, IMG_PARAM&) { s.cy = INT_MIN; }},
        {"negative x", [](IMG_PARAM& s, IMG_PARAM&) { s.x = -1; }},
        {"negative y", [](IMG_PARAM&, IMG_PARAM& d) { d.y = -1; }},
        {"x + cx past int", [](IMG_PARAM&, IMG_PARAM& d) { d.x = INT_MAX; }},
        {"pitch 0", [](IMG_PARAM&, IMG_PARAM& d) { d.pitch = 0; }},
        {"pitch INT_MIN", [](IMG_PARAM& s, IMG_PARAM&) { s.pitch = INT_MIN; }},
        // Offsets past what an int addresses from pBits, rows otherwise fine.
        {"huge pitch", [](IMG_PARAM&, IMG_PARAM& d) { d.pitch = INT_MAX / 4; }},
        {"huge negative pitch", [](IMG_PARAM& s, IMG_PARAM&) { s.pitch = -(INT_MAX / 4); }},
        {"rows past int", [](IMG_PARAM&, IMG_PARAM& d) { d.y = d.height = 1 << 28; }},
    };
    for (const ResizerCase& r : kResizers) {
        Bytes src(16 * 16 * 4, 77), dst(16 * 16 * 4, kGuard);
        const IMG_PARAM s0{src.data(), 16, 16, 16 * r.srcBpp, 8, 0, 0, 8, 8};
        const IMG_PARAM d0{dst.data(), 16, 16, 16 * r.dstBpp, 32, 0, 0, 16, 16};
        for (const auto& [what, change] : changes) {
            IMG_PARAM s = s0, d = d0;
            change(s, d);
            EXPECT_EQ(r.fn(s, d), 0) << r.name << ": " << what;
            ASSERT_TRUE(Untouched(dst)) << r.name << ": " << what;
        }
        IMG_PARAM s = s0, d = d0;  // the same call unchanged is taken
        EXPECT_EQ(r.fn(s, d), 1) << r.name;
        EXPECT_FALSE(Untouched(dst)) << r.name;
    }
}

TEST(HostileColour, ConvertersLogOneLineAndWriteNothing) {
    qvtest::InstallTestLog(), qvtest::TakeLog();
    Bytes rgb(64 * 4, kGuard), y(64, kGuard), u(16, kGuard), v(16, kGuard);
    uint8_t *R = rgb.data(), *Y = y.data(), *U = u.data(), *V = v.data();
    auto header = [](int w, int h, int bits) {
        BITMAPINFOHEADER b{};
        b.biSize = sizeof b, b.biWidth = w, b.biHeight = h, b.biPlanes = 1, b.biBitCount = static_cast<uint16_t>(bits);
        return b;
    };
    BITMAPINFOHEADER wide = header(INT_MAX, 2, 32), tall = header(8, INT_MAX, 24), flat = header(8, 0, 32),
                     narrow = header(-8, 8, 24), huge24 = header(1 << 20, 1 << 20, 24);
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[&] { Yuv420_2_rgb32(&wide, R, Y, U, V, 8, 4, 4); }, L"Yuv420_2_rgb32: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Yuv420_2_rgb24(&tall, R, Y, U, V, 8, 4, 4); }, L"Yuv420_2_rgb24: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Yuv420_2_Argb(&flat, R, Y, U, V, 8, 4, 4); }, L"Yuv420_2_Argb: assertion failed: W > 0 && H > 0"},
        {[&] { Rgb24_2_yuv420(Y, U, V, 8, 4, 4, &narrow, R); }, L"Rgb24_2_yuv420: assertion failed: W > 0 && H > 0"},
        {[&] { Rgb32_2_yuv420(Y, U, V, 8, 4, 4, &wide, R); }, L"Rgb32_2_yuv420: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Argb_2_yuv420(Y, U, V, INT_MAX, 4, 4, &flat, R); }, L"Argb_2_yuv420: assertion failed: W > 0 && H > 0"},
        {[&] { Rgb32_2_yuv420A(Y, U, V, Y, 8, INT_MIN, 4, &wide, R); }, L"Rgb32_2_yuv420A: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Rgb32_2_yuv420_Ex(Y, U, V, 8, 4, 4, R, 8, INT_MIN, 32); }, L"Rgb32_2_yuv420_Ex: assertion failed: nWidth > 0 && nHeight != 0"},
        {[&] { Rgb32_2_yuv420_Ex(Y, U, V, 8, 4, 4, R, 8, -8, INT_MAX); }, L"Rgb32_2_yuv420_Ex: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Yuv420_2_rgb24Simple(nullptr, R, Y, U, V, 8, 4, 4); }, L"Yuv420_2_rgb24Simple: assertion failed: lpDstBmi && lpDstBits && pY && pU && pV"},
        {[&] { Rgb24_2_yuv420Simple(Y, U, V, 8, 4, 4, &tall, R); }, L"Rgb24_2_yuv420Simple: assertion failed: the picture's byte offsets fit in int"},
        {[&] { xTraceImage(reinterpret_cast<BITMAPINFO*>(&huge24), R); }, L"xTraceImage: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Rgb24_2_YUY2(R, 64, 0, 0, 4, 4, 1, R, 2, 48, 0, 0); }, L"Rgb24_2_YUY2: assertion failed: positions >= 0 && ySrc + cy <= nHeightSrc"},
        {[&] { Rgb24_2_YUY2(R, INT_MAX, 0, 2, 4, 1, 1, R, 4, 48, 0, 0); }, L"Rgb24_2_YUY2: assertion failed: the picture's byte offsets fit in int"},
        {[&] { YUY2_2_Rgb24(R, 4, 48, 0, -1, 4, 2, R, 16, 1, 0, 0); }, L"YUY2_2_Rgb24: assertion failed: positions >= 0 && yDst + cy <= nHeightDst"},
        {[&] { YUY2_2_Rgb24(R, 4, 48, 0, 0, INT_MAX, 2, R, 16, 1, 0, 0); }, L"YUY2_2_Rgb24: assertion failed: the picture's byte offsets fit in int"},
        {[&] { YUY2_2_Yuv420(nullptr, U, V, 8, 4, 4, 0, 0, 4, 2, R, 16, 1, 0, 0); }, L"YUY2_2_Yuv420: assertion failed: pY && pU && pV && lpBitsSrc"},
        {[&] { YUY2_2_Yuv420(Y, U, V, 8, 4, 4, 0, 0, INT_MAX, 2, R, 16, 1, 0, 0); }, L"YUY2_2_Yuv420: assertion failed: the picture's byte offsets fit in int"},
        {[&] { Yuv420_2_YUY2(R, 16, -2, 0, 4, 2, 1, Y, U, V, 8, 4, 4, 0, 0); }, L"Yuv420_2_YUY2: assertion failed: positions >= 0"},
        {[&] { Yuv420_2_YUY2(R, 16, 0, 0, 4, INT_MAX, 1, Y, U, V, 8, 4, 4, 0, 0); }, L"Yuv420_2_YUY2: assertion failed: the picture's byte offsets fit in int"},
        {[&] { YUY2_Blt_fast(R, 16, 0, 0, 4, 2, 1, nullptr, 16, 0, 0, 0); }, L"YUY2_Blt_fast: assertion failed: lpBitsDst && lpBitsSrc"},
        {[&] { YUY2_Blt_fast(R, 0, 0, 0, 4, INT_MAX, 1, R, 16, 0, 0, 0); }, L"YUY2_Blt_fast: assertion failed: the picture's byte offsets fit in int"},
        {[&] { YV12_Blt_fast(Y, U, V, 8, 4, 4, 0, 0, 4, 2, Y, nullptr, V, 8, 4, 4, 0, 0); }, L"YV12_Blt_fast: assertion failed: pYDst && pUDst && pVDst && pYSrc && pUSrc && pVSrc"},
        {[&] { YV12_Blt_fast(Y, U, V, 8, 4, 4, 0, INT_MIN, 4, 2, Y, U, V, 8, 4, 4, 0, 0); }, L"YV12_Blt_fast: assertion failed: positions >= 0"},
        {[&] { YV12_Blt_fast(Y, U, V, 0, 0, 0, 0, 0, 4, INT_MAX, Y, U, V, 8, 4, 4, 0, 0); }, L"YV12_Blt_fast: assertion failed: the picture's byte offsets fit in int"},
    };
    for (const auto& [call, line] : cases) {
        call();
        EXPECT_TRUE(Untouched(rgb) && Untouched(y) && Untouched(u) && Untouched(v)) << line;
        EXPECT_EQ(qvtest::TakeLog(), Msgs{line + L"\r\n"});
    }
}

TEST(HostileAudio, ConverterTakesAnyFormatCountOrPointer) {
    short in[8] = {1, 2, 3, 4, 5, 6, 7, 8}, out[64] = {};
    CAudioConverter huge(2, 2, 44100, 44100, INT_MAX);  // not 8 GiB of zeros
    EXPECT_EQ(huge.m_nCapacity, 1 << 24);
    EXPECT_EQ(huge.Put(nullptr, 8) + huge.Put(in, -4) + huge.Put(in, INT_MIN), 0);
    EXPECT_EQ(huge.Put(in, INT_MAX), 0) << "refused before a sample is read";
    EXPECT_EQ(huge.Get(nullptr, 4) + huge.Get(out, -1) + huge.ConvertData(nullptr, 4) + huge.ConvertData(in, -2), 0);
    // Blocks that are not whole sample frames: the partial frame is dropped,
    // so the channels of later frames stay in place.
    EXPECT_EQ(huge.Put(in, 5), 4);
    CAudioConverter down(2, 1, 44100, 44100, 0), resample(2, 2, 22050, 44100, 0);
    EXPECT_EQ(down.Put(in, 7), 3);
    EXPECT_EQ(resample.Put(in, 3), 4);
    EXPECT_EQ(resample.Put(in, 4), 12);
    ASSERT_EQ(resample.Get(out, 64), 12);
    EXPECT_TRUE(out[10] == 3 && out[11] == 4) << "left and right stay apart";
    // Formats no converter can honour still neither crash nor divide by zero.
    for (int channels : {0, -1, 1000})
        for (int rate : {0, -44100, INT_MAX}) {
            CAudioConverter odd(channels, 2, rate, 44100, 16);
            odd.Put(in, 8);
            EXPECT_LE(odd.Get(out, 64), 64);
        }
}

TEST(HostileText, NullsBadLengthsAndTinyBuffers) {
    wchar_t w[8];
    char c[8];
    EXPECT_EQ(UTF8toW(nullptr, -1, w, 8, true), sourceIllegal);
    EXPECT_EQ(UTF8toW("abc", -2, w, 8, true), sourceIllegal);
    EXPECT_EQ(UTF8toW("abc", -1, nullptr, 8, true), targetExhausted);
    EXPECT_EQ(UTF8toW("abc", -1, w, INT_MIN, true), targetExhausted);
    EXPECT_EQ(WtoUTF8(nullptr, 3, c, 8, true), sourceIllegal);
    EXPECT_EQ(WtoUTF8(L"abc", INT_MIN, c, 8, true), sourceIllegal);
    EXPECT_EQ(WtoUTF8(L"abc", -1, c, 0, true), targetExhausted);
    EXPECT_EQ(UTF8toW(nullptr, 0, nullptr, 0, true), conversionOK);
    const UTF8 text[] = "\xF4\x8F\xBF\xBF";
    UTF16 u16[1];
    EXPECT_EQ(ConvertUTF8toUTF16(text, text + 4, u16, u16 + 1, strictConversion), targetExhausted);
    EXPECT_EQ(ConvertUTF8toUTF32(text, text + 3, nullptr, nullptr, lenientConversion), sourceExhausted);
    EXPECT_EQ(FourCC2StrW(nullptr, 0x44495658), nullptr);
    char path[4] = "xyz";
    GetAppPathA(path, 0), GetAppPathA(path, -5), GetAppPathA(nullptr, 512);
    EXPECT_STREQ(path, "xyz");
    EXPECT_EQ(GetAppPath(nullptr, 512), nullptr);
    qvtest::InstallTestLog(), qvtest::TakeLog();
    EXPECT_EQ(Log(nullptr), 0);
    LogEx(nullptr, 1, 2);
    EXPECT_TRUE(qvtest::TakeLog().empty());
}

TEST(HostilePlugins, QueriesWithoutPluginsAndWithNulls) {
    while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
    QVUninitPlugins(), QVUninitPlugins();  // more releases than inits
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 0);
    ENCODER_ITEM item;
    EXPECT_EQ(QVGetEncoderInfo(QV_FOURCC('X', 'V', 'I', 'D'), nullptr) + QVGetEncoderInfo(0, &item), 0);
    EXPECT_TRUE(!QVGetFileFormatInfos() && !QVFindFileFormatPlugin(0) && !QVFindFileFormatPlugin(~0u));
    EXPECT_EQ(IsInlineEnc(nullptr, 0), 0);
    QVDefaultEncodeParam(nullptr);
    PluginMgr pm;
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    EXPECT_EQ(pm.Create(nullptr, &p) + pm.Create(L"x", nullptr) + pm.Create(L"x", &p), 0u);
    EXPECT_EQ(pm.WriteVideoFrame(nullptr) + pm.WriteAudioData(nullptr) + pm.Close(nullptr, nullptr), 0u);
}

}  // namespace
