// Encoder and muxer records living in the test executable, registered straight
// into the pipeline's registries. Encoders pass frames through; the muxer
// copies every frame or block it receives.
#ifndef QUEVARRA_TESTS_MEDIAFILE_RECORDINGPLUGINS_H
#define QUEVARRA_TESTS_MEDIAFILE_RECORDINGPLUGINS_H

#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <cstdint>
#include <vector>

namespace rec {

constexpr uint32_t kVideo = QV_FOURCC('T', 'V', 'I', 'D');
constexpr uint32_t kAudio = QV_FOURCC('T', 'A', 'U', 'D');
constexpr uint32_t kMux = QV_FOURCC('T', 'M', 'U', 'X');       // video and audio
constexpr uint32_t kAudioOnly = QV_FOURCC('T', 'W', 'A', 'V');  // no video list

struct Written {
    MEDIA_FRAME frame;
    std::vector<uint8_t> data;           // audio bytes
    std::vector<uint8_t> y, u, v;        // video planes, rows packed
};

struct State {
    std::vector<Written> audio, video;
    std::vector<EncodeParam> created;    // parameters each encoder instance got
    EncodeParam fileParam{};             // parameters the muxer got
    int closes = 0;
    QVPROGRESS_CALLBACK callback = nullptr;
    void* user = nullptr;
    unsigned writeResult = 1;            // what every muxer write returns
    int reviseWidth = 0, reviseHeight = 0;  // non-zero: the video encoder revises
    int reviseSampleRate = 0;               // non-zero: the audio encoder revises
};

State& S();

// Registers the records (muxer time-stamp flag as given) and clears the log;
// unregisters in TearDown.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    void UseTimestampMode(bool on);
};

EncodeParam Params(uint32_t container = kMux);
xVideoInfo VideoInfo(int w, int h, double fps, int ax = 0, int ay = 0);
xAudioInfo AudioInfo(int rate, int channels, int bits = 16);

}  // namespace rec

#endif
