// Digests of exact outputs over fixed pseudo-random inputs. A case's name says
// what was run; its expected digest was taken from the reference code and must
// never change. QV_KAT_PRINT=1 prints every computed digest.
#ifndef QUEVARRA_TESTS_KAT_KAT_H
#define QUEVARRA_TESTS_KAT_KAT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace kat {

using Bytes = std::vector<uint8_t>;

// FNV-1a, 64 bits.
struct Digest {
    uint64_t h = 0xcbf29ce484222325ull;
    void Add(const void* data, size_t n) {
        const uint8_t* p = static_cast<const uint8_t*>(data);
        for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 0x100000001b3ull;
    }
    void Add(const Bytes& b) { Add(b.data(), b.size()); }
    void AddInt(int64_t v) { Add(&v, sizeof v); }
};

// xorshift64*: the same bytes on every machine.
struct Rng {
    uint64_t s;
    explicit Rng(uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 1) {}
    uint64_t Next() {
        s ^= s >> 12, s ^= s << 25, s ^= s >> 27;
        return s * 0x2545F4914F6CDD1Dull;
    }
    int Below(int n) { return static_cast<int>(Next() % static_cast<uint64_t>(n)); }
    Bytes Fill(size_t n) {
        Bytes b(n);
        for (auto& x : b) x = static_cast<uint8_t>(Next() >> 56);
        return b;
    }
};

// Collects named digests and compares them with the pinned table.
class Pins {
public:
    explicit Pins(std::map<std::string, uint64_t> expected) : m_expected(std::move(expected)) {}
    void Check(const std::string& name, const Digest& d) {
        m_seen++;
        if (std::getenv("QV_KAT_PRINT"))
            std::printf("        {\"%s\", 0x%016llxull},\n", name.c_str(), static_cast<unsigned long long>(d.h));
        auto it = m_expected.find(name);
        if (it == m_expected.end()) {
            ADD_FAILURE() << "no pinned digest for " << name;
        } else {
            EXPECT_EQ(d.h, it->second) << name << " changed";
        }
    }
    ~Pins() { EXPECT_EQ(m_seen, m_expected.size()) << "some pinned cases were not run"; }

private:
    std::map<std::string, uint64_t> m_expected;
    size_t m_seen = 0;
};

}  // namespace kat

#endif
