#include "common/PlxCommon.h"

#include <dlfcn.h>
#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <wchar.h>

#include <atomic>
#include <mutex>

#include "PlxContract.h"

namespace plx {

bool FrameRateRatio(double fps, int* num, int* den) {
    if (!(fps > 0.0) || !isfinite(fps) || fps > 1e6) return false;
    double whole = floor(fps + 0.5);
    if (whole >= 1 && fabs(fps - whole) <= 1e-9 * whole) {
        *num = static_cast<int>(whole);
        *den = 1;
        return true;
    }
    // The x/1.001 family (23.976, 29.97, 59.94) as hosts usually write it,
    // rounded to a few decimals: keep it exact, not 2997/100.
    double ntsc = floor(fps * 1.001 + 0.5);
    if (ntsc >= 1 && fabs(fps - ntsc / 1.001) <= 1e-5 * fps) {
        *num = static_cast<int>(ntsc) * 1000;
        *den = 1001;
        return true;
    }
    // Best continued-fraction approximation with a bounded denominator.
    long long h0 = 0, h1 = 1, k0 = 1, k1 = 0;
    double x = fps;
    for (int i = 0; i < 40; ++i) {
        long long a = static_cast<long long>(floor(x));
        long long h2 = a * h1 + h0, k2 = a * k1 + k0;
        if (k2 > 1001000 || h2 > 0x7FFFFFFF) break;
        h0 = h1; h1 = h2; k0 = k1; k1 = k2;
        double frac = x - a;
        if (frac < 1e-12) break;
        x = 1.0 / frac;
    }
    if (h1 < 1 || k1 < 1) return false;
    *num = static_cast<int>(h1);
    *den = static_cast<int>(k1);
    return true;
}

namespace {

typedef int (*PFN_LOG)(const wchar_t*);

// The library's log, given through PLXSetLog; null until then.
std::atomic<PFN_PLX_LOG> g_libraryLog{nullptr};

// Log.dylib beside the bundle's programs, for a plugin loaded without PLXSetLog.
PFN_LOG BundleLogEntry() {
    static PFN_LOG entry = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        Dl_info info;
        if (!dladdr(reinterpret_cast<void*>(&BundleLogEntry), &info) || !info.dli_fname) return;
        std::string path = info.dli_fname;  // .../Contents/MacOS/Encoder/plxNAME.dylib
        for (int i = 0; i < 2; ++i) {
            size_t slash = path.rfind('/');
            if (slash == std::string::npos) return;
            path.resize(slash);
        }
        path += "/Log.dylib";
        // Kept open for the life of the process: messages can come from any thread
        // until the plugin itself goes away.
        void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (handle) entry = reinterpret_cast<PFN_LOG>(dlsym(handle, "Log"));
    });
    return entry;
}

}  // namespace

void Report(const char* format, ...) {
    PFN_LOG entry = g_libraryLog.load(std::memory_order_acquire);
    if (!entry) entry = BundleLogEntry();
    if (!entry) return;
    char buffer[2048];
    va_list args;
    va_start(args, format);
    vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    std::wstring message = Utf8ToWide(buffer);
    message += L"\r\n";
    entry(message.c_str());
}

namespace {
void CopyText(wchar_t* dst, size_t capacity, const wchar_t* src) {
    wcsncpy(dst, src ? src : L"", capacity - 1);
    dst[capacity - 1] = L'\0';
}
}  // namespace

void FillEncoder(ENCODER_ITEM* item, uint32_t fourcc, int type, const wchar_t* text1,
                 const wchar_t* text2) {
    memset(item, 0, sizeof *item);
    item->dwFourCC = fourcc;
    item->nType = type;
    CopyText(item->wszText1, 64, text1);
    CopyText(item->wszText2, 120, text2);
}

void FillMuxer(FILEFORMAT_ITEM* item, uint32_t fourcc, const wchar_t* text0,
               const wchar_t* text1, const wchar_t* text2) {
    memset(item, 0, sizeof *item);
    item->dwFourCC = fourcc;
    CopyText(item->wszText0, 10, text0);
    CopyText(item->wszText1, 64, text1);
    CopyText(item->wszText2, 128, text2);
}

std::string FourCCText(uint32_t fourcc) {
    std::string s;
    for (int i = 0; i < 4; ++i) {
        char c = static_cast<char>((fourcc >> (8 * i)) & 0xFF);
        s += (c >= 32 && c < 127) ? c : '?';
    }
    return s;
}

}  // namespace plx

PLX_EXPORT void PLXSetLog(PFN_PLX_LOG pfnLog) {
    plx::g_libraryLog.store(pfnLog, std::memory_order_release);
}
