// Channel mapping of one block of 16-bit PCM, ahead of resampling.
#ifndef QUEVARRA_AUDIO_CHANNELMAP_H
#define QUEVARRA_AUDIO_CHANNELMAP_H

// Maps `count` input samples into `dst` and returns the mapped sample count:
// equal counts copy, mono input is duplicated into two channels, any other
// input is treated as stereo and averaged down to one channel (each half
// truncated before the sum, so (1, 1) gives 0).
int MapChannels(const short* src, int count, int inChannels, int outChannels, short* dst);

#endif
