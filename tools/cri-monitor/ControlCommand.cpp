/// control: one request to the detectors and engines.
#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Command.h"
#include "ContentsRecognitionAPI.h"
#include "ContentsUIDetectionAPI.h"
#include "ExitCode.h"
#include "PictureOptions.h"
#include "Printing.h"
#include "Recording.h"

namespace cri_monitor {
namespace {

using Api = CContentsRecognitionAPI;
using Request = std::function<bool()>;

/// Lets `command` make `request`, and print `done` when the service has answered it.
void Offer(CLI::App& command, Command& chosen, const std::string& done, Request request) {
    command.callback([&chosen, done, request = std::move(request)] {
        chosen = [done, request] {
            if (!request()) {
                std::fputs("cri-monitor: the service does not answer\n", stderr);
                return kNoService;
            }
            return Print(done + '\n') ? kDone : EndOfOutput();
        };
    });
}

/// Adds a subcommand without values.
void AddPlain(CLI::App& parent, Command& chosen, const char* name, const char* help,
              const char* done, bool (*request)()) {
    Offer(*parent.add_subcommand(name, help), chosen, done, request);
}

/// Adds a subcommand with one number.
void AddNumber(CLI::App& parent, Command& chosen, const char* name, const char* help,
               const char* option, const char* done, std::function<bool(int)> request) {
    const auto number = std::make_shared<int>(1);
    CLI::App* const command = parent.add_subcommand(name, help);
    command->add_option(option, *number, "As the service numbers it (default 1)");
    Offer(*command, chosen, done, [number, request] { return request(*number); });
}

void DropContentArea(SM_SCREEN_STATUS, int, int, int, int, void*) {}
void DropVideoPlay(SM_VPD_STATUS, void*) {}

void AddContentArea(CLI::App& control, Command& chosen) {
    CLI::App& detector =
        *control.add_subcommand("content-area", "The content-area and logo detectors");
    detector.require_subcommand(1);
    AddNumber(detector, chosen, "start", "Start them", "CAPTURE-TYPE",
              "content-area detector started",
              [](int type) { return Api::SM_CADServiceStart(DropContentArea, nullptr, type); });
    AddPlain(detector, chosen, "pause", "Suspend them", "content-area detector paused",
             Api::SM_CADServicePause);
    AddNumber(detector, chosen, "resume", "Continue", "CAPTURE-TYPE",
              "content-area detector resumed", Api::SM_CADServiceResume);
    AddNumber(detector, chosen, "change", "Change the capture type", "CAPTURE-TYPE",
              "capture type changed", Api::SMServiceChange);
    AddPlain(detector, chosen, "stop", "Stop them", "content-area detector stopped",
             Api::SM_CADServiceStop);
}

void AddVideoPlay(CLI::App& control, Command& chosen) {
    CLI::App& detector = *control.add_subcommand("video-play", "The video-play detector");
    detector.require_subcommand(1);
    AddNumber(detector, chosen, "start", "Start it", "CAPTURE-TYPE", "video-play detector started",
              [](int type) { return Api::SM_VPDServiceStart(DropVideoPlay, nullptr, type); });
    AddPlain(detector, chosen, "pause", "Suspend it", "video-play detector paused",
             Api::SM_VPDServicePause);
    AddNumber(detector, chosen, "resume", "Continue", "CAPTURE-TYPE", "video-play detector resumed",
              Api::SM_VPDServiceResume);
    AddPlain(detector, chosen, "stop", "Stop it", "video-play detector stopped",
             Api::SM_VPDServiceStop);
}

void AddUiEngine(CLI::App& engine, Command& chosen, const char* name, const char* help,
                 const char* done, bool (ContentsUIDetectionAPI::*request)(int, int, int, int)) {
    const auto is = std::make_shared<cri_recording::UiStartStop>();
    CLI::App* const command = engine.add_subcommand(name, help);
    command->add_option("--hdmi-port", is->hdmiPort, "HDMI port of the input (default 0)");
    command->add_option("--stb", is->isStb, "1 when a set-top box is on it");
    command->add_option("--adaptive-sound", is->adaptiveSound, "1 when it is on");
    command->add_option("--multiview", is->multiview, "1 when it is on");
    Offer(*command, chosen, done, [is, request] {
        return (ContentsUIDetectionAPI::GetInstance()->*request)(is->hdmiPort, is->isStb,
                                                                 is->adaptiveSound, is->multiview);
    });
}

void AddUiDetection(CLI::App& control, Command& chosen) {
    CLI::App& engine = *control.add_subcommand(
        "ui-detection", "The UI-detection engine; it never answers, requests are only written");
    engine.require_subcommand(1);
    AddUiEngine(engine, chosen, "start", "Ask it to start", "UI detection asked to start",
                &ContentsUIDetectionAPI::StartAnalyze);
    AddUiEngine(engine, chosen, "stop", "Ask it to stop", "UI detection asked to stop",
                &ContentsUIDetectionAPI::StopAnalyze);
    AddNumber(engine, chosen, "adaptive-sound", "Tell it a new setting", "ON",
              "adaptive-sound setting told", [](int on) {
                  return ContentsUIDetectionAPI::GetInstance()->SetAdaptiveSoundOnOffChange(on);
              });
}

constexpr int kLargestSide = 100000;

struct Resolution {
    std::string text;
    int orientation = 0;
};

std::optional<int> ReadCode(const std::string& text) {
    int code = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, code);
    return read.ec == std::errc() && read.ptr == end ? std::optional(code) : std::nullopt;
}

/// "1920x1080" is a size, a number alone is the service's code of one.
bool ChangeResolution(const Resolution& resolution) {
    Size size{0, 0};
    if (ReadSize(resolution.text, kLargestSide, size))
        return Api::SMServiceSetResolutionWH(resolution.orientation, size.width, size.height);
    return Api::SMServiceResChange(ReadCode(resolution.text).value_or(0));
}

void AddResolution(CLI::App& control, Command& chosen) {
    const auto wanted = std::make_shared<Resolution>();
    CLI::App* const command = control.add_subcommand("resolution", "The capture resolution");
    const auto check = [](const std::string& text) -> std::string {
        Size size{0, 0};
        const bool isMeant = ReadCode(text) || ReadSize(text, kLargestSide, size);
        return isMeant ? "" : "must be WIDTHxHEIGHT or a code";
    };
    command->add_option("RESOLUTION", wanted->text, "WIDTHxHEIGHT, or the service's code")
        ->required()
        ->check(check);
    command->add_option("--orientation", wanted->orientation, "The service's code (default 0)");
    Offer(*command, chosen, "capture resolution set",
          [wanted] { return ChangeResolution(*wanted); });
}

}  // namespace

void AddControl(CLI::App& app, Command& chosen) {
    CLI::App& control =
        *app.add_subcommand("control", "Start, pause, change and stop what detects");
    control.require_subcommand(1);
    control.footer("Exit code 3 says that the service did not answer.");
    AddContentArea(control, chosen);
    AddVideoPlay(control, chosen);
    AddUiDetection(control, chosen);
    AddResolution(control, chosen);
    AddNumber(control, chosen, "speed", "The capture speed", "SPEED", "capture speed set",
              Api::SMServiceCSChange);
}

}  // namespace cri_monitor
