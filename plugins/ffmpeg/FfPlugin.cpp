// plxffmpeg.dylib: publishes the encoders the installed FFmpeg can open and
// the containers written through libavformat.
#include "ffmpeg/FfCodecs.h"

#include <stdlib.h>

#include "PlxContract.h"
#include "common/PlxCommon.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <string.h>

#include <mutex>
#include <vector>

namespace plxff {

namespace {

const CodecEntry kCodecs[] = {
    {QV_FOURCC('X', 'V', 'I', 'D'), 1, {"libxvid", "mpeg4", nullptr}, L"XVID",
     L"MPEG-4 Part 2 video", 16, 8190, 0, 64000, 40000000, false},
    {QV_FOURCC('H', '2', '6', '4'), 1, {"libx264", nullptr, nullptr}, L"H.264",
     L"H.264 / AVC video (x264)", 16, 8192, 0, 32000, 100000000, false},
    {QV_FOURCC('H', 'E', 'V', 'C'), 1, {"libx265", nullptr, nullptr}, L"HEVC",
     L"H.265 / HEVC video (x265)", 64, 8192, 0, 32000, 100000000, false},
    {QV_FOURCC('V', 'P', '9', '0'), 1, {"libvpx-vp9", nullptr, nullptr}, L"VP9",
     L"VP9 video (libvpx)", 16, 8192, 0, 32000, 100000000, false},
    {QV_FOURCC('A', 'V', '0', '1'), 1, {"libsvtav1", "libaom-av1", nullptr}, L"AV1",
     L"AV1 video", 64, 8192, 0, 32000, 100000000, false},
    {QV_FOURCC('M', 'J', 'P', 'G'), 1, {"mjpeg", nullptr, nullptr}, L"Motion JPEG",
     L"Motion JPEG video", 16, 8192, 0, 200000, 200000000, false},
    {QV_FOURCC('A', 'A', 'C', ' '), 0, {"aac", nullptr, nullptr}, L"AAC",
     L"AAC-LC audio", 0, 0, 8, 8000, 256000, true},
    {QV_FOURCC('M', 'P', '3', ' '), 0, {"libmp3lame", nullptr, nullptr}, L"MP3",
     L"MPEG-1 Layer III audio (LAME)", 0, 0, 2, 32000, 320000, false},
    {QV_FOURCC('O', 'P', 'U', 'S'), 0, {"libopus", nullptr, nullptr}, L"Opus",
     L"Opus audio, 48 kHz", 0, 0, 2, 6000, 256000, true},
    {QV_FOURCC('F', 'L', 'A', 'C'), 0, {"flac", nullptr, nullptr}, L"FLAC",
     L"FLAC lossless audio", 0, 0, 8, 0, 0, false},
    {QV_FOURCC('A', 'C', '3', ' '), 0, {"ac3", nullptr, nullptr}, L"AC-3",
     L"Dolby Digital (AC-3) audio", 0, 0, 6, 32000, 640000, false},
};
const size_t kCodecCount = sizeof kCodecs / sizeof kCodecs[0];

const AVCodec* g_probed[sizeof kCodecs / sizeof kCodecs[0]];
// Set on the probing thread while trial opens run, which look encoders up too.
thread_local bool t_probing = false;

// A trial open with ordinary settings: an encoder listed by the build may
// still lack its library or refuse to start.
bool TrialOpen(const CodecEntry& entry) {
    EncodeParam param{};
    param.video = {entry.fourcc, 0, 12, 128, 96, 25.0, 0, 500000, 0, 0, 0, {0}};
    param.audio = {entry.fourcc, 48000, 2, 16, 0, 128000, 0};
    param.dwFileFormat = QV_FOURCC('M', 'K', 'V', ' ');
    if (entry.type == 1 ? !ReviseVideo(&param) : !ReviseAudio(&param.audio)) return false;
    void* enc = EncCreate(entry.fourcc, &param);
    EncClose(enc);
    return enc != nullptr;
}

void ProbeAll() {
    static std::once_flag once;
    std::call_once(once, [] {
        // FFmpeg chats on standard error at its default level; our failures
        // go to the log instead. A host that chose a level keeps it.
        if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_ERROR);
        // SVT-AV1 prints a banner on every encoder it opens unless its own log
        // level (read from the environment) says errors only; kept if set.
        setenv("SVT_LOG", "1", 0);
        t_probing = true;
        for (size_t i = 0; i < kCodecCount; ++i) {
            for (const char* name : kCodecs[i].candidates) {
                if (!name) break;
                const AVCodec* codec = avcodec_find_encoder_by_name(name);
                if (!codec) continue;
                g_probed[i] = codec;  // tentatively, so the trial can find it
                if (TrialOpen(kCodecs[i])) break;
                g_probed[i] = nullptr;
            }
        }
        t_probing = false;
    });
}

}  // namespace

