/// What some members of a recording's lines must be beyond their type.
///
/// Each throws std::invalid_argument, which says what is wrong; `name` is the member's.
#pragma once

#include <cstdint>
#include <string>

namespace cri_recording {

/// Times, and whatever else must have an end, are below that.
inline constexpr double kUnbounded = 1e9;

/// The largest message that a recording may ask for.
inline constexpr std::uint32_t kLargestMessage = 64 << 20;

/// An event that carries a status, by its full name.
void RequireEvent(const std::string& name, const std::string& event);
/// The name of an error on the bus.
void RequireErrorName(const std::string& name, const std::string& error);
/// The text form of a message body.
void RequireBody(const std::string& name, const std::string& body);
/// A length up to kLargestMessage.
void RequireMessageSize(const std::string& name, const std::uint32_t& bytes);
/// A number above 0, and not without bound.
void RequirePositive(const std::string& name, const double& number);

}  // namespace cri_recording
