// Packed 4:2:2 conversions and rectangle copies.
#include <gtest/gtest.h>

#include <array>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

namespace {
using Macro = std::array<int, 4>;
struct Packed {  // w pixels plus 2 spare per row
    int pitch;
    std::vector<uint8_t> bytes;
    Packed(int w, int h) : pitch(w * 2 + 4), bytes(size_t(pitch) * h, kSentinel) {}
    uint8_t* Row(int y) { return bytes.data() + size_t(y) * pitch; }
    Macro At(int x, int y) { return Macro{Row(y)[2 * x], Row(y)[2 * x + 1], Row(y)[2 * x + 2], Row(y)[2 * x + 3]}; }
};
void ToPacked(Packed& dst, int xDst, int cx, unsigned order, Dib& src) {
    Rgb24_2_YUY2(dst.bytes.data(), dst.pitch, xDst, 0, cx, 1, order, src.bits.data(), 1, src.pitch, 0, 0);
}
}  // namespace

// Blue, white, red: a pair macropixel, then a single-pixel one (equal luma,
// unaveraged chroma), in both byte orders; an odd xDst starts one pixel left
// and converts one more, which past an unpadded source is its last pixel. Back
// to RGB: studio white is 254, an odd xSrc reads from the pixel below, an odd
// width converts the last pixel from Y0 alone.
TEST(Yuy2, RgbToPackedAndBackPairsOddWidthsAndOddStarts) {
    Dib src(3, 1, 24), tight(2, 1, 24), rgb(3, 1, 24);
    src.Set(0, 0, kBlue), src.Set(1, 0, kWhite), src.Set(2, 0, kRed);
    Packed yuy2(6, 1), uyvy(6, 1), shifted(6, 1), edge(4, 1);
    ToPacked(yuy2, 0, 3, 1, src), ToPacked(uyvy, 0, 3, 0, src), ToPacked(shifted, 3, 2, 1, src);
    EXPECT_EQ((std::vector<Macro>{yuy2.At(0, 0), yuy2.At(2, 0), uyvy.At(0, 0)}),
              (std::vector<Macro>{{40, 183, 235, 118}, {81, 90, 81, 239}, {183, 40, 118, 235}}));
    EXPECT_EQ((std::vector<Macro>{shifted.At(2, 0), shifted.At(4, 0)}), (std::vector<Macro>{yuy2.At(0, 0), yuy2.At(2, 0)}));
    EXPECT_EQ(shifted.Row(0)[3], kSentinel);
    tight.bits.resize(tight.pitch = 6), tight.Set(0, 0, kWhite), tight.Set(1, 0, kRed);
    ToPacked(edge, 1, 2, 1, tight);
    EXPECT_EQ(edge.At(2, 0), (Macro{81, 90, 81, 239}));
    std::vector<uint8_t> uyvy2{128, 235, 128, 235, 128, 16, 128, 235};
    YUY2_2_Rgb24(rgb.bits.data(), 1, rgb.pitch, 0, 0, 3, 1, uyvy2.data(), 8, 0, 1, 0);
    EXPECT_EQ((std::vector<Bgr>{rgb.Get(0, 0), rgb.Get(1, 0), rgb.Get(2, 0)}), (std::vector<Bgr>{{254, 254, 254}, {254, 254, 254}, kBlack}));
}

// The 6 x 4 rectangle at (2, 2) of the planes goes to (2, 1) packed and back unchanged,
// writing nothing outside. Packed to planar chroma is the floor of the vertical mean.
TEST(Yuy2, PlanarRoundTripKeepsSamplesAndChromaIsFloorMean) {
    std::mt19937 rng(5);
    Yuv src(8, 6), back(8, 6);
    Packed packed(8, 6);
    for (auto* p : {&src.y, &src.u, &src.v}) std::generate(p->begin(), p->end(), rng);
    Yuv420_2_YUY2(packed.bytes.data(), packed.pitch, 2, 1, 6, 4, 0, QV_PLANES(src), QV_PITCHES(src), 2, 2);
    EXPECT_EQ(packed.At(2, 2)[0], src.U(1, 1));  // repeated on both rows
    YUY2_2_Yuv420(QV_PLANES(back), QV_PITCHES(back), 2, 2, 6, 4, packed.bytes.data(), packed.pitch, 0, 2, 1);
    for (int i = 0; i < 48; ++i) {
        const int x = i % 8, y = i / 8;
        EXPECT_EQ(back.Y(x, y), y >= 2 && x >= 2 ? src.Y(x, y) : kSentinel);
        const bool in = y >= 1 && x >= 1;
        if (y < 3 && x < 4) { EXPECT_TRUE(back.U(x, y) == (in ? src.U(x, y) : kSentinel) && back.V(x, y) == (in ? src.V(x, y) : kSentinel)); }
    }
    std::vector<uint8_t> two{50, 17, 60, 200, 70, 18, 80, 201};  // U 17 over 18, V 200 over 201
    Yuv out(2, 2);
    YUY2_2_Yuv420(QV_PLANES(out), QV_PITCHES(out), 0, 0, 2, 2, two.data(), 4, 1, 0, 0);
    EXPECT_EQ((std::vector<int>{out.U(0, 0), out.V(0, 0)}), (std::vector<int>{17, 200}));
}

