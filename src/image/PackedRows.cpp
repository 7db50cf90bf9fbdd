// Reference rows of the packed 4-byte and mask resizers: the exact arithmetic
// every SIMD target must reproduce.
#include "image/PackedRows.h"

#include <cstring>

#include "image/ResizeCommon.h"

namespace qv::image {
namespace {

// 4-byte pixels: stepped columns, the last one pinned to `lastCol`.
void NearRow32(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        std::memcpy(out + 4 * i, in + 4 * (fx >> kShift), 4);
    std::memcpy(out + 4 * (count - 1), in + 4 * lastCol, 4);
}

// Bytes 0..2 of destination pixel i (at fx) between rows in0 and in1 into
// s; returns in0's pixel c, the upper-left neighbour.
inline const uint8_t* BiLinearPixel(const uint8_t* in0, const uint8_t* in1, int64_t fx,
                                    int lastCol, int wy1, int s[3]) {
    const int c = static_cast<int>(fx >> kShift);
    const int c1 = c < lastCol ? c + 1 : lastCol;
    const int wx1 = static_cast<int>(fx & kFrac);
    const uint8_t* a = in0 + 4 * c;
    const uint8_t* b = in0 + 4 * c1;
    const uint8_t* d = in1 + 4 * c;
    const uint8_t* e = in1 + 4 * c1;
    for (int k = 0; k < 3; ++k)
        s[k] = BiLinearSample(a[k], b[k], d[k], e[k], wx1, wy1);
    return a;
}

// 4-byte pixels between rows in0 and in1: bytes 0..2 interpolated, byte 3
// from the upper-left neighbour; the last column copies `lastCol` whole.
void BiLinearRow32(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                   int64_t step, int lastCol, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step) {
        int s[3];
        const uint8_t* a = BiLinearPixel(in0, in1, fx, lastCol, wy1, s);
        uint8_t* o = out + 4 * i;
        for (int k = 0; k < 3; ++k)
            o[k] = static_cast<uint8_t>(s[k]);
        o[3] = a[3];
    }
    std::memcpy(out + 4 * (count - 1), in0 + 4 * lastCol, 4);
}

// Source-over of colour s[0..2] with alpha a onto destination pixel d.
inline void Composite(const int s[3], int a, uint8_t* d) {
    for (int k = 0; k < 3; ++k)
        d[k] = static_cast<uint8_t>(Div255(s[k] * a + d[k] * (255 - a)));
    d[3] = static_cast<uint8_t>(a + Div255((255 - a) * d[3]));
}

inline void CompositePixel(const uint8_t* p, uint8_t* d) {
    const int s[3] = {p[0], p[1], p[2]};
    Composite(s, p[3], d);
}

// Stepped row: colour interpolated between rows in0 and in1, alpha from the
// upper-left neighbour; the last column composites `lastCol` of in0 whole.
void AlphaRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
              int lastCol, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step) {
        int s[3];
        const uint8_t* a = BiLinearPixel(in0, in1, fx, lastCol, wy1, s);
        Composite(s, a[3], out + 4 * i);
    }
    CompositePixel(in0 + 4 * lastCol, out + 4 * (count - 1));
}

// Last row: nearest stepped columns, the last one pinned.
void AlphaNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        CompositePixel(in + 4 * (fx >> kShift), out + 4 * i);
    CompositePixel(in + 4 * lastCol, out + 4 * (count - 1));
}

inline void ApplyNear(int m, uint8_t* d) {
    if (m == 0)
        d[0] = d[1] = d[2] = 0;
    d[3] = static_cast<uint8_t>(m);
}

inline void ApplyScaled(int m, uint8_t* d) {
    if (m == 0)
        d[0] = d[1] = d[2] = d[3] = 0;
    d[3] = static_cast<uint8_t>(Div255(m * d[3]));
}

using Apply = void (*)(int, uint8_t*);

// Nearest stepped columns, the last one pinned.
void MaskNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol,
                 Apply apply) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        apply(in[fx >> kShift], out + 4 * i);
    apply(in[lastCol], out + 4 * (count - 1));
}

void MaskKeepNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    MaskNearRow(in, out, count, step, lastCol, ApplyNear);
}

void MaskScaledNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    MaskNearRow(in, out, count, step, lastCol, ApplyScaled);
}

void MaskBiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                     int64_t step, int lastCol, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int c1 = c < lastCol ? c + 1 : lastCol;
        ApplyScaled(BiLinearSample(in0[c], in0[c1], in1[c], in1[c1], static_cast<int>(fx & kFrac),
                                   wy1),
                    out + 4 * i);
    }
    ApplyScaled(in0[lastCol], out + 4 * (count - 1));
}

