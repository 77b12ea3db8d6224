/// What the library's queries answer, as one value.
#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Recording.h"

namespace cri_monitor {

/// Asks everything. A service that keeps silent costs the library's time limit per question, so
/// that this gives up on it after a few; it also ends early, between two questions, when `stop`
/// says so.
/// @return the answers; what was not answered is missing
cri_recording::StateChange AskState(const std::stop_token& stop = {});

/// Whether the service itself has answered anything: the recognition status comes from elsewhere.
bool ServiceAnswered(const cri_recording::StateChange& answers);

/// What `now` has, and `known` has not or has otherwise.
cri_recording::StateChange Difference(const cri_recording::StateChange& known,
                                      const cri_recording::StateChange& now);

/// Takes over what `change` has.
void Merge(cri_recording::StateChange& known, const cri_recording::StateChange& change);

/// One member in words.
struct StateRow {
    const char* name;
    std::optional<std::string> value;  ///< nothing when the member is missing
};

/// All members, in the order of asking.
std::vector<StateRow> Rows(const cri_recording::StateChange& state);

}  // namespace cri_monitor
