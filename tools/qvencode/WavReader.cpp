#include "WavReader.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace qvenc {

namespace {

uint32_t U32(const uint8_t* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24); }
uint16_t U16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

constexpr uint16_t kFormatPcm = 1;
constexpr uint16_t kFormatExtensible = 0xFFFE;

}  // namespace

WavReader::~WavReader() {
    if (m_file) std::fclose(m_file);
}

bool WavReader::Fail(const std::string& what) {
    m_error = m_name + ": " + what;
    return false;
}

bool WavReader::Open(const std::string& path) {
    m_name = path;
    m_file = std::fopen(path.c_str(), "rb");
    if (!m_file) return Fail(std::strerror(errno));
    struct stat st;
    if (fstat(fileno(m_file), &st) != 0 || !S_ISREG(st.st_mode)) return Fail("not a regular file");
    const long long fileSize = st.st_size;

    uint8_t riff[12];
    if (std::fread(riff, 1, 12, m_file) != 12) return Fail("truncated WAV header");
    if (std::memcmp(riff, "RIFF", 4) != 0 || std::memcmp(riff + 8, "WAVE", 4) != 0)
        return Fail("not a WAV file (no RIFF/WAVE header)");
    bool haveFormat = false;
    for (;;) {
        uint8_t chunk[8];
        if (std::fread(chunk, 1, 8, m_file) != 8)
            return Fail(haveFormat ? "truncated WAV: no data chunk" : "truncated WAV: no fmt chunk");
        const uint32_t size = U32(chunk + 4);
        if (std::memcmp(chunk, "fmt ", 4) == 0) {
            uint8_t fmt[40];
            if (size < 16 || size > sizeof fmt) return Fail("malformed fmt chunk");
            if (std::fread(fmt, 1, size, m_file) != size) return Fail("truncated WAV: fmt chunk cut short");
            if (size & 1) std::fgetc(m_file);
            uint16_t tag = U16(fmt);
            if (tag == kFormatExtensible && size >= 26) tag = U16(fmt + 24);  // sub-format GUID's first word
            m_channels = U16(fmt + 2);
            m_rate = static_cast<int>(U32(fmt + 4));
            const int bits = U16(fmt + 14);
            if (tag != kFormatPcm) return Fail("not PCM (format tag " + std::to_string(tag) + "); only 16-bit PCM is read");
            if (bits != 16) return Fail(std::to_string(bits) + "-bit samples; only 16-bit PCM is read");
            if (m_channels < 1 || m_channels > 2)
                return Fail(std::to_string(m_channels) + " channels; only mono or stereo is read");
            if (m_rate < 1000 || m_rate > 768000) return Fail("unsupported sample rate " + std::to_string(m_rate));
            haveFormat = true;
        } else if (std::memcmp(chunk, "data", 4) == 0) {
            if (!haveFormat) return Fail("data chunk before the fmt chunk");
            const long long here = std::ftell(m_file);
            const long long present = fileSize - here;
            // Streaming writers leave 0 or all ones when the length was unknown.
            if (size == 0 || size == 0xFFFFFFFFu) {
                m_dataBytes = present;
            } else if (size > present) {
                return Fail("truncated WAV: the data chunk declares " + std::to_string(size) +
                            " bytes but the file holds " + std::to_string(present));
            } else {
                m_dataBytes = size;
            }
            m_dataBytes -= m_dataBytes % (2 * m_channels);
            m_left = m_dataBytes;
            return true;
        } else {
            if (std::fseek(m_file, static_cast<long>(size) + (size & 1), SEEK_CUR) != 0)
                return Fail("truncated WAV");
        }
    }
}

long WavReader::Read(std::vector<int16_t>& samples, long maxFrames) {
    const long frameBytes = 2 * m_channels;
    long long want = static_cast<long long>(maxFrames) * frameBytes;
    if (want > m_left) want = m_left;
    std::vector<uint8_t> raw(static_cast<size_t>(want));
    if (want > 0 && std::fread(raw.data(), 1, raw.size(), m_file) != raw.size()) {
        Fail("read error or file shrank while reading");
        return -1;
    }
    m_left -= want;
    const long frames = static_cast<long>(want / frameBytes);
    samples.resize(static_cast<size_t>(frames) * m_channels);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(U16(raw.data() + 2 * i));
    return frames;
}

}  // namespace qvenc
