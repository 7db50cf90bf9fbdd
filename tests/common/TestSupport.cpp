#include "common/TestSupport.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <quevarra/qv_support.h>

namespace fs = std::filesystem;

namespace qvtest {

std::string ModuleDir() { return QV_TEST_MODULE_DIR; }

std::string MakeTempDir(const std::string& prefix) {
    std::string templ = (fs::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (!mkdtemp(templ.data())) throw std::runtime_error("mkdtemp failed");
    return templ;
}

void RemoveTree(const std::string& path) {
    std::error_code ec;
    fs::remove_all(path, ec);
}

TempBundle::TempBundle() : m_root(MakeTempDir("qvbundle") + "/Test.app") {
    fs::create_directories(EncoderDir());
}

TempBundle::~TempBundle() { RemoveTree(fs::path(m_root).parent_path().string()); }

void TempBundle::AddPlugin(const std::string& module, const std::string& fileName) {
    fs::copy_file(ModuleDir() + "/" + module, EncoderDir() + "/" + fileName,
                  fs::copy_options::overwrite_existing);
}

void TempBundle::AddFile(const std::string& fileName, const std::string& content) {
    std::ofstream(EncoderDir() + "/" + fileName) << content;
}

void TempBundle::Use() const { setenv("QUEVARRA_BUNDLE", m_root.c_str(), 1); }

namespace {
typedef wchar_t** (*PFN_TAKE)(size_t*);
typedef void (*PFN_FREE)(wchar_t**, size_t);
void* g_logModule = nullptr;
std::string g_logBundle;
}  // namespace

void InstallTestLog() {
    if (g_logModule) return;
    g_logBundle = MakeTempDir("qvlog") + "/Log.app";
    std::string macos = g_logBundle + "/Contents/MacOS";
    fs::create_directories(macos);
    fs::copy_file(ModuleDir() + "/TestLog.dylib", macos + "/Log.dylib");
    const char* previous = getenv("QUEVARRA_BUNDLE");
    std::string saved = previous ? previous : "";
    setenv("QUEVARRA_BUNDLE", g_logBundle.c_str(), 1);
    if (!dyLogInit()) throw std::runtime_error("test Log.dylib did not load");
    if (previous) setenv("QUEVARRA_BUNDLE", saved.c_str(), 1);
    else unsetenv("QUEVARRA_BUNDLE");
    // Same path, so the loader hands out the library's own handle.
    g_logModule = dlopen((macos + "/Log.dylib").c_str(), RTLD_LAZY);
    TakeLog();
}

std::vector<std::wstring> TakeLog() {
    InstallTestLog();
    auto take = reinterpret_cast<PFN_TAKE>(dlsym(g_logModule, "TestLogTake"));
    auto release = reinterpret_cast<PFN_FREE>(dlsym(g_logModule, "TestLogFree"));
    size_t count = 0;
    wchar_t** messages = take(&count);
    std::vector<std::wstring> out(messages, messages + count);
    release(messages, count);
    return out;
}

std::wstring JoinLog(const std::vector<std::wstring>& messages) {
    std::wstring all;
    for (const auto& m : messages) all += m + L"\n";
    return all;
}

}  // namespace qvtest
