// Decoded pictures as the library takes them: planar 4:2:0, 8 bits, studio
// range, at the size announced when the file was created.
#ifndef QVENCODE_FRAMEADAPTER_H
#define QVENCODE_FRAMEADAPTER_H

#include "Picture.h"

#include <quevarra/qv_records.h>

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <string>
#include <vector>

namespace qvenc {

class FrameAdapter {
public:
    FrameAdapter() = default;
    ~FrameAdapter();
    FrameAdapter(const FrameAdapter&) = delete;
    FrameAdapter& operator=(const FrameAdapter&) = delete;

    // Every picture is delivered at this size (a stream that changes size
    // midway is scaled back to it).
    void SetSize(int width, int height);
    // Points the planes and pitches of `out` at the picture: the frame's own
    // planes when it is already 8-bit 4:2:0 studio range at the size, else a
    // converted copy owned here (valid until the next call). Packed BGRA and
    // BGR24 go through the library's converter, everything else through
    // libswscale.
    bool Adapt(const AVFrame* frame, MEDIA_FRAME& out, std::string& error);

    // How the last picture was handed over, for tests: 0 its own planes,
    // 1 the library's RGB converter, 2 libswscale.
    int LastPath() const { return m_lastPath; }

private:
    int m_width = 0, m_height = 0;
    SwsContext* m_sws = nullptr;
    int m_swsWidth = 0, m_swsHeight = 0;  // what m_sws converts from
    AVPixelFormat m_swsFormat = AV_PIX_FMT_NONE;
    bool m_swsFull = false;
    AVFrame* m_scaled = nullptr;
    Picture m_picture;
    std::vector<uint8_t> m_scratch;
    int m_lastPath = -1;
};

}  // namespace qvenc

#endif
