/// The platform's log as the tests see it: every line of this process, kept.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace cri_test {

struct LogLine {
    int priority;
    std::string tag;
    std::string format;
    std::string text;
    pid_t thread;
};

/// The lines since the process started, its static initialisers included, or since Clear.
std::vector<LogLine> LogLines();
void ClearLog();

/// @return how many of the lines have `part` in their text
std::size_t CountLogLines(const std::string& part);

/// @return whether a line with `part` in its text was there before `limit` had passed
bool WaitForLogLine(const std::string& part,
                    std::chrono::milliseconds limit = std::chrono::seconds(5));

/// A line in the form "ERROR function: text" when it is as the bus client's lines have to be: its
/// tag, its prefix with unit, function and line (both twice alike), its end. Otherwise it comes
/// whole, so that it equals no expected one.
std::string ShortForm(const LogLine& line);

}  // namespace cri_test
