// The once-per-process plugin scan, its release, and the host's queries over
// the registries it fills.
#include <quevarra/qv_plugin.h>
#include <quevarra/qv_support.h>

#include <dirent.h>
#include <dlfcn.h>
#include <string.h>
#include <wchar.h>

#include <new>
#include <string>
#include <vector>

#include "plugin/PluginFile.h"

namespace {

typedef ENCODER_ITEM* (*PFN_GET_ENCODERS)();
typedef FILEFORMAT_ITEM* (*PFN_GET_FILE_MUXERS)();
typedef int (*PFN_PLX_LOG)(const wchar_t*);
typedef void (*PFN_PLX_SET_LOG)(PFN_PLX_LOG);

const size_t kPathBytes = 512;  // plugin directory and full plugin paths, terminator included
const int kAppPathChars = 512;  // application path in wide characters, terminator included

// The loader's pending error text, taken at once: logging looks symbols up
// in the logging library, and every loader call replaces the pending text.
std::string TakeLoaderError() {
    const char* error = dlerror();
    return error ? std::string(error) : std::string();
}

// Logs a loader error text as wide text (an empty message when there is none).
void LogLoaderError(const std::string& error) {
    wchar_t text[512];
    wmemset(text, 0, 512);
    UTF8toW(error.c_str(), -1, text, 512, false);
    text[511] = L'\0';  // a longer message is cut, never left unterminated
    Log(text);
}

// Whether a directory entry names a plugin: "plx" first, ".dylib" after the
// last full stop, both case-sensitive.
bool IsPluginName(const char* name) {
    const char* dot = strrchr(name, '.');
    if (!dot || strcmp(dot, ".dylib") != 0) return false;
    return strncmp(name, "plx", 3) == 0;
}

size_t CountModes(const ENCODER_MODE* pModes) {
    size_t count = 0;
    if (pModes)
        while (pModes[count].dwFourCC != 0) ++count;
    return count;
}

// First published encoder description with that code, or null.
ENCODER_ITEM* FindDescription(ENCODER_ITEM* pEncInfo, uint32_t dwFourCC) {
    if (!pEncInfo) return nullptr;
    for (ENCODER_ITEM* p = pEncInfo; p->dwFourCC != 0; ++p)
        if (p->dwFourCC == dwFourCC) return p;
    return nullptr;
}

// Fills ppEnc with the descriptions of the listed codecs that have an encoder;
// returns how many it stored.
int32_t CollectEncoders(const ENCODER_MODE* pModes, size_t count, ENCODER_ITEM* pEncInfo,
                        ENCODER_ITEM** ppEnc) {
    int32_t found = 0;
    for (size_t i = 0; i < count; ++i) {
        ENCODER_ITEM* description = FindDescription(pEncInfo, pModes[i].dwFourCC);
        if (description) ppEnc[found++] = description;
    }
    return found;
}

// A published list must end within this many records. Without the cap a list
// whose terminator is missing would be walked off the end of the plugin's data.
const size_t kMaxRecords = 4096;

// Copies a published list, up to its zero-code terminator, into a registry
// and logs each record; returns how many it added. A list without its
// terminator within kMaxRecords is refused whole: records past a missing end
// are not records, so none of it is trusted.
template <typename Record>
size_t Register(const Record* items, std::vector<Record>& registry, const char* entry,
                const wchar_t* found, const char* path) {
    if (!items) return 0;
    size_t count = 0;
    while (count < kMaxRecords && items[count].dwFourCC != 0) ++count;
    if (count == kMaxRecords) {
        LogEx(L"***%s list without a terminator within its first %d records in [%s]; "
              L"none of it is registered.",
              entry, static_cast<int>(kMaxRecords), path);
        return 0;
    }
    wchar_t code[5];
    for (size_t i = 0; i < count; ++i) {
        // Copied byte for byte: the registry holds exactly what the plugin published.
        registry.emplace_back();
        memcpy(&registry.back(), &items[i], sizeof(Record));
        LogEx(found, FourCC2StrW(code, items[i].dwFourCC), path);
    }
    return count;
}

// Closes the directory however the scan leaves it.
struct DirCloser {
    DIR* dir;
    ~DirCloser() {
        if (dir) closedir(dir);
    }
};

}  // namespace

