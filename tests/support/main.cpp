/// The main function of every test binary.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "EachCaseAlone.h"
#include "LogCapture.h"
#include "dlog.h"

namespace {

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
    if (!LogIsCaptured()) {
        fputs("the log goes past the tests: dlog_print is not exported by this program\n", stderr);
        return 1;
    }
    std::vector<char*> words(argv, argv + argc);  // gtest takes its own out of argv
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new LogOnFailure);
    if (cri_test::IsInAWorld())
        cri_test::RunOneCaseHere();
    else
        cri_test::RunEachCaseAlone(static_cast<int>(words.size()), words.data());
    return RUN_ALL_TESTS();
}
