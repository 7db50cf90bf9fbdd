// The media file's statistics: each write path records its steps under its
// own stream's lock, so that a reader on any thread sees whole steps.
#ifndef QUEVARRA_MEDIAFILE_MEDIAFILESTATS_H
#define QUEVARRA_MEDIAFILE_MEDIAFILESTATS_H

#include <quevarra/qv_mediafile.h>

#include <stdint.h>

namespace qvmedia {

// 100-ns ticks that an amount lasts at so much per second, rounded; 0 when
// the rate is not positive (or not a number).
int64_t Ticks(double amount, double perSecond);

// A received frame that was not handed on.
void CountVideoDropped(MediaFile& mf);
// One hand-over to the pipeline: the frame's first (a received frame) or a
// repeat, after which the video reaches `time`.
void CountVideoHandedOn(MediaFile& mf, bool first, int64_t time);

// One step of the audio path, in sample frames.
struct AudioStep {
    int64_t in;      // host frames received with this step
    int64_t filled;  // frames of filler handed on
    int64_t cut;     // frames removed, or dropped with a whole block
};
// Records a step; `handed` is the block handed on with it (its frames count
// as Out and move the audio time), or null when nothing was.
void CountAudio(MediaFile& mf, const AudioStep& step, const MEDIA_FRAME* handed);

// Back to zero, as after Close.
void ResetStats(MediaFile& mf);

}  // namespace qvmedia

#endif
