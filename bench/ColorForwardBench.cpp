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

#include <functional>
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

// One job: ours, libyuv (a negative height flips) and libswscale (a
// bottom-up source starts at its last row with a negative stride).
void Jobs(const std::string& job, const std::shared_ptr<Frame>& f, bool bottomUp,
          std::function<void(Frame&)> ours) {
    qvbench::Job(job, "ours", [f, ours] { ours(*f); });
    qvbench::Job(job, "libyuv", [f, bottomUp] {
        auto convert = f->bpp == 4 ? libyuv::ARGBToI420 : libyuv::RGB24ToI420;
        convert(f->rgb.data(), f->pitch, f->y.data(), kW, f->u.data(), kW / 2, f->v.data(), kW / 2,
                kW, bottomUp ? -kH : kH);
    });
    auto sws = std::make_shared<Sws>(f->bpp == 4 ? AV_PIX_FMT_BGRA : AV_PIX_FMT_BGR24);
    qvbench::Job(job, "swscale", [f, sws, bottomUp] {
        const uint8_t* in[1] = {f->rgb.data() + (bottomUp ? size_t(f->pitch) * (kH - 1) : 0)};
        const int inPitch[1] = {bottomUp ? -f->pitch : f->pitch};
        uint8_t* out[3] = {f->y.data(), f->u.data(), f->v.data()};
        const int outPitch[3] = {kW, kW / 2, kW / 2};
        sws_scale(sws->ctx, in, inPitch, 0, kH, out, outPitch);
    });
}

int Register() {
    auto f32 = std::make_shared<Frame>(4), f24 = std::make_shared<Frame>(3);
    Jobs("Rgb32_2_yuv420 1920x1080", f32, true, [](Frame& f) {
        Rgb32_2_yuv420(f.y.data(), f.u.data(), f.v.data(), kW, kW / 2, kW / 2, &f.header,
                       f.rgb.data());
    });
    Jobs("Argb_2_yuv420 1920x1080", f32, false, [](Frame& f) {
        Argb_2_yuv420(f.y.data(), f.u.data(), f.v.data(), kW, kW / 2, kW / 2, &f.header,
                      f.rgb.data());
    });
    Jobs("Rgb24_2_yuv420 1920x1080", f24, true, [](Frame& f) {
        Rgb24_2_yuv420(f.y.data(), f.u.data(), f.v.data(), kW, kW / 2, kW / 2, &f.header,
                       f.rgb.data());
    });
    Jobs("Rgb32_2_yuv420_Ex top-down 1920x1080", f32, false, [](Frame& f) {
        Rgb32_2_yuv420_Ex(f.y.data(), f.u.data(), f.v.data(), kW, kW / 2, kW / 2, f.rgb.data(), kW,
                          kH, f.pitch);
    });
    return 0;
}

const int kRegistered = Register();

}  // namespace
