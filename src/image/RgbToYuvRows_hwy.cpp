// SIMD rows of the RGB to 4:2:0 converters, compiled once per target. Each
// row gives exactly the reference rows' bytes (RgbToYuvRows.cpp).
//
// Why the arithmetic is exact: the product tables hold exactly K * i, so
// 16x16->32 pair multiply-adds over 16-bit channel differences and
// (green, green) lanes give the reference sums. The coefficients are scaled
// by 4, which leaves floor(sum / 2^14) (luma, or a chroma term floored per
// pixel before any chroma sum) in the high 16 bits of each 32-bit lane. The four terms of a
// block are then added in 16-bit lanes, and a second pair multiply-add by
// 2^14 on top of 512 * 2^14 leaves (sum + 512) >> 2 in the high half again.
// A last row is a row pair whose second row is the first: 2 (ua + ub) gives
// (ua + ub + 256) >> 1 through the same step.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/RgbToYuvRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <stddef.h>
#include <string.h>

#include "image/RgbToYuvRows.h"

#if HWY_TARGET == HWY_AVX3_DL
// Every CPU that runs this target also has the AVX-512 dot products.
HWY_PUSH_ATTRIBUTES(HWY_TARGET_STR ",avx512vnni");
#else
HWY_BEFORE_NAMESPACE();
#endif
// Groups and staging copies are sized at compile time: scalable vectors,
// like the scalar and emulated targets, keep the reference rows.
#undef QV_RGB_TO_YUV_SIMD
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128 && !HWY_HAVE_SCALABLE
#define QV_RGB_TO_YUV_SIMD 1
#else
#define QV_RGB_TO_YUV_SIMD 0
#endif

namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if QV_RGB_TO_YUV_SIMD

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::ScalableTag<int16_t>;
using D32 = hn::ScalableTag<int32_t>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using V32 = hn::Vec<D32>;

// Lane i: acc + a[2i] * b[2i] + a[2i + 1] * b[2i + 1].
HWY_INLINE V32 PairDot(V32 acc, V16 a, V16 b) {
#if HWY_TARGET == HWY_AVX3_DL
    return V32{_mm512_dpwssd_epi32(acc.raw, a.raw, b.raw)};
#elif HWY_ARCH_X86
    V32 unused = hn::Zero(D32());  // x86 keeps the pairs in their lanes
    return hn::ReorderWidenMulAccumulate(D32(), a, b, acc, unused);
#else
    const D32 d;
    const V32 a32 = hn::BitCast(d, a), b32 = hn::BitCast(d, b);
    const V32 lo = hn::Mul(hn::ShiftRight<16>(hn::ShiftLeft<16>(a32)),
                           hn::ShiftRight<16>(hn::ShiftLeft<16>(b32)));
    const V32 hi = hn::Mul(hn::ShiftRight<16>(a32), hn::ShiftRight<16>(b32));
    return hn::Add(acc, hn::Add(lo, hi));
#endif
}

// Lane i: a[2i] * b[2i] + a[2i + 1] * b[2i + 1].
HWY_INLINE V32 PairMul(V16 a, V16 b) {
#if HWY_TARGET == HWY_AVX3_DL  // the dot product would need a zeroed accumulator copied in
    return V32{_mm512_madd_epi16(a.raw, b.raw)};
#else
    return PairDot(hn::Zero(D32()), a, b);
#endif
}

// An int16 pair (lo, hi) in every 32-bit lane.
HWY_INLINE V16 Pair(int lo, int hi) {
    const uint32_t bits =
        static_cast<uint16_t>(lo) | (static_cast<uint32_t>(static_cast<uint16_t>(hi)) << 16);
    return hn::BitCast(D16(), hn::Set(D32(), static_cast<int32_t>(bits)));
}

