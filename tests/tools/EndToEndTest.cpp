// Whole runs through FFmpeg's decoders, the library and the plugins, on small
// inputs made with the ffmpeg program and checked with ffprobe and ffmpeg.
// They skip when ffmpeg is missing or the bundle has no file formats.
#include "ToolRun.h"

#include <cstdlib>
#include <functional>
#include <sstream>
#include <sys/stat.h>

using namespace qvtools;

namespace {

class EndToEnd : public TempDirTest {
protected:
    static void SetUpTestSuite() {
        if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) return;
        const ToolResult list = Qvencode({"--list"});
        if (list.code != 0 || list.output.find("mkv") == std::string::npos) return;
        const std::string bars = "testsrc=size=160x120:rate=25:duration=";
        const std::vector<std::vector<std::string>> makes = {
            {"-f", "lavfi", "-i", bars + "2", "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=2",
             "-ac", "6", "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", "h264_aac51.mp4"},
            {"-f", "lavfi", "-i", bars + "1", "-f", "lavfi", "-i", "sine=sample_rate=48000:duration=1", "-c:v",
             "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-c:a", "libopus", "vp9_opus.mkv"},
            // Left half red, right half blue, 4:2:2 10-bit.
            {"-f", "lavfi", "-i", "color=red:s=80x120:d=0.2[l];color=blue:s=80x120:d=0.2[r];[l][r]hstack", "-c:v",
             "prores_ks", "-pix_fmt", "yuv422p10le", "p422.mov"},
            // 25 fps for a second, then one picture every 0.2 s.
            {"-f", "lavfi", "-i", bars + "2,select='lt(t\\,1)+not(mod(n\\,5))'", "-fps_mode", "passthrough", "-c:v",
             "libx264", "-preset", "ultrafast", "vfr.mp4"},
            // A white flash at 1 s; the beep that goes with it is 0.5 s into
            // an audio stream that starts 0.5 s after the video.
            {"-f", "lavfi", "-i", "color=black:s=160x120:r=25:d=2,drawbox=c=white:t=fill:enable='between(t,1,1.11)'",
             "-itsoffset", "0.5", "-f", "lavfi", "-i", "aevalsrc='if(between(t,0.5,0.6),0.5*sin(2*PI*1000*t),0)':d=1.5:s=48000",
             "-c:v", "mpeg4", "-q:v", "2", "-c:a", "flac", "late.mkv"},
            {"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=1.5", "tone.flac"},
            {"-f", "lavfi", "-i", bars + "1", "-c:v", "libx264", "-preset", "ultrafast", "video.mp4"},
            {"-f", "lavfi", "-i", "testsrc=size=96x64:rate=25", "-frames:v", "25", "-pix_fmt", "yuv420p", "in.y4m"},
            {"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=1", "-ac", "2", "in.wav"},
        };
        // Every test runs in a process of its own: the inputs are made once
        // per recipe in the build tree, by whichever process comes first.
        std::string recipe;
        for (const auto& args : makes)
            for (const std::string& a : args) recipe += a + "\n";
        s_inputs = QVENCODE_TEST_INPUTS "-" + std::to_string(std::hash<std::string>()(recipe) % 1000000007);
        if (!FileExists(s_inputs + "/ready")) {
            const std::string work = s_inputs + ".tmp" + std::to_string(getpid());
            ASSERT_EQ(mkdir(work.c_str(), 0700), 0) << work;
            for (std::vector<std::string> args : makes) {
                args.back() = work + "/" + args.back();
                args.insert(args.begin(), {"ffmpeg", "-v", "error", "-y"});
                ASSERT_EQ(Command(args).code, 0) << args.back();
            }
            // Cut short: an MP4 loses its index (at the end), a Matroska file its last half.
            for (const char* name : {"h264_aac51.mp4", "late.mkv"}) {
                const std::string whole = ReadFile(work + "/" + name);
                std::ofstream(work + "/cut_" + name, std::ios::binary) << whole.substr(0, whole.size() / 2);
            }
            std::ofstream(work + "/ready") << recipe;
            if (rename(work.c_str(), s_inputs.c_str()) != 0) qvtest::RemoveTree(work);  // made by another
        }
        s_ready = true;
    }
    void SetUp() override {
        if (!s_ready) GTEST_SKIP() << "no ffmpeg/ffprobe, or no file formats in the bundle (plugins not built)";
        TempDirTest::SetUp();
    }
    static std::string In(const std::string& name) { return s_inputs + "/" + name; }
    // ffprobe's values (one per line) of an entry for the streams picked by `stream`.
    static std::string Probe(const std::string& file, const std::string& stream, const std::string& entry) {
        return Command({"ffprobe", "-v", "error", "-count_frames", "-select_streams", stream, "-show_entries", entry,
                        "-of", "default=nw=1:nk=1", file})
            .output;
    }
    static double AudioSeconds(const std::string& file) {
        return Decode(file, "-map 0:a:0 -ac 1 -ar 48000 -f s16le").size() / 96000.0;
    }
    // Output of an ffmpeg decode of `file` with the given arguments after it.
    static std::string Decode(const std::string& file, const std::string& args) {
        const ToolResult r = Command({"sh", "-c", "ffmpeg -v error -i '" + file + "' " + args + " -"});
        EXPECT_EQ(r.code, 0) << r.output;
        return r.output;
    }
    static long DecodedSamples(const std::string& file) {
        return static_cast<long>(Decode(file, "-map 0:a:0 -ac 1 -f s16le").size() / 2);
    }
    // The MD5 of each decoded picture.
    static std::vector<std::string> PictureMd5s(const std::string& file) {
        std::istringstream lines(Decode(file, "-map 0:v -f framemd5"));
        std::vector<std::string> md5s;
        for (std::string line; std::getline(lines, line);)
            if (!line.empty() && line[0] != '#') md5s.push_back(line.substr(line.rfind(' ') + 1));
        return md5s;
    }
    static void Encode(std::vector<std::string> args, const std::string& input = "") {
        args.push_back("-q");
        const ToolResult r = Qvencode(args, input);
        ASSERT_EQ(r.code, 0) << r.output;
    }
    static inline std::string s_inputs;
    static inline bool s_ready = false;
};

}  // namespace

