/* Embedding the library in a host: where its messages go, what happened to
 * the frames and samples of a media file, and which version is loaded.
 * Plain C: this header compiles as C and as C++. */
#ifndef QUEVARRA_QV_EMBED_H
#define QUEVARRA_QV_EMBED_H

#include <quevarra/qv_export.h>

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Receives one log message: the text exactly as Log.dylib would have got it
 * (no line end is added; messages that want one carry "\r\n" themselves).
 * The text is valid only during the call. */
typedef void (*QV_LOG_CALLBACK)(void* pUser, const wchar_t* szMessage);

/* Sends every message of the library, and of plugins that accept the
 * library's log (ours do), to pfnLog instead of Log.dylib; nothing is printed
 * on standard output meanwhile. A null pfnLog restores Log.dylib and its
 * complaints when it is missing.
 *
 * May be called at any time from any thread, also from inside the callback.
 * The callback runs on whichever thread emitted the message, possibly on
 * several threads at once, and may itself log through the library. Once this
 * function returns, the previous callback is not called again and no call of
 * it is still running, except one on the calling thread (when called from
 * inside the callback) or on a thread that is itself inside
 * QVSetLogCallback. */
QV_API void QVSetLogCallback(QV_LOG_CALLBACK pfnLog, void* pUser);

/* What a media file has received and handed on so far, per stream (88 bytes,
 * the same on 32 and 64 bits). Sample frames count one sample of every
 * channel. Times are in 100 ns units, rounded to the nearest unit. */
typedef struct QV_MEDIAFILE_STATS {
    /* Set by the caller: sizeof(QV_MEDIAFILE_STATS). */
    int32_t cbSize;
    /* Written as 0. */
    int32_t nReserved;
    /* Frames received by QVWriteVideoFrame (a call with a null frame counts nowhere). */
    int64_t llVideoFramesIn;
    /* Frames handed to the video encoder, repeats included; a frame the encoder
     * or muxer failed on counts too. Always In + Repeated - Dropped. */
    int64_t llVideoFramesOut;
    /* Extra copies of a frame made to keep the constant frame rate. */
    int64_t llVideoFramesRepeated;
    /* Received frames not handed on: their output index was already filled,
     * time-stamp mode thinned them, or they were refused as unreadable. */
    int64_t llVideoFramesDropped;
    /* Sample frames received by QVWriteAudioData, at the input rate and
     * channel count: whole frames of each block (a trailing partial frame is
     * still handed on but not counted). */
    int64_t llAudioSamplesIn;
    /* Sample frames handed to the audio encoder, filler included, in the
     * encoder's format. Without resampling, In + Filled - Cut. */
    int64_t llAudioSamplesOut;
    /* Sample frames inserted to fill holes before blocks, in the encoder's format. */
    int64_t llAudioSamplesFilled;
    /* Sample frames removed where blocks overlapped audio already written, in
     * the encoder's format; a block dropped whole (wholly overlapped, or too
     * far from the audio written to place) counts all its frames. Time-stamp
     * mode never fills nor cuts. */
    int64_t llAudioSamplesCut;
    /* Stream time reached by the video handed on. Frame-count mode: frames
     * handed on x 10,000,000 / output frame rate (the end of the last frame).
     * Time-stamp mode and the COPY container: the last frame's llStreamTime
     * plus one output frame time, 10,000,000 / rate (0 when the rate is not
     * positive). 0 before the first frame. */
    int64_t llVideoTime;
    /* Stream time reached by the audio handed on. Frame-count mode: bytes
     * handed on / output bytes per second x 10,000,000. Time-stamp mode: the
     * last block's llStreamTime plus its length. 0 before the first block. */
    int64_t llAudioTime;
} QV_MEDIAFILE_STATS;

/* Copies the counters of the media file hFile into *pStats and returns 1.
 * Returns 0 and writes nothing for a null argument or a cbSize below the
 * size of this first version; a larger cbSize gets the fields known here.
 * Safe from any thread while other threads write to the file (not once
 * QVCloseMediaFile has begun: the handle goes away); each stream's counters
 * come from one moment. */
QV_API int QVGetMediaFileStats(void* hFile, QV_MEDIAFILE_STATS* pStats);

/* The library's version, "MAJOR.MINOR.PATCH", the same as its CMake package's. */
QV_API const char* QVGetVersionString(void);

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(QV_MEDIAFILE_STATS) == 88, "QV_MEDIAFILE_STATS size");
static_assert(offsetof(QV_MEDIAFILE_STATS, llVideoFramesIn) == 8, "llVideoFramesIn");
static_assert(offsetof(QV_MEDIAFILE_STATS, llAudioSamplesIn) == 40, "llAudioSamplesIn");
static_assert(offsetof(QV_MEDIAFILE_STATS, llAudioTime) == 80, "llAudioTime");
#endif

#endif /* QUEVARRA_QV_EMBED_H */
