/// The one place where exceptions end: none reaches an application's or a C library's frames.
#pragma once

#include <cxxabi.h>

#include <utility>

namespace cri {

/// Runs `body` and gives its result, or `onThrow` when it throws. The unwinding of a thread that is
/// being cancelled is no exception of ours to end, and goes on.
template <class Result, class Body>
Result Walled(Result onThrow, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return onThrow;
    }
}

/// The same for a body without a result, such as an application's callback.
template <class Body>
void Walled(Body&& body) {
    Walled(0, [&body] {
        std::forward<Body>(body)();
        return 0;
    });
}

}  // namespace cri
