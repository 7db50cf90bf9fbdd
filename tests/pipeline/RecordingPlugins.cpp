#include "pipeline/RecordingPlugins.h"

#include <chrono>
#include <map>
#include <mutex>

#include <quevarra/qv_support.h>

namespace rec {

Behaviour g_behaviour;
std::atomic<bool> g_muxerOverlap{false};
std::atomic<bool> g_encodersOverlapped{false};
std::atomic<bool> g_encodedDuringWrite[2];

namespace {

std::mutex g_mutex;
std::vector<Call> g_calls;
std::map<const void*, std::string> g_names;
int g_videoInst, g_audioInst, g_file, g_videoPacket, g_audioPacket;
std::atomic<bool> g_encoderInside[2];  // video, audio
std::atomic<bool> g_muxerInside{false};

std::string Str(const void* p) {
    if (!p) return "null";
    std::lock_guard<std::mutex> lock(g_mutex);
    auto it = g_names.find(p);
    return it == g_names.end() ? "?" : it->second;
}
std::string Str(const char* s) { return s; }
std::string Str(uintptr_t n) { return std::to_string(n); }

// Records "what arg1 arg2 ..." with the calling thread.
template <typename... Args>
void Record(const char* what, Args... args) {
    std::string text = what;
    ((text += " " + Str(args)), ...);
    std::lock_guard<std::mutex> lock(g_mutex);
    g_calls.push_back({text, std::this_thread::get_id()});
}

void Sleep(int ms) {
    if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

int Encode(void* h, const MEDIA_FRAME* in, void** ppOut, uint32_t* pWord) {
    const int stream = h == &g_videoInst ? 0 : 1;
    Record("Encode", h, in, *ppOut ? "dirty" : "slot",
           pWord ? (*pWord ? "dirty" : "word") : "word=null");
    g_encoderInside[stream] = true;
    if (g_encoderInside[1 - stream]) g_encodersOverlapped = true;
    Sleep(g_behaviour.encodeSleepMs);
    if (g_muxerInside) g_encodedDuringWrite[stream] = true;
    g_encoderInside[stream] = false;
    if (!g_behaviour.encoderLeavesSlotNull) *ppOut = stream ? &g_audioPacket : &g_videoPacket;
    if (pWord) *pWord = 77;
    return 0;
}

void* Create(uint32_t code, EncodeParam* param) {
    wchar_t text[5];
    FourCC2StrW(text, code);
    Record("Create", std::string(text, text + 4).c_str(), param);
    if (code == kXvid) return g_behaviour.videoCreateFails ? nullptr : &g_videoInst;
    return g_behaviour.audioCreateFails ? nullptr : &g_audioInst;
}

void CloseEnc(void* h) { Record("Close", h); }

// The extra words arrive cleared; anything else shows as "dirty".
void GetAudioExtra(void* h, uintptr_t* w1, uintptr_t* w2) {
    Record(*w1 || *w2 ? "GetAudioExtra dirty" : "GetAudioExtra", h);
    *w1 = 11;
    *w2 = 12;
}

void GetVideoExtra(void* h, uintptr_t* w1, uintptr_t* w2, uintptr_t* w3, uintptr_t* w4) {
    Record(*w1 || *w2 || *w3 || *w4 ? "GetVideoExtra dirty" : "GetVideoExtra", h);
    *w1 = 21, *w2 = 22, *w3 = 23, *w4 = 24;
}

int ReviseAudio(EncodeAudioParam* audio) {
    Record("ReviseAudio", audio);
    audio->nSampleRate = 48000;  // revisions must reach the caller's record
    return g_behaviour.audioReviseResult;
}

int ReviseVideo(EncodeParam* param) {
    Record("ReviseVideo", param);
    param->video.nWidth = 352;
    return g_behaviour.videoReviseResult;
}

void* CreateFile(const wchar_t* path, EncodeParam* param) {
    Record("CreateFile", std::string(path, path + wcslen(path)).c_str(), param);
    return g_behaviour.fileCreateFails ? nullptr : &g_file;
}

// Held during each muxer write: a second writer inside is a locking fault, and
// an encoder seen running meanwhile proves encoders stay outside the lock.
struct MuxerGuard {
    MuxerGuard() {
        if (g_muxerInside.exchange(true)) g_muxerOverlap = true;
        Note();
        Sleep(g_behaviour.writeSleepMs);
        Note();
    }
    ~MuxerGuard() { g_muxerInside = false; }
    static void Note() {
        for (int i = 0; i < 2; ++i)
            if (g_encoderInside[i]) g_encodedDuringWrite[i] = true;
    }
};

uint32_t WriteAudio(void* h, const void* data, uint32_t word) {
    MuxerGuard guard;
    Record("WriteAudio", h, data, uintptr_t(word));
    return g_behaviour.audioWriteResult;
}

uint32_t WriteVideo(void* h, const void* frame) {
    MuxerGuard guard;
    Record("WriteVideo", h, frame);
    return g_behaviour.videoWriteResult;
}

int CloseFile(void* h, QVPROGRESS_CALLBACK cb, void* user) {
    Record("CloseFile", h, reinterpret_cast<void*>(cb), user);
    return 0;
}

void SetAudioExtra(void* h, uintptr_t w1, uintptr_t w2) { Record("SetAudioExtra", h, w1, w2); }

void SetVideoExtra(void* h, uintptr_t w1, uintptr_t w2, uintptr_t w3, uintptr_t w4) {
    Record("SetVideoExtra", h, w1, w2, w3, w4);
}

ENCODER_ITEM Encoder(uint32_t code, int type) {
    ENCODER_ITEM item{};
    item.dwFourCC = code;
    item.nType = type;
    item.pfnCreate = Create;
    item.pfnEncode = Encode;
    item.pfnClose = CloseEnc;
    item.pfnGetAudioExtra = GetAudioExtra;
    item.pfnGetVideoExtra = GetVideoExtra;
    item.pfnReviseAudioParam = ReviseAudio;
    item.pfnReviseVideoParam = ReviseVideo;
    return item;
}

}  // namespace

unsigned Progress(void*, unsigned, unsigned, unsigned) { return 0; }

void Name(const void* p, const std::string& name) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_names[p] = name;
}

std::vector<Call> TakeCalls() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<Call> calls;
    calls.swap(g_calls);
    return calls;
}

