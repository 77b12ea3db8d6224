/// Waiting for a time, for input, or for the end.
#include "Attention.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "PrivateWorld.h"

namespace cri_tool {
namespace {

using Clock = Attention::Clock;

int OpenSignals() {
    signal(SIGPIPE, SIG_IGN);
    sigset_t stops;
    sigemptyset(&stops);
    for (const int number : cri_sim::kRequestsToStop) sigaddset(&stops, number);
    sigprocmask(SIG_BLOCK, &stops, nullptr);
    const int descriptor = signalfd(-1, &stops, SFD_CLOEXEC);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
    return descriptor;
}

timespec Remaining(Clock::time_point time) {
    using namespace std::chrono;
    const auto left = std::max(time - Clock::now(), Clock::duration::zero());
    const auto whole = duration_cast<seconds>(left);
    return {whole.count(), duration_cast<nanoseconds>(left - whole).count()};
}

}  // namespace

Attention::Attention(int output) : m_signals(OpenSignals()), m_output(output) {}

Attention::~Attention() {
    close(m_signals);
}

Attention::Wake Attention::Wait(std::optional<Clock::time_point> time, int input) {
    if (m_stopped) return Wake::kStop;
    const auto wake = Look(time, input);
    m_stopped = wake == Wake::kStop;
    return wake;
}

Attention::Wake Attention::Look(std::optional<Clock::time_point> time, int input) const {
    const bool endsFirst = m_end && (!time || *m_end <= *time);
    const auto until = endsFirst ? m_end : time;
    pollfd places[] = {{m_signals, POLLIN, 0}, {m_output, 0, 0}, {input, POLLIN, 0}};
    int ready = 0;
    do {
        const timespec left = until ? Remaining(*until) : timespec{};
        ready = ppoll(places, std::size(places), until ? &left : nullptr, nullptr);
    } while (ready < 0 && errno == EINTR);
    if (ready < 0 || places[0].revents != 0 || places[1].revents != 0) return Wake::kStop;
    if (places[2].revents != 0) return Wake::kInput;
    return endsFirst ? Wake::kStop : Wake::kTime;
}

}  // namespace cri_tool
