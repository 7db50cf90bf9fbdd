#include "audio/Resample.h"

#include <math.h>

namespace {

// The position formula lands on the block's last sample at most, but a read of
// the neighbour to its right is then made with a zero weight; reading the last
// mapped sample instead keeps the result and never leaves the block.
inline double At(const short* W, int m, int index) {
    return static_cast<double>(W[index < m ? index : m - 1]);
}

}  // namespace

void ResampleMono(const short* W, int m, short* out, int n) {
    for (int i = 0; i < n; ++i) {
        double p = static_cast<double>(i + 1) * m / n - 1.0;
        int j = static_cast<int>(trunc(p + 1.0)) - 1;
        double f = p - j;
        double a = At(W, m, j);
        double v = a + trunc((At(W, m, j + 1) - a) * f);
        if (v >= 32767.0) v = 32767.0;
        if (v <= -32767.0) v = -32767.0;
        out[i] = static_cast<short>(v);
    }
}

void ResampleStereo(const short* W, int m, short* out, int n) {
    for (int k = 0; k < n / 2; ++k) {
        double p = static_cast<double>(k + 1) * m / n - 1.0;
        int j = static_cast<int>(trunc(p + 1.0)) - 1;
        double f = p - j;
        double l = At(W, m, 2 * j);
        double r = At(W, m, 2 * j + 1);
        out[2 * k] = static_cast<short>(l + trunc((At(W, m, 2 * j + 2) - l) * f));
        out[2 * k + 1] = static_cast<short>(r + trunc((At(W, m, 2 * j + 3) - r) * f));
    }
    if (n > 1 && m > 1) {
        out[n - 2] = W[m - 2];
        out[n - 1] = W[m - 1];
    }
}

void CopyHolding(const short* W, int m, short* out, int n, int channels) {
    for (int i = 0; i < n; ++i)
        out[i] = i < m ? W[i] : W[m - channels + (i - m) % channels];
}
