/// status: one look at everything that the queries answer.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "Command.h"
#include "ContentsRecognitionAPI.h"
#include "ExitCode.h"
#include "HumanOutput.h"
#include "Printing.h"
#include "State.h"

namespace cri_monitor {
namespace {

using Api = CContentsRecognitionAPI;

constexpr std::size_t kNameWidth = 20;
constexpr const char* kTitle = "1;36";
constexpr const char* kFaint = "2";
constexpr const char* kMissing = "31";

std::string Row(const StateRow& row, const Style& style) {
    const std::string value =
        row.value ? Printable(*row.value) : style.Paint("no answer", kMissing);
    return "  " + style.Paint(Padded(row.name, kNameWidth), kFaint) + value + '\n';
}

/// Four states that the library knows of beside those that a recording has.
std::vector<StateRow> UiRows() {
    const auto row = [](const char* name, bool (*query)(int&)) {
        int value = 0;
        const bool answered = query(value);
        return StateRow{name, answered ? std::optional(std::to_string(value)) : std::nullopt};
    };
    return {row("UI", Api::GetUIStatus), row("UI 1-2-3", Api::GetUI123Status),
            row("VOD app UI", Api::GetVODAppUIStatus), row("VOD app type", Api::GetVODAppType)};
}

std::string Table(const cri_recording::StateChange& state) {
    const Style style(ColourWanted());
    std::string text = style.Paint("What the set shows", kTitle) + "  " +
                       style.Paint(TimeOfDay(std::chrono::system_clock::now()), kFaint) + '\n';
    for (const StateRow& row : Rows(state)) text += Row(row, style);
    for (const StateRow& row : UiRows()) text += Row(row, style);
    return text;
}

int Status(bool json) {
    const cri_recording::StateChange state = AskState();
    if (!ServiceAnswered(state)) {
        std::fputs("cri-monitor: the recognition service does not answer\n", stderr);
        return kNoService;
    }
    const std::string text =
        json ? cri_recording::FormatLine({std::nullopt, state}) + '\n' : Table(state);
    return Print(text) ? kDone : EndOfOutput();
}

}  // namespace

void AddStatus(CLI::App& app, Command& chosen) {
    const auto json = std::make_shared<bool>(false);
    CLI::App* const command = app.add_subcommand("status", "One look: everything that is known");
    command->add_flag("--json", *json, "One line of the kind \"state\", as in a recording");
    command->callback([json, &chosen] { chosen = [json] { return Status(*json); }; });
}

}  // namespace cri_monitor
