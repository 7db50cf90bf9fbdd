// SIMD rows of the packed 4:2:2 sample movers, compiled once per target.
// Each row gives exactly the reference rows' bytes (Yuy2Rows.cpp).
//
// Packed to planar splits even and odd bytes; the vertical chroma mean is
// the rounding byte average less the carry it rounded up, (a ^ b) & 1.
// Planar to packed interleaves luma with (U, V) pairs block by block and
// stores the blocks in pixel order.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/Yuy2Rows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <stdint.h>

#include "image/RgbToYuvRows.h"
#include "image/Yuy2Rows.h"

// x86 targets only (block stores): elsewhere the reference rows serve.
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

// Stores the block-wise interleaves of a 32-pixel (or 8-pixel) group's luma
// and chroma pairs in pixel order: block b of lo holds pixels 16b..16b+7, of
// hi the next eight, so two block swaps give two whole stores.
HWY_INLINE void StoreBlocks(V8 lo, V8 hi, uint8_t* p) {
#if HWY_TARGET == HWY_SSE4
    hn::StoreU(lo, D8(), p);
    hn::StoreU(hi, D8(), p + 16);
#else
    auto* q = reinterpret_cast<__m256i*>(p);
    _mm256_storeu_si256(q, _mm256_permute2x128_si256(lo.raw, hi.raw, 0x20));
    _mm256_storeu_si256(q + 1, _mm256_permute2x128_si256(lo.raw, hi.raw, 0x31));
#endif
}

// Lanes(D8) pixels of one packed row from luma and chroma.
template <bool kYuy2>
HWY_INLINE void Group420ToPacked(const uint8_t* y, const uint8_t* u, const uint8_t* v,
                                 uint8_t* p) {
    const D8 d8;
    const hn::Repartition<uint16_t, D8> d16;
    const hn::Rebind<uint8_t, decltype(d16)> dh;
    // (U, V) byte pairs in pixel order.
    const V8 uv = hn::BitCast(d8, hn::Or(hn::PromoteTo(d16, hn::LoadU(dh, u)),
                                         hn::ShiftLeft<8>(hn::PromoteTo(d16, hn::LoadU(dh, v)))));
    const V8 luma = hn::LoadU(d8, y);
    if (kYuy2)
        StoreBlocks(hn::InterleaveLower(d8, luma, uv), hn::InterleaveUpper(d8, luma, uv), p);
    else
        StoreBlocks(hn::InterleaveLower(d8, uv, luma), hn::InterleaveUpper(d8, uv, luma), p);
}

// One packed row from one luma row and the chroma row; the last group ends
// at the row's end and may overlap the one before it.
template <bool kYuy2>
HWY_NOINLINE void Row420ToPacked(const uint8_t* y, const uint8_t* u, const uint8_t* v,
                                 uint8_t* p, int pairs) {
    const size_t group = hn::Lanes(D8()) / 2;  // macropixels
    const size_t n = static_cast<size_t>(pairs);
    size_t k = 0;
    for (; k + group <= n; k += group) Group420ToPacked<kYuy2>(y + 2 * k, u + k, v + k, p + 4 * k);
    if (k < n) {
        k = n - group;
        Group420ToPacked<kYuy2>(y + 2 * k, u + k, v + k, p + 4 * k);
    }
}

// Row by row: fewer streams in flight than both rows at once.
void Pair420ToPacked(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                     uint8_t* top, uint8_t* bottom, int pairs, bool yuy2) {
    if (pairs < static_cast<int>(hn::Lanes(D8()) / 2)) {
        Yuy2Family().Reference().pair420ToPacked(y0, y1, u, v, top, bottom, pairs, yuy2);
        return;
    }
    auto row = yuy2 ? Row420ToPacked<true> : Row420ToPacked<false>;
    row(y0, u, v, top, pairs);
    row(y1, u, v, bottom, pairs);
}

// 24-bit pixels to packed: the RGB to 4:2:0 last-row kernel of this target
// gives luma and the horizontal pairs' chroma, (ua + ub + 256) >> 1, which
// is the packed form's; the 4:2:0 to packed row then interleaves them. Pieces
// of at most kPiece macropixels go through the stack; a short last piece
// is moved back to end at the row's end, repeating a few macropixels.
void RgbToPacked(const uint8_t* src, uint8_t* dst, int pairs, bool yuy2) {
    const int group = static_cast<int>(hn::Lanes(D8()) / 2);
    if (pairs < group) {
        Yuy2Family().Reference().rgbToPacked(src, dst, pairs, yuy2);
        return;
    }
    constexpr int kPiece = 256;
    HWY_ALIGN uint8_t luma[2 * kPiece], u[kPiece], v[kPiece];
    const RgbLastRowFn forward = RgbToYuvFamily().For(HWY_TARGET).lastRow24;
    auto row = yuy2 ? Row420ToPacked<true> : Row420ToPacked<false>;
    for (int k = 0; k < pairs; k += kPiece) {
        int count = pairs - k < kPiece ? pairs - k : kPiece;
        if (count < group) {
            k = pairs - group;
            count = group;
        }
        forward(src + static_cast<ptrdiff_t>(k) * 6, luma, nullptr, u, v, 2 * count);
        row(luma, u, v, dst + static_cast<ptrdiff_t>(k) * 4, count);
    }
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
    rows.rgbToPacked = RgbToPacked;
    return &rows;
}
const bool kRegistered = Yuy2Family().Register(HWY_TARGET, MakeRows());
#endif
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