// The V bound uses ySrc + cy: pitchV 3 gives bound 12, so chroma row 3 (offset 9)
// fits whole and row 4 (offset 12) only its first pair.
TEST(Yuy2, PlanarBoundViolationStopsBeforeTheOffendingPair) {
    qvtest::InstallTestLog(), qvtest::TakeLog();
    std::vector<uint8_t> src(12 * 4, 99);
    Yuv dst(4, 10);
    YUY2_2_Yuv420(QV_PLANES(dst), QV_PITCHES(dst), 0, 6, 4, 4, src.data(), 12, 1, 0, 0);
    EXPECT_EQ((std::vector<int>{dst.Y(3, 7), dst.Y(1, 9), dst.Y(2, 8), dst.V(0, 4), dst.V(1, 4)}),
              (std::vector<int>{99, 99, kSentinel, 99, kSentinel}));
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"YUY2_2_Yuv420: assertion failed: (char*)V <= ((char*)pV + (ySrc + cy) * nPt_V)\r\n"});
}

// Flags 2 and 1 differ as integers, so bytes swap (twice restores); equal flags copy cx pixels.
TEST(Yuy2, BltSwapsWhenFlagsDifferAsIntegersAndCopiesOtherwise) {
    Packed src(4, 2), once(4, 2), twice(4, 2), copy(4, 2);
    for (size_t i = 0; i < src.bytes.size(); ++i) src.bytes[i] = uint8_t(i);
    YUY2_Blt_fast(once.bytes.data(), once.pitch, 0, 0, 3, 2, 1, src.bytes.data(), src.pitch, 2, 0, 0);
    YUY2_Blt_fast(twice.bytes.data(), twice.pitch, 0, 0, 4, 2, 0, once.bytes.data(), once.pitch, 1, 0, 0);
    YUY2_Blt_fast(copy.bytes.data(), copy.pitch, 2, 1, 1, 1, 7, src.bytes.data(), src.pitch, 7, 0, 0);
    EXPECT_EQ(once.At(0, 0), (Macro{1, 0, 3, 2}));
    EXPECT_EQ(once.Row(0)[8], kSentinel);
    EXPECT_EQ(twice.At(2, 1), src.At(2, 1));
    EXPECT_EQ(copy.At(2, 1), (Macro{0, 1, kSentinel, kSentinel}));
}

// Three rows (2..4) copy luma rows 2..5; x = 3 starts chroma at column 2.
TEST(Yuy2, YV12BltCopiesRowPairsAndStartsOddChromaOneColumnLater) {
    Yuv src(8, 8), dst(8, 8);
    std::mt19937 rng(7);
    for (auto* p : {&src.y, &src.u, &src.v}) std::generate(p->begin(), p->end(), rng);
    YV12_Blt_fast(QV_PLANES(dst), QV_PITCHES(dst), 3, 2, 3, 5, QV_PLANES(src), QV_PITCHES(src), 1, 0);
    for (int i = 0; i < 64; ++i) {
        const int c = i % 8, r = i / 8, in = r >= 1 && r < 3 && c >= 2;
        EXPECT_EQ(dst.Y(c, r), r >= 2 && r < 6 && c >= 3 && c < 6 ? src.Y(c - 2, r - 2) : kSentinel);
        if (r < 4 && c < 4) { EXPECT_TRUE(dst.U(c, r) == (in ? src.U(c - 1, r - 1) : kSentinel) && dst.V(c, r) == (in ? src.V(c - 1, r - 1) : kSentinel)); }
    }
}