// Luma - 16 and the two chroma terms of one vector of pixels, each in the
// high half of its pixel's lane; br holds (blue, red), gg (green, green).
// In q = B - G and r = R - G the chroma terms need one pair product each:
// U = 7193q - 2425r, V = 7193r - 1163q + G, and Y = 1606q + 4211r + 14075G.
HWY_INLINE void Sums(V16 br, V16 gg, V32& y, V32& u, V32& v) {
    const V16 qr = hn::Sub(br, gg);
    const V32 green4 =
        hn::BitCast(D32(), hn::ShiftRight<14>(hn::BitCast(hn::RebindToUnsigned<D32>(), gg)));
    y = PairDot(PairMul(qr, Pair(4 * 1606, 4 * 4211)), gg, Pair(2 * 14075, 2 * 14075));
    u = PairMul(qr, Pair(4 * 7193, -4 * 2425));
    v = PairDot(green4, qr, Pair(-4 * 1163, 4 * 7193));
}

// Z marks a byte that a lookup clears.
constexpr uint8_t Z = 0x80;

// Vector k (0..3) of a group of 32-bit pixels at p.
template <int k>
HWY_INLINE void Channels32(const uint8_t* p, V16& br, V16& gg) {
    const D8 d8;
    const hn::RebindToUnsigned<D16> du16;
    alignas(16) static constexpr uint8_t kGreen[16] = {1, Z, 1, Z, 5,  Z, 5,  Z,
                                                       9, Z, 9, Z, 13, Z, 13, Z};
    const V8 raw = hn::LoadU(d8, p + k * hn::Lanes(d8));
    br = hn::BitCast(D16(), hn::And(hn::BitCast(du16, raw), hn::Set(du16, 0x00FF)));
    gg = hn::BitCast(D16(), hn::TableLookupBytesOr0(raw, hn::LoadDup128(d8, kGreen)));
}

// Vector k (0..3) of a group of 24-bit pixels at p. Loads stay inside the
// group: the last vector's load ends at the group's end and its lookups
// start that much further in.
template <int k>
HWY_INLINE void Channels24(const uint8_t* p, V16& br, V16& gg) {
    const D8 d8;
    constexpr size_t kBytes = HWY_MAX_BYTES;  // one vector
    constexpr size_t kGroup = 3 * kBytes;     // 4 vectors' pixels, 3/4 vector each
    constexpr size_t kAt = k < 3 ? k * kGroup / 4 : kGroup - kBytes;
    constexpr int kSkip = static_cast<int>(k * kGroup / 4 - kAt);  // bytes before the pixels
    const V8 raw = hn::LoadU(d8, p + kAt);
#if HWY_TARGET == HWY_AVX3_DL
    // One byte permute per pair vector; the masks clear the high bytes.
    struct Idx {
        uint8_t b[64];
    };
    constexpr auto make = [](int c0, int c2) {
        Idx idx{};
        for (int j = 0; j < 64; ++j)
            idx.b[j] = static_cast<uint8_t>(kSkip + 3 * (j / 4) + (j % 4 == 0 ? c0 : c2));
        return idx;
    };
    alignas(64) static constexpr Idx kBR = make(0, 2);
    alignas(64) static constexpr Idx kGG = make(1, 1);
    constexpr __mmask64 kLow = 0x5555555555555555ull;
    br = V16{_mm512_maskz_permutexvar_epi8(kLow, hn::Load(d8, kBR.b).raw, raw.raw)};
    gg = V16{_mm512_maskz_permutexvar_epi8(kLow, hn::Load(d8, kGG.b).raw, raw.raw)};
#else
    // Spread 32-bit words so that every 16-byte block holds its four pixels'
    // twelve bytes first, then pick channels within blocks.
    const hn::RebindToUnsigned<D32> du32;
    struct Idx {
        int32_t w[16];
    };
    constexpr auto make = [] {
        Idx idx{};
        for (int i = 0; i < 16; ++i) idx.w[i] = kSkip / 4 + 3 * (i / 4) + (i % 4 < 3 ? i % 4 : 2);
        return idx;
    };
    static_assert(kSkip % 4 == 0 && hn::MaxLanes(du32) <= 16, "word spread");
    alignas(64) static constexpr Idx kSpread = make();
    alignas(16) static constexpr uint8_t kBlue[16] = {0, Z, 2, Z, 3, Z, 5,  Z,
                                                      6, Z, 8, Z, 9, Z, 11, Z};
    alignas(16) static constexpr uint8_t kGreen[16] = {1, Z, 1, Z, 4,  Z, 4,  Z,
                                                       7, Z, 7, Z, 10, Z, 10, Z};
    const V8 spread = hn::BitCast(
        d8, hn::TableLookupLanes(
                hn::BitCast(du32, raw),
                hn::SetTableIndices(du32, reinterpret_cast<const uint32_t*>(kSpread.w))));
    br = hn::BitCast(D16(), hn::TableLookupBytesOr0(spread, hn::LoadDup128(d8, kBlue)));
    gg = hn::BitCast(D16(), hn::TableLookupBytesOr0(spread, hn::LoadDup128(d8, kGreen)));
#endif
}

