// The 8-bit plane rows of every target against the reference rows, row by
// row over widths 1..70 and large ones in every ratio class, then the plane
// resizers whole over random rectangles, offsets and padded pitches.
#include <gtest/gtest.h>

#include <quevarra/qv_image.h>

#include "checkasm/Guarded.h"
#include "image/PlaneRows.h"

namespace {

using checkasm::Guarded;
using qv::image::PlaneRows;

std::vector<int> Widths() {
    std::vector<int> w;
    for (int i = 1; i <= 70; ++i) w.push_back(i);
    for (int i : {127, 128, 129, 255, 640, 1280, 1920, 4097}) w.push_back(i);
    return w;
}

// Source lengths for `count` outputs: identity, halves, doubles, 3:2, 2:3,
// a single sample, a large reduction and an odd one.
std::vector<int> SourceLengths(int count, checkasm::Rng& rng) {
    return {count, 2 * count, 2 * count + 1, count / 2 + 1, count * 3 / 2 + 1, count * 2 / 3 + 1,
            1, 5 * count + 3, rng.Range(1, 3 * count + 2)};
}

int64_t Step(int srcLen, int dstLen) {
    return dstLen < 2 ? 4096 : ((int64_t{srcLen} << 12) - 4096) / (dstLen - 1);
}

TEST(Checkasm, PlaneRowsMatchTheReferenceRows) {
    const PlaneRows& ref = qv::image::PlaneRowFamily().Reference();
    checkasm::Rng rng(1);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const PlaneRows& simd = qv::image::PlaneRowFamily().For(target);
        const char* name = qv::cpu::TargetName(target);
        for (int count : Widths())
            for (int srcLen : SourceLengths(count, rng)) {
                const int64_t step = Step(srcLen, count);
                const int last = static_cast<int>(((count - 1) * step) >> 12);
                const int wy1 = rng.Range(0, 3) == 0 ? 0 : rng.Range(0, 4095);
                const uint64_t seed = rng.Next();
                Guarded in0(srcLen, seed), in1(srcLen, seed + 1), a(count, seed + 2), b(count, seed + 2);
                auto same = [&](const char* row) {
                    ASSERT_EQ(a.Bytes(), b.Bytes()) << name << " " << row << ": " << srcLen << " -> " << count;
                };
                ref.nearRow(in0.data(), a.data(), count, step);
                simd.nearRow(in0.data(), b.data(), count, step);
                same("nearRow");
                ref.bilinearRow(in0.data(), in1.data(), a.data(), count, step, srcLen - 1, wy1);
                simd.bilinearRow(in0.data(), in1.data(), b.data(), count, step, srcLen - 1, wy1);
                same("bilinearRow");
                ref.averageRow(in0.data(), in1.data(), a.data(), count, step, last);
                simd.averageRow(in0.data(), in1.data(), b.data(), count, step, last);
                same("averageRow");
                std::vector<int32_t> cols(count);
                for (int32_t& c : cols) c = rng.Range(0, srcLen - 1);
                ref.tableRow(in0.data(), a.data(), cols.data(), count);
                simd.tableRow(in0.data(), b.data(), cols.data(), count);
                same("tableRow");
                // Chroma in luma units: a luma rectangle from srcX, half-size rows.
                const int srcX = rng.Range(0, 3), lumaDst = 2 * count - rng.Range(0, 1);
                const int64_t step2 = 2 * Step(srcLen, lumaDst);
                const int lastCol = (srcX + srcLen - 1) / 2;
                Guarded c0(lastCol + 1, seed + 3), c1(lastCol + 1, seed + 4);
                ref.nearRowUV(c0.data(), a.data(), count, step2, srcX);
                simd.nearRowUV(c0.data(), b.data(), count, step2, srcX);
                same("nearRowUV");
                ref.bilinearRowUV(c0.data(), c1.data(), a.data(), count, step2, srcX, lastCol, wy1);
                simd.bilinearRowUV(c0.data(), c1.data(), b.data(), count, step2, srcX, lastCol, wy1);
                same("bilinearRowUV");
            }
    }
}

TEST(Checkasm, PlaneResizersMatchTheReferenceWhole) {
    using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);
    // Luma resizers blacken whole covered rows up to the pitch; the others
    // touch only the rectangle, so their planes end where it ends.
    const struct { const char* name; Resizer f; bool chroma, wholeRows; } resizers[] = {
        {"NearY", DIB_ResizeNearY, false, true},          {"BiLinerY", DIB_ResizeBiLinerY, false, true},
        {"Simulate", DIB_ResizeBiLinerY_Simulate, false, false}, {"Near8", DIB_ResizeNear8, false, false},
        {"NearUV", DIB_ResizeNearUV, true, false},         {"BiLinerUV", DIB_ResizeBiLinerUV, true, false}};
    checkasm::Rng rng(2);
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 300; ++round)
            for (const auto& r : resizers) {
                const bool large = round >= 250;
                const int scx = rng.Range(1, large ? 700 : 70), scy = rng.Range(1, 40);
                const int dcx = rng.Range(2, large ? 1300 : 70), dcy = rng.Range(2, 40);
                const int sx = rng.Range(0, 5), sy = rng.Range(0, 3), dx = rng.Range(0, 5), dy = rng.Range(0, 3);
                // Chroma planes hold the halves of the luma rectangle.
                auto cols = [&](int x, int cx) { return r.chroma ? (x + cx - 1) / 2 + 1 : x + cx; };
                auto rows = [&](int y, int cy) { return r.chroma ? (y + cy - 1) / 2 + 1 : y + cy; };
                const int sp = cols(sx, scx) + rng.Range(0, 9), dp = cols(dx, dcx) + rng.Range(0, 9);
                const uint64_t seed = rng.Next();
                Guarded src(size_t(sp) * (rows(sy, scy) - 1) + cols(sx, scx), seed);
                const size_t dstBytes = size_t(dp) * (rows(dy, dcy) - 1) + (r.wholeRows ? dp : cols(dx, dcx));
                Guarded want(dstBytes, seed + 1), got(dstBytes, seed + 1);
                const IMG_PARAM s{src.data(), sx + scx, sy + scy, sp, 8, sx, sy, scx, scy};
                IMG_PARAM d{want.data(), dx + dcx, dy + dcy, dp, 8, dx, dy, dcx, dcy}, e = d;
                e.pBits = got.data();
                int a, b;
                {
                    qv::cpu::ScopedTarget on(qv::cpu::kReference);
                    a = r.f(s, d);
                }
                {
                    qv::cpu::ScopedTarget on(target);
                    b = r.f(s, e);
                }
                ASSERT_EQ(a, b);
                ASSERT_EQ(want.Bytes(), got.Bytes())
                    << qv::cpu::TargetName(target) << " " << r.name << " " << scx << "x" << scy << "+" << sx
                    << "," << sy << " -> " << dcx << "x" << dcy << "+" << dx << "," << dy;
            }
}

}  // namespace
