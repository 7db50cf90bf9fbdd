// SIMD rows of the packed 4:2:2 sample movers, compiled once per target.
// Each row gives exactly the reference rows' bytes (Yuy2Rows.cpp).
//
// Packed to planar splits even and odd bytes; the vertical chroma mean is
// the rounding byte average less the carry it rounded up, (a ^ b) & 1.
// Planar to packed interleaves in pixel order: the 64-bit lanes of each
// input are spread so that the block-wise interleaves come out in order.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/Yuy2Rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <stdint.h>

#include "image/Yuy2Rows.h"

// x86 targets only (the lane spread): elsewhere the reference rows serve.
#undef QV_YUY2_SIMD
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#define QV_YUY2_SIMD 1
#else
#define QV_YUY2_SIMD 0
#endif

HWY_BEFORE_NAMESPACE();
namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if QV_YUY2_SIMD

// At most 256 bits: the moves are bound by loads and stores, and 512-bit
// stores into rows of any alignment split cache lines on every store.
using D8 = hn::CappedTag<uint8_t, 32>;
using V8 = hn::Vec<D8>;

// 64-bit lane i takes lane i / 2 (even i) or N / 2 + i / 2 (odd i), so that
// each 128-bit block holds a quarter of the vector's first half, then the
// same quarter of its second half.
HWY_INLINE V8 Spread(V8 x) {
#if HWY_TARGET == HWY_SSE4
    return x;
#else
    return V8{_mm256_permute4x64_epi64(x.raw, 0xD8)};
#endif
}

// a0 b0 a1 b1 ... in pixel order: the first half to lo, the second to hi.
HWY_INLINE void Zip(V8 spreadA, V8 spreadB, V8& lo, V8& hi) {
    lo = hn::InterleaveLower(D8(), spreadA, spreadB);
    hi = hn::InterleaveUpper(D8(), spreadA, spreadB);
}

HWY_INLINE V8 FloorMean(V8 a, V8 b) {
    return hn::Sub(hn::AverageRound(a, b), hn::And(hn::Xor(a, b), hn::Set(D8(), 1)));
}

// One packed row's 2 * Lanes(D8) pixels: luma stored, chroma pairs returned.
HWY_INLINE void SplitRow(const uint8_t* p, uint8_t* y, bool yuy2, V8& c0, V8& c1) {
    const D8 d8;
    const size_t n = hn::Lanes(d8);
    const V8 a0 = hn::LoadU(d8, p), a1 = hn::LoadU(d8, p + n);
    const V8 a2 = hn::LoadU(d8, p + 2 * n), a3 = hn::LoadU(d8, p + 3 * n);
    const V8 e0 = hn::ConcatEven(d8, a1, a0), o0 = hn::ConcatOdd(d8, a1, a0);
    const V8 e1 = hn::ConcatEven(d8, a3, a2), o1 = hn::ConcatOdd(d8, a3, a2);
    hn::StoreU(yuy2 ? e0 : o0, d8, y);
    hn::StoreU(yuy2 ? e1 : o1, d8, y + n);
    c0 = yuy2 ? o0 : e0;
    c1 = yuy2 ? o1 : e1;
}

void PackedPairTo420(const uint8_t* top, const uint8_t* bottom, uint8_t* y0, uint8_t* y1,
                     uint8_t* u, uint8_t* v, int pairs, bool yuy2) {
    const D8 d8;
    const int group = static_cast<int>(hn::Lanes(d8));  // macropixels
    if (pairs < group) {
        Yuy2Family().Reference().packedPairTo420(top, bottom, y0, y1, u, v, pairs, yuy2);
        return;
    }
    // The last group ends at the row's end and may overlap the one before it.
    for (int k = 0;; k += group) {
        if (k > pairs - group) k = pairs - group;
        V8 t0, t1, b0, b1;
        SplitRow(top + 4 * k, y0 + 2 * k, yuy2, t0, t1);
        SplitRow(bottom + 4 * k, y1 + 2 * k, yuy2, b0, b1);
        const V8 m0 = FloorMean(t0, b0), m1 = FloorMean(t1, b1);
        hn::StoreU(hn::ConcatEven(d8, m1, m0), d8, u + k);
        hn::StoreU(hn::ConcatOdd(d8, m1, m0), d8, v + k);
        if (k == pairs - group) return;
    }
}

