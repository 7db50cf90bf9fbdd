// Packed 4:2:2 conversions and rectangle copies.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <array>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

namespace {

using Macro = std::array<int, 4>;

// A packed picture, w pixels plus 2 spare per row.
struct Packed {
    int pitch;
    std::vector<uint8_t> bytes;
    Packed(int w, int h) : pitch(w * 2 + 4), bytes(size_t(pitch) * h, kSentinel) {}
    uint8_t* Row(int y) { return bytes.data() + size_t(y) * pitch; }
    Macro At(int x, int y) { return Macro{Row(y)[2 * x], Row(y)[2 * x + 1], Row(y)[2 * x + 2], Row(y)[2 * x + 3]}; }
};

void ToPacked(Packed& dst, int xDst, int cx, unsigned order, Dib& src) {
    Rgb24_2_YUY2(dst.bytes.data(), dst.pitch, xDst, 0, cx, src.header.biHeight, order, src.bits.data(),
                 src.header.biHeight, src.pitch, 0, 0);
}

}  // namespace

TEST(Yuy2, RgbWhiteBecomesStudioWhiteInEitherByteOrderAndBack) {
    for (unsigned order : {1u, 0u}) {
        Dib src(4, 2, 24), back(4, 2, 24);
        src.Fill(kWhite);
        Packed dst(6, 2);
        ToPacked(dst, 2, 4, order, src);
        const Macro want = order ? Macro{235, 128, 235, 128} : Macro{128, 235, 128, 235};
        for (int y = 0; y < 2; ++y) {
            EXPECT_EQ(dst.At(2, y), want);
            EXPECT_EQ(dst.At(4, y), want);
            EXPECT_TRUE(dst.Row(y)[3] == kSentinel && dst.Row(y)[12] == kSentinel);
        }
        YUY2_2_Rgb24(back.bits.data(), 2, back.pitch, 0, 0, 4, 2, dst.bytes.data(), dst.pitch, order, 3, 0);
        EXPECT_EQ(back.Get(0, 0), (Bgr{254, 254, 254}));  // odd xSrc 3 reads from pixel 2
        EXPECT_EQ(back.Get(3, 1), (Bgr{254, 254, 254}));
    }
}

TEST(Yuy2, OddWidthAndOddStartUseASinglePixelMacropixel) {
    Dib src(3, 1, 24);
    src.Set(0, 0, kBlue), src.Set(1, 0, kWhite), src.Set(2, 0, kRed);
    Packed dst(6, 1), shifted(6, 1), edge(4, 1);
    ToPacked(dst, 0, 3, 1, src);
    EXPECT_EQ(dst.At(0, 0), (Macro{40, 183, 235, 118}));
    EXPECT_EQ(dst.At(2, 0), (Macro{81, 90, 81, 239}));
    // An odd xDst starts at the even pixel below and converts one pixel more...
    ToPacked(shifted, 3, 2, 1, src);
    EXPECT_EQ(shifted.Row(0)[3], kSentinel);
    EXPECT_EQ(shifted.At(2, 0), dst.At(0, 0));
    EXPECT_EQ(shifted.At(4, 0), dst.At(2, 0));
    // ...and past the end of an unpadded source that extra pixel is the last one.
    Dib tight(2, 1, 24);
    tight.bits.resize(tight.pitch = 6);
    tight.Set(0, 0, kWhite), tight.Set(1, 0, kRed);
    ToPacked(edge, 1, 2, 1, tight);
    EXPECT_EQ(edge.At(2, 0), (Macro{81, 90, 81, 239}));
    // Back to RGB an odd width converts the last pixel from its Y0, ignoring Y1.
    std::copy_n(std::array<uint8_t, 4>{16, 128, 235, 128}.data(), 4, dst.Row(0) + 4);
    Dib rgb(3, 1, 24);
    YUY2_2_Rgb24(rgb.bits.data(), 1, rgb.pitch, 0, 0, 3, 1, dst.bytes.data(), dst.pitch, 1, 0, 0);
    EXPECT_EQ(rgb.Get(2, 0), kBlack);
}

