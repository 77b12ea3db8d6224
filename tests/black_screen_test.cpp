/// Black-screen reports: the engine's references, and the way of a report to its callbacks.
#include <atomic>
#include <limits>
#include <memory>
#include <stdexcept>

#include "ClientTest.h"

namespace {

using namespace cri_test;
using cri_sim::Answer;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kMember = "BlackScreenInfo";
constexpr const char* kIncrease = "BlackScreenIncreaseReference";
constexpr const char* kDecrease = "BlackScreenDecreaseReference";

class BlackScreenTest : public testing::Test {
  protected:
    /// Subscribes a callback that notes `name` when it is called.
    int Subscribe(int name) {
        return Api::SubscribeBlackScreenEvent([this, name](cri_bs_info_s) { Note(name); });
    }

    void Note(int name) { m_called.push_back(name); }

    /// Emits a report and dispatches until the last callback has had it.
    void Report(const std::string& body = "(1, 0.5, 1, 2, 3, 0)") {
        const std::string line = "blackscreen info received";
        const std::size_t before = CountLogLines(line);
        Settle();
        m_service.EmitFromStranger(kMember, body);
        ASSERT_TRUE(RunUntil([&] { return CountLogLines(line) > before; }));
    }

    cri_sim::RecognitionService m_service;
    std::vector<int> m_called;
};

TEST_F(BlackScreenTest, ReportsToEverySubscriptionInTheOrderOfTheIds) {
    ASSERT_TRUE(Api::InitService());
    EXPECT_EQ(Api::s_BlackScreenSubscriber, 0xFFFFFFFFU);
    const auto log = LogOf([&] { EXPECT_EQ(Subscribe(10), 0); });
    EXPECT_THAT(log, ElementsAre("INFO SubscribeBlackScreenEvent: Start Subscribe BlackScreen " +
                                     std::to_string(Api::s_BlackScreenSubscriber),
                                 "INFO SubscribeBlackScreenEvent: Black Screen Engine Started Now",
                                 "INFO SubscribeBlackScreenEvent: Subscribe Blackscreen Info : 0"));
    EXPECT_THAT(
        LogOf([&] { EXPECT_EQ(Subscribe(11), 1); }),
        ElementsAre("INFO SubscribeBlackScreenEvent: Black Screen Engine is Already Started",
                    "INFO SubscribeBlackScreenEvent: Subscribe Blackscreen Info : 1"));
    EXPECT_EQ(Subscribe(12), 2);
    EXPECT_EQ(m_service.BlackScreenReferences(), 3);
    const std::string handler = "INFO HandleBlackScreenInfoEvent: ";
    EXPECT_THAT(
        LogOf([&] { Report("(2, 0.25, 300, -1, 256, 0)"); }),
        ElementsAre(handler + "blackscreen info received : isSolid<True>, solid "
                              "probability<0.250000>, rgb<300, -1, 256>, Not Real Black",
                    handler + "blackscreen callback : 0", handler + "blackscreen callback : 1",
                    handler + "blackscreen callback : 2"));
    EXPECT_THAT(m_called, ElementsAre(10, 11, 12));
}

TEST_F(BlackScreenTest, GivesItsReferencesBackAndUsesNoIdTwice) {
    ASSERT_EQ(Subscribe(10), 0);
    ASSERT_EQ(Subscribe(11), 1);
    const std::string log = "INFO UnsubscribeBlackScreenEvent: ";
    EXPECT_THAT(LogOf([] { EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(0)); }),
                ElementsAre(log + "Unsubscribe Blackscreen Info : 0",
                            log + "Black Screen Engine still run"));
    EXPECT_THAT(LogOf([] { EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(1)); }),
                ElementsAre(log + "Unsubscribe Blackscreen Info : 1",
                            log + "Black Screen Engine Stopped Now"));
    EXPECT_EQ(m_service.BlackScreenReferences(), 0);
    EXPECT_THAT(LogOf([&] { Report("(0, 0.0, 0, 0, 0, -1)"); }),
                ElementsAre(testing::HasSubstr("isSolid<False>, solid probability<0.000000>, "
                                               "rgb<0, 0, 0>, Real Black")))
        << "the signal stays subscribed";
    EXPECT_THAT(m_called, IsEmpty());
    EXPECT_EQ(Subscribe(12), 2);
}

TEST_F(BlackScreenTest, FillsTheReportFromTheBody) {
    cri_bs_info_s got{};
    ASSERT_EQ(Api::SubscribeBlackScreenEvent([&](cri_bs_info_s info) { got = info; }), 0);
    Report("(2, 0.75, 300, -1, 256, -1)");
    EXPECT_TRUE(got.is_solid);
    EXPECT_EQ(got.solid_prob, 0.75);
    EXPECT_EQ(got.major_red, 44);
    EXPECT_EQ(got.major_green, 255);
    EXPECT_EQ(got.major_blue, 0);
    EXPECT_TRUE(got.is_real_black);
}

