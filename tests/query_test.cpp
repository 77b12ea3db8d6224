/// The client's questions: every row of the table of queries, answered and failed.
#include <limits>
#include <sstream>
#include <thread>

#include "ClientTest.h"
#include "vconf.h"

namespace {

using namespace cri_test;
using cri_sim::Answer;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::StartsWith;

/// A query whose out-parameter is shown as text.
using Query = std::function<bool(std::string& shown)>;

template <class Value>
Query Shown(bool (*query)(Value&)) {
    return [query](std::string& shown) {
        Value value{};
        std::istringstream(shown) >> value;
        const bool answered = query(value);
        std::ostringstream out;
        out << value;
        shown = out.str();
        return answered;
    };
}

struct Row {
    const char* method;
    const char* internalName;
    Query locked;
    Query internal;
    std::vector<std::pair<const char*, const char*>> replies;  ///< and what they show
    const char* failureValue;
    const char* before;  ///< what the caller has in the out-parameter
    std::vector<const char*> wrongReplies;
};

std::vector<Row> TextRows() {
    const auto row = [](const char* method, const char* internalName, bool (*locked)(std::string&),
                        bool (*internal)(std::string&)) {
        return Row{method,
                   internalName,
                   Shown(locked),
                   Shown(internal),
                   {{"('Kestrel-7',)", "Kestrel-7"}, {"('',)", ""}, {"('ü☂',)", "ü☂"}},
                   "Unknown",
                   "before",
                   {"()", "(1,)", "('a', 'b')", "(['a'],)", "(<'a'>,)", "(objectpath '/a',)"}};
    };
    return {
        row("GetContentsInfo", "m_GetCurrentContentsInfo", Api::GetCurrentContentsInfo,
            Api::m_GetCurrentContentsInfo),
        row("GetChannelName", "m_GetCurrentChannelName", Api::GetCurrentChannelName,
            Api::m_GetCurrentChannelName),
        row("GetChannelNumber", "m_GetCurrentChannelNumber", Api::GetCurrentChannelNumber,
            Api::m_GetCurrentChannelNumber),
        row("GetProgramTitle", "m_GetCurrentProgramTitle", Api::GetCurrentProgramTitle,
            Api::m_GetCurrentProgramTitle),
        row("GetProgramTitleSource", "m_GetCurrentProgramTitleSource",
            Api::GetCurrentProgramTitleSource, Api::m_GetCurrentProgramTitleSource),
    };
}

const std::vector<Row>& Rows() {
    static const std::vector<Row> s_rows = [] {
        const std::vector<const char*> wrong = {"()",     "('1',)", "(uint32 1,)",
                                                "(1, 2)", "(1.0,)", "(true,)"};
        std::vector<Row> rows = TextRows();
        rows.push_back({"GetScreenStatus",
                        "m_GetCurrentScreenStatus",
                        Shown(&Api::GetCurrentScreenStatus),
                        Shown(&Api::m_GetCurrentScreenStatus),
                        {{"(7,)", "7"}, {"(-3,)", "-3"}, {"(2147483647,)", "2147483647"}},
                        "0",
                        "99",
                        wrong});
        rows.push_back({"GetChannelScrollStatus",
                        "m_GetChannelScrollStatus",
                        Shown(&Api::GetChannelScrollStatus),
                        Shown(&Api::m_GetChannelScrollStatus),
                        {{"(0,)", "0"}, {"(1,)", "1"}, {"(-1,)", "1"}, {"(256,)", "1"}},
                        "0",
                        "1",
                        wrong});
        return rows;
    }();
    return s_rows;
}

/// What the public operation logs when the internal one logs `lines` and leaves `shown`.
std::vector<std::string> LockedLog(const Row& row, std::vector<std::string> lines,
                                   const std::string& shown) {
    const std::string name = "GetChannelScrollStatus";
    if (row.method != name) return lines;
    lines.insert(lines.begin(), "INFO " + name + ": " + name + "()");
    lines.push_back("INFO " + name + ": CContentsRecognitionAPI::" + name +
                    " Channel Scroll Status : " + (shown == "1" ? "TRUE" : "FALSE"));
    return lines;
}

void ExpectOutcome(const Row& row, bool answered, const std::string& value,
                   const std::vector<std::string>& lines) {
    for (const bool locked : {false, true}) {
        SCOPED_TRACE(std::string(row.method) + (locked ? " locked" : " internal"));
        std::string shown = row.before;
        const auto log =
            LogOf([&] { EXPECT_EQ((locked ? row.locked : row.internal)(shown), answered); });
        EXPECT_EQ(shown, value);
        EXPECT_THAT(log, ElementsAreArray(locked ? LockedLog(row, lines, value) : lines));
    }
}

class QueryTest : public testing::Test {
  protected:
    cri_sim::RecognitionService m_service;
};

TEST_F(QueryTest, PassesOnWhatTheServiceReplies) {
    ASSERT_TRUE(Api::InitService());
    std::size_t asked = 0;
    for (const Row& row : Rows())
        for (const auto& [reply, value] : row.replies) {
            m_service.SetAnswer(row.method, Answer::Reply(reply));
            ExpectOutcome(row, true, value, {});
            const auto calls = m_service.Calls();
            ASSERT_EQ(calls.size(), asked += 2) << "nothing is cached and nothing is asked twice";
            EXPECT_EQ(calls.back().method, row.method);
            EXPECT_EQ(calls.back().arguments, "()");
        }
}

TEST_F(QueryTest, GivesTheFailureValueOnAnErrorReply) {
    ASSERT_TRUE(Api::InitService());
    for (const Row& row : Rows()) {
        m_service.SetAnswer(row.method, Answer::Error("kestrum.Broken", "no picture"));
        ExpectOutcome(row, false, row.failureValue,
                      {std::string("ERROR ") + row.internalName +
                       ": Error: GDBus.Error:kestrum.Broken: no picture"});
    }
    m_service.Leave();
    std::string name = "before";
    EXPECT_FALSE(Api::GetCurrentChannelName(name));
    EXPECT_EQ(name, "Unknown");
}

TEST_F(QueryTest, TakesAReplyOfAnotherTypeForAFailure) {
    for (const Row& row : Rows())
        for (const char* reply : row.wrongReplies) {
            m_service.SetAnswer(row.method, Answer::Reply(reply));
            const std::string type = g_variant_get_type_string(cri_sim::ParseBody(reply).get());
            std::string shown = row.before;
            const auto log = LogOf([&] { EXPECT_FALSE(row.locked(shown)); });
            EXPECT_EQ(shown, row.failureValue) << row.method << reply;
            EXPECT_THAT(log, Contains(testing::AllOf(
                                 StartsWith(std::string("ERROR ") + row.internalName + ": Error: "),
                                 testing::HasSubstr(type))))
                << row.method << reply;
        }
}

TEST_F(QueryTest, GivesUpAfterTwoSecondsOfSilence) {
    ASSERT_TRUE(Api::InitService());
    std::vector<std::thread> askers;
    for (const Row& row : Rows()) {
        m_service.SetAnswer(row.method, Answer::Silence());
        askers.emplace_back([&row] {
            std::string shown = row.before;
            const auto duration = ShortestDuration([&] { EXPECT_FALSE(row.internal(shown)); });
            EXPECT_EQ(shown, row.failureValue);
            EXPECT_LE(duration, kLongestCall) << row.method;
            EXPECT_GE(duration.count(), 1990) << row.method;
        });
    }
    for (std::thread& asker : askers) asker.join();
    EXPECT_EQ(CountLogLines("Error: Timeout was reached"), CountLogLines("Error: "));
    EXPECT_GE(CountLogLines("Error: Timeout was reached"), Rows().size());
}

/// The five values of the channel number with information, all set by the caller before.
struct NumberWithInfo {
    std::string number = "before", second = "kept";
    int firstValue = 11, secondValue = 22;
    bool flag = true;

