/// Lines of a file that somebody else writes, whatever stands in it.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace cri {

/// Reads as a C program does with a buffer of limited size: a line that is too long comes in
/// pieces, and a line's text ends at its first NUL byte.
class LineReader {
  public:
    /// @param descriptor  of a regular file; not owned
    /// @param limit       characters of one line at the most, its newline included
    /// @param buffer      room for a line at the least, better for two; not owned
    LineReader(int descriptor, std::size_t limit, std::span<char> buffer)
        : m_descriptor(descriptor), m_limit(limit), m_buffer(buffer) {}

    /// @param line  the next line, its newline included; valid until the next call
    /// @return false at the end of the file, and when it cannot be read
    bool Next(std::string_view& line);

  private:
    void Refill();

    const int m_descriptor;
    const std::size_t m_limit;
    const std::span<char> m_buffer;
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    bool m_atEnd = false;
};

}  // namespace cri
