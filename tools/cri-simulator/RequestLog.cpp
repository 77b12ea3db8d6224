/// Writes down what clients ask for.
#include "RequestLog.h"

#include <algorithm>
#include <array>

namespace cri_tool {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;

std::string Words(const std::string& text) {
    return text;
}

std::string Words(const std::vector<std::string>& list) {
    std::string words;
    for (const std::string& word : list) words.append(words.empty() ? "" : " ").append(word);
    return words;
}

/// Whatever a client sends must not reach the terminal as a command to it.
std::string Harmless(std::string text) {
    const auto isOther = [](unsigned char letter) { return letter < ' ' || letter > '~'; };
    std::replace_if(text.begin(), text.end(), isOther, '?');
    return text;
}

std::string ForPeople(const cri_recording::ClientRequest& request, microseconds time) {
    std::array<char, 64> start;
    std::snprintf(start.data(), start.size(), "%9.3f  %-12s  ",
                  std::chrono::duration<double>(time).count(),
                  std::string(NameOf(request.peer)).c_str());
    const auto words = [](const auto& arguments) { return Words(arguments); };
    const std::string arguments = std::visit(words, request.arguments);
    std::string line = start.data() + Harmless(request.method);
    if (!arguments.empty()) line.append(" ").append(Harmless(arguments));
    return request.malformed.value_or(false) ? line + "  (malformed)" : line;
}

}  // namespace

RequestLog::RequestLog(std::FILE* file, Form form) : m_file(file), m_form(form) {
    if (m_form == Form::kJson) WriteLine(cri_recording::RecordingHeader());
}

void RequestLog::Write(const cri_recording::ClientRequest& request) const {
    const auto time = duration_cast<microseconds>(std::chrono::steady_clock::now() - m_start);
    WriteLine(m_form == Form::kJson ? cri_recording::FormatLine({time, request})
                                    : ForPeople(request, time));
}

void RequestLog::Remark(const std::string& text) const {
    if (m_form == Form::kHuman) WriteLine(text);
}

/// Whether the line could be written does not matter: a reader that has gone ends the playing.
void RequestLog::WriteLine(const std::string& line) const {
    if (!m_file) return;
    std::fprintf(m_file, "%s\n", line.c_str());
    std::fflush(m_file);
}

}  // namespace cri_tool
