// The test logging library: installed as Log.dylib in test bundles, it keeps
// every message so that tests can check the exact texts.
#include <mutex>
#include <string>
#include <vector>
#include <wchar.h>

namespace {
std::mutex g_mutex;
std::vector<std::wstring> g_messages;
}  // namespace

extern "C" __attribute__((visibility("default"))) int Log(const wchar_t* message) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_messages.emplace_back(message ? message : L"");
    return 1;
}

// Moves the recorded messages out: *count receives how many, and the returned
// array (owned by the caller, free with TestLogFree) holds copies.
extern "C" __attribute__((visibility("default"))) wchar_t** TestLogTake(size_t* count) {
    std::lock_guard<std::mutex> lock(g_mutex);
    *count = g_messages.size();
    wchar_t** out = new wchar_t*[g_messages.size() + 1];
    for (size_t i = 0; i < g_messages.size(); ++i) {
        out[i] = new wchar_t[g_messages[i].size() + 1];
        wcscpy(out[i], g_messages[i].c_str());
    }
    g_messages.clear();
    return out;
}

extern "C" __attribute__((visibility("default"))) void TestLogFree(wchar_t** messages, size_t count) {
    for (size_t i = 0; i < count; ++i) delete[] messages[i];
    delete[] messages;
}
