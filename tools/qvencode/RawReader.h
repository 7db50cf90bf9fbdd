// Reader of raw top-down BGRA or BGR24 frames, converted to planar 4:2:0.
#ifndef QVENCODE_RAWREADER_H
#define QVENCODE_RAWREADER_H

#include "Options.h"
#include "Picture.h"

#include <cstdio>
#include <string>
#include <vector>

namespace qvenc {

class RawReader {
public:
    RawReader() = default;
    ~RawReader();
    RawReader(const RawReader&) = delete;
    RawReader& operator=(const RawReader&) = delete;

    // A file or "-" for standard input; frames of width x height pixels.
    bool Open(const std::string& path, RawFormat format, int width, int height);
    // 1 = a frame was read and converted, 0 = clean end, -1 = error.
    int ReadFrame(Picture& picture);
    long long FrameCount() const { return m_frameCount; }
    const std::string& Error() const { return m_error; }

private:
    bool Fail(const std::string& what);

    FILE* m_file = nullptr;
    bool m_owned = false;
    std::string m_name;
    RawFormat m_format = RawFormat::None;
    int m_width = 0, m_height = 0;
    long long m_frameCount = -1;
    long long m_framesRead = 0;
    std::vector<uint8_t> m_frame;  // one source frame as read
    std::vector<uint8_t> m_bgra;   // even-sized BGRA copy when needed
    std::string m_error;
};

// Converts a top-down BGRA or BGR24 picture into picture (allocated here)
// with the library's fast BT.601 converter. Odd sizes are handled by
// converting an edge-replicated even-sized copy, which gives exactly the
// edge averages of the odd-size passes and also fills the corner sample.
void ConvertToYuv420(const uint8_t* src, RawFormat format, int width, int height,
                     std::vector<uint8_t>& scratch, Picture& picture);

}  // namespace qvenc

#endif
