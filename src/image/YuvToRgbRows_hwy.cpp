// SIMD rows of the 4:2:0 to RGB converters, compiled once per target. Each
// row gives exactly the reference rows' bytes (YuvToRgbRows.cpp).
//
// Why 16-bit lanes are exact: a channel is floor((9536 Y + T) / 2^13) with T
// the block's chroma term. As 9536 = 64 * 149, nested floors give
// floor((149 Y + T') / 128) with T' = T >> 6; splitting T' = 128 Th + Tl with
// 0 <= Tl < 128 leaves Th + ((149 Y + Tl) >> 7), where 149 Y + Tl <= 38122
// fits an unsigned 16-bit lane and the result (-277..540) a signed one, which
// the saturating pack to bytes clamps. Th and Tl are computed once per
// chroma sample in 32-bit lanes (a pair multiply-add of (U, V)) and shared by
// both pixels of the pair and both rows.
//
// Packed 4:2:2 rows take the same path: luma from the even (or odd) bytes,
// the (U, V) byte pairs widened like the chroma.
//
// Lane order: luma is widened per 128-bit block (pixels 16b..16b+7 in the
// low vector's block b, the next eight in the high one), chroma is widened
// to match, and the block-wise saturating pack restores pixel order.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/YuvToRgbRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "image/YuvToRgbRows.h"

// x86 targets only (block-wise packs): elsewhere the reference rows serve.
#undef QV_YUV_TO_RGB_SIMD
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#define QV_YUV_TO_RGB_SIMD 1
#else
#define QV_YUV_TO_RGB_SIMD 0
#endif

HWY_BEFORE_NAMESPACE();
namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if QV_YUV_TO_RGB_SIMD

using D8 = hn::ScalableTag<uint8_t>;
using DU16 = hn::ScalableTag<uint16_t>;
using D16 = hn::ScalableTag<int16_t>;
using D32 = hn::ScalableTag<int32_t>;
using DU32 = hn::ScalableTag<uint32_t>;
using V8 = hn::Vec<D8>;
using VU16 = hn::Vec<DU16>;
using V16 = hn::Vec<D16>;
using V32 = hn::Vec<D32>;

// Block-wise saturating pack of signed 16-bit lanes to bytes: the inverse of
// the block-wise widening below.
HWY_INLINE V8 PackBytes(VU16 lo, VU16 hi) {
#if HWY_TARGET == HWY_SSE4
    return V8{_mm_packus_epi16(lo.raw, hi.raw)};
#elif HWY_TARGET == HWY_AVX2
    return V8{_mm256_packus_epi16(lo.raw, hi.raw)};
#else
    return V8{_mm512_packus_epi16(lo.raw, hi.raw)};
#endif
}

