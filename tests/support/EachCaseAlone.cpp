/// A test binary outside a world: starts each case in a process and a world of its own.
#include "EachCaseAlone.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace cri_test {
namespace {

using Words = std::vector<std::string>;

/// Set for a case that is one of many: its process leaves the totals to the one that started it.
constexpr char kOneOfMany[] = "CRI_TEST_ONE_OF_MANY";

/// What the runtimes read when they start, so that it must stand in the environment by then.
/// Whoever runs a test by hand may have set something else.
void SetDefaults() {
    setenv("G_DEBUG", "fatal-criticals", 0);
    setenv("ASAN_OPTIONS", "detect_leaks=1", 0);
    setenv("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1", 0);
    setenv("TSAN_OPTIONS",
           "suppressions=" CRI_TEST_SOURCES "/tsan.supp:print_suppressions=0:halt_on_error=1", 0);
}

bool IsTraced() {
    std::ifstream status("/proc/self/status");
    std::string word;
    int tracer = 0;
    while (status >> word)
        if (word == "TracerPid:") status >> tracer;
    return tracer != 0;
}

std::string Self() {
    return std::filesystem::read_symlink("/proc/self/exe");
}

/// Known once a run has begun.
Words ChosenCases() {
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    Words names;
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo& test = *suite.GetTestInfo(j);
            if (test.should_run()) names.push_back(std::string(suite.name()) + "." + test.name());
        }
    }
    return names;
}

/// Returns only when it fails.
void Execute(Words command) {
    std::vector<char*> words;
    for (std::string& word : command) words.push_back(word.data());
    words.push_back(nullptr);
    execv(words[0], words.data());
    perror(words[0]);
}

bool Passes(const Words& command) {
    fflush(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        Execute(command);
        _exit(1);
    }
    int status = 0;
    return process > 0 && waitpid(process, &status, 0) == process && status == 0;
}

/// In place of a run, once gtest knows what was asked for.
class EachCaseAlone : public testing::EmptyTestEventListener {
  public:
    explicit EachCaseAlone(Words arguments) : m_arguments(std::move(arguments)) {}

  private:
    void OnTestProgramStart(const testing::UnitTest&) override { exit(Run()); }

    /// Of a flag that is given twice the last counts.
    Words CommandFor(const std::string& name) const {
        Words command{CRI_WORLD_PROGRAM, "--", Self()};
        command.insert(command.end(), m_arguments.begin(), m_arguments.end());
        command.insert(command.end(), {"--gtest_filter=" + name, "--gtest_repeat=1"});
        return command;
    }

    int Run() const {
        const Words cases = ChosenCases();
        if (cases.empty()) {
            fprintf(stderr, "no test case matches the filter %s\n", GTEST_FLAG_GET(filter).c_str());
            return 1;
        }
        if (IsTraced()) return SayHowToDebug(cases.front());
        SetDefaults();
        unsetenv("GTEST_TOTAL_SHARDS");  // this shard's cases are chosen already
        if (cases.size() > 1 || GTEST_FLAG_GET(repeat) != 1) return RunAll(cases);
        Execute(CommandFor(cases.front()));
        return 1;
    }

    static int SayHowToDebug(const std::string& name) {
        fprintf(stderr,
                "A debugger sees only this process, and each case runs in another, in a world of "
                "its own.\nStart the debugger in the world of one case:\n\n"
                "    %s -- gdb --args %s --gtest_filter=%s\n",
                CRI_WORLD_PROGRAM, Self().c_str(), name.c_str());
        return 1;
    }

    int RunAll(const Words& cases) const {
        if (!GTEST_FLAG_GET(output).empty()) {
            fputs("--gtest_output is for one case: each runs in a process of its own\n", stderr);
            return 1;
        }
        setenv(kOneOfMany, "1", 1);
        printf("Test filter: %s\n%zu cases, each in a process and a world of its own\n",
               GTEST_FLAG_GET(filter).c_str(), cases.size());
        bool passed = true;
        for (int round = 0; round != GTEST_FLAG_GET(repeat); ++round)
            passed = RunOnce(cases) && passed;
        return passed ? 0 : 1;
    }

    bool RunOnce(const Words& cases) const {
        Words failed;
        for (const std::string& name : cases)
            if (!Passes(CommandFor(name))) failed.push_back(name);
        printf("%zu of %zu cases passed\n", cases.size() - failed.size(), cases.size());
        for (const std::string& name : failed) printf("[  FAILED  ] %s\n", name.c_str());
        return failed.empty();
    }

    Words m_arguments;
};

/// Leaves out the totals.
class CaseAlone : public testing::EmptyTestEventListener {
  public:
    explicit CaseAlone(testing::TestEventListener* printer) : m_printer(printer) {}

  private:
    void OnTestStart(const testing::TestInfo& test) override { m_printer->OnTestStart(test); }
    void OnTestPartResult(const testing::TestPartResult& result) override {
        m_printer->OnTestPartResult(result);
    }
    void OnTestEnd(const testing::TestInfo& test) override { m_printer->OnTestEnd(test); }

    std::unique_ptr<testing::TestEventListener> m_printer;
};

/// A case that has run before leaves the library connected, and may have killed the bus.
class OneCaseOnly : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest&) override {
        const std::size_t cases = ChosenCases().size();
        if (cases == 1) return;
        fprintf(stderr, "%zu cases match the filter %s; a world is for one\n", cases,
                GTEST_FLAG_GET(filter).c_str());
        exit(1);
    }
};

}  // namespace

bool IsInAWorld() {
    return getenv("CRI_WORLD_BUS_PID") != nullptr;
}

void RunEachCaseAlone(int argc, char** argv) {
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    listeners.Append(new EachCaseAlone(Words(argv + 1, argv + argc)));
}

void RunOneCaseHere() {
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    listeners.Append(new OneCaseOnly);
    if (getenv(kOneOfMany))
        listeners.Append(new CaseAlone(listeners.Release(listeners.default_result_printer())));
}

}  // namespace cri_test
