#include "FrameAdapter.h"

#include "FfLog.h"
#include "PackedRgb.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace qvenc {

namespace {

bool FullRange(const AVFrame* f) {
    return f->color_range == AVCOL_RANGE_JPEG || f->format == AV_PIX_FMT_YUVJ420P ||
           f->format == AV_PIX_FMT_YUVJ422P || f->format == AV_PIX_FMT_YUVJ444P || f->format == AV_PIX_FMT_YUVJ440P;
}

void Point(MEDIA_FRAME& out, uint8_t* const data[3], const int pitch[3], int width, int height) {
    for (int k = 0; k < 3; ++k) {
        out.pPlane[k] = data[k];
        out.nPitch[k] = pitch[k];
    }
    out.nWidth = width;
    out.nHeight = height;
}

}  // namespace

FrameAdapter::~FrameAdapter() {
    sws_freeContext(m_sws);
    av_frame_free(&m_scaled);
}

void FrameAdapter::SetSize(int width, int height) {
    m_width = width;
    m_height = height;
}

bool FrameAdapter::Adapt(const AVFrame* f, MEDIA_FRAME& out, std::string& error) {
    const bool sameSize = f->width == m_width && f->height == m_height;
    const AVPixelFormat format = static_cast<AVPixelFormat>(f->format);
    if (sameSize && format == AV_PIX_FMT_YUV420P && !FullRange(f)) {
        m_lastPath = 0;
        Point(out, f->data, f->linesize, m_width, m_height);
        return true;
    }
    if (sameSize && (format == AV_PIX_FMT_BGRA || format == AV_PIX_FMT_BGR0 || format == AV_PIX_FMT_BGR24)) {
        m_lastPath = 1;
        ConvertToYuv420(f->data[0], f->linesize[0], format == AV_PIX_FMT_BGR24 ? 3 : 4, m_width, m_height, m_scratch,
                        m_picture);
        uint8_t* planes[3] = {m_picture.plane[0].data(), m_picture.plane[1].data(), m_picture.plane[2].data()};
        Point(out, planes, m_picture.pitch, m_width, m_height);
        return true;
    }
    m_lastPath = 2;
    if (!m_scaled) {
        m_scaled = av_frame_alloc();
        if (!m_scaled) {
            error = "out of memory";
            return false;
        }
        m_scaled->format = AV_PIX_FMT_YUV420P;
        m_scaled->width = m_width;
        m_scaled->height = m_height;
        const int r = av_frame_get_buffer(m_scaled, 0);
        if (r < 0) {
            error = "cannot allocate a picture: " + FfmpegErrorText(r);
            return false;
        }
    }
    const bool full = FullRange(f);
    if (!m_sws || f->width != m_swsWidth || f->height != m_swsHeight || format != m_swsFormat || full != m_swsFull) {
        sws_freeContext(m_sws);
        m_sws = sws_getContext(f->width, f->height, format, m_width, m_height, AV_PIX_FMT_YUV420P, SWS_BICUBIC,
                               nullptr, nullptr, nullptr);
        if (!m_sws) {
            const char* name = av_get_pix_fmt_name(format);
            error = std::string("cannot convert pictures of pixel format ") + (name ? name : "unknown") + " (" +
                    std::to_string(f->width) + "x" + std::to_string(f->height) + ")";
            return false;
        }
        // The picture keeps its own YUV matrix; RGB becomes BT.601 as with the
        // library's converter; full range becomes studio range.
        const int* table = sws_getCoefficients(SWS_CS_DEFAULT);
        sws_setColorspaceDetails(m_sws, table, full ? 1 : 0, table, 0, 0, 1 << 16, 1 << 16);
        m_swsWidth = f->width;
        m_swsHeight = f->height;
        m_swsFormat = format;
        m_swsFull = full;
    }
    sws_scale(m_sws, f->data, f->linesize, 0, f->height, m_scaled->data, m_scaled->linesize);
    Point(out, m_scaled->data, m_scaled->linesize, m_width, m_height);
    return true;
}

}  // namespace qvenc
