// Plugins that fail on purpose: each failure is logged, fails cleanly, leaves
// no instance or file of the plugin alive, and the next file (through plxraw)
// is written normally in the same process.
#include <gtest/gtest.h>

#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include "common/TestSupport.h"
#include "faults/FaultBundle.h"

namespace fs = std::filesystem;

namespace {

using namespace qvfault;
typedef std::vector<std::wstring> Msgs;

std::wstring W(const std::string& utf8) {
    std::vector<wchar_t> buffer(utf8.size() + 1);
    UTF8toW(utf8.c_str(), -1, buffer.data(), static_cast<int>(buffer.size()), true);
    return buffer.data();
}
bool Has(const Msgs& log, const std::wstring& text) {  // a message starting with text
    return std::any_of(log.begin(), log.end(), [&](const std::wstring& m) { return m.rfind(text, 0) == 0; });
}
std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Faults : public ::testing::Test {
protected:
    void SetUp() override {
        qvtest::InstallTestLog();
        m_bundle.Use();
        m_dir = qvtest::MakeTempDir("qvfault");
    }
    void TearDown() override {
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
        unsetenv("QUEVARRA_BUNDLE");
        qvtest::RemoveTree(m_dir);
    }
    Msgs Init() {
        qvtest::TakeLog();
        EXPECT_EQ(QVInitPlugins(), 1u);
        return qvtest::TakeLog();
    }
    EncodeParam Param(const char* mux, const char* video, const char* audio) {
        EncodeParam p;
        QVDefaultEncodeParam(&p);
        p.dwFileFormat = Code(mux), p.video.dwFourCC = Code(video), p.audio.dwFourCC = Code(audio);
        p.video.dFrameRate = 25.0;
        return p;
    }
    void* Create(const EncodeParam& p, const std::string& name = "out.bin") {
        const xVideoInfo vi = {320, 240, 25.0, 0.0, 0, 0, {0}, 0};
        const xAudioInfo ai = {44100, 2, 16, 176400, 0.0, 0};
        qvtest::TakeLog();
        return QVCreateMediaFile(W(m_dir + "/" + name).c_str(), &p, &vi, &ai);
    }
    // Four frames and four blocks, interleaved; one digit per write result.
    std::string WriteAV(void* h) {
        Picture pic(320, 240);
        Sound snd;
        std::string results;
        for (int i = 0; i < 4; ++i) {
            results += std::to_string(QVWriteVideoFrame(h, pic.At(i * 400000LL)));
            results += std::to_string(QVWriteAudioData(h, snd.At(i * 400000LL)));
        }
        return results;
    }
    // A short Y4M and a short WAV through plxraw, checked on disk.
    void WriteNextFiles() {
        EncodeParam p = Param("Y4M ", "I420", "PCM ");
        p.video.nWidth = 320, p.video.nHeight = 240, p.bDisableAudio = 1;
        void* h = Create(p, "next.y4m");
        ASSERT_NE(h, nullptr) << qvtest::JoinLog(qvtest::TakeLog());
        Picture pic(320, 240);
        EXPECT_EQ(QVWriteVideoFrame(h, pic.At(0)) + QVWriteVideoFrame(h, pic.At(400000)), 2u);
        QVCloseMediaFile(h, nullptr, nullptr);
        const std::string y4m = ReadAll(m_dir + "/next.y4m");
        EXPECT_EQ(y4m.size() - y4m.find("FRAME\n"), 2u * (6 + 320 * 240 * 3 / 2));
        p = Param("WAV ", "I420", "PCM "), p.bDisableVideo = 1;
        h = Create(p, "next.wav");
        ASSERT_NE(h, nullptr) << qvtest::JoinLog(qvtest::TakeLog());
        Sound snd;
        EXPECT_EQ(QVWriteAudioData(h, snd.At(0)) + QVWriteAudioData(h, snd.At(400000)), 2u);
        QVCloseMediaFile(h, nullptr, nullptr);
        EXPECT_EQ(fs::file_size(m_dir + "/next.wav"), 44u + 2 * 1764 * 4);
    }
    FaultBundle m_bundle;
    std::string m_dir;
};

TEST_F(Faults, ScanRefusesListsWithoutAnEndAndFilesItCannotLoad) {
    m_bundle.AddFile("plxempty.dylib", "");
    std::string elf = ReadAll(QV_PLXRAW);
    m_bundle.AddFile("plxtruncated.dylib", elf.substr(0, 2000));
    fs::create_directory(m_bundle.EncoderDir() + "/plxdir.dylib");
    const std::wstring dir = W(fs::canonical(m_bundle.EncoderDir()).string() + "/");
    const Msgs log = Init();
    for (const char* name : {"plxempty", "plxtruncated", "plxdir", "plxunresolved"})
        EXPECT_TRUE(Has(log, L"***Failed to Load file:[" + dir + W(name) + L".dylib].")) << name;
    // A file cut short is never mapped (the loader would fault on its missing pages).
    auto cut = std::find(log.begin(), log.end(), L"***Failed to Load file:[" + dir + L"plxtruncated.dylib].");
    ASSERT_TRUE(cut != log.end() && cut + 1 != log.end());
    EXPECT_EQ(cut[1].rfind(L"the file is 2000 bytes long but its segments need ", 0), 0u) << cut[1];
    EXPECT_TRUE(Has(log, L"***PLXGetEncoders list without a terminator within its first 4096 records in [" +
                             dir + L"plxlongenc.dylib]; none of it is registered."));
    EXPECT_TRUE(Has(log, L"***PLXGetFileMuxers list without a terminator within its first 4096 records in [" +
                             dir + L"plxlongmux.dylib]; none of it is registered."));
    // The muxer-only plugin contributed nothing and is closed; the other keeps its muxer.
    EXPECT_TRUE(Has(log, L"***Without Muxer & Encoder Info in [" + dir + L"plxlongmux.dylib]"));
    EXPECT_FALSE(Has(log, L"***Without Muxer & Encoder Info in [" + dir + L"plxlongenc.dylib]"));
    auto count = [](auto& registry, const char* code) {
        return std::count_if(registry.begin(), registry.end(), [&](auto& r) { return r.dwFourCC == Code(code); });
    };
    EXPECT_EQ(count(PluginMgr::m_arEncoder, "LONG"), 4095) << "only the list that ends in time";
    EXPECT_EQ(count(PluginMgr::m_arFileFormat, "ENDL") + count(PluginMgr::m_arFileFormat, "LMUX"), 1);
    EXPECT_EQ(PluginMgr::m_arModule.size(), 4u);  // faults, longenc, edge, raw
    WriteNextFiles();
    QVUninitPlugins();
}

TEST_F(Faults, EncoderAndMuxerFailuresFailCleanly) {
    const std::wstring path = W(m_dir + "/out.bin");
    const struct {
        const char *mux, *video, *audio;
        std::wstring line;    // logged by the failure
        std::string results;  // of WriteAV; empty: the file is refused
    } cases[] = {
        {"FMOK", "FVCN", "FAOK", L"Create video encoder failed.", "01010101"},  // that stream is left out
        {"FMOK", "FVOK", "FACN", L"Create audio encoder failed.", "10101010"},
        {"FMOK", "FVNO", "FANO", L"QVPM::Create [" + path, "00000000"},  // no output: the muxer writes nothing
        {"FMOK", "FVRF", "FAOK", L"Can't revise the video param[320x240, 512000bps].", ""},
        {"FMOK", "FVOK", "FARF", L"Can't revise the audio param[44100Hz, 2Channels, 128000bps, 16bits].", ""},
        {"FMCF", "FVOK", "FAOK", L"Failed to create the file [" + path + L"].", ""},
        {"FMMW", "FVOK", "FAOK", L"QVPM::Create [" + path, "11000000"},  // writes fail midway, close fails
    };
    Init();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.mux) + " " + c.video + " " + c.audio);
        void* h = Create(Param(c.mux, c.video, c.audio));
        const Msgs log = qvtest::TakeLog();
        EXPECT_TRUE(Has(log, c.line)) << qvtest::JoinLog(log);
        EXPECT_EQ(h != nullptr, !c.results.empty());
        if (h) {
            EXPECT_EQ(WriteAV(h), c.results);
            QVCloseMediaFile(h, nullptr, nullptr);
        } else {
            EXPECT_TRUE(Has(log, L"PFile::Create Fail to m_PluginMgr.Create [")) << qvtest::JoinLog(log);
        }
        EXPECT_EQ(m_bundle.Live(), 0);
        WriteNextFiles();
    }
}

