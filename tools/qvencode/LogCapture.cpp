#include "LogCapture.h"

#include "Text.h"

#include <quevarra/qv_embed.h>

#include <cwchar>

namespace qvenc {

namespace {

constexpr size_t kKeptLines = 64;

}  // namespace

LogCapture::LogCapture(FILE* live) : m_live(live) { QVSetLogCallback(&LogCapture::OnMessage, this); }

LogCapture::~LogCapture() { QVSetLogCallback(nullptr, nullptr); }

void LogCapture::OnMessage(void* user, const wchar_t* message) {
    LogCapture* self = static_cast<LogCapture*>(user);
    if (!self || !message) return;
    const std::vector<std::string> lines = SplitLines(WideToUtf8(message, std::wcslen(message)));
    std::lock_guard<std::mutex> lock(self->m_mutex);
    for (const std::string& line : lines) {
        if (self->m_live) std::fprintf(self->m_live, "log: %s\n", line.c_str());
        self->m_lines.push_back(line);
        if (self->m_lines.size() > kKeptLines) self->m_lines.pop_front();
    }
}

std::vector<std::string> LogCapture::Tail(size_t count) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const size_t first = m_lines.size() > count ? m_lines.size() - count : 0;
    return std::vector<std::string>(m_lines.begin() + static_cast<long>(first), m_lines.end());
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::string line;
    for (char c : text) {
        if (c == '\n' || c == '\r') {
            if (!line.empty()) lines.push_back(line);
            line.clear();
        } else {
            line.push_back(c);
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

}  // namespace qvenc
