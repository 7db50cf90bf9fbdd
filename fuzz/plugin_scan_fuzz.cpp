// The plugin scan over a bundle whose Encoder directory holds fuzzed entries:
// files of random bytes, empty files, files starting with the ELF magic (too
// short to be mapped), directories and symlinks (to other entries, dangling,
// to themselves) under names that qualify or nearly do, and copies of a real
// plugin that publishes fuzzed encoder and file-format records. The bundle
// lies at a fuzzed depth, so that paths approach the 511-byte limit.
//
// Input: the depth, the entries (kind and name), the records the plugin
// copies publish, and how often to initialise and release.
//
// Beyond memory safety it checks the published arrays against the registries:
// a file format is published exactly when one of its codecs has an encoder,
// every published encoder pointer points into the published descriptions,
// and the lookups find what the registries hold.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <quevarra/qv_plugin.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"

namespace {

const uint32_t kCodes[] = {QV_FOURCC('V', 'I', 'D', '1'), QV_FOURCC('V', 'I', 'D', '2'),
                           QV_FOURCC('A', 'U', 'D', '1'), QV_FOURCC('A', 'U', 'D', '2'),
                           QV_FOURCC('M', 'U', 'X', '1'), QV_FOURCC('M', 'U', 'X', '2'),
                           QV_FOURCC('C', 'O', 'P', 'Y'), 0xFFFFFFFFu};

// The records the plugin copies publish, one list per entry call, in order.
struct Records {
    std::deque<std::vector<ENCODER_ITEM>> encoders;
    std::deque<std::vector<FILEFORMAT_ITEM>> muxers;
    std::vector<std::vector<ENCODER_MODE>> modes;  // owned here, pointed to by the muxers
    std::vector<ENCODER_ITEM> currentEncoders;
    std::vector<FILEFORMAT_ITEM> currentMuxers;
    bool nullEncoders, nullMuxers;
} g;

uint32_t Code(qvfuzz::Input& in) { return kCodes[in.U8() % 8]; }

// A text field filled to the brim, terminated or not: the library copies it
// whole and must not read it as a string.
template <size_t N>
void Text(qvfuzz::Input& in, wchar_t (&text)[N]) {
    const uint8_t v = in.U8();
    for (size_t i = 0; i < N; ++i) text[i] = static_cast<wchar_t>(v * 31 + i);
    if (v & 1) text[v % N] = 0;
}

ENCODER_MODE* Modes(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    if (v % 4 == 0) return nullptr;
    std::vector<ENCODER_MODE> list;
    for (int i = 0; i < v % 5; ++i) list.push_back({Code(in), static_cast<int32_t>(i & 1)});
    for (ENCODER_MODE& m : list)
        if (m.dwFourCC == 0) m.dwFourCC = 1;  // zero ends the list
    list.push_back({0, 0});
    g.modes.push_back(list);
    return g.modes.back().data();
}

void DecodeRecords(qvfuzz::Input& in) {
    for (int plugin = 0; plugin < 4; ++plugin) {
        std::vector<ENCODER_ITEM> encoders(in.U8() % 4);
        for (ENCODER_ITEM& e : encoders) {
            e.dwFourCC = Code(in) | 1;  // never the terminator
            e.nType = in.U8() % 3;
            Text(in, e.wszText1), Text(in, e.wszText2);
        }
        encoders.push_back(ENCODER_ITEM{});
        g.encoders.push_back(encoders);
        std::vector<FILEFORMAT_ITEM> muxers(in.U8() % 3);
        for (FILEFORMAT_ITEM& m : muxers) {
            m.dwFourCC = Code(in) | 1;
            Text(in, m.wszText0), Text(in, m.wszText1), Text(in, m.wszText2);
            m.pAudioModes = Modes(in), m.pVideoModes = Modes(in);
            m.dwFlags = in.U8();
        }
        muxers.push_back(FILEFORMAT_ITEM{});
        g.muxers.push_back(muxers);
    }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const void* QvFuzzNextEncoders() {
    if (g.encoders.empty() || g.nullEncoders) return nullptr;
    g.currentEncoders = g.encoders.front();
    g.encoders.pop_front();
    return g.currentEncoders.data();
}

extern "C" __attribute__((visibility("default"))) const void* QvFuzzNextMuxers() {
    if (g.muxers.empty() || g.nullMuxers) return nullptr;
    g.currentMuxers = g.muxers.front();
    g.muxers.pop_front();
    return g.currentMuxers.data();
}

namespace {

// A name that qualifies (plx...dylib) or nearly does, with any byte but '/'
// and NUL, at most 255 bytes.
std::string Name(qvfuzz::Input& in) {
    const uint8_t v = in.U8(), affixes = in.U8();
    std::string stem;
    const int length = v < 250 ? v % 12 : 200 + v % 56;
    for (int i = 0; i < length; ++i) {
        const uint8_t c = in.U8();
        stem += c == 0 || c == '/' ? '.' : static_cast<char>(c);
    }
    static const char* const kPrefix[] = {"plx", "plx", "plx", "PLX", "", "pl"};
    static const char* const kSuffix[] = {".dylib", ".dylib", ".dylib", ".DYLIB", ".dylib.bak", ""};
    std::string name = kPrefix[affixes % 6] + stem + kSuffix[(affixes / 6) % 6];
    if (name.size() > 255) name.resize(255);
    return name.empty() || name == "." || name == ".." ? "plx.dylib" : name;
}

// Entries that cannot be made (a name taken twice, say) are simply missing.
// Nothing is written through a link: an entry may link to the plugin itself.
void WriteFile(const std::string& path, const std::string& bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    if (fd < 0) return;
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    (void)written;
    close(fd);
}

const std::string& PluginBytes() {
    static const std::string bytes = [] {
        std::ifstream file(QV_FUZZ_PLUGIN, std::ios::binary);
        std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        if (content.size() < 64) qvfuzz::Fail("plugin_scan_fuzz: the fuzz plugin is missing or empty");
        return content;
    }();
    return bytes;
}

void Link(const std::string& target, const std::string& path) {
    const int made = symlink(target.c_str(), path.c_str());
    (void)made;
}

void MakeEntry(qvfuzz::Input& in, const std::string& dir, std::vector<std::string>& names) {
    const uint8_t kind = in.U8();
    const std::string name = Name(in);
    const std::string path = dir + "/" + name;
    std::string bytes;
    switch (kind % 7) {
    case 0:  // random bytes
        for (int i = in.U8() % 64; i > 0; --i) bytes += static_cast<char>(in.U8());
        WriteFile(path, bytes);
        break;
    case 1:
        WriteFile(path, "");
        break;
    case 2:  // the ELF magic, but shorter than any ELF header: never mapped
        bytes = "\x7f" "ELF";
        for (int i = in.U8() % 48; i > 0; --i) bytes += static_cast<char>(in.U8());
        WriteFile(path, bytes);
        break;
    case 3:
        mkdir(path.c_str(), 0755);
        break;
    case 4:  // to an entry made before, to one never made, or to itself
        Link(names.empty() || (kind & 0x80) ? name : names[kind % names.size()], path);
        break;
    case 5:  // a copy of the plugin
        WriteFile(path, PluginBytes());
        break;
    default:  // the plugin itself through a link: the loader hands out one handle twice
        Link(QV_FUZZ_PLUGIN, path);
        break;
    }
    names.push_back(name);
}

void CheckPublished() {
    const std::vector<ENCODER_ITEM>& encoders = PluginMgr::m_arEncoder;
    auto registered = [&](uint32_t code) {
        for (const ENCODER_ITEM& e : encoders)
            if (e.dwFourCC == code) return true;
        return false;
    };
    auto anyRegistered = [&](const ENCODER_MODE* m) {
        for (; m && m->dwFourCC; ++m)
            if (registered(m->dwFourCC)) return true;
        return false;
    };
    size_t expected = 0;
    for (const FILEFORMAT_ITEM& f : PluginMgr::m_arFileFormat)
        expected += anyRegistered(f.pAudioModes) || anyRegistered(f.pVideoModes);

    FILEFORMAT_INFO* info = QVGetFileFormatInfos();
    QV_FUZZ_CHECK((info == nullptr) == PluginMgr::m_arFileFormat.empty());
    const ENCODER_ITEM* first = PluginMgr::m_pEncInfo;
    const ENCODER_ITEM* last = first ? first + encoders.size() : nullptr;
    size_t published = 0;
    for (FILEFORMAT_INFO* p = info; p && p->dwFourCC; ++p, ++published) {
        QV_FUZZ_CHECK(p->nAudioEnc >= 0 && p->nVideoEnc >= 0 && p->nAudioEnc + p->nVideoEnc > 0);
        for (int i = 0; i < p->nAudioEnc; ++i)
            QV_FUZZ_CHECK(p->ppAudioEnc[i] >= first && p->ppAudioEnc[i] < last);
        for (int i = 0; i < p->nVideoEnc; ++i)
            QV_FUZZ_CHECK(p->ppVideoEnc[i] >= first && p->ppVideoEnc[i] < last);
        QV_FUZZ_CHECK(QVFindFileFormatPlugin(p->dwFourCC) != nullptr);
    }
    QV_FUZZ_CHECK(published == expected);
    for (uint32_t code : kCodes) {
        ENCODER_ITEM item{};
        QV_FUZZ_CHECK(QVGetEncoderInfo(code, &item) == (registered(code) ? 1 : 0));
        if (FILEFORMAT_INFO* f = QVFindFileFormatPlugin(code)) QV_FUZZ_CHECK(f->dwFourCC == code);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 2048) return -1;
    qvfuzz::Input in(data, size);
    g = Records{};
    const uint8_t flags = in.U8();
    g.nullEncoders = flags % 16 == 1, g.nullMuxers = flags % 16 == 2;

    // Directories above the bundle, up to about 470 bytes in all.
    qvfuzz::TempDir root("qvfuzz-scan");
    std::string bundle = root.Path();
    for (int depth = in.U8() % 4; depth > 0; --depth)
        bundle += "/" + std::string(1 + in.U8() % 150, 'd');
    bundle += "/Fuzz.app";
    const std::string encoderDir = bundle + "/Contents/MacOS/Encoder";
    std::error_code ec;
    std::filesystem::create_directories(encoderDir, ec);

    std::vector<std::string> names;
    for (int n = in.U8() % 9; n > 0; --n) MakeEntry(in, encoderDir, names);
    g.modes.reserve(64);  // the muxers point into these lists
    DecodeRecords(in);
    const int inits = 1 + in.U8() % 3;

    setenv("QUEVARRA_BUNDLE", bundle.c_str(), 1);
    for (int i = 0; i < inits; ++i) {
        QVInitPlugins();
        CheckPublished();
    }
    for (int i = 0; i < inits + (flags >> 7); ++i) QVUninitPlugins();
    QV_FUZZ_CHECK(PluginMgr::m_InitRefCounter.Get() == 0 && PluginMgr::m_arModule.empty() &&
                  QVGetFileFormatInfos() == nullptr);
    unsetenv("QUEVARRA_BUNDLE");
    return 0;
}
