// The plugin scan: which files qualify, its messages, the registries and the
// published arrays it builds, and the reference count around it.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <limits.h>
#include <stddef.h>

#include <algorithm>
#include <filesystem>

#include <quevarra/qv_embed.h>
#include <quevarra/qv_plugin.h>
#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace fs = std::filesystem;
typedef std::vector<std::wstring> Msgs;

namespace {

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}
std::wstring W(const std::string& utf8) {
    std::vector<wchar_t> buffer(utf8.size() + 1);
    UTF8toW(utf8.c_str(), -1, buffer.data(), static_cast<int>(buffer.size()), true);
    return buffer.data();
}
bool Loaded(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return module && dlclose(module) == 0;
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
        unsetenv("QUEVARRA_BUNDLE");
    }
    Msgs Init(unsigned expected = 1) {  // the messages of one init call
        qvtest::TakeLog();
        EXPECT_EQ(QVInitPlugins(), expected);
        return qvtest::TakeLog();
    }
    void Only(std::vector<std::pair<const char*, const char*>> plugins) {  // module, file name
        fs::remove_all(m_bundle.EncoderDir());
        fs::create_directories(m_bundle.EncoderDir());
        for (auto& p : plugins) m_bundle.AddPlugin(p.first, p.second);
    }
    std::wstring In(const std::string& name) { return L"] in [" + W(m_dir + name) + L"]."; }
    qvtest::TempBundle m_bundle;
    std::string m_dir;  // resolved Encoder directory with its final slash
};

TEST_F(PluginScan, QualifyingNamesAreLoadedAndReportedInOrder) {
    for (const char* name : {"plxcodec.dylib", "PLXcodec.dylib", "codec.dylib", "plxcodec.dylib.bak",
                             "plxcodec.DYLIB", "plx.v2.dylib", "plxdylib", "plxcodec.dylibx"})
        m_bundle.AddPlugin("tp_enc.dylib", name);
    Msgs log = Init();
    ASSERT_EQ(log.size(), 8u) << qvtest::JoinLog(log);
    EXPECT_TRUE(log.front() == L"QVInitEncoders" && log.back() == L"End of QVPM::InitPlugins()");
    for (const char* name : {"plxcodec.dylib", "plx.v2.dylib"}) {
        auto at = std::find(log.begin(), log.end(), L"Found Encoder [TVID" + In(name));
        ASSERT_TRUE(at < log.end() - 2);
        EXPECT_TRUE(at[1] == L"Found Encoder [TAUD" + In(name) && at[2] == L"Found Encoder [TTYP" + In(name));
    }
    QVUninitPlugins();
    EXPECT_EQ(qvtest::TakeLog(), Msgs{L"QVUninitEncoders"});
    Only({{"tp_mux.dylib", "plxmux.dylib"}});
    EXPECT_EQ(Init()[1], L"Found Muxer[TMP4" + In("plxmux.dylib"));
}

TEST_F(PluginScan, UnloadableAndEmptyPluginsAreReportedAndTheScanGoesOn) {
    m_bundle.AddFile("plxjunk.dylib", "not a shared object");
    m_bundle.AddPlugin("tp_neither.dylib", "plxneither.dylib");
    m_bundle.AddPlugin("tp_enc.dylib", "plxenc.dylib");
    Msgs log = Init();
    ASSERT_EQ(log.size(), 9u) << qvtest::JoinLog(log);
    auto at = std::find(log.begin(), log.end(), L"***Failed to Load file:[" + W(m_dir + "plxjunk.dylib") + L"].");
    ASSERT_TRUE(at != log.end() && at[1].find(W(m_dir + "plxjunk.dylib")) != std::wstring::npos) << "loader's text";
    at = std::find(log.begin(), log.end(), L"***Without Muxer & Encoder Info in [" + W(m_dir + "plxneither.dylib") + L"]");
    ASSERT_TRUE(at != log.end() && at[-1].find(L"PLXGetFileMuxers") != std::wstring::npos) << "loader's text";
    EXPECT_TRUE(PluginMgr::m_arModule.size() == 1 && !Loaded(m_dir + "plxneither.dylib"));
    QVUninitPlugins();
    Only({{"tp_empty.dylib", "plxempty.dylib"}});  // entries yield nothing, no loader text
    EXPECT_EQ(Init(), (Msgs{L"QVInitEncoders", L"", L"***Without Muxer & Encoder Info in [" +
                            W(m_dir + "plxempty.dylib") + L"]", L"End of QVPM::InitPlugins()"}));
}