const CodecEntry* FindCodecEntry(uint32_t fourcc) {
    for (const CodecEntry& s : kCodecs)
        if (s.fourcc == fourcc) return &s;
    return nullptr;
}

const AVCodec* ProbedEncoder(uint32_t fourcc) {
    if (!t_probing) ProbeAll();
    for (size_t i = 0; i < kCodecCount; ++i)
        if (kCodecs[i].fourcc == fourcc) return g_probed[i];
    return nullptr;
}

std::string ErrorText(int err) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_make_error_string(text, sizeof text, err);
    return text;
}

}  // namespace plxff

using namespace plxff;

namespace {

#define FC QV_FOURCC
ENCODER_MODE g_mp4Video[] = {{FC('H', '2', '6', '4'), 0}, {FC('H', 'E', 'V', 'C'), 0},
                             {FC('X', 'V', 'I', 'D'), 0}, {FC('A', 'V', '0', '1'), 0},
                             {FC('V', 'P', '9', '0'), 0}, {0, 0}};
ENCODER_MODE g_mp4Audio[] = {{FC('A', 'A', 'C', ' '), 0}, {FC('M', 'P', '3', ' '), 0},
                             {FC('A', 'C', '3', ' '), 0}, {FC('O', 'P', 'U', 'S'), 0}, {0, 0}};
ENCODER_MODE g_movVideo[] = {{FC('H', '2', '6', '4'), 0}, {FC('H', 'E', 'V', 'C'), 0},
                             {FC('X', 'V', 'I', 'D'), 0}, {FC('M', 'J', 'P', 'G'), 0}, {0, 0}};
ENCODER_MODE g_movAudio[] = {{FC('A', 'A', 'C', ' '), 0}, {FC('M', 'P', '3', ' '), 0},
                             {FC('A', 'C', '3', ' '), 0}, {0, 0}};
ENCODER_MODE g_mkvVideo[] = {{FC('H', '2', '6', '4'), 0}, {FC('H', 'E', 'V', 'C'), 0},
                             {FC('V', 'P', '9', '0'), 0}, {FC('A', 'V', '0', '1'), 0},
                             {FC('X', 'V', 'I', 'D'), 0}, {FC('M', 'J', 'P', 'G'), 0}, {0, 0}};
ENCODER_MODE g_mkvAudio[] = {{FC('O', 'P', 'U', 'S'), 0}, {FC('A', 'A', 'C', ' '), 0},
                             {FC('M', 'P', '3', ' '), 0}, {FC('F', 'L', 'A', 'C'), 0},
                             {FC('A', 'C', '3', ' '), 0}, {0, 0}};
ENCODER_MODE g_aviVideo[] = {{FC('X', 'V', 'I', 'D'), 0}, {FC('H', '2', '6', '4'), 0},
                             {FC('M', 'J', 'P', 'G'), 0}, {0, 0}};
ENCODER_MODE g_aviAudio[] = {{FC('M', 'P', '3', ' '), 0}, {FC('A', 'C', '3', ' '), 0},
                             {FC('A', 'A', 'C', ' '), 0}, {0, 0}};
ENCODER_MODE g_webmVideo[] = {{FC('V', 'P', '9', '0'), 0}, {FC('A', 'V', '0', '1'), 0}, {0, 0}};
ENCODER_MODE g_webmAudio[] = {{FC('O', 'P', 'U', 'S'), 0}, {0, 0}};
ENCODER_MODE g_m4aAudio[] = {{FC('A', 'A', 'C', ' '), 0}, {0, 0}};

struct MuxerEntry {
    uint32_t fourcc;
    const wchar_t *text0, *text1, *text2;
    ENCODER_MODE *audio, *video;
};
const MuxerEntry kMuxers[] = {
    {FC('M', 'P', '4', ' '), L"mp4", L"MP4", L"MPEG-4 file, index at the front (fast start)",
     g_mp4Audio, g_mp4Video},
    {FC('M', 'O', 'V', ' '), L"mov", L"QuickTime", L"QuickTime movie, index at the front (fast start)",
     g_movAudio, g_movVideo},
    {FC('M', 'K', 'V', ' '), L"mkv", L"Matroska",
     L"Matroska, clusters flushed as written: a cut-off file stays playable", g_mkvAudio, g_mkvVideo},
    {FC('A', 'V', 'I', ' '), L"avi", L"AVI", L"Audio Video Interleave", g_aviAudio, g_aviVideo},
    {FC('W', 'E', 'B', 'M'), L"webm", L"WebM", L"WebM (VP9 or AV1 with Opus)", g_webmAudio, g_webmVideo},
    {FC('M', '4', 'A', ' '), L"m4a", L"M4A audio", L"MPEG-4 audio file (AAC)", g_m4aAudio, nullptr},
    {FC('F', 'M', 'P', '4'), L"mp4", L"Fragmented MP4",
     L"Fragmented MPEG-4: every fragment written stays playable", g_mp4Audio, g_mp4Video},
};
#undef FC

}  // namespace

