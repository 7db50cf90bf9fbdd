// Video frames on their way to the pipeline: resizing with black borders and
// placement on the output timeline.
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include <math.h>
#include <string.h>

#include <algorithm>

#include "mediafile/MediaFileStats.h"
#include "mediafile/MediaFileUtil.h"

namespace {

constexpr double kTicksPerSecond = 10000000.0;

// +1, -1 or 0 when the two rates are within 0.001 of each other (or NaN).
int CompareRates(double output, double input) {
    double d = output - input;
    if (d >= 0.001) return 1;
    if (d <= -0.001) return -1;
    return 0;
}

// The output frame counter saturates rather than overflow on endless streams.
void CountFrame(int32_t& counter) {
    if (counter < INT32_MAX) ++counter;
}

int64_t Magnitude(int32_t pitch) { return pitch < 0 ? -int64_t{pitch} : pitch; }

// Why the planes of a host frame cannot be read as a width x height picture,
// or null when they can. A width of 0 (no input description) checks only the
// pointers. Negative pitches are fine: row r lies at pPlane + r * nPitch.
const wchar_t* FrameProblem(const MEDIA_FRAME& f, int width) {
    if (!f.pPlane[0] || !f.pPlane[1] || !f.pPlane[2]) return L"a plane pointer is null";
    if (width <= 0) return nullptr;
    const int64_t chroma = (int64_t{width} + 1) / 2;
    if (Magnitude(f.nPitch[0]) < width) return L"the luma pitch is shorter than a row";
    if (Magnitude(f.nPitch[1]) < chroma || Magnitude(f.nPitch[2]) < chroma)
        return L"a chroma pitch is shorter than a row";
    return nullptr;
}

bool HasPlaneResizer(int interpolation) {
    return interpolation == IMAGE_INTERPOLATION_DEFAULT ||
           interpolation == IMAGE_INTERPOLATION_NEAREST ||
           interpolation == IMAGE_INTERPOLATION_BILINEAR;
}

// Paints black what the plane resizers leave of a W x H picture whose
// rectangle is `rect`: the luma rows above and below it (the luma resizers
// blacken the margins of the rows they cover) and, in both chroma planes,
// everything outside the samples they write: chroma columns x / 2 onwards,
// (cx + 1) / 2 of them, in chroma rows y / 2 to y / 2 + (cy - 1) / 2.
// False, painting nothing, for a rectangle that is not inside the picture.
bool PaintBorders(uint8_t* y, uint8_t* v, uint8_t* u, int W, int H, const IMG_PARAM& rect) {
    if (rect.x < 0 || rect.y < 0 || rect.cx < 1 || rect.cy < 1 ||
        int64_t{rect.x} + rect.cx > W || int64_t{rect.y} + rect.cy > H)
        return false;
    const size_t w = static_cast<size_t>(W);
    memset(y, 16, w * rect.y);
    memset(y + w * (rect.y + rect.cy), 16, w * (H - rect.y - rect.cy));
    const int C = (W + 1) / 2, rows = (H + 1) / 2;
    const int top = rect.y / 2, bottom = top + (rect.cy - 1) / 2 + 1;
    const int left = rect.x / 2, right = left + (rect.cx + 1) / 2;
    for (uint8_t* plane : {v, u}) {
        memset(plane, 128, static_cast<size_t>(C) * top);
        for (int r = top; r < bottom; ++r) {
            memset(plane + static_cast<size_t>(C) * r, 128, left);
            memset(plane + static_cast<size_t>(C) * r + right, 128, C - right);
        }
        memset(plane + static_cast<size_t>(C) * bottom, 128, static_cast<size_t>(C) * (rows - bottom));
    }
    return true;
}

}  // namespace

// One line per file: a host that sends bad frames at 60 fps must not flood its log.
void MediaFile::RefuseFrame(const MEDIA_FRAME* frame, const wchar_t* why) {
    if (m_bFrameRefusalLogged) return;
    m_bFrameRefusalLogged = 1;
    LogEx(L"QVWriteVideoFrame: frame at %lld refused (%ls: planes %p %p %p, pitches %d %d %d, "
          L"input %dx%d); further refusals of this file are not logged.",
          static_cast<long long>(frame->llStreamTime), why, frame->pPlane[0], frame->pPlane[1],
          frame->pPlane[2], frame->nPitch[0], frame->nPitch[1], frame->nPitch[2],
          m_VideoInfo.width, m_VideoInfo.height);
}

unsigned MediaFile::_WriteVideoFrame(const MEDIA_FRAME* frame) {
    if (!frame) return 0;
    unsigned result = m_PluginMgr.WriteVideoFrame(frame);
    m_llLastVideoTime = frame->llTimeStamp;
    return result;
}