// The high halves of a's lanes, then b's, as int16 lanes. The order may
// differ from pixel order by target, but pairs (2i, 2i + 1) stay adjacent
// and every call orders alike, so terms of two rows add lane by lane.
HWY_INLINE V16 HighHalves(V32 a, V32 b) {
#if HWY_TARGET == HWY_AVX2
    return V16{_mm256_packs_epi32(_mm256_srai_epi32(a.raw, 16), _mm256_srai_epi32(b.raw, 16))};
#elif HWY_TARGET == HWY_SSE4
    return V16{_mm_packs_epi32(_mm_srai_epi32(a.raw, 16), _mm_srai_epi32(b.raw, 16))};
#else
    const D16 d16;
    return hn::ConcatOdd(d16, hn::BitCast(d16, b), hn::BitCast(d16, a));
#endif
}

// The HighHalves of a group's first and second halves (values 0..255) as
// bytes in pixel order.
HWY_INLINE V8 Bytes(V16 lo, V16 hi) {
#if HWY_TARGET == HWY_AVX2
    // Dwords hold pixels 0-3, 8-11, 16-19, 24-27, 4-7, 12-15, 20-23, 28-31.
    const __m256i bytes = _mm256_packus_epi16(lo.raw, hi.raw);
    return V8{_mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7))};
#elif HWY_TARGET == HWY_SSE4
    return V8{_mm_packus_epi16(lo.raw, hi.raw)};
#else
    return hn::ConcatEven(D8(), hn::BitCast(D8(), hi), hn::BitCast(D8(), lo));
#endif
}

// One chroma sample per pair of HighHalves lanes: (sum + 512) >> 2 in the high half.
HWY_INLINE V32 BlockSums(V16 sum) {
    return PairDot(hn::Set(D32(), 512 << 14), sum, Pair(1 << 14, 1 << 14));
}

// Stores the BlockSums of the first and second halves of a group's terms:
// 2 * N32 samples to u and to v.
HWY_INLINE void StoreChroma(V32 u0, V32 u1, V32 v0, V32 v1, uint8_t* u, uint8_t* v) {
    const hn::Half<D8> dh;
#if HWY_TARGET == HWY_AVX2
    // Blocks come as 0 1 4 5 8 9 12 13 | 2 3 6 7 10 11 14 15 (HighHalves' order).
    const __m256i uw =
        _mm256_packs_epi32(_mm256_srli_epi32(u0.raw, 16), _mm256_srli_epi32(u1.raw, 16));
    const __m256i vw =
        _mm256_packs_epi32(_mm256_srli_epi32(v0.raw, 16), _mm256_srli_epi32(v1.raw, 16));
    const __m256i halves = _mm256_permute4x64_epi64(_mm256_packus_epi16(uw, vw), 0xD8);
    // clang-format off
    const __m256i order = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15,
                                           0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    // clang-format on
    const V8 bytes{_mm256_shuffle_epi8(halves, order)};
#elif HWY_TARGET == HWY_SSE4
    const __m128i uw = _mm_packs_epi32(_mm_srli_epi32(u0.raw, 16), _mm_srli_epi32(u1.raw, 16));
    const __m128i vw = _mm_packs_epi32(_mm_srli_epi32(v0.raw, 16), _mm_srli_epi32(v1.raw, 16));
    const V8 bytes{_mm_packus_epi16(uw, vw)};
#else
    const D16 d16;
    const V8 bytes = hn::ConcatEven(
        D8(), hn::BitCast(D8(), hn::ConcatOdd(d16, hn::BitCast(d16, v1), hn::BitCast(d16, v0))),
        hn::BitCast(D8(), hn::ConcatOdd(d16, hn::BitCast(d16, u1), hn::BitCast(d16, u0))));
#endif
    hn::StoreU(hn::LowerHalf(dh, bytes), dh, u);
    hn::StoreU(hn::UpperHalf(dh, bytes), dh, v);
}

