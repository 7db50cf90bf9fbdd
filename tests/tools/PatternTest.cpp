#include "Progress.h"
#include "TestPattern.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace qvenc;

namespace {

int Peak(const std::vector<int16_t>& s, size_t from, size_t to) {
    int peak = 0;
    for (size_t i = from; i < to; ++i) peak = std::max(peak, std::abs(int(s[i])));
    return peak;
}

// Mean luma of the flash square (top right).
int FlashLuma(const Picture& p) {
    long sum = 0;
    for (int y = 40; y < 100; ++y)
        for (int x = 540; x < 600; ++x) sum += p.plane[0][y * p.pitch[0] + x];
    return static_cast<int>(sum / (60 * 60));
}

}  // namespace

TEST(TestPattern, BeepAndFlashShareTheFirstTenthOfEachSecond) {
    const int rate = 48000;
    std::vector<int16_t> s;
    RenderPatternAudio(0, 2 * rate, rate, 2, s);
    const size_t beep = rate / 10 * 2;
    EXPECT_GT(Peak(s, 0, beep), 15000);                        // loud beep
    EXPECT_LT(Peak(s, beep + 2, rate * 2), 4000);              // quiet tone after it
    EXPECT_GT(Peak(s, rate * 2, rate * 2 + beep), 15000);      // again at 1 s
    for (size_t i = 0; i < s.size(); i += 2) ASSERT_EQ(s[i], s[i + 1]);
    // Rendering in pieces gives the same samples as at once.
    std::vector<int16_t> part;
    RenderPatternAudio(rate, 100, rate, 2, part);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), s.begin() + 2 * rate));

    // At 30 fps frames 0..2 (0, 33, 67 ms) flash, frame 3 (100 ms) does not; frame 30 flashes.
    Picture p;
    const Rational fps{30, 1};
    for (long long f : {0LL, 2LL, 30LL}) {
        RenderPatternFrame(f, fps, p);
        EXPECT_EQ(FlashLuma(p), 235) << f;
    }
    RenderPatternFrame(3, fps, p);
    EXPECT_NE(FlashLuma(p), 235);
}

TEST(TestPattern, CounterAndBarsChangeFromFrameToFrame) {
    Picture a, b;
    RenderPatternFrame(0, Rational{25, 1}, a);
    RenderPatternFrame(1, Rational{25, 1}, b);
    ASSERT_EQ(a.width, 640);
    ASSERT_EQ(a.height, 480);
    // The counter band (digits) and the bars (shifted) both differ.
    auto differs = [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y)
            for (int x = 0; x < 640; ++x)
                if (a.plane[0][y * 640 + x] != b.plane[0][y * 640 + x]) return true;
        return false;
    };
    EXPECT_TRUE(differs(336, 376));
    EXPECT_TRUE(differs(150, 300));
    EXPECT_EQ(ClockText(3723004), "01:02:03.004");
}

TEST(ProgressLine, ShowsCountsMediaTimeSpeedAndEta) {
    const std::string line = Progress::Line(50, 200, 25.0, "frames", 1.0);
    EXPECT_NE(line.find("50/200 frames"), std::string::npos) << line;
    EXPECT_NE(line.find("00:00:02.000"), std::string::npos) << line;
    EXPECT_NE(line.find("2.0x"), std::string::npos) << line;
    EXPECT_NE(line.find("ETA 0:03"), std::string::npos) << line;
    const std::string open = Progress::Line(7, -1, 25.0, "frames", 1.0);
    EXPECT_EQ(open.find('['), std::string::npos) << open;
    EXPECT_EQ(open.find("ETA"), std::string::npos) << open;
    EXPECT_NE(Progress::CloseLine(1, 4, 2).find("25%"), std::string::npos);
}
