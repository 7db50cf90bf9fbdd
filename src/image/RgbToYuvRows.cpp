// Reference rows of the RGB to 4:2:0 converters: the fast forward form with
// its product tables, four pixels and one chroma sample per iteration. Every
// SIMD target must reproduce these bytes.
#include "image/RgbToYuvRows.h"

#include "image/ColorRows.h"

namespace qv::image {
namespace {

using color::Chroma2;
using color::Chroma4;
using color::FastForwardBgr;
using color::FwdPixel;

template <int kBpp, bool kAlpha>
void RowPair(const uint8_t* __restrict s0, const uint8_t* __restrict s1, uint8_t* __restrict y0,
             uint8_t* __restrict y1, uint8_t* __restrict a0, uint8_t* __restrict a1,
             uint8_t* __restrict u, uint8_t* __restrict v, int evenWidth) {
    for (int x = 0; x < evenWidth; x += 2) {
        const uint8_t* pa = s0 + x * kBpp;
        const uint8_t* pb = pa + kBpp;
        const uint8_t* pc = s1 + x * kBpp;
        const uint8_t* pd = pc + kBpp;
        const FwdPixel a = FastForwardBgr(pa);
        const FwdPixel b = FastForwardBgr(pb);
        const FwdPixel c = FastForwardBgr(pc);
        const FwdPixel d = FastForwardBgr(pd);
        y0[x] = static_cast<uint8_t>(a.y);
        y0[x + 1] = static_cast<uint8_t>(b.y);
        y1[x] = static_cast<uint8_t>(c.y);
        y1[x + 1] = static_cast<uint8_t>(d.y);
        if constexpr (kAlpha) {
            a0[x] = pa[3];
            a0[x + 1] = pb[3];
            a1[x] = pc[3];
            a1[x + 1] = pd[3];
        }
        u[x / 2] = Chroma4(a.u, b.u, c.u, d.u);
        v[x / 2] = Chroma4(a.v, b.v, c.v, d.v);
    }
}

template <int kBpp, bool kAlpha>
void LastRow(const uint8_t* __restrict s, uint8_t* __restrict y, uint8_t* __restrict a,
             uint8_t* __restrict u, uint8_t* __restrict v, int evenWidth) {
    for (int x = 0; x < evenWidth; x += 2) {
        const uint8_t* pa = s + x * kBpp;
        const uint8_t* pb = pa + kBpp;
        const FwdPixel p = FastForwardBgr(pa);
        const FwdPixel q = FastForwardBgr(pb);
        y[x] = static_cast<uint8_t>(p.y);
        y[x + 1] = static_cast<uint8_t>(q.y);
        if constexpr (kAlpha) {
            a[x] = pa[3];
            a[x + 1] = pb[3];
        }
        u[x / 2] = Chroma2(p.u, q.u);
        v[x / 2] = Chroma2(p.v, q.v);
    }
}

constexpr RgbToYuvRows kReferenceRows = {RowPair<3, false>, RowPair<4, false>, RowPair<4, true>,
                                         LastRow<3, false>, LastRow<4, false>, LastRow<4, true>};

qv::cpu::Family<RgbToYuvRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<RgbToYuvRows>& RgbToYuvFamily() { return g_family; }

}  // namespace qv::image
