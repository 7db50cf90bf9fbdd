// The plugin scan: which files qualify, its messages, the registries and the
// published arrays it builds, and the reference count around it.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <quevarra/qv_plugin.h>
#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace fs = std::filesystem;

namespace {

const uint32_t TVID = QV_FOURCC('T', 'V', 'I', 'D');
const uint32_t TAUD = QV_FOURCC('T', 'A', 'U', 'D');
const uint32_t TTYP = QV_FOURCC('T', 'T', 'Y', 'P');
const uint32_t TMP4 = QV_FOURCC('T', 'M', 'P', '4');
const uint32_t ORPH = QV_FOURCC('O', 'R', 'P', 'H');
const uint32_t AONL = QV_FOURCC('A', 'O', 'N', 'L');
const uint32_t NOAU = QV_FOURCC('N', 'O', 'A', 'U');

std::wstring Wide(const std::string& utf8) {
    std::vector<wchar_t> buffer(utf8.size() + 1);
    UTF8toW(utf8.c_str(), -1, buffer.data(), static_cast<int>(buffer.size()), true);
    return buffer.data();
}

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

bool Contains(const std::vector<std::wstring>& log, const std::wstring& message) {
    return std::find(log.begin(), log.end(), message) != log.end();
}

class PluginScan : public ::testing::Test {
protected:
    void SetUp() override {
        qvtest::InstallTestLog();
        m_bundle.Use();
        m_dir = RealPath(m_bundle.EncoderDir()) + "/";
    }
    void TearDown() override {
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
    }
    // Initialises and returns the messages of that call.
    std::vector<std::wstring> Init(unsigned expected = 1) {
        qvtest::TakeLog();
        EXPECT_EQ(QVInitPlugins(), expected);
        return qvtest::TakeLog();
    }
    std::wstring PathOf(const std::string& name) const { return Wide(m_dir + name); }

    qvtest::TempBundle m_bundle;
    std::string m_dir;  // resolved Encoder directory with its final slash
};

// The plugin's own arrays, through the export every test plugin has.
void PluginRecords(const std::string& path, ENCODER_ITEM** encoders, FILEFORMAT_ITEM** formats) {
    void* module = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(module, nullptr) << path;
    typedef void (*PFN)(ENCODER_ITEM**, FILEFORMAT_ITEM**);
    auto records = reinterpret_cast<PFN>(dlsym(module, "TestPluginRecords"));
    ASSERT_NE(records, nullptr);
    records(encoders, formats);
    dlclose(module);
}

TEST_F(PluginScan, OnlyPlxDotDylibNamesAreLoadedAndOthersAreSkippedSilently) {
    for (const char* name : {"plxcodec.dylib", "PLXcodec.dylib", "codec.dylib", "plxcodec.dylib.bak",
                             "plxcodec.DYLIB", "plx.v2.dylib", "plxdylib", "plxcodec.dylibx"})
        m_bundle.AddPlugin("tp_enc.dylib", name);
    auto log = Init();

    EXPECT_EQ(PluginMgr::m_arModule.size(), 2u);
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 6u);
    ASSERT_EQ(log.size(), 8u) << qvtest::JoinLog(log);
    EXPECT_EQ(log.front(), L"QVInitEncoders");
    EXPECT_EQ(log.back(), L"End of QVPM::InitPlugins()");
    for (const char* name : {"plxcodec.dylib", "plx.v2.dylib"}) {
        std::wstring path = PathOf(name);
        EXPECT_TRUE(Contains(log, L"Found Encoder [TVID] in [" + path + L"]."));
        EXPECT_TRUE(Contains(log, L"Found Encoder [TAUD] in [" + path + L"]."));
        EXPECT_TRUE(Contains(log, L"Found Encoder [TTYP] in [" + path + L"]."));
    }
}

