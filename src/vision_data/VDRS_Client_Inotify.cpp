/// The VDRS channel: its face on the message-file engine, and its requests.
#define CRI_LOG_UNIT "VDRS_Client_Inotify"

#include "VDRS_Client_Inotify.h"

#include <string.h>

#include "Channel.h"
#include "base/Immortal.h"
#include "base/Log.h"
#include "base/Wall.h"

namespace {

/// 1 while the notification thread is meant to run.
std::atomic<int> g_vdrsRunning{0};
std::atomic<cri::ResultCallback> g_vdrsResultCallback{nullptr};
/// Started by the last connect; null when not connected.
constinit cri::Immortal<std::shared_ptr<cri::NotificationThread>> g_vdrsThread;

constexpr cri::ChannelFace kFace = {
    .family = cri::ChannelFace::Family::kVdr,
    .unit = CRI_LOG_UNIT,
    .resultFile = "vdrs_s2c_msg",
    .requestFile = "vdrs_c2s_msg",
    .resultMethod = "vdrs_method_ld_callback",
    .lineLimit = 1998,
    .processResults = VDRS_Client_Notification_Process,
    .joinPauseMicros = 10000,
    .prepare = nullptr,
    .connect = "VDRS_Client_Inotify_Connect",
    .disconnect = "VDRS_Client_Inotify_Disconnect",
    .thread = "VDRS_Client_Notification_Thread",
    .process = "VDRS_Client_Notification_Process",
    .send = "VDRS_Client_Inotify_Send",
    .connected = VDR_FORMAT("VDRS_Client_Inotify_Connect Success\n"),
    .notConnected = VDR_FORMAT("already not existed connection\n"),
    .joinFailed = VDR_FORMAT("VDRS_Client inofity thread destroy failed\n"),
    .joined = VDR_FORMAT("VDRS_Client inofity thread destroy Success\n"),
    .processed = VDR_FORMAT("VDRS_Client_Notification_Process ret : %d\n"),
    .readPriority = DLOG_INFO,
};

/// The values line of a request that has values; others have no text at all.
void ComposeValues(char* message, std::size_t size, const char* method, int viewing, int bHDMI,
                   int deviceType, const char* deviceName, int captureMode) {
    if (strcmp(method, "vdrs_method_ld_start") == 0 || strcmp(method, "vdrs_method_ld_resume") == 0)
        snprintf(message, size, "%s\n%d %d %d %s %d \n", method, viewing, bHDMI, deviceType,
                 deviceName, captureMode);
    else if (strcmp(method, "vdrs_method_ld_change") == 0)
        snprintf(message, size, "%s\n%d\n", method, captureMode);
}

constinit cri::Immortal<cri::FileChannel> s_channel{kFace, g_vdrsRunning, g_vdrsThread.object,
                                                    g_vdrsResultCallback};

}  // namespace

cri::FileChannel& cri::VdrsChannel() {
    return s_channel.object;
}

namespace {

template <class Compose>
int Send(Compose compose) {
    return cri::Walled(int{cri::kChannelFailed}, [&] { return cri::VdrsChannel().Send(compose); });
}

}  // namespace

int VDRS_Client_Inotify_Connect() {
    return cri::Walled(int{cri::kChannelNotStarted}, [] { return cri::VdrsChannel().Connect(); });
}

int VDRS_Client_Inotify_Disconnect() {
    return cri::Walled(int{cri::kChannelFailed}, [] { return cri::VdrsChannel().Disconnect(); });
}

void* VDRS_Client_Notification_Thread(void*) {
    cri::Walled([] { cri::VdrsChannel().WatchBeside(); });
    return nullptr;
}

int VDRS_Client_Notification_Process() {
    char lines[2 * kFace.lineLimit];
    return cri::Walled(int{cri::kChannelFailed},
                       [&lines] { return cri::VdrsChannel().Process(lines); });
}

int VDRS_Client_Inotify_Send(const char* method, void*) {
    if (!method) return cri::kChannelFailed;
    return Send([method](char* message, std::size_t size) {
        VDR_LOG(DLOG_ERROR, kFace.send, "[C2S Inotify Send] %s \n", method);
        snprintf(message, size, "%s\n", method);
    });
}

int VDRS_Client_Inotify_Send(const char* method, int viewing, int bHDMI, int deviceType,
                             std::string deviceName, int captureMode) {
    if (!method) return cri::kChannelFailed;
    return Send([&](char* message, std::size_t size) {
        VDR_LOG(DLOG_ERROR, kFace.send,
                "[C2S Inotify Send] %s | param0-viewing(%d), param1(%d) param2(%d) param3(%s) "
                "param4(%d)\n",
                method, viewing, bHDMI, deviceType, deviceName.c_str(), captureMode);
        ComposeValues(message, size, method, viewing, bHDMI, deviceType, deviceName.c_str(),
                      captureMode);
    });
}

int VDRS_Register_LD_Callback(void (*callback)(std::string payload)) {
    g_vdrsResultCallback.store(callback, std::memory_order_release);
    return cri::kChannelDone;
}
