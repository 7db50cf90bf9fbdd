// The encoding pipeline against encoder and muxer entries that live in this
// executable and record every call, so that order, arguments and locking show.
#include <gtest/gtest.h>

#include <map>

#include <quevarra/qv_mediafile.h>

#include "common/TestSupport.h"

namespace {

typedef std::vector<std::string> Texts;
typedef std::vector<std::wstring> Msgs;
const uint32_t kXvid = QV_FOURCC('X', 'V', 'I', 'D'), kAac = QV_FOURCC('A', 'A', 'C', ' ');
const wchar_t kCreateLine[] = L"QVPM::Create [out.mp4]\tFile[MP4 ] Video[XVID] Audio[AAC ].";

bool g_failV, g_failA, g_failFile, g_slotNull, g_lockFault;
int g_reviseV, g_reviseA, g_v, g_a, g_file, g_vpkt, g_apkt;
Texts g_calls;
std::map<const void*, std::string> g_names;
pthread_mutex_t* g_pmMutex;  // the pipeline's muxer lock

// Encoders must run unlocked (so that two streams encode in parallel), muxer
// writes locked (one at a time); any other state is a fault.
void ExpectLocked(bool locked) {
    bool held = pthread_mutex_trylock(g_pmMutex) != 0;
    g_lockFault |= (!held && pthread_mutex_unlock(g_pmMutex)) || held != locked;
}

std::string Str(const void* p) { return !p ? "null" : g_names.count(p) ? g_names[p] : "?"; }
std::string Str(const char* s) { return s; }
std::string Str(uintptr_t n) { return std::to_string(n); }
template <typename... Args>
void Record(const char* what, Args... args) {
    g_calls.push_back(what);
    ((g_calls.back() += " " + Str(args)), ...);
}
Texts Take() { return std::move(g_calls); }

void* Create(uint32_t code, EncodeParam* p) {
    Record(code == kXvid ? "Create XVID" : "Create AAC", p);
    return code == kXvid ? (g_failV ? nullptr : &g_v) : (g_failA ? nullptr : &g_a);
}
int Encode(void* h, const MEDIA_FRAME* in, void** out, uint32_t* word) {  // slot and word arrive cleared
    Record("Encode", h, in, *out ? "dirty" : "slot", word ? (*word ? "dirty" : "word") : "null");
    ExpectLocked(false);
    if (!g_slotNull) *out = h == &g_a ? &g_apkt : &g_vpkt;
    return word ? *word = 77 : 0;
}
void Close(void* h) { Record("Close", h); }
void GetAudioExtra(void* h, uintptr_t* w1, uintptr_t* w2) {  // the words arrive cleared
    Record(*w1 || *w2 ? "GetAudioExtra dirty" : "GetAudioExtra", h), *w1 = 11, *w2 = 12;
}
void GetVideoExtra(void* h, uintptr_t* w1, uintptr_t* w2, uintptr_t* w3, uintptr_t* w4) {
    Record(*w1 || *w2 || *w3 || *w4 ? "GetVideoExtra dirty" : "GetVideoExtra", h), *w1 = 21, *w2 = 22, *w3 = 23, *w4 = 24;
}
int ReviseAudio(EncodeAudioParam* a) { Record("ReviseAudio", a); a->nSampleRate = 48000; return g_reviseA; }
int ReviseVideo(EncodeParam* p) { Record("ReviseVideo", p); p->video.nWidth = 352; return g_reviseV; }
void* CreateFile(const wchar_t*, EncodeParam* p) { Record("CreateFile", p); return g_failFile ? nullptr : &g_file; }
uint32_t WriteAudio(void* h, const void* d, uint32_t w) { ExpectLocked(true); Record("WriteAudio", h, d, uintptr_t(w)); return 2000; }
uint32_t WriteVideo(void* h, const void* f) { ExpectLocked(true); Record("WriteVideo", h, f); return 1000; }
int CloseFile(void* h, QVPROGRESS_CALLBACK cb, void* user) { Record("CloseFile", h, (void*)cb, user); return 0; }
void SetAudioExtra(void* h, uintptr_t w1, uintptr_t w2) { Record("SetAudioExtra", h, w1, w2); }
void SetVideoExtra(void* h, uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d) { Record("SetVideoExtra", h, a, b, c, d); }
unsigned Progress(void*, unsigned, unsigned, unsigned) { return 0; }

ENCODER_ITEM Encoder(uint32_t code, int type) {
    return ENCODER_ITEM{code, {}, {}, type, Create, Encode, Close, GetAudioExtra, GetVideoExtra, ReviseAudio, ReviseVideo};
}
const ENCODER_ITEM kVideo = Encoder(kXvid, 1), kAudio = Encoder(kAac, 0);
ENCODER_MODE g_audioModes[] = {{kAac, 0}, {0, 0}}, g_videoModes[] = {{kXvid, 0}, {0, 0}};
FILEFORMAT_ITEM Muxer(ENCODER_MODE* audio = g_audioModes, ENCODER_MODE* video = g_videoModes, uint32_t flags = 0) {
    return FILEFORMAT_ITEM{QV_FOURCC('M', 'P', '4', ' '), {}, {}, {}, audio, video, CreateFile, WriteAudio,
                           WriteVideo, CloseFile, SetAudioExtra, SetVideoExtra, flags};
}
const Texts kMade = {"ReviseVideo param", "Create XVID param", "ReviseAudio audio", "Create AAC param",
                     "CreateFile param"};

class Pipeline : public ::testing::Test {
protected:
    void SetUp() override { g_lockFault = false, Reset(); }
    void TearDown() override {
        m_pm.Close(nullptr, nullptr);  // before the records it points to go away
        PluginMgr::m_arEncoder.clear(), PluginMgr::m_arFileFormat.clear();
        EXPECT_FALSE(g_lockFault);
    }
    void Reset(std::vector<ENCODER_ITEM> encoders = {kVideo, kAudio}, FILEFORMAT_ITEM muxer = Muxer()) {
        m_pm.Close(nullptr, nullptr);
        g_failV = g_failA = g_failFile = g_slotNull = false;
        g_reviseV = g_reviseA = 1, g_pmMutex = &m_pm.m_mutex;
        g_names = {{&g_v, "V"}, {&g_a, "A"}, {&g_file, "F"}, {&g_vpkt, "vpkt"}, {&g_apkt, "apkt"},
                   {(void*)&Progress, "cb"}, {&m_param, "param"}, {&m_param.audio, "audio"},
                   {&m_frame, "frame"}, {&m_user, "user"}};
        Take(), qvtest::TakeLog();
        PluginMgr::m_arEncoder = encoders, PluginMgr::m_arFileFormat = {muxer};
        QVDefaultEncodeParam(&m_param);
        m_frame = MEDIA_FRAME{}, m_frame.nDataSize = 4;
    }
    unsigned Create() { return m_pm.Create(L"out.mp4", &m_param); }
    // A failed Create logs its request and one message, undoes what it made, leaves nothing open.
    void ExpectFailure(const wchar_t* message, const Texts& calls) {
        EXPECT_EQ(Create(), 0u);
        EXPECT_EQ(qvtest::TakeLog(), (Msgs{kCreateLine, message}));
        EXPECT_EQ(Take(), calls);
        EXPECT_TRUE(!m_pm.m_hFile && !m_pm.m_hVideoEnc && !m_pm.m_hAudioEnc && !m_pm.m_pFileFormat);
    }
    PluginMgr m_pm;
    EncodeParam m_param;
    MEDIA_FRAME m_frame;
    int m_user = 0;
};

TEST_F(Pipeline, CreateWritesAndCloseInOrder) {
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 0u);  // nothing open yet
    ASSERT_EQ(Create(), 1u);
    EXPECT_TRUE(Take() == kMade && qvtest::TakeLog() == Msgs{kCreateLine});
    EXPECT_TRUE(m_param.video.nWidth == 352 && m_param.audio.nSampleRate == 48000) << "caller's record revised";
    EXPECT_EQ(m_pm.m_bTimestampMode, 0);
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame) + m_pm.WriteAudioData(&m_frame), 3000u);
    g_slotNull = true;  // an encoder that leaves its slot null still causes a write
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 1000u);
    m_frame.nDataSize = 0;  // audio without data reaches nobody; video is not sized
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame) + m_pm.WriteVideoFrame(nullptr), 0u);
    EXPECT_EQ(Take(), (Texts{"Encode V frame slot null", "WriteVideo F vpkt", "Encode A frame slot word",
                             "WriteAudio F apkt 77", "Encode V frame slot null", "WriteVideo F null"}));
    EXPECT_EQ(m_pm.Close(Progress, &m_user), 0u);
    EXPECT_EQ(Take(), (Texts{"GetAudioExtra A", "SetAudioExtra F 11 12", "GetVideoExtra V",
                             "SetVideoExtra F 21 22 23 24", "CloseFile F cb user", "Close V", "Close A"}));
    EXPECT_EQ(m_pm.Close(Progress, &m_user) + m_pm.WriteVideoFrame(&m_frame), 0u);  // closed twice: harmless
    EXPECT_TRUE(Take().empty());

    FILEFORMAT_ITEM noSetters = Muxer();  // the words are still asked for
    noSetters.pfnSetAudioExtra = nullptr, noSetters.pfnSetVideoExtra = nullptr;
    Reset({kVideo, kAudio}, noSetters);
    ASSERT_EQ(Create(), 1u);
    ASSERT_EQ(Create(), 1u);  // on an open pipeline: the old file is finished first
    Texts calls = Take();
    EXPECT_EQ(Texts(calls.begin() + 5, calls.begin() + 10),
              (Texts{"GetAudioExtra A", "GetVideoExtra V", "CloseFile F null null", "Close V", "Close A"}));
}