TEST_F(EndToEnd, SurroundMp4BecomesStereoWithEverySample) {
    Encode({"-i", In("h264_aac51.mp4"), "-c:a", "flac", Path("out.mkv")});
    EXPECT_EQ(Probe(Path("out.mkv"), "v:0", "stream=nb_read_frames"), "50\n");
    EXPECT_EQ(Probe(Path("out.mkv"), "a:0", "stream=channels,sample_rate"), "48000\n2\n");
    EXPECT_EQ(DecodedSamples(Path("out.mkv")), DecodedSamples(In("h264_aac51.mp4")));
}

TEST_F(EndToEnd, MatroskaVp9OpusBecomesMp4H264Aac) {
    Encode({"-i", In("vp9_opus.mkv"), "-c:v", "libx264", "-c:a", "aac", Path("out.mp4")});
    EXPECT_EQ(Probe(Path("out.mp4"), "v:0", "stream=codec_name,nb_read_frames"), "h264\n25\n");
    EXPECT_EQ(Probe(Path("out.mp4"), "a:0", "stream=codec_name"), "aac\n");
    EXPECT_NEAR(AudioSeconds(Path("out.mp4")), 1.0, 0.05);
}

TEST_F(EndToEnd, TenBitFourTwoTwoKeepsItsColours) {
    Encode({"-i", In("p422.mov"), Path("out.y4m")});
    const std::string p = Decode(Path("out.y4m"), "-frames:v 1 -f rawvideo");
    ASSERT_EQ(p.size(), 160u * 120 * 3 / 2);
    auto at = [&](size_t offset) { return static_cast<int>(static_cast<unsigned char>(p[offset])); };
    const size_t u = 160 * 120, v = u + 80 * 60;
    // BT.601 studio range: red 81/90/240, blue 41/240/110.
    const int want[6] = {81, 90, 240, 41, 240, 110};
    const int got[6] = {at(60 * 160 + 40), at(u + 30 * 80 + 20), at(v + 30 * 80 + 20),
                        at(60 * 160 + 120), at(u + 30 * 80 + 60), at(v + 30 * 80 + 60)};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], 2) << i;
}

