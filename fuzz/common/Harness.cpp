#include "common/Harness.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <wchar.h>

#include <filesystem>

#include <quevarra/qv_embed.h>

namespace qvfuzz {

namespace {

// Reads each message to its terminator (so that an unterminated one is
// reported) and discards it.
volatile size_t g_logged;
void Discard(void*, const wchar_t* message) { g_logged = g_logged + (message ? wcslen(message) : 0); }

}  // namespace

void QuietLog() { QVSetLogCallback(Discard, nullptr); }

}  // namespace qvfuzz

// Every target starts with a quiet log.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qvfuzz::QuietLog();
    return 0;
}

namespace qvfuzz {

void Fail(const char* what) {
    fprintf(stderr, "%s\n", what);
    abort();
}

Plane::Plane(int rows, int pitch, int64_t lastRowBytes) : m_pitch(pitch), m_rows(rows) {
    const int64_t magnitude = pitch < 0 ? -int64_t{pitch} : pitch;
    const int64_t size = rows > 0 ? (rows - 1) * magnitude + lastRowBytes : 0;
    m_size = static_cast<size_t>(size > 0 ? size : 0);
    // An empty block is still a distinct pointer, and any touch of it is reported.
    m_mem.reset(new uint8_t[m_size]);
    m_row0 = m_mem.get() + (pitch < 0 && rows > 1 ? (rows - 1) * magnitude : 0);
}

int64_t Plane::Offset(int s, int64_t c) const {
    return (m_row0 - m_mem.get()) + int64_t{s} * m_pitch + c;
}

TempDir::TempDir(const char* prefix) {
    std::string templ = std::filesystem::temp_directory_path().string() + "/" + prefix + "-XXXXXX";
    if (!mkdtemp(templ.data())) Fail("qvfuzz: mkdtemp failed");
    m_path = templ;
}

TempDir::~TempDir() { RemoveTree(m_path); }

void RemoveTree(const std::string& path) {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

}  // namespace qvfuzz