TEST_F(Pipeline, EachCreateFailureLogsAndDestroysWhatItMade) {
    m_param.dwFileFormat = 0;
    EXPECT_EQ(m_pm.Create(nullptr, &m_param) + m_pm.Create(L"out.mp4", nullptr) + Create(), 0u);
    EXPECT_TRUE(qvtest::TakeLog().empty() && Take().empty());
    m_param.dwFileFormat = QV_FOURCC('A', 'V', 'I', ' ');
    EXPECT_TRUE(Create() == 0 && qvtest::TakeLog().back() == L"Without [AVI ] Format Plugin.");

    Reset({kAudio});
    ExpectFailure(L"Without [XVID] video encoder.", {});
    Reset({Encoder(kXvid, 2), kAudio});
    ExpectFailure(L"The [XVID] encoder is not video type.", {});
    Reset();
    g_reviseV = 0;  // the message shows the values the refusing revise left
    ExpectFailure(L"Can't revise the video param[352x240, 512000bps].", {kMade[0]});
    Reset({kVideo});
    ExpectFailure(L"Without [AAC ] Audio Encoder Plugin.", {kMade[0], kMade[1], "Close V"});
    Reset({kVideo, Encoder(kAac, 1)});
    ExpectFailure(L"The [AAC ] encoder is not audio type.", {kMade[0], kMade[1], "Close V"});
    Reset();
    g_reviseA = 0;
    ExpectFailure(L"Can't revise the audio param[48000Hz, 2Channels, 128000bps, 16bits].",
                  {kMade[0], kMade[1], kMade[2], "Close V"});
    Reset();
    g_failFile = true;
    ExpectFailure(L"Failed to create the file [out.mp4].",
                  {kMade[0], kMade[1], kMade[2], kMade[3], kMade[4], "Close V", "Close A"});
}

