// The packed 4:2:2 rows of every target against the reference rows, over
// 1..70 macropixels and large rows in both byte orders (the swap also in
// place and overlapping), then the packed converters whole over random
// rectangles, positions and padded pitches, on buffers ending exactly where
// the converters stop touching them.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "checkasm/Guarded.h"
#include "image/YuvToRgbRows.h"
#include "image/Yuy2Rows.h"

namespace {

using checkasm::Guarded;
using qv::image::Yuy2Rows;
using qv::image::YuvToRgbRows;

std::vector<int> PairCounts() {
    std::vector<int> n;
    for (int i = 1; i <= 70; ++i) n.push_back(i);
    for (int i : {127, 128, 129, 960, 2049}) n.push_back(i);
    return n;
}

bool Same(std::initializer_list<std::pair<Guarded*, Guarded*>> outs) {
    for (const auto& o : outs)
        if (o.first->Bytes() != o.second->Bytes()) return false;
    return true;
}

TEST(Checkasm, Yuy2RowsMatchTheReferenceRows) {
    const Yuy2Rows& ref = qv::image::Yuy2Family().Reference();
    const YuvToRgbRows& refRgb = qv::image::YuvToRgbFamily().Reference();
    checkasm::Rng rng(7);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const Yuy2Rows& simd = qv::image::Yuy2Family().For(target);
        const YuvToRgbRows& simdRgb = qv::image::YuvToRgbFamily().For(target);
        const char* name = qv::cpu::TargetName(target);
        for (int n : PairCounts())
            for (bool yuy2 : {true, false}) {
                const uint64_t seed = rng.Next();
                const std::string what = std::string(name) + " pairs " + std::to_string(n) +
                                         (yuy2 ? " YUY2" : " UYVY");
                Guarded top(size_t(n) * 4, seed), bottom(size_t(n) * 4, seed + 1, Guarded::kGuardBefore);
                Guarded y0(size_t(n) * 2, seed + 2), y1(size_t(n) * 2, seed + 3, Guarded::kGuardBefore);
                Guarded u(n, seed + 4), v(n, seed + 5);
                {
                    Guarded ya(size_t(n) * 2, 9), yb(size_t(n) * 2, 9), ua(n, 9), va(n, 9);
                    Guarded yc(size_t(n) * 2, 9), yd(size_t(n) * 2, 9), uc(n, 9), vc(n, 9);
                    ref.packedPairTo420(top.data(), bottom.data(), ya.data(), yb.data(), ua.data(),
                                        va.data(), n, yuy2);
                    simd.packedPairTo420(top.data(), bottom.data(), yc.data(), yd.data(),
                                         uc.data(), vc.data(), n, yuy2);
                    ASSERT_TRUE(Same({{&ya, &yc}, {&yb, &yd}, {&ua, &uc}, {&va, &vc}}))
                        << what << " packedPairTo420";
                }
                {
                    Guarded pa(size_t(n) * 4, 9), pb(size_t(n) * 4, 9);
                    Guarded pc(size_t(n) * 4, 9), pd(size_t(n) * 4, 9);
                    ref.pair420ToPacked(y0.data(), y1.data(), u.data(), v.data(), pa.data(),
                                        pb.data(), n, yuy2);
                    simd.pair420ToPacked(y0.data(), y1.data(), u.data(), v.data(), pc.data(),
                                         pd.data(), n, yuy2);
                    ASSERT_TRUE(Same({{&pa, &pc}, {&pb, &pd}})) << what << " pair420ToPacked";
                }
                {
                    Guarded ra(size_t(n) * 6, 9), rb(size_t(n) * 6, 9, Guarded::kGuardBefore);
                    refRgb.packedToRgb24(top.data(), ra.data(), n, yuy2);
                    simdRgb.packedToRgb24(top.data(), rb.data(), n, yuy2);
                    ASSERT_TRUE(Same({{&ra, &rb}})) << what << " packedToRgb24";
                }
                {
                    Guarded rgb(size_t(n) * 6, seed + 6);
                    Guarded pa(size_t(n) * 4, 9), pb(size_t(n) * 4, 9);
                    ref.rgbToPacked(rgb.data(), pa.data(), n, yuy2);
                    simd.rgbToPacked(rgb.data(), pb.data(), n, yuy2);
                    ASSERT_TRUE(Same({{&pa, &pb}})) << what << " rgbToPacked";
                }
                // Swap: apart, in place, and with the rows overlapping by a few bytes.
                for (int shift : {-1, 0, 1, 3, 4, 6}) {
                    if (!yuy2 && shift != -1) continue;
                    const size_t bytes = size_t(n) * 4 + (shift < 0 ? 0 : shift);
                    Guarded a(bytes, seed + 7), b(bytes, seed + 7);
                    if (shift < 0) {
                        Guarded da(size_t(n) * 4, 9), db(size_t(n) * 4, 9);
                        ref.swapPacked(a.data(), da.data(), n);
                        simd.swapPacked(a.data(), db.data(), n);
                        ASSERT_TRUE(Same({{&da, &db}})) << what << " swapPacked";
                    } else {
                        ref.swapPacked(a.data() + shift, a.data(), n);
                        simd.swapPacked(b.data() + shift, b.data(), n);
                        ASSERT_TRUE(Same({{&a, &b}})) << what << " swapPacked shift " << shift;
                        ref.swapPacked(a.data(), a.data() + shift, n);
                        simd.swapPacked(b.data(), b.data() + shift, n);
                        ASSERT_TRUE(Same({{&a, &b}})) << what << " swapPacked shift -" << shift;
                    }
                }
            }
    }
}

