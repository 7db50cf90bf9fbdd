// Plane resizers beside libyuv's plane scaler and libswscale doing the same
// job: luma, chroma at half size and whole 4:2:0 pictures, bilinear and
// nearest, 1920x1080 -> 1280x720 and 640x480 -> 1280x720.
#include <quevarra/qv_image.h>

#include <libyuv/scale.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "BenchJobs.h"

namespace {

struct Plane {
    int w, h;
    std::vector<uint8_t> bytes;
    Plane(int width, int height, uint32_t seed) : w(width), h(height), bytes(qvbench::Noise(size_t(w) * h, seed)) {}
    uint8_t* data() { return bytes.data(); }
};

// One 4:2:0 picture: Y then U then V planes.
struct Picture {
    int w, h;
    Plane y, u, v;
    Picture(int width, int height)
        : w(width), h(height), y(w, h, 1), u((w + 1) / 2, (h + 1) / 2, 2), v((w + 1) / 2, (h + 1) / 2, 3) {}
};

struct Sws {
    SwsContext* ctx;
    Sws(int sw, int sh, int dw, int dh, AVPixelFormat fmt, int flags)
        : ctx(sws_getContext(sw, sh, fmt, dw, dh, fmt, flags, nullptr, nullptr, nullptr)) {}
    ~Sws() { sws_freeContext(ctx); }
};

void PlaneJobs(int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    for (bool bilinear : {true, false}) {
        const std::string how = bilinear ? " bilinear " : " nearest ";
        const IMAGE_INTERPOLATION ours = bilinear ? IMAGE_INTERPOLATION_BILINEAR : IMAGE_INTERPOLATION_NEAREST;
        const libyuv::FilterMode yuv = bilinear ? libyuv::kFilterBilinear : libyuv::kFilterNone;
        const int sws = bilinear ? SWS_BILINEAR : SWS_POINT;
        auto src = std::make_shared<Picture>(sw, sh), dst = std::make_shared<Picture>(dw, dh);

        // Luma: the descriptors address the Y planes.
        const std::string y = "PlaneY" + how + size;
        qvbench::Job(y, "ours", [=] {
            IMG_PARAM s{src->y.data(), sw, sh, sw, 8, 0, 0, sw, sh}, d{dst->y.data(), dw, dh, dw, 8, 0, 0, dw, dh};
            ImageResizeY(s, d, ours);
        });
        qvbench::Job(y, "libyuv", [=] {
            libyuv::ScalePlane(src->y.data(), sw, sw, sh, dst->y.data(), dw, dw, dh, yuv);
        });
        auto gray = std::make_shared<Sws>(sw, sh, dw, dh, AV_PIX_FMT_GRAY8, sws);
        qvbench::Job(y, "swscale", [=] {
            const uint8_t* in[1] = {src->y.data()};
            uint8_t* out[1] = {dst->y.data()};
            const int inPitch[1] = {sw}, outPitch[1] = {dw};
            sws_scale(gray->ctx, in, inPitch, 0, sh, out, outPitch);
        });

        // Chroma: half-size planes, addressed with luma coordinates by ours.
        const int scw = (sw + 1) / 2, sch = (sh + 1) / 2, dcw = (dw + 1) / 2, dch = (dh + 1) / 2;
        const std::string uv = "PlaneUV" + how + size;
        qvbench::Job(uv, "ours", [=] {
            IMG_PARAM s{src->u.data(), sw, sh, scw, 8, 0, 0, sw, sh}, d{dst->u.data(), dw, dh, dcw, 8, 0, 0, dw, dh};
            ImageResizeUV(s, d, ours);
        });
        qvbench::Job(uv, "libyuv", [=] {
            libyuv::ScalePlane(src->u.data(), scw, scw, sch, dst->u.data(), dcw, dcw, dch, yuv);
        });
        auto half = std::make_shared<Sws>(scw, sch, dcw, dch, AV_PIX_FMT_GRAY8, sws);
        qvbench::Job(uv, "swscale", [=] {
            const uint8_t* in[1] = {src->u.data()};
            uint8_t* out[1] = {dst->u.data()};
            const int inPitch[1] = {scw}, outPitch[1] = {dcw};
            sws_scale(half->ctx, in, inPitch, 0, sch, out, outPitch);
        });

        const std::string yv12 = "YV12" + how + size;
        qvbench::Job(yv12, "ours", [=] {
            IMG_PARAM s{nullptr, sw, sh, 0, 8, 0, 0, sw, sh}, d{nullptr, dw, dh, 0, 8, 0, 0, dw, dh};
            ImageResizeYV12(s, src->y.data(), src->u.data(), src->v.data(), sw, scw, scw, d, dst->y.data(),
                            dst->u.data(), dst->v.data(), dw, dcw, dcw, ours);
        });
        qvbench::Job(yv12, "libyuv", [=] {
            libyuv::I420Scale(src->y.data(), sw, src->u.data(), scw, src->v.data(), scw, sw, sh, dst->y.data(),
                              dw, dst->u.data(), dcw, dst->v.data(), dcw, dw, dh, yuv);
        });
        auto i420 = std::make_shared<Sws>(sw, sh, dw, dh, AV_PIX_FMT_YUV420P, sws);
        qvbench::Job(yv12, "swscale", [=] {
            const uint8_t* in[3] = {src->y.data(), src->u.data(), src->v.data()};
            uint8_t* out[3] = {dst->y.data(), dst->u.data(), dst->v.data()};
            const int inPitch[3] = {sw, scw, scw}, outPitch[3] = {dw, dcw, dcw};
            sws_scale(i420->ctx, in, inPitch, 0, sh, out, outPitch);
        });
    }
}

// The other 8-bit resizers on a luma-sized plane: the 8-bit image pair
// (bottom-up bilinear, nearest by index tables) and the averaging luma
// variant, beside the peers' bilinear, nearest and box filters.
void EightBitJobs(int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    auto src = std::make_shared<Plane>(sw, sh, 4), dst = std::make_shared<Plane>(dw, dh, 5);
    const struct { const char* name; int (*ours)(const IMG_PARAM&, IMG_PARAM&); libyuv::FilterMode yuv; int sws; } jobs[] = {
        {"Plane8 bilinear ", DIB_ResizeBiLiner8, libyuv::kFilterBilinear, SWS_BILINEAR},
        {"Plane8 nearest ", DIB_ResizeNear8, libyuv::kFilterNone, SWS_POINT},
        {"PlaneY average ", DIB_ResizeBiLinerY_Simulate, libyuv::kFilterBox, SWS_AREA}};
    for (const auto& j : jobs) {
        const std::string name = j.name + size;
        const auto ours = j.ours;
        qvbench::Job(name, "ours", [=] {
            IMG_PARAM s{src->data(), sw, sh, sw, 8, 0, 0, sw, sh}, d{dst->data(), dw, dh, dw, 8, 0, 0, dw, dh};
            ours(s, d);
        });
        const libyuv::FilterMode yuv = j.yuv;
        qvbench::Job(name, "libyuv", [=] { libyuv::ScalePlane(src->data(), sw, sw, sh, dst->data(), dw, dw, dh, yuv); });
        auto gray = std::make_shared<Sws>(sw, sh, dw, dh, AV_PIX_FMT_GRAY8, j.sws);
        qvbench::Job(name, "swscale", [=] {
            const uint8_t* in[1] = {src->data()};
            uint8_t* out[1] = {dst->data()};
            const int inPitch[1] = {sw}, outPitch[1] = {dw};
            sws_scale(gray->ctx, in, inPitch, 0, sh, out, outPitch);
        });
    }
}

const int kRegistered = (PlaneJobs(1920, 1080, 1280, 720), PlaneJobs(640, 480, 1280, 720),
                         EightBitJobs(1920, 1080, 1280, 720), 0);

}  // namespace
