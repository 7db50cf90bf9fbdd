// Packed 4:2:2 conversions and rectangle copies.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <array>
#include <string>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

namespace {

using Macro = std::array<int, 4>;

// A packed picture of w x h pixels with `extra` spare bytes per row.
struct Packed {
    int pitch;
    std::vector<uint8_t> bytes;
    Packed(int w, int h, int extra = 4) : pitch(w * 2 + extra), bytes(size_t(pitch) * h, kSentinel) {}
    uint8_t* Row(int y) { return bytes.data() + size_t(y) * pitch; }
    Macro At(int x, int y) {  // the 4 bytes starting at pixel x
        const uint8_t* p = Row(y) + x * 2;
        return Macro{p[0], p[1], p[2], p[3]};
    }
};

// A bottom-up 24-bit buffer without a header: rows of `pitch` bytes.
struct Rgb {
    int h, pitch;
    std::vector<uint8_t> bytes;
    Rgb(int width, int height, int pitchBytes = 0)
        : h(height), pitch(pitchBytes ? pitchBytes : width * 3 + 2), bytes(size_t(pitch) * height, kSentinel) {}
    uint8_t* Px(int x, int y) { return bytes.data() + size_t(h - 1 - y) * pitch + x * 3; }
    void Set(int x, int y, Bgr c) {
        uint8_t* p = Px(x, y);
        p[0] = c.b, p[1] = c.g, p[2] = c.r;
    }
    Bgr Get(int x, int y) {
        const uint8_t* p = Px(x, y);
        return Bgr{p[0], p[1], p[2]};
    }
};

const Bgr kWhite{255, 255, 255}, kRed{0, 0, 255}, kBlue{255, 0, 0};

void ToPacked(Packed& dst, int xDst, int yDst, int cx, int cy, unsigned order, Rgb& src, int xSrc, int ySrc) {
    Rgb24_2_YUY2(dst.bytes.data(), dst.pitch, xDst, yDst, cx, cy, order, src.bytes.data(), src.h,
                 src.pitch, xSrc, ySrc);
}

}  // namespace

TEST(Rgb24_2_YUY2, WhiteBecomesStudioWhiteInEitherByteOrder) {
    for (unsigned order : {1u, 0u}) {
        Rgb src(4, 2);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 4; ++x) src.Set(x, y, kWhite);
        Packed dst(6, 3);
        ToPacked(dst, 2, 1, 4, 2, order, src, 0, 0);
        const Macro want = order ? Macro{235, 128, 235, 128} : Macro{128, 235, 128, 235};
        for (int y = 1; y <= 2; ++y) {
            EXPECT_EQ(dst.At(2, y), want);
            EXPECT_EQ(dst.At(4, y), want);
            EXPECT_EQ(dst.Row(y)[3], kSentinel);
            EXPECT_EQ(dst.Row(y)[12], kSentinel);
        }
        EXPECT_EQ(dst.At(2, 0), (Macro{kSentinel, kSentinel, kSentinel, kSentinel}));
    }
}

TEST(Rgb24_2_YUY2, OddWidthAndOddStartConvertASinglePixelIntoAFullMacropixel) {
    Rgb src(3, 1);
    src.Set(0, 0, kBlue);
    src.Set(1, 0, kWhite);
    src.Set(2, 0, kRed);
    Packed dst(6, 1);
    ToPacked(dst, 0, 0, 3, 1, 1, src, 0, 0);
    EXPECT_EQ(dst.At(2, 0), (Macro{81, 90, 81, 239}));
    EXPECT_EQ(dst.At(0, 0)[0], 40);
    EXPECT_EQ(dst.At(0, 0)[2], 235);

    // An odd xDst starts at the even pixel below it and converts one pixel more.
    Packed shifted(6, 1);
    ToPacked(shifted, 3, 0, 2, 1, 1, src, 0, 0);
    EXPECT_EQ(shifted.At(0, 0), (Macro{kSentinel, kSentinel, kSentinel, kSentinel}));
    EXPECT_EQ(shifted.At(2, 0)[0], 40);
    EXPECT_EQ(shifted.At(2, 0)[2], 235);
    EXPECT_EQ(shifted.At(4, 0), (Macro{81, 90, 81, 239}));
    EXPECT_EQ(shifted.Row(0)[8 + 4], kSentinel);
}

// With an odd xDst the extra source pixel can lie past the end of the source
// buffer; it then reads the buffer's last pixel instead (the sanitizer build
// would flag a read beyond it).
TEST(Rgb24_2_YUY2, ExtraPixelOfAnOddStartNeverReadsPastTheSource) {
    Rgb src(2, 1, 6);  // exactly two pixels, no padding
    src.Set(0, 0, kWhite);
    src.Set(1, 0, kRed);
    Packed dst(4, 1);
    ToPacked(dst, 1, 0, 2, 1, 1, src, 0, 0);
    EXPECT_EQ(dst.At(0, 0)[0], 235);
    EXPECT_EQ(dst.At(2, 0), (Macro{81, 90, 81, 239}));
}

