// SIMD rows of the packed 4-byte and mask resizers, compiled once per target.
// Each row gives exactly the reference rows' bytes (PackedRows.cpp).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/PackedRows_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>
#include <type_traits>

#include "image/PackedRows.h"

// The scalar targets have no lanes to split; the reference rows serve there.
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
HWY_BEFORE_NAMESPACE();
namespace qv::image {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One pixel (or one mask value) per 32-bit lane.
using DU = hn::ScalableTag<uint32_t>;
using DI = hn::RebindToSigned<DU>;
using VU = hn::Vec<DU>;
using VI = hn::Vec<DI>;
using DU16 = hn::Repartition<uint16_t, DU>;
using DI16 = hn::Repartition<int16_t, DU>;

HWY_INLINE int Lanes() { return static_cast<int>(hn::Lanes(DU())); }

HWY_INLINE const uint32_t* Pixels(const uint8_t* p) { return reinterpret_cast<const uint32_t*>(p); }

// Lanes of the 2N-lane table lo:hi at `idx` (0 .. 2N - 1).
HWY_INLINE VU Lookup2(VU lo, VU hi, VI idx) {
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL
    return VU{_mm512_permutex2var_epi32(lo.raw, idx.raw, hi.raw)};
#else
    const DU du;
    const DI di;
    const int n = Lanes();
    const auto ind = hn::IndicesFromVec(du, hn::And(idx, hn::Set(di, n - 1)));
    const auto fromLo = hn::RebindMask(du, hn::Lt(idx, hn::Set(di, n)));
    return hn::IfThenElse(fromLo, hn::TableLookupLanes(lo, ind), hn::TableLookupLanes(hi, ind));
#endif
}

// Stepped columns of one row: destination column i at fx = i * step.
struct Stepping {
    int64_t step;
    int lastCol;
    VI lanes;     // lane * step, exact for every column the row computes
    bool window;  // a group's pixels lie within 2N pixels of its first column

    Stepping(int64_t s, int last)
        : step(s), lastCol(last),
          lanes(hn::Mul(hn::Iota(DI(), 0), hn::Set(DI(), static_cast<int32_t>(s)))),
          // N columns stepping less than 2 pixels each, plus the right
          // neighbour, span at most 2N - 1 pixels.
          window(s < 2 * 4096 && last + 1 >= 2 * Lanes()) {}