std::vector<std::string> TakeTexts() {
    std::vector<std::string> texts;
    for (const Call& call : TakeCalls()) texts.push_back(call.text);
    return texts;
}

void Reset() {
    g_behaviour = Behaviour();
    g_muxerOverlap = g_encodersOverlapped = false;
    g_encodedDuringWrite[0] = g_encodedDuringWrite[1] = false;
    TakeCalls();
    std::lock_guard<std::mutex> lock(g_mutex);
    g_names = {{&g_videoInst, "V"},       {&g_audioInst, "A"},      {&g_file, "F"},
               {&g_videoPacket, "vpkt"}, {&g_audioPacket, "apkt"},
               {reinterpret_cast<void*>(&Progress), "cb"}};
}

ENCODER_ITEM VideoEncoder(uint32_t code) { return Encoder(code, 1); }
ENCODER_ITEM AudioEncoder(uint32_t code) { return Encoder(code, 0); }

FILEFORMAT_ITEM Muxer(uint32_t code) {
    static ENCODER_MODE audioModes[] = {{kAac, 0}, {0, 0}};
    static ENCODER_MODE videoModes[] = {{kXvid, 0}, {0, 0}};
    FILEFORMAT_ITEM item{};
    item.dwFourCC = code;
    item.pAudioModes = audioModes;
    item.pVideoModes = videoModes;
    item.pfnCreateFile = CreateFile;
    item.pfnWriteAudio = WriteAudio;
    item.pfnWriteVideo = WriteVideo;
    item.pfnCloseFile = CloseFile;
    item.pfnSetAudioExtra = SetAudioExtra;
    item.pfnSetVideoExtra = SetVideoExtra;
    return item;
}

}  // namespace rec
