// How QUEVARRA_CPU picks among the targets this machine runs.
#include <gtest/gtest.h>

#include <hwy/targets.h>

#include "cpu/Cpu.h"

namespace {

using namespace qv::cpu;

TEST(TargetChoice, ScalarForcesTheReferenceANameCapsAndUnknownNamesAreIgnored) {
    const int64_t all = HWY_AVX3_DL | HWY_AVX3 | HWY_AVX2 | HWY_SSE4;
    const struct { const char* env; int64_t runnable; Target want; bool known; } cases[] = {
        {nullptr, all, HWY_AVX3_DL, true},        {"", all, HWY_AVX3_DL, true},
        {"scalar", all, kReference, true},        {"SCALAR", all, kReference, true},
        {"avx2", all, HWY_AVX2, true},            {"AVX2", HWY_SSE4, HWY_SSE4, true},
        {"avx512", all, HWY_AVX3, true},          {"avx512dl", all, HWY_AVX3_DL, true},
        {"sse4", HWY_AVX2, kReference, true},     {"AVX3_DL", all, HWY_AVX3_DL, true},
        {"pentium", all, HWY_AVX3_DL, false},     {nullptr, 0, kReference, true}};
    for (const auto& c : cases) {
        bool known = false;
        EXPECT_EQ(ChooseTarget(c.env, c.runnable, known), c.want) << (c.env ? c.env : "(unset)");
        EXPECT_EQ(known, c.known);
    }
}

TEST(TargetChoice, ThreadsCanBePutOnATargetAndBack) {
    const std::vector<Target> runnable = RunnableTargets();
    ASSERT_EQ(runnable.back(), kReference);
    for (size_t i = 1; i + 1 < runnable.size(); ++i) EXPECT_LT(runnable[i - 1], runnable[i]);  // best first
    const Target process = ProcessTarget();
    {
        ScopedTarget outer(kReference);
        EXPECT_EQ(ActiveTarget(), kReference);
        {
            ScopedTarget inner(runnable.front());
            EXPECT_EQ(ActiveTarget(), runnable.front());
        }
        EXPECT_EQ(ActiveTarget(), kReference);
    }
    EXPECT_EQ(ActiveTarget(), process);
    EXPECT_STREQ(TargetName(kReference), "scalar");
}

}  // namespace
