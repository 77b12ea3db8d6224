/// Change events: subscription, and what the bus delivers to the slots.
#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>

#include "ClientTest.h"

namespace {

using namespace cri_test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Statuses = std::vector<int>;

CONTENTS_RECOGNITION_EVENTS Event(int value) {
    return static_cast<CONTENTS_RECOGNITION_EVENTS>(value);
}

const char* Member(int event) {
    return CONTENTS_RECOGNITION_EVENTS_STR[event];
}

/// A callback that keeps the statuses where its user data says.
void Keep(CRS_EVENT_TYPE status, void* statuses) {
    static_cast<Statuses*>(statuses)->push_back(status);
}

class EventTest : public testing::Test {
  protected:
    static constexpr int kLastStatus = 4711;

    unsigned Subscribe(int event, Statuses& statuses) {
        const int id = Api::SubscribeEvent(Event(event), Keep, &statuses);
        EXPECT_GT(id, 0);
        return static_cast<unsigned>(id);
    }

    void Emit(int member, int event, int status) {
        Settle();
        m_service.EmitFromStranger(
            Member(member), "(" + std::to_string(event) + ", " + std::to_string(status) + ")");
    }

    /// Emits one more event and dispatches until it has come: so has all that was emitted before.
    void DispatchAll() {
        if (!m_lastId) m_lastId = Subscribe(CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED, m_last);
        const std::size_t before = m_last.size();
        Emit(CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED, CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED,
             kLastStatus);
        ASSERT_TRUE(RunUntil([&] { return m_last.size() > before; }));
    }

