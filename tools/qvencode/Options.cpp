#include "Options.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace qvenc {

namespace {

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Whole-string non-negative integer within [lo, hi].
bool ParseInt(const std::string& text, long long lo, long long hi, long long& value) {
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return false;
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(text.c_str(), &end, 10);
    if (errno || *end || v < lo || v > hi) return false;
    value = v;
    return true;
}

int64_t Gcd(int64_t a, int64_t b) {
    while (b) {
        int64_t t = a % b;
        a = b;
        b = t;
    }
    return a;
}

}  // namespace

bool ParseSize(const std::string& text, int& width, int& height) {
    size_t x = text.find_first_of("xX");
    long long w, h;
    if (x == std::string::npos || !ParseInt(text.substr(0, x), 1, 16384, w) ||
        !ParseInt(text.substr(x + 1), 1, 16384, h))
        return false;
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
}

bool ParseRate(const std::string& text, Rational& rate) {
    Rational r;
    size_t slash = text.find('/');
    if (slash != std::string::npos) {
        long long n, d;
        if (!ParseInt(text.substr(0, slash), 1, 1000000000, n) ||
            !ParseInt(text.substr(slash + 1), 1, 1000000000, d))
            return false;
        r.num = n;
        r.den = d;
    } else {
        // A decimal is kept exact as a ratio with a power-of-ten denominator.
        size_t dot = text.find('.');
        std::string whole = text.substr(0, dot);
        std::string frac = dot == std::string::npos ? "" : text.substr(dot + 1);
        if (frac.size() > 6) return false;
        long long w = 0, f = 0;
        if (whole.empty() && frac.empty()) return false;
        if (!whole.empty() && !ParseInt(whole, 0, 1000000, w)) return false;
        if (!frac.empty() && !ParseInt(frac, 0, 999999, f)) return false;
        if (dot != std::string::npos && frac.empty()) return false;
        int64_t den = 1;
        for (size_t i = 0; i < frac.size(); ++i) den *= 10;
        r.num = w * den + f;
        r.den = den;
    }
    if (r.num <= 0) return false;
    int64_t g = Gcd(r.num, r.den);
    r.num /= g;
    r.den /= g;
    if (r.Value() > 1000.0) return false;
    rate = r;
    return true;
}

bool ParseBitRate(const std::string& text, int& bitsPerSecond) {
    if (text.empty()) return false;
    std::string digits = text;
    long long scale = 1;
    char last = static_cast<char>(std::tolower(static_cast<unsigned char>(text.back())));
    if (last == 'k' || last == 'm') {
        scale = last == 'k' ? 1000 : 1000000;
        digits.pop_back();
    }
    long long v;
    if (!ParseInt(digits, 1, 2000000000, v) || v * scale > 2000000000) return false;
    bitsPerSecond = static_cast<int>(v * scale);
    return true;
}

const char* UsageText() {
    return "usage: qvencode [options] OUTPUT\n"
           "       qvencode --list | --version | -h\n"
           "\n"
           "Inputs (any file FFmpeg reads; '-' is standard input):\n"
           "  -i INPUT              video, and audio unless -a is given\n"
           "  -a INPUT              audio from another file\n"
           "  --video-stream N      stream N of -i for video (default: the best one)\n"
           "  --audio-stream N      stream N of the audio input (default: the best one)\n"
           "  --raw PIXFMT --size WxH --rate FPS\n"
           "                        -i holds raw frames (bgra, bgr24, yuv420p, ...)\n"
           "  --duration SECONDS    length of the test pattern (no -i, no -a); 10\n"
           "\n"
           "Output (container from the extension unless -f is given):\n"
           "  -f NAME               container: mp4 mov mkv webm avi m4a wav y4m\n"
           "  -c:v NAME, -c:a NAME  codecs: h264 hevc vp9 av1 xvid mjpeg rawvideo,\n"
           "                        aac mp3 opus flac ac3 pcm, or FFmpeg's encoder names\n"
           "                        (a FourCC in any case works too)\n"
           "  -s WxH  -r FPS        picture size and frame rate (default: the input's)\n"
           "  -b:v RATE  -b:a RATE  bit rates (800k, 2M)\n"
           "  -ar HZ  -ac 1|2       audio sample rate and channels (default: the input's)\n"
           "  --resize stretch|keep|16:9|4:3|crop   --interp bilinear|nearest\n"
           "  --aspect X:Y          the input's display aspect\n"
           "  -vn, -an              no video, no audio\n"
           "  -y, -n                overwrite an existing OUTPUT, or never\n"
           "  --single-thread       write audio on the video's thread\n"
           "\n"
           "Display:\n"
           "  --progress            progress line even when not on a terminal\n"
           "  -q                    quiet\n"
           "  -v                    show the library's and FFmpeg's log\n"
           "  --list                file formats and codecs of the installed plugins\n"
           "  --version             versions of qvencode, the library and FFmpeg\n"
           "\n"
           "Exit status: 0 done, 1 bad usage, 2 unreadable input, 3 library or plugin\n"
           "failure, 130 interrupted. A run that fails leaves no output behind.\n";
}