TEST_F(EndToEnd, VariableFrameRateComesOutConstant) {
    Encode({"-i", In("vfr.mp4"), "-r", "25", Path("paced.y4m")});
    const std::vector<std::string> md5 = PictureMd5s(Path("paced.y4m"));
    // 25 pictures in the first second, then each of 1.0 .. 1.8 s five times.
    ASSERT_EQ(md5.size(), 46u);
    for (size_t i = 25; i < 45; i += 5) {
        EXPECT_NE(md5[i - 1], md5[i]) << i;
        for (size_t k = 1; k < 5; ++k) EXPECT_EQ(md5[i], md5[i + k]) << i + k;
    }
    // Without -r the output runs at the input's average rate.
    Encode({"-i", In("vfr.mp4"), Path("out.y4m")});
    EXPECT_EQ(Probe(Path("out.y4m"), "v:0", "stream=r_frame_rate"), Probe(In("vfr.mp4"), "v:0", "stream=avg_frame_rate"));
}

TEST_F(EndToEnd, ProgressAndFinalLineShowTheLibrarysCounters) {
    // 25 pictures at 25 fps written at 12.5 fps: every other one is dropped.
    ToolResult r = Qvencode({"-i", In("in.y4m"), "-r", "12.5", "--progress", Path("half.y4m")});
    ASSERT_EQ(r.code, 0) << r.output;
    EXPECT_NE(r.output.find("13/13 frames  00:00:01.040"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("wrote '" + Path("half.y4m") + "': 13 frames (dup 0 drop 12)"), std::string::npos) << r.output;
    // The variable-rate input: 16 repeats fill its gaps; -v shows the library's log.
    r = Qvencode({"-i", In("vfr.mp4"), "-r", "25", "--progress", "-v", Path("vfr.y4m")});
    ASSERT_EQ(r.code, 0) << r.output;
    EXPECT_NE(r.output.find("46 frames (dup 16 drop 0)"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("log: QVMakeMediaFile: "), std::string::npos) << r.output;
}

TEST_F(EndToEnd, AudioStartingLateStaysInSync) {
    Encode({"-i", In("late.mkv"), "-c:a", "flac", Path("out.mkv")});
    size_t flash = 0;
    const std::string y = Decode(Path("out.mkv"), "-map 0:v -f rawvideo -pix_fmt gray");
    for (size_t i = 0; i * 19200 < y.size(); ++i)
        if (static_cast<unsigned char>(y[i * 19200 + 9600]) > 128) {
            flash = i;
            break;
        }
    const std::string pcm = Decode(Path("out.mkv"), "-map 0:a -ac 1 -ar 48000 -f s16le");
    size_t beep = 0;
    for (size_t i = 0; i + 1 < pcm.size(); i += 2)
        if (std::abs(static_cast<int16_t>(static_cast<unsigned char>(pcm[i]) | static_cast<unsigned char>(pcm[i + 1]) << 8)) >
            8000) {
            beep = i / 2;
            break;
        }
    EXPECT_EQ(flash, 25u);
    EXPECT_NEAR(beep / 48000.0, flash / 25.0, 0.04);  // within one picture
    EXPECT_NEAR(AudioSeconds(Path("out.mkv")), 2.0, 0.05);  // the late start is filled
}

TEST_F(EndToEnd, AudioOnlyVideoOnlyAndSeparateAudio) {
    Encode({"-i", In("tone.flac"), Path("out.m4a")});
    EXPECT_EQ(Probe(Path("out.m4a"), "a", "stream=codec_name") + Probe(Path("out.m4a"), "v", "stream=codec_name"), "aac\n");
    EXPECT_NEAR(AudioSeconds(Path("out.m4a")), 1.5, 0.05);
    Encode({"-i", In("video.mp4"), Path("out.mp4")});
    EXPECT_EQ(Probe(Path("out.mp4"), "v", "stream=nb_read_frames") + Probe(Path("out.mp4"), "a", "stream=codec_name"), "25\n");
    Encode({"-i", In("video.mp4"), "-a", In("tone.flac"), Path("both.mkv")});
    EXPECT_EQ(Probe(Path("both.mkv"), "a:0", "stream=channels"), "1\n");
    const ToolResult r = Qvencode({"-i", In("tone.flac"), "-a", In("tone.flac"), Path("none.mkv")});
    EXPECT_EQ(r.code, 2) << r.output;
    EXPECT_NE(r.output.find("tone.flac has no video stream"), std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(Path("none.mkv")));
}

TEST_F(EndToEnd, TruncatedInputs) {
    // Without its index an MP4 cannot be read at all: nothing is written.
    ToolResult r = Qvencode({"-i", In("cut_h264_aac51.mp4"), Path("a.mkv")});
    EXPECT_EQ(r.code, 2) << r.output;
    EXPECT_NE(r.output.find("cut_h264_aac51.mp4: Invalid data found when processing input (mov"), std::string::npos)
        << r.output;
    EXPECT_FALSE(FileExists(Path("a.mkv")));
    // A Matroska file cut short gives what it holds, with a warning.
    r = Qvencode({"-i", In("cut_late.mkv"), Path("b.mkv")});
    EXPECT_EQ(r.code, 0) << r.output;
    EXPECT_NE(r.output.find("warning"), std::string::npos) << r.output;
    const int frames = std::atoi(Probe(Path("b.mkv"), "v:0", "stream=nb_read_frames").c_str());
    EXPECT_TRUE(frames > 5 && frames < 50) << frames;
}

TEST_F(EndToEnd, Yuv4MpegAndWavKeepWorkingFromStandardInput) {
    Encode({"-i", "-", "-a", In("in.wav"), Path("out.mkv")}, In("in.y4m"));
    EXPECT_EQ(Probe(Path("out.mkv"), "v:0", "stream=nb_read_frames"), "25\n");
    EXPECT_NEAR(AudioSeconds(Path("out.mkv")), 1.0, 0.05);
    // Uncompressed both ways: the samples and pictures come back exactly.
    Encode({"-a", "-", Path("out.wav")}, In("in.wav"));
    EXPECT_EQ(Decode(Path("out.wav"), "-map 0:a -f md5"), Decode(In("in.wav"), "-map 0:a -f md5"));
    Encode({"-i", In("in.y4m"), Path("out.y4m")});
    EXPECT_EQ(PictureMd5s(Path("out.y4m")), PictureMd5s(In("in.y4m")));
}

TEST_F(EndToEnd, RawFramesGoThroughTheLibrarysConverters) {
    // 16x8 BGRA, top half red, bottom half blue, top-down rows; three frames.
    std::string one;
    for (int i = 0; i < 16 * 8; ++i) one += i < 64 ? std::string{0, 0, char(255), char(255)} : std::string{char(255), 0, 0, char(255)};
    Encode({"-i", Write("in.bgra", one + one + one), "--raw", "bgra", "--size", "16x8", "--rate", "10", Path("out.y4m")});
    const std::string p = Decode(Path("out.y4m"), "-f rawvideo");
    ASSERT_EQ(p.size(), 3u * 192);
    for (size_t f = 0; f < 3; ++f) {  // Y, U, V of red (top) and Y, U of blue (bottom rows)
        auto at = [&](size_t offset) { return static_cast<int>(static_cast<unsigned char>(p[f * 192 + offset])); };
        EXPECT_EQ(std::vector<int>({at(0), at(128), at(160), at(7 * 16), at(128 + 3 * 8)}),
                  std::vector<int>({81, 90, 239, 40, 239}));
    }
}

TEST_F(EndToEnd, SecondThreadAudioMatchesSingleThread) {
    Encode({"-i", In("h264_aac51.mp4"), Path("threaded.mkv")});
    Encode({"-i", In("h264_aac51.mp4"), "--single-thread", Path("single.mkv")});
    EXPECT_EQ(Decode(Path("threaded.mkv"), "-map 0:a -f md5"), Decode(Path("single.mkv"), "-map 0:a -f md5"));
    EXPECT_EQ(PictureMd5s(Path("threaded.mkv")), PictureMd5s(Path("single.mkv")));
}

TEST_F(EndToEnd, NamesAndAliasesReachTheRightEncoders) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"-f", "MATROSKA", "-c:v", "libx264", "-c:a", "libmp3lame"}, "h264\nmp3\n"},
        {{"-f", "mkv", "-c:v", "AVC", "-c:a", "Opus"}, "h264\nopus\n"},
        {{"-f", "matroska", "-c:v", "mpeg4", "-c:a", "FLAC"}, "mpeg4\nflac\n"},
        {{"-f", "webm"}, "vp9\nopus\n"},
    };
    for (const auto& [names, codecs] : cases) {
        std::vector<std::string> args = {"-i", In("in.y4m"), "-a", In("in.wav"), "-y"};
        args.insert(args.end(), names.begin(), names.end());
        args.push_back(Path("out.bin"));
        Encode(args);
        EXPECT_EQ(Probe(Path("out.bin"), "v:0", "stream=codec_name") + Probe(Path("out.bin"), "a:0", "stream=codec_name"),
                  codecs);
    }
    const ToolResult r = Qvencode({"-i", In("in.y4m"), "-c:v", "h246", Path("x.mkv")});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.output.find("unknown video codec 'h246' (did you mean 'h264'"), std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(Path("x.mkv")));
}

