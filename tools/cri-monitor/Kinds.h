/// The kinds of lines that the monitor deals with, and which of them somebody wants.
#pragma once

#include <array>
#include <bitset>
#include <string>
#include <variant>
#include <vector>

#include "Recording.h"

namespace cri_monitor {

/// The first alternatives of a line's content, by their index.
enum Kind : std::size_t {
    kState,
    kEvent,
    kContentArea,
    kVideoPlay,
    kBlackScreen,
    kVisionData,
    kUiDetection,
    kUiStartStop,
    kService,
    kKindCount
};
static_assert(
    std::is_same_v<std::variant_alternative_t<kState, cri_sim::LineContent>, cri_sim::StateChange>);
static_assert(
    std::is_same_v<std::variant_alternative_t<kService, cri_sim::LineContent>, cri_sim::Service>);

/// As the command line and people's output name them.
inline constexpr std::array<const char*, kKindCount> kKindNames{
    "state",       "event",        "content-area",  "video-play", "black-screen",
    "vision-data", "ui-detection", "ui-start-stop", "service"};

using KindSet = std::bitset<kKindCount>;

/// The kinds in `only`, or all when that is empty, without those in `without`. Other names count
/// for nothing.
KindSet Choose(const std::vector<std::string>& only, const std::vector<std::string>& without);

}  // namespace cri_monitor
