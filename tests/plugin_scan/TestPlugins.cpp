// Test plugins for the scan; QVTP_VARIANT picks what the module publishes.
#include <quevarra/qv_records.h>

#include <string.h>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

const uint32_t TVID = QV_FOURCC('T', 'V', 'I', 'D'), TAUD = QV_FOURCC('T', 'A', 'U', 'D');
const uint32_t TTYP = QV_FOURCC('T', 'T', 'Y', 'P'), NOEN = QV_FOURCC('N', 'O', 'E', 'N');
[[maybe_unused]] ENCODER_MODE mp4Audio[] = {{NOEN, 1}, {TAUD, 0}, {0, 0}}, mp4Video[] = {{TVID, 0}, {TTYP, 0}, {0, 0}};
[[maybe_unused]] ENCODER_MODE orphAudio[] = {{NOEN, 1}, {0, 0}}, orphVideo[] = {{QV_FOURCC('N', 'O', 'V', 'I'), 0}, {0, 0}};
[[maybe_unused]] ENCODER_MODE emptyList[] = {{0, 0}};
ENCODER_ITEM g_enc[4];
FILEFORMAT_ITEM g_fmt[5];

// Every byte not named (entries, text after the terminator) is 0x5A, so that
// a copy that is not whole shows.
[[maybe_unused]] void Enc(int i, uint32_t code, const wchar_t* text1, int type) {
    memset(&g_enc[i], 0x5A, sizeof g_enc[i]);
    g_enc[i].dwFourCC = code, g_enc[i].nType = type;
    wcscpy(g_enc[i].wszText1, text1);
    wcscpy(g_enc[i].wszText2, L"a test encoder");
}
[[maybe_unused]] void Fmt(int i, uint32_t code, const wchar_t* text0, ENCODER_MODE* a, ENCODER_MODE* v) {
    memset(&g_fmt[i], 0x5A, sizeof g_fmt[i]);
    g_fmt[i].dwFourCC = code, g_fmt[i].pAudioModes = a, g_fmt[i].pVideoModes = v;
    wcscpy(g_fmt[i].wszText0, text0);
    wcscpy(g_fmt[i].wszText2, L"a test file format");
}

__attribute__((constructor)) void Setup() {
    memset(g_enc, 0, sizeof g_enc);
    memset(g_fmt, 0, sizeof g_fmt);
#if QVTP_VARIANT == 1  // video, audio and one encoder of an unusable type
    Enc(0, TVID, L"Test video", 1), Enc(1, TAUD, L"Test audio", 0), Enc(2, TTYP, L"Odd type", 2);
#elif QVTP_VARIANT == 2
    // TMP4: both lists partly encodable. ORPH: nothing encodable, not published.
    // AONL: an audio list without encoders and a video list with one. NOAU: no audio list.
    Fmt(0, QV_FOURCC('T', 'M', 'P', '4'), L"tmp4", mp4Audio, mp4Video);
    Fmt(1, QV_FOURCC('O', 'R', 'P', 'H'), L"orph", orphAudio, orphVideo);
    Fmt(2, QV_FOURCC('A', 'O', 'N', 'L'), L"aonl", orphAudio, mp4Video);
    Fmt(3, QV_FOURCC('N', 'O', 'A', 'U'), L"noau", nullptr, mp4Video);
#elif QVTP_VARIANT == 3  // a second TVID encoder and a second TMP4 muxer
    Enc(0, TVID, L"Other video", 1), Fmt(0, QV_FOURCC('T', 'M', 'P', '4'), L"dup", emptyList, mp4Video);
#elif QVTP_VARIANT == 6
    Enc(0, QV_FOURCC('T', 'L', 'O', 'G'), L"Logging", 1);
#endif
}

}  // namespace

#if QVTP_VARIANT == 1 || QVTP_VARIANT == 3 || QVTP_VARIANT == 5  // 5: entries that publish nothing
EXPORT ENCODER_ITEM* PLXGetEncoders() { return QVTP_VARIANT == 5 ? nullptr : g_enc; }
#endif
#if QVTP_VARIANT == 6  // takes the library's log and reports through it when asked for records
int (*g_log)(const wchar_t*) = nullptr;
EXPORT void PLXSetLog(int (*pfnLog)(const wchar_t*)) { g_log = pfnLog; }
EXPORT ENCODER_ITEM* PLXGetEncoders() { return g_log && g_log(L"tp_logs: asked for encoders") ? g_enc : nullptr; }
#endif
#if QVTP_VARIANT == 2 || QVTP_VARIANT == 3 || QVTP_VARIANT == 5
EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_fmt; }
#elif QVTP_VARIANT == 4  // neither entry point
EXPORT int NotAPlugin() { return 0; }
#endif