TEST_F(BlackScreenTest, StoresNothingUnlessTheServiceConfirmsTheReference) {
    const std::string error = "ERROR SubscribeBlackScreenEvent: ";
    const std::string noReference = error + "Failed to increase blackscreen reference, Error: ";
    for (const auto& [answer, line] :
         {std::pair(Answer::Error("kestrum.Broken", "no"),
                    noReference + "GDBus.Error:kestrum.Broken: no"),
          {Answer::Reply("('1',)"), noReference},
          {Answer::Reply("()"), noReference},
          {Answer::Reply("(2,)"), error + "Unknown blackscreen reference result"},
          {Answer::Reply("(-1,)"), error + "Unknown blackscreen reference result"}}) {
        m_service.AnswerOnce(kIncrease, answer);
        EXPECT_THAT(LogOf([&] { EXPECT_EQ(Subscribe(1), -1); }), Contains(StartsWith(line)));
        EXPECT_THAT(Api::s_BlackScreenCallbackMap, IsEmpty());
    }
    const auto signal = Api::s_BlackScreenSubscriber;
    EXPECT_NE(signal, 0xFFFFFFFFU) << "the signal stays subscribed";
    EXPECT_EQ(Subscribe(2), 0);
    EXPECT_EQ(Api::s_BlackScreenSubscriber, signal);
    Report();
    EXPECT_THAT(m_called, ElementsAre(2));
}

TEST_F(BlackScreenTest, KeepsASubscriptionUntilTheServiceConfirmsTheRelease) {
    ASSERT_EQ(Subscribe(1), 0);
    const std::string error = "ERROR UnsubscribeBlackScreenEvent: ";
    const std::string noRelease = error + "Failed to decrease blackscreen reference, Error: ";
    for (const auto& [answer, line] :
         {std::pair(Answer::Error("kestrum.Broken", "no"),
                    noRelease + "GDBus.Error:kestrum.Broken: no"),
          {Answer::Reply("(true,)"), noRelease},
          {Answer::Reply("(-1,)"), error + "Invalid decrese reference"},
          {Answer::Reply("(2,)"), error + "Unknown blackscreen reference result"},
          {Answer::Reply("(-2,)"), error + "Unknown blackscreen reference result"}}) {
        m_service.AnswerOnce(kDecrease, answer);
        EXPECT_THAT(
            LogOf([] { EXPECT_FALSE(Api::UnsubscribeBlackScreenEvent(0)); }),
            ElementsAre("INFO UnsubscribeBlackScreenEvent: Unsubscribe Blackscreen Info : 0",
                        StartsWith(line)));
    }
    Report();
    EXPECT_THAT(m_called, ElementsAre(1));
    EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(0));
}

TEST_F(BlackScreenTest, AsksNothingForAnUnknownIdOrAnEmptyCallback) {
    ASSERT_EQ(Subscribe(1), 0);
    ASSERT_TRUE(Api::UnsubscribeBlackScreenEvent(0));
    const std::size_t calls = m_service.Calls().size();
    for (const int id : {0, 1, -1, std::numeric_limits<int>::min()})
        EXPECT_THAT(
            LogOf([id] { EXPECT_FALSE(Api::UnsubscribeBlackScreenEvent(id)); }),
            ElementsAre("INFO UnsubscribeBlackScreenEvent: Unsubscribe Blackscreen Info : " +
                            std::to_string(id),
                        "ERROR UnsubscribeBlackScreenEvent: Wrong subscribe id"));
    EXPECT_EQ(Api::SubscribeBlackScreenEvent({}), -1);
    EXPECT_EQ(Api::SubscribeBlackScreenEvent(static_cast<void (*)(cri_bs_info_s)>(nullptr)), -1);
    EXPECT_EQ(m_service.Calls().size(), calls);
}

TEST_F(BlackScreenTest, ReadsTheEnginesPeriod) {
    ASSERT_TRUE(Api::InitService());
    const std::string method = "GetBlackScreenPeriodMillis";
    int period = 5;
    EXPECT_THAT(LogOf([&] { EXPECT_TRUE(Api::GetBlackScreenPeriodMillis(period)); }), IsEmpty());
    EXPECT_EQ(period, 500);
    for (const Answer& answer : {Answer::Error("kestrum.Broken", "no"), Answer::Reply("('1',)")}) {
        m_service.SetAnswer(method, answer);
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(Api::GetBlackScreenPeriodMillis(period)); }),
                    ElementsAre(StartsWith("ERROR " + method + ": Error: ")));
        EXPECT_EQ(period, 500);
    }
}

