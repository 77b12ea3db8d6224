/// A world of its own for a program, made of a mount namespace and a private bus daemon.
#include "PrivateWorld.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace cri_sim {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMessageDirectory = "/run/user/5001";
constexpr const char* kWorldDirectory = "/run/user/cri-world";
constexpr const char* kBusLog = "/run/user/cri-world/bus.log";
constexpr int kBusReadyMillis = 10000;
constexpr int kBusEndMillis = 2000;

[[noreturn]] void Throw(const std::string& what, const char* advice = nullptr) {
    std::string text = what + ": " + strerror(errno);
    if (advice) text += std::string(" (") + advice + ")";
    throw std::runtime_error(text);
}

void WriteFile(const fs::path& path, const std::string& text) {
    std::ofstream file(path);
    if (!(file << text << std::flush)) Throw("cannot write " + path.string());
}

/// The user keeps the own ids in the new user namespace, so that nothing looks different in there.
void KeepIds(uid_t user, gid_t group) {
    const auto keep = [](unsigned id) {
        return std::to_string(id) + " " + std::to_string(id) + " 1";
    };
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", keep(user));
    WriteFile("/proc/self/gid_map", keep(group));
}

void LeaveSharedMounts() {
    EnterNamespaces(CLONE_NEWNS);
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        Throw("cannot detach the mounts");
}

/// Shows `old`, an entry of the covered directory, at `place` again.
void BringBack(const fs::path& old, const fs::path& place) {
    const fs::file_status status = fs::symlink_status(old);
    if (fs::is_symlink(status)) return fs::copy_symlink(old, place);
    if (fs::is_directory(status))
        fs::create_directory(place);
    else
        WriteFile(place, "");
    if (mount(old.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
        Throw("cannot keep " + place.string());
}

void CoverWithEmptiness(const fs::path& base) {
    const int covered = open(base.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (covered < 0) Throw("cannot open " + base.string());
    const fs::path old = "/proc/self/fd/" + std::to_string(covered);
    if (mount("cri-world", base.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0)
        Throw("cannot mount a tmpfs over " + base.string());
    for (const fs::directory_entry& entry : fs::directory_iterator(old)) {
        const fs::path place = base / entry.path().filename();
        if (place != kMessageDirectory && place != kWorldDirectory) BringBack(entry.path(), place);
    }
    close(covered);
}

void FurnishRunUser() {
    CoverWithEmptiness(fs::is_directory("/run/user") ? "/run/user" : "/run");
    fs::create_directory("/run/user");
    for (const fs::path& directory : {fs::path(kMessageDirectory), fs::path(kWorldDirectory),
                                      fs::path(kWorldDirectory) / "platform"})
        if (mkdir(directory.c_str(), 0700) != 0) Throw("cannot make " + directory.string());
}

std::string SocketAddress() {
    return std::string("unix:path=") + kWorldDirectory + "/bus";
}

fs::path WriteBusConfiguration() {
    const fs::path path = fs::path(kWorldDirectory) / "bus.conf";
    WriteFile(path,
              R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>)" + SocketAddress() +
                  R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow send_type="signal"/>
    <allow eavesdrop="true"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">1000000000</limit>
  <limit name="max_connections_per_user">10000</limit>
  <limit name="max_completed_connections">10000</limit>
  <limit name="max_incomplete_connections">10000</limit>
  <limit name="max_match_rules_per_connection">50000</limit>
  <limit name="max_replies_per_connection">50000</limit>
</busconfig>
)");
    return path;
}

int StatusOf(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

void SetEnvironment(const char* name, const std::string& value) {
    if (setenv(name, value.c_str(), 1) != 0) Throw(std::string("cannot set ") + name);
}

/// The blocked request to stop that has come; 0 when there is none.
int RequestToStop() {
    sigset_t pending;
    sigpending(&pending);
    for (const int number : kRequestsToStop) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (sigismember(&pending, number) == 1 && action.sa_handler != SIG_IGN) return number;
    }
    return 0;
}

/// Forgets the blocked requests to stop that have come: ignoring one does.
void ForgetRequestsToStop() {
    for (const int number : kRequestsToStop) signal(number, signal(number, SIG_IGN));
}

/// Makes the new process fit for the bus: a Ctrl-C does not end it, not even one that came before
/// this, and what it writes goes to a file that is only read when the bus does not start.
void LeaveTerminal() {
    setpgid(0, 0);
    ForgetRequestsToStop();
    const int log = open(kBusLog, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (log >= 0) dup2(log, STDERR_FILENO);
}

std::string ReadBusLog() {
    std::ifstream file(kBusLog);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Turns the new process into the command.
[[noreturn]] void Become(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    fprintf(stderr, "%s: cannot run %s: %s\n", program_invocation_short_name, arguments[0],
            strerror(errno));
    _exit(127);
}

}  // namespace

void EnterNamespaces(int flags) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(flags) == 0) return;
    if (errno != EPERM || unshare(flags | CLONE_NEWUSER) != 0)
        Throw("cannot make private namespaces",
              "allow user namespaces, for instance with sysctl user.max_user_namespaces and "
              "kernel.unprivileged_userns_clone, or run as root");
    KeepIds(user, group);
}

int AwaitEnd(pid_t child, const sigset_t& signals, const std::function<void()>& woken) {
    for (;;) {
        siginfo_t came{};
        if (sigwaitinfo(&signals, &came) < 0) continue;
        // A signal from the terminal, which has a positive code, has gone to the child as well.
        if (came.si_signo != SIGCHLD && came.si_code <= 0) kill(child, came.si_signo);
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) return StatusOf(status);
        woken();
    }
}

PrivateWorld::PrivateWorld(Bus bus) {
    LeaveSharedMounts();
    FurnishRunUser();
    signal(SIGCHLD, SIG_DFL);
    sigemptyset(&m_signals);
    for (const int number : kRequestsToStop) sigaddset(&m_signals, number);
    sigaddset(&m_signals, SIGCHLD);
    sigprocmask(SIG_BLOCK, &m_signals, &m_signalsBefore);
    SetEnvironment("DBUS_SYSTEM_BUS_ADDRESS", SocketAddress());
    SetEnvironment("CRI_PLATFORM_DIR", std::string(kWorldDirectory) + "/platform");
    if (bus == Bus::kPrivate) StartBus();
    SetEnvironment("CRI_WORLD_BUS_PID", std::to_string(m_bus));
}

PrivateWorld::~PrivateWorld() {
    StopBus();
    sigprocmask(SIG_SETMASK, &m_signalsBefore, nullptr);
}

/// The new process dies with this one, whatever ends it.
pid_t PrivateWorld::Spawn(const std::vector<std::string>& command, int inheritedDescriptor) {
    const pid_t self = getpid();
    const pid_t child = fork();
    if (child < 0) Throw("cannot start a process");
    if (child > 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != self) _exit(127);
    if (inheritedDescriptor >= 0) {
        fcntl(inheritedDescriptor, F_SETFD, 0);
        LeaveTerminal();
    }
    sigprocmask(SIG_SETMASK, &m_signalsBefore, nullptr);
    Become(command);
}

void PrivateWorld::StartBus() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) Throw("cannot make a pipe");
    const std::string configuration = WriteBusConfiguration();
    m_bus = Spawn({"dbus-daemon", "--nofork", "--print-address=" + std::to_string(ends[1]),
                   "--config-file=" + configuration},
                  ends[1]);
    close(ends[1]);
    const std::string address = AwaitBusAddress(ends[0]);
    close(ends[0]);
    if (address.empty()) {
        StopBus();
        throw std::runtime_error(
            "the private bus did not start; is the package dbus-daemon installed? It said:\n" +
            ReadBusLog());
    }
    SetEnvironment("DBUS_SYSTEM_BUS_ADDRESS", address);
}

