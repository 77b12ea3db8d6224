/// The queries, listed once for asking, comparing and telling.
#include "State.h"

#include <chrono>

#include "ContentsRecognitionAPI.h"

namespace cri_monitor {
namespace {

using Api = CContentsRecognitionAPI;
using State = cri_sim::StateChange;

bool AskChannelInfo(cri_sim::ChannelInfo& info) {
    return Api::GetCurrentChannelNumberWithInfo(info.number, info.firstValue, info.secondText,
                                                info.secondValue, info.flag);
}

/// Calls visit(name, member, query) for every member.
template <class Visit>
void ForEachMember(Visit visit) {
    visit("contents", &State::contentsInfo, Api::GetCurrentContentsInfo);
    visit("channel name", &State::channelName, Api::GetCurrentChannelName);
    visit("channel number", &State::channelNumber, Api::GetCurrentChannelNumber);
    visit("channel info", &State::channelInfo, AskChannelInfo);
    visit("programme", &State::programTitle, Api::GetCurrentProgramTitle);
    visit("programme source", &State::programTitleSource, Api::GetCurrentProgramTitleSource);
    visit("screen status", &State::screenStatus, Api::GetCurrentScreenStatus);
    visit("recognition status", &State::recognitionStatus, Api::GetCurrentRecognitionStatus);
    visit("black-screen ms", &State::blackScreenPeriodMillis, Api::GetBlackScreenPeriodMillis);
    visit("scrolling", &State::scrolling, Api::GetChannelScrollStatus);
}

/// Counts the questions that nobody answered in time.
class Patience {
  public:
    template <class Question>
    bool Try(Question ask) {
        const auto start = std::chrono::steady_clock::now();
        const bool answered = ask();
        if (!answered && std::chrono::steady_clock::now() - start > kSlow) --m_left;
        return answered;
    }
    bool IsOver() const { return m_left <= 0; }

  private:
    static constexpr std::chrono::seconds kSlow{1};
    int m_left = 2;
};

std::string Word(bool value) {
    return value ? "yes" : "no";
}

std::string Word(int value) {
    return std::to_string(value);
}

std::string Word(const std::string& value) {
    return value;
}

std::string Word(const cri_sim::ChannelInfo& info) {
    return info.number + ", " + Word(info.firstValue) + ", " + info.secondText + ", " +
           Word(info.secondValue) + ", " + Word(info.flag);
}

}  // namespace

State AskState(const std::stop_token& stop) {
    State state;
    Patience patience;
    ForEachMember(
        [&]<class Value>(const char*, std::optional<Value> State::*member, bool (*query)(Value&)) {
            if (patience.IsOver() || stop.stop_requested()) return;
            Value value{};
            if (patience.Try([&] { return query(value); })) state.*member = value;
        });
    return state;
}

bool ServiceAnswered(const State& answers) {
    State own = answers;
    own.recognitionStatus.reset();
    return own != State{};
}

State Difference(const State& known, const State& now) {
    State change;
    ForEachMember([&](const char*, auto member, auto) {
        if (now.*member && now.*member != known.*member) change.*member = now.*member;
    });
    return change;
}

void Merge(State& known, const State& change) {
    ForEachMember([&](const char*, auto member, auto) {
        if (change.*member) known.*member = change.*member;
    });
}

std::vector<StateRow> Rows(const State& state) {
    std::vector<StateRow> rows;
    ForEachMember([&](const char* name, auto member, auto) {
        StateRow& row = rows.emplace_back(StateRow{name, std::nullopt});
        if (state.*member) row.value = Word(*(state.*member));
    });
    return rows;
}

}  // namespace cri_monitor