// A buffer holding rows [0, rows) of `pitch` bytes whose last row ends at
// byte `end`: what a rectangle reaching that row and byte touches.
struct Plane {
    int pitch;
    Guarded g;
    Plane(int end, int pad, int rows, uint64_t seed)
        : pitch(end + pad), g(size_t(end + pad) * (rows - 1) + end, seed) {}
    uint8_t* data() { return g.data(); }
};

bool operator==(Plane& a, Plane& b) { return a.g.Bytes() == b.g.Bytes(); }

// Runs `convert` with the reference rows into `want` and with `target`'s
// into `got`.
template <typename F>
void Both(qv::cpu::Target target, F convert) {
    {
        qv::cpu::ScopedTarget on(qv::cpu::kReference);
        convert(true);
    }
    qv::cpu::ScopedTarget on(target);
    convert(false);
}

TEST(Checkasm, Yuy2ConvertersMatchTheReferenceWhole) {
    checkasm::Rng rng(8);
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 120; ++round) {
            const bool large = round >= 105;
            const int cx = large ? rng.Range(71, 1300) : rng.Range(1, 70);
            const int cy = rng.Range(1, large ? 4 : 9);
            const int pairs = (cx + 1) / 2, rows = (cy + 1) & ~1;
            const unsigned order = unsigned(rng.Range(0, 2));  // 2 is YUY2 too
            const int xp = 2 * rng.Range(0, 3), yp = rng.Range(0, 3);  // packed side
            const int xq = rng.Range(0, 5), yq = rng.Range(0, 3);      // planar side
            const uint64_t seed = rng.Next();
            std::string what = std::string(qv::cpu::TargetName(target)) + " " +
                               std::to_string(cx) + "x" + std::to_string(cy) + " order " +
                               std::to_string(order);
            {  // packed to planar
                Plane src((xp + 2 * pairs) * 2, rng.Range(0, 8), yp + rows, seed);
                Plane y[2] = {{xq + 2 * pairs, 3, yq + rows, seed + 1},
                              {xq + 2 * pairs, 3, yq + rows, seed + 1}};
                Plane u[2] = {{xq / 2 + pairs, 1, yq / 2 + rows / 2, seed + 2},
                              {xq / 2 + pairs, 1, yq / 2 + rows / 2, seed + 2}};
                Plane v[2] = {{xq / 2 + pairs, 2, yq / 2 + rows / 2, seed + 3},
                              {xq / 2 + pairs, 2, yq / 2 + rows / 2, seed + 3}};
                Both(target, [&](bool ref) {
                    const int i = ref ? 0 : 1;
                    YUY2_2_Yuv420(y[i].data(), u[i].data(), v[i].data(), y[i].pitch, u[i].pitch,
                                  v[i].pitch, xq, yq, cx, cy, src.data(), src.pitch, order, xp, yp);
                });
                ASSERT_TRUE(y[0] == y[1] && u[0] == u[1] && v[0] == v[1]) << what << " YUY2_2_Yuv420";
            }
            {  // planar to packed
                Plane y(xq + 2 * pairs, 2, yq + rows, seed + 4);
                Plane u(xq / 2 + pairs, 1, yq / 2 + rows / 2, seed + 5);
                Plane v(xq / 2 + pairs, 3, yq / 2 + rows / 2, seed + 6);
                Plane dst[2] = {{(xp + 2 * pairs) * 2, 4, yp + rows, seed + 7},
                                {(xp + 2 * pairs) * 2, 4, yp + rows, seed + 7}};
                Both(target, [&](bool ref) {
                    Plane& d = dst[ref ? 0 : 1];
                    Yuv420_2_YUY2(d.data(), d.pitch, xp, yp, cx, cy, order, y.data(), u.data(),
                                  v.data(), y.pitch, u.pitch, v.pitch, xq, yq);
                });
                ASSERT_TRUE(dst[0] == dst[1]) << what << " Yuv420_2_YUY2";
            }
            {  // packed to packed, the flags equal or not
                const unsigned orderDst = unsigned(rng.Range(0, 2));
                const int xd = 2 * rng.Range(0, 3), yd = rng.Range(0, 3);
                Plane src((xp + 2 * pairs) * 2, rng.Range(0, 8), yp + cy, seed + 8);
                Plane dst[2] = {{(xd + 2 * pairs) * 2, 2, yd + cy, seed + 9},
                                {(xd + 2 * pairs) * 2, 2, yd + cy, seed + 9}};
                Both(target, [&](bool ref) {
                    Plane& d = dst[ref ? 0 : 1];
                    YUY2_Blt_fast(d.data(), d.pitch, xd, yd, cx, cy, orderDst, src.data(),
                                  src.pitch, order, xp, yp);
                });
                ASSERT_TRUE(dst[0] == dst[1]) << what << " YUY2_Blt_fast to order " << orderDst;
            }
            {  // packed to 24-bit, bottom-up; an odd packed x reads from the pair below
                const int xs = rng.Range(0, 5), xd = rng.Range(0, 3), yd = rng.Range(0, 3);
                const int heightDst = yd + cy + rng.Range(0, 2), pad = rng.Range(0, 3);
                Plane src(((xs & ~1) + 2 * pairs) * 2, rng.Range(0, 8), yp + cy, seed + 10);
                Plane dst[2] = {{(xd + cx) * 3, pad, heightDst, seed + 11},
                                {(xd + cx) * 3, pad, heightDst, seed + 11}};
                Both(target, [&](bool ref) {
                    Plane& d = dst[ref ? 0 : 1];
                    YUY2_2_Rgb24(d.data(), heightDst, d.pitch, xd, yd, cx, cy, src.data(),
                                 src.pitch, order, xs, yp);
                });
                ASSERT_TRUE(dst[0] == dst[1]) << what << " YUY2_2_Rgb24";
            }
            {  // 24-bit to packed: the source's last row is the picture's first, and an
               // odd xDst reads one pixel past the rectangle, clamped to the buffer
                const int xs = rng.Range(0, 3), xd = rng.Range(0, 5), yd = rng.Range(0, 3);
                const int pitchSrc = (xs + cx) * 3 + rng.Range(0, 5), heightSrc = yp + cy;
                Guarded src(size_t(pitchSrc) * heightSrc, seed + 12);
                const int width = cx + (xd & 1);
                const int end = ((xd & ~1) + ((width + 1) & ~1)) * 2;
                Plane dst[2] = {{end, 2, yd + cy, seed + 13}, {end, 2, yd + cy, seed + 13}};
                Both(target, [&](bool ref) {
                    Plane& d = dst[ref ? 0 : 1];
                    Rgb24_2_YUY2(d.data(), d.pitch, xd, yd, cx, cy, order, src.data(), heightSrc,
                                 pitchSrc, xs, yp);
                });
                ASSERT_TRUE(dst[0] == dst[1]) << what << " Rgb24_2_YUY2";
            }
        }
}

