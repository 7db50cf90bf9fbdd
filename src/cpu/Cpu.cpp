#include "cpu/Cpu.h"

#include <quevarra/qv_support.h>

#include <hwy/targets.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace qv::cpu {
namespace {

// Targets that some family registered; written during static initialisation
// only, before any kernel can be asked for.
std::atomic<int64_t> g_compiled{0};

thread_local bool t_overridden = false;
thread_local Target t_target = kReference;

// The best (lowest) bit of a mask, or kReference for an empty one.
Target Best(int64_t mask) { return mask ? (mask & -mask) : kReference; }

int64_t Runnable() {
    static const int64_t detected = DetectTargets();
    return g_compiled.load(std::memory_order_relaxed) & detected;
}

Target Choose() {
    const char* wanted = std::getenv("QUEVARRA_CPU");
    bool known = true;
    const Target chosen = ChooseTarget(wanted, Runnable(), known);
    if (!known)
        LogEx(L"QUEVARRA_CPU=%s is not a known target (scalar, sse4, avx2, avx512, avx512dl); "
              L"ignored.",
              wanted);
    return chosen;
}

}  // namespace

Target ChooseTarget(const char* wanted, int64_t runnable, bool& known) {
    known = true;
    if (!wanted || !*wanted) return Best(runnable);
    Target cap = kReference;
    if (!ParseTargetName(wanted, cap)) {
        known = false;
        return Best(runnable);
    }
    if (cap == kReference) return kReference;
    // A cap allows that target and every lesser one (higher bits).
    return Best(runnable & ~(cap - 1));
}

void NoteCompiled(Target target) { g_compiled.fetch_or(target, std::memory_order_relaxed); }

Target ProcessTarget() {
    static const Target chosen = Choose();
    return chosen;
}

Target ActiveTarget() { return t_overridden ? t_target : ProcessTarget(); }

std::vector<Target> RunnableTargets() {
    std::vector<Target> targets;
    for (int64_t mask = Runnable(); mask; mask &= mask - 1) targets.push_back(mask & -mask);
    targets.push_back(kReference);
    return targets;
}

const char* TargetName(Target target) {
    return target == kReference ? "scalar" : hwy::TargetName(target);
}

bool ParseTargetName(const char* name, Target& target) {
    static const struct {
        const char* name;
        Target target;
    } kNames[] = {{"scalar", kReference},  {"reference", kReference}, {"c", kReference},
                  {"sse4", HWY_SSE4},      {"avx2", HWY_AVX2},        {"avx512", HWY_AVX3},
                  {"avx3", HWY_AVX3},      {"avx512dl", HWY_AVX3_DL}, {"avx3_dl", HWY_AVX3_DL},
                  {"avx512vnni", HWY_AVX3_DL}};
    for (const auto& n : kNames)
        if (strcasecmp(name, n.name) == 0) return target = n.target, true;
    // Any other target of the vector library by its own name (NEON, SVE, ...).
    for (int64_t bit = 1; bit != 0 && bit < (int64_t{1} << 62); bit <<= 1) {
        const char* own = hwy::TargetName(bit);
        if (own && strcmp(own, "Unknown") != 0 && strcasecmp(name, own) == 0)
            return target = bit, true;
    }
    return false;
}

ScopedTarget::ScopedTarget(Target target) : m_previous(t_target), m_hadPrevious(t_overridden) {
    t_target = target;
    t_overridden = true;
}

ScopedTarget::~ScopedTarget() {
    t_target = m_previous;
    t_overridden = m_hadPrevious;
}

}  // namespace qv::cpu
