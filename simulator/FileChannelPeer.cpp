/// The service side of a message-file channel.
#include "FileChannelPeer.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <sstream>
#include <system_error>

namespace cri_sim {
namespace {

// Clients send at most 499 bytes; what stands behind them is left over from earlier messages.
constexpr std::size_t kRequestLimit = 4096;

// As the C library's fopen creates files, which is how clients make them too.
constexpr mode_t kFileMode = 0666;

template <class Call>
auto Retried(Call&& call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

[[noreturn]] void ThrowErrno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Never waits, not even for the other end of a pipe that stands where a file should.
int OpenFile(const std::string& path, int flags) {
    return Retried(
        [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kFileMode); });
}

// The size of a regular file; nothing for anything else.
std::optional<std::size_t> RegularFileSize(int fd) {
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return static_cast<std::size_t>(status.st_size);
}

// One write; half of it counts as failure, since a second write would be a second modification.
bool WriteOnce(int fd, std::string_view bytes) {
    if (bytes.empty()) return true;
    const ssize_t written = Retried([&] { return write(fd, bytes.data(), bytes.size()); });
    return written == static_cast<ssize_t>(bytes.size());
}

bool WriteFile(const std::string& path, int flags, std::string_view bytes) {
    const Descriptor file(OpenFile(path, O_WRONLY | O_CREAT | flags));
    return RegularFileSize(file.Get()) && WriteOnce(file.Get(), bytes);
}

std::optional<std::string> ReadStart(const std::string& path) {
    const Descriptor file(OpenFile(path, O_RDONLY));
    if (!RegularFileSize(file.Get())) return std::nullopt;
    std::string text(kRequestLimit, '\0');
    const ssize_t length = Retried([&] { return pread(file.Get(), text.data(), text.size(), 0); });
    if (length < 0) return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// Takes the next line, newline excluded, off `text`; nothing when no newline ends it.
std::optional<std::string> TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    std::string line(text.substr(0, end));
    text.remove_prefix(end + 1);
    return line;
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream stream(line);
    stream.imbue(std::locale::classic());
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(std::move(word));
    return words;
}

template <class Number>
bool IsNumber(std::string_view word) {
    Number number{};
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && rest == end;
}

bool IsWord(std::string_view word) {
    return std::all_of(word.begin(), word.end(),
                       [](unsigned char c) { return c > ' ' && c != 0x7f; });
}

bool Fits(std::string_view word, char kind) {
    if (kind == 'i') return IsNumber<int>(word);
    if (kind == 'u') return IsNumber<std::size_t>(word);
    return IsWord(word);
}

bool Fit(const std::vector<std::string>& words, ValueShape shape) {
    return std::equal(words.begin(), words.end(), shape.begin(), shape.end(), Fits);
}

// Runs a step of the peer's thread; an exception ends the step and nothing else.
template <class Step>
void WithoutThrowing(Step&& step) {
    try {
        std::forward<Step>(step)();
    } catch (...) {
    }
}

// Blocks every signal for the threads that are started meanwhile: signals are the host's business.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before;
};

}  // namespace

Descriptor::~Descriptor() {
    if (m_fd >= 0) close(m_fd);
}

FileChannelPeer::FileChannelPeer(PeerProtocol protocol, std::string directory,
                                 RequestObserver observer)
    : m_protocol(std::move(protocol)),
      m_requestPath(directory + std::string(m_protocol.requestFile)),
      m_resultPath(directory + std::string(m_protocol.resultFile)),
      m_observer(std::move(observer)),
      m_events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      m_stop(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    CreateResultFile();
    StartListening(directory);
}

FileChannelPeer::~FileChannelPeer() {
    const std::uint64_t one = 1;
    Retried([&] { return write(m_stop.Get(), &one, sizeof one); });
    m_thread.join();
}

void FileChannelPeer::CreateResultFile() const {
    const Descriptor file(OpenFile(m_resultPath, O_WRONLY | O_CREAT | O_EXCL));
    if (file.Get() < 0 && errno != EEXIST) ThrowErrno(m_resultPath);
}

// The watch is on the directory, since a watch on the file would miss what is written to a new one
// before the watch follows it. The price is a wake-up for each result that the peer itself writes.
void FileChannelPeer::StartListening(const std::string& directory) {
    if (m_events.Get() < 0 || m_stop.Get() < 0) ThrowErrno("inotify or eventfd");
    constexpr std::uint32_t kMask = IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR;
    if (inotify_add_watch(m_events.Get(), directory.c_str(), kMask) < 0) ThrowErrno(directory);
    const SignalsBlocked blocked;
    m_thread = std::thread(&FileChannelPeer::Listen, this);
}

void FileChannelPeer::Listen() {
    while (WaitForEvents()) {
        WithoutThrowing([this] { HandleEvents(); });
    }
}

// False when the peer is to stop.
bool FileChannelPeer::WaitForEvents() const {
    std::array<pollfd, 2> waits{{{m_stop.Get(), POLLIN, 0}, {m_events.Get(), POLLIN, 0}}};
    return Retried([&] { return poll(waits.data(), waits.size(), -1); }) > 0 &&
           waits[0].revents == 0;
}

void FileChannelPeer::HandleEvents() {
    alignas(inotify_event) std::array<char, 8192> buffer;
    const ssize_t length =
        Retried([&] { return read(m_events.Get(), buffer.data(), buffer.size()); });
    for (ssize_t offset = 0; offset < length;) {
        inotify_event event;
        const char* const start = buffer.data() + offset;
        std::memcpy(&event, start, sizeof event);
        // The kernel pads names with NUL bytes, at least one.
        const char* const name = event.len > 0 ? start + sizeof event : "";
        if (CompletesMessage(event.mask, name)) ReadRequest();
        offset += static_cast<ssize_t>(sizeof event + event.len);
    }
}

