/* PCM converter: channel mapping and linear resampling of signed 16-bit samples. */
#ifndef QUEVARRA_QV_AUDIO_H
#define QUEVARRA_QV_AUDIO_H

#include <quevarra/qv_export.h>

/* Counts are in samples, each channel's sample counted separately. Channel
 * counts 1 and 2 are supported. One converter is used by one thread at a time;
 * different converters may convert on different threads at once: they share
 * s_dSpare, whose read and update are serialised. */
class QV_API CAudioConverter {
public:
    /* bufferSize 0 (or less) means 262144 samples; above 16777216 it is taken
     * as 16777216 (the arrays grow when a block needs more). */
    CAudioConverter(int inChannels, int outChannels, int inRate, int outRate, int bufferSize);
    ~CAudioConverter();
    CAudioConverter(const CAudioConverter&) = delete;
    CAudioConverter& operator=(const CAudioConverter&) = delete;

    /* Converts count input samples and queues them; returns the waiting count.
     * Whole sample frames only: a trailing partial frame is dropped. */
    int Put(const short* samples, int count);
    /* Moves up to count waiting samples to out; returns how many. */
    int Get(short* out, int count);
    int GetFreeSize() const;
    int GetValidSize() const;
    /* Empties the queue; the carried samples and s_dSpare stay. */
    void Reset();
    /* Converts into m_pBuffer at m_nValid; returns the samples written. */
    int ConvertData(const short* samples, int count);

    short* m_pBuffer;   /* converted samples waiting, from index 0 */
    short* m_pWork;     /* work area; [0], [1] carry the previous block's last samples */
    int m_nCapacity;    /* samples in m_pBuffer (and at least in m_pWork) */
    int m_nValid;       /* samples waiting in m_pBuffer */
    int m_nInChannels;  /* input channel count */
    int m_nOutChannels; /* output channel count */
    int m_nInRate;      /* input samples per second per channel */
    int m_nOutRate;     /* output samples per second per channel */
    int m_nWorkCapacity; /* samples in m_pWork; grows past m_nCapacity for large downsampled blocks */

    /* Fractional remainder of the output sample count, shared by every
     * converter of the process and never reset. Converters read and update it
     * under a lock; write it only while no conversion runs. */
    static double s_dSpare;
};

#endif /* QUEVARRA_QV_AUDIO_H */