// Vectors 2h and 2h + 1 of a row's group at s: luma and the two chroma
// terms of their pixels, as HighHalves lanes. Converting half a group at a
// time keeps few vectors live (AVX2 has sixteen registers).
template <int kBpp, int h>
HWY_INLINE void HalfGroup(const uint8_t* s, V16& yw, V16& ut, V16& vt) {
    V16 br, gg;
    V32 ya, ua, va, yb, ub, vb;
    if constexpr (kBpp == 3) {
        Channels24<2 * h>(s, br, gg);
        Sums(br, gg, ya, ua, va);
        Channels24<2 * h + 1>(s, br, gg);
        Sums(br, gg, yb, ub, vb);
    } else {
        Channels32<2 * h>(s, br, gg);
        Sums(br, gg, ya, ua, va);
        Channels32<2 * h + 1>(s, br, gg);
        Sums(br, gg, yb, ub, vb);
    }
    yw = HighHalves(ya, yb);
    ut = HighHalves(ua, ub);
    vt = HighHalves(va, vb);
}

// Alpha is the top byte of each 32-bit pixel; moved to bits 16..23 it
// leaves like luma.
HWY_INLINE void StoreAlpha(const uint8_t* s, uint8_t* a) {
    const D8 d8;
    const hn::RebindToUnsigned<D32> du32;
    auto top = [&](size_t k) {
        return hn::BitCast(
            D32(), hn::ShiftRight<8>(hn::BitCast(du32, hn::LoadU(d8, s + k * hn::Lanes(d8)))));
    };
    hn::StoreU(Bytes(HighHalves(top(0), top(1)), HighHalves(top(2), top(3))), d8, a);
}

// One row of a group (4 * N32 pixels at s): stores luma (and alpha) and
// gives the pixels' chroma terms, the first half's in u0/v0.
template <int kBpp, bool kAlpha>
HWY_INLINE void RowGroup(const uint8_t* s, uint8_t* y, uint8_t* a, V16& u0, V16& u1, V16& v0,
                         V16& v1) {
    const D8 d8;
    V16 y0, y1;
    HalfGroup<kBpp, 0>(s, y0, u0, v0);
    HalfGroup<kBpp, 1>(s, y1, u1, v1);
    hn::StoreU(hn::Add(Bytes(y0, y1), hn::Set(d8, 16)), d8, y);
    if constexpr (kAlpha) StoreAlpha(s, a);
}

// A group of both rows: 4 * N32 luma samples per row, 2 * N32 chroma samples.
// For a last row, s1 is s0 and y1/a1 are not written.
template <int kBpp, bool kAlpha, bool kLastRow>
HWY_INLINE void Group(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, uint8_t* a0,
                      uint8_t* a1, uint8_t* u, uint8_t* v) {
    V16 u0, u1, v0, v1;
    RowGroup<kBpp, kAlpha>(s0, y0, a0, u0, u1, v0, v1);
    V16 p0 = u0, p1 = u1, q0 = v0, q1 = v1;
    if constexpr (!kLastRow) RowGroup<kBpp, kAlpha>(s1, y1, a1, p0, p1, q0, q1);
    StoreChroma(BlockSums(hn::Add(u0, p0)), BlockSums(hn::Add(u1, p1)), BlockSums(hn::Add(v0, q0)),
                BlockSums(hn::Add(v1, q1)), u, v);
}

