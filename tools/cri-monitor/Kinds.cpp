/// Chooses kinds by their names.
#include "Kinds.h"

#include <algorithm>
#include <type_traits>

namespace cri_monitor {
namespace {

struct NamedKind {
    std::size_t place;
    std::string name;
};

template <class T>
void AddKind(std::vector<NamedKind>& kinds) {
    if constexpr (cri_recording::IsHappening<T>)
        kinds.push_back({PlaceOf<T>(), ForPeople(T::kKind)});
}

template <class... Ts>
std::vector<NamedKind> KindsOf(std::type_identity<std::variant<Ts...>>) {
    std::vector<NamedKind> kinds;
    (AddKind<Ts>(kinds), ...);
    return kinds;
}

std::vector<NamedKind> NamedKinds() {
    return KindsOf(std::type_identity<cri_recording::LineContent>());
}

KindSet Named(const std::vector<std::string>& names) {
    KindSet kinds;
    for (const NamedKind& kind : NamedKinds())
        kinds[kind.place] = std::find(names.begin(), names.end(), kind.name) != names.end();
    return kinds;
}

}  // namespace

KindSet AllKinds() {
    return Named(KindNames());
}

std::string ForPeople(std::string kind) {
    std::replace(kind.begin(), kind.end(), '_', '-');
    return kind;
}

std::vector<std::string> KindNames() {
    std::vector<std::string> names;
    for (const NamedKind& kind : NamedKinds()) names.push_back(kind.name);
    return names;
}

KindSet Choose(const std::vector<std::string>& only, const std::vector<std::string>& without) {
    const KindSet wanted = only.empty() ? AllKinds() : Named(only);
    return wanted & ~Named(without);
}

}  // namespace cri_monitor
