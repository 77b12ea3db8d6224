/// Samples in fresh processes, taken in turn, so that a drift of the machine hits both ways.
#include "Interleaved.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <vector>

namespace cri_bench {
namespace {

/// The child's part: takes the sample, sends it, and ends without running the parent's exit
/// handlers.
[[noreturn]] void SendSample(const Sample& sample, int pipeEnd) {
    double seconds = -1;
    try {
        seconds = sample();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "benchmark: %s\n", error.what());
    }
    const bool sent = write(pipeEnd, &seconds, sizeof seconds) == sizeof seconds;
    _exit(sent ? 0 : 1);
}

/// @return a negative number when the sample could not be taken
double InFreshProcess(const Sample& sample) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) SendSample(sample, ends[1]);
    close(ends[1]);
    double seconds = -1;
    if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds) seconds = -1;
    close(ends[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return seconds;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

bool Compare(const Comparison& comparison, int rounds) {
    InFreshProcess(comparison.bare);  // warms the machine up
    InFreshProcess(comparison.library);
    std::vector<double> bare, library, ratios;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(InFreshProcess(comparison.bare));
        library.push_back(InFreshProcess(comparison.library));
        if (bare.back() <= 0 || library.back() <= 0) {
            std::printf("%-44s could not be measured\n", comparison.title.c_str());
            return false;
        }
        ratios.push_back(library.back() / bare.back());
    }
    const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-44s bare %8.2f us  library %8.2f us  ratio %.3f (%.2f to %.2f)",
                comparison.title.c_str(), Median(bare) * 1e6, Median(library) * 1e6, Median(ratios),
                *low, *high);
    if (comparison.goal > 0) std::printf("  goal %.2f", comparison.goal);
    std::puts("");
    std::fflush(stdout);
    return true;
}

double SecondsPerCall(int count, const std::function<void()>& operation) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) operation();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    return passed.count() / count;
}

}  // namespace cri_bench
