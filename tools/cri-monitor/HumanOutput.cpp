/// Prints lines for people, in columns.
#include "HumanOutput.h"

#include <time.h>

#include <array>
#include <cstdio>

#include "Describe.h"

namespace cri_monitor {
namespace {

constexpr std::size_t kKindWidth = 15;
constexpr std::size_t kSubjectWidth = 20;
constexpr const char* kFaint = "2";
constexpr const char* kStrong = "1";

}  // namespace

std::string TimeOfDay(std::chrono::system_clock::time_point time) {
    using std::chrono::milliseconds;
    const time_t seconds = std::chrono::system_clock::to_time_t(time);
    const auto whole = std::chrono::duration_cast<milliseconds>(time.time_since_epoch());
    struct tm parts {};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", parts.tm_hour, parts.tm_min,
                  parts.tm_sec, static_cast<int>(whole.count() % milliseconds::period::den));
    return text.data();
}

bool HumanOutput::Write(const cri_recording::RecordingLine& line) {
    const Description description = Describe(line.content);
    const auto time = m_stopwatch.TimeOfDay(line.time.value_or(std::chrono::microseconds(0)));
    const std::string start =
        m_style.Paint(TimeOfDay(time), kFaint) + "  " +
        m_style.Paint(Padded(description.kind, kKindWidth), description.colour);
    std::string text;
    for (const Statement& statement : description.statements) {
        const std::string details = Printable(statement.details);
        const std::string subject = Printable(statement.subject);
        text += start +
                m_style.Paint(details.empty() ? subject : Padded(subject, kSubjectWidth), kStrong);
        if (!details.empty()) text += ' ';
        if (const auto& colour = statement.colour)
            text += m_style.Patch(colour->at(0), colour->at(1), colour->at(2));
        text += details + '\n';
    }
    return Print(text);
}

}  // namespace cri_monitor
