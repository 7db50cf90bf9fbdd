// A minimal host: 25 grey frames with silence into an MKV file.
#include <quevarra/quevarra.h>
#include <cstdio>
#include <vector>
// The library's messages (why a call failed), one a line; none go to standard output.
static void OnLog(void*, const wchar_t* message) { std::fprintf(stderr, "quevarra: %ls\n", message); }
int main() {
    QVSetLogCallback(OnLog, nullptr);
    if (!QVInitPlugins()) { std::fprintf(stderr, "no plugin directory\n"); return 1; }
    EncodeParam param;
    QVDefaultEncodeParam(&param);
    param.dwFileFormat = QV_FOURCC('M', 'K', 'V', ' ');
    param.video.dwFourCC = QV_FOURCC('H', '2', '6', '4');
    param.video.dFrameRate = 25.0;
    xVideoInfo vin = {}; vin.width = 320; vin.height = 240; vin.fps = 25.0;
    xAudioInfo ain = {}; ain.samplerate = 44100; ain.channels = 2; ain.bitspersample = 16;
    void* file = QVCreateMediaFile(L"grey.mkv", &param, &vin, &ain);
    if (!file) { std::fprintf(stderr, "create failed\n"); QVUninitPlugins(); return 1; }
    std::vector<uint8_t> y(320 * 240, 128), u(160 * 120, 128), v(160 * 120, 128);
    std::vector<int16_t> pcm(1764 * 2, 0);  // 1/25 s of stereo silence
    for (int i = 0; i < 25; ++i) {
        MEDIA_FRAME f = {};
        f.pPlane[0] = y.data(); f.pPlane[1] = u.data(); f.pPlane[2] = v.data();
        f.nPitch[0] = 320; f.nPitch[1] = f.nPitch[2] = 160; f.nWidth = 320; f.nHeight = 240;
        f.llTimeStamp = f.llStreamTime = i * 400000LL; f.nDuration = 400000;
        QVWriteVideoFrame(file, &f);
        MEDIA_FRAME a = {};
        a.nSampleRate = 44100; a.nChannels = 2; a.nBitsPerSample = 16;
        a.pData = pcm.data(); a.nDataSize = static_cast<int32_t>(pcm.size() * 2);
        a.llTimeStamp = a.llStreamTime = i * 400000LL; a.nDuration = 400000;
        QVWriteAudioData(file, &a);
    }
    QV_MEDIAFILE_STATS st = {}; st.cbSize = sizeof st;
    if (QVGetMediaFileStats(file, &st))
        std::printf("video %lld in, %lld out; audio %lld in, %lld out\n", (long long)st.llVideoFramesIn,
                    (long long)st.llVideoFramesOut, (long long)st.llAudioSamplesIn, (long long)st.llAudioSamplesOut);
    QVCloseMediaFile(file, nullptr, nullptr);
    QVUninitPlugins();
    return 0;
}
