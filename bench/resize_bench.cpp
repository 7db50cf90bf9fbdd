// Plane resize speed: our bilinear luma/chroma resizers against libyuv's
// bilinear plane scaler on the same picture sizes.
#include <benchmark/benchmark.h>

#include <quevarra/qv_image.h>

#include <cstdint>
#include <vector>

#ifdef QV_HAVE_LIBYUV
#include <libyuv/scale.h>
#endif

namespace {

struct Picture {
    int w, h;
    std::vector<uint8_t> y, uv;
    Picture(int width, int height)
        : w(width), h(height), y(size_t(width) * height), uv(size_t(CW()) * CH()) {
        uint32_t s = 1;
        for (auto& b : y)
            b = uint8_t((s = s * 1103515245u + 12345u) >> 16);
        for (auto& b : uv)
            b = uint8_t((s = s * 1103515245u + 12345u) >> 16);
    }
    int CW() const { return (w + 1) / 2; }
    int CH() const { return (h + 1) / 2; }
    // Luma rectangle covering the whole picture, on the given plane.
    IMG_PARAM Desc(std::vector<uint8_t>& plane, int pitch) {
        return IMG_PARAM{plane.data(), w, h, pitch, 8, 0, 0, w, h};
    }
};

void Sizes(benchmark::internal::Benchmark* b) {
    b->Args({1920, 1080, 1280, 720})->Args({640, 480, 320, 240});
}

void BM_QvLumaBiLinear(benchmark::State& state) {
    Picture src(int(state.range(0)), int(state.range(1)));
    Picture dst(int(state.range(2)), int(state.range(3)));
    IMG_PARAM s = src.Desc(src.y, src.w), d = dst.Desc(dst.y, dst.w);
    for (auto _ : state) {
        ImageResizeY(s, d, IMAGE_INTERPOLATION_BILINEAR);
        benchmark::DoNotOptimize(dst.y.data());
    }
}
BENCHMARK(BM_QvLumaBiLinear)->Apply(Sizes);

void BM_QvChromaBiLinear(benchmark::State& state) {
    Picture src(int(state.range(0)), int(state.range(1)));
    Picture dst(int(state.range(2)), int(state.range(3)));
    IMG_PARAM s = src.Desc(src.uv, src.CW()), d = dst.Desc(dst.uv, dst.CW());
    for (auto _ : state) {
        ImageResizeUV(s, d, IMAGE_INTERPOLATION_BILINEAR);
        benchmark::DoNotOptimize(dst.uv.data());
    }
}
BENCHMARK(BM_QvChromaBiLinear)->Apply(Sizes);

#ifdef QV_HAVE_LIBYUV
void BM_LibyuvLumaBilinear(benchmark::State& state) {
    Picture src(int(state.range(0)), int(state.range(1)));
    Picture dst(int(state.range(2)), int(state.range(3)));
    for (auto _ : state) {
        libyuv::ScalePlane(src.y.data(), src.w, src.w, src.h, dst.y.data(), dst.w, dst.w, dst.h,
                           libyuv::kFilterBilinear);
        benchmark::DoNotOptimize(dst.y.data());
    }
}
BENCHMARK(BM_LibyuvLumaBilinear)->Apply(Sizes);

void BM_LibyuvChromaBilinear(benchmark::State& state) {
    Picture src(int(state.range(0)), int(state.range(1)));
    Picture dst(int(state.range(2)), int(state.range(3)));
    for (auto _ : state) {
        libyuv::ScalePlane(src.uv.data(), src.CW(), src.CW(), src.CH(), dst.uv.data(), dst.CW(),
                           dst.CW(), dst.CH(), libyuv::kFilterBilinear);
        benchmark::DoNotOptimize(dst.uv.data());
    }
}
BENCHMARK(BM_LibyuvChromaBilinear)->Apply(Sizes);
#endif

}  // namespace
