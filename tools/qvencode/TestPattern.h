// The generated test input: moving colour bars with a frame counter and a
// clock, and a quiet tone with a short beep at every whole second. The first
// frames of every second show a white flash while the beep sounds, so that
// audio/video sync can be judged by eye and ear.
#ifndef QVENCODE_TESTPATTERN_H
#define QVENCODE_TESTPATTERN_H

#include "Options.h"
#include "Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qvenc {

constexpr int kPatternWidth = 640;
constexpr int kPatternHeight = 480;
constexpr int kBeepMilliseconds = 100;

// Draws frame `index` at `rate` into picture (allocated to 640x480 if needed).
void RenderPatternFrame(long long index, const Rational& rate, Picture& picture);

// Fills `frames` interleaved sample frames starting at sample frame `first`.
void RenderPatternAudio(long long first, long frames, int sampleRate, int channels,
                        std::vector<int16_t>& samples);

// Draws `text` (digits, ':' and '.') with the built-in font, white on the
// picture, top-left at (x, y), each font pixel scale x scale luma pixels.
void DrawDigits(Picture& picture, int x, int y, int scale, const std::string& text);

// "HH:MM:SS.mmm" of a time in milliseconds.
std::string ClockText(long long milliseconds);

}  // namespace qvenc

#endif
