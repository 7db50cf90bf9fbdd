// SIMD rows of the 8-bit plane resizers, compiled once per target. Each row
// gives exactly the reference rows' bytes (PlaneRows.cpp).
//
// The source columns of a picture's destination columns are the same for
// every row, so planColumns turns them once into byte shuffles: the strip is
// cut into vectors of outputs, each 128-bit block of a vector reads a small
// window of the source row that holds all its taps, and the plan keeps the
// window's start and every output's offset in it (and its weight). A row is
// then loads, shuffles and 16-bit arithmetic, with no position math. With
// AVX-512 VBMI one 128-byte window serves a whole 512-bit vector; the other
// targets (AVX-512 without VBMI included) shuffle 128-bit blocks, two at a
// time where the vectors allow.
//
// The two-stage lerp a + (((b - a) * w) >> 12) is computed as
// a + MulHigh((b - a) << 4, w): (b - a) << 4 and w fit 16 bits, and the high
// half of their product is the same floor of (b - a) * w / 4096.
//
// Windows never leave the bytes the reference reads: each lies between the
// lowest and the highest source column of the strip's taps (for the last row
// of a bilinear walk, read through its two-tap plan, these columns lie
// inside the source rectangle). Strips too short
// for a window, or whose taps are too far apart for one (large reductions),
// keep the scalar loops.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/PlaneRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <climits>

#include "image/PlaneRows.h"

// x86 targets only: elsewhere the reference rows serve until checked there.
#undef QV_PLANE_ROWS_SIMD
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#define QV_PLANE_ROWS_SIMD 1
#else
#define QV_PLANE_ROWS_SIMD 0
#endif

HWY_BEFORE_NAMESPACE();
namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if QV_PLANE_ROWS_SIMD

// Plan modes. With a stride of 2 index bytes per output the shuffles make
// 16-bit lanes: always for two taps, and for one tap when its taps lie too
// far apart for byte lanes (half the outputs per window).
constexpr int kNone = 0;
constexpr int kBlocks16 = 1;  // each 128-bit block shuffles a 16-byte window
constexpr int kBlocks32 = 2;  // each 128-bit block shuffles a 32-byte window
constexpr int kVbmi128 = 3;   // each 512-bit vector permutes a 128-byte window

// Block vectors: one or two 128-bit blocks (AVX-512 targets use 256 bits here).
using D8 = hn::CappedTag<uint8_t, 32>;
using D16 = hn::Repartition<int16_t, D8>;
using DHalf8 = hn::Rebind<uint8_t, D16>;
constexpr int kBlockBytes = static_cast<int>(hn::MaxLanes(D8()));
constexpr int kBlocks = kBlockBytes / 16;

// Odd bytes of a two-tap index: a 16-bit lane's zero high byte.
constexpr uint8_t kZeroByte = 0x80;

// ---------------------------------------------------------------- planning

bool TwoTaps(Taps taps) { return taps == Taps::BiLinear || taps == Taps::BiLinearUV || taps == Taps::Average; }

// Taps of destination columns i0 .. i0 + n - 1 (TapAt, one loop per mapping).
void FillTaps(const ColumnStrip& s, int i0, int n, Tap* t) {
    const int64_t step = s.step;
    const int last = s.last, srcX = s.srcX;
    int64_t fx = i0 * step;
    switch (s.taps) {
    case Taps::Near:
        for (int k = 0; k < n; ++k, fx += step) t[k] = {int(fx >> 12), int(fx >> 12), 0};
        return;
    case Taps::BiLinear:
        for (int k = 0; k < n; ++k, fx += step) {
            const int c = int(fx >> 12);
            t[k] = {c, std::min(c + 1, last), int(fx & 4095)};
        }
        return;
    case Taps::NearUV:
        for (int k = 0; k < n; ++k, fx += step) t[k] = {(int(fx >> 12) + srcX) >> 1, (int(fx >> 12) + srcX) >> 1, 0};
        return;
    case Taps::BiLinearUV:
        for (int k = 0; k < n; ++k, fx += step) {
            const int xs = int(fx >> 12) + srcX;
            t[k] = {xs >> 1, std::min((xs + 1) >> 1, last), int(fx & 4095)};
        }
        return;
    case Taps::Table:
        for (int k = 0; k < n; ++k) t[k] = {s.cols[i0 + k], s.cols[i0 + k], 0};
        return;
    case Taps::Average:
        for (int k = 0; k < n; ++k, fx += step) t[k] = {int(fx >> 12), std::min(int((fx + step) >> 12), last), 0};
        return;
    }
}

