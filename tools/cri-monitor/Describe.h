/// Lines in words, for people.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "Recording.h"

namespace cri_monitor {

/// One thing to say about a line. The texts may hold whatever a service has sent.
struct Statement {
    std::string subject;
    std::string details;
    std::optional<std::array<int, 3>> colour;  ///< red, green, blue that the details speak of
};

/// @return at least one statement for each kind that the monitor deals with; of a state one for
///         each member that it has
std::vector<Statement> Describe(const cri_sim::LineContent& content);

/// "#18305a"
std::string ColourCode(const cri_sim::BlackScreen& report);

/// "0.90"
std::string Score(double score);

/// A number with at most two digits behind the point: "0.9", "12".
std::string Short(double number);

}  // namespace cri_monitor
