/// Compares two ways of doing the same thing, each sample in a fresh process, in turn.
#pragma once

#include <functional>
#include <string>

namespace cri_bench {

/// Runs in a process of its own and gives the seconds that one operation took.
using Sample = std::function<double()>;

struct Comparison {
    std::string title;
    double goal;  ///< the ratio that the second way is to stay within; 0 for none
    Sample bare;
    Sample library;
};

/// Takes `rounds` samples of both ways, bare first, and prints the medians and the median of the
/// ratios of each round. The calling process must have one thread only.
/// @return whether every sample could be taken
bool Compare(const Comparison& comparison, int rounds);

/// Seconds that one call of `operation` takes, over `count` of them.
double SecondsPerCall(int count, const std::function<void()>& operation);

}  // namespace cri_bench
