// Planar 4:2:0 to RGB and the packed 4:2:2 converters at 1920x1080 beside
// libyuv and libswscale doing the same job on the same buffers. Bottom-up
// bitmaps are handed to the peers flipped (a negative height for libyuv, the
// last row and a negative stride for libswscale). Converters without an
// equal peer job run alone, or beside the closest libyuv function where one
// does the same work (YV12_Blt_fast and I420Copy).
#include <quevarra/qv_color.h>

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "BenchJobs.h"

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;
constexpr int kCW = kW / 2;

struct Frame {
    BITMAPINFOHEADER header24{}, header32{};
    std::vector<uint8_t> y = qvbench::Noise(size_t(kW) * kH, 3);
    std::vector<uint8_t> u = qvbench::Noise(size_t(kCW) * (kH / 2), 4);
    std::vector<uint8_t> v = qvbench::Noise(size_t(kCW) * (kH / 2), 5);
    std::vector<uint8_t> y2 = std::vector<uint8_t>(y.size()), u2 = std::vector<uint8_t>(u.size()),
                         v2 = std::vector<uint8_t>(v.size());
    std::vector<uint8_t> rgb32 = std::vector<uint8_t>(size_t(kW) * 4 * kH);
    std::vector<uint8_t> rgb24 = qvbench::Noise(size_t(kW) * 3 * kH, 6);
    std::vector<uint8_t> yuy2 = qvbench::Noise(size_t(kW) * 2 * kH, 7);
    std::vector<uint8_t> packed = std::vector<uint8_t>(yuy2.size());
    Frame() {
        for (BITMAPINFOHEADER* h : {&header24, &header32}) {
            h->biSize = sizeof *h;
            h->biWidth = kW;
            h->biHeight = kH;
            h->biPlanes = 1;
        }
        header24.biBitCount = 24;
        header32.biBitCount = 32;
    }
};

struct Sws {
    SwsContext* ctx;
    Sws(AVPixelFormat from, AVPixelFormat to)
        : ctx(sws_getContext(kW, kH, from, kW, kH, to, SWS_POINT, nullptr, nullptr, nullptr)) {}
    ~Sws() { sws_freeContext(ctx); }
};

// libswscale from the frame's planes into a packed picture of `bpp` bytes
// per pixel, bottom-up when asked.
void SwsFromPlanes(const std::shared_ptr<Frame>& f, const std::string& job, AVPixelFormat to,
                   uint8_t* out, int bpp, bool bottomUp) {
    auto sws = std::make_shared<Sws>(AV_PIX_FMT_YUV420P, to);
    qvbench::Job(job, "swscale", [f, sws, out, bpp, bottomUp] {
        const uint8_t* in[3] = {f->y.data(), f->u.data(), f->v.data()};
        const int inPitch[3] = {kW, kCW, kCW};
        uint8_t* dst[1] = {out + (bottomUp ? size_t(kW) * bpp * (kH - 1) : 0)};
        const int dstPitch[1] = {bottomUp ? -kW * bpp : kW * bpp};
        sws_scale(sws->ctx, in, inPitch, 0, kH, dst, dstPitch);
    });
}