TEST(YUY2_2_Rgb24, StudioWhiteIsTheFastFormsNearWhiteAndOddWidthUsesY0) {
    for (unsigned order : {1u, 0u}) {
        Packed src(4, 1);
        const uint8_t white[4] = {235, 128, 235, 128}, whiteUyvy[4] = {128, 235, 128, 235};
        std::copy_n(order ? white : whiteUyvy, 4, src.Row(0));
        // Second macropixel: Y0 = 16 (black), Y1 = 235 (must be ignored for odd widths).
        const uint8_t mixed[4] = {16, 128, 235, 128}, mixedUyvy[4] = {128, 16, 128, 235};
        std::copy_n(order ? mixed : mixedUyvy, 4, src.Row(0) + 4);
        Rgb dst(4, 2);
        YUY2_2_Rgb24(dst.bytes.data(), dst.h, dst.pitch, 1, 1, 3, 1, src.bytes.data(), src.pitch,
                     order, 1, 0);  // an odd xSrc reads from pixel 0
        EXPECT_EQ(dst.Get(1, 1), (Bgr{254, 254, 254}));
        EXPECT_EQ(dst.Get(2, 1), (Bgr{254, 254, 254}));
        EXPECT_EQ(dst.Get(3, 1), (Bgr{0, 0, 0}));
        EXPECT_EQ(dst.Px(0, 1)[0], kSentinel);
        EXPECT_EQ(dst.Px(1, 0)[0], kSentinel);  // image row 0 lies in the last buffer row
    }
}

TEST(YUY2_2_Yuv420, ChromaIsTheFloorOfTheVerticalMean) {
    Packed src(2, 2);
    const uint8_t top[4] = {50, 17, 60, 200}, bottom[4] = {70, 18, 80, 201};
    std::copy_n(top, 4, src.Row(0));
    std::copy_n(bottom, 4, src.Row(1));
    Yuv dst(2, 2);
    YUY2_2_Yuv420(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU, dst.pitchV, 0,
                  0, 2, 2, src.bytes.data(), src.pitch, 1, 0, 0);
    EXPECT_EQ(dst.U(0, 0), 17);
    EXPECT_EQ(dst.V(0, 0), 200);
    EXPECT_EQ(dst.Y(0, 0), 50);
    EXPECT_EQ(dst.Y(1, 0), 60);
    EXPECT_EQ(dst.Y(0, 1), 70);
    EXPECT_EQ(dst.Y(1, 1), 80);
}

TEST(YUY2_2_Yuv420, RoundTripThroughPackedKeepsLumaAndChroma) {
    std::mt19937 rng(5);
    for (unsigned order : {1u, 0u}) {
        Yuv src(8, 6);
        src.Randomize(rng);
        Packed packed(8, 6);
        // The 6 x 4 rectangle at (2, 2) of the planes goes to (2, 1) of the packed picture.
        Yuv420_2_YUY2(packed.bytes.data(), packed.pitch, 2, 1, 6, 4, order, src.y.data(),
                      src.u.data(), src.v.data(), src.pitchY, src.pitchU, src.pitchV, 2, 2);
        const Macro m = packed.At(2, 1);
        EXPECT_EQ(m[order ? 0 : 1], src.Y(2, 2));
        EXPECT_EQ(m[order ? 1 : 0], src.U(1, 1));
        EXPECT_EQ(packed.At(2, 2)[order ? 1 : 0], src.U(1, 1));  // chroma repeated on both rows

        Yuv back(8, 6);
        YUY2_2_Yuv420(back.y.data(), back.u.data(), back.v.data(), back.pitchY, back.pitchU,
                      back.pitchV, 2, 2, 6, 4, packed.bytes.data(), packed.pitch, order, 2, 1);
        for (int y = 2; y < 6; ++y)
            for (int x = 2; x < 8; ++x) EXPECT_EQ(back.Y(x, y), src.Y(x, y)) << x << "," << y;
        for (int y = 1; y < 3; ++y)
            for (int x = 1; x < 4; ++x) {
                EXPECT_EQ(back.U(x, y), src.U(x, y)) << x << "," << y;
                EXPECT_EQ(back.V(x, y), src.V(x, y)) << x << "," << y;
            }
        EXPECT_EQ(back.Y(1, 2), kSentinel);
        EXPECT_EQ(back.U(0, 1), kSentinel);
    }
}

// The V bound uses ySrc + cy; writing lower in the planes than the source
// rows trips it part-way: everything before the failing pair is written.
TEST(YUY2_2_Yuv420, BoundViolationStopsBeforeTheOffendingPairAndLogsOnce) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    Packed src(4, 4);
    std::fill(src.bytes.begin(), src.bytes.end(), uint8_t(99));
    Yuv dst(4, 10);
    YUY2_2_Yuv420(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU, dst.pitchV, 0,
                  6, 4, 4, src.bytes.data(), src.pitch, 1, 0, 0);
    // pitchV is 3, bound 12: chroma row 3 (offset 9) fits whole, row 4 (offset 12) only k = 0.
    EXPECT_EQ(dst.Y(3, 6), 99);
    EXPECT_EQ(dst.Y(3, 7), 99);
    EXPECT_EQ(dst.Y(0, 8), 99);
    EXPECT_EQ(dst.Y(1, 9), 99);
    EXPECT_EQ(dst.Y(2, 8), kSentinel);
    EXPECT_EQ(dst.V(0, 4), 99);
    EXPECT_EQ(dst.V(1, 4), kSentinel);
    EXPECT_EQ(qvtest::TakeLog(),
              std::vector<std::wstring>{
                  L"YUY2_2_Yuv420: assertion failed: (char*)V <= ((char*)pV + (ySrc + cy) * nPt_V)\r\n"});
}