// Lowest and highest source column among n taps. Stepped mappings never step
// back, so their first and last taps bound the rest.
void Bounds(const ColumnStrip& s, const Tap* t, int n, int& lo, int& hi) {
    if (s.taps != Taps::Table) {
        lo = std::min(t[0].c0, t[0].c1);
        hi = std::max(t[n - 1].c0, t[n - 1].c1);
        return;
    }
    lo = INT_MAX;
    hi = INT_MIN;
    for (int j = 0; j < n; ++j) {
        lo = std::min(lo, t[j].c0);
        hi = std::max(hi, t[j].c0);
    }
}

// Lowest and highest source column any tap of the strip reads.
void TapRange(const ColumnStrip& s, int& lo, int& hi) {
    Tap taps[64];
    lo = INT_MAX;
    hi = INT_MIN;
    for (int k = 0; k < s.count; k += 64) {
        const int n = std::min(64, s.count - k);
        if (s.taps != Taps::Table && k > 0 && k + 64 < s.count) continue;  // inner chunks of a stepped mapping
        FillTaps(s, s.first + k, n, taps);
        int a, b;
        Bounds(s, taps, n, a, b);
        lo = std::min(lo, a);
        hi = std::max(hi, b);
    }
}

// Shape of a plan: `outputs` per vector step, `perWindow` of them read from
// each window of `window` bytes; `stride` index bytes per output (2 when the
// shuffle makes 16-bit lanes).
struct Shape {
    int mode, outputs, perWindow, window, stride;
};

// Window offset as the shuffle wants it: a 32-byte window is two 16-byte
// tables; an offset into the upper one has bit 7 set, which zeroes the
// lower table's lookup, and XOR 0x90 turns it into the upper table's index
// while setting bit 7 of the lower offsets.
uint8_t Encode(bool split, int offset) {
    return static_cast<uint8_t>(split && offset >= 16 ? offset | 0x80 : offset);
}

bool BuildPlan(ColumnStrip& s, const Shape& shape, int lo, int hi, bool twoTaps) {
    const int n = s.count;
    if (n < shape.outputs || hi - lo + 1 < shape.window) return false;
    const int windows = shape.outputs / shape.perWindow;
    const bool split = shape.mode == kBlocks32;
    Tap taps[64];
    s.vectors = (n + shape.outputs - 1) / shape.outputs;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * shape.outputs, n - shape.outputs);
        for (int b = 0; b < windows; ++b) {
            const int at = v * shape.outputs + b * shape.perWindow;  // plan slot of the first output
            FillTaps(s, s.first + pos + b * shape.perWindow, shape.perWindow, taps);
            int bmin, bmax;
            Bounds(s, taps, shape.perWindow, bmin, bmax);
            // As far left as the block needs, but not past the strip's last tap.
            const int base = std::min(bmin, hi - shape.window + 1);
            if (bmax - base >= shape.window) return false;
            s.base[v * windows + b] = base;
            uint8_t* i0 = s.idx0 + at * shape.stride;
            uint8_t* i1 = s.idx1 + at * shape.stride;
            if (shape.stride == 1) {
                for (int j = 0; j < shape.perWindow; ++j) i0[j] = Encode(split, taps[j].c0 - base);
                continue;
            }
            for (int j = 0; j < shape.perWindow; ++j) {
                i0[2 * j] = Encode(split, taps[j].c0 - base);
                i1[2 * j] = Encode(split, taps[j].c1 - base);
                i0[2 * j + 1] = i1[2 * j + 1] = kZeroByte;
            }
            if (twoTaps)
                for (int j = 0; j < shape.perWindow; ++j) s.weight[at + j] = static_cast<int16_t>(taps[j].w);
        }
    }
    s.mode = shape.mode;
    s.stride = shape.stride;
    return true;
}

