// Whole runs through the library and the plugins, checked with ffprobe and
// ffmpeg. They skip when the bundle has no file formats (plugins not built).
#include "ToolRun.h"
#include "Y4mReader.h"

#include "common/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

using namespace qvtools;

namespace {

class EndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "ffmpeg/ffprobe not installed";
        const ToolResult list = Qvencode({"--list"});
        if (list.code != 0)
            GTEST_SKIP() << "QVInitPlugins finds no file formats in the bundle (plugins not built yet):\n" << list.output;
        m_formats = list.output;
        m_dir = qvtest::MakeTempDir("qvencode-e2e");
    }
    void TearDown() override {
        if (!m_dir.empty()) qvtest::RemoveTree(m_dir);
    }
    bool Lists(const std::string& fourcc) const { return m_formats.find("'" + fourcc + "'") != std::string::npos; }
    std::string Path(const std::string& name) const { return m_dir + "/" + name; }
    void Ffmpeg(const std::string& lavfi, const std::string& extra, const std::string& out) {
        const ToolResult r = Command({"sh", "-c", "ffmpeg -v error -y -f lavfi -i '" + lavfi + "' " + extra + " '" + out + "'"});
        ASSERT_EQ(r.code, 0) << r.output;
    }
    // ffprobe's value of one entry for the first stream of a kind.
    std::string Probe(const std::string& file, const std::string& stream, const std::string& entry) {
        const ToolResult r = Command({"ffprobe", "-v", "error", "-count_frames", "-select_streams", stream, "-show_entries",
                               entry, "-of", "default=nw=1:nk=1", file});
        std::string v = r.output;
        while (!v.empty() && (v.back() == '\n' || v.back() == '\r')) v.pop_back();
        return v;
    }
    // MD5 of the decoded stream(s) picked by map, e.g. "0:v" or "0:a".
    std::string DecodedMd5(const std::string& file, const std::string& map, const std::string& extra = "") {
        const ToolResult r = Command({"sh", "-c", "ffmpeg -v error -i '" + file + "' -map " + map + " " + extra + " -f md5 -"});
        EXPECT_EQ(r.code, 0) << r.output;
        return r.output;
    }
    void Encode(std::vector<std::string> args) {
        args.push_back("-q");
        const ToolResult r = Qvencode(args);
        ASSERT_EQ(r.code, 0) << r.output;
    }

    std::string m_dir, m_formats;
};

}  // namespace

TEST_F(EndToEnd, Y4mAndWavInputsRoundTrip) {
    const std::string y4m = Path("in.y4m"), wav = Path("in.wav");
    Ffmpeg("testsrc=size=96x64:rate=25", "-frames:v 20 -pix_fmt yuv420p", y4m);
    Ffmpeg("sine=frequency=440:sample_rate=22050:duration=0.8", "-ac 1 -c:a pcm_s16le", wav);

    if (Lists("Y4M ")) {  // lossless: the first picture comes back bit for bit
        Encode({"-i", y4m, Path("out.y4m")});
        EXPECT_EQ(Probe(Path("out.y4m"), "v:0", "stream=nb_read_frames"), "20");
        EXPECT_EQ(DecodedMd5(Path("out.y4m"), "0:v", "-frames:v 1"), DecodedMd5(y4m, "0:v", "-frames:v 1"));
    }
    if (Lists("WAV ")) {
        Encode({"-a", wav, Path("out.wav")});
        EXPECT_EQ(Probe(Path("out.wav"), "a:0", "stream=sample_rate"), "22050");
        EXPECT_EQ(DecodedMd5(Path("out.wav"), "0:a"), DecodedMd5(wav, "0:a"));
    }
    if (Lists("MKV ")) {
        Encode({"-i", y4m, "-a", wav, Path("out.mkv")});
        EXPECT_EQ(Probe(Path("out.mkv"), "v:0", "stream=nb_read_frames"), "20");
        const double duration = std::atof(Probe(Path("out.mkv"), "a:0", "format=duration").c_str());
        EXPECT_NEAR(duration, 0.8, 0.1);
    }
}

