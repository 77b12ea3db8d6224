/// The engine of both message-file channels.
#include "channel/FileChannel.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include "base/ForkedChild.h"
#include "base/Log.h"
#include "base/Wall.h"
#include "channel/JsonTools.h"

#define CRI_LOG_UNIT m_face.unit

/// A line whose text both channels share, and one whose full format is the face's.
#define CHANNEL_LOG(priority, function, text, ...)                      \
    (m_face.family == ChannelFace::Family::kVdr                         \
         ? VDR_LOG(priority, function, text __VA_OPT__(, ) __VA_ARGS__) \
         : CRI_LOG(priority, function, text __VA_OPT__(, ) __VA_ARGS__))
#define CHANNEL_LOG_FORMAT(priority, function, format, ...)                      \
    (m_face.family == ChannelFace::Family::kVdr                                  \
         ? VDR_LOG_FORMAT(priority, function, format __VA_OPT__(, ) __VA_ARGS__) \
         : CRI_LOG_FORMAT(priority, function, format __VA_OPT__(, ) __VA_ARGS__))

namespace cri {
namespace {

constexpr std::chrono::milliseconds kReadyLimit(2000);
constexpr std::chrono::milliseconds kJoinLimit(2000);
constexpr std::size_t kReadPathSize = 2000;
constexpr std::size_t kEventBuffer = 65536;

template <std::size_t size>
void ComposePath(char (&path)[size], const char* file) {
    snprintf(path, size, "%s%s", kMessageDirectory, file);
}

/// Opens what an application's peer has put there, without ever waiting for it.
int OpenRegularFile(const char* path) {
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status = {};
    if (file < 0 || (fstat(file, &status) == 0 && S_ISREG(status.st_mode))) return file;
    close(file);
    return -1;
}

/// The first word of a line; empty when it holds none.
std::string_view FirstWord(std::string_view line) {
    constexpr char kWhiteSpace[] = " \t\n\v\f\r";
    const std::size_t start = line.find_first_not_of(kWhiteSpace);
    if (start == std::string_view::npos) return {};
    const std::size_t end = line.find_first_of(kWhiteSpace, start);
    return line.substr(start, end == std::string_view::npos ? end : end - start);
}

}  // namespace

int FileChannel::Connect() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_running) {
        CHANNEL_LOG(DLOG_ERROR, m_face.connect, "already existed connection\n");
        return kChannelDone;
    }
    if (m_face.prepare && !m_face.prepare()) return kChannelNotStarted;
    m_thread = Walled(std::shared_ptr<NotificationThread>(), [this] {
        return NotificationThread::Start([this](NotificationThread& self) { Watch(&self); }, this);
    });
    if (!m_thread) {
        CHANNEL_LOG(DLOG_ERROR, m_face.connect, "Fail to create thread\n");
        return kChannelNotStarted;
    }
    m_running = 1;
    // A peer that answers at once must not be missed.
    m_thread->WaitReady(kReadyLimit);
    CHANNEL_LOG_FORMAT(DLOG_INFO, m_face.connect, m_face.connected);
    return kChannelDone;
}

std::shared_ptr<NotificationThread> FileChannel::Detach() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_running) return nullptr;
    m_running = 0;
    m_thread->Stop();
    return std::move(m_thread);
}

int FileChannel::End(const std::shared_ptr<NotificationThread>& thread) {
    if (!thread) {
        if (m_face.notConnected)
            CHANNEL_LOG_FORMAT(DLOG_ERROR, m_face.disconnect, m_face.notConnected);
        return kChannelDone;
    }
    if (m_face.joinPauseMicros) usleep(m_face.joinPauseMicros);
    const bool joined = thread->Join(kJoinLimit);
    CHANNEL_LOG_FORMAT(DLOG_ERROR, m_face.disconnect, joined ? m_face.joined : m_face.joinFailed);
    return joined ? kChannelDone : kChannelFailed;
}

void FileChannel::WatchBeside() {
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::shared_ptr<NotificationThread> connection = m_thread;
    lock.unlock();
    Watch(connection.get());
}

/// @param connection  what is served when all is set up; null for nothing
void FileChannel::Watch(NotificationThread* connection) {
    const Descriptor inotify(inotify_init1(IN_CLOEXEC));
    if (!inotify) {
        CHANNEL_LOG(DLOG_ERROR, m_face.thread, "[FILE msg] inotify_init error: %d\n", errno);
        return;
    }
    if (!WatchResultFile(inotify) || !connection) return;
    const NotificationThread::Service service(*connection);
    const JsonTools tools;  // kept for all the documents that the thread reads
    connection->SetReady();
    while (connection->Running() && HandleBatch(inotify, *connection)) {
    }
}

void FileChannel::DisconnectInChild() {
    NotificationThread::RetireInChild(this);
    // One that somebody was changing is in no state to be released.
    if (m_mutex.try_lock())
        m_thread.reset();
    else
        Renew(m_thread);
    Renew(m_mutex);
    m_running = 0;
}

