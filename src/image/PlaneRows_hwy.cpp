// SIMD rows of the 8-bit plane resizers, compiled once per target. Each row
// gives exactly the reference rows' bytes (PlaneRows.cpp).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/PlaneRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "image/PlaneRows.h"

HWY_BEFORE_NAMESPACE();
namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Columns (i * step) >> 12 and weights for lanes i0 .. i0 + lanes - 1.
template <class D>
HWY_INLINE void Positions(D d, int i0, int64_t step, hn::Vec<D>& col, hn::Vec<D>& w) {
    const auto fx = hn::Mul(hn::Add(hn::Iota(d, 0), hn::Set(d, i0)), hn::Set(d, static_cast<int32_t>(step)));
    col = hn::ShiftRight<12>(fx);
    w = hn::And(fx, hn::Set(d, 4095));
}

void NearRow(const uint8_t* in, uint8_t* out, int count, int64_t step) {
    const hn::ScalableTag<int32_t> d;
    const int N = static_cast<int>(hn::Lanes(d));
    const int last = static_cast<int>(((count - 1) * step) >> 12);
    int i = 0;
    // A gather reads four bytes from each column; the row is known to hold
    // columns up to `last` only.
    for (; i + N <= count && ((int64_t{i + N - 1} * step) >> 12) + 3 <= last; i += N) {
        hn::Vec<decltype(d)> col, w;
        Positions(d, i, step, col, w);
        const auto v = hn::And(hn::GatherOffset(d, reinterpret_cast<const int32_t*>(in), col), hn::Set(d, 255));
        const hn::Rebind<uint8_t, decltype(d)> d8;
        hn::StoreU(hn::DemoteTo(d8, v), d8, out + i);
    }
    for (int64_t fx = int64_t{i} * step; i < count; ++i, fx += step) out[i] = in[fx >> 12];
}

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128  // the reference rows serve there
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
const PlaneRows* MakeRows() {
    static PlaneRows rows = PlaneRowFamily().Reference();
    rows.nearRow = NearRow;
    return &rows;
}
const bool kRegistered = PlaneRowFamily().Register(HWY_TARGET, MakeRows());
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
#endif
