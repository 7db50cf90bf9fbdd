// RGB bitmaps to planar 4:2:0: colours, edge passes, row orders, alpha, checks.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <cstdlib>
#include <string>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

namespace {

enum class Fwd { Rgb24, Rgb32, Argb, Rgb32A, ExTopDown, ExBottomUp };
const Fwd kAllFwd[] = {Fwd::Rgb24,  Fwd::Rgb32,     Fwd::Argb,
                       Fwd::Rgb32A, Fwd::ExTopDown, Fwd::ExBottomUp};

const char* Name(Fwd k) {
    switch (k) {
        case Fwd::Rgb24: return "Rgb24_2_yuv420";
        case Fwd::Rgb32: return "Rgb32_2_yuv420";
        case Fwd::Argb: return "Argb_2_yuv420";
        case Fwd::Rgb32A: return "Rgb32_2_yuv420A";
        case Fwd::ExTopDown: return "Rgb32_2_yuv420_Ex(+h)";
        case Fwd::ExBottomUp: return "Rgb32_2_yuv420_Ex(-h)";
    }
    return "?";
}

// The source layout each converter reads.
Dib MakeSource(Fwd k, int w, int h) {
    const bool topDown = k == Fwd::Argb || k == Fwd::ExTopDown;
    return Dib(w, h, k == Fwd::Rgb24 ? 24 : 32, !topDown);
}

void Convert(Fwd k, Dib& src, Yuv& dst) {
    uint8_t *y = dst.y.data(), *u = dst.nullU ? nullptr : dst.u.data(), *v = dst.v.data();
    BITMAPINFOHEADER* h = &src.header;
    switch (k) {
        case Fwd::Rgb24: Rgb24_2_yuv420(y, u, v, dst.pitchY, dst.pitchU, dst.pitchV, h, src.bits.data()); break;
        case Fwd::Rgb32: Rgb32_2_yuv420(y, u, v, dst.pitchY, dst.pitchU, dst.pitchV, h, src.bits.data()); break;
        case Fwd::Argb: Argb_2_yuv420(y, u, v, dst.pitchY, dst.pitchU, dst.pitchV, h, src.bits.data()); break;
        case Fwd::Rgb32A:
            Rgb32_2_yuv420A(y, u, v, dst.a.data(), dst.pitchY, dst.pitchU, dst.pitchV, h, src.bits.data());
            break;
        case Fwd::ExTopDown:
            Rgb32_2_yuv420_Ex(y, u, v, dst.pitchY, dst.pitchU, dst.pitchV, src.bits.data(), src.W(), src.H(), src.pitch);
            break;
        case Fwd::ExBottomUp:
            Rgb32_2_yuv420_Ex(y, u, v, dst.pitchY, dst.pitchU, dst.pitchV, src.bits.data(), src.W(), -src.H(), src.pitch);
            break;
    }
}

const Bgr kWhite{255, 255, 255}, kBlack{0, 0, 0}, kRed{0, 0, 255}, kBlue{255, 0, 0};

}  // namespace

// 5 x 3 exercises all three passes; the corner of an odd-by-odd picture keeps the sentinel.
TEST(RgbToYuv420, UniformColoursEverywhereButTheUncoveredCorner) {
    const struct {
        Bgr c;
        int y, u, v;
    } cases[] = {{kWhite, 235, 128, 128}, {kBlack, 16, 128, 128}, {kRed, 81, 90, 239}, {kBlue, 40, 239, 109}};
    for (Fwd k : kAllFwd) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(Name(k)) + " Y=" + std::to_string(c.y));
            Dib src = MakeSource(k, 5, 3);
            src.Fill(c.c, 77);
            Yuv dst(5, 3);
            Convert(k, src, dst);
            for (int row = 0; row < 3; ++row)
                for (int x = 0; x <= 5; ++x) {
                    const bool corner = row == 2 && x >= 4;
                    EXPECT_EQ(dst.Y(x, row), corner ? kSentinel : c.y) << x << "," << row;
                }
            for (int row = 0; row < 2; ++row)
                for (int x = 0; x < 3; ++x) {
                    const bool corner = row == 1 && x == 2;
                    EXPECT_EQ(dst.U(x, row), corner ? kSentinel : c.u) << x << "," << row;
                    EXPECT_EQ(dst.V(x, row), corner ? kSentinel : c.v) << x << "," << row;
                }
            EXPECT_EQ(dst.Y(6, 0), kSentinel);  // nothing beyond the duplicated column
        }
    }
}

