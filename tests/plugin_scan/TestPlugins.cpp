// Test plugins for the scan. One source, several modules: QVTP_VARIANT picks
// what the module publishes. Every module also exports TestPluginRecords so
// that tests can compare the registries with the plugin's own arrays.
#include <quevarra/qv_records.h>

#include <string.h>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

[[maybe_unused]] void* Create(uint32_t, EncodeParam*) { return nullptr; }
int Encode(void*, const MEDIA_FRAME*, void**, uint32_t*) { return 0; }
void Close(void*) {}
int ReviseVideo(EncodeParam*) { return 1; }
void* CreateFile(const wchar_t*, EncodeParam*) { return nullptr; }
uint32_t WriteAudio(void*, const void*, uint32_t) { return 0; }
uint32_t WriteVideo(void*, const void*) { return 0; }
int CloseFile(void*, QVPROGRESS_CALLBACK, void*) { return 0; }

[[maybe_unused]] ENCODER_ITEM MakeEncoder(uint32_t code, const wchar_t* text1, const wchar_t* text2, int32_t type) {
    ENCODER_ITEM item;
    memset(&item, 0, sizeof item);
    item.dwFourCC = code;
    wcsncpy(item.wszText1, text1, 63);
    wcsncpy(item.wszText2, text2, 119);
    item.nType = type;
    item.pfnCreate = Create;
    item.pfnEncode = Encode;
    item.pfnClose = Close;
    item.pfnReviseVideoParam = ReviseVideo;
    return item;
}

[[maybe_unused]] FILEFORMAT_ITEM MakeFormat(uint32_t code, const wchar_t* text0, ENCODER_MODE* audio,
                           ENCODER_MODE* video) {
    FILEFORMAT_ITEM item;
    memset(&item, 0, sizeof item);
    item.dwFourCC = code;
    wcsncpy(item.wszText0, text0, 9);
    wcsncpy(item.wszText1, L"format", 63);
    wcsncpy(item.wszText2, L"a test file format", 127);
    item.pAudioModes = audio;
    item.pVideoModes = video;
    item.pfnCreateFile = CreateFile;
    item.pfnWriteAudio = WriteAudio;
    item.pfnWriteVideo = WriteVideo;
    item.pfnCloseFile = CloseFile;
    item.dwFlags = 1;
    return item;
}

const uint32_t TVID = QV_FOURCC('T', 'V', 'I', 'D');
const uint32_t TAUD = QV_FOURCC('T', 'A', 'U', 'D');
const uint32_t TTYP = QV_FOURCC('T', 'T', 'Y', 'P');
const uint32_t NOEN = QV_FOURCC('N', 'O', 'E', 'N');  // a codec no plugin encodes

[[maybe_unused]] ENCODER_MODE g_mp4Audio[] = {{NOEN, 1}, {TAUD, 0}, {0, 0}};
[[maybe_unused]] ENCODER_MODE g_mp4Video[] = {{TVID, 0}, {TTYP, 0}, {0, 0}};
[[maybe_unused]] ENCODER_MODE g_orphanAudio[] = {{NOEN, 1}, {0, 0}};
[[maybe_unused]] ENCODER_MODE g_orphanVideo[] = {{QV_FOURCC('N', 'O', 'V', 'I'), 0}, {0, 0}};
[[maybe_unused]] ENCODER_MODE g_emptyList[] = {{0, 0}};

ENCODER_ITEM g_encoders[4];
FILEFORMAT_ITEM g_formats[5];
ENCODER_ITEM* g_encoderList = nullptr;
FILEFORMAT_ITEM* g_formatList = nullptr;

// Fills the arrays once the module is loaded.
__attribute__((constructor)) void Setup() {
    memset(g_encoders, 0, sizeof g_encoders);
    memset(g_formats, 0, sizeof g_formats);
#if QVTP_VARIANT == 1  // encoders: video, audio and one of an unusable type
    g_encoders[0] = MakeEncoder(TVID, L"Test video", L"first video encoder", 1);
    g_encoders[1] = MakeEncoder(TAUD, L"Test audio", L"first audio encoder", 0);
    g_encoders[2] = MakeEncoder(TTYP, L"Odd type", L"neither video nor audio", 2);
    g_encoderList = g_encoders;
#elif QVTP_VARIANT == 2  // muxers only
    // TMP4: both lists partly encodable. ORPH: nothing encodable, not published.
    // AONL: an audio list without encoders and a video list that has one.
    // NOAU: video only, null audio list.
    g_formats[0] = MakeFormat(QV_FOURCC('T', 'M', 'P', '4'), L"tmp4", g_mp4Audio, g_mp4Video);
    g_formats[1] = MakeFormat(QV_FOURCC('O', 'R', 'P', 'H'), L"orph", g_orphanAudio, g_orphanVideo);
    g_formats[2] = MakeFormat(QV_FOURCC('A', 'O', 'N', 'L'), L"aonl", g_orphanAudio, g_mp4Video);
    g_formats[3] = MakeFormat(QV_FOURCC('N', 'O', 'A', 'U'), L"noau", nullptr, g_mp4Video);
    g_formatList = g_formats;
#elif QVTP_VARIANT == 3  // both: a second TVID encoder and a second TMP4 muxer
    g_encoders[0] = MakeEncoder(TVID, L"Other video", L"duplicate video encoder", 1);
    g_formats[0] = MakeFormat(QV_FOURCC('T', 'M', 'P', '4'), L"dup", g_emptyList, g_mp4Video);
    g_encoderList = g_encoders;
    g_formatList = g_formats;
#elif QVTP_VARIANT == 5  // entries present, nothing published
    g_formatList = g_formats;  // first record already has code 0
#endif
}

}  // namespace

#if QVTP_VARIANT == 1 || QVTP_VARIANT == 3
EXPORT ENCODER_ITEM* PLXGetEncoders() { return g_encoderList; }
#endif
#if QVTP_VARIANT == 2 || QVTP_VARIANT == 3
EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_formatList; }
#endif
#if QVTP_VARIANT == 5
EXPORT ENCODER_ITEM* PLXGetEncoders() { return nullptr; }
EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() { return g_formatList; }
#endif

// Variant 4 publishes neither entry point; this export keeps it a real library.
EXPORT void TestPluginRecords(ENCODER_ITEM** encoders, FILEFORMAT_ITEM** formats) {
    *encoders = g_encoderList;
    *formats = g_formatList;
}