    bool Ask() {
        return Api::GetCurrentChannelNumberWithInfo(number, firstValue, second, secondValue, flag);
    }
    void ExpectRestUntouched() const {
        EXPECT_EQ(second, "kept");
        EXPECT_EQ(firstValue, 11);
        EXPECT_EQ(secondValue, 22);
        EXPECT_TRUE(flag);
    }
};

TEST_F(QueryTest, GivesTheChannelNumberWithItsInformation) {
    ASSERT_TRUE(Api::InitService());
    const std::string name = "GetCurrentChannelNumberWithInfo";
    for (const auto& [sent, flag] : {std::pair(0, 0), {1, 1}, {2, 1}, {-1, 1}}) {
        const std::string sentText = std::to_string(sent);
        m_service.SetAnswer("GetChannelNumberWithInfo",
                            Answer::Reply("('7-1', -2, '', 40, " + sentText + ")"));
        NumberWithInfo answer;
        EXPECT_THAT(LogOf([&] { EXPECT_TRUE(answer.Ask()); }),
                    ElementsAre("INFO " + name + ": " + name + " finished (7-1, -2, , 40, " +
                                std::to_string(flag) + ")"));
        EXPECT_EQ(answer.number, "7-1");
        EXPECT_EQ(answer.firstValue, -2);
        EXPECT_EQ(answer.second, "");
        EXPECT_EQ(answer.secondValue, 40);
        EXPECT_EQ(answer.flag, flag == 1);
    }
    EXPECT_EQ(m_service.Calls().back().arguments, "()");
}

TEST_F(QueryTest, ChangesOnlyTheNumberWhenItsInformationFails) {
    const std::string name = "GetCurrentChannelNumberWithInfo";
    ASSERT_TRUE(Api::InitService());
    for (const Answer& answer :
         {Answer::Error("kestrum.Broken", "no picture"), Answer::Reply("('7-1',)"),
          Answer::Reply("('7-1', 2, 'a', 7, true)"), Answer::Reply("('7-1', 2, 'a', 7, 1, 1)")}) {
        m_service.SetAnswer("GetChannelNumberWithInfo", answer);
        NumberWithInfo failed;
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(failed.Ask()); }),
                    ElementsAre(StartsWith("ERROR " + name + ": Error: ")));
        EXPECT_EQ(failed.number, "Unknown");
        failed.ExpectRestUntouched();
    }
}

