#include "platform/Bundle.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wchar.h>

namespace qvbundle {

namespace {

bool IsDirectory(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

std::string StripTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

bool EndsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string Parent(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return std::string();
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

// X.app for a directory X.app/Contents/MacOS, else an empty string.
std::string EnclosingApp(const std::string& dir) {
    const std::string inner = "/Contents/MacOS";
    if (!EndsWith(dir, inner)) return std::string();
    std::string bundle = dir.substr(0, dir.size() - inner.size());
    return EndsWith(bundle, ".app") ? bundle : std::string();
}

// The bundle installed with this library, found from the library's own file
// so that a moved install still finds it: X.app when the library lies in
// X.app/Contents/MacOS, else quevarra/Quevarra.app beside the library (the
// installed layout of lib/). Empty when neither exists.
std::string LibraryBundle() {
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&MainBundleURLString), &info) || !info.dli_fname)
        return std::string();
    char resolved[PATH_MAX];
    std::string dir = Parent(info.dli_fname);
    if (dir.empty() || !realpath(dir.c_str(), resolved)) return std::string();
    dir = resolved;
    std::string app = EnclosingApp(dir);
    if (!app.empty()) return app;
    app = (dir == "/" ? std::string() : dir) + "/quevarra/Quevarra.app";
    return IsDirectory(app.c_str()) ? app : std::string();
}

std::string BundleDirectory() {
    const char* env = getenv("QUEVARRA_BUNDLE");
    if (env && *env && IsDirectory(env)) {
        char resolved[PATH_MAX];
        if (realpath(env, resolved)) return StripTrailingSlashes(resolved);
    }
    char exe[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return std::string();
    exe[n] = '\0';
    const std::string dir = Parent(exe);
    // An executable inside X.app/Contents/MacOS belongs to the bundle X.app.
    std::string app = EnclosingApp(dir);
    if (!app.empty()) return app;
    // A program that carries its own plugins beside it is its own bundle.
    if (IsDirectory((dir + (dir == "/" ? "" : "/") + "Contents/MacOS/Encoder").c_str())) return dir;
    // Any other host uses the bundle installed with the library; without one
    // the executable's directory stands, and the plugin scan says what it missed.
    app = LibraryBundle();
    return app.empty() ? dir : app;
}

// Decodes well-formed UTF-8; false on any malformed sequence.
bool DecodeUTF8(const std::string& text, std::wstring& out) {
    out.clear();
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        unsigned len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > text.size()) return false;
        uint32_t cp = len == 1 ? c : len == 2 ? (c & 0x1F) : len == 3 ? (c & 0x0F) : (c & 0x07);
        for (unsigned k = 1; k < len; ++k) {
            unsigned char cc = static_cast<unsigned char>(text[i + k]);
            if ((cc & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        out.push_back(static_cast<wchar_t>(cp));
        i += len;
    }
    return true;
}

}  // namespace

std::string MainBundleURLString() {
    std::string dir = BundleDirectory();
    if (dir.empty()) return dir;
    if (dir == "/") return "file://localhost/";
    return "file://localhost" + dir + "/";
}

bool StringGetCString(const std::string& text, void* buffer, long bufferBytes,
                      StringEncoding encoding) {
    if (!buffer || bufferBytes <= 0) return false;
    if (encoding == kEncodingUTF8) {
        if (static_cast<long>(text.size()) + 1 > bufferBytes) return false;
        memcpy(buffer, text.c_str(), text.size() + 1);
        return true;
    }
    std::wstring wide;
    if (!DecodeUTF8(text, wide)) return false;
    long bytes = static_cast<long>((wide.size() + 1) * sizeof(wchar_t));
    if (bytes > bufferBytes) return false;
    memcpy(buffer, wide.c_str(), bytes);
    return true;
}

}  // namespace qvbundle
