/// What a child made by fork needs of its parent's locks: one may be held by a thread that does not
/// exist in the child.
#pragma once

#include <new>

namespace cri {

/// Puts a new lock in the place of one that is not to be looked at any more, nor destroyed.
template <class Lock>
void Renew(Lock& lock) {
    new (&lock) Lock;
}

}  // namespace cri
