/// What the commands' options share.
#pragma once

#include <CLI/CLI.hpp>

namespace cri_monitor {

/// The same check, of which the help says nothing beside the option's own words.
inline CLI::Validator Unnamed(CLI::Validator check) {
    return check.description("");
}

}  // namespace cri_monitor
