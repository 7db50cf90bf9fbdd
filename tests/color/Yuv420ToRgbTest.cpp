// Planar 4:2:0 to RGB bitmaps: colours, untouched bytes, row orders, edges, checks.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

namespace {

enum class Inv { Rgb24, Rgb32, Argb };
const Inv kAllInv[] = {Inv::Rgb24, Inv::Rgb32, Inv::Argb};

const char* Name(Inv k) {
    return k == Inv::Rgb24 ? "Yuv420_2_rgb24" : k == Inv::Rgb32 ? "Yuv420_2_rgb32" : "Yuv420_2_Argb";
}

Dib MakeDest(Inv k, int w, int h) { return Dib(w, h, k == Inv::Rgb24 ? 24 : 32, k != Inv::Argb); }

void Convert(Inv k, Yuv& src, Dib& dst) {
    auto fn = k == Inv::Rgb24 ? Yuv420_2_rgb24 : k == Inv::Rgb32 ? Yuv420_2_rgb32 : Yuv420_2_Argb;
    fn(&dst.header, dst.bits.data(), src.y.data(), src.nullU ? nullptr : src.u.data(),
       src.v.data(), src.pitchY, src.pitchU, src.pitchV);
}

Bgr At(Dib& d, int x, int y) {
    const uint8_t* p = d.Px(x, y);
    return Bgr{p[0], p[1], p[2]};
}

// The colour the main pass gives one (Y, U, V): a uniform 2 x 2 picture.
Bgr MainPassColour(int y, int u, int v) {
    Yuv src(2, 2);
    std::fill(src.y.begin(), src.y.end(), uint8_t(y));
    src.U(0, 0) = uint8_t(u);
    src.V(0, 0) = uint8_t(v);
    Dib dst(2, 2, 24);
    Yuv420_2_rgb24(&dst.header, dst.bits.data(), src.y.data(), src.u.data(), src.v.data(),
                   src.pitchY, src.pitchU, src.pitchV);
    return At(dst, 0, 0);
}

}  // namespace

TEST(Yuv420ToRgb, NeutralGreysAndTheBytesThatMustStayUntouched) {
    for (Inv k : kAllInv) {
        for (auto [luma, grey] : {std::pair{235, 254}, std::pair{16, 0}}) {
            SCOPED_TRACE(std::string(Name(k)) + " Y=" + std::to_string(luma));
            Yuv src(5, 3);
            std::fill(src.y.begin(), src.y.end(), uint8_t(luma));
            std::fill(src.u.begin(), src.u.end(), uint8_t(128));
            std::fill(src.v.begin(), src.v.end(), uint8_t(128));
            Dib dst = MakeDest(k, 5, 3);
            Convert(k, src, dst);
            for (int y = 0; y < 3; ++y) {
                for (int x = 0; x < 5; ++x) {
                    const uint8_t* p = dst.Px(x, y);
                    const int want = (x == 4 && y == 2) ? kSentinel : grey;  // uncovered corner
                    EXPECT_EQ(p[0], want) << x << "," << y;
                    EXPECT_EQ(p[1], want) << x << "," << y;
                    EXPECT_EQ(p[2], want) << x << "," << y;
                    if (k == Inv::Rgb32) {
                        EXPECT_EQ(p[3], kSentinel) << x << "," << y;
                    }
                    if (k == Inv::Argb && want != kSentinel) {
                        EXPECT_EQ(p[3], 255) << x << "," << y;
                    }
                }
                if (k == Inv::Rgb24) {
                    EXPECT_EQ(dst.Row(y)[15], kSentinel) << "padding of row " << y;
                }
            }
        }
    }
}

TEST(Yuv420ToRgb, FirstLumaRowLandsInTheRowOrderOfEachVariant) {
    for (Inv k : kAllInv) {
        Yuv src(4, 4);
        std::fill(src.y.begin(), src.y.end(), uint8_t(16));
        std::fill(src.u.begin(), src.u.end(), uint8_t(128));
        std::fill(src.v.begin(), src.v.end(), uint8_t(128));
        for (int x = 0; x < 4; ++x) src.Y(x, 0) = 235;
        Dib dst = MakeDest(k, 4, 4);
        Convert(k, src, dst);
        const size_t firstRowInMemory = k == Inv::Argb ? 0 : 3;
        for (size_t row = 0; row < 4; ++row)
            EXPECT_EQ(dst.bits[row * dst.pitch], row == firstRowInMemory ? 254 : 0)
                << Name(k) << " buffer row " << row;
    }
}

