// The 8-bit plane rows of every target against the reference rows, row by
// row over widths 1..70 and large ones in every ratio class and every kind
// of column mapping, cut into strips at random places, then the plane
// resizers whole over random rectangles, offsets, padded and negative pitches.
#include <gtest/gtest.h>

#include <quevarra/qv_image.h>

#include <algorithm>
#include <memory>

#include "checkasm/Guarded.h"
#include "image/PlaneRows.h"

namespace {

using checkasm::Guarded;
using qv::image::ColumnStrip;
using qv::image::PlaneRows;
using qv::image::Taps;

std::vector<int> Widths() {
    std::vector<int> w;
    for (int i = 1; i <= 70; ++i) w.push_back(i);
    for (int i : {127, 128, 129, 255, 640, 1280, 1920, 4097}) w.push_back(i);
    return w;
}

// Source lengths for `count` outputs: identity, halves, doubles, 3:2, 2:3,
// a single sample, large reductions (beyond every window) and a random one.
std::vector<int> SourceLengths(int count, checkasm::Rng& rng) {
    return {count, 2 * count, 2 * count + 1, count / 2 + 1, count * 3 / 2 + 1, count * 2 / 3 + 1,
            1, 3 * count + 1, 5 * count + 3, rng.Range(1, 3 * count + 2)};
}

int64_t Step(int srcLen, int dstLen) {
    return dstLen < 2 ? 4096 : ((int64_t{srcLen} << 12) - 4096) / (dstLen - 1);
}

// A rectangle's nearest-column table: rounded positions, the last pinned,
// clamped to `extent` columns; or, now and then, columns in any order.
std::vector<int32_t> Table(int count, int srcX, int srcLen, checkasm::Rng& rng) {
    std::vector<int32_t> cols(count);
    const int extent = srcX + srcLen + rng.Range(0, 1);
    for (int i = 0; i < count; ++i)
        cols[i] = std::min<int32_t>(int32_t((count / 2 + int64_t{i} * srcLen) / count + srcX), extent - 1);
    cols[count - 1] = srcX + srcLen - 1;
    if (rng.Range(0, 4) == 0)
        for (int32_t& c : cols) c = rng.Range(0, srcX + srcLen - 1);
    return cols;
}

// One row of one mapping: the reference, then every target, over strips cut
// at random places, on inputs holding exactly the columns the taps read.
void CheckRow(const std::vector<qv::cpu::Target>& targets, ColumnStrip& s, int count, int wy1,
              checkasm::Rng& rng, const std::string& what) {
    int lo = INT32_MAX, hi = 0;
    for (int i = 0; i < count; ++i) {
        const qv::image::Tap t = TapAt(s, i);
        lo = std::min({lo, t.c0, t.c1});
        hi = std::max({hi, t.c0, t.c1});
    }
    const uint64_t seed = rng.Next();
    const auto side = rng.Range(0, 1) ? Guarded::kGuardAfter : Guarded::kGuardBefore;
    const bool twoRows = s.taps != Taps::Near && s.taps != Taps::NearUV && s.taps != Taps::Table;
    Guarded in0(hi - lo + 1, seed, side), in1(twoRows ? hi - lo + 1 : 1, seed + 1, side);
    Guarded out(twoRows ? 2 * count : count, seed + 2);
    const uint8_t* p0 = in0.data() - lo;
    const uint8_t* p1 = in1.data() - lo;
    const int chunk = std::min(qv::image::kStripColumns, rng.Range(0, 1) ? count : rng.Range(1, count));
    std::vector<uint8_t> want;
    for (size_t t = 0; t <= targets.size(); ++t) {
        const PlaneRows& rows = t == 0 ? qv::image::PlaneRowFamily().Reference()
                                       : qv::image::PlaneRowFamily().For(targets[t - 1]);
        for (int first = 0; first < count; first += chunk) {
            s.first = first;
            s.count = std::min(chunk, count - first);
            rows.planColumns(s);
            if (!twoRows)
                rows.nearRow(p0, out.data(), s);
            else if (s.taps == Taps::Average)
                rows.averageRow(p0, p1, out.data(), s);
            else
                rows.bilinearRow(p0, p1, out.data(), s, wy1);
            // The walks take their last row from the two-tap plan: first taps only.
            if (twoRows) rows.nearRow(p1, out.data() + count, s);
        }
        if (t == 0)
            want = out.Bytes();
        else
            ASSERT_EQ(want, out.Bytes()) << qv::cpu::TargetName(targets[t - 1]) << " " << what
                                         << " wy1 " << wy1 << " strip " << chunk;
    }
}

TEST(Checkasm, PlaneRowsMatchTheReferenceRows) {
    const std::vector<qv::cpu::Target> targets = checkasm::SimdTargets();
    checkasm::Rng rng(1);
    auto strip = std::make_unique<ColumnStrip>();
    ColumnStrip& s = *strip;
    for (int count : Widths())
        for (int srcLen : SourceLengths(count, rng)) {
            const std::string what = std::to_string(srcLen) + " -> " + std::to_string(count) + ": ";
            const int wy1 = rng.Range(0, 3) == 0 ? 0 : rng.Range(0, 4095);
            s.step = Step(srcLen, count);
            s.srcX = 0;
            s.last = srcLen - 1;
            for (Taps taps : {Taps::Near, Taps::BiLinear, Taps::Average}) {
                s.taps = taps;
                CheckRow(targets, s, count, wy1, rng, what + std::to_string(int(taps)));
            }
            // Chroma in luma units: a luma rectangle from srcX onto 2 * count
            // or 2 * count - 1 luma columns.
            s.srcX = rng.Range(0, 3);
            const int lumaDst = std::max(2, 2 * count - rng.Range(0, 1));
            s.step = 2 * Step(srcLen, lumaDst);
            s.last = (s.srcX + srcLen - 1) / 2;
            for (Taps taps : {Taps::NearUV, Taps::BiLinearUV}) {
                s.taps = taps;
                CheckRow(targets, s, count, wy1, rng, what + std::to_string(int(taps)));
            }
            const std::vector<int32_t> cols = Table(count, rng.Range(0, 5), srcLen, rng);
            s.cols = cols.data();
            s.taps = Taps::Table;
            CheckRow(targets, s, count, wy1, rng, what + "table");
        }
}

TEST(Checkasm, PlaneResizersMatchTheReferenceWhole) {
    using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);
    // Luma resizers blacken whole covered rows up to the pitch; the others
    // touch only the rectangle, so their planes end where it ends.
    const struct { const char* name; Resizer f; bool chroma, wholeRows; } resizers[] = {
        {"NearY", DIB_ResizeNearY, false, true},          {"BiLinerY", DIB_ResizeBiLinerY, false, true},
        {"Simulate", DIB_ResizeBiLinerY_Simulate, false, false}, {"Near8", DIB_ResizeNear8, false, false},
        {"NearUV", DIB_ResizeNearUV, true, false},         {"BiLinerUV", DIB_ResizeBiLinerUV, true, false},
        {"BiLiner8", DIB_ResizeBiLiner8, false, false}};
    const std::vector<qv::cpu::Target> targets = checkasm::SimdTargets();
    checkasm::Rng rng(2);
    for (int round = 0; round < 300; ++round)
        for (const auto& r : resizers) {
            const bool large = round >= 250;
            const int scx = rng.Range(1, large ? 700 : 70), scy = rng.Range(1, 40);
            const int dcx = rng.Range(2, large ? (round == 299 ? 4500 : 1300) : 70), dcy = rng.Range(2, 40);
            const int sx = rng.Range(0, 5), sy = rng.Range(0, 3), dx = rng.Range(0, 5), dy = rng.Range(0, 3);
            // Chroma planes hold the halves of the luma rectangle.
            auto cols = [&](int x, int cx) { return r.chroma ? (x + cx - 1) / 2 + 1 : x + cx; };
            auto rows = [&](int y, int cy) { return r.chroma ? (y + cy - 1) / 2 + 1 : y + cy; };
            const int sp = cols(sx, scx) + rng.Range(0, 9), dp = cols(dx, dcx) + rng.Range(0, 9);
            const int srows = rows(sy, scy), drows = rows(dy, dcy);
            const uint64_t seed = rng.Next();
            const auto side = rng.Range(0, 1) ? Guarded::kGuardAfter : Guarded::kGuardBefore;
            Guarded src(size_t(sp) * (srows - 1) + cols(sx, scx), seed, side);
            const size_t dstBytes = size_t(dp) * (drows - 1) + (r.wholeRows ? dp : cols(dx, dcx));
            Guarded want(dstBytes, seed + 1), got(dstBytes, seed + 1);
            // Now and then rows run upwards in memory: the first row is the last stored.
            const bool up = rng.Range(0, 3) == 0;
            auto first = [&](uint8_t* p, int pitch, int n) { return up ? p + size_t(pitch) * (n - 1) : p; };
            const IMG_PARAM s{first(src.data(), sp, srows), sx + scx, srows, up ? -sp : sp, 8, sx, sy, scx, scy};
            IMG_PARAM d{first(want.data(), dp, drows), dx + dcx, drows, up ? -dp : dp, 8, dx, dy, dcx, dcy};
            IMG_PARAM e = d;
            e.pBits = first(got.data(), dp, drows);
            const std::vector<uint8_t> junk = got.Bytes();
            int a;
            {
                qv::cpu::ScopedTarget on(qv::cpu::kReference);
                a = r.f(s, d);
            }
            for (qv::cpu::Target target : targets) {
                std::copy(junk.begin(), junk.end(), got.data());
                qv::cpu::ScopedTarget on(target);
                ASSERT_EQ(a, r.f(s, e));
                ASSERT_EQ(want.Bytes(), got.Bytes())
                    << qv::cpu::TargetName(target) << " " << r.name << " " << scx << "x" << scy << "+" << sx
                    << "," << sy << " -> " << dcx << "x" << dcy << "+" << dx << "," << dy << (up ? " up" : "");
            }
        }
}

}  // namespace