// Loads one plugin file and registers its records; the library is kept only
// when it contributed at least one record.
static void LoadPlugin(const char* path) {
    std::string problem = qvplugin::PluginFileProblem(path);
    if (!problem.empty()) {
        LogEx(L"***Failed to Load file:[%s].", path);
        LogLoaderError(problem);
        return;
    }
    dlerror();  // drop any stale error so that the messages below are this file's
    void* module = dlopen(path, RTLD_LAZY);
    if (!module) {
        std::string error = TakeLoaderError();
        LogEx(L"***Failed to Load file:[%s].", path);
        LogLoaderError(error);
        return;
    }
    // Optional: a plugin that takes the library's log reports through it, so
    // that its messages reach the host's callback like ours.
    if (auto setLog = reinterpret_cast<PFN_PLX_SET_LOG>(dlsym(module, "PLXSetLog"))) setLog(&Log);
    dlerror();  // a plugin without it leaves no error behind for the messages below
    size_t added = 0;
    PFN_GET_ENCODERS getEncoders = reinterpret_cast<PFN_GET_ENCODERS>(dlsym(module, "PLXGetEncoders"));
    if (getEncoders)
        added += Register(getEncoders(), PluginMgr::m_arEncoder, "PLXGetEncoders",
                          L"Found Encoder [%ls] in [%s].", path);
    PFN_GET_FILE_MUXERS getMuxers =
        reinterpret_cast<PFN_GET_FILE_MUXERS>(dlsym(module, "PLXGetFileMuxers"));
    if (getMuxers)
        added += Register(getMuxers(), PluginMgr::m_arFileFormat, "PLXGetFileMuxers",
                          L"Found Muxer[%ls] in [%s].", path);
    if (added == 0) {
        LogLoaderError(TakeLoaderError());
        dlclose(module);
        LogEx(L"***Without Muxer & Encoder Info in [%s]", path);
        return;
    }
    PluginMgr::m_arModule.push_back(module);
}

// Builds the published encoder descriptions and file formats from the registries.
static void PublishRegistries() {
    if (!PluginMgr::m_arEncoder.empty()) {
        size_t n = PluginMgr::m_arEncoder.size();
        PluginMgr::m_pEncInfo = new ENCODER_ITEM[n + 1]();
        for (size_t i = 0; i < n; ++i) {
            const ENCODER_ITEM& from = PluginMgr::m_arEncoder[i];
            ENCODER_ITEM& to = PluginMgr::m_pEncInfo[i];
            to.dwFourCC = from.dwFourCC;
            memcpy(to.wszText1, from.wszText1, sizeof to.wszText1);
            memcpy(to.wszText2, from.wszText2, sizeof to.wszText2);
        }
    }
    if (PluginMgr::m_arFileFormat.empty()) return;

    PluginMgr::m_pFileFormatInfo = new FILEFORMAT_INFO[PluginMgr::m_arFileFormat.size() + 1]();
    size_t slot = 0;
    for (const FILEFORMAT_ITEM& format : PluginMgr::m_arFileFormat) {
        FILEFORMAT_INFO& info = PluginMgr::m_pFileFormatInfo[slot];
        size_t nAudio = CountModes(format.pAudioModes);
        size_t nVideo = CountModes(format.pVideoModes);
        if (nAudio) info.ppAudioEnc = new ENCODER_ITEM*[nAudio]();
        if (nVideo) info.ppVideoEnc = new ENCODER_ITEM*[nVideo]();
        info.nAudioEnc = CollectEncoders(format.pAudioModes, nAudio, PluginMgr::m_pEncInfo,
                                         info.ppAudioEnc);
        info.nVideoEnc = CollectEncoders(format.pVideoModes, nVideo, PluginMgr::m_pEncInfo,
                                         info.ppVideoEnc);
        if (info.nAudioEnc == 0 && info.nVideoEnc == 0) {
            // Nothing the host could encode for it: not published, slot reused.
            delete[] info.ppAudioEnc;
            delete[] info.ppVideoEnc;
            info.ppAudioEnc = nullptr;
            info.ppVideoEnc = nullptr;
            continue;
        }
        info.dwFourCC = format.dwFourCC;
        memcpy(info.wszText0, format.wszText0, sizeof info.wszText0);
        memcpy(info.wszText1, format.wszText1, sizeof info.wszText1);
        memcpy(info.wszText2, format.wszText2, sizeof info.wszText2);
        ++slot;
    }
}