    cri_sim::RecognitionService m_service;
    Statuses m_last;
    unsigned m_lastId = 0;
};

TEST_F(EventTest, CallsTheEventsCallbackWithItsStatusAndUserData) {
    std::vector<Statuses> statuses(13);
    for (const int event : {1, 2, 3, 4, 5, 6, 10}) {
        Statuses& mine = statuses[static_cast<std::size_t>(event)];
        unsigned id = 0;
        const auto log = LogOf([&] { id = Subscribe(event, mine); });
        Settle();
        EXPECT_THAT(log, Contains("DEBUG SubscribeEvent: subscriberID=" + std::to_string(id)));
        EXPECT_EQ(Api::m_subscriberID[event], id);
        EXPECT_EQ(Api::m_pUserData[event], &mine);
        for (const int status : {event, -1, std::numeric_limits<int>::min()})
            m_service.Emit(Member(event),
                           "(" + std::to_string(event) + ", " + std::to_string(status) + ")");
        EXPECT_TRUE(RunUntil([&] { return mine.size() == 3; }));
        EXPECT_THAT(mine, ElementsAre(event, -1, std::numeric_limits<int>::min()));
    }
    EXPECT_THAT(LogOf([&] {
                    Emit(1, 1, 8);
                    RunUntil([&] { return statuses[1].size() == 4; });
                }),
                ElementsAre(testing::MatchesRegex(
                    "DEBUG m_OnSignalContentsRecognitionChangedCB: Callback connection = "
                    "0x0x[0-9a-f]+, event : 1, status : 8")));
}

TEST_F(EventTest, RefusesWhatIsNoEvent) {
    ASSERT_TRUE(Api::InitService());
    Statuses statuses;
    for (const int event : {0, 12, 13, -1, std::numeric_limits<int>::max()}) {
        EXPECT_THAT(
            LogOf([&] { EXPECT_EQ(Api::SubscribeEvent(Event(event), Keep, &statuses), -1); }),
            ElementsAre("ERROR SubscribeEvent: Invalid Event Type!"));
        EXPECT_THAT(LogOf([&] { EXPECT_FALSE(Api::SubscribeSMEvent(Event(event), nullptr)); }),
                    ElementsAre("ERROR SubscribeSMEvent: Invalid Event Type!"));
    }
    EXPECT_THAT(LogOf([] { EXPECT_EQ(Api::SubscribeEvent(Event(7), Keep, nullptr), 0); }),
                ElementsAre("DEBUG SubscribeEvent: subscriberID=0"))
        << "the reserved event has no signal";
    EXPECT_THAT(LogOf([] { EXPECT_TRUE(Api::UnsubscribeEvent(0xFFFFFFFF)); }),
                ElementsAre("DEBUG UnsubscribeEvent: g_dbus_connection_signal_unsubscribe "
                            "subscriberID=-1"));
    EXPECT_THAT(Api::m_subscriberID, testing::Each(0U));
}

TEST_F(EventTest, LeavesTheSlotsAloneWithoutABus) {
    const NoBus noBus;
    EXPECT_THAT(LogOf([] { EXPECT_EQ(Api::SubscribeEvent(Event(1), Keep, &Api::m_proxy), -1); }),
                ElementsAre(StartsWith("ERROR InitService: bus get sync failed: "),
                            "ERROR SubscribeEvent: No connection!"));
    EXPECT_THAT(LogOf([] { EXPECT_FALSE(Api::SubscribeSMEvent(Event(8), &Api::m_proxy)); }),
                Contains("ERROR SubscribeSMEvent: No connection!"));
    EXPECT_THAT(LogOf([] { EXPECT_FALSE(Api::UnsubscribeEvent(1)); }),
                Contains("ERROR UnsubscribeEvent: No connection!"));
    EXPECT_THAT(Api::m_subscriberID, testing::Each(0U));
    EXPECT_THAT(Api::changed_cb, testing::Each(nullptr));
    EXPECT_THAT(Api::m_pUserData, testing::Each(nullptr));
}

TEST_F(EventTest, DeliversTwiceToTheNewestOfTwoSubscriptions) {
    Statuses first, second;
    const unsigned earlier = Subscribe(1, first);
    const unsigned newest = Subscribe(1, second);
    EXPECT_NE(earlier, newest);
    EXPECT_EQ(Api::m_subscriberID[1], newest);
    Emit(1, 1, 5);
    DispatchAll();
    EXPECT_THAT(first, IsEmpty());
    EXPECT_THAT(second, ElementsAre(5, 5));
    EXPECT_TRUE(Api::UnsubscribeEvent(newest));
    EXPECT_TRUE(Api::UnsubscribeEvent(earlier));
    Emit(1, 1, 6);
    DispatchAll();
    EXPECT_THAT(second, ElementsAre(5, 5));
}

TEST_F(EventTest, ReachesAnEndedEventThroughAnotherMember) {
    Statuses first, second;
    const unsigned ended = Subscribe(1, first);
    Subscribe(2, second);
    EXPECT_TRUE(Api::UnsubscribeEvent(ended));
    EXPECT_EQ(Api::m_subscriberID[1], ended) << "slots are never cleared";
    Emit(1, 1, 5);
    Emit(2, 1, 6);
    DispatchAll();
    EXPECT_THAT(first, ElementsAre(6));
    EXPECT_THAT(second, IsEmpty());
}

TEST_F(EventTest, DropsBodiesThatNameNoSubscribedEventOrHaveAnotherType) {
    Statuses statuses;
    for (int event = 1; event <= 11; ++event)
        if (event != 5 && event != 7 && event != 8 && event != 10) Subscribe(event, statuses);
    ASSERT_GT(Api::SubscribeEvent(Event(4), nullptr, &statuses), 0);
    ASSERT_TRUE(Api::SubscribeSMEvent(Event(8), &statuses));
    Settle();
    for (const char* body : {"(-1, 7)",
                             "(13, 7)",
                             "(-2147483648, 7)",
                             "(2147483647, 7)",
                             "(1000000000, 7)",
                             "(0, 7)",
                             "(12, 7)",
                             "(7, 7)",
                             "(5, 7)",
                             "(4, 7)",
                             "(8, 7)",
                             "()",
                             "(1,)",
                             "(1, 7, 7)",
                             "(uint32 1, uint32 7)",
                             "(int64 1, int64 7)",
                             "('1', '7')",
                             "((1, 7),)",
                             "([1, 7],)",
                             "(<1>, <7>)",
                             "(1, 7.0)",
                             "(true, false)"})
        for (const int member : {1, 9, 11}) m_service.EmitFromStranger(Member(member), body);
    DispatchAll();
    EXPECT_THAT(statuses, IsEmpty());
    EXPECT_EQ(CountLogLines("event : 4, status : 7\n"), 3U) << "a callback that is null is logged";
    Emit(1, 1, 7);
    DispatchAll();
    EXPECT_THAT(statuses, ElementsAre(7));
    Api::m_OnSignalContentsRecognitionChangedCB(nullptr, nullptr, nullptr, nullptr, nullptr,
                                                nullptr, nullptr);
}

std::atomic<int> s_pairs, s_mixedPairs;

/// Callbacks that differ, each with a user data of its own.
template <int number>
void CheckPair(CRS_EVENT_TYPE, void* own) {
    ++s_pairs;
    if (*static_cast<int*>(own) != number) ++s_mixedPairs;
}

TEST_F(EventTest, LosesNoSignalAndMixesNoPairWhileAnEventIsSubscribedAgain) {
    constexpr int kSubscriptions = 20000;
    constexpr auto kEvent = CONTENTS_RECOGNITION_EVENT_OTT;
    static int s_one = 1, s_two = 2;
    ASSERT_GT(Api::SubscribeEvent(kEvent, CheckPair<1>, &s_one), 0);
    std::atomic<bool> done = false;
    int dispatched = 0;
    // The handler on another thread, as a main loop there would run it.
    std::thread loop([&] {
        GVariant* const body = g_variant_ref_sink(g_variant_new("(ii)", int{kEvent}, 1));
        for (; !done; ++dispatched)
            Api::m_OnSignalContentsRecognitionChangedCB(nullptr, "", "", "", "", body, nullptr);
        g_variant_unref(body);
    });
    for (int i = 0; i < kSubscriptions; ++i) {
        const int id = i % 2 ? Api::SubscribeEvent(kEvent, CheckPair<1>, &s_one)
                             : Api::SubscribeEvent(kEvent, CheckPair<2>, &s_two);
        Api::UnsubscribeEvent(static_cast<unsigned>(id));
    }
    done = true;
    loop.join();
    EXPECT_EQ(s_pairs, dispatched);
    EXPECT_EQ(s_mixedPairs, 0);
}

TEST_F(EventTest, SurvivesCallbacksThatThrow) {
    const auto thrower = [](CRS_EVENT_TYPE status, void* statuses) {
        Keep(status, statuses);
        throw std::runtime_error("from the application");
    };
    Statuses statuses;
    ASSERT_GT(Api::SubscribeEvent(Event(1), thrower, &statuses), 0);
    Emit(1, 1, 1);
    Emit(1, 1, 2);
    DispatchAll();
    EXPECT_THAT(statuses, ElementsAre(1, 2));
}

TEST_F(EventTest, LetsACallbackQuerySubscribeAndUnsubscribe) {
    const auto busy = [](CRS_EVENT_TYPE status, void* statuses) {
        Keep(status, statuses);
        std::string name;
        EXPECT_TRUE(Api::GetCurrentChannelName(name));
        EXPECT_TRUE(Api::UnsubscribeEvent(Api::m_subscriberID[1]));
        EXPECT_GT(Api::SubscribeEvent(Event(2), Keep, statuses), 0);
    };
    Statuses statuses;
    ASSERT_GT(Api::SubscribeEvent(Event(1), busy, &statuses), 0);
    Emit(1, 1, 1);
    DispatchAll();
    Emit(1, 1, 2);
    Emit(2, 2, 3);
    DispatchAll();
    EXPECT_THAT(statuses, ElementsAre(1, 3));
}

}  // namespace