TEST_F(PluginScan, PublishesFormatsWithAnEncoderAndCopiesRecordsWhole) {
    Only({{"tp_enc.dylib", "plxenc.dylib"}, {"tp_mux.dylib", "plxmux.dylib"}, {"tp_both.dylib", "plxboth.dylib"}});
    Init();
    auto& encoders = PluginMgr::m_arEncoder;
    auto& formats = PluginMgr::m_arFileFormat;
    ASSERT_TRUE(encoders.size() == 4 && formats.size() == 5);
    auto filled = [](const void* r, size_t from, size_t to, uint8_t byte) {
        return std::all_of((const uint8_t*)r + from, (const uint8_t*)r + to, [&](uint8_t b) { return b == byte; });
    };  // the plugins fill every byte they do not name with 0x5A: a whole copy keeps them
    for (auto& r : encoders) EXPECT_TRUE(filled(&r, offsetof(ENCODER_ITEM, pfnCreate), sizeof r, 0x5A));
    for (auto& r : formats) EXPECT_TRUE(filled(&r, offsetof(FILEFORMAT_ITEM, pfnCreateFile), sizeof r, 0x5A));
    const size_t texts = offsetof(ENCODER_ITEM, nType);  // descriptions: code and texts, then zeros
    for (size_t i = 0; i < 5; ++i)
        EXPECT_TRUE((i == 4 || !memcmp(&PluginMgr::m_pEncInfo[i], &encoders[i], texts)) &&
                    filled(&PluginMgr::m_pEncInfo[i], i == 4 ? 0 : texts, sizeof(ENCODER_ITEM), 0)) << i;
    ENCODER_ITEM info;
    memset(&info, 0xAB, sizeof info);
    EXPECT_TRUE(!QVGetEncoderInfo(QV_FOURCC('N', 'O', 'E', 'N'), &info) && filled(&info, 0, sizeof info, 0xAB));
    EXPECT_TRUE(QVGetEncoderInfo(QV_FOURCC('T', 'V', 'I', 'D'), &info) && !memcmp(&info, &encoders[0], sizeof info))
        << "duplicates: the first registered wins";

    // ORPH (no codec with an encoder) is registered but takes no slot. The
    // registries keep readdir order, so the duplicate may come first.
    const size_t e = encoders[1].dwFourCC == encoders[0].dwFourCC, f = formats[0].wszText0 == std::wstring(L"dup");
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    std::wstring published;
    for (const FILEFORMAT_INFO* p = infos; p->dwFourCC; ++p) published += p->wszText0 + std::wstring(L" ");
    EXPECT_EQ(published, f ? L"dup tmp4 aonl noau " : L"tmp4 aonl noau dup ");
    EXPECT_EQ(QVFindFileFormatPlugin(QV_FOURCC('O', 'R', 'P', 'H')), nullptr);
    EXPECT_NE(FindFileFormat(formats, QV_FOURCC('O', 'R', 'P', 'H')), nullptr);
    EXPECT_EQ(QVFindFileFormatPlugin(0), nullptr);
    EXPECT_EQ(QVFindFileFormatPlugin(QV_FOURCC('T', 'M', 'P', '4')), &infos[0]);
    const FILEFORMAT_INFO& tmp4 = infos[f];  // a listed codec without encoder is skipped, type not looked at
    ASSERT_TRUE(tmp4.nAudioEnc == 1 && tmp4.nVideoEnc == 2);
    const ENCODER_ITEM* d = PluginMgr::m_pEncInfo;  // the first TVID description serves both
    EXPECT_TRUE(tmp4.ppAudioEnc[0] == d + e + 1 && tmp4.ppVideoEnc[0] == d && tmp4.ppVideoEnc[1] == d + e + 2);
    EXPECT_TRUE(infos[f + 1].ppAudioEnc && infos[f + 1].nAudioEnc == 0) << "allocated, none matched";
    EXPECT_EQ(infos[f + 2].ppAudioEnc, nullptr) << "no audio list";
}

