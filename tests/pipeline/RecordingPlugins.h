// Encoder and muxer records whose entries live in the test executable and
// record every call, so that tests can pin what the pipeline calls and when.
#ifndef QUEVARRA_TESTS_RECORDINGPLUGINS_H
#define QUEVARRA_TESTS_RECORDINGPLUGINS_H

#include <quevarra/qv_plugin.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace rec {

const uint32_t kXvid = QV_FOURCC('X', 'V', 'I', 'D');
const uint32_t kAac = QV_FOURCC('A', 'A', 'C', ' ');
const uint32_t kMp4 = QV_FOURCC('M', 'P', '4', ' ');

struct Call {
    std::string text;  // e.g. "Encode V frame slot word=null"
    std::thread::id thread;
};

// What the recording entries answer; reset before every test.
struct Behaviour {
    bool videoCreateFails = false;
    bool audioCreateFails = false;
    bool fileCreateFails = false;
    int videoReviseResult = 1;
    int audioReviseResult = 1;
    bool encoderLeavesSlotNull = false;
    uint32_t videoWriteResult = 1000;
    uint32_t audioWriteResult = 2000;
    int encodeSleepMs = 0;  // slow encoders, for the concurrency test
    int writeSleepMs = 0;
};

extern Behaviour g_behaviour;
// Set by the entries themselves when they see forbidden overlap or parallelism.
extern std::atomic<bool> g_muxerOverlap;
extern std::atomic<bool> g_encodersOverlapped;
// [0] a video, [1] an audio encode ran while the muxer was writing.
extern std::atomic<bool> g_encodedDuringWrite[2];

// Names the pointers the entries see ("V", "A", "F", "vpkt", "apkt", "frame",
// "param", "audio", "cb", "user", "null"); registered by tests for their own.
void Name(const void* p, const std::string& name);

std::vector<Call> TakeCalls();
std::vector<std::string> TakeTexts();
void Reset();

// Records with every entry filled; tests clear the ones they want missing.
ENCODER_ITEM VideoEncoder(uint32_t code = kXvid);
ENCODER_ITEM AudioEncoder(uint32_t code = kAac);
FILEFORMAT_ITEM Muxer(uint32_t code = kMp4);

// Entry functions that tests compare or re-use.
unsigned Progress(void* user, unsigned, unsigned, unsigned);

}  // namespace rec

#endif
