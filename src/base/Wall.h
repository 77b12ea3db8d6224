/// What stands between the library's code and its host's: exceptions and the cancellation of a
/// thread end or wait here, and an application's callbacks run as the application runs itself.
#pragma once

#include <cxxabi.h>
#include <pthread.h>

#include <utility>

namespace cri {

/// Holds the cancellation of the calling thread off while the library's own code runs: it would
/// unwind through destructors, or leave a lock of the bus library taken for ever. A request to
/// cancel that comes meanwhile acts afterwards.
class CancellationHeldOff {
  public:
    CancellationHeldOff() {
        if (t_depth == 0) pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &t_hostState);
        ++t_depth;
    }
    /// May throw: a host that allows its cancellation at any point is cancelled here.
    ~CancellationHeldOff() noexcept(false) {
        if (--t_depth == 0) pthread_setcancelstate(t_hostState, nullptr);
    }
    CancellationHeldOff(const CancellationHeldOff&) = delete;
    CancellationHeldOff& operator=(const CancellationHeldOff&) = delete;

  private:
    friend class HostTurn;

    static inline thread_local int t_depth = 0;      ///< guards of this thread's library code
    static inline thread_local int t_hostState = 0;  ///< the thread's own, outside all of them
};

/// Gives the thread back its own cancellation state while an application's callback runs.
class HostTurn {
  public:
    HostTurn() {
        CancellationHeldOff::t_depth = 0;
        if (m_depth > 0) pthread_setcancelstate(m_hostState, nullptr);
    }
    ~HostTurn() {
        // The callback may have changed the thread's own state for good.
        int hostState = m_hostState;
        if (m_depth > 0) pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &hostState);
        CancellationHeldOff::t_depth = m_depth;
        CancellationHeldOff::t_hostState = hostState;
    }
    HostTurn(const HostTurn&) = delete;
    HostTurn& operator=(const HostTurn&) = delete;

  private:
    const int m_depth = CancellationHeldOff::t_depth;
    const int m_hostState = CancellationHeldOff::t_hostState;
};

/// Runs `body` and gives its result, or `onThrow` when it throws. The unwinding of a thread that
/// was cancelled in a callback is no exception of ours to end, and goes on.
template <class Result, class Body>
Result CatchAll(Result onThrow, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return onThrow;
    }
}

/// The same for the library's own code, which is not cancelled either.
template <class Result, class Body>
Result Walled(Result onThrow, Body&& body) {
    const CancellationHeldOff heldOff;
    return CatchAll(onThrow, std::forward<Body>(body));
}

/// The same for a body without a result.
template <class Body>
void Walled(Body&& body) {
    Walled(0, [&body] {
        std::forward<Body>(body)();
        return 0;
    });
}

/// Calls an application's callback on the application's own terms; what it throws is dropped.
template <class Call>
void CallApplication(Call&& call) {
    const HostTurn turn;
    CatchAll(0, [&call] {
        std::forward<Call>(call)();
        return 0;
    });
}

}  // namespace cri