// Kernel weight for a distance 0 <= t <= 2, evaluated literally in these
// polynomial forms so results are reproducible to the bit.
double Kernel(double t) {
    if (t <= 1.0)
        return t * t * t - 2.0 * t * t + 1.0;
    return -t * t * t + 5.0 * t * t - 8.0 * t + 4.0;
}

// Weights of the taps at -1, 0, +1, +2 for a fraction f in [0, 1).
void Weights(double f, double w[4]) {
    w[0] = Kernel(1.0 + f);
    w[1] = Kernel(f);
    w[2] = Kernel(1.0 - f);
    w[3] = Kernel(2.0 - f);
}

// The fraction of a Q12 accumulator; equal to the double product
// i * step / 4096 minus its whole part, as every term is exact in double.
double Fraction(int64_t acc) { return static_cast<double>(acc & kFrac) * (1.0 / 4096.0); }

// Pulls the two inner taps halfway towards the straight line from v[0] to
// v[3]; integer division truncating toward zero.
void SmoothInner(int v[4]) {
    const int d = v[3] - v[0];
    const int v1 = (v[0] + v[1] + d / 3) / 2;
    const int v2 = (v[0] + v[2] + (2 * d) / 3) / 2;
    v[1] = v1;
    v[2] = v2;
}

int Round(double v) { return static_cast<int>(v + 0.5); }  // truncates toward zero

// One destination row: columns stepped from the rectangle's left, taps
// clamped to columns 0..lastCol of the rectangle.
void ConvolveRow(const RowTaps& rt, uint8_t* out, int count, int64_t step, int lastCol,
                 bool hSmooth) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int cols[4] = {c > 0 ? c - 1 : 0, c, c + 1 < lastCol ? c + 1 : lastCol,
                             c + 2 < lastCol ? c + 2 : lastCol};
        double w[4];
        Weights(Fraction(fx), w);
        uint8_t* o = out + 4 * i;
        for (int k = 0; k < 3; ++k) {
            int h[4];
            for (int m = 0; m < 4; ++m) {
                int a[4];
                for (int n = 0; n < 4; ++n)
                    a[n] = rt.rows[m][4 * cols[n] + k];
                if (hSmooth)
                    SmoothInner(a);
                // Not clamped: overshoot at hard edges feeds the vertical pass.
                h[m] = Round(a[0] * w[0] + a[1] * w[1] + a[2] * w[2] + a[3] * w[3]);
            }
            if (rt.smooth)
                SmoothInner(h);
            const int v = Round(h[0] * rt.w[0] + h[1] * rt.w[1] + h[2] * rt.w[2] + h[3] * rt.w[3]);
            o[k] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
        o[3] = rt.rows[1][4 * c + 3];
    }
}

constexpr PackedRows kReferenceRows = {
    NearRow32,      BiLinearRow32,     AlphaRow,        AlphaNearRow, MaskKeepNearRow,
    MaskScaledNearRow, MaskBiLinearRow, ConvolveRow,    nullptr,      nullptr};

qv::cpu::Family<PackedRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<PackedRows>& PackedRowFamily() { return g_family; }

void ConvolveWeights(int64_t acc, double w[4]) { Weights(Fraction(acc), w); }

// A step of 2048 or less (enlarging 2x or more) or 8192 or more (shrinking
// to half or less) smooths the inner taps.
bool ConvolveSmooths(int64_t step) { return step >= 2 * kOne || step <= kOne / 2; }

void PlanConvolveColumns(ConvolveColumns& cols, int first, int count, int64_t step, int lastCol,
                         bool smooth) {
    cols.count = count;
    cols.lastCol = lastCol;
    cols.smooth = smooth;
    auto clamp = [lastCol](int64_t c) { return static_cast<int32_t>(c < 0 ? 0 : c > lastCol ? lastCol : c); };
    for (int k = 0; k < count + kConvolvePad; ++k) {
        // Padding columns may step past the row; they are clamped into it.
        const int64_t fx = (first + int64_t{k}) * step;
        const int64_t c = fx >> kShift;
        for (int n = 0; n < 4; ++n)
            cols.tap[n][k] = clamp(c - 1 + n);
        double w[4];
        ConvolveWeights(fx, w);
        for (int n = 0; n < 4; ++n)
            cols.weight[n][k] = w[n];
    }
}

}  // namespace qv::image