ParseResult ParseOptions(int argc, const char* const* argv, Options& o) {
    ParseResult r;
    auto fail = [&r](const std::string& message) {
        r.ok = false;
        r.error = message;
        return r;
    };
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        std::string v;
        // Options that take a value read it here; a missing value is an error.
        auto needs = [&]() {
            if (i + 1 >= argc) return true;
            v = argv[++i];
            return false;
        };
        if (arg == "-h" || arg == "--help") {
            o.help = true;
        } else if (arg == "--version") {
            o.version = true;
        } else if (arg == "--list") {
            o.list = true;
        } else if (arg == "-q") {
            o.quiet = true;
        } else if (arg == "-v") {
            o.verbose = true;
        } else if (arg == "--progress") {
            o.progress = true;
        } else if (arg == "-vn") {
            o.noVideo = true;
        } else if (arg == "-an") {
            o.noAudio = true;
        } else if (arg == "-y") {
            o.overwrite = true;
        } else if (arg == "-n") {
            o.noOverwrite = true;
        } else if (arg == "--single-thread") {
            o.singleThread = true;
        } else if (arg == "-i" || arg == "-a") {
            if (needs() || v.empty()) return fail(arg + " needs an input (a file, '-' or a URL)");
            (arg == "-i" ? o.videoInput : o.audioInput) = v;
        } else if (arg == "--video-stream" || arg == "--audio-stream") {
            long long n;
            if (needs() || !ParseInt(v, 0, 65535, n)) return fail(arg + ": bad stream number '" + v + "'");
            (arg == "--video-stream" ? o.videoStream : o.audioStream) = static_cast<int>(n);
        } else if (arg == "--raw") {
            if (needs() || v.empty()) return fail("--raw needs a pixel format (bgra, bgr24, yuv420p, ...)");
            o.rawFormat = Lower(v);
        } else if (arg == "--size" || arg == "-s") {
            int w, h;
            if (needs() || !ParseSize(v, w, h)) return fail(arg + ": bad size '" + v + "' (WxH, 1 to 16384 each)");
            (arg == "-s" ? o.width : o.rawWidth) = w;
            (arg == "-s" ? o.height : o.rawHeight) = h;
        } else if (arg == "--rate" || arg == "-r") {
            Rational rate;
            if (needs() || !ParseRate(v, rate))
                return fail(arg + ": bad frame rate '" + v + "' (e.g. 25, 29.97, 30000/1001)");
            (arg == "-r" ? o.rate : o.rawRate) = rate;
        } else if (arg == "--duration") {
            char* end = nullptr;
            if (needs()) return fail("--duration needs seconds");
            const double d = std::strtod(v.c_str(), &end);
            if (v.empty() || *end || !(d > 0.0) || d > 86400.0)
                return fail("--duration: bad duration '" + v + "' (seconds, above 0)");
            o.duration = d;
        } else if (arg == "-f" || arg == "-c:v" || arg == "-c:a") {
            if (needs() || v.empty())
                return fail(arg + " needs a name (e.g. " + (arg == "-f" ? "mkv" : arg == "-c:v" ? "h264" : "aac") + ")");
            (arg == "-f" ? o.container : arg == "-c:v" ? o.videoCodec : o.audioCodec) = v;
        } else if (arg == "-b:v" || arg == "-b:a") {
            int bps;
            if (needs() || !ParseBitRate(v, bps)) return fail(arg + ": bad bit rate '" + v + "' (e.g. 800000, 800k, 2M)");
            (arg == "-b:v" ? o.videoBitRate : o.audioBitRate) = bps;
        } else if (arg == "-ar") {
            long long hz;
            if (needs() || !ParseInt(v, 1000, 768000, hz)) return fail("-ar: bad sample rate '" + v + "' (1000 to 768000)");
            o.sampleRate = static_cast<int>(hz);
        } else if (arg == "-ac") {
            long long n;
            if (needs() || !ParseInt(v, 1, 2, n)) return fail("-ac: bad channel count '" + v + "' (1 or 2)");
            o.channels = static_cast<int>(n);
        } else if (arg == "--resize") {
            static const struct {
                const char* name;
                int method;
            } kMethods[] = {{"stretch", 0}, {"keep", 1}, {"16:9", 2}, {"4:3", 3}, {"crop", 5}};
            if (needs()) return fail("--resize needs a method (stretch, keep, 16:9, 4:3, crop)");
            o.resizeMethod = -1;
            for (const auto& m : kMethods)
                if (Lower(v) == m.name) o.resizeMethod = m.method;
            if (o.resizeMethod < 0) return fail("--resize: unknown method '" + v + "' (stretch, keep, 16:9, 4:3, crop)");
        } else if (arg == "--interp") {
            if (needs()) return fail("--interp needs a method (bilinear, nearest)");
            const std::string m = Lower(v);
            if (m == "bilinear") o.interpolation = 2;
            else if (m == "nearest") o.interpolation = 1;
            else return fail("--interp: unknown method '" + v + "' (bilinear, nearest)");
        } else if (arg == "--aspect") {
            size_t colon;
            long long x, y;
            if (needs() || (colon = v.find(':')) == std::string::npos || !ParseInt(v.substr(0, colon), 1, 100000, x) ||
                !ParseInt(v.substr(colon + 1), 1, 100000, y))
                return fail("--aspect: bad aspect '" + v + "' (X:Y, e.g. 16:9)");
            o.aspectX = static_cast<int>(x);
            o.aspectY = static_cast<int>(y);
        } else if (arg.size() > 1 && arg[0] == '-') {
            return fail("unknown option '" + arg + "'");
        } else {
            if (!o.output.empty()) return fail("more than one output ('" + o.output + "', '" + arg + "')");
            o.output = arg;
        }
    }
    if (o.help || o.list || o.version) {
        r.ok = true;
        return r;
    }
    if (o.output.empty()) return fail("no output file given");
    if (o.overwrite && o.noOverwrite) return fail("-y and -n contradict each other");
    if (!o.rawFormat.empty()) {
        if (o.videoInput.empty()) return fail("--raw needs -i INPUT");
        if (o.rawWidth == 0) return fail("--raw needs --size WxH");
        if (!o.rawRate.Valid()) return fail("--raw needs --rate FPS");
    } else if (o.rawWidth || o.rawRate.Valid()) {
        return fail("--size and --rate describe raw input; use them with --raw");
    }
    if (o.noVideo && o.noAudio) return fail("-vn and -an together leave nothing to write");
    if (o.videoInput == "-" && o.audioInput == "-") return fail("-i and -a cannot both read standard input");
    if (o.videoStream >= 0 && o.videoInput.empty()) return fail("--video-stream needs -i INPUT");
    if (o.audioStream >= 0 && o.videoInput.empty() && o.audioInput.empty())
        return fail("--audio-stream needs -i or -a INPUT");
    r.ok = true;
    return r;
}

}  // namespace qvenc