TEST_F(PluginScan, LogsEveryRecordOfAPluginInOrder) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    std::wstring path = PathOf("plxenc.dylib");
    std::vector<std::wstring> expected = {
        L"QVInitEncoders", L"Found Encoder [TVID] in [" + path + L"].",
        L"Found Encoder [TAUD] in [" + path + L"].", L"Found Encoder [TTYP] in [" + path + L"].",
        L"End of QVPM::InitPlugins()"};
    EXPECT_EQ(Init(), expected);

    qvtest::TakeLog();
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");  // not seen: no second scan
    QVUninitPlugins();
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"QVUninitEncoders"});
    path = PathOf("plxmux.dylib");
    auto log = Init();
    EXPECT_TRUE(Contains(log, L"Found Muxer[TMP4] in [" + path + L"]."));
    EXPECT_TRUE(Contains(log, L"Found Muxer[ORPH] in [" + path + L"]."));
}

TEST_F(PluginScan, UnloadableAndEmptyPluginsAreReportedAndTheScanGoesOn) {
    m_bundle.AddFile("plxjunk.dylib", "not a shared object");
    auto log = Init();
    ASSERT_EQ(log.size(), 4u) << qvtest::JoinLog(log);
    EXPECT_EQ(log[1], L"***Failed to Load file:[" + PathOf("plxjunk.dylib") + L"].");
    EXPECT_NE(log[2].find(PathOf("plxjunk.dylib")), std::wstring::npos) << "loader text: " << log[2].size();
    EXPECT_EQ(log[3], L"End of QVPM::InitPlugins()");
    QVUninitPlugins();
    fs::remove(m_bundle.EncoderDir() + "/plxjunk.dylib");

    // Neither entry point: the loader explains which symbol is missing.
    m_bundle.AddPlugin("tp_neither.dylib", "plxneither.dylib");
    log = Init();
    ASSERT_EQ(log.size(), 4u) << qvtest::JoinLog(log);
    EXPECT_NE(log[1].find(L"PLXGetFileMuxers"), std::wstring::npos);
    EXPECT_EQ(log[2], L"***Without Muxer & Encoder Info in [" + PathOf("plxneither.dylib") + L"]");
    EXPECT_TRUE(PluginMgr::m_arModule.empty());
    QVUninitPlugins();
    fs::remove(m_bundle.EncoderDir() + "/plxneither.dylib");

    // Entry points that yield nothing: no loader text, so an empty message.
    m_bundle.AddPlugin("tp_empty.dylib", "plxempty.dylib");
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    log = Init();
    EXPECT_TRUE(Contains(log, L""));
    EXPECT_TRUE(Contains(log, L"***Without Muxer & Encoder Info in [" + PathOf("plxempty.dylib") + L"]"));
    ASSERT_EQ(PluginMgr::m_arModule.size(), 1u);
    EXPECT_EQ(dlopen((m_dir + "plxempty.dylib").c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr)
        << "a plugin without records stays loaded";
}

TEST_F(PluginScan, MissingDirectoryFailsAndTheCountStillGuardsTheRegistries) {
    fs::remove_all(m_bundle.EncoderDir());
    std::vector<std::wstring> expected = {
        L"QVInitEncoders",
        L"QVPM::InitPlugins() failed to open the encoder dir[" + Wide(m_dir) + L"]\r\n"};
    EXPECT_EQ(Init(0), expected);
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 1);

    // The failed state holds until released, even once the directory exists.
    fs::create_directories(m_bundle.EncoderDir());
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    EXPECT_EQ(Init(1), std::vector<std::wstring>{L"QVInitEncoders"});
    EXPECT_TRUE(PluginMgr::m_arEncoder.empty());
    QVUninitPlugins();
    QVUninitPlugins();
    EXPECT_EQ(Init(1).size(), 5u);
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 3u);
}

