/// What loading the library costs, against an empty library with the same dependencies.
#include <dlfcn.h>

#include <stdexcept>

#include "Interleaved.h"

namespace {

constexpr int kRounds = 101;

double Load(const char* path) {
    return cri_bench::SecondsPerCall(1, [path] {
        if (!dlopen(path, RTLD_NOW)) throw std::runtime_error(dlerror());
    });
}

}  // namespace

int main() {
    return cri_bench::Compare(
               {"loading the library", 1.05, [] { return Load(CRI_BENCH_EMPTY_LIBRARY); },
                [] { return Load(CRI_BENCH_LIBRARY); }},
               kRounds)
               ? 0
               : 1;
}