// 3 x 3 with every chroma sample distinct: the odd column takes chroma column
// 1 on both rows, the odd row takes chroma row 1; sizes of 1 use one pass only.
TEST(Yuv420ToRgb, EdgePassesTakeTheLastChromaColumnAndRow) {
    for (Inv k : kAllInv) {
        SCOPED_TRACE(Name(k));
        Yuv src(3, 3);
        std::fill(src.y.begin(), src.y.end(), uint8_t(120));
        src.U(0, 0) = 60, src.V(0, 0) = 200;
        src.U(1, 0) = 200, src.V(1, 0) = 60;
        src.U(0, 1) = 90, src.V(0, 1) = 90;
        src.U(1, 1) = 1, src.V(1, 1) = 1;  // the uncovered corner's sample
        Dib dst = MakeDest(k, 3, 3);
        Convert(k, src, dst);
        EXPECT_EQ(At(dst, 1, 1), MainPassColour(120, 60, 200));
        EXPECT_EQ(At(dst, 2, 0), MainPassColour(120, 200, 60));
        EXPECT_EQ(At(dst, 2, 1), MainPassColour(120, 200, 60));
        EXPECT_EQ(At(dst, 0, 2), MainPassColour(120, 90, 90));
        EXPECT_EQ(At(dst, 1, 2), MainPassColour(120, 90, 90));
        EXPECT_EQ(dst.Px(2, 2)[0], kSentinel);

        Yuv column(1, 2);
        std::fill(column.y.begin(), column.y.end(), uint8_t(235));
        column.U(0, 0) = column.V(0, 0) = 128;
        Dib thin = MakeDest(k, 1, 2);
        Convert(k, column, thin);
        EXPECT_EQ(At(thin, 0, 0), (Bgr{254, 254, 254}));
        EXPECT_EQ(At(thin, 0, 1), (Bgr{254, 254, 254}));

        Dib flat = MakeDest(k, 2, 1);
        Yuv row(2, 1);
        std::fill(row.y.begin(), row.y.end(), uint8_t(16));
        row.U(0, 0) = row.V(0, 0) = 128;
        Convert(k, row, flat);
        EXPECT_EQ(At(flat, 1, 0), (Bgr{0, 0, 0}));

        Dib single = MakeDest(k, 1, 1);
        Yuv one(1, 1);
        Convert(k, one, single);
        EXPECT_TRUE(AllSentinel(single.bits));
    }
}

TEST(Yuv420ToRgb, FastFormStaysWithinOneStepOfThePerPixelReference) {
    std::mt19937 rng(99);
    Yuv src(40, 30);
    src.Randomize(rng);
    Dib fast(40, 30, 24), ref(40, 30, 24);
    Convert(Inv::Rgb24, src, fast);
    Yuv420_2_rgb24Simple(&ref.header, ref.bits.data(), src.y.data(), src.u.data(), src.v.data(),
                         src.pitchY, src.pitchU, src.pitchV);
    int maxDiff = 0;
    for (size_t i = 0; i < fast.bits.size(); ++i)
        maxDiff = std::max(maxDiff, std::abs(fast.bits[i] - ref.bits[i]));
    EXPECT_LE(maxDiff, 1);
}

TEST(Yuv420ToRgb, ViolatedPreconditionLogsTheConditionAndWritesNothing) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    for (Inv k : kAllInv) {
        SCOPED_TRACE(Name(k));
        const int bits = k == Inv::Rgb24 ? 24 : 32;
        Yuv src(4, 4);
        Dib dst = MakeDest(k, 4, 4);
        dst.header.biBitCount = 16;
        Convert(k, src, dst);
        EXPECT_TRUE(AllSentinel(dst.bits));
        const std::string want = std::string(Name(k)) +
                                 ": assertion failed: lpDstBmi && lpDstBmi->biBitCount == " +
                                 std::to_string(bits) + "\r\n";
        EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{std::wstring(want.begin(), want.end())});

        dst.header.biBitCount = static_cast<uint16_t>(bits);
        src.nullU = true;
        Convert(k, src, dst);
        EXPECT_TRUE(AllSentinel(dst.bits));
        const auto log = qvtest::TakeLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_NE(log[0].find(L": assertion failed: lpDstBits && pY && pU && pV\r\n"), std::wstring::npos);
    }
}

// A diagnostic entry point with no output: it must read only the YV12 picture
// behind the header (the sanitizer build checks that) and leave it unchanged.
TEST(xTraceImage, ReadsTheTrailingPictureAndChangesNothing) {
    const int W = 5, H = 3;
    const size_t picture = W * H + 2 * ((W + 1) / 2) * ((H + 1) / 2);
    std::vector<uint8_t> block(sizeof(BITMAPINFOHEADER) + picture, 0x80);
    BITMAPINFOHEADER h{};
    h.biSize = 40, h.biWidth = W, h.biHeight = H, h.biBitCount = 12;
    std::memcpy(block.data(), &h, sizeof h);
    const auto before = block;
    xTraceImage(reinterpret_cast<BITMAPINFO*>(block.data()), nullptr);
    std::vector<uint8_t> separate(picture, 0x30);
    xTraceImage(reinterpret_cast<BITMAPINFO*>(block.data()), separate.data());
    EXPECT_EQ(block, before);
}
