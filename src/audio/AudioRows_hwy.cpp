// SIMD rows of the PCM converter, compiled once per target. Each row gives
// exactly the reference rows' samples (AudioRows.cpp): the positions and
// weights go through the same IEEE double operations in the same order, lane
// by lane, and the samples near a block's end go through the scalar formulas.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "audio/AudioRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <string.h>

#include "audio/AudioRows.h"
#include "audio/ResampleSample.h"

// The reference rows serve the scalar and emulated targets.
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
HWY_BEFORE_NAMESPACE();
namespace qv::audio {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void MonoToStereo(const short* src, int count, short* dst) {
    const hn::ScalableTag<int16_t> d;
    const int N = static_cast<int>(hn::Lanes(d));
    int i = 0;
    for (; i + N <= count; i += N) {
        const auto v = hn::LoadU(d, src + i);
        hn::StoreInterleaved2(v, v, d, dst + 2 * i);
    }
    for (; i < count; ++i) dst[2 * i] = dst[2 * i + 1] = src[i];
}

// v / 2 truncated toward zero: negative odd values are raised by one first.
template <class D>
HWY_INLINE hn::Vec<D> HalfTowardZero(D d, hn::Vec<D> v) {
    const hn::RebindToUnsigned<D> du;
    return hn::ShiftRight<1>(hn::Add(v, hn::BitCast(d, hn::ShiftRight<15>(hn::BitCast(du, v)))));
}

void StereoToMono(const short* src, int frames, short* dst) {
    const hn::ScalableTag<int16_t> d;
    const int N = static_cast<int>(hn::Lanes(d));
    int i = 0;
    for (; i + N <= frames; i += N) {
        hn::Vec<decltype(d)> left, right;
        hn::LoadInterleaved2(d, src + 2 * i, left, right);
        hn::StoreU(hn::Add(HalfTowardZero(d, left), HalfTowardZero(d, right)), d, dst + i);
    }
    for (; i < frames; ++i) dst[i] = static_cast<short>(src[2 * i] / 2 + src[2 * i + 1] / 2);
}

// The first output in [0, count) whose source floor exceeds jMax (count when
// none does). The floor never decreases along a block, so every output before
// it reads at or below jMax.
int FirstBeyond(int m, int n, int count, int jMax) {
    int lo = 0, hi = count;
    while (lo < hi) {
        const int mid = lo + (hi - lo) / 2;
        if (Floor(Position(mid, m, n)) > jMax)
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

// Positions of one vector of outputs whose (i + 1) are the lanes of `next`:
// p = (i + 1) * m / n - 1, its floor j and the weight f = p - j, with the
// reference's operations (the floor is the truncation of p + 1, never negative).
template <class DD, class DI>
HWY_INLINE void Positions(DD dd, DI di, hn::Vec<DD> next, hn::Vec<DD> md, hn::Vec<DD> nd,
                          hn::Vec<DI>& j, hn::Vec<DD>& f) {
    const auto one = hn::Set(dd, 1.0);
    const auto p = hn::Sub(hn::Div(hn::Mul(next, md), nd), one);
    j = hn::Sub(hn::DemoteTo(di, hn::Add(p, one)), hn::Set(di, 1));
    f = hn::Sub(p, hn::PromoteTo(dd, j));
}

// a + trunc((b - a) * f) for 16-bit samples held in 32-bit lanes. The
// difference and the sum are exact in integers as in doubles; the conversion
// back truncates toward zero.
template <class DD, class DI>
HWY_INLINE hn::Vec<DI> Lerp(DD dd, DI di, hn::Vec<DI> a, hn::Vec<DI> b, hn::Vec<DD> f) {
    return hn::Add(a, hn::DemoteTo(di, hn::Mul(hn::PromoteTo(dd, hn::Sub(b, a)), f)));
}

// Sign-extended low and high 16-bit halves of 32-bit lanes (little-endian:
// the low half is the sample at the lower address).
template <class V>
HWY_INLINE V LowHalf(V v) {
    return hn::ShiftRight<16>(hn::ShiftLeft<16>(v));
}
template <class V>
HWY_INLINE V HighHalf(V v) {
    return hn::ShiftRight<16>(v);
}

// Lanes window[rel] and window[rel + 1], from a window of twice the lanes.
template <class DI, class DW>
HWY_INLINE void Neighbours(DI di, DW dw, hn::Vec<DW> window, hn::Vec<DI> rel, hn::Vec<DI>& at,
                           hn::Vec<DI>& after) {
    const auto idx = hn::ZeroExtendVector(dw, rel);
    at = hn::LowerHalf(di, hn::TableLookupLanes(window, hn::IndicesFromVec(dw, idx)));
    const auto idx1 = hn::Add(idx, hn::Set(dw, 1));
    after = hn::LowerHalf(di, hn::TableLookupLanes(window, hn::IndicesFromVec(dw, idx1)));
}

// Reading the neighbours from one loaded window of 2N inputs beats gathering
// them, and it holds a vector's N outputs whenever the block advances at most
// 1.5 inputs per output: their floors then span at most 1.5 (N - 1) + 1 < 2N - 1
// inputs (N >= 2). Faster reductions gather.
bool Windowed(int m, int n) { return 2LL * m <= 3LL * n; }

template <class DD, class DI, class D16>
HWY_INLINE void StoreMono(DD dd, DI di, D16 d16, hn::Vec<DI> a, hn::Vec<DI> b, hn::Vec<DD> f,
                          short* out) {
    const auto v = Lerp(dd, di, a, b, f);
    const auto clamped = hn::Min(hn::Max(v, hn::Set(di, -32767)), hn::Set(di, 32767));
    hn::StoreU(hn::DemoteTo(d16, clamped), d16, out);
}

void ResampleMono(const short* W, int m, short* out, int n) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di;
    const hn::Twice<decltype(di)> dw;
    const hn::Rebind<int16_t, decltype(dd)> d16;
    const hn::Rebind<int16_t, decltype(dw)> d16w;
    const int N = static_cast<int>(hn::Lanes(dd));
    // Vectors while W[j + 1] lies in the block, reading windows W[j0 .. j0 + 2N)
    // while those do (their outputs come first) and gathering after; the last
    // outputs one by one.
    const int windowEnd = n > 0 && Windowed(m, n) ? FirstBeyond(m, n, n, m - 2 * N) : 0;
    const int safe = n > 0 && m >= 2 ? FirstBeyond(m, n, n, m - 2) : 0;
    const auto md = hn::Set(dd, static_cast<double>(m));
    const auto nd = hn::Set(dd, static_cast<double>(n));
    auto next = hn::Iota(dd, 1.0);
    hn::Vec<decltype(di)> j, a, b;
    hn::Vec<decltype(dd)> f;
    int i = 0;
    for (; i + N <= safe; i += N, next = hn::Add(next, hn::Set(dd, N))) {
        Positions(dd, di, next, md, nd, j, f);
        // Addressed from the first lane's sample so that the offsets stay small.
        const int j0 = hn::GetLane(j);
        const auto rel = hn::Sub(j, hn::Set(di, j0));
        if (i < windowEnd) {
            Neighbours(di, dw, hn::PromoteTo(dw, hn::LoadU(d16w, W + j0)), rel, a, b);
        } else {
            // W[j] and W[j + 1] as one 32-bit lane.
            const auto pairs = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(W + j0),
                                                hn::ShiftLeft<1>(rel));
            a = LowHalf(pairs);
            b = HighHalf(pairs);
        }
        StoreMono(dd, di, d16, a, b, f, out + i);
    }
    for (; i < n; ++i) out[i] = MonoSample(W, m, n, i);
}

// Frames are 32-bit lanes: left low, right high.
template <class DD, class DI, class D16>
HWY_INLINE void StoreStereo(DD dd, DI di, D16 d16, hn::Vec<DI> at, hn::Vec<DI> after, hn::Vec<DD> f,
                            short* out) {
    const auto left = Lerp(dd, di, LowHalf(at), LowHalf(after), f);
    const auto right = Lerp(dd, di, HighHalf(at), HighHalf(after), f);
    const auto both = hn::Or(hn::And(left, hn::Set(di, 0xFFFF)), hn::ShiftLeft<16>(right));
    hn::StoreU(hn::BitCast(d16, both), d16, out);
}

void ResampleStereo(const short* W, int m, short* out, int n) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di;
    const hn::Twice<decltype(di)> dw;
    const hn::Repartition<int16_t, decltype(di)> d16;
    const hn::Repartition<int16_t, decltype(dw)> d16w;
    const int N = static_cast<int>(hn::Lanes(dd));
    const int frames = n / 2;
    // Vectors while frame j + 1 lies in the block, reading windows of frames
    // j0 .. j0 + 2N - 1 while those do (the last whole frame is (m - 2) / 2)
    // and gathering after; the last frames one by one.
    const int windowEnd = frames > 0 && m >= 2 && Windowed(m, n)
                              ? FirstBeyond(m, n, frames, (m - 2) / 2 - (2 * N - 1))
                              : 0;
    const int safe = frames > 0 && m >= 4 ? FirstBeyond(m, n, frames, (m - 4) / 2) : 0;
    const auto md = hn::Set(dd, static_cast<double>(m));
    const auto nd = hn::Set(dd, static_cast<double>(n));
    auto next = hn::Iota(dd, 1.0);
    hn::Vec<decltype(di)> j, at, after;
    hn::Vec<decltype(dd)> f;
    int k = 0;
    for (; k + N <= safe; k += N, next = hn::Add(next, hn::Set(dd, N))) {
        Positions(dd, di, next, md, nd, j, f);
        // Addressed from the first lane's frame so that the offsets stay small.
        const int j0 = hn::GetLane(j);
        const auto rel = hn::Sub(j, hn::Set(di, j0));
        if (k < windowEnd) {
            Neighbours(di, dw, hn::BitCast(dw, hn::LoadU(d16w, W + 2 * j0)), rel, at, after);
        } else {
            const int32_t* frame0 = reinterpret_cast<const int32_t*>(W + 2 * j0);
            at = hn::GatherOffset(di, frame0, hn::ShiftLeft<2>(rel));
            after = hn::GatherOffset(di, frame0 + 1, hn::ShiftLeft<2>(rel));
        }
        StoreStereo(dd, di, d16, at, after, f, out + 2 * k);
    }
    for (; k < frames; ++k) StereoFrame(W, m, n, k, out);
    PinLastFrame(W, m, out, n);
}

// The copied part in one block move; only the held samples go one by one.
void CopyHolding(const short* W, int m, short* out, int n, int channels) {
    const int copied = n < m ? n : m;
    if (copied > 0) memcpy(out, W, sizeof(short) * static_cast<size_t>(copied));
    for (int i = copied; i < n; ++i) out[i] = W[m - channels + (i - m) % channels];
}

}  // namespace HWY_NAMESPACE
}  // namespace qv::audio
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
namespace qv::audio {
namespace HWY_NAMESPACE {
namespace {
const AudioRows kRows = {MonoToStereo, StereoToMono, ResampleMono, ResampleStereo, CopyHolding};
const bool kRegistered = AudioRowFamily().Register(HWY_TARGET, &kRows);
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::audio
#endif
