#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <thread>

#include "pipeline/RecordingPlugins.h"

TEST(PluginMgrConcurrency, EncodersRunInParallelWhileMuxerWritesNeverOverlap) {
    rec::Reset();
    PluginMgr::m_arEncoder = {rec::VideoEncoder(), rec::AudioEncoder()};
    PluginMgr::m_arFileFormat = {rec::Muxer()};
    rec::g_behaviour.encodeSleepMs = 4;
    rec::g_behaviour.writeSleepMs = 1;
    EncodeParam param;
    QVDefaultEncodeParam(&param);
    MEDIA_FRAME video{}, audio{};
    audio.nDataSize = 4;
    rec::Name(&video, "video");
    rec::Name(&audio, "audio");
    {
        PluginMgr pm;
        ASSERT_EQ(pm.Create(L"out.mp4", &param), 1u);
        rec::TakeCalls();
        const int frames = 25;
        std::thread videoThread([&] {
            for (int i = 0; i < frames; ++i) EXPECT_EQ(pm.WriteVideoFrame(&video), 1000u);
        });
        std::thread audioThread([&] {
            for (int i = 0; i < frames; ++i) EXPECT_EQ(pm.WriteAudioData(&audio), 2000u);
        });
        std::thread::id videoId = videoThread.get_id(), audioId = audioThread.get_id();
        videoThread.join();
        audioThread.join();

        int videoWrites = 0, audioWrites = 0;
        for (const rec::Call& call : rec::TakeCalls()) {
            // Each encoder runs on the thread that wrote its stream.
            if (call.text.rfind("Encode V", 0) == 0) {
                EXPECT_EQ(call.thread, videoId);
            } else if (call.text.rfind("Encode A", 0) == 0) {
                EXPECT_EQ(call.thread, audioId);
            }
            videoWrites += call.text == "WriteVideo F vpkt";
            audioWrites += call.text == "WriteAudio F apkt 77";
        }
        EXPECT_EQ(videoWrites, frames);
        EXPECT_EQ(audioWrites, frames);
    }
    EXPECT_FALSE(rec::g_muxerOverlap);
    EXPECT_TRUE(rec::g_encodersOverlapped);
    // Neither encoder holds the muxer lock: each ran during the other's writes.
    EXPECT_TRUE(rec::g_encodedDuringWrite[0]);
    EXPECT_TRUE(rec::g_encodedDuringWrite[1]);
    PluginMgr::m_arEncoder.clear();
    PluginMgr::m_arFileFormat.clear();
}
