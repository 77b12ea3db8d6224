/// cri-simulator: a desk instead of a set.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Play.h"
#include "Run.h"

namespace {

using cri_tool::PlayOptions;

constexpr const char* kPlayExamples = R"(Examples:
  cri-simulator play                          the built-in recording, on the system bus
  cri-simulator play --loop --speed 2 evening.jsonl
  cri-simulator play --json - < lines.jsonl   lines as they are typed; requests as JSON Lines)";

constexpr const char* kRunExamples = R"(Examples:
  cri-simulator run -- cri-monitor watch --timeout 10
  cri-simulator run --loop evening.jsonl -- ./my-application --verbose
  cri-simulator run --log requests.txt faults.jsonl -- ctest)";

constexpr const char* kExitCodes = R"(Exit status:
  0    all was played, or it was stopped
  2    the command line is wrong
  3    the recording is bad
  4    the bus or the message directory cannot be used
  125  run: the world cannot be made
  otherwise run ends with the program's own status.)";

struct CommandLine {
    std::string recording;
    std::string logFile;
    PlayOptions options;
    std::vector<std::string> program;  ///< what stands behind "--"
    bool hasProgram = false;
};

/// Cuts the program and its arguments off, so that its options stay its own.
std::vector<std::string> CutProgram(int argc, char** argv, CommandLine& line) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const auto cut = std::find(words.begin(), words.end(), "--");
    line.hasProgram = cut != words.end();
    if (line.hasProgram) line.program.assign(cut + 1, words.end());
    words.erase(cut, words.end());
    std::reverse(words.begin(), words.end());  // as the parser wants them
    return words;
}

void AddCommonOptions(CLI::App& command, CommandLine& line) {
    command.add_option("RECORDING", line.recording, "Recording to play; without it a built-in one");
    command.add_option("--speed", line.options.speed, "Play so many times as fast")
        ->check(CLI::Range(1e-3, 1e6));
    command.add_flag("--loop", line.options.loop, "Begin again after the last line");
    command.add_flag("--json", line.options.json, "Log requests as the lines of a recording");
}

CLI::App* AddPlay(CLI::App& app, CommandLine& line) {
    CLI::App* play = app.add_subcommand(
        "play", "Play a recording, or with - what is typed, to the programs on a bus");
    AddCommonOptions(*play, line);
    play->add_option("--bus", line.options.bus, "Address of the bus; without it the system bus");
    play->add_option("--directory", line.options.directory, "Directory of the message files")
        ->capture_default_str();
    play->add_option("--until", line.options.until, "End after so many seconds, played or not")
        ->check(CLI::Range(0.0, 1e9));
    play->footer(kPlayExamples);
    return play;
}

CLI::App* AddRun(CLI::App& app, CommandLine& line) {
    CLI::App* run = app.add_subcommand(
        "run", "Run the program behind -- on a simulated set in a world of its own");
    AddCommonOptions(*run, line);
    run->add_option("--log", line.logFile, "File for the requests that the set receives");
    run->footer(kRunExamples);
    return run;
}

int FailUsage(const std::string& what) {
    cri_tool::Complain(what + "; --help tells more");
    return cri_tool::kUsageError;
}

int Play(CommandLine& line) {
    if (line.hasProgram) return FailUsage("play runs no program");
    if (line.recording == "-" && line.options.loop)
        return FailUsage("what is typed cannot be played in a loop");
    if (line.options.directory.empty() || line.options.directory.back() != '/')
        line.options.directory += '/';
    return cri_tool::Play(cri_tool::ReadScript(line.recording, line.options.loop), line.options);
}

int Run(CommandLine& line) {
    if (line.program.empty()) return FailUsage("run needs a program behind --");
    if (line.recording == "-") return FailUsage("run leaves the standard input to the program");
    const cri_tool::Script script = cri_tool::ReadScript(line.recording, line.options.loop);
    line.options.log = line.logFile.empty() ? nullptr : std::fopen(line.logFile.c_str(), "we");
    if (!line.logFile.empty() && !line.options.log)
        return FailUsage("cannot write " + line.logFile);
    return cri_tool::Run(script, line.options, line.program);
}

}  // namespace

int main(int argc, char** argv) try {
    CommandLine line;
    CLI::App app("Plays a television set to the programs that use its content recognition.",
                 "cri-simulator");
    app.require_subcommand(1);
    app.set_version_flag("--version", "cri-simulator " CRI_VERSION);
    app.footer(kExitCodes);
    CLI::App* play = AddPlay(app, line);
    AddRun(app, line);
    try {
        app.parse(CutProgram(argc, argv, line));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cri_tool::kSuccess : cri_tool::kUsageError;
    }
    return play->parsed() ? Play(line) : Run(line);
} catch (const cri_recording::RecordingError& error) {
    cri_tool::Complain(error.what());
    return cri_tool::kBadRecording;
} catch (const std::exception& error) {
    cri_tool::Complain(error.what());
    return 1;
}
