/// The kinds of lines that happen on a set, and which of them somebody wants.
#pragma once

#include <bitset>
#include <string>
#include <variant>
#include <vector>

#include "Recording.h"

namespace cri_monitor {

/// Kinds by their place in a line's content.
using KindSet = std::bitset<std::variant_size_v<cri_recording::LineContent>>;

/// The place of the kind T.
template <cri_recording::IsHappening T>
std::size_t PlaceOf() {
    return cri_recording::LineContent(std::in_place_type<T>).index();
}

template <cri_recording::IsHappening T>
bool Has(const KindSet& kinds) {
    return kinds[PlaceOf<T>()];
}

template <cri_recording::IsHappening... Ts>
KindSet Kinds() {
    KindSet kinds;
    (kinds.set(PlaceOf<Ts>()), ...);
    return kinds;
}

/// All kinds that happen on a set.
KindSet AllKinds();

/// A kind of the recording format as people write it: "content-area" for "content_area".
std::string ForPeople(std::string kind);

/// The names of all kinds, as the command line has them.
std::vector<std::string> KindNames();

/// The kinds in `only`, or all when that is empty, without those in `without`. Other names count
/// for nothing.
KindSet Choose(const std::vector<std::string>& only, const std::vector<std::string>& without);

}  // namespace cri_monitor