// Whole groups from the left; the last group ends at evenWidth and may
// overlap the one before it, which only writes the same bytes again.
template <int kBpp, bool kAlpha, bool kLastRow>
HWY_INLINE void WideRows(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1,
                         uint8_t* a0, uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth,
                         int group) {
    for (int x = 0;; x += group) {
        if (x > evenWidth - group) x = evenWidth - group;
        const ptrdiff_t at = static_cast<ptrdiff_t>(x) * kBpp;
        Group<kBpp, kAlpha, kLastRow>(s0 + at, s1 + at, y0 + x, kLastRow ? nullptr : y1 + x,
                                      kAlpha ? a0 + x : nullptr,
                                      kAlpha && !kLastRow ? a1 + x : nullptr, u + x / 2, v + x / 2);
        if (x == evenWidth - group) return;
    }
}

// Rows narrower than a group go through a copy one group wide.
template <int kBpp, bool kAlpha, bool kLastRow>
HWY_NOINLINE void NarrowRows(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1,
                             uint8_t* a0, uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth) {
    constexpr int kGroup = HWY_MAX_BYTES;  // 4 vectors of 32-bit lanes
    static_assert(kGroup == 4 * hn::MaxLanes(D32()), "group width");
    HWY_ALIGN uint8_t in0[kGroup * kBpp] = {}, in1[kGroup * kBpp] = {};
    HWY_ALIGN uint8_t out[4][kGroup], chroma[2][kGroup / 2];
    const size_t bytes = static_cast<size_t>(evenWidth) * kBpp;
    memcpy(in0, s0, bytes);
    if (!kLastRow) memcpy(in1, s1, bytes);
    Group<kBpp, kAlpha, kLastRow>(in0, kLastRow ? in0 : in1, out[0], out[1], out[2], out[3],
                                  chroma[0], chroma[1]);
    memcpy(y0, out[0], evenWidth);
    if (!kLastRow) memcpy(y1, out[1], evenWidth);
    if (kAlpha) memcpy(a0, out[2], evenWidth);
    if (kAlpha && !kLastRow) memcpy(a1, out[3], evenWidth);
    memcpy(u, chroma[0], evenWidth / 2);
    memcpy(v, chroma[1], evenWidth / 2);
}

template <int kBpp, bool kAlpha, bool kLastRow>
HWY_INLINE void Rows(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, uint8_t* a0,
                     uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth) {
    const int group = static_cast<int>(4 * hn::Lanes(D32()));
    if (evenWidth >= group)
        WideRows<kBpp, kAlpha, kLastRow>(s0, s1, y0, y1, a0, a1, u, v, evenWidth, group);
    else
        NarrowRows<kBpp, kAlpha, kLastRow>(s0, s1, y0, y1, a0, a1, u, v, evenWidth);
}

void RowPair24(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, uint8_t* a0,
               uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<3, false, false>(s0, s1, y0, y1, a0, a1, u, v, evenWidth);
}

void LastRow24(const uint8_t* s, uint8_t* y, uint8_t* a, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<3, false, true>(s, s, y, nullptr, a, nullptr, u, v, evenWidth);
}

void RowPair32(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, uint8_t* a0,
               uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<4, false, false>(s0, s1, y0, y1, a0, a1, u, v, evenWidth);
}

void RowPair32A(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, uint8_t* a0,
                uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<4, true, false>(s0, s1, y0, y1, a0, a1, u, v, evenWidth);
}

void LastRow32(const uint8_t* s, uint8_t* y, uint8_t* a, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<4, false, true>(s, s, y, nullptr, a, nullptr, u, v, evenWidth);
}

void LastRow32A(const uint8_t* s, uint8_t* y, uint8_t* a, uint8_t* u, uint8_t* v, int evenWidth) {
    Rows<4, true, true>(s, s, y, nullptr, a, nullptr, u, v, evenWidth);
}

#endif  // QV_RGB_TO_YUV_SIMD

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
#if QV_RGB_TO_YUV_SIMD
const RgbToYuvRows* MakeRows() {
    static RgbToYuvRows rows = RgbToYuvFamily().Reference();
    rows.rowPair24 = RowPair24;
    rows.lastRow24 = LastRow24;
    rows.rowPair32 = RowPair32;
    rows.rowPair32A = RowPair32A;
    rows.lastRow32 = LastRow32;
    rows.lastRow32A = LastRow32A;
    return &rows;
}
const bool kRegistered = RgbToYuvFamily().Register(HWY_TARGET, MakeRows());
#endif
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
