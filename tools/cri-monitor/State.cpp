/// Asks the library for the state, and compares and tells the answers.
#include "State.h"

#include <chrono>
#include <tuple>

#include "ContentsRecognitionAPI.h"

namespace cri_monitor {

using namespace cri_recording;
namespace {

using Api = CContentsRecognitionAPI;
using State = cri_recording::StateChange;

bool AskChannelInfo(ChannelInfo& info) {
    return Api::GetCurrentChannelNumberWithInfo(info.number, info.firstValue, info.secondText,
                                                info.secondValue, info.flag);
}

/// A member of the state: how people call it, where it stands, and how the library is asked for it.
template <class Value>
struct Question {
    const char* name;
    std::optional<Value> State::*member;
    bool (*query)(Value&);
};
template <class Value>
Question(const char*, std::optional<Value> State::*, bool (*)(Value&)) -> Question<Value>;

const std::tuple s_questions{
    Question{"contents", &State::contentsInfo, Api::GetCurrentContentsInfo},
    Question{"channel name", &State::channelName, Api::GetCurrentChannelName},
    Question{"channel number", &State::channelNumber, Api::GetCurrentChannelNumber},
    Question{"channel info", &State::channelInfo, AskChannelInfo},
    Question{"programme", &State::programTitle, Api::GetCurrentProgramTitle},
    Question{"programme source", &State::programTitleSource, Api::GetCurrentProgramTitleSource},
    Question{"screen status", &State::screenStatus, Api::GetCurrentScreenStatus},
    Question{"recognition status", &State::recognitionStatus, Api::GetCurrentRecognitionStatus},
    Question{"black-screen ms", &State::blackScreenPeriodMillis, Api::GetBlackScreenPeriodMillis},
    Question{"scrolling", &State::scrolling, Api::GetChannelScrollStatus}};
static_assert(std::tuple_size_v<decltype(s_questions)> ==
                  std::tuple_size_v<decltype(State::Members())>,
              "a member of the state is not asked for");

template <class Visit>
void ForEachQuestion(Visit visit) {
    std::apply([&](const auto&... question) { (visit(question), ...); }, s_questions);
}

/// Counts the questions that nobody answered in time: after two of them it is over.
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

std::string Word(const ChannelInfo& info) {
    return info.number + ", " + Word(info.firstValue) + ", " + info.secondText + ", " +
           Word(info.secondValue) + ", " + Word(info.flag);
}

}  // namespace

State AskState(const std::stop_token& stop) {
    State state;
    Patience patience;
    ForEachQuestion([&]<class Value>(const Question<Value>& question) {
        if (patience.IsOver() || stop.stop_requested()) return;
        Value value{};
        if (patience.Try([&] { return question.query(value); })) state.*question.member = value;
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
    ForEachMember<State>([&](const auto& member) {
        const auto& answer = now.*member.place;
        if (answer && answer != known.*member.place) change.*member.place = answer;
    });
    return change;
}

void Merge(State& known, const State& change) {
    ForEachMember<State>([&](const auto& member) {
        if (change.*member.place) known.*member.place = change.*member.place;
    });
}

std::vector<StateRow> Rows(const State& state) {
    std::vector<StateRow> rows;
    ForEachQuestion([&](const auto& question) {
        StateRow& row = rows.emplace_back(StateRow{question.name, std::nullopt});
        if (state.*question.member) row.value = Word(*(state.*question.member));
    });
    return rows;
}

}  // namespace cri_monitor