TEST(RgbToYuv420, BlackAndWhiteBlockHasNeutralChroma) {
    for (Fwd k : kAllFwd) {
        Dib src = MakeSource(k, 2, 2);
        src.Set(0, 0, kBlack);
        src.Set(1, 0, kWhite);
        src.Set(0, 1, kWhite);
        src.Set(1, 1, kBlack);
        Yuv dst(2, 2);
        Convert(k, src, dst);
        EXPECT_EQ(dst.U(0, 0), 128) << Name(k);
        EXPECT_EQ(dst.V(0, 0), 128) << Name(k);
        EXPECT_EQ(dst.Y(1, 0), 235) << Name(k);
    }
}

// Red over blue in the odd column, red beside blue in the odd row: each edge
// chroma sample is the floored mean of the two terms (-38 + 111, 111 - 19).
// Distinct rows also pin each converter's row order.
TEST(RgbToYuv420, OddEdgesAverageTheirPairAndReadTheRightRows) {
    for (Fwd k : kAllFwd) {
        SCOPED_TRACE(Name(k));
        Dib src = MakeSource(k, 3, 3);
        src.Fill(kWhite);
        src.Set(2, 0, kRed);
        src.Set(2, 1, kBlue);
        src.Set(0, 2, kRed);
        src.Set(1, 2, kBlue);
        Yuv dst(3, 3);
        Convert(k, src, dst);
        EXPECT_EQ(dst.Y(2, 0), 81);
        EXPECT_EQ(dst.Y(3, 0), 81);
        EXPECT_EQ(dst.Y(2, 1), 40);
        EXPECT_EQ(dst.Y(3, 1), 40);
        EXPECT_EQ(dst.U(1, 0), 164);
        EXPECT_EQ(dst.V(1, 0), 174);
        EXPECT_EQ(dst.Y(0, 2), 81);
        EXPECT_EQ(dst.Y(1, 2), 40);
        EXPECT_EQ(dst.U(0, 1), 164);
        EXPECT_EQ(dst.V(0, 1), 174);
        EXPECT_EQ(dst.Y(0, 0), 235);
        EXPECT_EQ(dst.Y(2, 2), kSentinel);
        EXPECT_EQ(dst.U(1, 1), kSentinel);
    }
}

TEST(Rgb32_2_yuv420_Ex, NegativeHeightReadsBottomUpAndZeroWritesNothing) {
    std::mt19937 rng(3);
    Dib top(6, 5, 32, false);
    top.Randomize(rng);
    Dib bottom(6, 5, 32, true);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) std::copy_n(top.Px(x, y), 4, bottom.Px(x, y));
    Yuv a(6, 5), b(6, 5);
    Convert(Fwd::ExTopDown, top, a);
    Convert(Fwd::ExBottomUp, bottom, b);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.u, b.u);
    EXPECT_EQ(a.v, b.v);
    EXPECT_NE(a.Y(0, 0), kSentinel);
    // The same bytes read with a positive height are a vertically flipped picture.
    Yuv flipped(6, 5);
    Convert(Fwd::ExTopDown, bottom, flipped);
    EXPECT_NE(flipped.y, a.y);

    Yuv none(6, 5);
    Rgb32_2_yuv420_Ex(none.y.data(), none.u.data(), none.v.data(), none.pitchY, none.pitchU,
                      none.pitchV, top.bits.data(), 6, 0, top.pitch);
    EXPECT_TRUE(none.Untouched());
}

