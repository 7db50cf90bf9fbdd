#include "Progress.h"

#include "TestPattern.h"

#include <algorithm>
#include <cmath>

namespace qvenc {

Progress::Progress(bool enabled, FILE* out, long long total, double unitsPerSecond, const char* unitName)
    : m_enabled(enabled), m_out(out), m_total(total), m_unitsPerSecond(unitsPerSecond), m_unitName(unitName),
      m_start(std::chrono::steady_clock::now()), m_last(m_start - std::chrono::seconds(1)) {}

std::string Progress::Line(long long done, long long total, double unitsPerSecond, const char* unitName,
                           double elapsed, const std::string& extra) {
    std::string line;
    char buf[128];
    if (total > 0 && done > total) total = done;  // the estimate was short
    if (total > 0) {
        const int width = 24;
        const int filled = static_cast<int>(std::min<long long>(width, done * width / total));
        line = "[" + std::string(filled, '=') + (filled < width ? ">" : "") +
               std::string(filled < width ? width - filled - 1 : 0, ' ') + "] ";
        std::snprintf(buf, sizeof buf, "%lld/%lld %s", done, total, unitName);
    } else {
        std::snprintf(buf, sizeof buf, "%lld %s", done, unitName);
    }
    line += buf;
    const double media = unitsPerSecond > 0 ? done / unitsPerSecond : 0.0;
    line += "  " + ClockText(static_cast<long long>(media * 1000.0));
    if (elapsed > 0.05 && media > 0) {
        std::snprintf(buf, sizeof buf, "  %.1fx", media / elapsed);
        line += buf;
        if (total > 0 && done > 0 && done < total) {
            const long long eta = static_cast<long long>(std::ceil(elapsed * (total - done) / done));
            std::snprintf(buf, sizeof buf, "  ETA %lld:%02lld", eta / 60, eta % 60);
            line += buf;
        }
    }
    if (!extra.empty()) line += "  " + extra;
    return line;
}

void Progress::Print(const std::string& line) {
    // Pad over the remains of a longer previous line.
    std::string padded = line;
    if (padded.size() < m_lastWidth) padded.append(m_lastWidth - padded.size(), ' ');
    m_lastWidth = line.size();
    std::fprintf(m_out, "\r%s", padded.c_str());
    std::fflush(m_out);
}

void Progress::Update(long long done, const std::string& extra) {
    if (!m_enabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_last < std::chrono::milliseconds(100)) return;  // ten refreshes a second are plenty
    m_last = now;
    Print(Line(done, m_total, m_unitsPerSecond, m_unitName, std::chrono::duration<double>(now - m_start).count(), extra));
}

void Progress::FinishWriting(long long done, const std::string& extra) {
    if (!m_enabled) return;
    const auto now = std::chrono::steady_clock::now();
    Print(Line(done, m_total, m_unitsPerSecond, m_unitName, std::chrono::duration<double>(now - m_start).count(), extra));
    std::fputc('\n', m_out);
    m_lastWidth = 0;
}

std::string Progress::CloseLine(unsigned done, unsigned total, unsigned stage) {
    char buf[96];
    if (total > 0)
        std::snprintf(buf, sizeof buf, "finishing the file (stage %u): %u/%u (%u%%)", stage, done, total,
                      static_cast<unsigned>(100.0 * done / total));
    else
        std::snprintf(buf, sizeof buf, "finishing the file (stage %u): %u", stage, done);
    return buf;
}

unsigned Progress::CloseCallback(void* user, unsigned done, unsigned total, unsigned stage) {
    Progress* self = static_cast<Progress*>(user);
    if (self && self->m_enabled) {
        self->Print(CloseLine(done, total, stage));
        self->m_closeShown = true;
    }
    return 1;  // go on
}

void Progress::EndClose() {
    if (m_enabled && m_closeShown) std::fputc('\n', m_out);
    m_closeShown = false;
}

}  // namespace qvenc
