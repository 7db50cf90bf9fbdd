#include "Job.h"
#include "Options.h"

#include <gtest/gtest.h>

#include <vector>

using namespace qvenc;

namespace {

ParseResult Parse(std::vector<const char*> args, Options& o) {
    args.insert(args.begin(), "qvencode");
    return ParseOptions(static_cast<int>(args.size()), args.data(), o);
}

}  // namespace

TEST(OptionValues, RatesStayExactRatios) {
    Rational r;
    ASSERT_TRUE(ParseRate("30000/1001", r));
    EXPECT_EQ(r.num, 30000);
    EXPECT_EQ(r.den, 1001);
    ASSERT_TRUE(ParseRate("29.97", r));
    EXPECT_EQ(r.num, 2997);
    EXPECT_EQ(r.den, 100);
    ASSERT_TRUE(ParseRate("50/2", r));
    EXPECT_EQ(r.num, 25);
    EXPECT_EQ(r.den, 1);
    for (const char* bad : {"0", "-25", "25/0", "abc", "25fps", "1.", "2000", ""}) EXPECT_FALSE(ParseRate(bad, r)) << bad;
}

TEST(OptionValues, SizesFourCCsAndBitRates) {
    int w, h;
    EXPECT_TRUE(ParseSize("640x480", w, h));
    EXPECT_EQ(w * 10000 + h, 6400480);
    for (const char* bad : {"0x5", "5x", "x5", "20000x10", "640*480", "-2x2"}) EXPECT_FALSE(ParseSize(bad, w, h)) << bad;
    uint32_t code;
    ASSERT_TRUE(ParseFourCC("AAC", code));
    EXPECT_EQ(code, QV_FOURCC('A', 'A', 'C', ' '));
    EXPECT_FALSE(ParseFourCC("TOOLONG", code));
    EXPECT_FALSE(ParseFourCC("", code));
    int bps;
    ASSERT_TRUE(ParseBitRate("800k", bps));
    EXPECT_EQ(bps, 800000);
    EXPECT_FALSE(ParseBitRate("k", bps));
    EXPECT_FALSE(ParseBitRate("5G", bps));
}

TEST(OptionValues, ContainerFollowsTheExtension) {
    EXPECT_EQ(ContainerForExtension("a/b/Clip.MKV"), QV_FOURCC('M', 'K', 'V', ' '));
    EXPECT_EQ(ContainerForExtension("x.webm"), QV_FOURCC('W', 'E', 'B', 'M'));
    EXPECT_EQ(ContainerForExtension("dir.mp4/noext"), 0u);
    EXPECT_EQ(ContainerForExtension("x.flv"), 0u);
}

TEST(OptionParsing, RejectsIncompleteOrContradictoryRequests) {
    struct Case {
        std::vector<const char*> args;
        const char* fragment;
    } cases[] = {
        {{}, "no output"},
        {{"out.xyz"}, "cannot tell the container"},
        {{"-i", "a.rgb", "--raw", "bgra", "out.mp4"}, "--size"},
        {{"-i", "a.rgb", "--raw", "bgra", "--size", "4x4", "out.mp4"}, "--rate"},
        {{"--size", "4x4", "out.mp4"}, "with --raw"},
        {{"-vn", "-an", "out.mp4"}, "nothing"},
        {{"out.mp4", "-r"}, "frame rate"},
        {{"--resize", "zoom", "out.mp4"}, "zoom"},
        {{"a.mp4", "b.mp4"}, "more than one output"},
        {{"--frobnicate", "out.mp4"}, "unknown option"},
        {{"-a", "-", "out.mp4"}, "standard input"},
    };
    for (const Case& c : cases) {
        Options o;
        ParseResult r = Parse(c.args, o);
        EXPECT_FALSE(r.ok) << c.fragment;
        EXPECT_NE(r.error.find(c.fragment), std::string::npos) << r.error;
    }
}

TEST(OptionParsing, FillsEveryOutputChoice) {
    Options o;
    ParseResult r = Parse({"-i", "-", "-a", "in.wav", "-f", "MKV", "-c:v", "H264", "-c:a", "OPUS", "-s", "320x180",
                           "-r", "30000/1001", "-b:v", "1M", "-b:a", "96k", "-ar", "48000", "-ac", "1", "--resize",
                           "crop", "--interp", "nearest", "--aspect", "16:9", "--single-thread", "-q", "out.bin"},
                          o);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(o.container, QV_FOURCC('M', 'K', 'V', ' '));
    EXPECT_EQ(o.videoCodec, QV_FOURCC('H', '2', '6', '4'));
    EXPECT_EQ(o.audioCodec, QV_FOURCC('O', 'P', 'U', 'S'));
    EXPECT_EQ(o.width, 320);
    EXPECT_EQ(o.height, 180);
    EXPECT_EQ(o.rate.num, 30000);
    EXPECT_EQ(o.videoBitRate, 1000000);
    EXPECT_EQ(o.audioBitRate, 96000);
    EXPECT_EQ(o.sampleRate, 48000);
    EXPECT_EQ(o.channels, 1);
    EXPECT_EQ(o.resizeMethod, 5);
    EXPECT_EQ(o.interpolation, 1);
    EXPECT_EQ(o.aspectX * 100 + o.aspectY, 1609);
    EXPECT_TRUE(o.singleThread && o.quiet);
    EXPECT_EQ(o.output, "out.bin");
}

TEST(Stamps, FrameAndSampleTimesAreExactRatios) {
    // 30000 frames at 30000/1001 fps last exactly 1001 seconds.
    EXPECT_EQ(StampOf(30000, 30000, 1001), 10010000000LL);
    EXPECT_EQ(StampOf(1, 30000, 1001), 333667);  // 333666.67 rounded
    EXPECT_EQ(StampOf(3, 25, 1), 1200000);
    EXPECT_EQ(StampOf(44100, 44100, 1), 10000000);
    EXPECT_EQ(StampOf(1, 44100, 1), 227);
}
