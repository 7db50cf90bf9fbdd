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
typedef std::vector<std::wstring> Messages;

namespace {

const uint32_t TVID = QV_FOURCC('T', 'V', 'I', 'D');
const uint32_t TAUD = QV_FOURCC('T', 'A', 'U', 'D');
const uint32_t TTYP = QV_FOURCC('T', 'T', 'Y', 'P');
const uint32_t TMP4 = QV_FOURCC('T', 'M', 'P', '4');

std::wstring Wide(const std::string& utf8) {
    std::vector<wchar_t> buffer(utf8.size() + 1);
    UTF8toW(utf8.c_str(), -1, buffer.data(), static_cast<int>(buffer.size()), true);
    return buffer.data();
}

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

bool Has(const Messages& log, const std::wstring& message) {
    return std::find(log.begin(), log.end(), message) != log.end();
}

bool Loaded(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (module) dlclose(module);
    return module != nullptr;
}

// Releases every initialisation a test left, whatever bundle it used.
class ScanTest : public ::testing::Test {
protected:
    void SetUp() override { qvtest::InstallTestLog(); }
    void TearDown() override {
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
        unsetenv("QUEVARRA_BUNDLE");
    }
    // Initialises and returns the messages of that call.
    Messages Init(unsigned expected = 1) {
        qvtest::TakeLog();
        EXPECT_EQ(QVInitPlugins(), expected);
        return qvtest::TakeLog();
    }
};

class PluginScan : public ScanTest {
protected:
    void SetUp() override {
        ScanTest::SetUp();
        m_bundle.Use();
        m_dir = RealPath(m_bundle.EncoderDir()) + "/";
    }
    std::wstring PathOf(const std::string& name) const { return Wide(m_dir + name); }
    qvtest::TempBundle m_bundle;
    std::string m_dir;  // resolved Encoder directory with its final slash
};

TEST_F(PluginScan, OnlyPlxDotDylibNamesAreLoadedAndOthersAreSkippedSilently) {
    for (const char* name : {"plxcodec.dylib", "PLXcodec.dylib", "codec.dylib", "plxcodec.dylib.bak",
                             "plxcodec.DYLIB", "plx.v2.dylib", "plxdylib", "plxcodec.dylibx"})
        m_bundle.AddPlugin("tp_enc.dylib", name);
    Messages log = Init();
    EXPECT_EQ(PluginMgr::m_arModule.size(), 2u);
    ASSERT_EQ(log.size(), 8u) << qvtest::JoinLog(log);
    for (const char* name : {"plxcodec.dylib", "plx.v2.dylib"})
        EXPECT_TRUE(Has(log, L"Found Encoder [TTYP] in [" + PathOf(name) + L"]."));
}

TEST_F(PluginScan, LogsEveryRecordOfAPluginInOrder) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    std::wstring in = L"] in [" + PathOf("plxenc.dylib") + L"].";
    Messages expected = {L"QVInitEncoders", L"Found Encoder [TVID" + in, L"Found Encoder [TAUD" + in,
                         L"Found Encoder [TTYP" + in, L"End of QVPM::InitPlugins()"};
    EXPECT_EQ(Init(), expected);
    QVUninitPlugins();
    EXPECT_EQ(qvtest::TakeLog(), Messages{L"QVUninitEncoders"});