void PlanColumns(ColumnStrip& s) {
    s.mode = kNone;
    s.vectors = 0;
    if (s.count <= 0 || s.count > kStripColumns) return;
    const bool twoTaps = TwoTaps(s.taps);
    int lo, hi;
    TapRange(s, lo, hi);
    // Byte lanes where one tap allows, else 16-bit lanes: half the outputs
    // per window reach further.
    for (int stride = twoTaps ? 2 : 1; stride <= 2; ++stride) {
        const int outputs = kBlockBytes / stride;
#if HWY_TARGET == HWY_AVX3_DL
        if (BuildPlan(s, {kVbmi128, 64 / stride, 64 / stride, 128, stride}, lo, hi, twoTaps)) return;
#endif
        if (BuildPlan(s, {kBlocks16, outputs, 16 / stride, 16, stride}, lo, hi, twoTaps)) return;
        if (BuildPlan(s, {kBlocks32, outputs, 16 / stride, 32, stride}, lo, hi, twoTaps)) return;
    }
    s.mode = kNone;
    s.vectors = 0;
}

// ------------------------------------------------------------- block rows

// The windows of one vector's blocks, `skip` bytes into each.
HWY_INLINE hn::Vec<D8> LoadWindows(const uint8_t* in, const int32_t* base, int skip) {
    const D8 d;
    if constexpr (kBlocks == 1) {
        return hn::LoadU(d, in + base[0] + skip);
    } else {
        const hn::Half<D8> h;
        return hn::Combine(d, hn::LoadU(h, in + base[1] + skip), hn::LoadU(h, in + base[0] + skip));
    }
}

template <int kMode>
HWY_INLINE hn::Vec<D8> Shuffle(const uint8_t* in, const int32_t* base, hn::Vec<D8> idx) {
    const D8 d;
    const auto lower = hn::TableLookupBytesOr0(LoadWindows(in, base, 0), idx);
    if constexpr (kMode == kBlocks16) {
        return lower;
    } else {
        const auto upper = hn::Xor(idx, hn::Set(d, 0x90));
        return hn::Or(lower, hn::TableLookupBytesOr0(LoadWindows(in, base, 16), upper));
    }
}

// Taps as 16-bit lanes. Two 16-byte lookups cannot both zero the high byte,
// so a 32-byte window masks it.
template <int kMode>
HWY_INLINE hn::Vec<D16> Shuffle16(const uint8_t* in, const int32_t* base, hn::Vec<D8> idx) {
    const D16 d16;
    const auto v = hn::BitCast(d16, Shuffle<kMode>(in, base, idx));
    if constexpr (kMode == kBlocks16) return v;
    return hn::And(v, hn::Set(d16, 0xFF));
}

template <class V>
HWY_INLINE V Lerp(V a, V b, V w) {
    return hn::Add(a, hn::MulHigh(hn::ShiftLeft<4>(hn::Sub(b, a)), w));
}

template <int kMode>
void NearBlocks(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    const D8 d;
    const int n = s.count;
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * kBlockBytes, n - kBlockBytes);
        const auto idx = hn::Load(d, s.idx0 + v * kBlockBytes);
        hn::StoreU(Shuffle<kMode>(in, s.base + v * kBlocks, idx), d, out + pos);
    }
}

