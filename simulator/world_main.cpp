/// cri-world: runs a program in a world of its own.
#include <stdio.h>

#include <exception>
#include <string>
#include <vector>

#include "PrivateWorld.h"

namespace {

constexpr int kUsageError = 2;
constexpr int kNoWorld = 125;

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    auto bus = cri_sim::PrivateWorld::Bus::kPrivate;
    if (!words.empty() && words.front() == "--no-bus") {
        bus = cri_sim::PrivateWorld::Bus::kNone;
        words.erase(words.begin());
    }
    if (words.size() < 2 || words.front() != "--") {
        fputs("usage: cri-world [--no-bus] -- PROGRAM [ARGUMENTS]\n", stderr);
        return kUsageError;
    }
    words.erase(words.begin());
    try {
        return cri_sim::PrivateWorld(bus).Run(words);
    } catch (const std::exception& error) {
        fprintf(stderr, "cri-world: %s\n", error.what());
        return kNoWorld;
    }
}