    fs::remove(m_bundle.EncoderDir() + "/plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    EXPECT_TRUE(Has(Init(), L"Found Muxer[TMP4] in [" + PathOf("plxmux.dylib") + L"]."));
}

TEST_F(PluginScan, UnloadableAndEmptyPluginsAreReportedAndTheScanGoesOn) {
    m_bundle.AddFile("plxjunk.dylib", "not a shared object");
    m_bundle.AddPlugin("tp_neither.dylib", "plxneither.dylib");
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    Messages log = Init();
    ASSERT_EQ(log.size(), 9u) << qvtest::JoinLog(log);
    auto at = std::find(log.begin(), log.end(), L"***Failed to Load file:[" + PathOf("plxjunk.dylib") + L"].");
    ASSERT_NE(at, log.end());
    EXPECT_NE(at[1].find(PathOf("plxjunk.dylib")), std::wstring::npos) << "the loader's own text";
    at = std::find(log.begin(), log.end(), L"***Without Muxer & Encoder Info in [" + PathOf("plxneither.dylib") + L"]");
    ASSERT_NE(at, log.end());
    EXPECT_NE(at[-1].find(L"PLXGetFileMuxers"), std::wstring::npos) << "the loader's own text";
    EXPECT_EQ(PluginMgr::m_arModule.size(), 1u);
    EXPECT_FALSE(Loaded(m_dir + "plxneither.dylib"));
    QVUninitPlugins();

    // Entry points that yield nothing leave no loader text: an empty message.
    m_bundle.AddPlugin("tp_empty.dylib", "plxempty.dylib");
    fs::remove(m_bundle.EncoderDir() + "/plxjunk.dylib");
    fs::remove(m_bundle.EncoderDir() + "/plxneither.dylib");
    fs::remove(m_bundle.EncoderDir() + "/plxenc.dylib");
    Messages expected = {L"QVInitEncoders", L"",
                         L"***Without Muxer & Encoder Info in [" + PathOf("plxempty.dylib") + L"]",
                         L"End of QVPM::InitPlugins()"};
    EXPECT_EQ(Init(), expected);
}

TEST_F(PluginScan, MissingDirectoryFailsAndStaysFailedUntilReleased) {
    fs::remove_all(m_bundle.EncoderDir());
    Messages expected = {L"QVInitEncoders",
                         L"QVPM::InitPlugins() failed to open the encoder dir[" + Wide(m_dir) + L"]\r\n"};
    EXPECT_EQ(Init(0), expected);

    fs::create_directories(m_bundle.EncoderDir());
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    EXPECT_EQ(Init(1), Messages{L"QVInitEncoders"});
    EXPECT_TRUE(PluginMgr::m_arEncoder.empty());
    QVUninitPlugins();
    QVUninitPlugins();
    Init(1);
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 3u);
}

TEST_F(PluginScan, PublishesOnlyFormatsWithAnEncoderInCompactedSlots) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    ASSERT_EQ(PluginMgr::m_arFileFormat.size(), 4u);
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    ASSERT_NE(infos, nullptr);
    // ORPH (no codec with an encoder) is registered but leaves no gap.
    EXPECT_EQ(infos[1].dwFourCC, QV_FOURCC('A', 'O', 'N', 'L'));
    EXPECT_EQ(infos[2].dwFourCC, QV_FOURCC('N', 'O', 'A', 'U'));
    EXPECT_EQ(infos[3].dwFourCC, 0u);
    EXPECT_EQ(QVFindFileFormatPlugin(QV_FOURCC('O', 'R', 'P', 'H')), nullptr);
    EXPECT_NE(FindFileFormat(PluginMgr::m_arFileFormat, QV_FOURCC('O', 'R', 'P', 'H')), nullptr);
    EXPECT_EQ(QVFindFileFormatPlugin(QV_FOURCC('A', 'O', 'N', 'L')), &infos[1]);
    EXPECT_EQ(QVFindFileFormatPlugin(0), nullptr);

    // TMP4: the codec without encoder is skipped; the type of TTYP is not looked at.
    const FILEFORMAT_INFO& mp4 = infos[0];
    EXPECT_EQ(mp4.dwFourCC, TMP4);
    EXPECT_STREQ(mp4.wszText0, L"tmp4");
    EXPECT_STREQ(mp4.wszText2, L"a test file format");
    ASSERT_EQ(mp4.nAudioEnc, 1);
    EXPECT_EQ(mp4.ppAudioEnc[0], &PluginMgr::m_pEncInfo[1]);
    ASSERT_EQ(mp4.nVideoEnc, 2);
    EXPECT_EQ(mp4.ppVideoEnc[0], &PluginMgr::m_pEncInfo[0]);
    EXPECT_EQ(mp4.ppVideoEnc[1], &PluginMgr::m_pEncInfo[2]);
    EXPECT_NE(infos[1].ppAudioEnc, nullptr) << "allocated for a listed codec even when none matched";
    EXPECT_EQ(infos[1].nAudioEnc, 0);
    EXPECT_EQ(infos[2].ppAudioEnc, nullptr) << "no audio list";
}

