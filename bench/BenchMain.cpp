// Runs the jobs and prints ours/peer throughput ratios (above 1: we are faster).
#include "BenchJobs.h"

#include <cstdio>
#include <map>

namespace qvbench {

int Job(const std::string& job, const std::string& impl, std::function<void()> body) {
    benchmark::RegisterBenchmark((job + "/" + impl).c_str(), [body](benchmark::State& state) {
        for (auto _ : state) body();
    })->Unit(benchmark::kMicrosecond);
    return 0;
}

std::vector<uint8_t> Noise(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    uint32_t s = seed * 2654435761u + 1;
    for (auto& b : v) b = uint8_t((s = s * 1103515245u + 12345u) >> 16);
    return v;
}

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            // With repetitions the median stands for the job; a single run
            // stands for itself.
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (!median && run.run_type != Run::RT_Iteration) continue;
            const std::string name = run.run_name.str();
            const size_t slash = name.rfind('/');
            Entry& e = m_cpu[name.substr(0, slash)][name.substr(slash + 1)];
            if (median || !e.median) e = Entry{run.GetAdjustedCPUTime(), median};
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        const char* peers[] = {"libyuv", "swscale", "swresample"};
        std::printf("\nOur throughput over each peer's (above 1.00x: faster)\n%-56s %11s", "job", "ours us");
        for (const char* peer : peers) std::printf(" %11s", peer);
        std::printf("\n");
        for (const auto& [job, impls] : m_cpu) {
            auto ours = impls.find("ours");
            if (ours == impls.end()) continue;
            std::printf("%-56s %11.1f", job.c_str(), ours->second.cpu);
            for (const char* peer : peers) {
                auto it = impls.find(peer);
                if (it == impls.end())
                    std::printf(" %11s", "-");
                else
                    std::printf(" %10.2fx", it->second.cpu / ours->second.cpu);
            }
            std::printf("\n");
        }
    }

private:
    struct Entry {
        double cpu = 0;  // microseconds of CPU time per iteration
        bool median = false;
    };
    std::map<std::string, std::map<std::string, Entry>> m_cpu;
};

}  // namespace
}  // namespace qvbench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    qvbench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