/// Nobody is asked for these. The key of the recognition status cannot be read at first.
struct ConstantRow {
    const char* name;
    bool (*locked)(int&);
    bool (*internal)(int&);
    bool announces;
};

constexpr ConstantRow kConstantRows[] = {
    {"GetUIStatus", Api::GetUIStatus, Api::m_GetUIStatus, true},
    {"GetUI123Status", Api::GetUI123Status, Api::m_GetUI123Status, true},
    {"GetVODAppUIStatus", Api::GetVODAppUIStatus, Api::m_GetVODAppUIStatus, true},
    {"GetVODAppType", Api::GetVODAppType, Api::m_GetVODAppType, false},
    {"GetCurrentRecognitionStatus", Api::GetCurrentRecognitionStatus,
     Api::m_GetCurrentRecognitionStatus, false},
};

TEST_F(QueryTest, AnswersZeroForWhatTheSetDoesNotHave) {
    ASSERT_TRUE(Api::InitService());
    for (const ConstantRow& row : kConstantRows) {
        std::vector<std::string> announcement;
        if (row.announces)
            announcement = {std::string("INFO ") + row.name + ": " + row.name + "()"};
        int locked = 5, internal = 5;
        EXPECT_THAT(LogOf([&] { EXPECT_TRUE(row.locked(locked)); }),
                    ElementsAreArray(announcement));
        EXPECT_THAT(LogOf([&] { EXPECT_TRUE(row.internal(internal)); }), ElementsAre());
        EXPECT_EQ(locked, 0);
        EXPECT_EQ(internal, 0);
    }
    EXPECT_THAT(m_service.Calls(), testing::IsEmpty());
}

TEST_F(QueryTest, LeavesTheOutParametersAloneWithoutABus) {
    const NoBus noBus;
    for (const Row& row : Rows()) {
        std::string shown = row.before;
        const auto log = LogOf([&] { EXPECT_FALSE(row.locked(shown)); });
        EXPECT_EQ(shown, row.before);
        std::vector<testing::Matcher<std::string>> lines;
        for (const std::string& line :
             LockedLog(row,
                       {"ERROR InitService: bus get sync failed: ",
                        std::string("ERROR ") + row.internalName + ": No connection!"},
                       shown))
            lines.push_back(StartsWith(line));
        EXPECT_THAT(log, ElementsAreArray(lines));
    }
    for (const ConstantRow& row : kConstantRows) {
        int value = 5;
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(row.locked(value)); }),
                    Contains(std::string("ERROR m_") + row.name + ": No connection!"));
        EXPECT_EQ(value, 5);
    }
    NumberWithInfo info;
    EXPECT_THAT(LogOf([&] { EXPECT_FALSE(info.Ask()); }),
                Contains("ERROR GetCurrentChannelNumberWithInfo: No connection!"));
    EXPECT_EQ(info.number, "before");
    info.ExpectRestUntouched();
}

TEST_F(QueryTest, ReadsTheRecognitionStatusFromTheKeyValueStore) {
    constexpr const char* kKey = "db/Canalysis-service/recognition_status";
    int status = 5;
    for (const int kept : {3, -1, std::numeric_limits<int>::max()}) {
        ASSERT_EQ(vconf_set_int(kKey, kept), 0);
        EXPECT_TRUE(Api::GetCurrentRecognitionStatus(status));
        EXPECT_EQ(status, kept);
    }
}

TEST_F(QueryTest, WaitsForOtherLockedOperationsOnly) {
    ASSERT_TRUE(Api::InitService());
    constexpr std::chrono::milliseconds kDelay(700);
    m_service.SetAnswer("GetProgramTitle", Answer::Reply("('late',)").After(kDelay));
    const auto start = std::chrono::steady_clock::now();
    std::thread slow([] {
        std::string title;
        EXPECT_TRUE(Api::GetCurrentProgramTitle(title));
    });
    ASSERT_TRUE(m_service.WaitForCalls("GetProgramTitle", 1));
    const auto unlocked = ShortestDuration([] {
        std::string name;
        EXPECT_TRUE(Api::m_GetCurrentChannelName(name));
        EXPECT_TRUE(NumberWithInfo().Ask());
    });
    EXPECT_LT(unlocked, kDelay);
    int zero = 5;
    EXPECT_TRUE(Api::GetVODAppType(zero));
    EXPECT_GE(std::chrono::steady_clock::now() - start, kDelay) << "a locked operation waits";
    slow.join();
}

}  // namespace