TEST_F(Pipeline, StreamsFollowTheMuxerListsAndTheEncodersThatExist) {
    static ENCODER_MODE other[] = {{QV_FOURCC('H', '2', '6', '4'), 1}, {0, 0}};
    struct Case {
        std::vector<ENCODER_ITEM> encoders;
        FILEFORMAT_ITEM muxer;
        int setup;  // 1 video instance fails, 2 audio instance fails, 3 caller disables video
        const wchar_t* last;
        int noVideo, noAudio, timestamp;
    } cases[] = {
        {{kVideo, kAudio}, Muxer(), 1, L"Create video encoder failed.", 1, 0, 0},  // record still chosen
        {{kVideo, kAudio}, Muxer(), 2, L"Create audio encoder failed.", 0, 1, 0},
        {{kAudio}, Muxer(g_audioModes, nullptr), 0, L"Without video encoder in muxer[MP4 ]", 1, 0, 1},
        {{kVideo}, Muxer(nullptr, g_videoModes, 2), 0, L"Without audio encoder in muxer [MP4 ]", 0, 1, 0},
        {{kAudio}, Muxer(), 3, kCreateLine, 1, 0, 1},  // no video record is searched
        // A list lacking the codec still allows the stream, not inline; bit 0 selects timestamp mode.
        {{kVideo, kAudio}, Muxer(g_audioModes, other, 3), 0, kCreateLine, 0, 0, 1},
    };
    for (const Case& c : cases) {
        Reset(c.encoders, c.muxer);
        g_failV = c.setup == 1, g_failA = c.setup == 2, m_param.bDisableVideo = c.setup == 3;
        ASSERT_EQ(Create(), 1u);
        EXPECT_EQ(qvtest::TakeLog().back(), c.last);
        EXPECT_TRUE(m_param.bDisableVideo == c.noVideo && m_param.bDisableAudio == c.noAudio &&
                    m_pm.m_bTimestampMode == c.timestamp) << &c - cases;
        EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), c.noVideo ? 0u : 1000u);
    }
    static ENCODER_MODE audioInline[] = {{kAac, 1}, {0, 0}}, videoInline[] = {{kXvid, 7}, {0, 0}};
    Reset({kVideo, kAudio}, Muxer(audioInline, videoInline));
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame) + m_pm.WriteAudioData(&m_frame), 3000u);
    m_pm.Close(nullptr, nullptr);
    EXPECT_EQ(Take(), (Texts{kMade[0], kMade[2], kMade[4], "WriteVideo F frame", "WriteAudio F frame 0",
                             "CloseFile F null null"}));
}

}  // namespace