// One tap through 16-bit lanes (also the first tap of a two-tap plan).
template <int kMode>
void NearWordBlocks(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    const D8 d8;
    const DHalf8 dh;
    constexpr int kOutputs = kBlockBytes / 2;
    const int n = s.count;
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * kOutputs, n - kOutputs);
        const auto idx = hn::Load(d8, s.idx0 + v * kBlockBytes);
        hn::StoreU(hn::DemoteTo(dh, Shuffle16<kMode>(in, s.base + v * kBlocks, idx)), dh, out + pos);
    }
}

// How a two-tap row combines its taps: a lerp along row in0, lerps along
// both rows and between them, or the truncated mean of all four.
constexpr int kOneRow = 0;
constexpr int kTwoRows = 1;
constexpr int kMean = 2;

template <int kHow, class V>
HWY_INLINE V CombineTaps(V a0, V b0, V a1, V b1, V wx, V wy) {
    if constexpr (kHow == kMean) return hn::ShiftRight<2>(hn::Add(hn::Add(a0, b0), hn::Add(a1, b1)));
    const V top = Lerp(a0, b0, wx);
    if constexpr (kHow == kOneRow) return top;
    return Lerp(top, Lerp(a1, b1, wx), wy);
}

template <int kMode, int kHow>
void TwoTapBlocks(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s,
                  int wy1) {
    const D8 d8;
    const D16 d16;
    const DHalf8 dh;
    constexpr int kOutputs = kBlockBytes / 2;
    const int n = s.count;
    const auto wy = hn::Set(d16, static_cast<int16_t>(wy1));
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * kOutputs, n - kOutputs);
        const int32_t* base = s.base + v * kBlocks;
        const auto i0 = hn::Load(d8, s.idx0 + v * kBlockBytes);
        const auto i1 = hn::Load(d8, s.idx1 + v * kBlockBytes);
        const auto wx = hn::Load(d16, s.weight + v * kOutputs);
        const auto a0 = Shuffle16<kMode>(in0, base, i0), b0 = Shuffle16<kMode>(in0, base, i1);
        auto a1 = a0, b1 = b0;
        if constexpr (kHow != kOneRow) a1 = Shuffle16<kMode>(in1, base, i0), b1 = Shuffle16<kMode>(in1, base, i1);
        hn::StoreU(hn::DemoteTo(dh, CombineTaps<kHow>(a0, b0, a1, b1, wx, wy)), dh, out + pos);
    }
}

// -------------------------------------------------------------- VBMI rows
#if HWY_TARGET == HWY_AVX3_DL

// Even bytes of a two-tap index pick taps, odd bytes are zeroed.
constexpr __mmask64 kLowBytes = 0x5555555555555555ull;

HWY_INLINE __m512i Permute(const uint8_t* window, __m512i idx) {
    return _mm512_permutex2var_epi8(_mm512_loadu_si512(window), idx, _mm512_loadu_si512(window + 64));
}

HWY_INLINE hn::Vec512<int16_t> Permute16(const uint8_t* window, __m512i idx) {
    return hn::Vec512<int16_t>{_mm512_maskz_permutex2var_epi8(
        kLowBytes, _mm512_loadu_si512(window), idx, _mm512_loadu_si512(window + 64))};
}

void NearVbmi(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    const int n = s.count;
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * 64, n - 64);
        const __m512i idx = _mm512_load_si512(s.idx0 + v * 64);
        _mm512_storeu_si512(out + pos, Permute(in + s.base[v], idx));
    }
}

void NearWordVbmi(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    const int n = s.count;
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * 32, n - 32);
        const __m512i idx = _mm512_load_si512(s.idx0 + v * 64);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + pos),
                            _mm512_cvtepi16_epi8(Permute16(in + s.base[v], idx).raw));
    }
}

