/// What tests need of the world around the library.
#include "TestSupport.h"

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace cri_test {
namespace {

std::size_t CountEntries(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

int Rounds(int many, int few) {
    return getenv("CRI_TEST_LONG") && !kSanitized ? many : few;
}

void DropBus() {
    const char* text = getenv("CRI_WORLD_BUS_PID");
    const pid_t bus = text ? static_cast<pid_t>(strtol(text, nullptr, 10)) : 0;
    if (bus <= 0) throw std::runtime_error("this world has no bus to drop");
    const ProcessWatch watch(bus);
    kill(bus, SIGKILL);
    if (!watch.WaitForEnd()) throw std::runtime_error("the bus survives");
}

ProcessWatch::ProcessWatch(pid_t process)
    : m_descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0))) {}

ProcessWatch::~ProcessWatch() {
    if (m_descriptor >= 0) close(m_descriptor);
}

bool ProcessWatch::WaitForEnd(std::chrono::milliseconds limit) const {
    if (m_descriptor < 0) return true;
    pollfd end{m_descriptor, POLLIN, 0};
    return poll(&end, 1, static_cast<int>(limit.count())) == 1;
}

void Latch::CountDown() {
    const std::lock_guard lock(m_mutex);
    --m_count;
    m_changed.notify_all();
}

bool Latch::WaitForOpen(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [this] { return m_count <= 0; });
}

/// The look itself takes a descriptor.
std::size_t OpenDescriptors() {
    return CountEntries("/proc/self/fd") - 1;
}

std::size_t RunningThreads() {
    return CountEntries("/proc/self/task");
}

std::size_t ResidentBytes() {
    std::size_t total = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

MessageFile::MessageFile(const std::string& name, const std::string& contents)
    : m_path("/run/user/5001/" + name) {
    Write(contents);
}

MessageFile::~MessageFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

void MessageFile::Write(const std::string& contents) const {
    std::ofstream file(m_path);
    if (!(file << contents << std::flush)) throw std::runtime_error("cannot write " + m_path);
}

std::string MessageFile::Read() const {
    return TextOf(m_path);
}

std::string TextOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace cri_test
