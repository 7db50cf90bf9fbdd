// Command-line options of qvencode and their parsing.
#ifndef QVENCODE_OPTIONS_H
#define QVENCODE_OPTIONS_H

#include <cstdint>
#include <string>

namespace qvenc {

// A frame rate as an exact ratio (30000/1001 stays exact).
struct Rational {
    int64_t num = 0;
    int64_t den = 1;
    bool Valid() const { return num > 0 && den > 0; }
    double Value() const { return static_cast<double>(num) / static_cast<double>(den); }
};

struct Options {
    std::string output;
    std::string videoInput;  // -i FILE, "-" (standard input) or URL
    std::string audioInput;  // -a
    int videoStream = -1, audioStream = -1;  // --video-stream, --audio-stream; -1 = the best
    std::string rawFormat;                   // --raw: an FFmpeg pixel format name
    int rawWidth = 0, rawHeight = 0;         // --size
    Rational rawRate;                        // --rate
    double duration = 10.0;                  // --duration (test pattern)

    // Names as typed; resolved once the plugins are loaded.
    std::string container, videoCodec, audioCodec;  // -f, -c:v, -c:a; empty = not given
    int width = 0, height = 0;                      // -s; 0 = the input's
    Rational rate;                                  // -r; invalid = the input's
    int videoBitRate = 0, audioBitRate = 0;         // -b:v, -b:a; 0 = default
    int sampleRate = 0, channels = 0;               // -ar, -ac; 0 = the input's
    int resizeMethod = -1;                          // --resize; -1 = default
    int interpolation = -1;                         // --interp; -1 = default
    int aspectX = 0, aspectY = 0;                   // --aspect
    bool noVideo = false, noAudio = false;          // -vn, -an
    bool overwrite = false, noOverwrite = false;    // -y, -n
    bool singleThread = false;
    bool list = false, help = false, version = false;
    bool quiet = false, verbose = false, progress = false;
};

struct ParseResult {
    bool ok = false;
    std::string error;  // what is wrong, one line for the user
};

// Parses argv[1..argc-1]. Does not touch the file system.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options);

// The full usage text (-h).
const char* UsageText();

// "WxH" with both in 1..16384.
bool ParseSize(const std::string& text, int& width, int& height);
// "25", "29.97", "30000/1001"; positive and at most 1000.
bool ParseRate(const std::string& text, Rational& rate);
// "128000", "128k", "2M".
bool ParseBitRate(const std::string& text, int& bitsPerSecond);

}  // namespace qvenc

#endif