TEST_F(BlackScreenTest, ChangesNothingWithoutABus) {
    const NoBus noBus;
    int period = 5;
    EXPECT_THAT(LogOf([&] {
                    EXPECT_EQ(Subscribe(1), -1);
                    EXPECT_FALSE(Api::UnsubscribeBlackScreenEvent(0));
                    EXPECT_FALSE(Api::GetBlackScreenPeriodMillis(period));
                }),
                testing::IsSupersetOf({"ERROR SubscribeBlackScreenEvent: No connection!",
                                       "ERROR UnsubscribeBlackScreenEvent: No connection!",
                                       "ERROR GetBlackScreenPeriodMillis: No connection!"}));
    EXPECT_EQ(period, 5);
    EXPECT_EQ(Api::s_BlackScreenSubscriber, 0xFFFFFFFFU);
}

TEST_F(BlackScreenTest, DropsBodiesOfAnotherType) {
    ASSERT_EQ(Subscribe(1), 0);
    for (const char* body :
         {"()", "(1,)", "(1, 0.5, 1, 2, 3)", "(1, 0.5, 1, 2, 3, 0, 0)", "(1, 1, 1, 2, 3, 0)",
          "(true, 0.5, 1, 2, 3, false)", "(1, 0.5, byte 1, byte 2, byte 3, 0)",
          "('1', 0.5, 1, 2, 3, 0)", "((1, 0.5, 1, 2, 3, 0),)"})
        m_service.EmitFromStranger(kMember, body);
    Report();
    EXPECT_THAT(m_called, ElementsAre(1));
}

TEST_F(BlackScreenTest, LetsCallbacksChangeTheSubscriptionsAndThrow) {
    int next = -1, added = -1;
    ASSERT_EQ(Api::SubscribeBlackScreenEvent([&](cri_bs_info_s) {
                  Note(0);
                  if (added >= 0) return;
                  added = Subscribe(3);
                  EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(next));
                  int period = 0;
                  EXPECT_TRUE(Api::GetBlackScreenPeriodMillis(period));
                  throw std::runtime_error("from the application");
              }),
              0);
    const int itself = Api::SubscribeBlackScreenEvent([&](cri_bs_info_s) {
        Note(1);
        EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(1));
    });
    next = Subscribe(2);
    EXPECT_EQ(itself, 1);
    Report();
    EXPECT_THAT(m_called, ElementsAre(0, 1, 2)) << "the report goes to who was subscribed then";
    m_called.clear();
    Report();
    EXPECT_THAT(m_called, ElementsAre(0, 3));
    EXPECT_EQ(m_service.BlackScreenReferences(), 2);
}

/// Whatever is done to it asks for the lock that the operations hold.
class Nosy {
  public:
    explicit Nosy(std::vector<int>& called) : m_called(called) {}
    Nosy(const Nosy& other) : m_called(other.m_called) { Ask(); }
    ~Nosy() { Ask(); }
    Nosy& operator=(const Nosy&) = delete;
    void operator()(cri_bs_info_s) const { m_called.push_back(1); }

  private:
    static void Ask() {
        int state = 5;
        EXPECT_TRUE(Api::GetVODAppType(state));
    }
    std::vector<int>& m_called;
};

TEST_F(BlackScreenTest, CopiesAndDestroysCallbacksWithNoLockHeld) {
    ASSERT_EQ(Api::SubscribeBlackScreenEvent(Nosy(m_called)), 0);
    Report();
    EXPECT_THAT(m_called, ElementsAre(1));
    m_service.AnswerOnce(kIncrease, Answer::Reply("(5,)"));
    EXPECT_EQ(Api::SubscribeBlackScreenEvent(Nosy(m_called)), -1);
    EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(0));
}

TEST_F(BlackScreenTest, LetsADestroyedCallbacksGuardUnsubscribe) {
    struct Guard {
        explicit Guard(int id) : m_id(id) {}
        ~Guard() { EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(m_id)); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;
        int m_id;
    };
    auto guard = std::make_shared<Guard>(Subscribe(1));
    ASSERT_EQ(Api::SubscribeBlackScreenEvent([this, guard](cri_bs_info_s) { Note(2); }), 1);
    guard.reset();
    EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(1));
    EXPECT_EQ(m_service.BlackScreenReferences(), 0);

    // The same when the last owner is the list of a report under way.
    guard = std::make_shared<Guard>(Subscribe(1));
    const int self = Api::SubscribeBlackScreenEvent(
        [guard](cri_bs_info_s) { EXPECT_TRUE(Api::UnsubscribeBlackScreenEvent(3)); });
    EXPECT_EQ(self, 3);
    guard.reset();
    Report();
    EXPECT_TRUE(RunUntil([this] { return m_service.BlackScreenReferences() == 0; }));
}

}  // namespace
