// Small helpers shared by the media file's creation and write paths.
#ifndef QUEVARRA_MEDIAFILE_MEDIAFILEUTIL_H
#define QUEVARRA_MEDIAFILE_MEDIAFILEUTIL_H

#include <stdint.h>
#include <wchar.h>

#include <quevarra/qv_records.h>

#include <string>

namespace qvmedia {

// The most of the timeline one write call fills, in seconds: an audio hole
// or the repeats of a video frame beyond it are refused with a log line.
constexpr int kMaxFillSeconds = 600;

// UTF-8 text of a wide file name for the log ("" for null); characters that
// are not Unicode scalar values become U+FFFD.
std::string NarrowName(const wchar_t* name);

// Truncates toward zero, saturating at the type's limits (NaN gives 0): the
// conversions of out-of-range doubles that would otherwise be undefined.
int64_t TruncToInt64(double value);
int32_t TruncToInt32(double value);

// Output bytes per second of an audio format, or 0 when it cannot place
// blocks in time.
double OutputByteRate(const EncodeAudioParam& audio);

// a + b, saturating at the limits of int64_t instead of overflowing.
int64_t SaturatingAdd(int64_t a, int64_t b);

}  // namespace qvmedia

#endif
