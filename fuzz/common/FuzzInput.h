// Structured parameters read from the fuzzer's bytes, front to back. Reads past
// the end give zeros, so every input decodes to some call.
#ifndef QUEVARRA_FUZZ_FUZZINPUT_H
#define QUEVARRA_FUZZ_FUZZINPUT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace qvfuzz {

class Input {
public:
    Input(const uint8_t* data, size_t size) : m_p(data), m_left(size) {}

    size_t Left() const { return m_left; }
    bool Empty() const { return m_left == 0; }

    uint8_t U8() { return static_cast<uint8_t>(Raw(1)); }
    uint16_t U16() { return static_cast<uint16_t>(Raw(2)); }
    uint32_t U32() { return static_cast<uint32_t>(Raw(4)); }
    uint64_t U64() { return Raw(8); }
    int64_t I64() { return static_cast<int64_t>(Raw(8)); }
    bool Bool() { return U8() & 1; }

    // A value in [lo, hi] from one or two bytes (hi - lo below 65536).
    int Range(int lo, int hi) {
        const uint32_t span = static_cast<uint32_t>(hi - lo) + 1;
        const uint32_t v = span <= 256 ? U8() : U16();
        return lo + static_cast<int>(v % span);
    }

    // Up to `count` bytes into dst; the rest of dst is zero. Returns bytes copied.
    size_t Bytes(void* dst, size_t count) {
        const size_t n = count < m_left ? count : m_left;
        if (count == 0) return 0;
        memcpy(dst, m_p, n);
        memset(static_cast<uint8_t*>(dst) + n, 0, count - n);
        m_p += n;
        m_left -= n;
        return n;
    }

private:
    uint64_t Raw(size_t bytes) {
        uint64_t v = 0;
        for (size_t i = 0; i < bytes && m_left > 0; ++i, ++m_p, --m_left)
            v |= static_cast<uint64_t>(*m_p) << (8 * i);
        return v;
    }

    const uint8_t* m_p;
    size_t m_left;
};

// Deterministic filler for pixel and sample data, so that large buffers do
// not consume the input.
class Noise {
public:
    explicit Noise(uint64_t seed) : m_state(seed * 0x9E3779B97F4A7C15ull + 1) {}
    uint64_t Next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return m_state;
    }
    void Fill(uint8_t* p, size_t n) {
        for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(Next() >> 24);
    }

private:
    uint64_t m_state;
};

}  // namespace qvfuzz

#endif