TEST(RgbToYuv420, AlphaIsIgnoredByArgbAndCopiedByTheAlphaPlaneForm) {
    std::mt19937 rng(11);
    Dib argb(3, 2, 32, false);
    argb.Randomize(rng);
    Dib otherAlpha = argb;
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) otherAlpha.Px(x, y)[3] ^= 0xFF;
    Yuv a(3, 2), b(3, 2);
    Convert(Fwd::Argb, argb, a);
    Convert(Fwd::Argb, otherAlpha, b);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.u, b.u);
    EXPECT_EQ(a.v, b.v);

    Dib rgba(3, 2, 32, true);
    const uint8_t alpha[2][3] = {{0, 255, 1}, {128, 254, 0}};
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) rgba.Set(x, y, kRed, alpha[y][x]);
    Yuv out(3, 2);
    Convert(Fwd::Rgb32A, rgba, out);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) EXPECT_EQ(out.A(x, y), alpha[y][x]) << x << "," << y;
        EXPECT_EQ(out.A(3, y), alpha[y][2]) << "duplicated column, row " << y;
        EXPECT_EQ(out.A(4, y), kSentinel);
    }
}

// The fast form floors where the per-pixel form rounds, and averages terms
// instead of clamped values; still no sample may differ by more than one step.
TEST(RgbToYuv420, FastFormStaysCloseToThePerPixelReference) {
    std::mt19937 rng(2024);
    Dib src(64, 48, 24);
    src.Randomize(rng);
    Yuv fast(64, 48), ref(64, 48);
    Convert(Fwd::Rgb24, src, fast);
    Rgb24_2_yuv420Simple(ref.y.data(), ref.u.data(), ref.v.data(), ref.pitchY, ref.pitchU,
                         ref.pitchV, &src.header, src.bits.data());
    int maxY = 0, maxC = 0;
    for (int row = 0; row < 48; ++row)
        for (int x = 0; x < 64; ++x) maxY = std::max(maxY, std::abs(fast.Y(x, row) - ref.Y(x, row)));
    for (int row = 0; row < 24; ++row)
        for (int x = 0; x < 32; ++x) {
            maxC = std::max(maxC, std::abs(fast.U(x, row) - ref.U(x, row)));
            maxC = std::max(maxC, std::abs(fast.V(x, row) - ref.V(x, row)));
        }
    EXPECT_LE(maxY, 1);
    EXPECT_LE(maxC, 1);
}

TEST(RgbToYuv420, ViolatedPreconditionLogsTheConditionAndWritesNothing) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    for (Fwd k : {Fwd::Rgb24, Fwd::Rgb32, Fwd::Argb, Fwd::Rgb32A}) {
        SCOPED_TRACE(Name(k));
        const int bits = k == Fwd::Rgb24 ? 24 : 32;
        Dib src = MakeSource(k, 4, 4);
        src.header.biBitCount = static_cast<uint16_t>(bits == 24 ? 32 : 24);
        Yuv dst(4, 4);
        Convert(k, src, dst);
        EXPECT_TRUE(dst.Untouched());
        auto log = qvtest::TakeLog();
        ASSERT_EQ(log.size(), 1u);
        const std::string want = std::string(Name(k)) +
                                 ": assertion failed: lpSrcBmi && lpSrcBmi->biBitCount == " +
                                 std::to_string(bits) + "\r\n";
        EXPECT_EQ(log[0], std::wstring(want.begin(), want.end()));

        src.header.biBitCount = static_cast<uint16_t>(bits);
        Yuv noU(4, 4);
        noU.nullU = true;
        Convert(k, src, noU);
        EXPECT_TRUE(noU.Untouched());
        log = qvtest::TakeLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_NE(log[0].find(L"assertion failed: lpSrcBits && pY && pU && pV\r\n"), std::wstring::npos);
    }
    Yuv dst(4, 4);
    Rgb32_2_yuv420_Ex(dst.y.data(), dst.u.data(), dst.v.data(), dst.pitchY, dst.pitchU,
                      dst.pitchV, nullptr, 4, 4, 16);
    EXPECT_TRUE(dst.Untouched());
    EXPECT_EQ(qvtest::TakeLog(),
              std::vector<std::wstring>{L"Rgb32_2_yuv420_Ex: assertion failed: lpSrcBits && pY && pU && pV\r\n"});
}