template <int kHow>
void TwoTapVbmi(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s, int wy1) {
    const hn::Full512<int16_t> d16;
    const int n = s.count;
    const auto wy = hn::Set(d16, static_cast<int16_t>(wy1));
    out += s.first;
    for (int v = 0; v < s.vectors; ++v) {
        const int pos = std::min(v * 32, n - 32);
        const uint8_t* w0 = in0 + s.base[v];
        const __m512i i0 = _mm512_load_si512(s.idx0 + v * 64);
        const __m512i i1 = _mm512_load_si512(s.idx1 + v * 64);
        const auto wx = hn::Load(d16, s.weight + v * 32);
        const auto a0 = Permute16(w0, i0), b0 = Permute16(w0, i1);
        auto a1 = a0, b1 = b0;
        if constexpr (kHow != kOneRow) a1 = Permute16(in1 + s.base[v], i0), b1 = Permute16(in1 + s.base[v], i1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + pos),
                            _mm512_cvtepi16_epi8(CombineTaps<kHow>(a0, b0, a1, b1, wx, wy).raw));
    }
}
#endif

// ------------------------------------------------------------ entry points

void NearRow(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    switch (s.mode * 2 + (s.stride == 2)) {
    case kBlocks16 * 2:
        return NearBlocks<kBlocks16>(in, out, s);
    case kBlocks16 * 2 + 1:
        return NearWordBlocks<kBlocks16>(in, out, s);
    case kBlocks32 * 2:
        return NearBlocks<kBlocks32>(in, out, s);
    case kBlocks32 * 2 + 1:
        return NearWordBlocks<kBlocks32>(in, out, s);
#if HWY_TARGET == HWY_AVX3_DL
    case kVbmi128 * 2:
        return NearVbmi(in, out, s);
    case kVbmi128 * 2 + 1:
        return NearWordVbmi(in, out, s);
#endif
    default:
        return PlaneRowFamily().Reference().nearRow(in, out, s);
    }
}

void BiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s, int wy1) {
    // A row sitting exactly on a source row leaves the second row unread.
    switch (s.mode * 2 + (wy1 != 0)) {
    case kBlocks16 * 2:
        return TwoTapBlocks<kBlocks16, kOneRow>(in0, in1, out, s, wy1);
    case kBlocks16 * 2 + 1:
        return TwoTapBlocks<kBlocks16, kTwoRows>(in0, in1, out, s, wy1);
    case kBlocks32 * 2:
        return TwoTapBlocks<kBlocks32, kOneRow>(in0, in1, out, s, wy1);
    case kBlocks32 * 2 + 1:
        return TwoTapBlocks<kBlocks32, kTwoRows>(in0, in1, out, s, wy1);
#if HWY_TARGET == HWY_AVX3_DL
    case kVbmi128 * 2:
        return TwoTapVbmi<kOneRow>(in0, in1, out, s, wy1);
    case kVbmi128 * 2 + 1:
        return TwoTapVbmi<kTwoRows>(in0, in1, out, s, wy1);
#endif
    default:
        return PlaneRowFamily().Reference().bilinearRow(in0, in1, out, s, wy1);
    }
}

void AverageRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s) {
    switch (s.mode) {
    case kBlocks16:
        return TwoTapBlocks<kBlocks16, kMean>(in0, in1, out, s, 0);
    case kBlocks32:
        return TwoTapBlocks<kBlocks32, kMean>(in0, in1, out, s, 0);
#if HWY_TARGET == HWY_AVX3_DL
    case kVbmi128:
        return TwoTapVbmi<kMean>(in0, in1, out, s, 0);
#endif
    default:
        return PlaneRowFamily().Reference().averageRow(in0, in1, out, s);
    }
}

#endif  // QV_PLANE_ROWS_SIMD

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
#if QV_PLANE_ROWS_SIMD
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
constexpr PlaneRows kRows = {PlanColumns, NearRow, BiLinearRow, AverageRow};
const bool kRegistered = PlaneRowFamily().Register(HWY_TARGET, &kRows);
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
#endif
