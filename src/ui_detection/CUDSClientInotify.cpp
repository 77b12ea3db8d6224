/// The CUDS channel: its face on the message-file engine, the preparation of its files, its
/// requests.
#define CRI_LOG_UNIT "CUDSClientInotify"

#include "CUDSClientInotify.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "Channel.h"
#include "base/Immortal.h"
#include "base/Log.h"
#include "base/Wall.h"

namespace {

/// 1 while the notification thread is meant to run.
std::atomic<int> g_cudsRunning{0};
std::atomic<cri::ResultCallback> g_cudsResultCallback{nullptr};
/// Started by the last connect; null when not connected.
constinit cri::Immortal<std::shared_ptr<cri::NotificationThread>> g_cudsThread;

bool PrepareFiles();

constexpr cri::ChannelFace kFace = {
    .family = cri::ChannelFace::Family::kCri,
    .unit = CRI_LOG_UNIT,
    .resultFile = "cuds_s2c_msg",
    .requestFile = "cuds_c2s_msg",
    .resultMethod = "cuds_detected_result_callback",
    .lineLimit = 19998,
    .processResults = CUDSClientNotificationProcess,
    .joinPauseMicros = 0,
    .prepare = PrepareFiles,
    .connect = "CUDSClientInotifyConnect",
    .disconnect = "CUDSClientInotifyDisconnect",
    .thread = "CUDSClientNotificationThread",
    .process = "CUDSClientNotificationProcess",
    .send = "CUDSClientInotifySend",
    .connected = CRI_FORMAT("CUDSClientInotifyConnect Success\n"),
    .notConnected = nullptr,
    .joinFailed = CRI_FORMAT("CUDSClientInotify thread destroy failed\n"),
    .joined = CRI_FORMAT("CUDSClientInotify inofity thread destroy Success\n"),
    .processed = CRI_FORMAT("CUDSClientNotificationProcess ret : %d\n"),
    .readPriority = DLOG_ERROR,
};

bool PrepareFiles() {
    for (const char* file : {kFace.resultFile, kFace.requestFile}) {
        if (CUDSInotifyInit(file) == cri::kChannelDone) continue;
        CRI_LOG(DLOG_ERROR, kFace.connect, "%s Inotify init failed\n", file);
        return false;
    }
    return true;
}

/// Whether `resolved` is the path below the working directory, as much of it as the buffer holds.
bool IsBelowWorkingDirectory(const char* path, const char* resolved) {
    char place[500];
    if (!getcwd(place, sizeof place)) return false;
    const std::size_t length = strlen(place);
    snprintf(place + length, sizeof place - length, "/%s", path);
    return strcmp(place, resolved) == 0;
}

enum class Place { kMayBeWritten, kElsewhere, kUnusable };

/// A file that is reached through a link belongs to somebody else.
Place PlaceOf(const char* path) {
    constexpr char function[] = "CUDSInotifyInit";
    char resolved[PATH_MAX];
    if (!realpath(path, resolved)) {
        if (errno != ENOENT) {
            CRI_LOG(DLOG_ERROR, function, "CUDSInotifyInit realpath error\n");
            return Place::kUnusable;
        }
        CRI_LOG(DLOG_ERROR, function, "[WN] \"%s\" does not exist need to make it\n\n", path);
        return Place::kMayBeWritten;
    }
    const bool own = strcmp(path, resolved) == 0 || IsBelowWorkingDirectory(path, resolved);
    return own ? Place::kMayBeWritten : Place::kElsewhere;
}

bool WriteTestLine(const char* path) {
    constexpr char kLine[] = "cuds_method_ld_test\n";
    const cri::Descriptor file(
        open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
    struct stat status = {};  // a pipe whose reader goes away would raise a signal
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        CRI_LOG(DLOG_ERROR, "CUDSInotifyInit", "file open error %s\n", path);
        return false;
    }
    return write(file.Get(), kLine, sizeof kLine - 1) == static_cast<ssize_t>(sizeof kLine - 1);
}

constinit cri::Immortal<cri::FileChannel> s_channel{kFace, g_cudsRunning, g_cudsThread.object,
                                                    g_cudsResultCallback};

}  // namespace

cri::FileChannel& cri::CudsChannel() {
    return s_channel.object;
}

int CUDSInotifyInit(const char* fileName) {
    const cri::CancellationHeldOff heldOff;
    if (!fileName) return cri::kChannelNotStarted;
    char path[cri::kPathSize];
    snprintf(path, sizeof path, "%s%s", cri::kMessageDirectory, fileName);
    const Place place = PlaceOf(path);
    if (place == Place::kElsewhere) return cri::kChannelDone;
    if (place == Place::kUnusable) return cri::kChannelNotStarted;
    if (!WriteTestLine(path)) return cri::kChannelNotStarted;
    CRI_LOG(DLOG_INFO, "CUDSInotifyInit", "file write success %s\n", path);
    return cri::kChannelDone;
}

namespace {

template <class Compose>
int Send(Compose compose) {
    return cri::Walled(int{cri::kChannelFailed}, [&] { return cri::CudsChannel().Send(compose); });
}

}  // namespace

int CUDSClientInotifyConnect() {
    return cri::Walled(int{cri::kChannelNotStarted}, [] { return cri::CudsChannel().Connect(); });
}

int CUDSClientInotifyDisconnect() {
    return cri::Walled(int{cri::kChannelFailed}, [] { return cri::CudsChannel().Disconnect(); });
}

void* CUDSClientNotificationThread(void*) {
    cri::Walled([] { cri::CudsChannel().WatchBeside(); });
    return nullptr;
}

int CUDSClientNotificationProcess() {
    char lines[2 * kFace.lineLimit];
    return cri::Walled(int{cri::kChannelFailed},
                       [&lines] { return cri::CudsChannel().Process(lines); });
}

int CUDSClientInotifySend(const char* method, int value1, int value2, int value3, int value4) {
    if (!method) return cri::kChannelFailed;
    return Send([=](char* message, std::size_t size) {
        CRI_LOG(DLOG_ERROR, kFace.send,
                "[C2S Inotify Send] %s | hdmiport(%d) isSTB(%d) adaptivesound "
                "(%d)multivew_onoff(%d)\n",
                method, value1, value2, value3, value4);
        snprintf(message, size, "%s\n%d %d %d %d \n", method, value1, value2, value3, value4);
    });
}

int CUDSClientInotifySend(const char* method, void* value) {
    if (!method) return cri::kChannelFailed;
    const auto number = reinterpret_cast<std::size_t>(value);
    return Send([=](char* message, std::size_t size) {
        CRI_LOG(DLOG_ERROR, kFace.send, "[C2S Inotify Send] %s | adaptivesound (%zu)\n", method,
                number);
        snprintf(message, size, "%s\n%zu\n", method, number);
    });
}

int CUDSRegisterDetectionResultCallback(void (*callback)(std::string payload)) {
    g_cudsResultCallback.store(callback, std::memory_order_release);
    return cri::kChannelDone;
}
