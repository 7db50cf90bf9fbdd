// Several threads in the library at once: two streams of one file, files of
// their own, init and release over a held init, and the utilities. The
// results are checked here; ThreadSanitizer checks that nothing races.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <fstream>
#include <iterator>
#include <thread>

#include <quevarra/quevarra.h>

#include "common/TestSupport.h"
#include "faults/FaultBundle.h"

namespace fs = std::filesystem;
using namespace qvfault;

namespace {

// Runs body(0) .. body(n - 1) on n threads at once and waits for them.
void OnThreads(int n, const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i) threads.emplace_back(body, i);
    for (std::thread& t : threads) t.join();
}

std::wstring W(const std::string& s) { return std::wstring(s.begin(), s.end()); }

class Threads : public ::testing::Test {
protected:
    void SetUp() override {
        qvtest::InstallTestLog();
        m_bundle.Use();
        m_dir = qvtest::MakeTempDir("qvthreads");
        ASSERT_EQ(QVInitPlugins(), 1u);
    }
    void TearDown() override {
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
        unsetenv("QUEVARRA_BUNDLE");
        qvtest::RemoveTree(m_dir);
    }
    // A file whose input is 640x480 and 22050 Hz mono, so that every frame is
    // resized and every block converted on its way.
    void* Create(const char* mux, const char* video, const char* audio, const std::string& name) {
        EncodeParam p;
        QVDefaultEncodeParam(&p);
        p.dwFileFormat = Code(mux);
        p.video.dwFourCC = video ? Code(video) : 0, p.audio.dwFourCC = audio ? Code(audio) : 0;
        p.video.dFrameRate = 25.0, p.video.nWidth = 320, p.video.nHeight = 240;
        p.bDisableVideo = video == nullptr, p.bDisableAudio = audio == nullptr;
        const xVideoInfo vi = {640, 480, 25.0, 0.0, 0, 0, {0}, 0};
        const xAudioInfo ai = {22050, 1, 16, 44100, 0.0, 0};
        return QVCreateMediaFile(W(m_dir + "/" + name).c_str(), &p, &vi, &ai);
    }
    static unsigned WriteVideo(void* h, int frames) {
        Picture pic(640, 480);
        unsigned sum = 0;
        for (int i = 0; i < frames; ++i) sum += QVWriteVideoFrame(h, pic.At(i * 400000LL));
        return sum;
    }
    static unsigned WriteAudio(void* h, int blocks) {
        Sound snd(22050, 1);
        unsigned sum = 0;
        for (int i = 0; i < blocks; ++i) sum += QVWriteAudioData(h, snd.At(i * 400000LL));
        return sum;
    }
    FaultBundle m_bundle;
    std::string m_dir;
};

TEST_F(Threads, VideoAndAudioOfOneFileOnTwoThreads) {
    void* h = Create("FMOK", "FVOK", "FAOK", "av.bin");
    ASSERT_NE(h, nullptr);
    unsigned video = 0, audio = 0;
    // The muxer keeps one unguarded write counter per file: only the
    // library's lock keeps the two streams' writes apart.
    OnThreads(2, [&](int i) { i ? audio = WriteAudio(h, 40) : video = WriteVideo(h, 40); });
    EXPECT_EQ(video, 40u);
    EXPECT_EQ(audio, 40u);
    QVCloseMediaFile(h, nullptr, nullptr);
    EXPECT_EQ(m_bundle.Live(), 0);
}

