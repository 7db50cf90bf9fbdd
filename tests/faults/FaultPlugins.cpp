// Misbehaving plugins; QVFP_VARIANT picks what the module publishes:
// 1 encoders and muxers that fail on purpose (selected by their codes),
// 2 an encoder list whose terminator comes only after 4096 records (and one
//   good muxer), 3 a muxer list with no terminator at all, 4 an encoder list
//   that ends just inside the limit, 5 a module the loader cannot resolve.
#include <quevarra/qv_records.h>

#include <math.h>
#include <string.h>

#include <atomic>
#include <limits>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr uint32_t C(const char (&s)[5]) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

#if QVFP_VARIANT == 1

// Instances and files alive, so that a test sees a leak without LeakSanitizer too.
std::atomic<int> g_live{0};

struct Instance {
    uint32_t code;
};
struct File {
    uint32_t code;
    int writes;  // muxer writes so far, both streams
};

// Video codes: FVOK good, FVCN create returns null, FVNO encode leaves no
// output, FVRF revise refuses, FVSC revise scribbles (case in video.nExtra).
// Audio codes likewise with FA.
void* Create(uint32_t code, EncodeParam*) {
    if (code == C("FVCN") || code == C("FACN")) return nullptr;
    ++g_live;
    return new Instance{code};
}
int Encode(void* h, const MEDIA_FRAME* in, void** out, uint32_t* word) {
    const uint32_t code = static_cast<Instance*>(h)->code;
    *out = code == C("FVNO") || code == C("FANO") ? nullptr : const_cast<MEDIA_FRAME*>(in);
    if (word) *word = 0;
    return 1;
}
void Close(void* h) {
    delete static_cast<Instance*>(h);
    --g_live;
}

int ReviseVideo(EncodeParam* p) {
    EncodeVideoParam& v = p->video;
    const double inf = std::numeric_limits<double>::infinity();
    switch (v.dwFourCC == C("FVRF") ? -1 : v.dwFourCC == C("FVSC") ? v.nExtra : 0) {
    case -1: return 0;
    case 1: v.nWidth = -640, v.nHeight = -480; break;
    case 2: v.nWidth = v.nHeight = 1 << 30; break;
    case 3: v.nWidth = v.nHeight = 0; break;
    case 4: v.dFrameRate = NAN; break;
    case 5: v.dFrameRate = inf; break;
    case 6: v.dFrameRate = -inf; break;
    case 7: v.dFrameRate = 1e9; break;
    case 8: v.dFrameRate = 0.0; break;
    case 9: v.dFrameRate = -25.0; break;
    }
    return 1;
}
int ReviseAudio(EncodeAudioParam* a) {
    switch (a->dwFourCC == C("FARF") ? -1 : a->dwFourCC == C("FASC") ? a->nExtra : 0) {
    case -1: return 0;
    case 1: a->nChannels = 0; break;
    case 2: a->nChannels = 1000; break;
    case 3: a->nSampleRate = 0; break;
    case 4: a->nSampleRate = -44100; break;
    case 5: a->nSampleRate = std::numeric_limits<int32_t>::max(); break;
    case 6: a->nBitsPerSample = 8; break;
    case 7: a->nBitsPerSample = 0; break;
    }
    return 1;
}

// Muxers: FMOK good, FMCF create fails, FMMW the third write and every later
// one fail and so does close (which still frees the file).
void* CreateFile(const wchar_t*, EncodeParam* p) {
    if (p->dwFileFormat == C("FMCF")) return nullptr;
    ++g_live;
    return new File{p->dwFileFormat, 0};
}
uint32_t Write(void* h, const void* data) {
    File* f = static_cast<File*>(h);
    ++f->writes;
    if (!data) return 0;  // nothing came out of the encoder
    return f->code == C("FMMW") && f->writes >= 3 ? 0 : 1;
}
uint32_t WriteAudio(void* h, const void* data, uint32_t) { return Write(h, data); }
uint32_t WriteVideo(void* h, const void* frame) { return Write(h, frame); }
int CloseFile(void* h, QVPROGRESS_CALLBACK, void*) {
    File* f = static_cast<File*>(h);
    const int result = f->code == C("FMMW") ? -1 : 0;
    delete f;
    --g_live;
    return result;
}

ENCODER_MODE g_video[] = {{C("FVOK"), 0}, {C("FVCN"), 0}, {C("FVNO"), 0}, {C("FVRF"), 0}, {C("FVSC"), 0}, {0, 0}};
ENCODER_MODE g_audio[] = {{C("FAOK"), 0}, {C("FACN"), 0}, {C("FANO"), 0}, {C("FARF"), 0}, {C("FASC"), 0}, {0, 0}};
ENCODER_ITEM g_enc[11];
FILEFORMAT_ITEM g_fmt[4];

__attribute__((constructor)) void Setup() {
    for (int i = 0; i < 10; ++i) {
        ENCODER_ITEM& e = g_enc[i];
        e.dwFourCC = i < 5 ? g_video[i].dwFourCC : g_audio[i - 5].dwFourCC;
        e.nType = i < 5 ? 1 : 0;
        e.pfnCreate = Create, e.pfnEncode = Encode, e.pfnClose = Close;
        e.pfnReviseVideoParam = ReviseVideo, e.pfnReviseAudioParam = ReviseAudio;
        wcscpy(e.wszText1, L"fault");
    }
    const uint32_t muxers[] = {C("FMOK"), C("FMCF"), C("FMMW")};
    for (int i = 0; i < 3; ++i) {
        FILEFORMAT_ITEM& m = g_fmt[i];
        m.dwFourCC = muxers[i], m.pAudioModes = g_audio, m.pVideoModes = g_video;
        m.pfnCreateFile = CreateFile, m.pfnWriteAudio = WriteAudio, m.pfnWriteVideo = WriteVideo;
        m.pfnCloseFile = CloseFile;
    }
}

}  // namespace

EXPORT int QVFaultLive() { return g_live; }
EXPORT ENCODER_ITEM* PLXGetEncoders() { return g_enc; }
EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_fmt; }

#elif QVFP_VARIANT == 2 || QVFP_VARIANT == 4

// 4096 records before the terminator (one too many), or 4095 (just inside).
constexpr int kRecords = QVFP_VARIANT == 2 ? 4096 : 4095;
ENCODER_ITEM g_enc[kRecords + 1];
ENCODER_MODE g_modes[] = {{C("LONG"), 0}, {0, 0}};
FILEFORMAT_ITEM g_fmt[2];

__attribute__((constructor)) void Setup() {
    for (int i = 0; i < kRecords; ++i) g_enc[i].dwFourCC = C("LONG"), g_enc[i].nType = 1;
    g_fmt[0].dwFourCC = C("LMUX"), g_fmt[0].pVideoModes = g_modes;
}

}  // namespace

EXPORT ENCODER_ITEM* PLXGetEncoders() { return g_enc; }
#if QVFP_VARIANT == 2
EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_fmt; }
#endif

#elif QVFP_VARIANT == 3

// No terminator anywhere: a walk past 4096 records would leave the array.
FILEFORMAT_ITEM g_fmt[4097];

__attribute__((constructor)) void Setup() {
    for (FILEFORMAT_ITEM& m : g_fmt) m.dwFourCC = C("ENDL");
}

}  // namespace

EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_fmt; }

#elif QVFP_VARIANT == 5

}  // namespace

// Defined nowhere: the loader refuses the module even with lazy binding,
// because data references are resolved when it loads.
extern "C" int qvfp_symbol_nobody_defines;
EXPORT int* PLXGetEncoders() { return &qvfp_symbol_nobody_defines; }

#endif
