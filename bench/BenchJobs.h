// Benchmark jobs: one job ("PlaneY bilinear 1920x1080->1280x720") run by
// several implementations ("ours", "libyuv", "swscale") on the same buffers.
// The reporter prints, per job, our throughput over each peer's.
#ifndef QUEVARRA_BENCH_BENCHJOBS_H
#define QUEVARRA_BENCH_BENCHJOBS_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qvbench {

// Registers `body` (called once per iteration) as `impl` of `job`.
// `setup`, when given, runs once before timing and builds the buffers.
int Job(const std::string& job, const std::string& impl, std::function<void()> body);

// Pseudo-random bytes, the same on every run.
std::vector<uint8_t> Noise(size_t n, uint32_t seed);

}  // namespace qvbench

#endif