TEST_F(PluginScan, PublishesOnlyFormatsWithAnEncoderAndCompactsTheSlots) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    ASSERT_EQ(PluginMgr::m_arFileFormat.size(), 4u);
    const ENCODER_ITEM* descriptions = PluginMgr::m_pEncInfo;
    ASSERT_NE(descriptions, nullptr);

    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    ASSERT_NE(infos, nullptr);
    EXPECT_EQ(infos[0].dwFourCC, TMP4);
    EXPECT_EQ(infos[1].dwFourCC, AONL);  // ORPH left no gap
    EXPECT_EQ(infos[2].dwFourCC, NOAU);
    EXPECT_EQ(infos[3].dwFourCC, 0u);
    EXPECT_EQ(infos[3].ppAudioEnc, nullptr);
    EXPECT_EQ(infos[3].ppVideoEnc, nullptr);

    // TMP4: NOEN has no encoder and is skipped; the type of TTYP is not looked at.
    const FILEFORMAT_INFO& mp4 = infos[0];
    EXPECT_STREQ(mp4.wszText0, L"tmp4");
    EXPECT_STREQ(mp4.wszText1, L"format");
    EXPECT_STREQ(mp4.wszText2, L"a test file format");
    ASSERT_EQ(mp4.nAudioEnc, 1);
    EXPECT_EQ(mp4.ppAudioEnc[0]->dwFourCC, TAUD);
    ASSERT_EQ(mp4.nVideoEnc, 2);
    EXPECT_EQ(mp4.ppVideoEnc[0]->dwFourCC, TVID);
    EXPECT_EQ(mp4.ppVideoEnc[1]->dwFourCC, TTYP);
    EXPECT_GE(mp4.ppVideoEnc[0], descriptions);
    EXPECT_LT(mp4.ppVideoEnc[0], descriptions + 3) << "points into the published descriptions";

    EXPECT_NE(infos[1].ppAudioEnc, nullptr) << "allocated for a listed codec even when none matched";
    EXPECT_EQ(infos[1].nAudioEnc, 0);
    EXPECT_EQ(infos[1].nVideoEnc, 2);
    EXPECT_EQ(infos[2].ppAudioEnc, nullptr);
    EXPECT_EQ(infos[2].nAudioEnc, 0);

    EXPECT_EQ(QVFindFileFormatPlugin(AONL), &infos[1]);
    EXPECT_EQ(QVFindFileFormatPlugin(ORPH), nullptr);
    EXPECT_NE(FindFileFormat(PluginMgr::m_arFileFormat, ORPH), nullptr) << "registered all the same";
    EXPECT_EQ(QVFindFileFormatPlugin(0), nullptr);
    EXPECT_EQ(QVFindFileFormatPlugin(QV_FOURCC('N', 'O', 'N', 'E')), nullptr);
}

TEST_F(PluginScan, DescriptionsCarryCodeAndTextsOnlyWhileRecordsAreCopiedWhole) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    ENCODER_ITEM* encoders = nullptr;
    FILEFORMAT_ITEM* formats = nullptr;
    PluginRecords(m_dir + "plxenc.dylib", &encoders, &formats);
    ASSERT_EQ(PluginMgr::m_arEncoder.size(), 3u);
    EXPECT_EQ(memcmp(PluginMgr::m_arEncoder.data(), encoders, 3 * sizeof(ENCODER_ITEM)), 0);
    PluginRecords(m_dir + "plxmux.dylib", &encoders, &formats);
    EXPECT_EQ(memcmp(PluginMgr::m_arFileFormat.data(), formats, 4 * sizeof(FILEFORMAT_ITEM)), 0);

    for (size_t i = 0; i < 3; ++i) {
        ENCODER_ITEM expected;
        memset(&expected, 0, sizeof expected);
        const ENCODER_ITEM& full = PluginMgr::m_arEncoder[i];
        expected.dwFourCC = full.dwFourCC;
        memcpy(expected.wszText1, full.wszText1, sizeof expected.wszText1);
        memcpy(expected.wszText2, full.wszText2, sizeof expected.wszText2);
        EXPECT_EQ(memcmp(&PluginMgr::m_pEncInfo[i], &expected, sizeof expected), 0) << i;
    }
    ENCODER_ITEM zero;
    memset(&zero, 0, sizeof zero);
    EXPECT_EQ(memcmp(&PluginMgr::m_pEncInfo[3], &zero, sizeof zero), 0);

    ENCODER_ITEM info;
    memset(&info, 0xAB, sizeof info);
    ASSERT_EQ(QVGetEncoderInfo(TTYP, &info), 1);
    EXPECT_EQ(memcmp(&info, &PluginMgr::m_arEncoder[2], sizeof info), 0);
    EXPECT_EQ(info.nType, 2);
    EXPECT_NE(info.pfnCreate, nullptr);

    memset(&info, 0xAB, sizeof info);
    ENCODER_ITEM untouched = info;
    EXPECT_EQ(QVGetEncoderInfo(QV_FOURCC('N', 'O', 'E', 'N'), &info), 0);
    EXPECT_EQ(memcmp(&info, &untouched, sizeof info), 0);
}

