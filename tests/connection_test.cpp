/// The connection to the recognition service, and what the library exports as data.
#include <thread>

#include "ClientTest.h"

namespace {

using namespace cri_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

std::vector<std::string> NamesOnBus(const cri_sim::BusConnection& bus) {
    const cri_sim::Owned<GVariant> reply(g_dbus_connection_call_sync(
        bus.Raw(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ListNames", nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
        nullptr));
    std::vector<std::string> names;
    GVariantIter* all = nullptr;
    const char* name = nullptr;
    g_variant_get(reply.get(), "(as)", &all);
    while (g_variant_iter_next(all, "&s", &name)) names.emplace_back(name);
    g_variant_iter_free(all);
    return names;
}

TEST(ConnectionTest, ExportsItsDataAsItIsAtLoad) {
    EXPECT_EQ(Api::m_connection, nullptr);
    EXPECT_EQ(Api::m_proxy, nullptr);
    EXPECT_EQ(currentRecognitionStatus, -1);
    EXPECT_THAT(Api::m_subscriberID, testing::Each(0U));
    EXPECT_THAT(Api::m_pUserData, testing::Each(nullptr));
    EXPECT_THAT(Api::changed_cb, testing::Each(nullptr));
    EXPECT_EQ(Api::sm_vpd_cb, nullptr);
    EXPECT_EQ(Api::sm_cad_cb, nullptr);
    EXPECT_EQ(Api::s_BlackScreenSubscriber, 0xFFFFFFFFU);
    EXPECT_EQ(Api::s_BlackScreenCallbackId, 0);
    EXPECT_THAT(Api::s_BlackScreenCallbackMap, IsEmpty());
    const std::string prefix = "CONTENTS_RECOGNITION_EVENT_";
    EXPECT_THAT(
        CONTENTS_RECOGNITION_EVENTS_STR,
        ElementsAre(prefix + "UNKNOWN", prefix + "LINEAR_CHANNEL", prefix + "OTT",
                    prefix + "YOUTUBE", prefix + "UI123", prefix + "OPTKEY", prefix + "VODAPP",
                    testing::StrEq(" "), prefix + "SM_VPD_STATUS", prefix + "SM_CAD_STATUS",
                    prefix + "STATUS_CHANGED", prefix + "CUDS_STARTSTOP", prefix + "MAX"));
}

TEST(ConnectionTest, TriesAnewAfterABusThatWasNotThere) {
    {
        const NoBus noBus;
        for (int attempt = 0; attempt < 2; ++attempt) {
            EXPECT_THAT(LogOf([] { EXPECT_FALSE(Api::InitService()); }),
                        ElementsAre(StartsWith("ERROR InitService: bus get sync failed: ")));
            EXPECT_EQ(Api::m_connection, nullptr);
            EXPECT_EQ(Api::m_proxy, nullptr);
        }
    }
    EXPECT_THAT(LogOf([] {
                    int state = 5;
                    EXPECT_TRUE(Api::GetUIStatus(state));
                    EXPECT_TRUE(Api::m_GetUIStatus(state));
                }),
                ElementsAre("INFO GetUIStatus: GetUIStatus()",
                            MatchesRegex("DEBUG InitService: m_connection=0x0x[0-9a-f]+, "
                                         "m_proxy = 0x0x[0-9a-f]+")));
}

TEST(ConnectionTest, StartsAgainFromTheBusWhenNoProxyCanBeMade) {
    GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(shared, nullptr);
    g_dbus_connection_set_exit_on_close(shared, FALSE);
    ASSERT_TRUE(g_dbus_connection_close_sync(shared, nullptr, nullptr));
    EXPECT_THAT(LogOf([] { EXPECT_FALSE(Api::InitService()); }),
                ElementsAre(StartsWith("ERROR InitService: bus proxy new failed: ")));
    EXPECT_EQ(Api::m_connection, nullptr);
    EXPECT_EQ(Api::m_proxy, nullptr);
    // The library has given its reference back: ours is the last.
    g_object_add_weak_pointer(G_OBJECT(shared), reinterpret_cast<gpointer*>(&shared));
    g_object_unref(shared);
    EXPECT_TRUE(RunUntil([&] { return shared == nullptr; }));
    EXPECT_TRUE(Api::InitService());
}

TEST(ConnectionTest, IsOneForAllThreadsThatComeFirst) {
    constexpr int kThreads = 64;
    cri_sim::RecognitionService service;
    // Slow enough for everybody to arrive while the first is at it.
    service.SetAnswer("GetAll",
                      cri_sim::Answer::Reply("(@a{sv} {},)").After(std::chrono::milliseconds(300)));
    const cri_sim::BusConnection witness;
    const std::size_t names = NamesOnBus(witness).size();
    std::vector<std::thread> threads;
    std::vector<GDBusProxy*> proxies(kThreads);
    Latch start;
    for (int number = 0; number < kThreads; ++number)
        threads.emplace_back([number, &proxies, &start] {
            start.WaitForOpen();
            std::string text;
            switch (number % 3) {
                case 0:
                    EXPECT_TRUE(Api::InitService());
                    break;
                case 1:
                    EXPECT_TRUE(Api::m_GetCurrentChannelName(text));
                    break;
                default:
                    EXPECT_TRUE(Api::GetCurrentChannelName(text));
                    break;
            }
            proxies[static_cast<std::size_t>(number)] =
                __atomic_load_n(&Api::m_proxy, __ATOMIC_ACQUIRE);
        });
    start.CountDown();
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(proxies, testing::Each(Api::m_proxy));
    EXPECT_EQ(CountLogLines("m_connection=0x"), 1U);
    EXPECT_EQ(NamesOnBus(witness).size(), names + 1);
}

}  // namespace