TEST_F(EndToEnd, ExistingOutputsAndFailedRuns) {
    const std::string out = Write("out.mkv", "old");
    for (const std::vector<std::string>& flags : {std::vector<std::string>{}, {"-n"}}) {
        std::vector<std::string> args = {"-i", In("in.y4m"), out};
        args.insert(args.begin(), flags.begin(), flags.end());
        const ToolResult r = Qvencode(args);
        EXPECT_EQ(r.code, 1) << r.output;
        EXPECT_NE(r.output.find("'" + out + "' already exists"), std::string::npos) << r.output;
    }
    EXPECT_EQ(ReadFile(out), "old");
    Encode({"-i", In("in.y4m"), "-y", out});
    EXPECT_EQ(Probe(out, "v:0", "stream=nb_read_frames"), "25\n");
    // The muxer cannot create the file: a library failure with its log.
    const ToolResult r = Qvencode({"-i", In("in.y4m"), Path("no/such/dir/out.mkv")});
    EXPECT_EQ(r.code, 3) << r.output;
    EXPECT_NE(r.output.find("could not create"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("  log: "), std::string::npos) << r.output;
}

TEST_F(EndToEnd, AnInterruptedRunLeavesNoOutput) {
    // Input that stops coming: the run waits for it until interrupted.
    const std::string out = Path("out.mkv"), fifo = Path("fifo");
    const ToolResult r = Command(
        {"sh", "-c",
         "mkfifo '" + fifo + "'; (cat '" + In("in.y4m") + "'; exec sleep 20) > '" + fifo + "' & feeder=$!; " +
             "ASAN_OPTIONS=detect_leaks=0 '" QVENCODE_PATH "' -i - -q '" + out + "' < '" + fifo + "' & pid=$!; " +
             "n=0; while [ ! -s '" + out + "' ] && [ $n -lt 200 ]; do sleep 0.05; n=$((n+1)); done; " +
             "kill -INT $pid; wait $pid; echo exit=$?; kill $feeder"});
    EXPECT_NE(r.output.find("exit=130"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("incomplete and was removed"), std::string::npos) << r.output;
    EXPECT_FALSE(FileExists(out));
}