TEST(Yuy2, PlanarRoundTripKeepsLumaAndChromaAndPackedChromaIsFloorMean) {
    std::mt19937 rng(5);
    for (unsigned order : {1u, 0u}) {
        Yuv src(8, 6), back(8, 6);
        for (auto* p : {&src.y, &src.u, &src.v})
            for (auto& s : *p) s = uint8_t(rng());
        Packed packed(8, 6);
        // The 6 x 4 rectangle at (2, 2) of the planes goes to (2, 1) of the packed picture.
        Yuv420_2_YUY2(packed.bytes.data(), packed.pitch, 2, 1, 6, 4, order, src.y.data(), src.u.data(),
                      src.v.data(), src.pitchY, src.pitchU, src.pitchV, 2, 2);
        EXPECT_EQ(packed.At(2, 2)[order ? 1 : 0], src.U(1, 1));  // chroma repeated on both rows
        YUY2_2_Yuv420(back.y.data(), back.u.data(), back.v.data(), back.pitchY, back.pitchU, back.pitchV, 2,
                      2, 6, 4, packed.bytes.data(), packed.pitch, order, 2, 1);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 8; ++x) {
                EXPECT_EQ(back.Y(x, y), y >= 2 && x >= 2 ? src.Y(x, y) : kSentinel);
                const bool c = y < 3 && x < 4, in = c && y >= 1 && x >= 1;
                if (c) {
                    EXPECT_EQ(back.U(x, y), in ? src.U(x, y) : kSentinel) << x << "," << y;
                    EXPECT_EQ(back.V(x, y), in ? src.V(x, y) : kSentinel) << x << "," << y;
                }
            }
    }
    Packed two(2, 2);
    std::copy_n(std::array<uint8_t, 4>{50, 17, 60, 200}.data(), 4, two.Row(0));
    std::copy_n(std::array<uint8_t, 4>{70, 18, 80, 201}.data(), 4, two.Row(1));
    Yuv out(2, 2);
    YUY2_2_Yuv420(out.y.data(), out.u.data(), out.v.data(), out.pitchY, out.pitchU, out.pitchV, 0, 0, 2, 2,
                  two.bytes.data(), two.pitch, 1, 0, 0);
    EXPECT_EQ(out.U(0, 0), 17);
    EXPECT_EQ(out.V(0, 0), 200);
}

// The V bound uses ySrc + cy, so writing lower in the planes than the source
// rows trips it part-way: pitchV 3 gives bound 12; chroma row 3 (offset 9)
// fits whole, row 4 (offset 12) only its first pair.
TEST(Yuy2, PlanarBoundViolationStopsBeforeTheOffendingPair) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    Packed src(4, 4);
    std::fill(src.bytes.begin(), src.bytes.end(), uint8_t(99));
    Yuv dst(4, 10);
    YUY2_2_Yuv420(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU, dst.pitchV, 0, 6, 4, 4,
                  src.bytes.data(), src.pitch, 1, 0, 0);
    EXPECT_EQ((std::vector<int>{dst.Y(3, 7), dst.Y(1, 9), dst.Y(2, 8), dst.V(0, 4), dst.V(1, 4)}),
              (std::vector<int>{99, 99, kSentinel, 99, kSentinel}));
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"YUY2_2_Yuv420: assertion failed: "
                                                           L"(char*)V <= ((char*)pV + (ySrc + cy) * nPt_V)\r\n"});
}

TEST(Yuy2, BltSwapsWhenFlagsDifferAsIntegersAndCopiesOtherwise) {
    Packed src(4, 2), once(4, 2), twice(4, 2), copy(4, 2);
    for (size_t i = 0; i < src.bytes.size(); ++i) src.bytes[i] = uint8_t(i);
    YUY2_Blt_fast(once.bytes.data(), once.pitch, 0, 0, 3, 2, 1, src.bytes.data(), src.pitch, 2, 0, 0);
    EXPECT_EQ(once.At(0, 0), (Macro{1, 0, 3, 2}));
    EXPECT_EQ(once.Row(0)[8], kSentinel);
    YUY2_Blt_fast(twice.bytes.data(), twice.pitch, 0, 0, 4, 2, 0, once.bytes.data(), once.pitch, 1, 0, 0);
    EXPECT_EQ(twice.At(2, 1), src.At(2, 1));
    YUY2_Blt_fast(copy.bytes.data(), copy.pitch, 2, 1, 1, 1, 7, src.bytes.data(), src.pitch, 7, 0, 0);
    EXPECT_EQ(copy.At(2, 1), (Macro{0, 1, kSentinel, kSentinel}));
}

// Three rows (2..4) copy luma rows 2..5; x = 3 starts chroma at column 2.
TEST(Yuy2, YV12BltCopiesRowPairsAndStartsOddChromaOneColumnLater) {
    Yuv src(8, 8), dst(8, 8);
    for (auto* p : {&src.y, &src.u, &src.v})
        for (size_t i = 0; i < p->size(); ++i) (*p)[i] = uint8_t(i * 7);
    YV12_Blt_fast(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU, dst.pitchV, 3, 2, 3, 5,
                  src.y.data(), src.u.data(), src.v.data(), src.pitchY, src.pitchU, src.pitchV, 1, 0);
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) {
            EXPECT_EQ(dst.Y(c, r), r >= 2 && r < 6 && c >= 3 && c < 6 ? src.Y(c - 2, r - 2) : kSentinel);
            const bool in = r >= 1 && r < 3 && c >= 2;
            if (r < 4 && c < 4) {
                EXPECT_EQ(dst.U(c, r), in ? src.U(c - 1, r - 1) : kSentinel) << c << "," << r;
                EXPECT_EQ(dst.V(c, r), in ? src.V(c - 1, r - 1) : kSentinel) << c << "," << r;
            }
        }
}
