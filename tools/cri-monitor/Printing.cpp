/// Writes to standard output.
#include "Printing.h"

#include <errno.h>
#include <glib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace cri_monitor {

bool Print(std::string_view text) {
    return fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
}

ExitCode EndOfOutput() {
    if (errno == EPIPE) return kDone;
    fprintf(stderr, "cri-monitor: standard output: %s\n", strerror(errno));
    return kFailed;
}

bool ColourWanted() {
    const char* const refusal = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) && (!refusal || !*refusal) &&
           !(terminal && strcmp(terminal, "dumb") == 0);
}

std::string Printable(std::string_view text) {
    gchar* const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string printable;
    for (const gchar *at = valid, *next = nullptr; *at; at = next) {
        next = g_utf8_next_char(at);
        const bool visible = g_unichar_isprint(g_utf8_get_char(at));
        printable += visible ? std::string_view(at, static_cast<std::size_t>(next - at)) : "?";
    }
    g_free(valid);
    return printable;
}

std::string Padded(const std::string& text, std::size_t width) {
    std::size_t cells = 0;
    for (const gchar* at = text.c_str(); *at; at = g_utf8_next_char(at)) {
        const gunichar letter = g_utf8_get_char(at);
        cells += g_unichar_iszerowidth(letter) ? 0 : g_unichar_iswide(letter) ? 2 : 1;
    }
    return cells < width ? text + std::string(width - cells, ' ') : text;
}

std::string Joined(const std::vector<std::string>& parts, const char* between) {
    std::string all;
    for (const std::string& part : parts)
        if (!part.empty()) all += (all.empty() ? "" : between) + part;
    return all;
}

std::string Style::Paint(const std::string& text, const std::string& code) const {
    return m_colour ? "\033[" + code + "m" + text + "\033[0m" : text;
}

std::string Style::Patch(int red, int green, int blue) const {
    if (!m_colour) return {};
    const std::string code =
        "48;2;" + std::to_string(red) + ";" + std::to_string(green) + ";" + std::to_string(blue);
    return Paint("  ", code) + ' ';
}

}  // namespace cri_monitor
