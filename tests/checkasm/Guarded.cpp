#include "checkasm/Guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace checkasm {

Guarded::Guarded(size_t size, uint64_t seed, Side side) : m_size(size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t body = (size + page - 1) / page * page;
    m_mapSize = body + page;
    void* map = mmap(nullptr, m_mapSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) throw std::runtime_error("mmap failed");
    m_map = static_cast<uint8_t*>(map);
    if (side == kGuardAfter) {
        mprotect(m_map + body, page, PROT_NONE);
        m_data = m_map + body - size;
    } else {
        mprotect(m_map, page, PROT_NONE);
        m_data = m_map + page;
    }
    Rng rng(seed);
    for (size_t i = 0; i < size; ++i) m_data[i] = static_cast<uint8_t>(rng.Next() >> 56);
}

Guarded::~Guarded() { munmap(m_map, m_mapSize); }

void Guarded::CopyFrom(const Guarded& other) { std::memcpy(m_data, other.m_data, m_size); }

std::vector<qv::cpu::Target> SimdTargets() {
    std::vector<qv::cpu::Target> targets;
    for (qv::cpu::Target t : qv::cpu::RunnableTargets())
        if (t != qv::cpu::kReference) targets.push_back(t);
    static bool printed = false;
    if (!printed) {
        printed = true;
        std::string names;
        for (qv::cpu::Target t : targets) names += std::string(" ") + qv::cpu::TargetName(t);
        std::printf("checkasm: targets checked:%s\n", names.empty() ? " none" : names.c_str());
    }
    return targets;
}

void FillFrom(Guarded& g, Rng& rng, const std::vector<uint8_t>& values) {
    for (size_t i = 0; i < g.size(); ++i) g.data()[i] = values[rng.Next() % values.size()];
}

std::vector<int> EvenWidths() {
    std::vector<int> w;
    for (int i = 2; i <= 140; i += 2) w.push_back(i);
    for (int i : {254, 256, 258, 1920, 4098}) w.push_back(i);
    return w;
}

}  // namespace checkasm
