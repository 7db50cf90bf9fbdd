// RGB to planar 4:2:0 at 1920x1080 beside libyuv and libswscale doing the
// same job on the same buffers: 32-bit bottom-up and top-down, 24-bit
// bottom-up, and the explicit-pitch form top-down. Bottom-up sources are
// handed to the peers flipped (negative height for libyuv, the last row and a
// negative stride for libswscale).
#include <quevarra/qv_color.h>

#include <libyuv/convert.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "BenchJobs.h"

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;

struct Frame {
    int bpp;
    int pitch;
    BITMAPINFOHEADER header{};
    std::vector<uint8_t> rgb, y, u, v;
    explicit Frame(int bytesPerPixel)
        : bpp(bytesPerPixel),
          pitch((kW * bpp + 3) & ~3),
          rgb(qvbench::Noise(size_t(pitch) * kH, 7)),
          y(size_t(kW) * kH),
          u(size_t(kW / 2) * (kH / 2)),
          v(u.size()) {
        header.biSize = sizeof header;
        header.biWidth = kW;
        header.biHeight = kH;
        header.biPlanes = 1;
        header.biBitCount = uint16_t(bpp * 8);
    }
};

struct Sws {
    SwsContext* ctx;
    explicit Sws(AVPixelFormat from)
        : ctx(sws_getContext(kW, kH, from, kW, kH, AV_PIX_FMT_YUV420P, SWS_POINT, nullptr, nullptr,
                             nullptr)) {}
    ~Sws() { sws_freeContext(ctx); }
};

// libswscale on the same frame; bottom-up rows start at the last one.
void SwsJob(const std::string& job, const std::shared_ptr<Frame>& f, AVPixelFormat from, bool bottomUp) {
    auto sws = std::make_shared<Sws>(from);
    qvbench::Job(job, "swscale", [f, sws, bottomUp] {
        const uint8_t* in[1] = {f->rgb.data() + (bottomUp ? size_t(f->pitch) * (kH - 1) : 0)};
        const int inPitch[1] = {bottomUp ? -f->pitch : f->pitch};
        uint8_t* out[3] = {f->y.data(), f->u.data(), f->v.data()};
        const int outPitch[3] = {kW, kW / 2, kW / 2};
        sws_scale(sws->ctx, in, inPitch, 0, kH, out, outPitch);
    });
}

int Register() {
    const std::string size = " 1920x1080";
    auto f32 = std::make_shared<Frame>(4), f24 = std::make_shared<Frame>(3);

    const std::string rgb32 = "Rgb32_2_yuv420" + size;
    qvbench::Job(rgb32, "ours", [f = f32] {
        Rgb32_2_yuv420(f->y.data(), f->u.data(), f->v.data(), kW, kW / 2, kW / 2, &f->header, f->rgb.data());
    });
    qvbench::Job(rgb32, "libyuv", [f = f32] {
        libyuv::ARGBToI420(f->rgb.data(), f->pitch, f->y.data(), kW, f->u.data(), kW / 2, f->v.data(), kW / 2,
                           kW, -kH);
    });
    SwsJob(rgb32, f32, AV_PIX_FMT_BGRA, true);

    const std::string argb = "Argb_2_yuv420" + size;
    qvbench::Job(argb, "ours", [f = f32] {
        Argb_2_yuv420(f->y.data(), f->u.data(), f->v.data(), kW, kW / 2, kW / 2, &f->header, f->rgb.data());
    });
    qvbench::Job(argb, "libyuv", [f = f32] {
        libyuv::ARGBToI420(f->rgb.data(), f->pitch, f->y.data(), kW, f->u.data(), kW / 2, f->v.data(), kW / 2,
                           kW, kH);
    });
    SwsJob(argb, f32, AV_PIX_FMT_BGRA, false);

    const std::string rgb24 = "Rgb24_2_yuv420" + size;
    qvbench::Job(rgb24, "ours", [f = f24] {
        Rgb24_2_yuv420(f->y.data(), f->u.data(), f->v.data(), kW, kW / 2, kW / 2, &f->header, f->rgb.data());
    });
    qvbench::Job(rgb24, "libyuv", [f = f24] {
        libyuv::RGB24ToI420(f->rgb.data(), f->pitch, f->y.data(), kW, f->u.data(), kW / 2, f->v.data(), kW / 2,
                            kW, -kH);
    });
    SwsJob(rgb24, f24, AV_PIX_FMT_BGR24, true);

    const std::string ex = "Rgb32_2_yuv420_Ex top-down" + size;
    qvbench::Job(ex, "ours", [f = f32] {
        Rgb32_2_yuv420_Ex(f->y.data(), f->u.data(), f->v.data(), kW, kW / 2, kW / 2, f->rgb.data(), kW, kH,
                          f->pitch);
    });
    qvbench::Job(ex, "libyuv", [f = f32] {
        libyuv::ARGBToI420(f->rgb.data(), f->pitch, f->y.data(), kW, f->u.data(), kW / 2, f->v.data(), kW / 2,
                           kW, kH);
    });
    SwsJob(ex, f32, AV_PIX_FMT_BGRA, false);
    return 0;
}

const int kRegistered = Register();

}  // namespace
