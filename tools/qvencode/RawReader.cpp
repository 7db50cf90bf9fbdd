#include "RawReader.h"

#include <quevarra/quevarra.h>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace qvenc {

RawReader::~RawReader() {
    if (m_owned && m_file) std::fclose(m_file);
}

bool RawReader::Fail(const std::string& what) {
    m_error = m_name + ": " + what;
    return false;
}

bool RawReader::Open(const std::string& path, RawFormat format, int width, int height) {
    m_format = format;
    m_width = width;
    m_height = height;
    const size_t bpp = format == RawFormat::Bgra ? 4 : 3;
    m_frame.resize(bpp * width * height);
    if (path == "-") {
        m_name = "standard input";
        m_file = stdin;
        return true;
    }
    m_name = path;
    m_file = std::fopen(path.c_str(), "rb");
    if (!m_file) return Fail(std::strerror(errno));
    m_owned = true;
    struct stat st;
    if (fstat(fileno(m_file), &st) == 0 && S_ISREG(st.st_mode)) {
        const long long size = st.st_size;
        if (size % static_cast<long long>(m_frame.size()) != 0)
            return Fail("size " + std::to_string(size) + " is not a whole number of " +
                        std::to_string(width) + "x" + std::to_string(height) + " frames (the last frame is truncated)");
        m_frameCount = size / static_cast<long long>(m_frame.size());
        if (m_frameCount == 0) return Fail("empty input");
    }
    return true;
}

int RawReader::ReadFrame(Picture& picture) {
    const size_t got = std::fread(m_frame.data(), 1, m_frame.size(), m_file);
    if (got == 0 && std::feof(m_file)) return 0;
    if (got != m_frame.size()) {
        Fail(std::ferror(m_file) ? std::string("read error: ") + std::strerror(errno)
                                 : "truncated frame " + std::to_string(m_framesRead));
        return -1;
    }
    ConvertToYuv420(m_frame.data(), m_format, m_width, m_height, m_bgra, picture);
    ++m_framesRead;
    return 1;
}

void ConvertToYuv420(const uint8_t* src, RawFormat format, int width, int height,
                     std::vector<uint8_t>& scratch, Picture& picture) {
    const int ew = (width + 1) & ~1, eh = (height + 1) & ~1;
    if (picture.width != width || picture.height != height) picture.Allocate(width, height, ew);
    const uint8_t* bgra = src;
    if (format != RawFormat::Bgra || ew != width || eh != height) {
        scratch.resize(static_cast<size_t>(ew) * eh * 4);
        const int bpp = format == RawFormat::Bgra ? 4 : 3;
        for (int y = 0; y < eh; ++y) {
            const uint8_t* s = src + static_cast<size_t>(y < height ? y : height - 1) * width * bpp;
            uint8_t* d = scratch.data() + static_cast<size_t>(y) * ew * 4;
            for (int x = 0; x < ew; ++x) {
                const uint8_t* p = s + (x < width ? x : width - 1) * bpp;
                d[4 * x] = p[0];
                d[4 * x + 1] = p[1];
                d[4 * x + 2] = p[2];
                d[4 * x + 3] = 255;
            }
        }
        bgra = scratch.data();
    }
    // With an odd height the converter writes one luma row below the picture.
    picture.plane[0].resize(static_cast<size_t>(picture.pitch[0]) * eh);
    // A positive height reads the first row in memory as the top of the picture.
    Rgb32_2_yuv420_Ex(picture.plane[0].data(), picture.plane[1].data(), picture.plane[2].data(),
                      picture.pitch[0], picture.pitch[1], picture.pitch[2],
                      const_cast<uint8_t*>(bgra), ew, eh, ew * 4);
}

}  // namespace qvenc
