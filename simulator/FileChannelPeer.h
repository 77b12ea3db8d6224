/// The service side of a message-file channel: hears a client's requests, writes results.
///
/// A client of such a service writes each request over the start of one file, reads results from a
/// second one whenever that is modified, and both lie in one directory. FileChannelPeer is the
/// engine of every such service; what tells the services apart is data (PeerProtocol) and the state
/// that their clients change (StatefulPeer).
///
/// Every operation may be called from any thread, and from inside an observer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace cri_sim {

/// Where clients look for the message files.
inline constexpr const char* kMessageDirectory = "/run/user/5001/";

/// One message that a client wrote.
struct Request {
    std::string method;               ///< first word of the message's first line
    std::vector<std::string> values;  ///< words of its value line, if the method has one
    bool malformed = false;           ///< the message is not as its method wants it; values hold
                                      ///< whatever words stood there

    bool operator==(const Request&) const = default;
};

/// Hears of each request, malformed ones included, on the peer's thread with no lock held. What it
/// throws is dropped. It must not destroy its peer.
using RequestObserver = std::function<void(const Request&)>;

/// Of what form the words of a value line are, one letter for each: 'i' an int, 'u' an unsigned
/// integer of a pointer's size, 'w' any word. Empty: the method has no value line.
using ValueShape = std::string_view;

/// What tells one service's channel from another's.
struct PeerProtocol {
    struct Method {
        std::string_view name;
        ValueShape values;
    };

    std::string_view requestFile;                ///< written by the client
    std::string_view resultFile;                 ///< written by the peer
    std::string_view resultMethod;               ///< method line of each result record
    std::vector<Method> methods;                 ///< the methods that the service knows
    std::vector<ValueShape> otherMethodsValues;  ///< shapes, any of which suits another method
};

/// An open file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// The descriptor; negative when opening it failed.
    int Get() const { return m_fd; }

  private:
    int m_fd;
};

/// One service's end of its channel. Its thread lives as long as the object.
///
/// The request file holds one message, the latest. Each time a client has modified and closed it
/// the peer reads the message and reports it, so that the number of requests is the number of
/// messages written one after another; but a message that was written over before the peer came to
/// read it is reported with its successor's text. To see every text, wait for a request before
/// the next message is written.
/// A file that was there before the peer, and is not modified, is no request. The request file may
/// be created, deleted and replaced at any time; one that is moved into its place is a message.
class FileChannelPeer {
  public:
    /// How many requests Requests() remembers; older ones are forgotten.
    static constexpr std::size_t kRememberedRequests = 10'000;

    /// Creates an empty result file, unless something of that name exists, and starts listening.
    ///
    /// @param protocol   which files and messages; what its views name must outlive the peer
    /// @param directory  where the files lie; must exist, and end with a slash
    /// @param observer   hears of each request before Requests() shows it; may be empty
    /// @throws std::system_error when the result file cannot be created or the directory watched
    FileChannelPeer(PeerProtocol protocol, std::string directory, RequestObserver observer);

    /// Stops listening: waits for an observer that is running, reads nothing more.
    ~FileChannelPeer();

    FileChannelPeer(const FileChannelPeer&) = delete;
    FileChannelPeer& operator=(const FileChannelPeer&) = delete;

    /// The requests so far, in the order read; of many, the last kRememberedRequests.
    std::vector<Request> Requests() const;

    /// Waits until `count` requests have come since the peer was made, forgotten ones included.
    /// @return false when the deadline passed before; never true inside the observer for the
    ///         request that it is told of
    bool WaitForRequests(std::size_t count, std::chrono::steady_clock::time_point deadline) const;

    /// Writes one result record in place of the file's contents: the method line, and `json` as its
    /// payload line. A watching client sees exactly one modification, whatever stood in the file.
    /// Like every operation below that writes, creates a file that is missing.
    ///
    /// @param json  one line, without its newline; its length and meaning are not checked
    /// @return true when all of it was written, here and in the operations below
    bool Deliver(std::string_view json);

    /// Makes the file hold exactly `bytes`. When it was longer before, this takes two
    /// modifications, of which the first leaves an empty file; a client may see either or both.
    bool DeliverRaw(std::string_view bytes);

    /// Writes the record of Deliver in two writes to an emptied file, as a careless service would.
    ///
    /// @param split    number of bytes of the record (method line included) in the first write
    /// @param between  called between the writes, to wait for a client that reads the first half;
    ///                 must not write through this peer; may be empty
    bool DeliverTorn(std::string_view json, std::size_t split,
                     const std::function<void()>& between = {});

    /// Adds `bytes` at the file's end, with one write.
    bool Append(std::string_view bytes);

    /// Removes the result file; a client that watches it hears no more until it connects again.
    bool DeleteFile();

    /// Puts another file that holds `bytes` in the result file's place, with the same consequence.
    bool ReplaceFile(std::string_view bytes = {});

    /// The bytes that Deliver writes for `json`, for DeliverRaw and Append.
    std::string Record(std::string_view json) const;

    /// The full paths of the two files.
    const std::string& RequestPath() const { return m_requestPath; }
    const std::string& ResultPath() const { return m_resultPath; }

  private:
    void CreateResultFile() const;
    void StartListening(const std::string& directory);
    void Listen();
    bool WaitForEvents() const;
    void HandleEvents();
    bool CompletesMessage(unsigned mask, std::string_view name);
    void ReadRequest();
    Request Parse(std::string_view text) const;
    void Report(Request request);

    const PeerProtocol m_protocol;
    const std::string m_requestPath;
    const std::string m_resultPath;
    const RequestObserver m_observer;
    const Descriptor m_events;
    const Descriptor m_stop;
    bool m_modified = false;  // the request file, since it was last read; the thread's own

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::deque<Request> m_requests;
    std::size_t m_requestCount = 0;

    std::mutex m_resultFileMutex;
    std::thread m_thread;
};

/// A value that is read and changed whole.
template <class Value>
class Guarded {
  public:
    Value Get() const {
        std::lock_guard lock(m_mutex);
        return m_value;
    }

    template <class Change>
    void Update(Change&& change) {
        std::lock_guard lock(m_mutex);
        std::forward<Change>(change)(m_value);
    }

  private:
    mutable std::mutex m_mutex;
    Value m_value;
};

/// A peer whose clients change a State. The state stands before the channel, so that it outlives
/// the thread that changes it.
template <class State>
class StatefulPeer : private Guarded<State>, public FileChannelPeer {
  public:
    /// The state after the requests heard so far. A request that WaitForRequests has counted, or
    /// that the observer is told of, is in it; a malformed one changes nothing.
    State Current() const { return Guarded<State>::Get(); }

  protected:
    /// @param follow  changes the state as a well-formed request wants it
    StatefulPeer(PeerProtocol protocol, std::string directory,
                 void (*follow)(State&, const Request&), RequestObserver observer)
        : FileChannelPeer(
              std::move(protocol), std::move(directory),
              Handler(static_cast<Guarded<State>*>(this), follow, std::move(observer))) {}

    ~StatefulPeer() = default;

  private:
    static RequestObserver Handler(Guarded<State>* guarded, void (*follow)(State&, const Request&),
                                   RequestObserver observer) {
        return [guarded, follow, observer = std::move(observer)](const Request& request) {
            if (!request.malformed) {
                guarded->Update([&](State& state) { follow(state, request); });
            }
            if (observer) observer(request);
        };
    }
};

}  // namespace cri_sim
