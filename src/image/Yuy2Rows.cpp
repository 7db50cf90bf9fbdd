// Reference rows of the packed 4:2:2 converters, one macropixel per
// iteration. Every SIMD target must reproduce these bytes.
#include "image/Yuy2Rows.h"

#include "image/ColorRows.h"

namespace qv::image {
namespace {

using color::Chroma2;
using color::FastForwardBgr;
using color::FwdPixel;

void RgbRowToPacked(const uint8_t* __restrict src, uint8_t* __restrict dst, int pairs,
                    bool yuy2) {
    const PackedOrder o = OrderOf(yuy2);
    for (int k = 0; k < pairs; ++k) {
        const FwdPixel a = FastForwardBgr(src + k * 6);
        const FwdPixel b = FastForwardBgr(src + k * 6 + 3);
        uint8_t* m = dst + k * 4;
        m[o.y0] = static_cast<uint8_t>(a.y);
        m[o.y1] = static_cast<uint8_t>(b.y);
        m[o.u] = Chroma2(a.u, b.u);
        m[o.v] = Chroma2(a.v, b.v);
    }
}

// Two packed rows into two luma rows and one chroma row (vertical floor mean).
void PackedRowPairTo420(const uint8_t* __restrict top, const uint8_t* __restrict bottom,
                        uint8_t* __restrict y0, uint8_t* __restrict y1, uint8_t* __restrict u,
                        uint8_t* __restrict v, int pairs, bool yuy2) {
    const PackedOrder o = OrderOf(yuy2);
    for (int k = 0; k < pairs; ++k) {
        const uint8_t* a = top + k * 4;
        const uint8_t* b = bottom + k * 4;
        y0[2 * k] = a[o.y0];
        y0[2 * k + 1] = a[o.y1];
        y1[2 * k] = b[o.y0];
        y1[2 * k + 1] = b[o.y1];
        u[k] = static_cast<uint8_t>((a[o.u] + b[o.u]) >> 1);
        v[k] = static_cast<uint8_t>((a[o.v] + b[o.v]) >> 1);
    }
}

// Two luma rows and one chroma row into two packed rows (chroma repeated).
void RowPair420ToPacked(const uint8_t* __restrict y0, const uint8_t* __restrict y1,
                        const uint8_t* __restrict u, const uint8_t* __restrict v,
                        uint8_t* __restrict top, uint8_t* __restrict bottom, int pairs,
                        bool yuy2) {
    const PackedOrder o = OrderOf(yuy2);
    for (int k = 0; k < pairs; ++k) {
        uint8_t* a = top + k * 4;
        uint8_t* b = bottom + k * 4;
        a[o.y0] = y0[2 * k];
        a[o.y1] = y0[2 * k + 1];
        b[o.y0] = y1[2 * k];
        b[o.y1] = y1[2 * k + 1];
        a[o.u] = b[o.u] = u[k];
        a[o.v] = b[o.v] = v[k];
    }
}

// Safe in place and for any overlap: each group is read whole before it is written.
void SwapPackedRow(const uint8_t* src, uint8_t* dst, int groups) {
    for (int k = 0; k < groups; ++k) {
        const uint8_t b0 = src[4 * k], b1 = src[4 * k + 1], b2 = src[4 * k + 2],
                      b3 = src[4 * k + 3];
        dst[4 * k] = b1;
        dst[4 * k + 1] = b0;
        dst[4 * k + 2] = b3;
        dst[4 * k + 3] = b2;
    }
}

constexpr Yuy2Rows kReferenceRows = {PackedRowPairTo420, RowPair420ToPacked, SwapPackedRow,
                                     RgbRowToPacked};

qv::cpu::Family<Yuy2Rows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<Yuy2Rows>& Yuy2Family() { return g_family; }

}  // namespace qv::image
