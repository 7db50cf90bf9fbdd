// Test harness for our plugins: loads them from the build tree's bundle and
// drives their entries in the order the library does, and reads the files
// back with ffprobe/ffmpeg.
#ifndef QUEVARRA_TESTS_PLUGINS_PLXDRIVER_H
#define QUEVARRA_TESTS_PLUGINS_PLXDRIVER_H

#include <quevarra/qv_records.h>

#include <map>
#include <string>
#include <vector>

namespace plxtest {

std::string BundleDir();  // .../Quevarra.app/Contents/MacOS of the build tree

// Every record of the plugins in BundleDir()/Encoder (loaded once, kept loaded).
struct Registry {
    std::vector<ENCODER_ITEM> encoders;
    std::vector<FILEFORMAT_ITEM> muxers;
    const ENCODER_ITEM* Encoder(uint32_t fourcc) const;
    const FILEFORMAT_ITEM* Muxer(uint32_t fourcc) const;
};
const Registry& Plugins();

// One output file, driven like the library's pipeline.
class Pipeline {
public:
    ~Pipeline();
    // False (with the reason in error) where the library would fail.
    bool Create(const std::string& path, EncodeParam* param, std::string* error);
    // The same file through the library itself (QVCreateMediaFile and the
    // QVWrite functions), the host's streams described as the output's.
    bool CreateViaLibrary(const std::string& path, const EncodeParam& param);
    unsigned WriteVideo(const MEDIA_FRAME* frame);
    unsigned WriteAudio(const MEDIA_FRAME* block);
    void Close(QVPROGRESS_CALLBACK callback = nullptr, void* user = nullptr);
    bool timestampMode = false;

private:
    const FILEFORMAT_ITEM* m_mux = nullptr;
    const ENCODER_ITEM* m_venc = nullptr;
    const ENCODER_ITEM* m_aenc = nullptr;
    void* m_file = nullptr;
    void* m_hv = nullptr;
    void* m_ha = nullptr;
    bool m_vInline = false, m_aInline = false;
    void* m_media = nullptr;
};

// QVInitPlugins with the build tree's bundle, once per process; false when
// it found nothing.
bool InitLibraryPlugins();

// Synthetic sources: a moving picture and a tone.
struct Picture {
    Picture(int w, int h);
    void Paint(int index, bool flash = false);  // flash: a white frame
    MEDIA_FRAME Frame(int64_t time100ns) const;
    int width, height;
    std::vector<uint8_t> y, u, v;
};
// 16-bit interleaved samples of a tone (or silence with amplitude 0).
std::vector<int16_t> Tone(int rate, int channels, int frames, double hz, int amplitude,
                          int64_t firstFrame = 0);
MEDIA_FRAME AudioBlock(const std::vector<int16_t>& samples, int rate, int channels,
                       int64_t time100ns);

// Feeds seconds of video and audio in time order, as a host would.
void WriteAV(Pipeline& p, const EncodeParam& param, double seconds, bool video, bool audio);

// ffprobe's view of a file: one map per stream, plus "format" entries.
struct Probe {
    std::vector<std::map<std::string, std::string>> streams;
    std::map<std::string, std::string> format;
    const std::map<std::string, std::string>* Stream(const std::string& type) const;
};
Probe ProbeFile(const std::string& path);
// Output of a full decode with ffmpeg -v error: empty when the file is clean.
std::string DecodeErrors(const std::string& path);
std::string Shell(const std::string& command);
double Num(const std::map<std::string, std::string>& m, const std::string& key);
double Ratio(const std::string& text);  // "30000/1001"

}  // namespace plxtest

#endif
