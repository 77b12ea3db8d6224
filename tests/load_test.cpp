/// Loading and unloading the library, as an application does that has it as a plug-in.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

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

/// A channel as an application has it that knows the library's functions by their names alone.
struct LoadedChannel {
    LoadedChannel(void* library, const char* connectName, const char* disconnectName,
                  const char* setCallbackName)
        : connect(Find<int()>(library, connectName)),
          disconnect(Find<int()>(library, disconnectName)),
          setCallback(Find<int(void (*)(std::string))>(library, setCallbackName)) {}

    template <class Function>
    static Function* Find(void* library, const char* name) {
        void* const function = dlsym(library, name);
        EXPECT_NE(function, nullptr) << name;
        return reinterpret_cast<Function*>(function);
    }

    int (*const connect)();
    int (*const disconnect)();
    int (*const setCallback)(void (*callback)(std::string payload));
};

constexpr char kVdrsRecord[] = "vdrs_method_ld_callback\n{}\n";
constexpr char kCudsRecord[] = "cuds_detected_result_callback\n{}\n";

/// Rewrites the result files of both channels without a pause, each in place, for as long as it
/// lives.
class BusyPeers {
  public:
    ~BusyPeers() {
        m_stop = true;
        m_writer.join();
    }

  private:
    static void Rewrite(const MessageFile& results, const char* record) {
        std::fstream(results.Path(), std::ios::in | std::ios::out) << record << std::flush;
    }

    const MessageFile m_vdrs{"vdrs_s2c_msg"}, m_cuds{"cuds_s2c_msg"};
    std::atomic<bool> m_stop{false};
    std::thread m_writer{[this] {
        while (!m_stop) {
            Rewrite(m_vdrs, kVdrsRecord);
            Rewrite(m_cuds, kCudsRecord);
        }
    }};
};

std::atomic<bool> s_closed{false};

/// What one channel delivers before the library is closed and afterwards.
template <class Channel>
struct Deliveries {
    static inline Latch s_before{10}, s_after{100};
    static void Count(std::string payload) {
        EXPECT_EQ(payload, "{}\n");
        (s_closed ? s_after : s_before).CountDown();
    }
};
using FromVdrs = Deliveries<struct Vdrs>;
using FromCuds = Deliveries<struct Cuds>;

TEST(LoadTest, GoesOnDeliveringWhenItIsClosedWhileBothChannelsDeliver) {
    void* const library = dlopen(CRI_LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    const std::string callback = "PFvNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEE";
    const LoadedChannel vdrs(library, "_Z27VDRS_Client_Inotify_Connectv",
                             "_Z30VDRS_Client_Inotify_Disconnectv",
                             ("_Z25VDRS_Register_LD_Callback" + callback).c_str());
    const LoadedChannel cuds(library, "_Z24CUDSClientInotifyConnectv",
                             "_Z27CUDSClientInotifyDisconnectv",
                             ("_Z35CUDSRegisterDetectionResultCallback" + callback).c_str());
    ASSERT_FALSE(HasFailure());
    vdrs.setCallback(FromVdrs::Count);
    cuds.setCallback(FromCuds::Count);
    const BusyPeers peers;
    EXPECT_EQ(vdrs.connect(), 1);
    EXPECT_EQ(cuds.connect(), 1);
    EXPECT_TRUE(FromVdrs::s_before.WaitForOpen());
    EXPECT_TRUE(FromCuds::s_before.WaitForOpen());

    EXPECT_EQ(dlclose(library), 0);
    s_closed = true;
    EXPECT_TRUE(FromVdrs::s_after.WaitForOpen());
    EXPECT_TRUE(FromCuds::s_after.WaitForOpen());
    EXPECT_EQ(vdrs.disconnect(), 1);
    EXPECT_EQ(cuds.disconnect(), 1);
}

}  // namespace
