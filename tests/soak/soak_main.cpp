// Soak: writes many short files through the real plugins in one process and
// checks that resident memory, open descriptors and mappings stay flat.
//
//   qv_soak [FILES] [DIR]    (defaults: 10000 files, a temporary directory)
//
// Each file has a few frames and a little audio; containers rotate through
// MP4 and MKV (plxffmpeg) and Y4M and WAV (plxraw). Every file is removed
// once written. The figures are sampled after a warm-up (a tenth of the run)
// and at the end; the run fails when any grows by more than its slack, or
// when any file fails.
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <quevarra/qv_mediafile.h>

namespace {

struct Figures {
    long rssKiB;
    int fds;
    int maps;
};

Figures Sample() {
    Figures f{0, 0, 0};
    long pages = 0, resident = 0;
    if (FILE* statm = fopen("/proc/self/statm", "r")) {
        if (fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        fclose(statm);
    }
    f.rssKiB = resident * (sysconf(_SC_PAGESIZE) / 1024);
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(dir)) f.fds += e->d_name[0] != '.';
        closedir(dir);
        --f.fds;  // the descriptor of this listing
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) ++f.maps;
    return f;
}

double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9;
}

uint32_t Code(const char* s) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

struct Kind {
    const char *container, *video, *audio, *ext;
};
const Kind kKinds[] = {{"MP4 ", "H264", "AAC ", "mp4"},
                       {"MKV ", "MJPG", "OPUS", "mkv"},
                       {"Y4M ", "I420", nullptr, "y4m"},
                       {"WAV ", nullptr, "PCM ", "wav"}};

// Four frames of 64x48 at 25 fps and as much 44100 Hz stereo audio (the MKV
// one converted to OPUS's 48000 Hz); true when every write was taken.
bool WriteOne(const Kind& k, const std::string& path, int index) {
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.dwFileFormat = Code(k.container);
    p.video.dwFourCC = k.video ? Code(k.video) : 0, p.audio.dwFourCC = k.audio ? Code(k.audio) : 0;
    p.bDisableVideo = !k.video, p.bDisableAudio = !k.audio;
    p.video.nWidth = 64, p.video.nHeight = 48, p.video.dFrameRate = 25.0;
    p.audio.nSampleRate = k.audio && !strcmp(k.audio, "OPUS") ? 48000 : 44100;
    const xVideoInfo vi = {64, 48, 25.0, 0.16, 0, 0, {0}, 0};
    const xAudioInfo ai = {44100, 2, 16, 176400, 0.16, 0};
    const std::wstring wpath(path.begin(), path.end());
    void* h = QVCreateMediaFile(wpath.c_str(), &p, &vi, &ai);
    if (!h) return false;
    std::vector<uint8_t> y(64 * 48, static_cast<uint8_t>(16 + index % 200)), c(32 * 24, 128);
    std::vector<int16_t> pcm(1764 * 2, static_cast<int16_t>(index));
    bool ok = true;
    for (int i = 0; i < 4; ++i) {
        MEDIA_FRAME f{};
        f.pPlane[0] = y.data(), f.pPlane[1] = f.pPlane[2] = c.data();
        f.nWidth = 64, f.nHeight = 48, f.nPitch[0] = 64, f.nPitch[1] = f.nPitch[2] = 32;
        f.llTimeStamp = f.llStreamTime = i * 400000LL, f.nDuration = 400000;
        if (k.video) ok &= QVWriteVideoFrame(h, &f) != 0;
        MEDIA_FRAME a{};
        a.nSampleRate = 44100, a.nChannels = 2, a.nBitsPerSample = 16;
        a.pData = pcm.data(), a.nDataSize = static_cast<int32_t>(pcm.size() * 2);
        a.llTimeStamp = a.llStreamTime = i * 400000LL, a.nDuration = 400000;
        // Encoders that gather several blocks into one packet may take a block
        // without writing yet (0), so audio results are not counted.
        if (k.audio) QVWriteAudioData(h, &a);
    }
    QVCloseMediaFile(h, nullptr, nullptr);
    return ok && access(path.c_str(), F_OK) == 0;
}

void Print(const char* what, const Figures& f) {
    printf("%-10s RSS %7ld KiB, %3d fds, %4d mappings\n", what, f.rssKiB, f.fds, f.maps);
}

}  // namespace

int main(int argc, char** argv) {
    const int files = argc > 1 ? atoi(argv[1]) : 10000;
    std::string dir = argc > 2 ? argv[2] : "";
    if (files < 10) {
        fprintf(stderr, "usage: qv_soak [FILES >= 10] [DIR]\n");
        return 2;
    }
    if (dir.empty()) {
        char templ[] = "/tmp/qvsoak-XXXXXX";
        if (!mkdtemp(templ)) return 2;
        dir = templ;
    }
    if (!getenv("QUEVARRA_BUNDLE")) {
        std::string bundle = QV_BUNDLE_DIR;
        setenv("QUEVARRA_BUNDLE", bundle.substr(0, bundle.size() - strlen("/Contents/MacOS")).c_str(), 1);
    }
    if (!QVInitPlugins()) {
        fprintf(stderr, "qv_soak: no plugin directory\n");
        return 1;
    }
    // Slack after the warm-up: allocator arenas and caches may still settle a
    // little; a leak of one buffer per file does not fit in it.
    const long kRssSlackKiB = 8192;
    const int kFdSlack = 0, kMapSlack = 8;
    const int warmUp = files / 10;
    const Figures start = Sample();
    Figures settled = start;
    int failures = 0;
    const double t0 = Now();
    for (int i = 0; i < files; ++i) {
        const Kind& k = kKinds[i % 4];
        const std::string path = dir + "/soak." + k.ext;
        if (!WriteOne(k, path, i)) {
            if (++failures <= 5) fprintf(stderr, "qv_soak: file %d (%s) failed\n", i, k.ext);
        }
        unlink(path.c_str());
        if (i + 1 == warmUp) settled = Sample();
        if ((i + 1) % (files / 10) == 0) {
            const Figures f = Sample();
            printf("%6d files %6.1f s: RSS %ld KiB, %d fds, %d mappings\n", i + 1, Now() - t0, f.rssKiB,
                   f.fds, f.maps);
            fflush(stdout);
        }
    }
    const double seconds = Now() - t0;
    const Figures end = Sample();
    QVUninitPlugins();
    rmdir(dir.c_str());

    printf("qv_soak: %d files in %.1f s (%.2f ms a file), %d failed\n", files, seconds,
           1000 * seconds / files, failures);
    Print("start", start);
    Print("warmed up", settled);
    Print("end", end);
    const bool flat = end.rssKiB - settled.rssKiB <= kRssSlackKiB && end.fds - settled.fds <= kFdSlack &&
                      end.maps - settled.maps <= kMapSlack;
    printf("qv_soak: %s (slack after warm-up: RSS %ld KiB, %d fds, %d mappings)\n",
           flat && !failures ? "flat" : "FAILED", kRssSlackKiB, kFdSlack, kMapSlack);
    return flat && !failures ? 0 : 1;
}