TEST_F(EndToEnd, RawFramesGoThroughTheColourConverters) {
    if (!Lists("Y4M ")) GTEST_SKIP() << "no Y4M file format";
    // 16x8, top half red, bottom half blue, top-down rows; three frames.
    const int w = 16, h = 8;
    std::string bgra, bgr;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool top = y < h / 2;
            const char px[4] = {char(top ? 0 : 255), 0, char(top ? 255 : 0), char(255)};
            bgra.append(px, 4);
            bgr.append(px, 3);
        }
    for (const auto& [name, one] : {std::pair<std::string, std::string>{"bgra", bgra}, {"bgr24", bgr}}) {
        const std::string in = Path("in." + name), out = Path(name + ".y4m");
        FILE* f = std::fopen(in.c_str(), "wb");
        for (int i = 0; i < 3; ++i) std::fwrite(one.data(), 1, one.size(), f);
        std::fclose(f);
        Encode({"-i", in, "--raw", name, "--size", "16x8", "--rate", "10", out});
        qvenc::Y4mReader reader;
        ASSERT_TRUE(reader.Open(out)) << reader.Error();
        qvenc::Picture p;
        int frames = 0;
        while (reader.ReadFrame(p) == 1) {
            ++frames;
            EXPECT_EQ(p.plane[0][0], 81) << name;               // red, top row
            EXPECT_EQ(p.plane[0][(h - 1) * p.pitch[0]], 40) << name;  // blue, bottom row
            EXPECT_EQ(p.plane[1][0], 90) << name;
            EXPECT_EQ(p.plane[2][0], 239) << name;
            EXPECT_EQ(p.plane[1][3 * p.pitch[1]], 239) << name;
        }
        EXPECT_EQ(frames, 3) << name;
    }
}

TEST_F(EndToEnd, SecondThreadAudioMatchesSingleThread) {
    const std::string y4m = Path("in.y4m"), wav = Path("in.wav");
    Ffmpeg("testsrc=size=64x48:rate=25", "-frames:v 25 -pix_fmt yuv420p", y4m);
    Ffmpeg("sine=frequency=300:sample_rate=44100:duration=1", "-ac 2 -c:a pcm_s16le", wav);
    for (const std::string ext : {"wav", "y4m"}) {
        if (!Lists(ext == "wav" ? "WAV " : "Y4M ")) continue;
        Encode({"-i", y4m, "-a", wav, Path("threaded." + ext)});
        Encode({"-i", y4m, "-a", wav, "--single-thread", Path("single." + ext)});
        const std::string a = ReadFile(Path("threaded." + ext)), b = ReadFile(Path("single." + ext));
        EXPECT_FALSE(a.empty()) << ext;
        EXPECT_TRUE(a == b) << ext << " files differ";
    }
    if (Lists("MKV ")) {  // both streams: the audio really runs on its own thread
        Encode({"-i", y4m, "-a", wav, Path("threaded.mkv")});
        Encode({"-i", y4m, "-a", wav, "--single-thread", Path("single.mkv")});
        EXPECT_EQ(DecodedMd5(Path("threaded.mkv"), "0:a"), DecodedMd5(Path("single.mkv"), "0:a"));
        EXPECT_EQ(DecodedMd5(Path("threaded.mkv"), "0:v"), DecodedMd5(Path("single.mkv"), "0:v"));
    }
}

TEST_F(EndToEnd, UnknownFourCCsAreRefusedWithoutLeavingAFile) {
    ToolResult r = Qvencode({"-f", "ZZZZ", "--duration", "0.2", Path("a.mp4")});
    EXPECT_EQ(r.code, 1) << r.output;
    EXPECT_NE(r.output.find("no plugin publishes file format 'ZZZZ'"), std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(Path("a.mp4")));
    if (!Lists("Y4M ")) return;
    r = Qvencode({"-c:v", "ZZZZ", "--duration", "0.2", Path("a.y4m")});
    EXPECT_EQ(r.code, 1) << r.output;
    EXPECT_NE(r.output.find("does not take video codec 'ZZZZ'"), std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(Path("a.y4m")));
}
