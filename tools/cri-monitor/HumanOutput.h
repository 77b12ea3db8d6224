/// Lines for a person: time of day, kind and what happened, in columns.
#pragma once

#include "Output.h"
#include "Printing.h"
#include "Stopwatch.h"

namespace cri_monitor {

class HumanOutput : public Output {
  public:
    HumanOutput(const Stopwatch& stopwatch, Style style) : m_stopwatch(stopwatch), m_style(style) {}

    bool Begin() override { return true; }
    bool Write(const cri_recording::RecordingLine& line) override;

  private:
    const Stopwatch& m_stopwatch;
    const Style m_style;
};

/// "21:14:03.112", of this place.
std::string TimeOfDay(std::chrono::system_clock::time_point time);

}  // namespace cri_monitor
