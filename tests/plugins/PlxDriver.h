// Test harness for our plugins: writes files through the library from synthetic
// sources and reads them back with ffprobe/ffmpeg.
#ifndef QUEVARRA_TESTS_PLUGINS_PLXDRIVER_H
#define QUEVARRA_TESTS_PLUGINS_PLXDRIVER_H

#include <quevarra/qv_mediafile.h>

#include <map>
#include <string>
#include <vector>

namespace plxtest {

inline std::string BundleDir() { return QV_BUNDLE_DIR; }  // .../Quevarra.app/Contents/MacOS of the build tree
inline uint32_t Code(const char* s) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

// An encoder's record as the library publishes it; null when there is none.
const ENCODER_ITEM* Encoder(uint32_t fourcc);

// One output file written through QVCreateMediaFile, the QVWrite functions
// and QVCloseMediaFile (plugins of the build tree's bundle); the host's
// streams are described as the output's.
class Pipeline {
public:
    ~Pipeline() { Close(); }
    bool Create(const std::string& path, const EncodeParam& param);
    unsigned WriteVideo(const MEDIA_FRAME* frame) { return QVWriteVideoFrame(m_media, frame); }
    unsigned WriteAudio(const MEDIA_FRAME* block) { return QVWriteAudioData(m_media, block); }
    void Close(QVPROGRESS_CALLBACK callback = nullptr, void* user = nullptr);
    void* m_media = nullptr;
};

// A moving picture (or a white flash) and a tone (silence at amplitude 0).
struct Picture {
    Picture(int w, int h);
    void Paint(int index, bool flash = false);
    MEDIA_FRAME Frame(int64_t time100ns) const;
    int width, height;
    std::vector<uint8_t> y, u, v;
};
std::vector<int16_t> Tone(int rate, int channels, int frames, double hz, int amplitude,
                          int64_t firstFrame = 0);
MEDIA_FRAME AudioBlock(const std::vector<int16_t>& samples, int rate, int channels,
                       int64_t time100ns);
// Feeds seconds of video and audio in time order, as a host would.
void WriteAV(Pipeline& p, const EncodeParam& param, double seconds, bool video, bool audio);

// ffprobe's fields of the first stream of a type ('v' or 'a'); a duration the
// stream lacks comes from the file. No "codec_name" when there is no such stream.
typedef std::map<std::string, std::string> Fields;
Fields ProbeStream(const std::string& path, char type);
// Output of a full decode with ffmpeg -v error: empty when the file is clean.
std::string DecodeErrors(const std::string& path);
std::string Shell(const std::string& command);
double Num(const Fields& m, const std::string& key);  // "30000/1001" too

}  // namespace plxtest

#endif
