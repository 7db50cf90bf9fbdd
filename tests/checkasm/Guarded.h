// Buffers that end (or start) exactly at a page that cannot be touched, so a
// kernel that reads or writes one byte outside faults at once, sanitizer or
// not; and the loop over every target the machine runs.
#ifndef QUEVARRA_TESTS_CHECKASM_GUARDED_H
#define QUEVARRA_TESTS_CHECKASM_GUARDED_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cpu/Cpu.h"

namespace checkasm {

class Guarded {
public:
    enum Side { kGuardAfter, kGuardBefore };
    // `size` bytes of random junk; the inaccessible page lies right after the
    // last byte (or right before the first).
    Guarded(size_t size, uint64_t seed, Side side = kGuardAfter);
    ~Guarded();
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    uint8_t* data() { return m_data; }
    size_t size() const { return m_size; }
    std::vector<uint8_t> Bytes() const { return std::vector<uint8_t>(m_data, m_data + m_size); }
    void CopyFrom(const Guarded& other);  // same size

private:
    uint8_t* m_map = nullptr;
    size_t m_mapSize = 0;
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

// xorshift64*, for sizes and data.
struct Rng {
    uint64_t s;
    explicit Rng(uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 7) {}
    uint64_t Next() {
        s ^= s >> 12, s ^= s << 25, s ^= s >> 27;
        return s * 0x2545F4914F6CDD1Dull;
    }
    int Range(int lo, int hi) { return lo + static_cast<int>(Next() % uint64_t(hi - lo + 1)); }
};

// Sets every byte of g to one of `values` chosen at random: the edges of a
// kernel's input range, where its sums reach their bounds or clamps.
void FillFrom(Guarded& g, Rng& rng, const std::vector<uint8_t>& values);

// Even row widths: every one from 2 to 140, then a few large ones around
// powers of two and picture sizes.
std::vector<int> EvenWidths();

// The SIMD targets this machine runs (not the reference rows). Prints them
// once so that a log shows what was checked.
std::vector<qv::cpu::Target> SimdTargets();

}  // namespace checkasm

#endif
