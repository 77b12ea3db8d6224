/// Standard output: writing to it, and what a terminal can be given.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ExitCode.h"

namespace cri_monitor {

/// Writes `text` to standard output at once.
/// @return false when that failed; errno tells why
bool Print(std::string_view text);

/// What the program ends with after Print has failed; says so unless the reader has gone.
ExitCode EndOfOutput();

/// Whether standard output is a terminal whose user has nothing against colour.
bool ColourWanted();

/// `text` as UTF-8 without control characters, so that what a service sends cannot steer a
/// terminal.
std::string Printable(std::string_view text);

/// `text`, filled up with blanks to `width` cells of a terminal.
std::string Padded(const std::string& text, std::size_t width);

/// The parts that are not empty, with `between` between them.
std::string Joined(const std::vector<std::string>& parts, const char* between);

/// A terminal's colours, or none.
class Style {
  public:
    explicit Style(bool colour) : m_colour(colour) {}

    /// `text` in the colours of `code`: "1;33".
    std::string Paint(const std::string& text, const std::string& code) const;
    /// A patch of that colour and a blank; nothing without colours.
    std::string Patch(int red, int green, int blue) const;

  private:
    bool m_colour;
};

}  // namespace cri_monitor
