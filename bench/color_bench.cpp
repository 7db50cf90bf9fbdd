// YUV to RGB colour conversion throughput at 1080p, beside libyuv doing the same job.
#include <benchmark/benchmark.h>

#include <quevarra/qv_color.h>

#include <stdint.h>

#include <random>
#include <vector>

#if 1
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#endif

namespace {

constexpr int kW = 1920;
constexpr int kH = 1080;

struct Frame {
    BITMAPINFOHEADER header{};
    std::vector<uint8_t> rgb32, y, u, v;
    Frame() : rgb32(size_t(kW) * kH * 4), y(size_t(kW) * kH), u(size_t(kW / 2) * (kH / 2)), v(u.size()) {
        header.biSize = sizeof header;
        header.biWidth = kW;
        header.biHeight = kH;
        header.biPlanes = 1;
        header.biBitCount = 32;
        std::mt19937 rng(1);
        for (auto& b : rgb32) b = uint8_t(rng());
        for (auto& b : y) b = uint8_t(16 + rng() % 220);
        for (auto& b : u) b = uint8_t(16 + rng() % 225);
        for (auto& b : v) b = uint8_t(16 + rng() % 225);
    }
};

void SetPixels(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * int64_t{kW} * kH);
}

void BM_Yuv420_2_rgb32(benchmark::State& state) {
    Frame f;
    for (auto _ : state) {
        Yuv420_2_rgb32(&f.header, f.rgb32.data(), f.y.data(), f.u.data(), f.v.data(), kW, kW / 2, kW / 2);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_Yuv420_2_rgb32);

#if 1
void BM_libyuv_I420ToARGB(benchmark::State& state) {
    Frame f;
    for (auto _ : state) {
        libyuv::I420ToARGB(f.y.data(), kW, f.u.data(), kW / 2, f.v.data(), kW / 2, f.rgb32.data(),
                           kW * 4, kW, -kH);
        benchmark::ClobberMemory();
    }
    SetPixels(state);
}
BENCHMARK(BM_libyuv_I420ToARGB);
#endif

}  // namespace
