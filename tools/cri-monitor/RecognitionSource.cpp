/// Subscribes to the recognition service.
#include "RecognitionSource.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <utility>

namespace cri_monitor {

using namespace cri_recording;
namespace {

using Api = CContentsRecognitionAPI;

constexpr const char* kName = "kestrum.olvex.CrsApi";
constexpr const char* kPath = "/kestrum/olvex/CrsApi";

/// A signal that reports one kind of line: its name, its body's type, and how the body is read.
struct Signal {
    std::size_t kind;
    const char* member;
    const char* type;
    LineContent (*read)(GVariant* body);
};

LineContent ReadContentArea(GVariant* body) {
    ContentArea area;
    g_variant_get(body, "(iiiii)", &area.mode, &area.x, &area.y, &area.width, &area.height);
    return area;
}

LineContent ReadVideoPlay(GVariant* body) {
    VideoPlay video;
    g_variant_get(body, "(i)", &video.status);
    return video;
}

LineContent ReadBlackScreen(GVariant* body) {
    int solid = 0, red = 0, green = 0, blue = 0, realBlack = 0;
    double probability = 0;
    g_variant_get(body, "(idiiii)", &solid, &probability, &red, &green, &blue, &realBlack);
    const auto lowByte = [](int colour) { return static_cast<std::uint8_t>(colour & 0xFF); };
    return BlackScreen{solid != 0,     probability,   lowByte(red),
                       lowByte(green), lowByte(blue), realBlack != 0};
}

LineContent ReadUiStartStop(GVariant* body) {
    UiStartStop signal;
    g_variant_get(body, "(iiiii)", &signal.startStop, &signal.hdmiPort, &signal.isStb,
                  &signal.adaptiveSound, &signal.multiview);
    return signal;
}

const std::array<Signal, 4> s_signals{
    {{PlaceOf<ContentArea>(), "CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS", "(iiiii)",
      ReadContentArea},
     {PlaceOf<VideoPlay>(), "CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS", "(i)", ReadVideoPlay},
     {PlaceOf<BlackScreen>(), "BlackScreenInfo", "(idiiii)", ReadBlackScreen},
     {PlaceOf<UiStartStop>(), "CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP", "(iiiii)",
      ReadUiStartStop}}};

/// A signal and who hears of it: a subscription's user data.
struct Listener {
    const Signal& signal;
    Reporter report;
};

void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* body,
              gpointer data) {
    const auto& listener = *static_cast<const Listener*>(data);
    if (g_variant_is_of_type(body, G_VARIANT_TYPE(listener.signal.type)))
        listener.report(listener.signal.read(body));
}

void DeleteListener(gpointer data) {
    delete static_cast<Listener*>(data);
}

}  // namespace

RecognitionSource::RecognitionSource(KindSet wanted, Reporter report)
    : m_wanted(wanted),
      m_report(std::move(report)),
      m_slots{{{CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL, this},
               {CONTENTS_RECOGNITION_EVENT_OTT, this},
               {CONTENTS_RECOGNITION_EVENT_YOUTUBE, this},
               {CONTENTS_RECOGNITION_EVENT_UI123, this},
               {CONTENTS_RECOGNITION_EVENT_OPTKEY, this},
               {CONTENTS_RECOGNITION_EVENT_VODAPP, this},
               {CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED, this}}} {}

bool RecognitionSource::Open() {
    if (!Api::InitService()) return false;
    SubscribeEvents();
    SubscribeSignals();
    WatchPresence();
    return true;
}

/// Events are wanted for the state's sake too, which changes with them.
void RecognitionSource::SubscribeEvents() {
    if (!Has<Event>(m_wanted) && !Has<StateChange>(m_wanted)) return;
    for (EventSlot& slot : m_slots) Api::SubscribeEvent(slot.event, OnEvent, &slot);
}

void RecognitionSource::OnEvent(CRS_EVENT_TYPE status, void* data) {
    const auto& slot = *static_cast<const EventSlot*>(data);
    slot.source->m_report(Event{CONTENTS_RECOGNITION_EVENTS_STR[slot.event], status});
}

void RecognitionSource::SubscribeSignals() {
    for (const Signal& signal : s_signals)
        if (m_wanted[signal.kind])
            g_dbus_connection_signal_subscribe(Api::m_connection, nullptr, kName, signal.member,
                                               kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal,
                                               new Listener{signal, m_report}, DeleteListener);
}

void RecognitionSource::WatchPresence() {
    const auto appeared = [](GDBusConnection*, const char*, const char*, gpointer self) {
        static_cast<RecognitionSource*>(self)->TakePresence(true);
    };
    const auto vanished = [](GDBusConnection*, const char*, gpointer self) {
        static_cast<RecognitionSource*>(self)->TakePresence(false);
    };
    g_bus_watch_name_on_connection(Api::m_connection, kName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                   appeared, vanished, this, nullptr);
}

/// Nothing is said of a service that is there from the start.
void RecognitionSource::TakePresence(bool present) {
    if (std::exchange(m_present, present) != present) m_report(Service{present});
}

}  // namespace cri_monitor
