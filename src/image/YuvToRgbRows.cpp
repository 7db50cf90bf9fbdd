// Reference rows of the 4:2:0 (and packed 4:2:2) to RGB converters: the fast
// inverse form, the chroma terms once per 2x2 block (per macropixel) and four
// (two) pixels per iteration. Every SIMD target must reproduce these bytes.
#include "image/YuvToRgbRows.h"

#include "image/ColorRows.h"
#include "image/Yuy2Rows.h"

namespace qv::image {
namespace {

using color::InverseTerms;
using color::InvTerms;
using color::StoreBgr;

// kBpp 3: blue, green, red. kBpp 4: the fourth byte is left alone unless
// kOpaque, which stores 255 there.
template <int kBpp, bool kOpaque>
inline void StorePixel(uint8_t* px, int luma, const InvTerms& t) {
    StoreBgr(px, luma, t);
    if constexpr (kOpaque) px[3] = 255;
}

template <int kBpp, bool kOpaque>
void RowPairToRgb(const uint8_t* __restrict y0, const uint8_t* __restrict y1,
                  const uint8_t* __restrict u, const uint8_t* __restrict v,
                  uint8_t* __restrict d0, uint8_t* __restrict d1, int evenWidth) {
    for (int x = 0; x < evenWidth; x += 2) {
        const InvTerms t = InverseTerms(u[x / 2], v[x / 2]);
        StorePixel<kBpp, kOpaque>(d0 + x * kBpp, y0[x], t);
        StorePixel<kBpp, kOpaque>(d0 + (x + 1) * kBpp, y0[x + 1], t);
        StorePixel<kBpp, kOpaque>(d1 + x * kBpp, y1[x], t);
        StorePixel<kBpp, kOpaque>(d1 + (x + 1) * kBpp, y1[x + 1], t);
    }
}

template <int kBpp, bool kOpaque>
void LastRowToRgb(const uint8_t* __restrict y, const uint8_t* __restrict u,
                  const uint8_t* __restrict v, uint8_t* __restrict d, int evenWidth) {
    for (int x = 0; x < evenWidth; x += 2) {
        const InvTerms t = InverseTerms(u[x / 2], v[x / 2]);
        StorePixel<kBpp, kOpaque>(d + x * kBpp, y[x], t);
        StorePixel<kBpp, kOpaque>(d + (x + 1) * kBpp, y[x + 1], t);
    }
}

void PackedRowToRgb(const uint8_t* __restrict src, uint8_t* __restrict dst, int pairs, bool yuy2) {
    const PackedOrder o = OrderOf(yuy2);
    for (int k = 0; k < pairs; ++k) {
        const uint8_t* m = src + k * 4;
        const InvTerms t = InverseTerms(m[o.u], m[o.v]);
        StoreBgr(dst + k * 6, m[o.y0], t);
        StoreBgr(dst + k * 6 + 3, m[o.y1], t);
    }
}

constexpr YuvToRgbRows kReferenceRows = {
    RowPairToRgb<3, false>, RowPairToRgb<4, false>, RowPairToRgb<4, true>,
    LastRowToRgb<3, false>, LastRowToRgb<4, false>, LastRowToRgb<4, true>,
    PackedRowToRgb};

qv::cpu::Family<YuvToRgbRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<YuvToRgbRows>& YuvToRgbFamily() { return g_family; }

}  // namespace qv::image