// The plane copy in the row-pair order of its contract: two luma rows, one
// U row, one V row, each as one memmove.
void Yv12Pairs(uint8_t* const dst[3], const int dp[3], uint8_t* const src[3], const int sp[3],
               int xd, int yd, int cx, int yEnd, int xs, int ys) {
    const size_t cw = (size_t(cx) + 1) / 2;
    for (int i = 0; yd + 2 * i < yEnd; ++i) {
        for (int k = 0; k < 2; ++k)
            memmove(dst[0] + (yd + 2 * i + k) * dp[0] + xd, src[0] + (ys + 2 * i + k) * sp[0] + xs,
                    cx);
        for (int p = 1; p < 3; ++p)
            memmove(dst[p] + (yd / 2 + i) * dp[p] + (xd + 1) / 2,
                    src[p] + (ys / 2 + i) * sp[p] + (xs + 1) / 2, cw);
    }
}

// Planes placed in one buffer, apart or overlapping (the source shifted onto
// the destination), with pitches equal to the width or padded: the plane-wise
// copies must give what the row-pair order gives.
TEST(Checkasm, Yv12BltKeepsTheRowPairOrder) {
    checkasm::Rng rng(9);
    for (int round = 0; round < 300; ++round) {
        const int cx = rng.Range(1, 40), rows = rng.Range(1, 9);
        const int xd = rng.Range(0, 3), yd = rng.Range(0, 3), xs = rng.Range(0, 3),
                  ys = rng.Range(0, 3);
        const int yEnd = yd + rows;
        const bool tight = rng.Range(0, 1) == 1;
        const int pitchY = tight && xd == 0 && xs == 0 ? cx : cx + 4 + rng.Range(0, 3);
        const int pitchC = tight && xd == 0 && xs == 0 ? (cx + 1) / 2 : (cx + 1) / 2 + 3;
        const int lumaBytes = pitchY * (std::max(yd, ys) + rows + 2);
        const int chromaBytes = pitchC * (std::max(yd, ys) / 2 + rows / 2 + 2);
        const int planes = lumaBytes + 2 * chromaBytes;
        const int shift = rng.Range(0, 2) == 0 ? rng.Range(-5, 5) : planes + 8;  // far: apart
        const int size = planes + std::abs(shift) + planes;
        Guarded a(size, rng.Next()), b(size, 0);
        b.CopyFrom(a);
        const int dp[3] = {pitchY, pitchC, pitchC};
        auto layout = [&](uint8_t* base, int at, uint8_t* out[3]) {
            out[0] = base + at, out[1] = out[0] + lumaBytes, out[2] = out[1] + chromaBytes;
        };
        const int dstAt = shift < 0 ? -shift : 0, srcAt = dstAt + shift;
        uint8_t *da[3], *sa[3], *db[3], *sb[3];
        layout(a.data(), dstAt, da), layout(a.data(), srcAt, sa);
        layout(b.data(), dstAt, db), layout(b.data(), srcAt, sb);
        Yv12Pairs(da, dp, sa, dp, xd, yd, cx, yEnd, xs, ys);
        YV12_Blt_fast(db[0], db[1], db[2], dp[0], dp[1], dp[2], xd, yd, cx, yEnd, sb[0], sb[1],
                      sb[2], dp[0], dp[1], dp[2], xs, ys);
        ASSERT_TRUE(a.Bytes() == b.Bytes()) << cx << "x" << rows << " shift " << shift;
    }
}

}  // namespace
