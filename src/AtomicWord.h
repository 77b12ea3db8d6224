/// Atomic access to exported plain words, which keep their plain types for the applications.
#pragma once

namespace cri {

template <class Word>
Word Load(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

template <class Word>
void Store(Word& word, Word value) {
    __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}

}  // namespace cri
