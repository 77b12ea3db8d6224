/// Chooses kinds by their names.
#include "Kinds.h"

#include <algorithm>

namespace cri_monitor {
namespace {

KindSet Named(const std::vector<std::string>& names) {
    KindSet kinds;
    for (std::size_t kind = 0; kind < kKindCount; ++kind)
        kinds[kind] = std::find(names.begin(), names.end(), kKindNames[kind]) != names.end();
    return kinds;
}

}  // namespace

KindSet Choose(const std::vector<std::string>& only, const std::vector<std::string>& without) {
    const KindSet wanted = only.empty() ? ~KindSet() : Named(only);
    return wanted & ~Named(without);
}

}  // namespace cri_monitor
