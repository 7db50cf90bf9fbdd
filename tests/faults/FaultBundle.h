// A temporary bundle with the fault plugins and our plxraw, and small sources
// of frames and audio blocks, shared by the fault and thread tests.
#ifndef QUEVARRA_TESTS_FAULTS_FAULTBUNDLE_H
#define QUEVARRA_TESTS_FAULTS_FAULTBUNDLE_H

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <vector>

#include <quevarra/qv_records.h>

#include "common/TestSupport.h"

namespace qvfault {

inline uint32_t Code(const char* s) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

class FaultBundle : public qvtest::TempBundle {
public:
    FaultBundle() {
        for (const char* m : {"faults", "longenc", "longmux", "edge", "unresolved"})
            AddPlugin(std::string("fp_") + m + ".dylib", std::string("plx") + m + ".dylib");
        std::filesystem::copy_file(QV_PLXRAW, EncoderDir() + "/plxraw.dylib");
    }
    // Instances and files of the fault plugin still alive (-1: not loaded).
    int Live() const {
        void* m = dlopen((EncoderDir() + "/plxfaults.dylib").c_str(), RTLD_LAZY | RTLD_NOLOAD);
        auto live = m ? reinterpret_cast<int (*)()>(dlsym(m, "QVFaultLive")) : nullptr;
        const int n = live ? live() : -1;
        if (m) dlclose(m);
        return n;
    }
};

// A grey planar 4:2:0 picture.
struct Picture {
    Picture(int w, int h) : y(size_t(w) * h, 90), c(size_t((w + 1) / 2) * ((h + 1) / 2), 128), f{} {
        f.pPlane[0] = y.data(), f.pPlane[1] = f.pPlane[2] = c.data();
        f.nWidth = w, f.nHeight = h, f.nPitch[0] = w, f.nPitch[1] = f.nPitch[2] = (w + 1) / 2;
    }
    const MEDIA_FRAME* At(int64_t t) { return f.llTimeStamp = f.llStreamTime = t, &f; }
    std::vector<uint8_t> y, c;
    MEDIA_FRAME f;
};

// 1/25 s of 16-bit PCM at a rate and channel count.
struct Sound {
    Sound(int rate = 44100, int channels = 2) : pcm(size_t(rate / 25) * channels, 300), f{} {
        f.nSampleRate = rate, f.nChannels = channels, f.nBitsPerSample = 16;
        f.pData = pcm.data(), f.nDataSize = static_cast<int32_t>(pcm.size() * 2);
    }
    const MEDIA_FRAME* At(int64_t t) { return f.llTimeStamp = f.llStreamTime = t, &f; }
    std::vector<int16_t> pcm;
    MEDIA_FRAME f;
};

}  // namespace qvfault

#endif
