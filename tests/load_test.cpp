/// Loading and unloading the library, as an application does that has it as a plug-in.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "TestSupport.h"

namespace {

using namespace cri_test;

TEST(LoadTest, MakesTheUiDetectionClientAndNothingElseAndStaysForGood) {
    const std::size_t descriptors = OpenDescriptors(), threads = RunningThreads();
    void* const library = dlopen(CRI_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(RunningThreads(), threads);
    EXPECT_EQ(LogLines().size(), 1U);
    EXPECT_EQ(CountLogLines("ContentsUIDetectionAPI::s_pInstance"), 1U);
    EXPECT_NE(dlsym(library, "currentRecognitionStatus"), nullptr);

    // Handlers of the library may be on their way to a main loop.
    EXPECT_EQ(dlclose(library), 0);
    void* const still = dlopen(CRI_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(still, nullptr);
    dlclose(still);
}

}  // namespace