TEST_F(PluginScan, WithoutEncodersNothingIsPublishedAndWithoutMuxersTheArrayIsNull) {
    Only({{"tp_mux.dylib", "plxmux.dylib"}});
    Init();
    EXPECT_TRUE(!PluginMgr::m_pEncInfo && QVGetFileFormatInfos() && !QVGetFileFormatInfos()->dwFourCC);
    QVUninitPlugins();
    Only({{"tp_enc.dylib", "plxenc.dylib"}});
    EXPECT_TRUE(QVInitPlugins() && !QVGetFileFormatInfos());
}

TEST_F(PluginScan, CountScansOnceReleasesOnTheLastUninitAndAFailureStays) {
    Only({{"tp_enc.dylib", "plxenc.dylib"}, {"tp_mux.dylib", "plxmux.dylib"}});
    Init();
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    EXPECT_EQ(Init(1), Msgs{L"QVInitEncoders"});
    QVUninitPlugins();
    EXPECT_TRUE(QVGetFileFormatInfos() == infos && Loaded(m_dir + "plxmux.dylib")) << "one user remains";
    QVUninitPlugins();
    EXPECT_TRUE(!QVGetFileFormatInfos() && !PluginMgr::m_pEncInfo && PluginMgr::m_arModule.empty() &&
                PluginMgr::m_arEncoder.empty() && PluginMgr::m_arFileFormat.empty() && !Loaded(m_dir + "plxmux.dylib"));
    QVUninitPlugins();  // an extra release leaves the count at 0
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 0);

    fs::rename(m_bundle.EncoderDir(), m_bundle.MacOSDir() + "/Elsewhere");
    EXPECT_EQ(Init(0), (Msgs{L"QVInitEncoders", L"QVPM::InitPlugins() failed to open the encoder dir[" + W(m_dir) + L"]\r\n"}));
    fs::rename(m_bundle.MacOSDir() + "/Elsewhere", m_bundle.EncoderDir());
    EXPECT_EQ(Init(1), Msgs{L"QVInitEncoders"});  // still failed: no scan
    QVUninitPlugins();
    QVUninitPlugins();
    EXPECT_EQ(Init(1).size(), 9u);  // scanned again
}

// PLXSetLog comes before the records are asked for, and hands over the
// library's routing: the host's callback while one is set.
TEST_F(PluginScan, APluginThatTakesTheLibrarysLogReportsThroughIt) {
    Only({{"tp_logs.dylib", "plxlogs.dylib"}, {"tp_enc.dylib", "plxenc.dylib"}});
    Msgs log = Init();
    auto at = std::find(log.begin(), log.end(), L"tp_logs: asked for encoders");
    ASSERT_TRUE(at != log.end()) << qvtest::JoinLog(log);
    EXPECT_EQ(at[1], L"Found Encoder [TLOG" + In("plxlogs.dylib"));
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), 4u) << "plugins without the entry load as before";
    QVUninitPlugins();
    qvtest::TakeLog();

    Msgs host;
    QVSetLogCallback([](void* user, const wchar_t* m) { static_cast<Msgs*>(user)->push_back(m); }, &host);
    EXPECT_EQ(QVInitPlugins(), 1u);
    QVSetLogCallback(nullptr, nullptr);
    EXPECT_TRUE(qvtest::TakeLog().empty());
    EXPECT_EQ(host.size(), log.size());
    EXPECT_NE(std::find(host.begin(), host.end(), L"tp_logs: asked for encoders"), host.end());
}

TEST_F(PluginScan, NoApplicationPathMeansNoScan) {
    std::string root = RealPath(qvtest::MakeTempDir("qvlong")), path = root;
    while (path.size() < 500) path += "/" + std::string(100, 'd');
    fs::create_directories(path);  // its URL does not fit the bundle query: only a relative path is left
    setenv("QUEVARRA_BUNDLE", path.c_str(), 1);
    EXPECT_EQ(Init(0).back(), L"QVPM::InitPlugins() cannot get the application path\r\n");
    qvtest::RemoveTree(root);
}

}  // namespace