MEDIA_FRAME* MediaFile::GetResizeFrame(const MEDIA_FRAME* frame) {
    const int W = m_EncParam.video.nWidth;
    const int H = m_EncParam.video.nHeight;
    const size_t lumaSize = static_cast<size_t>(W) * static_cast<size_t>(H);
    const size_t chromaSize =
        static_cast<size_t>((W + 1) / 2) * static_cast<size_t>((H + 1) / 2);
    uint8_t* y = m_pResizeBuffer;
    uint8_t* v = y + lumaSize;
    uint8_t* u = v + chromaSize;

    const IMAGE_INTERPOLATION method =
        static_cast<IMAGE_INTERPOLATION>(m_EncParam.video.nInterpolation);
    // Black wherever the fitted picture does not reach.
    if (!HasPlaneResizer(method) || !PaintBorders(y, v, u, W, H, m_DstY)) {
        memset(y, 16, lumaSize);
        memset(v, 128, 2 * chromaSize);
    }
    m_DstY.pBits = y;
    m_SrcY.pBits = frame->pPlane[0];
    m_SrcY.pitch = frame->nPitch[0];
    int done = ImageResizeY(m_SrcY, m_DstY, method);

    m_SrcUV.pBits = frame->pPlane[2];
    m_SrcUV.pitch = frame->nPitch[2];
    m_DstUV.pBits = v;
    done &= ImageResizeUV(m_SrcUV, m_DstUV, method);

    m_SrcUV.pBits = frame->pPlane[1];
    m_SrcUV.pitch = frame->nPitch[1];
    m_DstUV.pBits = u;
    done &= ImageResizeUV(m_SrcUV, m_DstUV, method);

    // An interpolation without a plane resizer leaves the picture black by
    // design (said once at creation); any other refusal is the frame's fault
    // and must not become a black picture.
    if (!done && HasPlaneResizer(method)) {
        RefuseFrame(frame, L"a plane could not be resized");
        return nullptr;
    }

    memcpy(&m_ResizeFrame, frame, sizeof m_ResizeFrame);
    m_ResizeFrame.nWidth = W;
    m_ResizeFrame.nHeight = H;
    m_ResizeFrame.pPlane[0] = y;
    m_ResizeFrame.pPlane[1] = u;
    m_ResizeFrame.pPlane[2] = v;
    m_ResizeFrame.nPitch[0] = W;
    m_ResizeFrame.nPitch[1] = (W + 1) / 2;
    m_ResizeFrame.nPitch[2] = (W + 1) / 2;
    return &m_ResizeFrame;
}

unsigned MediaFile::WriteVideoFrame(const MEDIA_FRAME* frame) {
    if (!frame) return 0;

    const double rate = m_EncParam.video.dFrameRate;
    if (m_EncParam.dwFileFormat == QV_FOURCC_COPY) {
        unsigned result = _WriteVideoFrame(frame);
        CountFrame(m_nOutFrames);
        qvmedia::CountVideoHandedOn(
            *this, true, qvmedia::SaturatingAdd(frame->llStreamTime, qvmedia::Ticks(1.0, rate)));
        return result;
    }

    if (const wchar_t* why = FrameProblem(*frame, m_VideoInfo.width)) {
        RefuseFrame(frame, why);
        qvmedia::CountVideoDropped(*this);
        return 0;
    }
    const MEDIA_FRAME* F = m_pResizeBuffer ? GetResizeFrame(frame) : frame;
    if (!F) {
        qvmedia::CountVideoDropped(*this);
        return 0;
    }
    const int cmp = CompareRates(rate, m_VideoInfo.fps);

    if (m_PluginMgr.m_bTimestampMode) {
        if (cmp < 1 && rate != 0.0 && isfinite(rate)) {
            // A zero or non-finite rate has no frame time, so nothing is thinned.
            const int64_t T = qvmedia::TruncToInt32(1.0 / rate * kTicksPerSecond);
            if (m_llLastVideoTime != -1 &&
                F->llTimeStamp < qvmedia::SaturatingAdd(m_llLastVideoTime, T)) {
                qvmedia::CountVideoDropped(*this);
                return 0;
            }
        }
        unsigned result = _WriteVideoFrame(F);
        CountFrame(m_nOutFrames);
        qvmedia::CountVideoHandedOn(
            *this, true, qvmedia::SaturatingAdd(F->llStreamTime, qvmedia::Ticks(1.0, rate)));
        return result;
    }

    // Frame-count mode: the frame belongs at output index N; repeat it until
    // the output reaches N, or drop it when N is already filled. N stays below
    // the counter's limit so that counting never overflows.
    const double seconds = static_cast<double>(F->llStreamTime) / kTicksPerSecond;
    int64_t N = qvmedia::TruncToInt64(seconds * rate + 0.5);
    if (N > INT32_MAX - 1) N = INT32_MAX - 1;
    const int64_t repeat = N - m_nOutFrames + 1;
    // One call fills at most qvmedia::kMaxFillSeconds of the timeline; a frame
    // placed further on (a wild time stamp) is refused, not repeated for hours.
    if (repeat > std::max(1.0, qvmedia::kMaxFillSeconds * rate)) {
        RefuseFrame(frame, L"its place lies more than ten minutes past the frames written");
        qvmedia::CountVideoDropped(*this);
        return 0;
    }
    if (repeat <= 0) qvmedia::CountVideoDropped(*this);
    unsigned sum = 0;
    for (int64_t i = 0; i < repeat; ++i) {
        sum += _WriteVideoFrame(F);
        ++m_nOutFrames;
        qvmedia::CountVideoHandedOn(*this, i == 0, qvmedia::Ticks(m_nOutFrames, rate));
    }
    return sum;
}