TEST_F(PluginScan, WithoutEncodersNothingIsPublishedAndWithoutMuxersTheArrayIsNull) {
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    EXPECT_EQ(PluginMgr::m_pEncInfo, nullptr);
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    ASSERT_NE(infos, nullptr);
    EXPECT_EQ(infos[0].dwFourCC, 0u);
    EXPECT_EQ(QVFindFileFormatPlugin(TMP4), nullptr);
    QVUninitPlugins();

    fs::remove(m_bundle.EncoderDir() + "/plxmux.dylib");
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    Init();
    EXPECT_EQ(QVGetFileFormatInfos(), nullptr);
    EXPECT_NE(PluginMgr::m_pEncInfo, nullptr);
}

TEST_F(PluginScan, DuplicateCodesAreAllRegisteredAndTheFirstOneWins) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    m_bundle.AddPlugin("tp_both.dylib", "plxboth.dylib");
    Init();
    ASSERT_EQ(PluginMgr::m_arModule.size(), 3u);
    size_t videos = std::count_if(PluginMgr::m_arEncoder.begin(), PluginMgr::m_arEncoder.end(),
                                  [](const ENCODER_ITEM& e) { return e.dwFourCC == TVID; });
    EXPECT_EQ(videos, 2u);

    ENCODER_ITEM info;
    ASSERT_EQ(QVGetEncoderInfo(TVID, &info), 1);
    EXPECT_EQ(memcmp(&info, FindEncoderInfo(PluginMgr::m_arEncoder, TVID), sizeof info), 0);

    const FILEFORMAT_ITEM* first = FindFileFormat(PluginMgr::m_arFileFormat, TMP4);
    const FILEFORMAT_INFO* published = QVFindFileFormatPlugin(TMP4);
    ASSERT_NE(published, nullptr);
    EXPECT_STREQ(published->wszText0, first->wszText0);
    // Both TMP4 records are published; the descriptions they point to are the
    // first TVID description whichever plugin listed it.
    const ENCODER_ITEM* firstVideo = nullptr;
    for (const ENCODER_ITEM* d = PluginMgr::m_pEncInfo; d->dwFourCC; ++d)
        if (d->dwFourCC == TVID) { firstVideo = d; break; }
    int mp4s = 0;
    for (const FILEFORMAT_INFO* p = QVGetFileFormatInfos(); p->dwFourCC; ++p) {
        if (p->dwFourCC != TMP4) continue;
        ++mp4s;
        EXPECT_EQ(p->ppVideoEnc[0], firstVideo);
    }
    EXPECT_EQ(mp4s, 2);
}

TEST_F(PluginScan, ReferenceCountingScansOnceAndReleasesOnTheLastUninit) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    std::string plugin = m_dir + "plxmux.dylib";

    EXPECT_EQ(Init(1), std::vector<std::wstring>{L"QVInitEncoders"});
    EXPECT_EQ(QVGetFileFormatInfos(), infos);
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 3u);

    QVUninitPlugins();
    EXPECT_EQ(QVGetFileFormatInfos(), infos) << "released while one user remains";
    EXPECT_EQ(PluginMgr::m_arModule.size(), 2u);

    QVUninitPlugins();
    EXPECT_EQ(QVGetFileFormatInfos(), nullptr);
    EXPECT_EQ(PluginMgr::m_pEncInfo, nullptr);
    EXPECT_TRUE(PluginMgr::m_arModule.empty());
    EXPECT_TRUE(PluginMgr::m_arEncoder.empty());
    EXPECT_TRUE(PluginMgr::m_arFileFormat.empty());
    EXPECT_EQ(dlopen(plugin.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr) << "plugin still loaded";
    ENCODER_ITEM info;
    EXPECT_EQ(QVGetEncoderInfo(TVID, &info), 0);

    // An extra release leaves the count at 0: the next init scans again.
    QVUninitPlugins();
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 0);
    EXPECT_EQ(Init(1).size(), 9u);
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 1);
}

