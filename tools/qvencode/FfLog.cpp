#include "FfLog.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdio>
#include <mutex>
#include <utility>

namespace qvenc {

namespace {

constexpr size_t kMaxKept = 32;

std::mutex g_mutex;
bool g_verbose = false;
std::string g_lastError;
std::vector<std::pair<std::string, int>> g_kept;  // message, times seen

void Keep(const std::string& message, int level) {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (level <= AV_LOG_ERROR) g_lastError = message;
    for (auto& k : g_kept)
        if (k.first == message) {
            ++k.second;
            return;
        }
    if (g_kept.size() < kMaxKept) g_kept.emplace_back(message, 1);
}

// Called on any FFmpeg thread. A message may come in pieces; each piece that
// ends a line is handled on its own, which is how FFmpeg sends nearly all.
void OnMessage(void* context, int level, const char* format, va_list args) {
    if (level > AV_LOG_WARNING) return;
    char text[1024];
    int printPrefix = 0;
    av_log_format_line2(context, level, format, args, text, sizeof text, &printPrefix);
    std::string message(text);
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' '))
        message.pop_back();
    if (message.empty()) return;
    const AVClass* cls = context ? *static_cast<AVClass**>(context) : nullptr;
    const std::string source = cls && cls->item_name ? cls->item_name(context) : "";
    if (!source.empty()) message = source + ": " + message;
    if (g_verbose) {
        std::lock_guard<std::mutex> lock(g_mutex);
        std::fprintf(stderr, "ffmpeg: %s\n", message.c_str());
        if (level <= AV_LOG_ERROR) g_lastError = message;
        return;
    }
    Keep(message, level);
}

}  // namespace

void RouteFfmpegLog(bool verbose) {
    g_verbose = verbose;
    // Warnings reach the callback; a level other than FFmpeg's default also
    // tells the plugins that the host has chosen one.
    av_log_set_level(AV_LOG_WARNING);
    av_log_set_callback(OnMessage);
}

std::string TakeFfmpegError() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::string e;
    e.swap(g_lastError);
    return e;
}

std::vector<std::string> FfmpegWarnings() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<std::string> out;
    for (const auto& k : g_kept)
        out.push_back(k.second > 1 ? k.first + " (" + std::to_string(k.second) + " times)" : k.first);
    return out;
}

std::string FfmpegErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_make_error_string(text, sizeof text, error);
    return text;
}

}  // namespace qvenc
