/// Both message-file channels behind one face, so that one suite tests them both.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CUDSClientInotify.h"
#include "TestSupport.h"
#include "VDRS_Client_Inotify.h"

namespace cri_test {

using Clock = std::chrono::steady_clock;

struct Channel {
    const char* name;
    const char* resultFile;
    const char* requestFile;
    const char* resultMethod;
    std::size_t lineLimit;
    int (*connect)();
    int (*disconnect)();
    int (*process)();
    void* (*threadBody)(void*);
    int (*setCallback)(void (*callback)(std::string payload));
    const char* connectFunction;
    const char* processFunction;
};

inline constexpr Channel kVdrs = {"Vdrs",
                                  "vdrs_s2c_msg",
                                  "vdrs_c2s_msg",
                                  "vdrs_method_ld_callback",
                                  1998,
                                  VDRS_Client_Inotify_Connect,
                                  VDRS_Client_Inotify_Disconnect,
                                  VDRS_Client_Notification_Process,
                                  VDRS_Client_Notification_Thread,
                                  VDRS_Register_LD_Callback,
                                  "VDRS_Client_Inotify_Connect",
                                  "VDRS_Client_Notification_Process"};
inline constexpr Channel kCuds = {"Cuds",
                                  "cuds_s2c_msg",
                                  "cuds_c2s_msg",
                                  "cuds_detected_result_callback",
                                  19998,
                                  CUDSClientInotifyConnect,
                                  CUDSClientInotifyDisconnect,
                                  CUDSClientNotificationProcess,
                                  CUDSClientNotificationThread,
                                  CUDSRegisterDetectionResultCallback,
                                  "CUDSClientInotifyConnect",
                                  "CUDSClientNotificationProcess"};

inline void PrintTo(const Channel& channel, std::ostream* out) {
    *out << channel.name;
}

/// The payloads that a channel has delivered, and what happens in the callback.
class Payloads {
  public:
    /// Called on the notification thread with each payload, before it is counted; may be empty.
    std::function<void(const std::string&)> during;

    void Add(const std::string& payload) {
        if (during) during(payload);
        const std::lock_guard lock(m_mutex);
        m_payloads.push_back(payload);
        m_changed.notify_all();
    }
    std::vector<std::string> All() const {
        const std::lock_guard lock(m_mutex);
        return m_payloads;
    }
    bool WaitFor(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_payloads.size() >= count; });
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_payloads;
};

/// The one that the channel's callback fills; never destroyed, since a test may leave a thread
/// behind.
inline Payloads& Delivered() {
    static auto& s_payloads = *new Payloads;
    return s_payloads;
}

inline void Deliver(std::string payload) {
    Delivered().Add(payload);
}

class ChannelTest : public testing::TestWithParam<Channel> {
  protected:
    ChannelTest() : m_channel(GetParam()), m_results(m_channel.resultFile) {
        m_channel.setCallback(Deliver);
        std::thread([] {}).join();  // a sanitizer starts a thread of its own with the first one
    }

    std::string Record(const std::string& payload) const {
        return std::string(m_channel.resultMethod) + "\n" + payload + "\n";
    }

    const Channel m_channel;
    MessageFile m_results;
};

/// With results that a peer writes while the channel watches.
class WatchedChannelTest : public ChannelTest {
  protected:
    ~WatchedChannelTest() override { m_channel.disconnect(); }

    void ConnectAndDeliver(const std::string& payload) {
        ASSERT_EQ(m_channel.connect(), 1);
        const std::size_t before = Delivered().All().size();
        Rewrite(payload);
        ASSERT_TRUE(Delivered().WaitFor(before + 1));
    }

    /// Rewrites the result file in place with one modification: longer than what stood there.
    void Rewrite(const std::string& payload) {
        std::fstream file(m_results.Path(), std::ios::in | std::ios::out);
        file << Record(payload) << std::string(200, '\n') << std::flush;
    }

    /// One rewrite more, and the count after it and everything before it.
    std::size_t CountAfterAll() {
        const std::string last = "last" + std::to_string(++m_barriers);
        Rewrite(last);
        const auto limit = Clock::now() + std::chrono::seconds(5);
        while (Clock::now() < limit) {
            const auto all = Delivered().All();
            if (!all.empty() && all.back() == last + "\n") return all.size() - 1;
            Delivered().WaitFor(all.size() + 1, std::chrono::milliseconds(100));
        }
        ADD_FAILURE() << "nothing more was delivered";
        return 0;
    }

    static std::chrono::milliseconds Since(Clock::time_point start) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    }

    int m_barriers = 0;
};

inline bool IsVdrs(const Channel& channel) {
    return channel.connect == kVdrs.connect;
}

/// Of the calling thread.
inline pid_t ThreadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

#define CRI_FOR_BOTH_CHANNELS(suite)                                     \
    INSTANTIATE_TEST_SUITE_P(Both, suite, testing::Values(kVdrs, kCuds), \
                             [](const auto& channel) { return std::string(channel.param.name); })

}  // namespace cri_test
