// Whole runs through the library and the plugins, checked with ffprobe and
// ffmpeg. They skip when the bundle has no file formats (plugins not built).
#include "ToolRun.h"
#include "Y4mReader.h"

#include <cstdlib>

using namespace qvtools;

namespace {

class EndToEnd : public TempDirTest {
protected:
    // One Y4M (25 frames of 96x64 at 25 fps) and one WAV (1 s stereo at 44100 Hz) for the whole suite.
    static void SetUpTestSuite() {
        if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) return;
        const ToolResult list = Qvencode({"--list"});
        s_formats = list.code == 0 ? list.output : "";
        s_inputs = qvtest::MakeTempDir("qvencode-e2e");
        Command({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=96x64:rate=25", "-frames:v", "25", "-pix_fmt",
                 "yuv420p", s_inputs + "/in.y4m"});
        Command({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=1", "-ac", "2",
                 "-c:a", "pcm_s16le", s_inputs + "/in.wav"});
    }
    static void TearDownTestSuite() {
        if (!s_inputs.empty()) qvtest::RemoveTree(s_inputs);
    }
    void SetUp() override {
        if (s_formats.empty()) GTEST_SKIP() << "no ffmpeg/ffprobe, or no file formats in the bundle (plugins not built)";
        TempDirTest::SetUp();
    }
    static bool Lists(const std::string& fourcc) { return s_formats.find("'" + fourcc + "'") != std::string::npos; }
    // ffprobe's value (and a newline) of one entry for the first stream of a kind.
    static std::string Probe(const std::string& file, const std::string& stream, const std::string& entry) {
        return Command({"ffprobe", "-v", "error", "-count_frames", "-select_streams", stream, "-show_entries", entry, "-of",
                        "default=nw=1:nk=1", file})
            .output;
    }
    // MD5 of the decoded stream(s) picked by map ("0:v", "0:a", "0:v -frames:v 1").
    static std::string DecodedMd5(const std::string& file, const std::string& map) {
        const ToolResult r = Command({"sh", "-c", "ffmpeg -v error -i '" + file + "' -map " + map + " -f md5 -"});
        EXPECT_EQ(r.code, 0) << r.output;
        return r.output;
    }
    static void Encode(std::vector<std::string> args) {
        args.push_back("-q");
        const ToolResult r = Qvencode(args);
        ASSERT_EQ(r.code, 0) << r.output;
    }
    static inline std::string s_formats, s_inputs;
    const std::string y4m = s_inputs + "/in.y4m", wav = s_inputs + "/in.wav";
};

}  // namespace

TEST_F(EndToEnd, Y4mAndWavInputsRoundTrip) {
    if (Lists("Y4M ")) {  // lossless: the first picture comes back bit for bit
        Encode({"-i", y4m, Path("out.y4m")});
        EXPECT_EQ(Probe(Path("out.y4m"), "v:0", "stream=nb_read_frames"), "25\n");
        EXPECT_EQ(DecodedMd5(Path("out.y4m"), "0:v -frames:v 1"), DecodedMd5(y4m, "0:v -frames:v 1"));
    }
    if (Lists("WAV ")) {
        Encode({"-a", wav, Path("out.wav")});
        EXPECT_EQ(Probe(Path("out.wav"), "a:0", "stream=sample_rate"), "44100\n");
        EXPECT_EQ(DecodedMd5(Path("out.wav"), "0:a"), DecodedMd5(wav, "0:a"));
    }
    if (Lists("MKV ")) {
        Encode({"-i", y4m, "-a", wav, Path("out.mkv")});
        EXPECT_EQ(Probe(Path("out.mkv"), "v:0", "stream=nb_read_frames"), "25\n");
        EXPECT_NEAR(std::atof(Probe(Path("out.mkv"), "a:0", "format=duration").c_str()), 1.0, 0.1);
    }
}

TEST_F(EndToEnd, RawFramesGoThroughTheColourConverters) {
    if (!Lists("Y4M ")) GTEST_SKIP() << "no Y4M file format";
    // 16x8 BGRA, top half red, bottom half blue, top-down rows; three frames.
    const int w = 16, h = 8;
    std::string one;
    for (int i = 0; i < w * h; ++i) one += i < w * h / 2 ? std::string{0, 0, char(255), char(255)} : std::string{char(255), 0, 0, char(255)};
    Encode({"-i", Write("in.bgra", one + one + one), "--raw", "bgra", "--size", "16x8", "--rate", "10", Path("out.y4m")});
    qvenc::Y4mReader reader;
    ASSERT_TRUE(reader.Open(Path("out.y4m"))) << reader.Error();
    qvenc::Picture p;
    int frames = 0;
    for (; reader.ReadFrame(p) == 1; ++frames)  // Y, U, V of red (top) and Y, U of blue (bottom rows)
        EXPECT_EQ(std::vector<int>({p.plane[0][0], p.plane[1][0], p.plane[2][0], p.plane[0][(h - 1) * p.pitch[0]],
                                    p.plane[1][3 * p.pitch[1]]}),
                  std::vector<int>({81, 90, 239, 40, 239}));
    EXPECT_EQ(frames, 3);
}

TEST_F(EndToEnd, SecondThreadAudioMatchesSingleThread) {
    for (const std::string ext : {"wav", "y4m", "mkv"}) {
        if (!Lists(ext == "wav" ? "WAV " : ext == "y4m" ? "Y4M " : "MKV ")) continue;
        const std::string threaded = Path("threaded." + ext), single = Path("single." + ext);
        Encode({"-i", y4m, "-a", wav, threaded});
        Encode({"-i", y4m, "-a", wav, "--single-thread", single});
        if (ext != "mkv") {
            EXPECT_FALSE(ReadFile(threaded).empty()) << ext;
            EXPECT_TRUE(ReadFile(threaded) == ReadFile(single)) << ext << " files differ";
        } else {  // both streams: the audio really runs on its own thread
            EXPECT_EQ(DecodedMd5(threaded, "0:a"), DecodedMd5(single, "0:a"));
            EXPECT_EQ(DecodedMd5(threaded, "0:v"), DecodedMd5(single, "0:v"));
        }
    }
}

TEST_F(EndToEnd, UnknownFourCCsAreRefusedWithoutLeavingAFile) {
    ToolResult r = Qvencode({"-f", "ZZZZ", "--duration", "0.2", Path("a.mp4")});
    EXPECT_EQ(r.code, 1) << r.output;
    EXPECT_NE(r.output.find("no plugin publishes file format 'ZZZZ'"), std::string::npos) << r.output;
    if (Lists("Y4M ")) r = Qvencode({"-c:v", "ZZZZ", "--duration", "0.2", Path("a.y4m")});
    EXPECT_EQ(r.code, 1) << r.output;
    EXPECT_TRUE(!Lists("Y4M ") || r.output.find("does not take video codec 'ZZZZ'") != std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(Path("a.mp4")) || FileExists(Path("a.y4m")));
}
