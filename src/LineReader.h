/// Lines of a file that somebody else writes, whatever stands in it.
#pragma once

#include <cstddef>
#include <string_view>

namespace cri {

/// Reads as a C program does with a buffer of limited size: a line that is too long comes in
/// pieces, and a line's text ends at its first NUL byte.
class LineReader {
  public:
    /// @param descriptor  of a regular file; not owned
    /// @param limit       characters of one line at the most, its newline included; kLimit or less
    LineReader(int descriptor, std::size_t limit) : m_descriptor(descriptor), m_limit(limit) {}

    /// @param line  the next line, its newline included; valid until the next call
    /// @return false at the end of the file, and when it cannot be read
    bool Next(std::string_view& line);

    static constexpr std::size_t kLimit = 32 * 1024;

  private:
    void Refill();

    const int m_descriptor;
    const std::size_t m_limit;
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    bool m_atEnd = false;
    char m_buffer[2 * kLimit];
};

}  // namespace cri