TEST_F(PluginScan, DescriptionsCarryCodeAndTextsOnlyWhileRecordsAreCopiedWhole) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    typedef void (*PFN)(ENCODER_ITEM**, FILEFORMAT_ITEM**);
    ENCODER_ITEM* encoders = nullptr;
    FILEFORMAT_ITEM* formats = nullptr;
    for (const char* name : {"plxenc.dylib", "plxmux.dylib"}) {
        void* module = dlopen((m_dir + name).c_str(), RTLD_LAZY | RTLD_NOLOAD);
        ASSERT_NE(module, nullptr);
        ENCODER_ITEM* e;
        FILEFORMAT_ITEM* f;
        reinterpret_cast<PFN>(dlsym(module, "TestPluginRecords"))(&e, &f);
        encoders = e ? e : encoders;
        formats = f ? f : formats;
        dlclose(module);
    }
    EXPECT_EQ(memcmp(PluginMgr::m_arEncoder.data(), encoders, 3 * sizeof(ENCODER_ITEM)), 0);
    EXPECT_EQ(memcmp(PluginMgr::m_arFileFormat.data(), formats, 4 * sizeof(FILEFORMAT_ITEM)), 0);

    for (size_t i = 0; i < 4; ++i) {  // the fourth is the all-zero end record
        ENCODER_ITEM expected;
        memset(&expected, 0, sizeof expected);
        if (i < 3) {
            expected.dwFourCC = encoders[i].dwFourCC;
            memcpy(expected.wszText1, encoders[i].wszText1, sizeof expected.wszText1);
            memcpy(expected.wszText2, encoders[i].wszText2, sizeof expected.wszText2);
        }
        EXPECT_EQ(memcmp(&PluginMgr::m_pEncInfo[i], &expected, sizeof expected), 0) << i;
    }

    ENCODER_ITEM info;
    memset(&info, 0xAB, sizeof info);
    ENCODER_ITEM untouched = info;
    EXPECT_EQ(QVGetEncoderInfo(QV_FOURCC('N', 'O', 'E', 'N'), &info), 0);
    EXPECT_EQ(memcmp(&info, &untouched, sizeof info), 0);
    ASSERT_EQ(QVGetEncoderInfo(TTYP, &info), 1);
    EXPECT_EQ(memcmp(&info, &encoders[2], sizeof info), 0);
}

TEST_F(PluginScan, WithoutEncodersNothingIsPublishedAndWithoutMuxersTheArrayIsNull) {
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    EXPECT_EQ(PluginMgr::m_pEncInfo, nullptr);
    ASSERT_NE(QVGetFileFormatInfos(), nullptr);
    EXPECT_EQ(QVGetFileFormatInfos()->dwFourCC, 0u);
    QVUninitPlugins();

    fs::remove(m_bundle.EncoderDir() + "/plxmux.dylib");
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    Init();
    EXPECT_EQ(QVGetFileFormatInfos(), nullptr);
}

