/// Lines of a file that somebody else writes.
#include "channel/LineReader.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

namespace cri {

bool LineReader::Next(std::string_view& line) {
    // What is there may be less than a line, but a line is never longer than the limit.
    const auto newline = [this] {
        return static_cast<const char*>(
            memchr(m_buffer.data() + m_start, '\n', std::min(m_end - m_start, m_limit)));
    };
    const char* end = newline();
    while (!end && m_end - m_start < m_limit && !m_atEnd) {
        Refill();
        end = newline();
    }
    const char* const start = m_buffer.data() + m_start;
    const std::size_t length =
        end ? static_cast<std::size_t>(end + 1 - start) : std::min(m_end - m_start, m_limit);
    line = std::string_view(start, strnlen(start, length));
    m_start += length;
    return length > 0;
}

void LineReader::Refill() {
    memmove(m_buffer.data(), m_buffer.data() + m_start, m_end - m_start);
    m_end -= m_start;
    m_start = 0;
    const std::size_t room = m_buffer.size() - m_end;
    ssize_t got;
    do {
        got = read(m_descriptor, m_buffer.data() + m_end, room);
    } while (got < 0 && errno == EINTR);
    if (got > 0) m_end += static_cast<std::size_t>(got);
    // A regular file gives less than was asked for at its end only.
    m_atEnd = got < 0 || static_cast<std::size_t>(got) < room;
}

}  // namespace cri
