// One output sample (or stereo frame) of the linear resamplers, in the double
// arithmetic that defines the converter's output. The reference rows loop
// over these; the SIMD rows evaluate the same operations lane-wise and use
// these for the samples near a block's end.
#ifndef QUEVARRA_SRC_AUDIO_RESAMPLESAMPLE_H
#define QUEVARRA_SRC_AUDIO_RESAMPLESAMPLE_H

#include <math.h>

namespace qv::audio {

// Source position of output i (a sample, or a stereo frame) of n over a
// block of m: the block's last input at most, -1 the carried one.
inline double Position(int i, int m, int n) { return static_cast<double>(i + 1) * m / n - 1.0; }

// The floor of a position, never below -1.
inline int Floor(double p) { return static_cast<int>(trunc(p + 1.0)) - 1; }

// The position formula lands on the block's last sample at most, but a read of
// the neighbour to its right is then made with a zero weight; reading the last
// mapped sample instead keeps the result and never leaves the block.
inline double At(const short* W, int m, int index) {
    return static_cast<double>(W[index < m ? index : m - 1]);
}

// Mono output i, clamped to +-32767.
inline short MonoSample(const short* W, int m, int n, int i) {
    double p = Position(i, m, n);
    int j = Floor(p);
    double f = p - j;
    double a = At(W, m, j);
    double v = a + trunc((At(W, m, j + 1) - a) * f);
    if (v >= 32767.0) v = 32767.0;
    if (v <= -32767.0) v = -32767.0;
    return static_cast<short>(v);
}

// Stereo output frame k into out[2k], out[2k + 1]; no clamp (the values lie
// between two 16-bit samples).
inline void StereoFrame(const short* W, int m, int n, int k, short* out) {
    double p = Position(k, m, n);
    int j = Floor(p);
    double f = p - j;
    double l = At(W, m, 2 * j);
    double r = At(W, m, 2 * j + 1);
    out[2 * k] = static_cast<short>(l + trunc((At(W, m, 2 * j + 2) - l) * f));
    out[2 * k + 1] = static_cast<short>(r + trunc((At(W, m, 2 * j + 3) - r) * f));
}

// Pins the last output frame to the last input frame.
inline void PinLastFrame(const short* W, int m, short* out, int n) {
    if (n > 1 && m > 1) {
        out[n - 2] = W[m - 2];
        out[n - 1] = W[m - 1];
    }
}

}  // namespace qv::audio

#endif
