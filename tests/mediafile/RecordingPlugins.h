// Test plugins recording what the pipeline hands to the muxer.
#ifndef QUEVARRA_TESTS_MEDIAFILE_RECORDINGPLUGINS_H
#define QUEVARRA_TESTS_MEDIAFILE_RECORDINGPLUGINS_H

#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <vector>

namespace rec {

constexpr uint32_t kVideo = QV_FOURCC('T', 'V', 'I', 'D');
constexpr uint32_t kAudio = QV_FOURCC('T', 'A', 'U', 'D');
constexpr uint32_t kMux = QV_FOURCC('T', 'M', 'U', 'X');        // frame-count pacing
constexpr uint32_t kStampMux = QV_FOURCC('T', 'S', 'T', 'P');   // time-stamp pacing
constexpr uint32_t kAudioOnly = QV_FOURCC('T', 'W', 'A', 'V');  // no video list

struct Written {
    MEDIA_FRAME frame;
    std::vector<uint8_t> data, u, v;  // audio bytes, or the Y, U, V planes row-packed
};

struct State {
    std::vector<Written> audio, video;
    std::vector<EncodeParam> created;  // what each encoder instance was created with
    int closes = 0;
    QVPROGRESS_CALLBACK callback = nullptr;
    void* user = nullptr;
    unsigned writeResult = 1;  // returned by every muxer write
    int reviseWidth = 0;       // non-zero: the video encoder revises the width
};
State& S();

class PluginTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

EncodeParam Params(uint32_t container = kMux, int outW = 320, int outH = 240, double rate = 25.0,
                   int method = 1);
xVideoInfo VideoInfo(int w, int h, double fps, int ax = 0, int ay = 0);
xAudioInfo AudioInfo(int rate, int channels, int bits = 16);
MEDIA_FRAME Block(std::vector<int16_t>& samples, int64_t streamTime, int64_t timeStamp = -5);

}  // namespace rec

#endif
