// RIFF WAVE writer: 16-bit PCM, header completed at close.
#include "raw/RawMuxers.h"

#include "PlxContract.h"
#include "common/PlxCommon.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace plxraw {

namespace {

struct WavFile {
    FILE* fp = nullptr;
    std::string path;
    int sampleRate = 0;
    int channels = 0;
    uint64_t dataBytes = 0;
    bool full = false;
};

// RIFF sizes are 32-bit: the data chunk stops just below 4 GiB.
constexpr uint64_t kMaxData = 0xFFFFFFFFull - 36 - 1;

void Put16(unsigned char* p, uint32_t v) { p[0] = v & 0xFF; p[1] = (v >> 8) & 0xFF; }
void Put32(unsigned char* p, uint32_t v) {
    Put16(p, v & 0xFFFF);
    Put16(p + 2, v >> 16);
}

void MakeHeader(unsigned char h[44], int rate, int channels, uint32_t dataBytes) {
    const uint32_t align = static_cast<uint32_t>(channels) * 2;
    memcpy(h, "RIFF", 4);
    Put32(h + 4, 36 + dataBytes);
    memcpy(h + 8, "WAVEfmt ", 8);
    Put32(h + 16, 16);
    Put16(h + 20, 1);  // PCM
    Put16(h + 22, static_cast<uint32_t>(channels));
    Put32(h + 24, static_cast<uint32_t>(rate));
    Put32(h + 28, static_cast<uint32_t>(rate) * align);
    Put16(h + 32, align);
    Put16(h + 34, 16);
    memcpy(h + 36, "data", 4);
    Put32(h + 40, dataBytes);
}

}  // namespace

void* WavCreateFile(const wchar_t* path, EncodeParam* param) {
    if (!path || !param) return nullptr;
    const EncodeAudioParam& a = param->audio;
    if (param->bDisableAudio || a.nBitsPerSample != 16 || a.nChannels < 1 ||
        a.nChannels > kMaxChannels || a.nSampleRate < 1 || a.nSampleRate > kMaxSampleRate) {
        plx::Report("plxraw: WAV [%s]: no 16-bit PCM stream to write (%d Hz, %d channels, %d bits)",
                    plx::WideToUtf8(path).c_str(), a.nSampleRate, a.nChannels, a.nBitsPerSample);
        return nullptr;
    }
    WavFile* f = new WavFile;
    f->path = plx::WideToUtf8(path);
    f->sampleRate = a.nSampleRate;
    f->channels = a.nChannels;
    f->fp = fopen(f->path.c_str(), "wb");
    unsigned char header[44];
    // Written with a zero length first; a reader of an unfinished file sees a
    // valid, empty stream rather than garbage.
    MakeHeader(header, f->sampleRate, f->channels, 0);
    if (!f->fp || fwrite(header, 1, sizeof header, f->fp) != sizeof header) {
        plx::Report("plxraw: cannot create the WAV file [%s]: %s", f->path.c_str(), strerror(errno));
        if (f->fp) fclose(f->fp);
        delete f;
        return nullptr;
    }
    return f;
}

uint32_t WavWriteAudio(void* hFile, const void* data, uint32_t word) {
    WavFile* f = static_cast<WavFile*>(hFile);
    // Inline blocks come with word 0; our compressed packet lists cannot be PCM.
    if (!f || !data || word != 0) return 0;
    const MEDIA_FRAME* block = static_cast<const MEDIA_FRAME*>(data);
    if (!block->pData || block->nDataSize <= 0) return 0;
    const uint32_t align = static_cast<uint32_t>(f->channels) * 2;
    uint64_t bytes = static_cast<uint32_t>(block->nDataSize) / align * align;  // whole sample frames
    if (f->dataBytes + bytes > kMaxData) {
        if (!f->full)
            plx::Report("plxraw: WAV file [%s] is full (4 GiB); further audio is dropped",
                        f->path.c_str());
        f->full = true;
        bytes = (kMaxData - f->dataBytes) / align * align;
    }
    if (bytes == 0) return f->full ? 0 : 1;
    if (fwrite(block->pData, 1, bytes, f->fp) != bytes) {
        plx::Report("plxraw: write to the WAV file [%s] failed: %s", f->path.c_str(), strerror(errno));
        return 0;
    }
    f->dataBytes += bytes;
    return 1;
}

int WavCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user) {
    WavFile* f = static_cast<WavFile*>(hFile);
    if (!f) return 0;
    unsigned char header[44];
    MakeHeader(header, f->sampleRate, f->channels, static_cast<uint32_t>(f->dataBytes));
    bool ok = fseek(f->fp, 0, SEEK_SET) == 0 && fwrite(header, 1, sizeof header, f->fp) == sizeof header;
    ok = fclose(f->fp) == 0 && ok;
    if (!ok) plx::Report("plxraw: cannot finish the WAV file [%s]: %s", f->path.c_str(), strerror(errno));
    if (callback) callback(user, 1, 1, PLX_STAGE_DONE);
    delete f;
    return ok ? 1 : 0;
}

}  // namespace plxraw