bool FileChannel::WatchResultFile(const Descriptor& inotify) const {
    char path[kPathSize];
    ComposePath(path, m_face.resultFile);
    CHANNEL_LOG(DLOG_INFO, m_face.thread, "inofity path : %s\n", path);
    if (inotify_add_watch(inotify.Get(), path, IN_MODIFY) >= 0) return true;
    CHANNEL_LOG(DLOG_ERROR, m_face.thread, "inotify_add_watch error: %d\n", errno);
    return false;
}

/// Waits for a change and handles it.
/// @return false when the thread has to end
bool FileChannel::HandleBatch(const Descriptor& inotify, const NotificationThread& connection) {
    alignas(inotify_event) char buffer[kEventBuffer];
    ssize_t length = -1;
    if (connection.WaitFor(inotify.Get())) {
        if (!connection.Running()) return true;
        do {
            length = read(inotify.Get(), buffer, sizeof buffer - 1);
        } while (length < 0 && errno == EINTR);
    }
    if (length < static_cast<ssize_t>(sizeof(inotify_event))) {
        CHANNEL_LOG(DLOG_ERROR, m_face.thread, "inofity read error: %d\n", errno);
        return false;
    }
    buffer[length] = '\0';
    inotify_event first;
    memcpy(&first, buffer, sizeof first);
    CHANNEL_LOG(m_face.readPriority, m_face.thread, "inofity read len:%d, evt->len:%d\n",
                static_cast<int>(length), static_cast<int>(first.len));
    // One reading of the file covers the rest of the batch.
    if (first.mask & IN_MODIFY)
        CHANNEL_LOG_FORMAT(DLOG_INFO, m_face.thread, m_face.processed, m_face.processResults());
    else
        CHANNEL_LOG(DLOG_ERROR, m_face.thread, "inofity undefined event\n");
    return true;
}

int FileChannel::Process(std::span<char> lines) {
    char path[kReadPathSize], resolved[PATH_MAX];
    ComposePath(path, m_face.resultFile);
    const Descriptor file(OpenRegularFile(path));
    if (!file) {
        // Opening resolves the path as well; only a failure needs to know which of the two it was.
        if (realpath(path, resolved))
            CHANNEL_LOG(DLOG_ERROR, m_face.process, "file open error %s\n", path);
        else
            CHANNEL_LOG(DLOG_ERROR, m_face.process,
                        "make real path error path : %s / real_path : null\n", path);
        return kChannelFailed;
    }
    const JsonTools tools;  // kept for all the documents of the file
    LineReader reader(file.Get(), m_face.lineLimit, lines);
    Walled([&] { ReadRecords(reader); });
    return kChannelDone;
}

void FileChannel::ReadRecords(LineReader& lines) {
    std::string_view line;
    while (!NotificationThread::CurrentIsRetired(this) && lines.Next(line))
        if (!ReadRecord(lines, line)) return;
}

/// @return false when the reading of the file is over
bool FileChannel::ReadRecord(LineReader& lines, std::string_view methodLine) {
    if (!methodLine.empty())
        methodLine.remove_suffix(1);  // the newline, or what stands in its place
    const std::string method(FirstWord(methodLine));
    if (method.empty()) return true;
    CHANNEL_LOG(DLOG_ERROR, m_face.process, "s2c_msg : %s\n", method.c_str());
    if (method != m_face.resultMethod) {
        CHANNEL_LOG(DLOG_ERROR, m_face.process, "error %s\n", method.c_str());
        return true;
    }
    std::string_view payload;
    if (!lines.Next(payload)) {
        CHANNEL_LOG(DLOG_ERROR, m_face.process, "get highlight fgets error\n");
        return false;
    }
    Deliver(JsonTools::TextOf(payload));
    return true;
}

void FileChannel::Deliver(std::string payload) {
    CHANNEL_LOG(DLOG_ERROR, m_face.process, "[TEST:] %s\n", payload.c_str());
    const ResultCallback callback = m_resultCallback;
    if (!callback || NotificationThread::CurrentIsRetired(this)) return;
    CallApplication([&] { callback(std::move(payload)); });
}

Descriptor FileChannel::OpenRequestFile() const {
    char path[kPathSize];
    ComposePath(path, m_face.requestFile);
    // Non-blocking for a file that is none: a pipe in its place must not hold the application up.
    const int file = open(path, O_RDWR | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    if (file < 0) CHANNEL_LOG(DLOG_ERROR, m_face.send, "inotify file open error %s\n", path);
    return Descriptor(file);
}

void FileChannel::WriteMessage(const Descriptor& file, const char* message) const {
    const std::size_t length = strlen(message);
    ssize_t written;
    do {
        written = write(file.Get(), message, length);
    } while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(length))
        CHANNEL_LOG(DLOG_ERROR, m_face.send, "inotify file write error\n");
}

}  // namespace cri
