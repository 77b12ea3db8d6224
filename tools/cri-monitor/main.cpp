/// cri-monitor: shows, records and draws what the set's recognition services report.
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <exception>

#include "Command.h"
#include "ExitCode.h"

/// Of the stand-in alone, which logs to standard error and so between our lines.
extern "C" __attribute__((weak)) void dlog_set_threshold(int priority);

namespace {

using cri_monitor::Command;

constexpr const char* kFooter = R"(Examples:
  cri-monitor status                               what is on
  cri-monitor watch                                everything, as it happens
  cri-monitor watch --json > evening.jsonl         record it
  cri-monitor watch --only event,black-screen --count 10
  cri-monitor watch --start --draw pictures        run the detectors, draw what they see
  cri-monitor draw screen.png --from evening.jsonl --at 12.5
  cri-monitor control video-play start

Exit codes: 0 done, 1 a file cannot be read or written, 2 usage, 3 no service, 4 timeout reached.)";

/// Whoever wants the log says so in the environment. The library logs already while it is loaded,
/// and only what stands in this section runs before that.
void QuietenLog(int, char**, char** environment) {
    constexpr int kSilent = 8;
    constexpr const char* kChoice = "CRI_DLOG_THRESHOLD=";
    for (; *environment; ++environment)
        if (strncmp(*environment, kChoice, strlen(kChoice)) == 0) return;
    if (dlog_set_threshold) dlog_set_threshold(kSilent);
}
[[gnu::section(".preinit_array"), gnu::used]] void (*const s_first)(int, char**,
                                                                    char**) = QuietenLog;

int Run(int argc, char** argv) {
    CLI::App app("Shows, records and draws what a set's recognition services report.",
                 "cri-monitor");
    app.footer(kFooter);
    app.set_version_flag("--version", "cri-monitor " CRI_MONITOR_VERSION);
    app.require_subcommand(1);
    Command chosen;
    cri_monitor::AddStatus(app, chosen);
    cri_monitor::AddWatch(app, chosen);
    cri_monitor::AddControl(app, chosen);
    cri_monitor::AddDraw(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cri_monitor::kDone : cri_monitor::kUsage;
    }
    return chosen();
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);  // a reader that has gone shows as an error of the write
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        fprintf(stderr, "cri-monitor: %s\n", error.what());
        return cri_monitor::kFailed;
    }
}
