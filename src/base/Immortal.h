/// An object of the whole process that needs neither a constructor at load nor a destructor at
/// exit.
#pragma once

#include <utility>

namespace cri {

/// Threads may still use the object while the process exits, so nothing destroys it.
template <class Object>
union Immortal {
    template <class... Arguments>
    constexpr explicit Immortal(Arguments&&... arguments)
        : object(std::forward<Arguments>(arguments)...) {}
    constexpr ~Immortal() {}  // NOLINT(modernize-use-equals-default): the object has one
    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    Object object;
};

}  // namespace cri