TEST_F(PluginScan, DuplicateCodesAreAllRegisteredAndTheFirstOneWins) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    m_bundle.AddPlugin("tp_both.dylib", "plxboth.dylib");
    Init();
    const auto& encoders = PluginMgr::m_arEncoder;
    EXPECT_EQ(std::count_if(encoders.begin(), encoders.end(),
                            [](const ENCODER_ITEM& e) { return e.dwFourCC == TVID; }),
              2);
    const ENCODER_ITEM* first = &*std::find_if(encoders.begin(), encoders.end(),
                                               [](const ENCODER_ITEM& e) { return e.dwFourCC == TVID; });
    ENCODER_ITEM info;
    ASSERT_EQ(QVGetEncoderInfo(TVID, &info), 1);
    EXPECT_STREQ(info.wszText1, first->wszText1);

    const FILEFORMAT_INFO* published = QVFindFileFormatPlugin(TMP4);
    ASSERT_NE(published, nullptr);
    EXPECT_STREQ(published->wszText0, FindFileFormat(PluginMgr::m_arFileFormat, TMP4)->wszText0);
    EXPECT_STREQ(published->ppVideoEnc[0]->wszText1, first->wszText1);
}

TEST_F(PluginScan, ReferenceCountingScansOnceAndReleasesOnTheLastUninit) {
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    m_bundle.AddPlugin("tp_mux.dylib", "plxmux.dylib");
    Init();
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    EXPECT_EQ(Init(1), Messages{L"QVInitEncoders"});
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 3u);

    QVUninitPlugins();
    EXPECT_EQ(QVGetFileFormatInfos(), infos) << "released while one user remains";
    EXPECT_TRUE(Loaded(m_dir + "plxmux.dylib"));

    QVUninitPlugins();
    EXPECT_EQ(QVGetFileFormatInfos(), nullptr);
    EXPECT_EQ(PluginMgr::m_pEncInfo, nullptr);
    EXPECT_TRUE(PluginMgr::m_arModule.empty() && PluginMgr::m_arEncoder.empty() &&
                PluginMgr::m_arFileFormat.empty());
    EXPECT_FALSE(Loaded(m_dir + "plxmux.dylib"));

    // An extra release leaves the count at 0: the next init scans again.
    QVUninitPlugins();
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 0);
    EXPECT_EQ(Init(1).size(), 9u);
}

// Paths near the 511-byte limit, under a bundle of an exact length in characters.
class PluginScanPaths : public ScanTest {
protected:
    void TearDown() override {
        ScanTest::TearDown();
        qvtest::RemoveTree(m_root);
    }
    std::string MakeBundle(size_t length, const std::string& unit = "d") {
        m_root = RealPath(qvtest::MakeTempDir("qvlong"));
        std::string path = m_root;
        for (size_t chars = path.size(); chars < length;) {
            size_t count = std::min<size_t>(100, length - chars - 1);
            if (length - chars - count - 1 == 1) --count;  // never leave room for "/" alone
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
    std::string dir = MakeBundle(456) + "/Contents/MacOS/Encoder/";  // 480 bytes
    std::string longName = "plx" + std::string(27, 'b') + ".dylib";  // 517 bytes with NUL
    fs::copy_file(qvtest::ModuleDir() + "/tp_enc.dylib", dir + "plxa.dylib");
    fs::copy_file(qvtest::ModuleDir() + "/tp_enc.dylib", dir + longName);
    Messages log = Init();
    EXPECT_EQ(PluginMgr::m_arModule.size(), 1u);
    EXPECT_TRUE(Has(log, L"***Plugin path too long, skipped:[" + Wide(dir + longName) + L"]."))
        << qvtest::JoinLog(log);
}

TEST_F(PluginScanPaths, ADirectoryOrApplicationPathThatDoesNotFitFailsTheScan) {
    // 300 characters fit the wide application path, but not as UTF-8 bytes.
    std::string bundle = MakeBundle(300, "\xc3\xa9");
    Messages expected = {L"QVInitEncoders", L"QVPM::InitPlugins() the encoder dir path is too long[" +
                                                Wide(bundle + "/Contents/MacOS/Encoder/") + L"]\r\n"};
    EXPECT_EQ(Init(0), expected);
    QVUninitPlugins();
    qvtest::RemoveTree(m_root);

    MakeBundle(500);  // its URL does not fit the bundle query: no application path
    EXPECT_EQ(Init(0).back(), L"QVPM::InitPlugins() cannot get the application path\r\n");
}

}  // namespace
