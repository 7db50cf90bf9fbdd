// A flash and a beep stay together after a real decode; files a killed writer left decode.
#include <gtest/gtest.h>

#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <math.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

using namespace plxtest;

namespace {

// Time of the first frame for which ffmpeg's metadata printer reports `key`
// above `threshold`; -1 when none does.
double FirstTimeAbove(const std::string& text, const std::string& key, double threshold) {
    std::istringstream in(text);
    std::string line;
    double t = -1;
    while (std::getline(in, line)) {
        size_t pos = line.find("pts_time:");
        if (pos != std::string::npos) t = atof(line.c_str() + pos + 9);
        if (line.compare(0, key.size() + 1, key + "=") == 0) {
            std::string value = line.substr(key.size() + 1);
            if (value != "-inf" && atof(value.c_str()) > threshold) return t;
        }
    }
    return -1;
}

EncodeParam AvParam(const char* container) {  // H264 160x120 at 25 fps, AAC 48 kHz stereo
    EncodeParam param{};
    param.dwFileFormat = Code(container);
    param.video = {Code("H264"), 0, 12, 160, 120, 25.0, 0, 400000, 0, 0, 0, {0}};
    param.audio = {Code("AAC "), 48000, 2, 16, 0, 128000, 0};
    return param;
}

TEST(AvSync, AFlashAndABeepWrittenTogetherDecodeTogether) {
    std::string dir = qvtest::MakeTempDir("qvsync");
    std::string path = dir + "/sync.mp4";
    EncodeParam param = AvParam("MP4 ");
    Pipeline p;
    ASSERT_TRUE(p.Create(path, param));
    // 3 s; at 1.2 s the picture turns white for three frames and a tone sounds.
    Picture pic(160, 120);
    for (int i = 0; i < 75; ++i) {
        const bool flash = i >= 30 && i < 33;
        pic.Paint(0, flash);
        MEDIA_FRAME f = pic.Frame(i * 400000LL);
        p.WriteVideo(&f);
        std::vector<int16_t> s = Tone(48000, 2, 1920, 1000, flash ? 12000 : 0, i * 1920LL);
        MEDIA_FRAME b = AudioBlock(s, 48000, 2, i * 400000LL);
        p.WriteAudio(&b);
    }
    p.Close();
    std::string video = Shell("ffmpeg -nostdin -v error -i '" + path +
                              "' -an -vf 'signalstats,metadata=mode=print:key=lavfi.signalstats.YAVG:file=-'"
                              " -f null - 2>&1");
    std::string audio = Shell("ffmpeg -nostdin -v error -i '" + path +
                              "' -vn -af 'asetnsamples=n=240,astats=metadata=1:reset=1,"
                              "ametadata=mode=print:key=lavfi.astats.Overall.RMS_level:file=-' -f null - 2>&1");
    double flash = FirstTimeAbove(video, "lavfi.signalstats.YAVG", 200);
    double beep = FirstTimeAbove(audio, "lavfi.astats.Overall.RMS_level", -30);
    EXPECT_NEAR(flash, 1.2, 0.001) << video.substr(0, 400);
    EXPECT_NEAR(beep, flash, 1.0 / 25) << audio.substr(0, 400);
    qvtest::RemoveTree(dir);
}

TEST(KilledWriter, MatroskaAndFragmentedMp4KeepWhatWasWritten) {
    std::string dir = qvtest::MakeTempDir("qvkill");
    for (const char* container : {"MKV ", "FMP4"}) {
        SCOPED_TRACE(container);
        std::string path = dir + "/cut." + (container[0] == 'M' ? "mkv" : "mp4");
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {  // the writer: three seconds in, then killed without closing
            EncodeParam param = AvParam(container);
            Pipeline p;
            if (p.Create(path, param)) WriteAV(p, param, 3.04, true, true);
            raise(SIGKILL);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        // At least the first two seconds (clusters of one second, fragments
        // of one key-frame interval) must decode.
        std::string frames = Shell("ffprobe -v error -count_frames -select_streams v "
                                   "-show_entries stream=nb_read_frames -of csv=p=0 '" + path + "' 2>/dev/null");
        EXPECT_GE(atoi(frames.c_str()), 50) << frames;
        EXPECT_EQ(ProbeStream(path, 'a')["codec_name"], "aac");
        EXPECT_EQ(Shell("ffmpeg -nostdin -v quiet -i '" + path + "' -f null - ; echo $?"), "0\n");
    }
    qvtest::RemoveTree(dir);
}

}  // namespace
