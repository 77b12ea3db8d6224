/// The main function of every test binary: a world of its own first, then the tests.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "LogCapture.h"
#include "dlog.h"

namespace {

/// What the runtimes read when they start, so that it must stand in the environment by then.
/// Whoever runs a test by hand may have set something else.
void SetDefaults() {
    setenv("G_DEBUG", "fatal-criticals", 0);
    setenv("ASAN_OPTIONS", "detect_leaks=1", 0);
    setenv("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1", 0);
    setenv("TSAN_OPTIONS",
           "suppressions=" CRI_TEST_SOURCES "/tsan.supp:print_suppressions=0:halt_on_error=1", 0);
}

bool OnlyLists(int argc, char** argv) {
    return std::any_of(argv, argv + argc, [](const char* argument) {
        return std::string_view(argument) == "--gtest_list_tests";
    });
}

/// Starts this program again inside a world. Returns only when that fails.
int EnterWorld(int argc, char** argv) {
    SetDefaults();
    std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::string launcher = CRI_WORLD_PROGRAM, separator = "--";
    std::vector<char*> command{launcher.data(), separator.data(), self.data()};
    command.insert(command.end(), argv + 1, argv + argc);
    command.push_back(nullptr);
    execv(CRI_WORLD_PROGRAM, command.data());
    perror("cannot run " CRI_WORLD_PROGRAM);
    return 1;
}

/// Without this the tests would read an empty log and some would pass for it.
bool LogIsCaptured() {
    return dlsym(RTLD_DEFAULT, "dlog_print") == reinterpret_cast<void*>(&dlog_print);
}

/// A test that fails shows what was logged meanwhile.
class LogOnFailure : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& test) override {
        if (!test.result()->Failed()) return;
        for (const cri_test::LogLine& line : cri_test::LogLines())
            fprintf(stderr, "log %d %s %s", line.priority, line.tag.c_str(), line.text.c_str());
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (!getenv("CRI_WORLD_BUS_PID") && !OnlyLists(argc, argv)) return EnterWorld(argc, argv);
    if (!LogIsCaptured()) {
        fputs("the log goes past the tests: dlog_print is not exported by this program\n", stderr);
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new LogOnFailure);
    return RUN_ALL_TESTS();
}