// A message is complete when its writer closes the file that it has modified. Listening to both
// events also keeps the kernel from merging those of successive messages into one.
bool FileChannelPeer::CompletesMessage(unsigned mask, std::string_view name) {
    if ((mask & IN_Q_OVERFLOW) != 0) return true;
    if (name != m_protocol.requestFile) return false;
    if ((mask & IN_MODIFY) != 0) m_modified = true;
    if ((mask & IN_MOVED_TO) != 0) return true;
    return (mask & IN_CLOSE_WRITE) != 0 && std::exchange(m_modified, false);
}

void FileChannelPeer::ReadRequest() {
    const std::optional<std::string> text = ReadStart(m_requestPath);
    if (text && !text->empty()) Report(Parse(*text));
}

Request FileChannelPeer::Parse(std::string_view text) const {
    Request request;
    const std::optional<std::string> methodLine = TakeLine(text);
    const std::vector<std::string> words = Words(methodLine.value_or(""));
    request.malformed = words.size() != 1 || !IsWord(words[0]);
    if (!words.empty()) request.method = words[0];
    if (request.malformed) return request;

    const auto known = std::find_if(m_protocol.methods.begin(), m_protocol.methods.end(),
                                    [&](const auto& method) { return method.name == words[0]; });
    const std::vector<ValueShape> shapes = known != m_protocol.methods.end()
                                               ? std::vector<ValueShape>{known->values}
                                               : m_protocol.otherMethodsValues;
    const auto isNone = [](ValueShape shape) { return shape.empty(); };
    if (std::any_of(shapes.begin(), shapes.end(), isNone)) return request;
    const std::optional<std::string> valueLine = TakeLine(text);
    request.values = Words(valueLine.value_or(""));
    request.malformed = !valueLine || std::none_of(shapes.begin(), shapes.end(), [&](auto shape) {
        return Fit(request.values, shape);
    });
    return request;
}

void FileChannelPeer::Report(Request request) {
    if (m_observer) WithoutThrowing([&] { m_observer(request); });
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(std::move(request));
        if (m_requests.size() > kRememberedRequests) m_requests.pop_front();
        ++m_requestCount;
    }
    m_arrived.notify_all();
}

std::vector<Request> FileChannelPeer::Requests() const {
    std::lock_guard lock(m_mutex);
    return {m_requests.begin(), m_requests.end()};
}

bool FileChannelPeer::WaitForRequests(std::size_t count,
                                      std::chrono::steady_clock::time_point deadline) const {
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_until(lock, deadline, [&] { return m_requestCount >= count; });
}

std::string FileChannelPeer::Record(std::string_view json) const {
    std::string record(m_protocol.resultMethod);
    return record.append("\n").append(json).append("\n");
}

// Cutting the file to length would be a second modification, and every modification makes the
// client read all of it again. So one write covers all that stood there before: a record shorter
// than that is followed by one blank line, which readers skip, and no byte of an older record is
// ever behind a newer one. The file never shrinks this way; DeliverRaw cuts it.
bool FileChannelPeer::Deliver(std::string_view json) {
    std::string bytes = Record(json);
    std::lock_guard lock(m_resultFileMutex);
    const Descriptor file(OpenFile(m_resultPath, O_WRONLY | O_CREAT));
    const std::optional<std::size_t> oldSize = RegularFileSize(file.Get());
    if (!oldSize) return false;
    if (bytes.size() < *oldSize) {
        bytes.resize(*oldSize, ' ');
        bytes.back() = '\n';
    }
    return WriteOnce(file.Get(), bytes);
}

bool FileChannelPeer::DeliverRaw(std::string_view bytes) {
    std::lock_guard lock(m_resultFileMutex);
    const Descriptor file(OpenFile(m_resultPath, O_WRONLY | O_CREAT));
    const std::optional<std::size_t> oldSize = RegularFileSize(file.Get());
    if (!oldSize) return false;
    if (bytes.size() < *oldSize && ftruncate(file.Get(), 0) != 0) return false;
    return WriteOnce(file.Get(), bytes);
}

bool FileChannelPeer::DeliverTorn(std::string_view json, std::size_t split,
                                  const std::function<void()>& between) {
    const std::string record = Record(json);
    const std::string_view head = std::string_view(record).substr(0, split);
    std::lock_guard lock(m_resultFileMutex);
    if (!WriteFile(m_resultPath, O_TRUNC, head)) return false;
    if (between) between();
    return WriteFile(m_resultPath, O_APPEND, std::string_view(record).substr(head.size()));
}

bool FileChannelPeer::Append(std::string_view bytes) {
    std::lock_guard lock(m_resultFileMutex);
    return WriteFile(m_resultPath, O_APPEND, bytes);
}

bool FileChannelPeer::DeleteFile() {
    std::lock_guard lock(m_resultFileMutex);
    return unlink(m_resultPath.c_str()) == 0;
}

bool FileChannelPeer::ReplaceFile(std::string_view bytes) {
    const std::string other = m_resultPath + ".new";
    std::lock_guard lock(m_resultFileMutex);
    return WriteFile(other, O_TRUNC, bytes) && rename(other.c_str(), m_resultPath.c_str()) == 0;
}

}  // namespace cri_sim
