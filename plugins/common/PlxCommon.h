// Helpers shared by our plugins: text conversion, frame-rate ratios, record
// filling and failure reports through the library's log.
#ifndef QUEVARRA_PLUGINS_PLXCOMMON_H
#define QUEVARRA_PLUGINS_PLXCOMMON_H

#include <quevarra/qv_records.h>

#include <stdint.h>

#include <string>

#include "common/PlxText.h"

#define PLX_EXPORT extern "C" __attribute__((visibility("default")))

namespace plx {

// An exact ratio for a frame rate: 29.97 gives 30000/1001, 25 gives 25/1,
// others the closest ratio with a denominator up to 1001000. False for rates
// that are not finite and positive.
bool FrameRateRatio(double fps, int* num, int* den);

// Reports a failure (printf format, UTF-8 arguments), with "\r\n" appended,
// to the library's log given through PLXSetLog, or else to Log.dylib in the
// directory above this plugin's own file. Nothing happens without either.
void Report(const char* format, ...) __attribute__((format(printf, 1, 2)));

void FillEncoder(ENCODER_ITEM* item, uint32_t fourcc, int type, const wchar_t* text1,
                 const wchar_t* text2);
void FillMuxer(FILEFORMAT_ITEM* item, uint32_t fourcc, const wchar_t* text0,
               const wchar_t* text1, const wchar_t* text2);

// Four-character text of a code, for messages.
std::string FourCCText(uint32_t fourcc);

}  // namespace plx

#endif
