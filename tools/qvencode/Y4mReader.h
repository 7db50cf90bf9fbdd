// Reader of YUV4MPEG2 streams with 4:2:0 8-bit pictures.
#ifndef QVENCODE_Y4MREADER_H
#define QVENCODE_Y4MREADER_H

#include "Options.h"
#include "Picture.h"

#include <cstdio>
#include <string>

namespace qvenc {

struct Y4mHeader {
    int width = 0, height = 0;
    Rational rate;            // F tag; 25 when absent
    int parNum = 0, parDen = 0;  // A tag (pixel aspect); 0:0 = unknown
};

class Y4mReader {
public:
    Y4mReader() = default;
    ~Y4mReader();
    Y4mReader(const Y4mReader&) = delete;
    Y4mReader& operator=(const Y4mReader&) = delete;

    // Opens a file, or standard input for "-", and reads the stream header.
    bool Open(const std::string& path);
    // Reads from an already open stream (not closed by the reader).
    bool Attach(FILE* stream, const std::string& name);
    // 1 = a picture was read, 0 = clean end of stream, -1 = error (see Error()).
    int ReadFrame(Picture& picture);

    const Y4mHeader& Header() const { return m_header; }
    // Frames in a regular file, counted from its size; -1 when unknown.
    long long FrameCount() const { return m_frameCount; }
    const std::string& Error() const { return m_error; }

private:
    bool ReadHeader();
    bool Fail(const std::string& what);

    FILE* m_file = nullptr;
    bool m_owned = false;
    std::string m_name;
    Y4mHeader m_header;
    long long m_frameCount = -1;
    long long m_framesRead = 0;
    std::string m_error;
};

}  // namespace qvenc

#endif
