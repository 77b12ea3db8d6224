/// The events that carry a status, by their full names.
#include "Names.h"

#include <utility>

namespace cri_recording {
namespace {

constexpr std::array<std::pair<const char*, int>, 7> kEvents{
    {{"CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL", 1},
     {"CONTENTS_RECOGNITION_EVENT_OTT", 2},
     {"CONTENTS_RECOGNITION_EVENT_YOUTUBE", 3},
     {"CONTENTS_RECOGNITION_EVENT_UI123", 4},
     {"CONTENTS_RECOGNITION_EVENT_OPTKEY", 5},
     {"CONTENTS_RECOGNITION_EVENT_VODAPP", 6},
     {"CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED", 10}}};

}  // namespace

std::optional<int> EventNumber(std::string_view name) {
    for (const auto& [known, number] : kEvents)
        if (name == known) return number;
    return std::nullopt;
}

}  // namespace cri_recording
