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

/// Stores `value` where there is `expected`; otherwise nothing, and `expected` becomes what is
/// there.
template <class Word>
bool Replace(Word& word, Word& expected, Word value) {
    return __atomic_compare_exchange_n(&word, &expected, value, false, __ATOMIC_ACQ_REL,
                                       __ATOMIC_ACQUIRE);
}

}  // namespace cri