unsigned PluginMgr::InitPlugins() {
    if (m_InitRefCounter++ > 1) return 1;

    try {
        wchar_t appPath[kAppPathChars];
        wmemset(appPath, 0, kAppPathChars);
        GetAppPath(appPath, kAppPathChars - 1);
        // A path that is empty (too long for the caller's buffer) or relative
        // (the bundle's URL did not fit the query's buffer) is no application
        // path: scanning relative to the working directory would load strangers.
        if (appPath[0] != L'/') {
            Log(L"QVPM::InitPlugins() cannot get the application path\r\n");
            return 0;
        }
        char appPathUtf8[1024];
        memset(appPathUtf8, 0, sizeof appPathUtf8);
        if (WtoUTF8(appPath, -1, appPathUtf8, sizeof appPathUtf8, false) != conversionOK) {
            Log(L"QVPM::InitPlugins() cannot convert the application path\r\n");
            return 0;
        }
        // A directory path that does not fit is not cut (that would name
        // another directory): the scan fails like an unopenable directory.
        static const char kEncoderDir[] = "/Encoder/";
        if (strlen(appPathUtf8) + sizeof kEncoderDir > kPathBytes) {
            LogEx(L"QVPM::InitPlugins() the encoder dir path is too long[%s%s]\r\n", appPathUtf8,
                  kEncoderDir);
            return 0;
        }
        char dirPath[kPathBytes];
        strcpy(dirPath, appPathUtf8);
        strcat(dirPath, kEncoderDir);

        DirCloser dir{opendir(dirPath)};
        if (!dir.dir) {
            LogEx(L"QVPM::InitPlugins() failed to open the encoder dir[%s]\r\n", dirPath);
            return 0;
        }
        const size_t dirLength = strlen(dirPath);
        while (struct dirent* entry = readdir(dir.dir)) {
            const char* name = entry->d_name;
            if (!IsPluginName(name)) continue;
            // Too long for the path buffer: this one plugin is skipped, loudly.
            if (dirLength + strlen(name) + 1 > kPathBytes) {
                LogEx(L"***Plugin path too long, skipped:[%s%s].", dirPath, name);
                continue;
            }
            char path[kPathBytes];
            strcpy(path, dirPath);
            strcat(path, name);
            LoadPlugin(path);
        }
        closedir(dir.dir);
        dir.dir = nullptr;

        PublishRegistries();
        Log(L"End of QVPM::InitPlugins()");
        return 1;
    } catch (const std::bad_alloc&) {
        // What was registered so far stays until the matching release.
        Log(L"QVPM::InitPlugins() out of memory\r\n");
        return 0;
    } catch (...) {
        Log(L"QVPM::InitPlugins() a plugin failed while it was asked for its records\r\n");
        return 0;
    }
}

void PluginMgr::UninitPlugins() {
    int count = m_InitRefCounter--;
    if (count >= 1) return;
    // More releases than initialisations leave the count at 0, never below.
    if (count < 0) m_InitRefCounter.Set(0);

    for (void* module : m_arModule) dlclose(module);
    m_arModule.clear();
    m_arEncoder.clear();
    m_arFileFormat.clear();

    if (m_pFileFormatInfo) {
        for (FILEFORMAT_INFO* p = m_pFileFormatInfo; p->dwFourCC != 0; ++p) {
            delete[] p->ppAudioEnc;
            delete[] p->ppVideoEnc;
            p->ppAudioEnc = nullptr;
            p->ppVideoEnc = nullptr;
        }
        delete[] m_pFileFormatInfo;
        m_pFileFormatInfo = nullptr;
    }
    if (m_pEncInfo) {
        delete[] m_pEncInfo;
        m_pEncInfo = nullptr;
    }
}

FILEFORMAT_INFO* PluginMgr::GetFileFormatInfos() { return m_pFileFormatInfo; }

extern "C" {

unsigned QVInitPlugins(void) {
    Log(L"QVInitEncoders");
    return PluginMgr::InitPlugins();
}

void QVUninitPlugins(void) {
    PluginMgr::UninitPlugins();
    Log(L"QVUninitEncoders");
}

FILEFORMAT_INFO* QVGetFileFormatInfos(void) { return PluginMgr::GetFileFormatInfos(); }

int QVGetEncoderInfo(uint32_t dwFourCC, ENCODER_ITEM* pInfo) {
    if (!pInfo) return 0;
    const ENCODER_ITEM* item = FindEncoderInfo(PluginMgr::m_arEncoder, dwFourCC);
    if (!item) return 0;
    memcpy(pInfo, item, sizeof(ENCODER_ITEM));
    return 1;
}

FILEFORMAT_INFO* QVFindFileFormatPlugin(uint32_t dwFourCC) {
    if (dwFourCC == 0 || !PluginMgr::m_pFileFormatInfo) return nullptr;
    for (FILEFORMAT_INFO* p = PluginMgr::m_pFileFormatInfo; p->dwFourCC != 0; ++p)
        if (p->dwFourCC == dwFourCC) return p;
    return nullptr;
}

}  // extern "C"
