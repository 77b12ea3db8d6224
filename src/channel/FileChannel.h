/// The engine of both message-file channels: two files, one notification thread, one way to send.
#pragma once

#include <stdio.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "base/Descriptor.h"
#include "channel/LineReader.h"
#include "channel/NotificationThread.h"
#include "dlog.h"

namespace cri {

using ResultCallback = void (*)(std::string payload);

/// Where both ends of the channels put their message files.
constexpr char kMessageDirectory[] = "/run/user/5001/";
constexpr std::size_t kPathSize = 256;

/// Results of the channels' functions.
enum { kChannelDone = 1, kChannelNotStarted = -2, kChannelFailed = -3 };

/// What tells one channel from the other.
struct ChannelFace {
    enum class Family { kVdr, kCri };
    Family family;     ///< of its log lines
    const char* unit;  ///< in its log lines

    const char* resultFile;
    const char* requestFile;
    const char* resultMethod;  ///< the method line that a payload line follows
    std::size_t lineLimit;     ///< characters of one line of the result file at the most
    int (*processResults)();   ///< reads the result file, with a buffer of the channel's own size
    unsigned joinPauseMicros;  ///< between waking the thread and waiting for its end

    bool (*prepare)();  ///< readies the files before a connect; null when there is nothing to do

    /// Names under which the lines are logged, and full formats of the lines that differ.
    const char* connect;
    const char* disconnect;
    const char* thread;
    const char* process;
    const char* send;
    const char* connected;
    const char* notConnected;  ///< null when that is not logged
    const char* joinFailed;
    const char* joined;
    const char* processed;
    log_priority readPriority;  ///< of the line that tells of a batch of events
};

class FileChannel {
  public:
    /// The state of the channel is its face's.
    constexpr FileChannel(const ChannelFace& face, std::atomic<int>& running,
                          std::shared_ptr<NotificationThread>& thread,
                          std::atomic<ResultCallback>& resultCallback)
        : m_face(face), m_running(running), m_thread(thread), m_resultCallback(resultCallback) {}

    /// The operations behind the channel's functions, with their results.
    int Connect();
    int Disconnect() { return End(Detach()); }
    int Process(std::span<char> lines);

    bool Connected() const { return m_running; }

    /// The two halves of a disconnect, for an owner that keeps a flag of its own beside the
    /// channel's: taking the thread off the channel, at once, and the wait, under no lock.
    std::shared_ptr<NotificationThread> Detach();
    int End(const std::shared_ptr<NotificationThread>& thread);

    /// The notification thread's body for any other thread: watches beside it, until the channel is
    /// disconnected.
    void WatchBeside();

    /// In a child made by fork, which has none of its parent's threads: leaves the channel
    /// disconnected.
    void DisconnectInChild();

    /// Writes one message. `compose` is called with a buffer and its size when the file is open.
    template <class Compose>
    int Send(Compose compose) {
        const Descriptor file = OpenRequestFile();
        if (!file) return kChannelFailed;
        char message[500] = "";
        compose(message, sizeof message);
        WriteMessage(file, message);
        return kChannelDone;
    }

  private:
    void Watch(NotificationThread* connection);
    bool WatchResultFile(const Descriptor& inotify) const;
    bool HandleBatch(const Descriptor& inotify, const NotificationThread& connection);
    void ReadRecords(LineReader& lines);
    bool ReadRecord(LineReader& lines, std::string_view methodLine);
    void Deliver(std::string payload);
    Descriptor OpenRequestFile() const;
    void WriteMessage(const Descriptor& file, const char* message) const;

    const ChannelFace& m_face;
    std::atomic<int>& m_running;
    std::shared_ptr<NotificationThread>& m_thread;  ///< null when not connected
    std::atomic<ResultCallback>& m_resultCallback;
    std::mutex m_mutex;  ///< serialises connecting and disconnecting
};

}  // namespace cri
