/// Stands in for the platform's logging service: the program's own symbols come before a library's.
#include "LogCapture.h"

#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <regex>

#include "dlog.h"

namespace cri_test {
namespace {

class Log {
  public:
    void Add(LogLine line) {
        const std::lock_guard lock(m_mutex);
        m_lines.push_back(std::move(line));
        m_grown.notify_all();
    }

    std::vector<LogLine> Lines() const {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

    void Clear() {
        const std::lock_guard lock(m_mutex);
        m_lines.clear();
    }

    std::size_t Count(const std::string& part) const {
        const std::lock_guard lock(m_mutex);
        return CountLocked(part);
    }

    bool WaitFor(const std::string& part, std::chrono::milliseconds limit) const {
        std::unique_lock lock(m_mutex);
        return m_grown.wait_for(lock, limit, [&] { return CountLocked(part) > 0; });
    }

  private:
    std::size_t CountLocked(const std::string& part) const {
        return static_cast<std::size_t>(std::count_if(
            m_lines.begin(), m_lines.end(),
            [&part](const LogLine& line) { return line.text.find(part) != std::string::npos; }));
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_grown;
    std::vector<LogLine> m_lines;
};

/// Never destroyed: the library may log before and after the program's static objects live.
Log& TheLog() {
    static auto* log = new Log;
    return *log;
}

int Keep(int priority, const char* tag, const char* format, va_list arguments) {
    pthread_testcancel();  // as where the platform's service writes
    char text[4096];
    const int length = vsnprintf(text, sizeof text, format, arguments);
    TheLog().Add({priority, tag, format, text, gettid()});
    return length;
}

}  // namespace

std::vector<LogLine> LogLines() {
    return TheLog().Lines();
}
void ClearLog() {
    TheLog().Clear();
}
std::size_t CountLogLines(const std::string& part) {
    return TheLog().Count(part);
}
bool WaitForLogLine(const std::string& part, std::chrono::milliseconds limit) {
    return TheLog().WaitFor(part, limit);
}

std::string ShortForm(const LogLine& line) {
    static const std::regex s_form(
        R"(ContentsRecognitionAPI: (\w+)\((\d+)\) > \[(\w+):(\d+)\] ([\s\S]*)\n)");
    const char* const level = line.priority == DLOG_ERROR  ? "ERROR "
                              : line.priority == DLOG_INFO ? "INFO "
                                                           : "DEBUG ";
    std::smatch part;
    if (line.tag != "CRI" || !std::regex_match(line.text, part, s_form) || part[1] != part[3] ||
        part[2] != part[4])
        return level + line.tag + " " + line.text;
    return level + part[1].str() + ": " + part[5].str();
}

}  // namespace cri_test

extern "C" __attribute__((visibility("default"))) int dlog_print(log_priority priority,
                                                                 const char* tag,
                                                                 const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = cri_test::Keep(priority, tag, format, arguments);
    va_end(arguments);
    return length;
}

extern "C" __attribute__((visibility("default"))) int __dlog_print(log_id_t, int priority,
                                                                   const char* tag,
                                                                   const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = cri_test::Keep(priority, tag, format, arguments);
    va_end(arguments);
    return length;
}
