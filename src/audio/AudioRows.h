// Row kernels of the PCM converter: channel mapping of one block and the
// linear resamplers over the mapped block. ConvertData in AudioConverter.cpp
// checks sizes and walks the block; these functions do the per-sample work.
// Every target's rows give exactly the reference rows' samples.
#ifndef QUEVARRA_SRC_AUDIO_AUDIOROWS_H
#define QUEVARRA_SRC_AUDIO_AUDIOROWS_H

#include "cpu/Family.h"

namespace qv::audio {

// The resamplers read a mapped block W[0..m) whose two preceding samples
// W[-2], W[-1] (the previous block's last sample frame) are readable too;
// they read nothing else. Positions, weights and values are the double
// formulas of ResampleSample.h, evaluated exactly so on every target.
struct AudioRows {
    // dst[2i] = dst[2i + 1] = src[i] for i < count.
    void (*monoToStereo)(const short* src, int count, short* dst);
    // dst[i] = src[2i] / 2 + src[2i + 1] / 2 (each half truncated) for i < frames.
    void (*stereoToMono)(const short* src, int frames, short* dst);
    // n mono samples: out[i] = MonoSample(W, m, n, i).
    void (*resampleMono)(const short* W, int m, short* out, int n);
    // n samples (n even) of stereo frames: StereoFrame(W, m, n, k) for
    // k < n / 2, then, when n and m are above 1, the last output frame is
    // W[m - 2], W[m - 1].
    void (*resampleStereo)(const short* W, int m, short* out, int n);
    // Equal rates: out[i] = W[i] for i < min(m, n); beyond m the last frame
    // of `channels` samples is repeated.
    void (*copyHolding)(const short* W, int m, short* out, int n, int channels);
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<AudioRows>& AudioRowFamily();

}  // namespace qv::audio

#endif
