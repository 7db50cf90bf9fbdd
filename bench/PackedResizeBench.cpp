// Packed 4-byte resizers beside libyuv's ARGB scaler and libswscale doing the
// same job on the same buffers: bilinear, nearest and bicubic, 1920x1080 ->
// 1280x720 and 640x480 -> 1280x720. The alpha-compositing and mask resizers
// have no peer; they are measured alone.
#include <quevarra/qv_image.h>

#include <libyuv/scale_argb.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "BenchJobs.h"

namespace {

// A bottom-up picture of `bpp` bytes per pixel with no row padding.
struct Picture {
    int w, h, bpp;
    std::vector<uint8_t> bytes;
    Picture(int width, int height, int bytesPerPixel, uint32_t seed)
        : w(width), h(height), bpp(bytesPerPixel), bytes(qvbench::Noise(size_t(w) * h * bpp, seed)) {}
    IMG_PARAM Param() { return IMG_PARAM{bytes.data(), w, h, w * bpp, bpp * 8, 0, 0, w, h}; }
};

struct Sws {
    SwsContext* ctx;
    Sws(int sw, int sh, int dw, int dh, int flags)
        : ctx(sws_getContext(sw, sh, AV_PIX_FMT_BGRA, dw, dh, AV_PIX_FMT_BGRA, flags, nullptr, nullptr,
                             nullptr)) {}
    ~Sws() { sws_freeContext(ctx); }
};

using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);

void PackedJobs(int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    auto src = std::make_shared<Picture>(sw, sh, 4, 1), dst = std::make_shared<Picture>(dw, dh, 4, 2);
    auto ours = [=](Resizer f) {
        return [=] {
            const IMG_PARAM s = src->Param();
            IMG_PARAM d = dst->Param();
            f(s, d);
        };
    };
    auto libyuv = [=](libyuv::FilterMode mode) {
        return [=] { libyuv::ARGBScale(src->bytes.data(), sw * 4, sw, sh, dst->bytes.data(), dw * 4, dw, dh, mode); };
    };
    auto swscale = [=](int flags) {
        auto sws = std::make_shared<Sws>(sw, sh, dw, dh, flags);
        return [=] {
            const uint8_t* in[1] = {src->bytes.data()};
            uint8_t* out[1] = {dst->bytes.data()};
            const int inPitch[1] = {sw * 4}, outPitch[1] = {dw * 4};
            sws_scale(sws->ctx, in, inPitch, 0, sh, out, outPitch);
        };
    };

    const std::string bilinear = "Packed bilinear " + size;
    qvbench::Job(bilinear, "ours", ours(DIB_ResizeBiLiner));
    qvbench::Job(bilinear, "libyuv", libyuv(libyuv::kFilterBilinear));
    qvbench::Job(bilinear, "swscale", swscale(SWS_BILINEAR));

    const std::string nearest = "Packed nearest " + size;
    qvbench::Job(nearest, "ours", ours(DIB_ResizeNear));
    qvbench::Job(nearest, "libyuv", libyuv(libyuv::kFilterNone));
    qvbench::Job(nearest, "swscale", swscale(SWS_POINT));

    const std::string bicubic = "Packed convolve " + size;
    qvbench::Job(bicubic, "ours", ours(DIB_ResizeConvolve));
    qvbench::Job(bicubic, "swscale", swscale(SWS_BICUBIC));

    qvbench::Job("Packed alpha bilinear " + size, "ours", ours(DIB_AlphaResizeBiLiner));

    // The mask is an 8-bit picture of the source's size.
    auto mask = std::make_shared<Picture>(sw, sh, 1, 3);
    for (Resizer f : {StretchMaskResizeBiLiner, StretchMaskResizeNear}) {
        const std::string job =
            std::string("Packed mask ") + (f == StretchMaskResizeNear ? "nearest " : "bilinear ") + size;
        qvbench::Job(job, "ours", [=] {
            const IMG_PARAM s = mask->Param();
            IMG_PARAM d = dst->Param();
            f(s, d);
        });
    }
}

const int kRegistered = (PackedJobs(1920, 1080, 1280, 720), PackedJobs(640, 480, 1280, 720), 0);

}  // namespace