TEST(YUY2_Blt_fast, DifferentFlagsSwapEachPairAndEqualFlagsCopy) {
    Packed src(4, 2);
    for (size_t i = 0; i < src.bytes.size(); ++i) src.bytes[i] = uint8_t(i);
    Packed once(4, 2), twice(4, 2), copy(4, 2);
    YUY2_Blt_fast(once.bytes.data(), once.pitch, 0, 0, 3, 2, 1, src.bytes.data(), src.pitch, 2, 0, 0);
    EXPECT_EQ(once.At(0, 0), (Macro{1, 0, 3, 2}));  // flags 1 and 2 differ as integers
    EXPECT_EQ(once.At(2, 1), (Macro{src.Row(1)[5], src.Row(1)[4], src.Row(1)[7], src.Row(1)[6]}));
    EXPECT_EQ(once.Row(0)[8], kSentinel);
    YUY2_Blt_fast(twice.bytes.data(), twice.pitch, 0, 0, 4, 2, 0, once.bytes.data(), once.pitch, 1, 0, 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; x += 2) EXPECT_EQ(twice.At(x, y), src.At(x, y));

    YUY2_Blt_fast(copy.bytes.data(), copy.pitch, 2, 1, 1, 1, 7, src.bytes.data(), src.pitch, 7, 0, 0);
    EXPECT_EQ(copy.Row(1)[4], 0);
    EXPECT_EQ(copy.Row(1)[5], 1);
    EXPECT_EQ(copy.Row(1)[6], kSentinel);  // a 1-pixel copy is 2 bytes
}

TEST(YV12_Blt_fast, CopiesRowPairsAndStartsOddChromaOneColumnLater) {
    Yuv src(8, 8), dst(8, 8);
    for (size_t i = 0; i < src.y.size(); ++i) src.y[i] = uint8_t(i);
    for (size_t i = 0; i < src.u.size(); ++i) src.u[i] = uint8_t(100 + i), src.v[i % src.v.size()] = uint8_t(200 + i);
    // Three rows requested (2..4): luma rows 2..5 are copied; x = 3 starts chroma at column 2.
    YV12_Blt_fast(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU, dst.pitchV, 3,
                  2, 3, 5, src.y.data(), src.u.data(), src.v.data(), src.pitchY, src.pitchU,
                  src.pitchV, 1, 0);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(dst.Y(3 + c, 2 + r), src.Y(1 + c, r)) << c << "," << r;
    EXPECT_EQ(dst.Y(6, 2), kSentinel);
    EXPECT_EQ(dst.Y(3, 6), kSentinel);
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c) {
            EXPECT_EQ(dst.U(2 + c, 1 + r), src.U(1 + c, r));
            EXPECT_EQ(dst.V(2 + c, 1 + r), src.V(1 + c, r));
        }
    EXPECT_EQ(dst.U(1, 1), kSentinel);
    EXPECT_EQ(dst.U(2, 3), kSentinel);
}

TEST(Rgb24_2_YUY2, ViolatedPreconditionLogsTheConditionAndWritesNothing) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    Rgb src(4, 2);  // pitch 14: 4 pixels fit
    Packed dst(4, 2, 0);
    const struct {
        unsigned char* dstBits;
        int xDst, cx, xSrc;
        const wchar_t* text;
    } cases[] = {
        {nullptr, 0, 2, 0, L"Rgb24_2_YUY2: assertion failed: lpBitsDst && lpBitsSrc\r\n"},
        {dst.bytes.data(), 1, 4, 0, L"Rgb24_2_YUY2: assertion failed: (xDst + cxDst) * 2 <= nPitchDst\r\n"},
        {dst.bytes.data(), 0, 4, 1, L"Rgb24_2_YUY2: assertion failed: nPitchSrc / 3 - xSrc >= cxDst\r\n"},
    };
    for (const auto& c : cases) {
        Rgb24_2_YUY2(c.dstBits, dst.pitch, c.xDst, 0, c.cx, 2, 1, src.bytes.data(), src.h, src.pitch,
                     c.xSrc, 0);
        EXPECT_TRUE(AllSentinel(dst.bytes));
        EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{c.text});
    }
    YUY2_2_Rgb24(src.bytes.data(), src.h, src.pitch, 0, 0, 2, 2, nullptr, dst.pitch, 1, 0, 0);
    EXPECT_TRUE(AllSentinel(src.bytes));
    EXPECT_EQ(qvtest::TakeLog(),
              std::vector<std::wstring>{L"YUY2_2_Rgb24: assertion failed: lpBitsDst && lpBitsSrc\r\n"});
}
