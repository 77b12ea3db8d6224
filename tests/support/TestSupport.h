/// What tests need of the world around the library: its bus, its files, its process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace cri_test {

/// Whether a sanitizer slows this process down and keeps memory of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kSanitized =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool kSanitized = false;
#endif

/// How often a case repeats what goes wrong rarely: `many` times in its entry labelled long, where
/// no sanitizer slows it down, else `few` times.
int Rounds(int many, int few);

/// Kills the private bus as a crash would; it is gone on return.
void DropBus();

/// Waits for the end of any process.
class ProcessWatch {
  public:
    explicit ProcessWatch(pid_t process);
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    bool WaitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(5)) const;

  private:
    int m_descriptor;  ///< -1 when there was no such process any more
};

/// Opens when it was counted down as often as it says.
class Latch {
  public:
    explicit Latch(int count = 1) : m_count(count) {}

    void CountDown();
    bool WaitForOpen(std::chrono::milliseconds limit = std::chrono::seconds(5));

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count;
};

/// Measures of this process.
std::size_t OpenDescriptors();
std::size_t RunningThreads();
std::size_t ResidentBytes();

/// What stands in the file; nothing when it cannot be read.
std::string TextOf(const std::string& path);

/// A file in the message directory "/run/user/5001/", removed at the end of the object's life.
class MessageFile {
  public:
    explicit MessageFile(const std::string& name, const std::string& contents = {});
    ~MessageFile();
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    const std::string& Path() const { return m_path; }
    /// Replaces the contents.
    void Write(const std::string& contents) const;
    std::string Read() const;

  private:
    std::string m_path;
};

}  // namespace cri_test
