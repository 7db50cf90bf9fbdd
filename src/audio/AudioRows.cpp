// Reference rows of the PCM converter: the exact arithmetic every SIMD target
// must reproduce.
#include "audio/AudioRows.h"

#include "audio/ResampleSample.h"

namespace qv::audio {
namespace {

void MonoToStereo(const short* src, int count, short* dst) {
    for (int i = 0; i < count; ++i) dst[2 * i] = dst[2 * i + 1] = src[i];
}

void StereoToMono(const short* src, int frames, short* dst) {
    for (int i = 0; i < frames; ++i)
        dst[i] = static_cast<short>(src[2 * i] / 2 + src[2 * i + 1] / 2);
}

void ResampleMono(const short* W, int m, short* out, int n) {
    for (int i = 0; i < n; ++i) out[i] = MonoSample(W, m, n, i);
}

void ResampleStereo(const short* W, int m, short* out, int n) {
    for (int k = 0; k < n / 2; ++k) StereoFrame(W, m, n, k, out);
    PinLastFrame(W, m, out, n);
}

void CopyHolding(const short* W, int m, short* out, int n, int channels) {
    for (int i = 0; i < n; ++i)
        out[i] = i < m ? W[i] : W[m - channels + (i - m) % channels];
}

constexpr AudioRows kReferenceRows = {MonoToStereo, StereoToMono, ResampleMono, ResampleStereo,
                                      CopyHolding};

qv::cpu::Family<AudioRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<AudioRows>& AudioRowFamily() { return g_family; }

}  // namespace qv::audio