int Register() {
    auto f = std::make_shared<Frame>();
    Frame* p = f.get();

    const std::string rgb32 = "Yuv420_2_rgb32 1920x1080";
    qvbench::Job(rgb32, "ours", [f, p] {
        Yuv420_2_rgb32(&p->header32, p->rgb32.data(), p->y.data(), p->u.data(), p->v.data(), kW,
                       kCW, kCW);
    });
    qvbench::Job(rgb32, "libyuv", [f, p] {
        libyuv::I420ToARGB(p->y.data(), kW, p->u.data(), kCW, p->v.data(), kCW, p->rgb32.data(),
                           kW * 4, kW, -kH);
    });
    SwsFromPlanes(f, rgb32, AV_PIX_FMT_BGRA, p->rgb32.data(), 4, true);

    const std::string argb = "Yuv420_2_Argb 1920x1080";
    qvbench::Job(argb, "ours", [f, p] {
        Yuv420_2_Argb(&p->header32, p->rgb32.data(), p->y.data(), p->u.data(), p->v.data(), kW,
                      kCW, kCW);
    });
    qvbench::Job(argb, "libyuv", [f, p] {
        libyuv::I420ToARGB(p->y.data(), kW, p->u.data(), kCW, p->v.data(), kCW, p->rgb32.data(),
                           kW * 4, kW, kH);
    });
    SwsFromPlanes(f, argb, AV_PIX_FMT_BGRA, p->rgb32.data(), 4, false);

    const std::string rgb24 = "Yuv420_2_rgb24 1920x1080";
    qvbench::Job(rgb24, "ours", [f, p] {
        Yuv420_2_rgb24(&p->header24, p->rgb24.data(), p->y.data(), p->u.data(), p->v.data(), kW,
                       kCW, kCW);
    });
    qvbench::Job(rgb24, "libyuv", [f, p] {
        libyuv::I420ToRGB24(p->y.data(), kW, p->u.data(), kCW, p->v.data(), kCW, p->rgb24.data(),
                            kW * 3, kW, -kH);
    });
    SwsFromPlanes(f, rgb24, AV_PIX_FMT_BGR24, p->rgb24.data(), 3, true);

    const std::string to420 = "YUY2_2_Yuv420 1920x1080";
    qvbench::Job(to420, "ours", [f, p] {
        YUY2_2_Yuv420(p->y2.data(), p->u2.data(), p->v2.data(), kW, kCW, kCW, 0, 0, kW, kH,
                      p->yuy2.data(), kW * 2, 1, 0, 0);
    });
    qvbench::Job(to420, "libyuv", [f, p] {
        libyuv::YUY2ToI420(p->yuy2.data(), kW * 2, p->y2.data(), kW, p->u2.data(), kCW,
                           p->v2.data(), kCW, kW, kH);
    });
    auto swsTo420 = std::make_shared<Sws>(AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUV420P);
    qvbench::Job(to420, "swscale", [f, p, swsTo420] {
        const uint8_t* in[1] = {p->yuy2.data()};
        const int inPitch[1] = {kW * 2};
        uint8_t* out[3] = {p->y2.data(), p->u2.data(), p->v2.data()};
        const int outPitch[3] = {kW, kCW, kCW};
        sws_scale(swsTo420->ctx, in, inPitch, 0, kH, out, outPitch);
    });

    const std::string toYuy2 = "Yuv420_2_YUY2 1920x1080";
    qvbench::Job(toYuy2, "ours", [f, p] {
        Yuv420_2_YUY2(p->packed.data(), kW * 2, 0, 0, kW, kH, 1, p->y.data(), p->u.data(),
                      p->v.data(), kW, kCW, kCW, 0, 0);
    });
    qvbench::Job(toYuy2, "libyuv", [f, p] {
        libyuv::I420ToYUY2(p->y.data(), kW, p->u.data(), kCW, p->v.data(), kCW, p->packed.data(),
                           kW * 2, kW, kH);
    });
    SwsFromPlanes(f, toYuy2, AV_PIX_FMT_YUYV422, p->packed.data(), 2, false);

    // Without an equal peer job.
    qvbench::Job("YUY2_2_Rgb24 1920x1080", "ours", [f, p] {
        YUY2_2_Rgb24(p->rgb24.data(), kH, kW * 3, 0, 0, kW, kH, p->yuy2.data(), kW * 2, 1, 0, 0);
    });
    qvbench::Job("Rgb24_2_YUY2 1920x1080", "ours", [f, p] {
        Rgb24_2_YUY2(p->packed.data(), kW * 2, 0, 0, kW, kH, 1, p->rgb24.data(), kH, kW * 3, 0, 0);
    });
    qvbench::Job("YUY2_Blt_fast swap 1920x1080", "ours", [f, p] {
        YUY2_Blt_fast(p->packed.data(), kW * 2, 0, 0, kW, kH, 0, p->yuy2.data(), kW * 2, 1, 0, 0);
    });

    const std::string blt = "YV12_Blt_fast 1920x1080";
    qvbench::Job(blt, "ours", [f, p] {
        YV12_Blt_fast(p->y2.data(), p->u2.data(), p->v2.data(), kW, kCW, kCW, 0, 0, kW, kH,
                      p->y.data(), p->u.data(), p->v.data(), kW, kCW, kCW, 0, 0);
    });
    qvbench::Job(blt, "libyuv", [f, p] {
        libyuv::I420Copy(p->y.data(), kW, p->u.data(), kCW, p->v.data(), kCW, p->y2.data(), kW,
                         p->u2.data(), kCW, p->v2.data(), kCW, kW, kH);
    });
    return 0;
}

const int kRegistered = Register();

}  // namespace
