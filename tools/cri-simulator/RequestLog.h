/// Writes down what clients ask for, a line each, flushed.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "Recording.h"

namespace cri_tool {

class RequestLog {
  public:
    enum class Form {
        kHuman,
        kJson  ///< a recording
    };

    /// @param file  where to; not owned; null: nowhere
    RequestLog(std::FILE* file, Form form);

    void Write(const cri_recording::ClientRequest& request) const;
    /// A line for people; nothing in a recording.
    void Remark(const std::string& text) const;

  private:
    void WriteLine(const std::string& line) const;

    std::FILE* const m_file;
    const Form m_form;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace cri_tool
