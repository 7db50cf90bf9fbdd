#include "Y4mReader.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace qvenc {

namespace {

// Longest header or frame-header line accepted; real ones are far shorter.
constexpr size_t kMaxLine = 4096;

// Reads up to '\n' (not kept). False on end of stream or an overlong line.
bool ReadLine(FILE* f, std::string& line, bool& sawAny) {
    line.clear();
    sawAny = false;
    int c;
    while ((c = std::fgetc(f)) != EOF) {
        sawAny = true;
        if (c == '\n') return true;
        if (line.size() >= kMaxLine) return false;
        line.push_back(static_cast<char>(c));
    }
    return false;
}

bool ParsePositive(const std::string& s, int& v) {
    char* end = nullptr;
    long n = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end || n <= 0 || n > 16384) return false;
    v = static_cast<int>(n);
    return true;
}

bool ParseRatio(const std::string& s, long& a, long& b) {
    size_t colon = s.find(':');
    if (colon == std::string::npos) return false;
    char* end = nullptr;
    a = std::strtol(s.c_str(), &end, 10);
    if (end != s.c_str() + colon) return false;
    b = std::strtol(s.c_str() + colon + 1, &end, 10);
    return *end == '\0' && a >= 0 && b >= 0;
}

}  // namespace

Y4mReader::~Y4mReader() {
    if (m_owned && m_file) std::fclose(m_file);
}

bool Y4mReader::Fail(const std::string& what) {
    m_error = m_name + ": " + what;
    return false;
}

bool Y4mReader::Open(const std::string& path) {
    if (path == "-") return Attach(stdin, "standard input");
    m_name = path;
    m_file = std::fopen(path.c_str(), "rb");
    if (!m_file) return Fail(std::strerror(errno));
    m_owned = true;
    if (!ReadHeader()) return false;
    struct stat st;
    long here = std::ftell(m_file);
    if (fstat(fileno(m_file), &st) == 0 && S_ISREG(st.st_mode) && here >= 0) {
        // Frames of a regular file usually carry a bare "FRAME\n" line.
        long long per = static_cast<long long>(Picture::FrameBytes(m_header.width, m_header.height)) + 6;
        long long body = static_cast<long long>(st.st_size) - here;
        if (body % per == 0) m_frameCount = body / per;
    }
    return true;
}

bool Y4mReader::Attach(FILE* stream, const std::string& name) {
    m_name = name;
    m_file = stream;
    m_owned = false;
    return ReadHeader();
}

bool Y4mReader::ReadHeader() {
    std::string line;
    bool any;
    if (!ReadLine(m_file, line, any)) {
        return Fail(any ? "not a YUV4MPEG2 stream (no header line)" : "empty input");
    }
    if (line.compare(0, 10, "YUV4MPEG2 ") != 0 && line != "YUV4MPEG2")
        return Fail("not a YUV4MPEG2 stream (header does not start with 'YUV4MPEG2')");
    m_header.rate = Rational{25, 1};
    bool haveW = false, haveH = false;
    size_t pos = 9;
    while (pos < line.size()) {
        while (pos < line.size() && line[pos] == ' ') ++pos;
        if (pos >= line.size()) break;
        size_t end = line.find(' ', pos);
        if (end == std::string::npos) end = line.size();
        const char tag = line[pos];
        const std::string val = line.substr(pos + 1, end - pos - 1);
        pos = end;
        long a, b;
        switch (tag) {
        case 'W':
            if (!ParsePositive(val, m_header.width)) return Fail("bad width 'W" + val + "'");
            haveW = true;
            break;
        case 'H':
            if (!ParsePositive(val, m_header.height)) return Fail("bad height 'H" + val + "'");
            haveH = true;
            break;
        case 'F':
            if (!ParseRatio(val, a, b) || a <= 0 || b <= 0 || static_cast<double>(a) / b > 1000.0)
                return Fail("bad frame rate 'F" + val + "'");
            m_header.rate = Rational{a, b};
            break;
        case 'A':
            if (!ParseRatio(val, a, b) || a > 100000 || b > 100000)
                return Fail("bad pixel aspect 'A" + val + "'");
            m_header.parNum = static_cast<int>(a);
            m_header.parDen = static_cast<int>(b);
            break;
        case 'C':
            // Every 4:2:0 8-bit siting variant has the same plane layout.
            if (val != "420" && val != "420jpeg" && val != "420mpeg2" && val != "420paldv")
                return Fail("unsupported colour space 'C" + val + "' (only 4:2:0 8-bit is read)");
            break;
        default:  // I (interlacing) and X (extensions) do not change the pictures
            break;
        }
    }
    if (!haveW || !haveH) return Fail("header lacks the picture size (W and H)");
    return true;
}

int Y4mReader::ReadFrame(Picture& picture) {
    std::string line;
    bool any;
    if (!ReadLine(m_file, line, any)) {
        if (!any) {
            if (std::ferror(m_file)) {
                Fail(std::string("read error: ") + std::strerror(errno));
                return -1;
            }
            return 0;
        }
        Fail("truncated frame header after frame " + std::to_string(m_framesRead));
        return -1;
    }
    if (line.compare(0, 5, "FRAME") != 0 || (line.size() > 5 && line[5] != ' ')) {
        Fail("frame " + std::to_string(m_framesRead) + " does not start with 'FRAME'");
        return -1;
    }
    const int w = m_header.width, h = m_header.height;
    if (picture.width != w || picture.height != h) picture.Allocate(w, h);
    const int cw = (w + 1) / 2, ch = (h + 1) / 2;
    const int rows[3] = {h, ch, ch};
    const int cols[3] = {w, cw, cw};
    for (int p = 0; p < 3; ++p) {
        for (int y = 0; y < rows[p]; ++y) {
            uint8_t* dst = picture.plane[p].data() + static_cast<size_t>(y) * picture.pitch[p];
            if (std::fread(dst, 1, cols[p], m_file) != static_cast<size_t>(cols[p])) {
                Fail("truncated frame " + std::to_string(m_framesRead) + " (the stream ends inside its pictures)");
                return -1;
            }
        }
    }
    ++m_framesRead;
    return 1;
}

}  // namespace qvenc
