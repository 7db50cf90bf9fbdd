// Cubic convolution resizer (kernel parameter a = -1) for packed 4-byte
// bottom-up images, with optional pre-smoothing of the inner taps.
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

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

// A step of 2048 or less (enlarging 2x or more) or 8192 or more (shrinking
// to half or less) smooths the inner taps.
bool Smooths(int64_t step) { return step >= 2 * kOne || step <= kOne / 2; }

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

struct RowTaps {
    const uint8_t* rows[4];  // source rows R0..R3, each at the rectangle's left column
    double w[4];
    bool smooth;
};

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

}  // namespace

QV_API int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 4}, dst, {Layout::BottomUp, 4}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const bool hSmooth = Smooths(stepX);
    const int top = src.y;
    const int bottom = src.y + src.cy - 1;
    RowTaps rt{};
    rt.smooth = Smooths(stepY);
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        // Below the second-to-last row the lowest tap repeats the row itself.
        int below1 = r, below2 = r;
        if (r <= bottom - 2) {
            below1 = r + 1;
            below2 = r + 2;
        } else if (r == bottom - 1) {
            below1 = r + 1;
        }
        const int rows[4] = {r > top ? r - 1 : r, r, below1, below2};
        for (int m = 0; m < 4; ++m)
            rt.rows[m] = RowBottomUp(src, rows[m]) + 4 * src.x;
        Weights(Fraction(fy), rt.w);
        ConvolveRow(rt, RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, src.cx - 1,
                    hSmooth);
    }
    return 1;
}