/// The daemon tells its address as soon as it listens. Empty when it does not do so in time.
std::string PrivateWorld::AwaitBusAddress(int pipe) {
    using Clock = std::chrono::steady_clock;
    const auto limit = Clock::now() + std::chrono::milliseconds(kBusReadyMillis);
    std::string told;
    while (told.empty() || told.back() != '\n') {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now());
        pollfd ready{pipe, POLLIN, 0};
        char letter = 0;
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) return {};
        if (read(pipe, &letter, 1) != 1) return {};
        told += letter;
    }
    told.pop_back();
    return told;
}

bool PrivateWorld::BusHasEnded() {
    if (m_bus > 0 && waitpid(m_bus, nullptr, WNOHANG) == m_bus) m_bus = 0;
    return m_bus == 0;
}

void PrivateWorld::StopBus() {
    if (BusHasEnded()) return;
    kill(m_bus, SIGTERM);
    sigset_t ofChildren;
    sigemptyset(&ofChildren);
    sigaddset(&ofChildren, SIGCHLD);
    const timespec patience{kBusEndMillis / 1000, 0};
    while (!BusHasEnded()) {
        if (sigtimedwait(&ofChildren, nullptr, &patience) >= 0 || errno == EINTR) continue;
        kill(m_bus, SIGKILL);
        waitpid(m_bus, nullptr, 0);
        m_bus = 0;
    }
}

/// A Ctrl-C that came while the world was made is not for a program that was not there to get it.
int PrivateWorld::Run(const std::vector<std::string>& command) {
    if (const int number = RequestToStop()) return 128 + number;
    return AwaitEnd(Spawn(command, -1), m_signals, [this] { BusHasEnded(); });
}

}  // namespace cri_sim
