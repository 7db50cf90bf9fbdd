// Which row kernels run: the scalar reference rows or one of the SIMD targets
// compiled into the library, chosen once per process.
#ifndef QUEVARRA_SRC_CPU_CPU_H
#define QUEVARRA_SRC_CPU_CPU_H

#include <cstdint>
#include <vector>

namespace qv::cpu {

// A SIMD target as the vector library numbers them (one bit; a lower bit is
// a better target), or kReference for the scalar reference rows.
using Target = int64_t;
constexpr Target kReference = 0;

// The target of this process: the best compiled target this CPU runs,
// capped by QUEVARRA_CPU (read once): "scalar" forces the reference rows,
// a target name ("sse4", "avx2", "avx512", "avx512dl", or the vector
// library's own names) allows nothing better than that target.
Target ProcessTarget();

// ProcessTarget(), unless a ScopedTarget put the calling thread elsewhere.
Target ActiveTarget();

// Every compiled target this CPU runs, best first, then kReference.
std::vector<Target> RunnableTargets();

// "scalar" for kReference, else the vector library's name ("AVX2", ...).
const char* TargetName(Target target);

// Target for a QUEVARRA_CPU value; false when the name is unknown.
bool ParseTargetName(const char* name, Target& target);

// The choice ProcessTarget makes for a QUEVARRA_CPU value (null or empty:
// none) among the `runnable` targets; `known` tells whether the name was.
Target ChooseTarget(const char* wanted, int64_t runnable, bool& known);

// The targets this CPU and its operating system can run.
int64_t DetectTargets();

// Records that a family registered kernels for `target` (static
// initialisation only).
void NoteCompiled(Target target);

// Runs the calling thread on `target` while it lives (checker, benchmarks).
class ScopedTarget {
public:
    explicit ScopedTarget(Target target);
    ~ScopedTarget();
    ScopedTarget(const ScopedTarget&) = delete;
    ScopedTarget& operator=(const ScopedTarget&) = delete;

private:
    Target m_previous;
    bool m_hadPrevious;
};

}  // namespace qv::cpu

#endif
