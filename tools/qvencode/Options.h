// Command-line options of qvencode and their parsing.
#ifndef QVENCODE_OPTIONS_H
#define QVENCODE_OPTIONS_H

#include <quevarra/qv_records.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qvenc {

// A frame rate as an exact ratio (30000/1001 stays exact).
struct Rational {
    int64_t num = 0;
    int64_t den = 1;
    bool Valid() const { return num > 0 && den > 0; }
    double Value() const { return static_cast<double>(num) / static_cast<double>(den); }
};

enum class RawFormat { None, Bgra, Bgr24 };

struct Options {
    std::string output;
    std::string videoInput;  // -i; "-" is standard input
    std::string audioInput;  // -a
    RawFormat raw = RawFormat::None;
    int rawWidth = 0, rawHeight = 0;  // --size
    Rational rawRate;                  // --rate
    double duration = 10.0;            // --duration (test pattern)

    uint32_t container = 0;  // -f, else from the extension
    uint32_t videoCodec = 0, audioCodec = 0;  // -c:v, -c:a; 0 = not given
    int width = 0, height = 0;                // -s; 0 = the input's
    Rational rate;                            // -r; invalid = the input's
    int videoBitRate = 0, audioBitRate = 0;   // -b:v, -b:a; 0 = default
    int sampleRate = 0, channels = 0;         // -ar, -ac; 0 = the input's
    int resizeMethod = -1;                    // --resize; -1 = default
    int interpolation = -1;                   // --interp; -1 = default
    int aspectX = 0, aspectY = 0;             // --aspect
    bool noVideo = false, noAudio = false;    // -vn, -an
    bool singleThread = false;
    bool list = false, help = false;
    bool quiet = false, verbose = false, progress = false;
};

struct ParseResult {
    bool ok = false;
    std::string error;  // what is wrong, for the user
};

// Parses argv[1..argc-1]. Does not touch the file system.
ParseResult ParseOptions(int argc, const char* const* argv, Options& options);

// Short usage text.
const char* UsageText();

// "WxH" with both in 1..16384.
bool ParseSize(const std::string& text, int& width, int& height);
// "25", "29.97", "30000/1001"; positive and at most 1000.
bool ParseRate(const std::string& text, Rational& rate);
// Exactly one to four printable ASCII characters, padded with spaces ("AAC" -> "AAC ").
bool ParseFourCC(const std::string& text, uint32_t& code);
// "128000", "128k", "2M".
bool ParseBitRate(const std::string& text, int& bitsPerSecond);
// Container code for a file name's extension; 0 when unknown.
uint32_t ContainerForExtension(const std::string& fileName);
// The four characters of a code, e.g. "MP4 ".
std::string FourCCText(uint32_t code);

}  // namespace qvenc

#endif