// Long paths: a directory deep enough that the plugin path buffer is nearly full.
class PluginScanPaths : public ::testing::Test {
protected:
    void SetUp() override {
        qvtest::InstallTestLog();
        m_root = qvtest::MakeTempDir("qvlong");
    }
    void TearDown() override {
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
        unsetenv("QUEVARRA_BUNDLE");
        qvtest::RemoveTree(m_root);
    }
    // A bundle whose path has exactly `length` characters, built from `unit`.
    std::string MakeBundle(size_t length, const std::string& unit = "d") {
        std::string path = RealPath(m_root);
        size_t chars = path.size();  // the temporary root is ASCII
        while (chars < length) {
            size_t remaining = length - chars;
            size_t count = std::min<size_t>(100, remaining - 1);
            if (remaining - (count + 1) == 1) --count;  // never leave room for "/" alone
            path += "/";
            for (size_t i = 0; i < count; ++i) path += unit;
            chars += count + 1;
        }
        fs::create_directories(path + "/Contents/MacOS/Encoder");
        setenv("QUEVARRA_BUNDLE", path.c_str(), 1);
        return path;
    }
    std::string m_root;
};

TEST_F(PluginScanPaths, APluginPathThatDoesNotFitIsSkippedWithAMessage) {
    // Directory: bundle + "/Contents/MacOS/Encoder/" (24 bytes) = 480 bytes.
    std::string dir = MakeBundle(456) + "/Contents/MacOS/Encoder/";
    ASSERT_EQ(dir.size(), 480u);
    std::string shortName = "plxa.dylib";                                // 491 with NUL: fits
    std::string longName = "plx" + std::string(27, 'b') + ".dylib";     // 36: 517, does not
    fs::copy_file(qvtest::ModuleDir() + "/tp_enc.dylib", dir + shortName);
    fs::copy_file(qvtest::ModuleDir() + "/tp_enc.dylib", dir + longName);
    qvtest::TakeLog();
    EXPECT_EQ(QVInitPlugins(), 1u);
    auto log = qvtest::TakeLog();
    EXPECT_EQ(PluginMgr::m_arModule.size(), 1u);
    EXPECT_TRUE(Contains(log, L"***Plugin path too long, skipped:[" + Wide(dir + longName) + L"]."))
        << qvtest::JoinLog(log);
    EXPECT_TRUE(Contains(log, L"Found Encoder [TVID] in [" + Wide(dir + shortName) + L"]."));
}

TEST_F(PluginScanPaths, ADirectoryPathThatDoesNotFitFailsTheScan) {
    // 300 characters fit the wide application path, but not as UTF-8 bytes.
    std::string bundle = MakeBundle(300, "\xc3\xa9");
    ASSERT_GT(bundle.size() + 24, 512u);
    qvtest::TakeLog();
    EXPECT_EQ(QVInitPlugins(), 0u);
    auto log = qvtest::TakeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], L"QVPM::InitPlugins() the encoder dir path is too long[" +
                          Wide(bundle + "/Contents/MacOS/Encoder/") + L"]\r\n");
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 1);
}

TEST_F(PluginScanPaths, AnApplicationPathThatDoesNotFitFailsTheScan) {
    MakeBundle(500);  // fits the bundle query, not with "/Contents/MacOS" added
    qvtest::TakeLog();
    EXPECT_EQ(QVInitPlugins(), 0u);
    auto log = qvtest::TakeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1], L"QVPM::InitPlugins() cannot get the application path\r\n");
}

}  // namespace