TEST_F(Threads, SeveralFilesWrittenAtOnce) {
    // Y4M and WAV through plxraw, both streams through the fault plugin's good
    // muxer; every WAV converts audio, so the converters' shared remainder is
    // used from several threads.
    std::vector<unsigned> sums(6);
    OnThreads(6, [&](int i) {
        const std::string name = "f" + std::to_string(i);
        void* h = i % 3 == 0   ? Create("Y4M ", "I420", nullptr, name + ".y4m")
                  : i % 3 == 1 ? Create("WAV ", nullptr, "PCM ", name + ".wav")
                               : Create("FMOK", "FVOK", "FAOK", name + ".bin");
        if (!h) return;
        sums[i] = (i % 3 == 1 ? 0 : WriteVideo(h, 10)) + (i % 3 == 0 ? 0 : WriteAudio(h, 10));
        QVCloseMediaFile(h, nullptr, nullptr);
    });
    EXPECT_EQ(sums, (std::vector<unsigned>{10, 10, 20, 10, 10, 20}));
    for (int i : {0, 3}) {
        std::ifstream in(m_dir + "/f" + std::to_string(i) + ".y4m", std::ios::binary);
        const std::string y4m{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        EXPECT_EQ(y4m.size() - y4m.find("FRAME\n"), 10u * (6 + 320 * 240 * 3 / 2)) << i;
    }
    // 22050 Hz mono to 44100 Hz stereo is an exact ratio: 882 samples give 1764 frames.
    for (int i : {1, 4}) EXPECT_EQ(fs::file_size(m_dir + "/f" + std::to_string(i) + ".wav"), 44u + 10 * 1764 * 4);
    EXPECT_EQ(m_bundle.Live(), 0);
}

TEST_F(Threads, InitAndReleaseOverAHeldInit) {
    const size_t encoders = PluginMgr::m_arEncoder.size();
    const FILEFORMAT_INFO* infos = QVGetFileFormatInfos();
    std::atomic<int> failures{0};
    OnThreads(4, [&](int) {
        for (int k = 0; k < 100; ++k) {
            ENCODER_ITEM item;
            const bool ok = QVInitPlugins() == 1 && QVGetFileFormatInfos() == infos &&
                            QVFindFileFormatPlugin(Code("WAV ")) && QVGetEncoderInfo(Code("PCM "), &item) == 1;
            failures += !ok;
            QVUninitPlugins();
        }
    });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(PluginMgr::m_InitRefCounter.Get(), 1);  // the held init
    EXPECT_EQ(PluginMgr::m_arEncoder.size(), encoders);
}

// One run of every kind of utility on buffers of its own; its bytes.
std::vector<uint8_t> Utilities(int seed) {
    std::vector<uint8_t> out;
    const int w = 64, h = 48;
    std::vector<uint8_t> rgb(size_t(w) * h * 4), y(size_t(w) * h), u(size_t(w) * h / 4), v(u.size());
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<uint8_t>(i * (seed + 3) + seed);
    BITMAPINFOHEADER bmi{};
    bmi.biSize = sizeof bmi, bmi.biWidth = w, bmi.biHeight = h, bmi.biPlanes = 1, bmi.biBitCount = 32;
    Rgb32_2_yuv420(y.data(), u.data(), v.data(), w, w / 2, w / 2, &bmi, rgb.data());
    std::vector<uint8_t> back(rgb.size());
    Yuv420_2_rgb32(&bmi, back.data(), y.data(), u.data(), v.data(), w, w / 2, w / 2);
    Yuv420_2_rgb24(nullptr, back.data(), y.data(), u.data(), v.data(), w, w / 2, w / 2);  // logs
    out.insert(out.end(), back.begin(), back.end());

    std::vector<uint8_t> small(40 * 30), packed(48 * 36 * 4);
    IMG_PARAM s{y.data(), w, h, w, 8, 0, 0, w, h}, d{small.data(), 40, 30, 40, 8, 0, 0, 40, 30};
    ImageResizeY(s, d, IMAGE_INTERPOLATION_BILINEAR);
    out.insert(out.end(), small.begin(), small.end());
    ImageResize8(s, d, IMAGE_INTERPOLATION_NEAREST);  // allocates its tables
    out.insert(out.end(), small.begin(), small.end());
    IMG_PARAM ps{rgb.data(), w, h, w * 4, 32, 0, 0, w, h}, pd{packed.data(), 48, 36, 48 * 4, 32, 0, 0, 48, 36};
    ImageResize(ps, pd, IMAGE_INTERPOLATION_CONVOLVE);
    out.insert(out.end(), packed.begin(), packed.end());

    CAudioConverter c(1, 2, 22050, 44100, 0);  // an exact ratio leaves the shared remainder at 0
    std::vector<short> pcm(1000), converted(4000);
    for (size_t i = 0; i < pcm.size(); ++i) pcm[i] = static_cast<short>(i * 37 * (seed + 1));
    c.Put(pcm.data(), static_cast<int>(pcm.size()));
    converted.resize(static_cast<size_t>(c.Get(converted.data(), 4000)));
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(converted.data());
    out.insert(out.end(), bytes, bytes + converted.size() * 2);

    char utf8[64] = {};
    wchar_t wide[64] = {};
    const std::wstring text = L"d\u00e9j\u00e0 " + std::to_wstring(seed) + L" \U0001F3B5";
    WtoUTF8(text.c_str(), -1, utf8, sizeof utf8, false);
    UTF8toW(utf8, -1, wide, 64, false);
    out.insert(out.end(), utf8, utf8 + sizeof utf8);
    out.push_back(std::wstring(wide) == text);
    return out;
}

TEST_F(Threads, UtilitiesInParallelOnDistinctBuffers) {
    std::vector<std::vector<uint8_t>> expected;
    for (int i = 0; i < 4; ++i) expected.push_back(Utilities(i));
    std::atomic<int> mismatches{0};
    OnThreads(4, [&](int i) {
        for (int k = 0; k < 5; ++k) mismatches += Utilities(i) != expected[i];
    });
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(CAudioConverter::s_dSpare, 0.0);
    EXPECT_TRUE(expected[0] != expected[1] && expected[0].back() == 1);
}

}  // namespace
