#include "TestPattern.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace qvenc {

namespace {

struct Yuv {
    uint8_t y, u, v;
};

// 75% colour bars, BT.601 studio range.
const Yuv kBars[7] = {{180, 128, 128}, {162, 44, 142}, {131, 156, 44}, {112, 72, 58},
                      {84, 184, 198},  {65, 100, 212}, {35, 212, 114}};

// 3x5 glyphs, one row per entry, bit 2 = left column.
const uint8_t kDigits[10][5] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}};
const uint8_t kColon[5] = {0, 2, 0, 2, 0};
const uint8_t kDot[5] = {0, 0, 0, 0, 2};

void FillRect(Picture& p, int x0, int y0, int w, int h, Yuv c) {
    for (int y = y0; y < y0 + h && y < p.height; ++y)
        if (y >= 0) std::memset(p.plane[0].data() + static_cast<size_t>(y) * p.pitch[0] + x0, c.y, w);
    for (int y = y0 / 2; y < (y0 + h + 1) / 2 && y < (p.height + 1) / 2; ++y) {
        std::memset(p.plane[1].data() + static_cast<size_t>(y) * p.pitch[1] + x0 / 2, c.u, (w + 1) / 2);
        std::memset(p.plane[2].data() + static_cast<size_t>(y) * p.pitch[2] + x0 / 2, c.v, (w + 1) / 2);
    }
}

}  // namespace

std::string ClockText(long long ms) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02lld:%02lld:%02lld.%03lld", ms / 3600000, ms / 60000 % 60,
                  ms / 1000 % 60, ms % 1000);
    return buf;
}

void DrawDigits(Picture& picture, int x, int y, int scale, const std::string& text) {
    for (char ch : text) {
        const uint8_t* glyph = ch >= '0' && ch <= '9' ? kDigits[ch - '0'] : ch == ':' ? kColon : ch == '.' ? kDot : nullptr;
        if (glyph) {
            for (int row = 0; row < 5; ++row)
                for (int col = 0; col < 3; ++col)
                    if (glyph[row] & (4 >> col)) {
                        for (int dy = 0; dy < scale; ++dy) {
                            const int py = y + row * scale + dy;
                            if (py < 0 || py >= picture.height) continue;
                            for (int dx = 0; dx < scale; ++dx) {
                                const int px = x + col * scale + dx;
                                if (px >= 0 && px < picture.width)
                                    picture.plane[0][static_cast<size_t>(py) * picture.pitch[0] + px] = 235;
                            }
                        }
                    }
        }
        x += 4 * scale;
    }
}

void RenderPatternFrame(long long index, const Rational& rate, Picture& p) {
    const int w = kPatternWidth, h = kPatternHeight;
    if (p.width != w || p.height != h) p.Allocate(w, h);
    // Bars scroll one full picture width every 4 seconds.
    const long long ms = index * 1000 * rate.den / rate.num;
    const int shift = static_cast<int>(ms % 4000 * w / 4000) & ~1;
    const int barWidth = (w + 6) / 7;
    for (int x = 0; x < w; x += 2) {
        const Yuv c = kBars[((x + w - shift) % w) / barWidth];
        for (int y = 0; y < h; ++y) {
            uint8_t* row = p.plane[0].data() + static_cast<size_t>(y) * p.pitch[0];
            row[x] = row[x + 1] = c.y;
        }
        for (int y = 0; y < h / 2; ++y) {
            p.plane[1][static_cast<size_t>(y) * p.pitch[1] + x / 2] = c.u;
            p.plane[2][static_cast<size_t>(y) * p.pitch[2] + x / 2] = c.v;
        }
    }
    // Counter and clock on a black band.
    const Yuv black{16, 128, 128};
    FillRect(p, 0, 320, w, 140, black);
    char counter[24];
    std::snprintf(counter, sizeof counter, "%06lld", index);
    DrawDigits(p, 40, 336, 8, counter);
    DrawDigits(p, 40, 396, 8, ClockText(ms));
    // The flash lasts exactly as long as the beep, from each whole second on.
    if (ms % 1000 < kBeepMilliseconds) FillRect(p, 520, 20, 100, 100, Yuv{235, 128, 128});
}

void RenderPatternAudio(long long first, long frames, int sampleRate, int channels,
                        std::vector<int16_t>& samples) {
    samples.resize(static_cast<size_t>(frames) * channels);
    const double twoPi = 6.283185307179586;
    const long long beepSamples = static_cast<long long>(sampleRate) * kBeepMilliseconds / 1000;
    for (long i = 0; i < frames; ++i) {
        const long long n = first + i;
        const double t = static_cast<double>(n) / sampleRate;
        const bool beep = n % sampleRate < beepSamples;
        const double s = beep ? 0.5 * std::sin(twoPi * 1000.0 * t) : 0.1 * std::sin(twoPi * 440.0 * t);
        const int16_t v = static_cast<int16_t>(std::lround(s * 32767.0));
        for (int c = 0; c < channels; ++c) samples[static_cast<size_t>(i) * channels + c] = v;
    }
}

}  // namespace qvenc
