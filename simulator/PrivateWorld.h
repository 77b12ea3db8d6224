/// A world of its own for a program: its own message directory, its own system bus, its own
/// platform store, all gone without a trace when the program ends.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace cri_sim {

/// The signals with which a person or a terminal asks a program to stop.
inline constexpr std::array kRequestsToStop{SIGINT, SIGTERM, SIGHUP};

/// Leaves the namespaces that `flags` name for new ones. Who lacks the rights gets them in a user
/// namespace of the own ids. The process must have a single thread.
/// @throws std::runtime_error, saying what failed and what to do about it
void EnterNamespaces(int flags);

/// Waits for the end of `child`, passing on the requests to stop that this process gets. `signals`
/// are blocked and hold SIGCHLD and what is to be passed on; `woken` is called after each of them.
/// @return the exit status; 128 and the number of the signal that ended it
int AwaitEnd(
    pid_t child, const sigset_t& signals, const std::function<void()>& woken = [] {});

/// Moves the calling process into the world for good, and what it starts with it: "/run/user/5001/"
/// is an empty directory that belongs to the user, and the environment leads to the private bus
/// (DBUS_SYSTEM_BUS_ADDRESS, its process id in CRI_WORLD_BUS_PID) and store (CRI_PLATFORM_DIR).
/// Nobody outside sees any of it, and no rights are needed. One per process; the process must have
/// a single thread when it is made.
class PrivateWorld {
  public:
    enum class Bus {
        kPrivate,
        kNone  ///< the address leads nowhere, and the process id is 0
    };

    /// @throws std::runtime_error, saying what failed and what to do about it
    explicit PrivateWorld(Bus bus = Bus::kPrivate);
    /// Ends the bus. The mounts go with the last process that lives in them.
    ~PrivateWorld();
    PrivateWorld(const PrivateWorld&) = delete;
    PrivateWorld& operator=(const PrivateWorld&) = delete;

    /// Runs `command` to its end, passing on the requests to stop that this process gets. When one
    /// has come while the world was made, runs nothing.
    /// @return its exit status; 128 and the number of the signal that ended it, or that came before
    ///         it; 127 when it cannot be run
    int Run(const std::vector<std::string>& command);

  private:
    void StartBus();
    void StopBus();
    std::string AwaitBusAddress(int pipe);
    pid_t Spawn(const std::vector<std::string>& command, int inheritedDescriptor);
    bool BusHasEnded();

    sigset_t m_signals;
    sigset_t m_signalsBefore;
    pid_t m_bus = 0;
};

}  // namespace cri_sim
