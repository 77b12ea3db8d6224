/// Runs a program on a simulated set in a world of its own.
///
/// Three processes: the caller waits outside. Its child is the first process of new process ids,
/// so that the kernel ends all others in there with it, and it ends with its parent; it makes the
/// world and runs the program. Its first child is the simulator, the only one with threads.
#include "Run.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "PrivateWorld.h"

namespace cri_tool {
namespace {

constexpr int kSimulatorEndMillis = 3000;

/// The two ends of a pipe.
struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

Pipe MakePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error(std::string("cannot make a pipe: ") + strerror(errno));
    return {ends[0], ends[1]};
}

pid_t Fork() {
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error(std::string("cannot start a process: ") + strerror(errno));
    return child;
}

/// Blocks the requests to stop, and the news of a child's end.
sigset_t BlockSignals(sigset_t& before) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : cri_sim::kRequestsToStop) sigaddset(&signals, number);
    sigaddset(&signals, SIGCHLD);
    sigprocmask(SIG_BLOCK, &signals, &before);
    return signals;
}

void EndAtOnce(int number) {
    _exit(128 + number);
}

/// The first process would be spared by a signal that it has no handler for. What is ignored (as
/// under nohup) stays so, for the program too.
void HeedSignals(const sigset_t& mask) {
    for (const int number : cri_sim::kRequestsToStop)
        if (signal(number, EndAtOnce) == SIG_IGN) signal(number, SIG_IGN);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
}

/// @param parent  the read end of a pipe whose write end only the parent has
void EndWithParent(int parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd end{parent, POLLIN, 0};
    if (poll(&end, 1, 0) != 0) _exit(kNoWorld);
}

/// Shows the new process ids in "/proc". Where that is forbidden, as in many a container, it goes
/// on showing the old ones; few programs care.
void ShowProcesses() {
    mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
}

/// Outlives a Ctrl-C that the program gets, to answer it to its end. Whatever happens, the world is
/// not this process's to take down.
[[noreturn]] void BecomeSimulator(const Script& script, PlayOptions options,
                                  const Pipe& ready) try {
    setpgid(0, 0);
    close(ready.readEnd);
    options.stays = true;
    options.onReady = [&] {
        const ssize_t written = write(ready.writeEnd, "", 1);
        close(ready.writeEnd);
        if (written != 1) _exit(kNoWorld);
    };
    const int status = Play(script, options);
    _exit(status);
} catch (const std::exception& error) {
    Complain(error.what());
    _exit(kNoWorld);
}

/// Returns when clients find the set.
pid_t StartSimulator(const Script& script, const PlayOptions& options) {
    const Pipe ready = MakePipe();
    const pid_t simulator = Fork();
    if (simulator == 0) BecomeSimulator(script, options, ready);
    close(ready.writeEnd);
    char sign = 0;
    const bool started = read(ready.readEnd, &sign, 1) == 1;
    close(ready.readEnd);
    if (!started) throw std::runtime_error("the simulator did not start");
    return simulator;
}

/// Gives it the time to say what the program has left behind.
void StopSimulator(pid_t simulator) {
    kill(simulator, SIGTERM);
    const int process = static_cast<int>(syscall(SYS_pidfd_open, simulator, 0));
    pollfd end{process, POLLIN, 0};
    poll(&end, process < 0 ? 0 : 1, kSimulatorEndMillis);
}

/// In the first process of the world.
int RunInside(const Script& script, const PlayOptions& options,
              const std::vector<std::string>& program) try {
    cri_sim::PrivateWorld world;
    ShowProcesses();
    const pid_t simulator = StartSimulator(script, options);
    const int status = world.Run(program);
    StopSimulator(simulator);
    return status;
} catch (const std::exception& error) {
    Complain(error.what());
    return kNoWorld;
}

}  // namespace

int Run(const Script& script, PlayOptions options, const std::vector<std::string>& program) try {
    const Pipe life = MakePipe();
    sigset_t before;
    const sigset_t signals = BlockSignals(before);
    cri_sim::EnterNamespaces(CLONE_NEWPID);
    const pid_t first = Fork();
    if (first == 0) {
        close(life.writeEnd);
        EndWithParent(life.readEnd);
        HeedSignals(before);
        _exit(RunInside(script, options, program));
    }
    close(life.readEnd);
    const int status = cri_sim::AwaitEnd(first, signals);
    // With its first process the world of new processes has ended, and this process can start no
    // other one any more, as the checks of a sanitizer at a usual exit would.
    std::fflush(nullptr);
    _exit(status);
} catch (const std::exception& error) {
    Complain(error.what());
    return kNoWorld;
}

}  // namespace cri_tool
