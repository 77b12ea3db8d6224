/// Puts the lines of a recording into words, for people.
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

/// A line in words.
struct Description {
    std::string kind;    ///< "content-area"
    std::string colour;  ///< in which a terminal shows the kind: "1;33"
    /// At least one, of a state one for each member that it has; none for faults and requests,
    /// which no set reports.
    std::vector<Statement> statements;
};

Description Describe(const cri_recording::LineContent& content);

/// "#18305a"
std::string ColourCode(const cri_recording::BlackScreen& report);

/// "0.90"
std::string Score(double score);

/// A number with at most two digits behind the point: "0.9", "12".
std::string Short(double number);

}  // namespace cri_monitor
