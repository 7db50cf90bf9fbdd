// Planar 4:2:0 to RGB: greys, bytes left alone, row orders, edge chroma.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <cstring>

#include "color/ColorTestUtil.h"

using namespace colortest;

namespace {

struct Inv {
    const char* name;
    int bits;
    bool bottomUp;
    void (*run)(BITMAPINFOHEADER*, unsigned char*, unsigned char*, unsigned char*, unsigned char*,
                int, int, int);
    void operator()(Yuv& s, Dib& d) const {
        run(&d.header, d.bits.data(), s.y.data(), s.pU(), s.v.data(), s.pitchY, s.pitchU, s.pitchV);
    }
};
const Inv kInv[] = {{"Yuv420_2_rgb24", 24, true, Yuv420_2_rgb24},
                    {"Yuv420_2_rgb32", 32, true, Yuv420_2_rgb32},
                    {"Yuv420_2_Argb", 32, false, Yuv420_2_Argb}};

// The colour the main pass gives (Y, U, V), from a uniform 2 x 2 picture.
Bgr MainPassColour(int y, int u, int v) {
    Yuv src(2, 2);
    src.Fill(y, u, v);
    Dib dst(2, 2, 24);
    kInv[0](src, dst);
    return dst.Get(0, 0);
}

}  // namespace

// 3 x 3: luma 235 over the main block and odd column, 16 in the odd row; the
// odd column's chroma is sample (1, 0), the corner's sample (1, 1) is never
// used. Image rows are addressed through each variant's row order, so a wrong
// order shows. Checks the fast inverse's 254 and 0, the 24-bit row padding, the
// fourth byte (kept by rgb32, 255 from Argb) and the untouched corner.
TEST(Yuv420ToRgb, ColoursEdgeChromaRowOrderAndBytesLeftAlone) {
    for (const Inv& f : kInv) {
        SCOPED_TRACE(f.name);
        Yuv src(3, 3);
        src.Fill(235, 128, 128);
        std::fill_n(&src.Y(0, 2), 3, uint8_t(16));
        src.U(1, 0) = 200, src.V(1, 0) = 60, src.U(1, 1) = 1, src.V(1, 1) = 1;
        Dib dst(3, 3, f.bits, f.bottomUp);
        f(src, dst);
        const Bgr grey{254, 254, 254}, edge = MainPassColour(235, 200, 60), S{kSentinel, kSentinel, kSentinel};
        const Bgr want[3][3] = {{grey, grey, edge}, {grey, grey, edge}, {kBlack, kBlack, S}};
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 3; ++x) {
                EXPECT_EQ(dst.Get(x, y), want[y][x]) << x << "," << y;
                if (f.bits == 32) {
                    EXPECT_EQ(dst.Px(x, y)[3], f.bottomUp || (x == 2 && y == 2) ? kSentinel : 255);
                }
            }
            if (f.bits == 24) {
                EXPECT_TRUE(dst.Row(y)[9] == kSentinel && dst.Row(y)[11] == kSentinel) << "padding " << y;
            }
        }
        Dib single(1, 1, f.bits, f.bottomUp);
        f(src, single);
        EXPECT_TRUE(AllSentinel(single.bits));
    }
}

// A diagnostic hook with no output: it must read only the YV12 picture behind
// the header (the sanitizer build checks that) and change nothing.
TEST(Yuv420ToRgb, TraceImageReadsTheTrailingPictureAndChangesNothing) {
    std::vector<uint8_t> block(sizeof(BITMAPINFOHEADER) + 5 * 3 + 2 * 3 * 2, 0x80);
    BITMAPINFOHEADER h{};
    h.biWidth = 5, h.biHeight = 3, h.biBitCount = 12;
    std::memcpy(block.data(), &h, sizeof h);
    const auto before = block;
    std::vector<uint8_t> separate(5 * 3 + 2 * 3 * 2, 0x30);
    xTraceImage(reinterpret_cast<BITMAPINFO*>(block.data()), nullptr);
    xTraceImage(reinterpret_cast<BITMAPINFO*>(block.data()), separate.data());
    EXPECT_EQ(block, before);
}
