// Linear resampling kernels over a mapped block W[0..m) whose two preceding
// samples W[-2], W[-1] are the previous block's last sample frame.
#ifndef QUEVARRA_AUDIO_RESAMPLE_H
#define QUEVARRA_AUDIO_RESAMPLE_H

// n mono samples; output i lies at ((i + 1) m) / n - 1 input samples, values
// clamped to +-32767.
void ResampleMono(const short* W, int m, short* out, int n);
// n samples (n even) of stereo frames at ((k + 1) m) / n - 1 input frames; the
// last output frame is pinned to the last input frame.
void ResampleStereo(const short* W, int m, short* out, int n);
// Equal rates: copies the mapped samples; when the shared remainder asks for
// more than m, the last frame (of `channels` samples) is held.
void CopyHolding(const short* W, int m, short* out, int n, int channels);

#endif
