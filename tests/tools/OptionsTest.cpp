#include "Options.h"
#include "Progress.h"
#include "Sources.h"
#include "TestPattern.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

using namespace qvenc;

TEST(OptionValues, RatesSizesAndBitRates) {
    Rational r;
    const std::pair<const char*, Rational> rates[] = {{"30000/1001", {30000, 1001}}, {"29.97", {2997, 100}}, {"50/2", {25, 1}}};
    for (const auto& [text, want] : rates) {  // exact ratios, reduced
        ASSERT_TRUE(ParseRate(text, r)) << text;
        EXPECT_TRUE(r.num == want.num && r.den == want.den) << text << " gives " << r.num << "/" << r.den;
    }
    for (const char* bad : {"0", "-25", "25/0", "abc", "25fps", "1.", "2000", ""}) EXPECT_FALSE(ParseRate(bad, r)) << bad;
    int w, h, bps;
    EXPECT_TRUE(ParseSize("640x480", w, h) && w == 640 && h == 480);
    for (const char* bad : {"0x5", "5x", "x5", "20000x10", "640*480", "-2x2"}) EXPECT_FALSE(ParseSize(bad, w, h)) << bad;
    EXPECT_TRUE(ParseBitRate("800k", bps) && bps == 800000);
    EXPECT_FALSE(ParseBitRate("k", bps) || ParseBitRate("5G", bps));
}

TEST(OptionParsing, RejectsIncompleteOrContradictoryRequestsAndFillsEveryChoice) {
    auto parse = [](std::vector<const char*> args, Options& o) {
        args.insert(args.begin(), "qvencode");
        return ParseOptions(static_cast<int>(args.size()), args.data(), o);
    };
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{}, "no output"},
        {{"-y", "-n", "out.mp4"}, "contradict"},
        {{"-c:v", "", "out.mp4"}, "-c:v needs a name"},
        {{"--video-stream", "x", "-i", "a.mp4", "out.mp4"}, "bad stream number 'x'"},
        {{"--video-stream", "1", "out.mp4"}, "needs -i"},
        {{"-i", "-", "-a", "-", "out.mp4"}, "standard input"},
        {{"-i", "a.rgb", "--raw", "bgra", "out.mp4"}, "--size"},
        {{"-i", "a.rgb", "--raw", "bgra", "--size", "4x4", "out.mp4"}, "--rate"},
        {{"--size", "4x4", "out.mp4"}, "with --raw"},
        {{"-vn", "-an", "out.mp4"}, "nothing"},
        {{"out.mp4", "-r"}, "frame rate"},
        {{"--resize", "zoom", "out.mp4"}, "zoom"},
        {{"a.mp4", "b.mp4"}, "more than one output"},
        {{"--frobnicate", "out.mp4"}, "unknown option"},
    };
    for (const auto& [args, fragment] : cases) {
        Options o;
        const ParseResult r = parse(args, o);
        EXPECT_FALSE(r.ok) << fragment;
        EXPECT_NE(r.error.find(fragment), std::string::npos) << r.error;
    }
    Options o;
    const ParseResult r = parse({"-i", "-", "-a", "in.wav", "--video-stream", "2", "--audio-stream", "0", "-f", "matroska",
                                 "-c:v", "libx264", "-c:a", "OPUS", "-s", "320x180", "-r", "30000/1001", "-b:v", "1M",
                                 "-b:a", "96k", "-ar", "48000", "-ac", "1", "--resize", "crop", "--interp", "nearest",
                                 "--aspect", "16:9", "--single-thread", "-q", "-y", "out.bin"},
                                o);
    ASSERT_TRUE(r.ok) << r.error;
    // Names stay as typed: they are resolved against the plugins later.
    EXPECT_EQ(o.container + "," + o.videoCodec + "," + o.audioCodec, "matroska,libx264,OPUS");
    EXPECT_TRUE(o.videoStream == 2 && o.audioStream == 0 && o.overwrite && !o.noOverwrite);
    EXPECT_EQ(std::vector<long long>({o.width, o.height, o.rate.num, o.videoBitRate, o.audioBitRate, o.sampleRate, o.channels,
                                      o.resizeMethod, o.interpolation, o.aspectX, o.aspectY}),
              std::vector<long long>({320, 180, 30000, 1000000, 96000, 48000, 1, 5, 1, 16, 9}));
    EXPECT_TRUE(o.singleThread && o.quiet && o.output == "out.bin");
}

TEST(Stamps, FrameAndSampleTimesAreExactRatios) {
    // 30000 frames at 30000/1001 fps last exactly 1001 seconds.
    EXPECT_EQ(StampOf(30000, 30000, 1001), 10010000000LL);
    // 333666.67 and 226.76 rounded.
    EXPECT_EQ(std::vector<long long>({StampOf(1, 30000, 1001), StampOf(3, 25, 1), StampOf(44100, 44100, 1), StampOf(1, 44100, 1)}),
              std::vector<long long>({333667, 1200000, 10000000, 227}));
}

TEST(TestPattern, BeepAndFlashShareTheFirstTenthOfEachSecond) {
    const int rate = 48000;
    std::vector<int16_t> s, part;
    RenderPatternAudio(0, 2 * rate, rate, 2, s);
    auto peak = [&](size_t from, size_t to) {
        int p = 0;
        for (size_t i = from; i < to; ++i) p = std::max(p, std::abs(int(s[i])));
        return p;
    };
    const size_t beep = rate / 10 * 2;
    EXPECT_GT(peak(0, beep), 15000);                    // loud beep
    EXPECT_LT(peak(beep + 2, rate * 2), 4000);          // quiet tone after it
    EXPECT_GT(peak(rate * 2, rate * 2 + beep), 15000);  // again at 1 s
    for (size_t i = 0; i < s.size(); i += 2) ASSERT_EQ(s[i], s[i + 1]);
    RenderPatternAudio(rate, 100, rate, 2, part);  // in pieces: the same samples
    EXPECT_TRUE(std::equal(part.begin(), part.end(), s.begin() + 2 * rate));

    // At 30 fps frames 0..2 (0, 33, 67 ms) flash, frame 3 (100 ms) does not; frame 30 flashes.
    for (long long f : {0LL, 2LL, 3LL, 30LL}) {
        Picture p;
        RenderPatternFrame(f, Rational{30, 1}, p);
        long sum = 0;  // mean luma of the flash square (top right)
        for (int y = 40; y < 100; ++y)
            for (int x = 540; x < 600; ++x) sum += p.plane[0][y * p.pitch[0] + x];
        EXPECT_EQ(sum / 3600 == 235, f != 3) << f;
    }
}

TEST(ProgressLine, ShowsCountsMediaTimeSpeedAndEta) {
    const std::string line = Progress::Line(50, 200, 25.0, "frames", 1.0);
    for (const char* part : {"50/200 frames", "00:00:02.000", "2.0x", "ETA 0:03"})
        EXPECT_NE(line.find(part), std::string::npos) << line;
    const std::string open = Progress::Line(7, -1, 25.0, "frames", 1.0);
    EXPECT_TRUE(open.find('[') == std::string::npos && open.find("ETA") == std::string::npos) << open;
    EXPECT_NE(Progress::CloseLine(1, 4, 2).find("25%"), std::string::npos);
    EXPECT_EQ(ClockText(3723004), "01:02:03.004");
}
