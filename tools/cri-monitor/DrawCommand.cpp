/// draw: one picture of the screen as the services see it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

#include "Command.h"
#include "CommandLine.h"
#include "LiveWatch.h"
#include "Picture.h"

namespace cri_monitor {
namespace {

struct DrawOptions {
    std::string output;
    std::string recording;
    double seconds = 3;
    double at = std::numeric_limits<double>::infinity();
    LiveWatchOptions watch;
    PictureOptions picture;
};

void Warn(const std::string& warning) {
    std::fprintf(stderr, "cri-monitor: %s\n", warning.c_str());
}

std::vector<cri_recording::RecordingLine> Read(const std::string& path) {
    if (path == "-") return cri_recording::ReadRecording(std::cin, "standard input", Warn);
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path + ": cannot be read");
    return cri_recording::ReadRecording(file, path, Warn);
}

int DrawRecording(const DrawOptions& options) {
    Screen screen;
    for (const cri_recording::RecordingLine& line : Read(options.recording)) {
        const std::chrono::duration<double> time = line.time.value_or(std::chrono::microseconds(0));
        if (time.count() > options.at) break;
        screen.Take(line.content);
    }
    WritePicture(options.output, screen, options.picture);
    return kDone;
}

/// A service that is not there from the start, or leaves meanwhile, has nothing to draw.
int DrawLive(const DrawOptions& options) {
    const Stopwatch stopwatch;
    Screen screen;
    LiveWatch* running = nullptr;
    LiveWatch watch(options.watch, stopwatch, [&](const cri_recording::RecordingLine& line) {
        screen.Take(line.content);
        if (screen.serviceAway) running->End(kNoService);
    });
    running = &watch;
    watch.EndAfter(options.seconds, kDone);
    const ExitCode code = watch.Run();
    if (code == kNoService) Warn("the recognition service is not there");
    if (code == kDone) WritePicture(options.output, screen, options.picture);
    return code;
}

std::string CheckOutput(const std::string& path) {
    return IsPictureName(path) ? "" : "must end with .svg or .png";
}

/// A recording's moment, or some time of listening: what is drawn.
void AddSources(CLI::App& command, DrawOptions& options) {
    CLI::Option* const from =
        command.add_option("--from", options.recording, "Draw a recording; - for standard input")
            ->type_name("FILE");
    command.add_option("--at", options.at, "Draw that moment of the recording, not its end")
        ->needs(from)
        ->check(Unnamed(CLI::Range(0.0, 1e6)))
        ->type_name("SECONDS");
    command.add_option("--seconds", options.seconds, "Listen that long before (default 3)")
        ->excludes(from)
        ->check(Unnamed(CLI::Range(0.0, 1e6)))
        ->type_name("SECONDS");
    command.add_flag("--start", options.watch.start, "Run the detectors and engines meanwhile")
        ->excludes(from);
}

}  // namespace

void AddDraw(CLI::App& app, Command& chosen) {
    const auto options = std::make_shared<DrawOptions>();
    CLI::App* const command =
        app.add_subcommand("draw", "A picture of the screen as the services see it");
    command->add_option("OUT", options->output, "The picture: a name with .svg or .png")
        ->required()
        ->check(CheckOutput);
    AddSources(*command, *options);
    AddPictureOptions(*command, options->picture);
    command->callback([options, &chosen] {
        chosen = [options] {
            return options->recording.empty() ? DrawLive(*options) : DrawRecording(*options);
        };
    });
}

}  // namespace cri_monitor
