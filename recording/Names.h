/// The names that recordings have for what is an enumeration or a number elsewhere.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace cri_recording {

/// A service that clients ask something of.
enum class Peer { kRecognition, kVisionData, kUiDetection };

/// A service that clients talk to through message files.
enum class Channel { kVisionData, kUiDetection };

/// The names of an enumeration's constants, in their order.
template <class Enum>
inline constexpr std::array<const char*, 0> kNames{};
template <>
inline constexpr std::array kNames<Peer>{"recognition", "vision_data", "ui_detection"};
template <>
inline constexpr std::array kNames<Channel>{"vision_data", "ui_detection"};

template <class Enum>
concept HasNames = !kNames<Enum>.empty();

template <HasNames Enum>
std::string_view NameOf(Enum constant) {
    return kNames<Enum>.at(static_cast<std::size_t>(constant));
}

/// @return the event's number on the bus; nothing when no event that carries a status has that name
std::optional<int> EventNumber(std::string_view name);

}  // namespace cri_recording
