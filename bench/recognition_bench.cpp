/// What the library adds to the bus: a query and a signal, against the bare bus library.
#include <gio/gio.h>

#include "ContentsRecognitionAPI.h"
#include "Interleaved.h"
#include "RecognitionService.h"
#include "dlog.h"

namespace {

using cri_bench::SecondsPerCall;
using cri_sim::RecognitionService;

constexpr int kRounds = 21;
constexpr int kWarmUp = 200;
constexpr int kOperations = 2000;
constexpr char kMember[] = "CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL";

/// A connection and a proxy as the library has them, on the calling thread's main context.
struct BareClient {
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    GDBusProxy* proxy = g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr,
                                              RecognitionService::kName, RecognitionService::kPath,
                                              RecognitionService::kInterface, nullptr, nullptr);
};

double Measure(const std::function<void()>& operation) {
    SecondsPerCall(kWarmUp, operation);
    return SecondsPerCall(kOperations, operation);
}

double BareQuery() {
    RecognitionService service;
    const BareClient client;
    return Measure([&client] {
        GVariant* reply = g_dbus_proxy_call_sync(client.proxy, "GetChannelName", nullptr,
                                                 G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
        char* text = nullptr;
        g_variant_get(reply, "(s)", &text);
        const std::string name = text;
        g_free(text);
        g_variant_unref(reply);
    });
}

double LibraryQuery() {
    RecognitionService service;
    return Measure([] {
        std::string name;
        CContentsRecognitionAPI::GetCurrentChannelName(name);
    });
}

int s_received = 0;

/// From the emission of a signal to its callback, one after another.
double MeasureSignals(RecognitionService& service) {
    return Measure([&service] {
        const int before = s_received;
        service.Emit(kMember, "(1, 5)");
        while (s_received == before) g_main_context_iteration(nullptr, TRUE);
    });
}

void OnBareSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                  GVariant* parameters, void*) {
    int event = 0, status = 0;
    g_variant_get(parameters, "(ii)", &event, &status);
    s_received += event;
}

double BareSignal() {
    RecognitionService service;
    const BareClient client;
    g_dbus_connection_signal_subscribe(client.connection, nullptr, RecognitionService::kInterface,
                                       kMember, RecognitionService::kPath, nullptr,
                                       G_DBUS_SIGNAL_FLAGS_NONE, OnBareSignal, nullptr, nullptr);
    return MeasureSignals(service);
}

double LibrarySignal() {
    RecognitionService service;
    CContentsRecognitionAPI::SubscribeEvent(
        CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL, [](CRS_EVENT_TYPE, void*) { ++s_received; },
        nullptr);
    return MeasureSignals(service);
}

}  // namespace

int main() {
    dlog_set_threshold(DLOG_SILENT);
    const bool query = cri_bench::Compare({"a query", 1.05, BareQuery, LibraryQuery}, kRounds);
    const bool signal =
        cri_bench::Compare({"a signal to its callback", 1.05, BareSignal, LibrarySignal}, kRounds);
    return query && signal ? 0 : 1;
}
