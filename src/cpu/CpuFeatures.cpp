// Which SIMD targets this CPU and its operating system run. On x86 the answer
// comes from CPUID and XGETBV directly: the vector library's own shared object
// probes a timer in its static initialiser that some tools (valgrind among
// them) cannot execute, and a host must be able to run under those. Each
// target needs every instruction set its code is compiled with.
#include "cpu/Cpu.h"

#include <hwy/targets.h>

#if HWY_ARCH_X86
#include <cpuid.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#endif

namespace qv::cpu {

#if HWY_ARCH_X86
namespace {

struct CpuId {
    unsigned a = 0, b = 0, c = 0, d = 0;
};

CpuId Leaf(unsigned leaf, unsigned sub) {
    CpuId r;
    if (!__get_cpuid_count(leaf, sub, &r.a, &r.b, &r.c, &r.d)) r = CpuId();
    return r;
}

bool All(unsigned word, unsigned bits) { return (word & bits) == bits; }

// State the operating system saves on a context switch (XCR0).
unsigned long long EnabledState() {
    unsigned lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (static_cast<unsigned long long>(hi) << 32) | lo;
}

}  // namespace

int64_t DetectTargets() {
    const CpuId l1 = Leaf(1, 0);
    const CpuId l7 = Leaf(7, 0);
    int64_t targets = 0;
    // SSE3, PCLMULQDQ, SSSE3, SSE4.1, SSE4.2, AES.
    const bool sse4 = All(l1.c, 1u << 0 | 1u << 1 | 1u << 9 | 1u << 19 | 1u << 20 | 1u << 25);
    if (!sse4) return targets;
    targets |= HWY_SSE4;
    // OSXSAVE, then the OS must save XMM and YMM (and opmask, ZMM for AVX-512).
    if (!(l1.c & 1u << 27)) return targets;
    const unsigned long long state = EnabledState();
    const bool ymm = (state & 0x6) == 0x6, zmm = (state & 0xE6) == 0xE6;
    // AVX, FMA, F16C; AVX2, BMI1, BMI2.
    const bool avx2 = ymm && All(l1.c, 1u << 28 | 1u << 12 | 1u << 29) &&
                      All(l7.b, 1u << 5 | 1u << 3 | 1u << 8);
    if (!avx2) return targets;
    targets |= HWY_AVX2;
    // AVX512F, DQ, BW, VL.
    const bool avx3 = zmm && All(l7.b, 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31);
    if (!avx3) return targets;
    targets |= HWY_AVX3;
    // VBMI, VBMI2, VAES, VPCLMULQDQ, VNNI, BITALG, VPOPCNTDQ.
    if (All(l7.c, 1u << 1 | 1u << 6 | 1u << 9 | 1u << 10 | 1u << 11 | 1u << 12 | 1u << 14))
        targets |= HWY_AVX3_DL;
    return targets;
}
#else
// Elsewhere the vector library's own detection serves (linked there).
int64_t DetectTargets() { return hwy::SupportedTargets(); }
#endif

}  // namespace qv::cpu

#if HWY_ARCH_X86
// Kernels built with assertions (debug and sanitizer builds) report a broken
// precondition through this function, which the vector library's shared object
// would otherwise provide: print where, and stop.
namespace hwy {
void Abort(const char* file, int line, const char* format, ...) {
    char message[512];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    fprintf(stderr, "%s:%d: %s\n", file, line, message);
    fflush(stderr);
    abort();
}
}  // namespace hwy
#endif