// Lane i: a[2i] * b[2i] + a[2i + 1] * b[2i + 1].
HWY_INLINE V32 PairMul(V16 a, V16 b) {
#if HWY_TARGET == HWY_SSE4
    return V32{_mm_madd_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_AVX2
    return V32{_mm256_madd_epi16(a.raw, b.raw)};
#else
    return V32{_mm512_madd_epi16(a.raw, b.raw)};
#endif
}

// An int16 pair (lo, hi) in every 32-bit lane.
HWY_INLINE V16 Pair(int lo, int hi) {
    const uint32_t bits =
        static_cast<uint16_t>(lo) | (static_cast<uint32_t>(static_cast<uint16_t>(hi)) << 16);
    return hn::BitCast(D16(), hn::Set(D32(), static_cast<int32_t>(bits)));
}

// One channel's chroma term split for 16-bit lanes: Th and Tl, each in both
// 16-bit halves of its chroma sample's 32-bit lane (its two pixels).
struct Split {
    VU16 th, tl;
};

// The low 16 bits of every 32-bit lane copied into its high 16 bits.
HWY_INLINE VU16 Both(V32 x) {
    const D8 d8;
    alignas(16) static constexpr uint8_t kDup[16] = {0, 1, 0, 1, 4,  5,  4,  5,
                                                     8, 9, 8, 9, 12, 13, 12, 13};
    return hn::BitCast(DU16(), hn::TableLookupBytes(hn::BitCast(d8, x), hn::LoadDup128(d8, kDup)));
}

HWY_INLINE Split SplitTerm(V32 t) {
    const V32 t6 = hn::ShiftRight<6>(t);
    return Split{Both(hn::ShiftRight<7>(t6)), Both(hn::And(t6, hn::Set(D32(), 127)))};
}

// The three channels' terms of one vector of (U, V) lanes: blue, green, red
// (the reference's InverseTerms; 6660 V is the table's exact product).
struct Terms {
    Split c[3];
};

HWY_INLINE Terms TermsOf(V16 uv) {
    Terms t;
    t.c[0] = SplitTerm(hn::Add(PairMul(uv, Pair(16532, 0)), hn::Set(D32(), -2268594)));
    t.c[1] = SplitTerm(hn::Add(PairMul(uv, Pair(-3203, -6660)), hn::Set(D32(), 1109918)));
    t.c[2] = SplitTerm(hn::Add(PairMul(uv, Pair(0, 13074)), hn::Set(D32(), -1826095)));
    return t;
}

// A group's chroma: Lanes(D8) / 2 samples, terms for the low and the high
// luma halves.
struct GroupTerms {
    Terms lo, hi;
};

HWY_INLINE GroupTerms ChromaOf(const uint8_t* u, const uint8_t* v) {
    const hn::Rebind<uint8_t, DU16> dh;
    const VU16 u16 = hn::PromoteTo(DU16(), hn::LoadU(dh, u));
    const VU16 v16 = hn::PromoteTo(DU16(), hn::LoadU(dh, v));
    // 32-bit lane (U | V << 16), block-wise like the luma.
    const V16 lo = hn::BitCast(D16(), hn::ZipLower(DU32(), u16, v16));
    const V16 hi = hn::BitCast(D16(), hn::ZipUpper(DU32(), u16, v16));
    return GroupTerms{TermsOf(lo), TermsOf(hi)};
}

// The same from interleaved (U, V) bytes in pixel-pair order.
HWY_INLINE GroupTerms ChromaOfPairs(V8 uv) {
    const D8 d8;
    const V16 lo = hn::BitCast(D16(), hn::ZipLower(uv, hn::Zero(d8)));
    const V16 hi = hn::BitCast(D16(), hn::ZipUpper(DU16(), uv, hn::Zero(d8)));
    return GroupTerms{TermsOf(lo), TermsOf(hi)};
}

HWY_INLINE VU16 Channel(VU16 y149, const Split& s) {
    return hn::Add(hn::ShiftRight<7>(hn::Add(y149, s.tl)), s.th);
}

// kKind 0: 24-bit; 1: 32-bit, fourth byte left alone; 2: 32-bit, fourth byte 255.
template <int kKind>
HWY_INLINE void RowGroup(V8 luma, const GroupTerms& t, uint8_t* d) {
    const D8 d8;
    const V8 zero = hn::Zero(d8);
    const VU16 k149 = hn::Set(DU16(), 149);
    const VU16 ylo = hn::Mul(hn::BitCast(DU16(), hn::ZipLower(luma, zero)), k149);
    const VU16 yhi = hn::Mul(hn::BitCast(DU16(), hn::ZipUpper(DU16(), luma, zero)), k149);
    const V8 b = PackBytes(Channel(ylo, t.lo.c[0]), Channel(yhi, t.hi.c[0]));
    const V8 g = PackBytes(Channel(ylo, t.lo.c[1]), Channel(yhi, t.hi.c[1]));
    const V8 r = PackBytes(Channel(ylo, t.lo.c[2]), Channel(yhi, t.hi.c[2]));
    if constexpr (kKind == 0) {
        hn::StoreInterleaved3(b, g, r, d8, d);
    } else if constexpr (kKind == 2) {
        hn::StoreInterleaved4(b, g, r, hn::Set(d8, 255), d8, d);
    } else {
        // Interleave into a staging copy, then store every byte but the fourth.
        constexpr size_t kN = HWY_MAX_BYTES;
        HWY_ALIGN uint8_t px[4 * kN];
        hn::StoreInterleaved4(b, g, r, zero, d8, px);
        const hn::RebindToUnsigned<D32> du32;
        const auto keep = hn::RebindMask(
            d8, hn::MaskFromVec(hn::BitCast(d8, hn::Set(du32, 0x00FFFFFFu))));
        for (size_t k = 0; k < 4; ++k)
            hn::BlendedStore(hn::Load(d8, px + k * kN), keep, d8, d + k * kN);
    }
}

template <int kKind>
HWY_INLINE void Group(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                      uint8_t* d0, uint8_t* d1) {
    const D8 d8;
    const GroupTerms t = ChromaOf(u, v);
    RowGroup<kKind>(hn::LoadU(d8, y0), t, d0);
    if (y1) RowGroup<kKind>(hn::LoadU(d8, y1), t, d1);
}

// Whole groups from the left; the last group ends at evenWidth and may
// overlap the one before it, which only writes the same bytes again.
// Narrower rows keep the reference rows.
template <int kKind>
HWY_INLINE void Rows(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                     uint8_t* d0, uint8_t* d1, int evenWidth) {
    constexpr int kBpp = kKind == 0 ? 3 : 4;
    const int group = static_cast<int>(hn::Lanes(D8()));
    for (int x = 0;; x += group) {
        if (x > evenWidth - group) x = evenWidth - group;
        const ptrdiff_t at = static_cast<ptrdiff_t>(x) * kBpp;
        Group<kKind>(y0 + x, y1 ? y1 + x : nullptr, u + x / 2, v + x / 2, d0 + at,
                     y1 ? d1 + at : nullptr);
        if (x == evenWidth - group) return;
    }
}

template <int kKind>
void RowPair(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
             uint8_t* d0, uint8_t* d1, int evenWidth) {
    if (evenWidth < static_cast<int>(hn::Lanes(D8()))) {
        const YuvToRgbRows& ref = YuvToRgbFamily().Reference();
        (kKind == 0 ? ref.rowPair24 : kKind == 1 ? ref.rowPair32 : ref.rowPair32A)(
            y0, y1, u, v, d0, d1, evenWidth);
        return;
    }
    Rows<kKind>(y0, y1, u, v, d0, d1, evenWidth);
}

template <int kKind>
void LastRow(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* d, int evenWidth) {
    if (evenWidth < static_cast<int>(hn::Lanes(D8()))) {
        const YuvToRgbRows& ref = YuvToRgbFamily().Reference();
        (kKind == 0 ? ref.lastRow24 : kKind == 1 ? ref.lastRow32 : ref.lastRow32A)(y, u, v, d,
                                                                                   evenWidth);
        return;
    }
    Rows<kKind>(y, nullptr, u, v, d, nullptr, evenWidth);
}

// Lanes(D8) pixels from twice as many packed bytes.
HWY_INLINE void PackedGroup(const uint8_t* src, uint8_t* dst, bool yuy2) {
    const D8 d8;
    const V8 a0 = hn::LoadU(d8, src), a1 = hn::LoadU(d8, src + hn::Lanes(d8));
    const V8 even = hn::ConcatEven(d8, a1, a0), odd = hn::ConcatOdd(d8, a1, a0);
    RowGroup<0>(yuy2 ? even : odd, ChromaOfPairs(yuy2 ? odd : even), dst);
}

void PackedRow(const uint8_t* src, uint8_t* dst, int pairs, bool yuy2) {
    const int group = static_cast<int>(hn::Lanes(D8()));  // pixels
    const int width = 2 * pairs;
    if (width < group) {
        YuvToRgbFamily().Reference().packedToRgb24(src, dst, pairs, yuy2);
        return;
    }
    for (int x = 0;; x += group) {
        if (x > width - group) x = width - group;
        PackedGroup(src + static_cast<ptrdiff_t>(x) * 2, dst + static_cast<ptrdiff_t>(x) * 3, yuy2);
        if (x == width - group) return;
    }
}

#endif  // QV_YUV_TO_RGB_SIMD

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
#if QV_YUV_TO_RGB_SIMD
constexpr YuvToRgbRows kRows = {RowPair<0>, RowPair<1>, RowPair<2>,
                                LastRow<0>, LastRow<1>, LastRow<2>, PackedRow};
const bool kRegistered = YuvToRgbFamily().Register(HWY_TARGET, &kRows);
#endif
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