// One planar row's 2 * Lanes(D8) pixels with their spread chroma pairs.
HWY_INLINE void PackRow(const uint8_t* y, V8 uvA, V8 uvB, uint8_t* p, bool yuy2) {
    const D8 d8;
    const size_t n = hn::Lanes(d8);
    const V8 ya = Spread(hn::LoadU(d8, y)), yb = Spread(hn::LoadU(d8, y + n));
    V8 q0, q1, q2, q3;
    if (yuy2) {
        Zip(ya, uvA, q0, q1);
        Zip(yb, uvB, q2, q3);
    } else {
        Zip(uvA, ya, q0, q1);
        Zip(uvB, yb, q2, q3);
    }
    hn::StoreU(q0, d8, p);
    hn::StoreU(q1, d8, p + n);
    hn::StoreU(q2, d8, p + 2 * n);
    hn::StoreU(q3, d8, p + 3 * n);
}

// One packed row from one luma row and the chroma row.
HWY_INLINE void Row420ToPacked(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* p,
                               int pairs, bool yuy2) {
    const D8 d8;
    const int group = static_cast<int>(hn::Lanes(d8));  // macropixels
    for (int k = 0;; k += group) {
        if (k > pairs - group) k = pairs - group;
        V8 uvA, uvB;
        Zip(Spread(hn::LoadU(d8, u + k)), Spread(hn::LoadU(d8, v + k)), uvA, uvB);
        PackRow(y + 2 * k, Spread(uvA), Spread(uvB), p + 4 * k, yuy2);
        if (k == pairs - group) return;
    }
}

// Row by row: fewer streams in flight than both rows at once.
void Pair420ToPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                     uint8_t* top, uint8_t* bottom, int pairs, bool yuy2) {
    if (pairs < static_cast<int>(hn::Lanes(D8()))) {
        Yuy2Family().Reference().pair420ToPacked(y0, y1, u, v, top, bottom, pairs, yuy2);
        return;
    }
    Row420ToPacked(y0, u, v, top, pairs, yuy2);
    Row420ToPacked(y1, u, v, bottom, pairs, yuy2);
}

void SwapPacked(const uint8_t* src, uint8_t* dst, int groups) {
    const D8 d8;
    const size_t bytes = static_cast<size_t>(groups) * 4;
    const uintptr_t s = reinterpret_cast<uintptr_t>(src), d = reinterpret_cast<uintptr_t>(dst);
    const int perVector = static_cast<int>(hn::Lanes(d8) / 4);
    // Rows that overlap at an offset keep the reference's left-to-right order.
    if (groups < perVector || (s != d && s < d + bytes && d < s + bytes)) {
        Yuy2Family().Reference().swapPacked(src, dst, groups);
        return;
    }
    alignas(16) static constexpr uint8_t kSwap[16] = {1, 0, 3, 2, 5,  4,  7,  6,
                                                      9, 8, 11, 10, 13, 12, 15, 14};
    const V8 swap = hn::LoadDup128(d8, kSwap);
    int k = 0;
    for (; k + perVector <= groups; k += perVector)
        hn::StoreU(hn::TableLookupBytes(hn::LoadU(d8, src + 4 * k), swap), d8, dst + 4 * k);
    // The rest one group at a time: in place, an overlapping vector would swap twice.
    Yuy2Family().Reference().swapPacked(src + 4 * k, dst + 4 * k, groups - k);
}

#endif  // QV_YUY2_SIMD

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
#if QV_YUY2_SIMD
const Yuy2Rows* MakeRows() {
    static Yuy2Rows rows = Yuy2Family().Reference();
    rows.packedPairTo420 = PackedPairTo420;
    rows.pair420ToPacked = Pair420ToPacked;
    rows.swapPacked = SwapPacked;
    return &rows;
}
const bool kRegistered = Yuy2Family().Register(HWY_TARGET, MakeRows());
#endif
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
