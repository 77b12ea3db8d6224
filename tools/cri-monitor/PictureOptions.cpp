/// The options that all drawing commands share.
#include "PictureOptions.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <string>

namespace cri_monitor {
namespace {

constexpr int kLargestScreen = 7680;
constexpr int kLargestUnits = 1000000;

void AddSize(CLI::App& app, const char* name, const char* help, int largest, Size& size) {
    const auto read = [name, largest, &size](const std::string& text) {
        if (!ReadSize(text, largest, size))
            throw CLI::ValidationError(
                name, "must be WIDTHxHEIGHT with sides from 1 to " + std::to_string(largest));
    };
    app.add_option_function<std::string>(name, read, help)->type_name("WxH");
}

}  // namespace

bool ReadSize(const std::string& text, int largest, Size& size) {
    Size read{0, 0};
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, read.width);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return false;
    const auto height = std::from_chars(width.ptr + 1, end, read.height);
    if (height.ec != std::errc() || height.ptr != end) return false;
    const auto fits = [largest](int side) { return side >= 1 && side <= largest; };
    if (!fits(read.width) || !fits(read.height)) return false;
    size = read;
    return true;
}

void AddPictureOptions(CLI::App& app, PictureOptions& options) {
    AddSize(app, "--screen", "Size of the screen in the picture (default 1920x1080)",
            kLargestScreen, options.screen);
    AddSize(app, "--units",
            "What the services take the screen's size for (default: the same, their units are "
            "pixels)",
            kLargestUnits, options.units);
}

}  // namespace cri_monitor
