/// What the tests of the recognition-service client share.
#pragma once

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "ContentsRecognitionAPI.h"
#include "LogCapture.h"
#include "MainLoop.h"
#include "RecognitionService.h"
#include "TestSupport.h"

namespace cri_test {

using Api = CContentsRecognitionAPI;

/// What was logged while `body` ran.
inline std::vector<std::string> LogOf(const std::function<void()>& body) {
    ClearLog();
    body();
    std::vector<std::string> lines;
    for (const LogLine& line : LogLines()) lines.push_back(ShortForm(line));
    return lines;
}

/// Returns once the bus knows of all that the library has subscribed, and the library's connection
/// has received all that the bus had for it.
inline void Settle() {
    GVariant* reply = g_dbus_connection_call_sync(
        Api::m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    ASSERT_NE(reply, nullptr);
    g_variant_unref(reply);
}

/// While it lives no connection to the bus can be made.
class NoBus {
  public:
    NoBus() : m_address(getenv("DBUS_SYSTEM_BUS_ADDRESS")) {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/user/5001/no-bus", 1);
    }
    ~NoBus() { setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1); }
    NoBus(const NoBus&) = delete;
    NoBus& operator=(const NoBus&) = delete;

  private:
    std::string m_address;
};

inline std::chrono::milliseconds Duration(const std::function<void()>& body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

/// What an operation may take when nobody answers. Other load on the machine only adds, so that the
/// shortest of a few tries is what counts.
constexpr std::chrono::milliseconds kLongestCall(2050);
inline std::chrono::milliseconds ShortestDuration(const std::function<void()>& body) {
    std::chrono::milliseconds shortest = std::chrono::hours(1);
    for (int attempt = 0; attempt < 3 && shortest > kLongestCall; ++attempt)
        shortest = std::min(shortest, Duration(body));
    return shortest;
}

}  // namespace cri_test