    // First pixel of the window of the group at column i: its first column,
    // moved left where the window would pass the row's end.
    int Base(int i) const {
        const int c = static_cast<int>((i * step) >> 12);
        const int limit = lastCol + 1 - 2 * Lanes();
        return c < limit ? c : limit;
    }
};

// Source columns of the group at destination column i: c, its right
// neighbour c1 = min(c + 1, lastCol) and the weight w of c1. Columns of a
// partial group past the row (kClamp) are held inside it.
struct Cols {
    VI c, c1;
    VU w;
};

template <bool kClamp>
HWY_INLINE Cols ColumnsAt(const Stepping& s, int i) {
    const DI di;
    const VI last = hn::Set(di, s.lastCol);
    const VI fx = hn::Add(hn::Set(di, static_cast<int32_t>(i * s.step)), s.lanes);
    VI c = hn::ShiftRight<12>(fx);
    if (kClamp) c = hn::Min(hn::Max(c, hn::Zero(di)), last);
    return {c, hn::Min(hn::Add(c, hn::Set(di, 1)), last), hn::BitCast(DU(), hn::And(fx, hn::Set(di, 4095)))};
}

// 4-byte pixels of row `in` at columns c (0 .. lastCol): lookups in a window
// of 2N pixels from `base`, or a gather.
HWY_INLINE VU Fetch(const uint8_t* in, const Stepping& s, int base, VI c) {
    const DU du;
    if (s.window) {
        const uint32_t* p = Pixels(in) + base;
        return Lookup2(hn::LoadU(du, p), hn::LoadU(du, p + Lanes()), hn::Sub(c, hn::Set(DI(), base)));
    }
    return hn::GatherOffset(du, Pixels(in), hn::ShiftLeft<2>(c));
}

// Runs group(i, out, clamp) over destination columns 0 .. n - 1, N at a time.
// A last partial group works on a copy of its pixels, with clamped columns.
template <class Group>
HWY_INLINE void ForGroups(int n, uint8_t* out, const Group& group) {
    const int lanes = Lanes();
    int i = 0;
    for (; i + lanes <= n; i += lanes) group(i, out + 4 * i, std::false_type());
    if (i < n) {
        alignas(HWY_MAX_BYTES) uint8_t part[HWY_MAX_BYTES] = {};
        std::memcpy(part, out + 4 * i, 4 * (n - i));
        group(i, part, std::true_type());
        std::memcpy(out + 4 * i, part, 4 * (n - i));
    }
}

HWY_INLINE void Store(VU v, uint8_t* out) { hn::StoreU(v, DU(), reinterpret_cast<uint32_t*>(out)); }
HWY_INLINE VU Load(const uint8_t* in) { return hn::LoadU(DU(), Pixels(in)); }

// ---------------------------------------------------------------------------
// Bilinear arithmetic on pixels split into 16-bit lanes: `lo` holds bytes 0
// and 2 of each pixel, `hi` bytes 1 and 3.
struct Split {
    VU lo, hi;
};

HWY_INLINE Split SplitBytes(VU p) {
    const VU m = hn::Set(DU(), 0x00FF00FFu);
    return {hn::And(p, m), hn::And(hn::ShiftRight<8>(p), m)};
}

HWY_INLINE VU Join(Split s) { return hn::Or(s.lo, hn::ShiftLeft<8>(s.hi)); }

// a + (((b - a) * w) >> 12) in every 16-bit lane (w <= 4095): with the
// difference shifted left by 4, the high half of the product is that floor.
HWY_INLINE VU Lerp(VU a, VU b, VU w) {
    const DI16 d16;
    const auto a16 = hn::BitCast(d16, a);
    const auto diff = hn::ShiftLeft<4>(hn::Sub(hn::BitCast(d16, b), a16));
    return hn::BitCast(DU(), hn::Add(a16, hn::MulHigh(diff, hn::BitCast(d16, w))));
}

// Weight w on bytes 0..2, 0 on byte 3 (which keeps a's byte 3).
HWY_INLINE Split Lerp(Split a, Split b, VU w) {
    return {Lerp(a.lo, b.lo, hn::Or(w, hn::ShiftLeft<16>(w))), Lerp(a.hi, b.hi, w)};
}

HWY_INLINE Split HorizontalAt(const uint8_t* in, const Stepping& s, int base, const Cols& k) {
    return Lerp(SplitBytes(Fetch(in, s, base, k.c)), SplitBytes(Fetch(in, s, base, k.c1)), k.w);
}

// The bilinear pixels of the group at column i, byte 3 from in0's column c.
template <bool kClamp>
HWY_INLINE Split BiLinearAt(const uint8_t* in0, const uint8_t* in1, const Stepping& s, int i,
                            int wy1) {
    const Cols k = ColumnsAt<kClamp>(s, i);
    const int base = s.window ? s.Base(i) : 0;
    const Split top = HorizontalAt(in0, s, base, k);
    if (wy1 == 0) return top;
    return Lerp(top, HorizontalAt(in1, s, base, k), hn::Set(DU(), static_cast<uint32_t>(wy1)));
}

template <bool kClamp>
HWY_INLINE VU NearAt(const uint8_t* in, const Stepping& s, int i) {
    return Fetch(in, s, s.window ? s.Base(i) : 0, ColumnsAt<kClamp>(s, i).c);
}

// ---------------------------------------------------------------------------
// Alpha compositing and mask application on 32-bit pixels.
HWY_INLINE VU Mul16(VU a, VU b) {
    const DU16 d16;
    return hn::BitCast(DU(), hn::Mul(hn::BitCast(d16, a), hn::BitCast(d16, b)));
}

// x / 255, truncated, in every 16-bit lane (exact for every 16-bit x).
HWY_INLINE VU Div255(VU x) {
    const DU16 d16;
    return hn::BitCast(DU(), hn::ShiftRight<7>(hn::MulHigh(hn::BitCast(d16, x), hn::Set(d16, 0x8081))));
}

// Source-over of split colour s (its byte 3: the source alpha a) onto pixels
// d: (S * a + D * (255 - a)) / 255 for bytes 0..2 and a + (255 - a) * D / 255
// for byte 3. Every product sum stays below 2^16.
HWY_INLINE VU Composite(Split s, VU d) {
    const DU du;
    const VU a = hn::ShiftRight<16>(s.hi);
    const VU inv = hn::Sub(hn::Set(du, 255), a);
    const VU inv2 = hn::Or(inv, hn::ShiftLeft<16>(inv));
    const Split dd = SplitBytes(d);
    const VU lo = Div255(hn::Add(Mul16(s.lo, hn::Or(a, hn::ShiftLeft<16>(a))), Mul16(dd.lo, inv2)));
    // a weighs byte 1 only: byte 3 takes D * (255 - a) / 255, then a.
    const VU hi = hn::Add(Div255(hn::Add(Mul16(s.hi, a), Mul16(dd.hi, inv2))), hn::ShiftLeft<16>(a));
    return Join({lo, hi});
}

HWY_INLINE void CompositePixel(const uint8_t* p, uint8_t* out) {
    alignas(HWY_MAX_BYTES) uint8_t s[HWY_MAX_BYTES] = {}, d[HWY_MAX_BYTES] = {};
    std::memcpy(s, p, 4);
    std::memcpy(d, out, 4);
    Store(Composite(SplitBytes(Load(s)), Load(d)), d);
    std::memcpy(out, d, 4);
}

// Mask value m onto pixels d: cleared where m is 0, byte 3 replaced by m.
HWY_INLINE VU ApplyNear(VU m, VU d) {
    const DU du;
    const VU px = hn::Or(hn::And(d, hn::Set(du, 0x00FFFFFFu)), hn::ShiftLeft<24>(m));
    return hn::IfThenZeroElse(hn::Eq(m, hn::Zero(du)), px);
}

// Cleared where m is 0, byte 3 scaled by m / 255.
HWY_INLINE VU ApplyScaled(VU m, VU d) {
    const DU du;
    const VU alpha = Div255(Mul16(m, hn::ShiftRight<24>(d)));
    const VU px = hn::Or(hn::And(d, hn::Set(du, 0x00FFFFFFu)), hn::ShiftLeft<24>(alpha));
    return hn::IfThenZeroElse(hn::Eq(m, hn::Zero(du)), px);
}

// Mask bytes at columns c and c1 (c <= c1 <= c + 1, both within 0 .. last)
// from one 4-byte gather starting at min(c, last - 3); rows shorter than
// 4 bytes have been copied into 4 bytes (last >= 3).
HWY_INLINE void FetchBytes(const uint8_t* in, int last, const Cols& k, VU& a, VU& b) {
    const DU du;
    const DI di;
    const VI off = hn::Min(k.c, hn::Set(di, last - 3));
    const VU g = hn::GatherOffset(du, Pixels(in), off);
    const VU byte = hn::Set(du, 255);
    a = hn::And(hn::Shr(g, hn::BitCast(du, hn::ShiftLeft<3>(hn::Sub(k.c, off)))), byte);
    b = hn::And(hn::Shr(g, hn::BitCast(du, hn::ShiftLeft<3>(hn::Sub(k.c1, off)))), byte);
}

// A mask row readable 4 bytes at a time: short rows are copied into `pad`.
struct MaskRow {
    const uint8_t* in;
    int last;
    uint8_t pad[4] = {};
    MaskRow(const uint8_t* row, int lastCol) : in(row), last(lastCol) {
        if (lastCol < 3) {
            std::memcpy(pad, row, lastCol + 1);
            in = pad;
            last = 3;
        }
    }
    MaskRow(const MaskRow&) = delete;
};

// m at the stepped columns of the group at i.
template <bool kClamp>
HWY_INLINE VU MaskNearAt(const MaskRow& row, const Stepping& s, int i) {
    VU a, b;
    FetchBytes(row.in, row.last, ColumnsAt<kClamp>(s, i), a, b);
    return a;
}

HWY_INLINE VU MaskPinned(const uint8_t* in, int lastCol) { return hn::Set(DU(), in[lastCol]); }

// ---------------------------------------------------------------------------
// Rows.
void NearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    const Stepping s(step, lastCol);
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        Store(NearAt<decltype(clamp)::value>(in, s, i), o);
    });
    std::memcpy(out + 4 * (count - 1), in + 4 * lastCol, 4);
}

void BiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
                 int lastCol, int wy1) {
    const Stepping s(step, lastCol);
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        Store(Join(BiLinearAt<decltype(clamp)::value>(in0, in1, s, i, wy1)), o);
    });
    std::memcpy(out + 4 * (count - 1), in0 + 4 * lastCol, 4);
}

void AlphaRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
              int lastCol, int wy1) {
    const Stepping s(step, lastCol);
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        Store(Composite(BiLinearAt<decltype(clamp)::value>(in0, in1, s, i, wy1), Load(o)), o);
    });
    CompositePixel(in0 + 4 * lastCol, out + 4 * (count - 1));
}

void AlphaNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    const Stepping s(step, lastCol);
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        Store(Composite(SplitBytes(NearAt<decltype(clamp)::value>(in, s, i)), Load(o)), o);
    });
    CompositePixel(in + 4 * lastCol, out + 4 * (count - 1));
}

// The mask rows step through bytes: no pixel window applies.
template <VU (*kApply)(VU, VU)>
void MaskNear(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    Stepping s(step, lastCol);
    const MaskRow row(in, lastCol);
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        Store(kApply(MaskNearAt<decltype(clamp)::value>(row, s, i), Load(o)), o);
    });
    ForGroups(1, out + 4 * (count - 1), [&](int, uint8_t* o, auto) {
        Store(kApply(MaskPinned(in, lastCol), Load(o)), o);
    });
}

void MaskBiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                     int64_t step, int lastCol, int wy1) {
    const Stepping s(step, lastCol);
    const MaskRow row0(in0, lastCol), row1(in1, lastCol);
    const VU wy = hn::Set(DU(), static_cast<uint32_t>(wy1));
    ForGroups(count - 1, out, [&](int i, uint8_t* o, auto clamp) {
        const Cols k = ColumnsAt<decltype(clamp)::value>(s, i);
        VU a, b, d, e;
        FetchBytes(row0.in, row0.last, k, a, b);
        FetchBytes(row1.in, row1.last, k, d, e);
        const VU m = Lerp(Lerp(a, b, k.w), Lerp(d, e, k.w), wy);
        Store(ApplyScaled(m, Load(o)), o);
    });
    ForGroups(1, out + 4 * (count - 1), [&](int, uint8_t* o, auto) {
        Store(ApplyScaled(MaskPinned(in0, lastCol), Load(o)), o);
    });
}

// ---------------------------------------------------------------------------
// Cubic convolution. The tap values and products are small integers over
// 2^36 at most, all exact in double: the sums below are the reference's to
// the bit, computed in the same order all the same.
// Vectors of up to 16 lanes: a group never passes a strip's padding.
#if HWY_MAX_BYTES <= 64
static_assert(4 * kConvolvePad >= 64, "strip padding narrower than a vector");
using DF = hn::Repartition<double, DI>;  // half as many lanes
using DH = hn::Rebind<int32_t, DF>;      // the halves of an int32 vector
using VF = hn::Vec<DF>;

// C's x / 3 for |x| < 2^15, and x / 2: truncating toward zero.
HWY_INLINE VI Div3(VI x) {
    const DI di;
    return hn::Sub(hn::ShiftRight<16>(hn::Mul(x, hn::Set(di, 21846))), hn::ShiftRight<31>(x));
}
HWY_INLINE VI Halve(VI x) { return hn::ShiftRight<1>(hn::Sub(x, hn::ShiftRight<31>(x))); }

HWY_INLINE void SmoothInner(VI v[4]) {
    const VI d = hn::Sub(v[3], v[0]);
    const VI v1 = Halve(hn::Add(hn::Add(v[0], v[1]), Div3(d)));
    const VI v2 = Halve(hn::Add(hn::Add(v[0], v[2]), Div3(hn::Add(d, d))));
    v[1] = v1;
    v[2] = v2;
}

// (int)(a0 * w0 + a1 * w1 + a2 * w2 + a3 * w3 + 0.5) over half the lanes.
HWY_INLINE hn::Vec<DH> WeighHalf(const hn::Vec<DH> a[4], const VF w[4]) {
    const DF df;
    VF sum = hn::Mul(hn::PromoteTo(df, a[0]), w[0]);
    sum = hn::Add(sum, hn::Mul(hn::PromoteTo(df, a[1]), w[1]));
    sum = hn::Add(sum, hn::Mul(hn::PromoteTo(df, a[2]), w[2]));
    sum = hn::Add(sum, hn::Mul(hn::PromoteTo(df, a[3]), w[3]));
    return hn::DemoteTo(DH(), hn::Add(sum, hn::Set(df, 0.5)));
}