PLX_EXPORT ENCODER_ITEM* PLXGetEncoders() {
    static std::vector<ENCODER_ITEM> items;
    static std::once_flag once;
    std::call_once(once, [] {
        for (const CodecEntry& s : kCodecs) {
            if (!ProbedEncoder(s.fourcc)) continue;  // this FFmpeg build cannot open it
            ENCODER_ITEM item;
            plx::FillEncoder(&item, s.fourcc, s.type, s.text1, s.text2);
            item.pfnCreate = EncCreate;
            item.pfnEncode = EncEncode;
            item.pfnClose = EncClose;
            if (s.type == 1) {
                item.pfnGetVideoExtra = EncGetVideoExtra;
                item.pfnReviseVideoParam = ReviseVideo;
            } else {
                item.pfnGetAudioExtra = EncGetAudioExtra;
                item.pfnReviseAudioParam = ReviseAudio;
            }
            items.push_back(item);
        }
        ENCODER_ITEM end;
        memset(&end, 0, sizeof end);
        items.push_back(end);
    });
    return items.data();
}

PLX_EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() {
    static std::vector<FILEFORMAT_ITEM> items;
    static std::once_flag once;
    std::call_once(once, [] {
        for (const MuxerEntry& m : kMuxers) {
            FILEFORMAT_ITEM item;
            plx::FillMuxer(&item, m.fourcc, m.text0, m.text1, m.text2);
            item.pAudioModes = m.audio;
            item.pVideoModes = m.video;
            item.pfnCreateFile = MuxCreateFile;
            item.pfnWriteAudio = MuxWriteAudio;
            item.pfnWriteVideo = m.video ? MuxWriteVideo : nullptr;
            item.pfnCloseFile = MuxCloseFile;
            item.pfnSetAudioExtra = MuxSetAudioExtra;
            item.pfnSetVideoExtra = m.video ? MuxSetVideoExtra : nullptr;
            item.dwFlags = 0;  // frame-count mode: the library paces, we count
            items.push_back(item);
        }
        FILEFORMAT_ITEM end;
        memset(&end, 0, sizeof end);
        items.push_back(end);
    });
    return items.data();
}
