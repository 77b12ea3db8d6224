/// watch: the state, and then every change.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "HumanOutput.h"
#include "LiveWatch.h"
#include "PictureFolder.h"
#include "RecordingOutput.h"

namespace cri_monitor {
namespace {

struct WatchOptions {
    LiveWatchOptions watch;
    std::vector<std::string> only;
    std::vector<std::string> without;
    bool json = false;
    std::optional<unsigned> count;
    std::optional<double> timeout;
    std::string pictures;
    std::string pictureFormat = "png";
    PictureOptions picture;
};

std::unique_ptr<Output> MakeOutput(bool json, const Stopwatch& stopwatch) {
    if (json) return std::make_unique<RecordingOutput>();
    return std::make_unique<HumanOutput>(stopwatch, Style(ColourWanted()));
}

class Watch {
  public:
    explicit Watch(const WatchOptions& options)
        : m_output(MakeOutput(options.json, m_stopwatch)),
          m_left(options.count),
          m_watch(options.watch, m_stopwatch,
                  [this](const cri_recording::RecordingLine& line) { Take(line); }) {
        if (!options.pictures.empty())
            m_pictures.emplace(options.pictures, options.pictureFormat, options.picture);
        if (options.timeout) m_watch.EndAfter(*options.timeout, kTimeReached);
    }

    ExitCode Run() {
        if (!m_output->Begin()) return EndOfOutput();
        m_watch.EndWithReader();
        if (m_pictures) g_timeout_add(kPictureMillis, DrawPicture, this);
        const ExitCode code = m_watch.Run();
        Draw([](PictureFolder& pictures) { pictures.DrawLast(); });
        return m_failed ? kFailed : code;
    }

  private:
    static constexpr guint kPictureMillis = 100;

    /// What comes after the last line that was wanted is dropped.
    void Take(const cri_recording::RecordingLine& line) {
        if (m_over) return;
        const bool written = m_output->Write(line);
        if (!written) End(EndOfOutput());
        if (m_pictures) m_pictures->Take(line);
        if (written && m_left && --*m_left == 0) End(kDone);
    }

    void End(ExitCode code) {
        m_over = true;
        m_watch.End(code);
    }

    static gboolean DrawPicture(gpointer self) {
        auto& watch = *static_cast<Watch*>(self);
        watch.Draw(
            [&](PictureFolder& pictures) { pictures.DrawIfDue(watch.m_stopwatch.Elapsed()); });
        return G_SOURCE_CONTINUE;
    }

    /// Called by the main loop, which no exception may pass.
    template <class Step>
    void Draw(Step step) try {
        if (m_pictures && !m_failed) step(*m_pictures);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cri-monitor: %s\n", error.what());
        m_failed = true;
        m_watch.End(kFailed);
    }

    const Stopwatch m_stopwatch;
    const std::unique_ptr<Output> m_output;
    std::optional<unsigned> m_left;
    std::optional<PictureFolder> m_pictures;
    bool m_over = false;
    bool m_failed = false;
    LiveWatch m_watch;
};

void AddKinds(CLI::App& command, WatchOptions& options) {
    const std::vector<std::string> names = KindNames();
    command.add_option("--only", options.only, "Kinds of lines to write, with commas between")
        ->delimiter(',')
        ->check(Unnamed(CLI::IsMember(names)))
        ->type_name("KIND,...");
    command.add_option("--not", options.without, "Kinds of lines to leave out")
        ->delimiter(',')
        ->check(Unnamed(CLI::IsMember(names)))
        ->type_name("KIND,...");
}

void AddLimits(CLI::App& command, WatchOptions& options) {
    command.add_option("--count", options.count, "End after so many lines")
        ->check(Unnamed(CLI::Range(1u, std::numeric_limits<unsigned>::max())))
        ->type_name("N");
    command.add_option("--timeout", options.timeout, "End after that time, with exit code 4")
        ->check(Unnamed(CLI::Range(0.0, 1e6)))
        ->type_name("SECONDS");
    command
        .add_option("--refresh", options.watch.refresh,
                    "Ask the state every so often, beside after events")
        ->check(Unnamed(CLI::Range(0.1, 1e6)))
        ->type_name("SECONDS");
}

void AddEngines(CLI::App& command, WatchOptions& options) {
    command.add_flag("--start", options.watch.start,
                     "Run the detectors and engines while watching");
    command
        .add_option("--capture-type", options.watch.captureType,
                    "What --start starts the detectors with (default 1)")
        ->type_name("N");
}

void AddPictures(CLI::App& command, WatchOptions& options) {
    command.add_option("--draw", options.pictures, "Leave pictures of the screen in a directory")
        ->type_name("DIR");
    command.add_option("--draw-as", options.pictureFormat, "Format of the pictures (default png)")
        ->check(Unnamed(CLI::IsMember({"png", "svg"})))
        ->type_name("png|svg");
    AddPictureOptions(command, options.picture);
}

}  // namespace

void AddWatch(CLI::App& app, Command& chosen) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App* const command =
        app.add_subcommand("watch", "The state, and then every change, until Ctrl-C");
    command->add_flag("--json", options->json, "Write a recording, for cri-simulator play");
    AddKinds(*command, *options);
    AddLimits(*command, *options);
    AddEngines(*command, *options);
    AddPictures(*command, *options);
    command->footer(
        "Kinds: " + Joined(KindNames(), ", ") +
        ".\nWithout --start nothing is asked to run: what others have started is shown.");
    command->callback([options, &chosen] {
        options->watch.kinds = Choose(options->only, options->without);
        if (options->watch.kinds.none())
            throw CLI::ValidationError("--not", "leaves no kind to watch");
        chosen = [options] { return Watch(*options).Run(); };
    });
}

}  // namespace cri_monitor