// The revise entries write absurd values into the parameters: what the media
// file cannot use is refused with a line naming it; what it can (a zero or
// negative frame rate: every frame on index 0) is written without dividing by
// zero, allocating the impossible or repeating a frame forever.
TEST_F(Faults, ScribbledParametersAreRefusedOrSurvived) {
    const struct {
        bool video;  // FVSC with video.nExtra, else FASC with audio.nExtra
        int which;
        std::wstring line;    // the refusal; empty: created
        std::string results;  // of WriteAV when created
    } cases[] = {
        {true, 1, L"PFile::Create \"cannot fit a 320x240 picture into -640x-480\"\r\n", ""},
        {true, 2, L"PFile::Create \"cannot fit a 320x240 picture into 1073741824x1073741824\"\r\n", ""},
        {true, 3, L"PFile::Create \"cannot fit a 320x240 picture into 0x0\"\r\n", ""},
        {true, 4, L"PFile::Create \"video frame rate nan is not usable\"\r\n", ""},
        {true, 5, L"PFile::Create \"video frame rate inf is not usable\"\r\n", ""},
        {true, 6, L"PFile::Create \"video frame rate -inf is not usable\"\r\n", ""},
        {true, 7, L"PFile::Create \"video frame rate 1000000000.000000 is not usable\"\r\n", ""},
        {true, 8, L"", "11010101"},
        {true, 9, L"", "11010101"},
        {false, 1, L"PFile::Create \"audio.nChannels 0 outside 1..32\"\r\n", ""},
        {false, 2, L"PFile::Create \"audio.nChannels 1000 outside 1..32\"\r\n", ""},
        {false, 3, L"PFile::Create \"cannot convert 44100Hz 2ch audio to 0Hz 2ch\"\r\n", ""},
        {false, 4, L"PFile::Create \"cannot convert 44100Hz 2ch audio to -44100Hz 2ch\"\r\n", ""},
        {false, 5, L"PFile::Create \"cannot convert 44100Hz 2ch audio to 2147483647Hz 2ch\"\r\n", ""},
        {false, 6, L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n", ""},
        {false, 7, L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n", ""},
    };
    Init();
    for (const auto& c : cases) {
        SCOPED_TRACE((c.video ? "video " : "audio ") + std::to_string(c.which));
        EncodeParam p = Param("FMOK", c.video ? "FVSC" : "FVOK", c.video ? "FAOK" : "FASC");
        (c.video ? p.video.nExtra : p.audio.nExtra) = c.which;
        void* h = Create(p);
        const Msgs log = qvtest::TakeLog();
        if (c.line.empty()) {
            ASSERT_NE(h, nullptr) << qvtest::JoinLog(log);
            EXPECT_EQ(WriteAV(h), c.results);
            QVCloseMediaFile(h, nullptr, nullptr);
        } else {
            EXPECT_EQ(h, nullptr);
            EXPECT_TRUE(Has(log, c.line)) << qvtest::JoinLog(log);
        }
        EXPECT_EQ(m_bundle.Live(), 0);
        WriteNextFiles();
    }
}

}  // namespace