HWY_INLINE VI Weigh(const VI a[4], const VF wLo[4], const VF wHi[4]) {
    const DH dh;
    hn::Vec<DH> lo[4], hi[4];
    for (int n = 0; n < 4; ++n) {
        lo[n] = hn::LowerHalf(dh, a[n]);
        hi[n] = hn::UpperHalf(dh, a[n]);
    }
    return hn::Combine(DI(), WeighHalf(hi, wHi), WeighHalf(lo, wLo));
}

void ConvolveFilter(const uint8_t* in, const ConvolveColumns& cols, ConvolveFiltered& out) {
    const DU du;
    const DI di;
    const DF df;
    const int lanes = Lanes(), half = lanes / 2;
    const int limit = cols.lastCol + 1 - 2 * lanes;
    for (int g = 0; g < cols.count; g += lanes) {
        VI tap[4];
        for (int n = 0; n < 4; ++n) tap[n] = hn::LoadU(di, cols.tap[n] + g);
        // Taps rise across a group: a window of 2N pixels holds them all when
        // the group spans less, else they are gathered.
        const int base = cols.tap[0][g] < limit ? cols.tap[0][g] : limit;
        VU px[4];
        if (limit >= 0 && cols.tap[3][g + lanes - 1] - base < 2 * lanes) {
            const VU lo = hn::LoadU(du, Pixels(in) + base), hi = hn::LoadU(du, Pixels(in) + base + lanes);
            for (int n = 0; n < 4; ++n) px[n] = Lookup2(lo, hi, hn::Sub(tap[n], hn::Set(di, base)));
        } else {
            for (int n = 0; n < 4; ++n) px[n] = hn::GatherOffset(du, Pixels(in), hn::ShiftLeft<2>(tap[n]));
        }
        hn::StoreU(hn::And(px[1], hn::Set(du, 0xFF000000u)), du, out.alpha + g);
        VF wLo[4], wHi[4];
        for (int n = 0; n < 4; ++n) {
            wLo[n] = hn::LoadU(df, cols.weight[n] + g);
            wHi[n] = hn::LoadU(df, cols.weight[n] + g + half);
        }
        for (int k = 0; k < 3; ++k) {
            VI a[4];
            for (int n = 0; n < 4; ++n)
                a[n] = hn::BitCast(di, hn::And(hn::ShiftRightSame(px[n], 8 * k), hn::Set(du, 255)));
            if (cols.smooth) SmoothInner(a);
            hn::StoreU(Weigh(a, wLo, wHi), di, out.h[k] + g);
        }
    }
}

void ConvolveCombine(const ConvolveFiltered* const rows[4], const double w[4], bool smooth,
                     uint8_t* out, int count) {
    const DI di;
    const DF df;
    VF wv[4];
    for (int m = 0; m < 4; ++m) wv[m] = hn::Set(df, w[m]);
    ForGroups(count, out, [&](int g, uint8_t* o, auto) {
        VU px = hn::LoadU(DU(), rows[1]->alpha + g);
        for (int k = 0; k < 3; ++k) {
            VI h[4];
            for (int m = 0; m < 4; ++m) h[m] = hn::LoadU(di, rows[m]->h[k] + g);
            if (smooth) SmoothInner(h);
            const VI v = hn::Min(hn::Max(Weigh(h, wv, wv), hn::Zero(di)), hn::Set(di, 255));
            px = hn::Or(px, hn::ShiftLeftSame(hn::BitCast(DU(), v), 8 * k));
        }
        Store(px, o);
    });
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace qv::image
HWY_AFTER_NAMESPACE();

// Registration runs without the target's instruction set: it only copies
// function pointers, and only a CPU that runs the target ever calls them.
namespace qv::image {
namespace HWY_NAMESPACE {
namespace {
const PackedRows* MakeRows() {
    static PackedRows rows = PackedRowFamily().Reference();
    rows.nearRow = NearRow;
    rows.bilinearRow = BiLinearRow;
    rows.alphaRow = AlphaRow;
    rows.alphaNearRow = AlphaNearRow;
    rows.maskNearRow = MaskNear<ApplyNear>;
    rows.maskScaledNearRow = MaskNear<ApplyScaled>;
    rows.maskBiLinearRow = MaskBiLinearRow;
#if HWY_MAX_BYTES <= 64  // wider vectors would pass the strips' padding
    rows.convolveFilter = ConvolveFilter;
    rows.convolveCombine = ConvolveCombine;
#endif
    return &rows;
}
const bool kRegistered = PackedRowFamily().Register(HWY_TARGET, MakeRows());
}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace qv::image
#endif
