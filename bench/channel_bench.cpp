/// What the library adds to the message-file channels: results, their subscribers, and requests.
#include <fcntl.h>
#include <json/json.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ContentsUIDetectionAPI.h"
#include "Interleaved.h"
#include "ResultDocument.h"
#include "UiDetectionPeer.h"
#include "VDRS_Client_Inotify.h"
#include "VisionDataPeer.h"
#include "VisionDataRecognitionAPI.h"
#include "dlog.h"

namespace {

using cri_bench::SecondsPerCall;
using cri_sim::Descriptor;
using cri_sim::FileChannelPeer;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 21;
constexpr std::size_t kRecordSize = 1024;

// ---- From the peer's write to the callback ----

constexpr int kWarmUp = 200;
constexpr int kDeliveries = 2000;

std::binary_semaphore s_arrived(0);
Clock::time_point s_arrival;

void NoteArrival() {
    s_arrival = Clock::now();
    s_arrived.release();
}

double Deliveries(FileChannelPeer& peer, const std::string& json, int count) {
    Clock::duration passed{};
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        peer.Deliver(json);
        if (!s_arrived.try_acquire_for(std::chrono::seconds(5)))
            throw std::runtime_error("a result did not arrive");
        passed += s_arrival - start;
    }
    return std::chrono::duration<double>(passed).count() / count;
}

double MeasureDeliveries(FileChannelPeer& peer, const std::string& json) {
    Deliveries(peer, json, kWarmUp);
    return Deliveries(peer, json, kDeliveries);
}

const Json::Value& Find(const Json::Value& parent, std::string_view name) {
    return *parent.find(name.data(), name.data() + name.size());
}

/// A channel's reader by hand: one thread, a watch, a way to end it, and a kept JSON reader.
class BareChannel {
  public:
    using Take = void (*)(const Json::Value& document);

    BareChannel(const std::string& path, Take take) : m_path(path), m_take(take) {
        inotify_add_watch(m_inotify.Get(), path.c_str(), IN_MODIFY);
        m_thread = std::thread([this] { Watch(); });
    }
    ~BareChannel() {
        eventfd_write(m_stop.Get(), 1);
        m_thread.join();
    }
    BareChannel(const BareChannel&) = delete;
    BareChannel& operator=(const BareChannel&) = delete;

  private:
    void Watch() {
        pollfd waits[] = {{m_inotify.Get(), POLLIN, 0}, {m_stop.Get(), POLLIN, 0}};
        while (poll(waits, 2, -1) > 0 && waits[1].revents == 0) {
            alignas(inotify_event) char events[4096];
            if (read(m_inotify.Get(), events, sizeof events) > 0) ReadResult();
        }
    }

    void ReadResult() {
        char buffer[4096];
        const int file = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        const ssize_t length = read(file, buffer, sizeof buffer);
        close(file);
        const std::string_view text(buffer, length > 0 ? static_cast<std::size_t>(length) : 0);
        const std::size_t start = text.find('\n') + 1;
        Json::Value document;
        if (m_reader->parse(buffer + start, buffer + text.find('\n', start), &document, nullptr))
            m_take(document);
    }

    const std::string m_path;
    const Take m_take;
    const std::unique_ptr<Json::CharReader> m_reader{Json::CharReaderBuilder().newCharReader()};
    const Descriptor m_inotify{inotify_init1(IN_CLOEXEC)};
    const Descriptor m_stop{eventfd(0, EFD_CLOEXEC)};
    std::thread m_thread;
};

/// A result with as many detections as make it about as long as is wanted.
template <class Detections, class Document>
std::string FullRecord(const FileChannelPeer& peer, Detections detections, Document document) {
    std::string json;
    while (peer.Record(json).size() < kRecordSize) {
        detections.push_back({{10, 20, 300, 400}, 0.93F, 7});
        json = document(detections);
    }
    return json;
}

std::string VisionDataResult(const FileChannelPeer& peer) {
    return FullRecord(peer, std::vector<cri_sim::Logo>(), [](const auto& logos) {
        return cri_sim::AnalyzeResultDocument(
            {"player", "playing", "A title", logos, {1, 2, 3, 4}});
    });
}

std::string UiDetectionResult(const FileChannelPeer& peer) {
    return FullRecord(peer, std::vector<cri_sim::UiElement>(), [](const auto& elements) {
        return cri_sim::UiDetectionDocument({elements, {100, 200, 1}});
    });
}

const VisionDataRecognitionAPI::LogoIconCallback s_onUsage = [](const MOBILE_USAGE&) {
    NoteArrival();
};

void TakeVisionData(const Json::Value& document) {
    if (Find(document, "type").asString() != "AnalyzeResult") return;
    const Json::Value& analysis = Find(Find(document, "analyze_result"), "mobile_usage_analysis");
    MOBILE_USAGE usage;
    for (const Json::Value& logo : Find(analysis, "logo_icon")) {
        const Json::Value& box = Find(logo, "bbox");
        usage.logo_icon.push_back({Find(box, "left").asUInt(), Find(box, "top").asUInt(),
                                   Find(box, "right").asUInt(), Find(box, "bottom").asUInt(),
                                   Find(logo, "score").asFloat(), Find(logo, "class_id").asUInt()});
    }
    usage.AppName = Find(analysis, "AppName").asString();
    usage.ContentsStatus = Find(analysis, "ContentsStatus").asString();
    usage.TitleName = Find(analysis, "TitleName").asString();
    const Json::Value& text = Find(analysis, "text_roi");
    usage.text_roi = {Find(text, "left").asUInt(), Find(text, "top").asUInt(),
                      Find(text, "right").asUInt(), Find(text, "bottom").asUInt()};
    s_onUsage(usage);
}

double BareVisionData() {
    cri_sim::VisionDataPeer peer;
    const BareChannel channel(peer.ResultPath(), TakeVisionData);
    return MeasureDeliveries(peer, VisionDataResult(peer));
}

double LibraryVisionData() {
    cri_sim::VisionDataPeer peer;
    VisionDataRecognitionAPI::GetInstance()->SubscribeLogoIconInfo(s_onUsage);
    return MeasureDeliveries(peer, VisionDataResult(peer));
}

const ContentsUIDetectionAPI::DetectedCallback s_onDetected =
    [](const std::vector<_DETECTED_RESULT>&) {};
const ContentsUIDetectionAPI::PipModeCallback s_onPipMode = [](const _PIP_MODE_RESULT&) {
    NoteArrival();
};

void TakeUiDetection(const Json::Value& document) {
    if (Find(document, "type").asString() != "ContentsUIdetection") return;
    const Json::Value& result = Find(document, "result");
    std::vector<_DETECTED_RESULT> detected;
    for (const Json::Value& element : Find(result, "detected_list")) {
        const Json::Value& box = Find(element, "bbox");
        detected.push_back({Find(box, "left").asFloat(), Find(box, "top").asFloat(),
                            Find(box, "right").asFloat(), Find(box, "bottom").asFloat(),
                            Find(element, "score").asFloat(), Find(element, "class_id").asUInt()});
    }
    s_onDetected(detected);
    const Json::Value& mode = Find(result, "pip_mode");
    s_onPipMode({Find(mode, "centerx").asInt(), Find(mode, "centery").asInt(),
                 Find(mode, "on_off").asInt()});
}

double BareUiDetection() {
    cri_sim::UiDetectionPeer peer;
    const BareChannel channel(peer.ResultPath(), TakeUiDetection);
    return MeasureDeliveries(peer, UiDetectionResult(peer));
}

double LibraryUiDetection() {
    cri_sim::UiDetectionPeer peer;
    ContentsUIDetectionAPI* const client = ContentsUIDetectionAPI::GetInstance();
    client->SubscribeDetectedCallback(s_onDetected);
    client->SubscribePipModeCallback(s_onPipMode);
    return MeasureDeliveries(peer, UiDetectionResult(peer));
}

// ---- Subscribers ----

unsigned s_called = 0;

const MOBILE_USAGE kUsage = {"player",
                             "playing",
                             "A title",
                             std::vector<LogoIconInfo>(8, {10, 20, 300, 400, 0.93F, 7}),
                             {1, 2, 3, 4}};

VisionDataRecognitionAPI::LogoIconCallback Subscriber() {
    return [](const MOBILE_USAGE& usage) { s_called += usage.text_roi.left; };
}

/// As many deliveries as make a million calls, but no more than 100,000.
double MeasureFanOut(int subscribers, const std::function<void()>& deliver) {
    const int count = std::min(100'000, 1'000'000 / subscribers);
    SecondsPerCall(count / 10, deliver);
    return SecondsPerCall(count, deliver);
}

double BareFanOut(int subscribers) {
    std::vector<VisionDataRecognitionAPI::LogoIconCallback> callbacks;
    for (int i = 0; i < subscribers; ++i) callbacks.push_back(Subscriber());
    return MeasureFanOut(subscribers, [&callbacks] {
        const MOBILE_USAGE usage = kUsage;
        for (const auto& callback : callbacks) callback(usage);
    });
}

double LibraryFanOut(int subscribers) {
    cri_sim::VisionDataPeer peer;  // has the files
    VisionDataRecognitionAPI* const client = VisionDataRecognitionAPI::GetInstance();
    for (int i = 0; i < subscribers; ++i) client->SubscribeLogoIconInfo(Subscriber());
    return MeasureFanOut(subscribers, [client] { client->ReceiveLogoIconData(kUsage); });
}

constexpr int kSubscriptions = 1000;
constexpr int kBatches = 50;

/// Of one batch; the time that `undo` takes is not counted.
double MeasureBatches(const std::function<void()>& batch, const std::function<void()>& undo) {
    double seconds = 0;
    for (int i = 0; i < kBatches; ++i) {
        seconds += SecondsPerCall(1, batch);
        undo();
    }
    return seconds / kBatches;
}

double BareSubscriptions() {
    std::map<unsigned long long, VisionDataRecognitionAPI::LogoIconCallback> callbacks;
    unsigned long long lastId = 0;
    const auto batch = [&] {
        for (int i = 0; i < kSubscriptions; ++i) callbacks.emplace(++lastId, Subscriber());
        const MOBILE_USAGE usage = kUsage;
        for (const auto& [id, callback] : callbacks) callback(usage);
    };
    return MeasureBatches(batch, [&callbacks] { callbacks.clear(); });
}

double LibrarySubscriptions() {
    cri_sim::VisionDataPeer peer;  // has the files
    VisionDataRecognitionAPI* const client = VisionDataRecognitionAPI::GetInstance();
    client->Initialize();
    std::array<SubscriptionHandle, kSubscriptions> handles;
    const auto batch = [&] {
        for (auto& handle : handles) handle = client->SubscribeLogoIconInfo(Subscriber());
        client->ReceiveLogoIconData(kUsage);
    };
    return MeasureBatches(batch, [&] {
        for (auto& handle : handles) client->Unsubscribe(handle);
    });
}

// ---- Requests ----

constexpr int kSends = 20'000;

double MeasureSends(const std::function<void()>& send) {
    SecondsPerCall(kSends / 10, send);
    return SecondsPerCall(kSends, send);
}

double BareSend() {
    const std::string path = std::string(cri_sim::kMessageDirectory) + "vdrs_c2s_msg";
    return MeasureSends([&path] {
        constexpr std::string_view kMessage = "vdrs_method_ld_stop\n";
        const int file = open(path.c_str(), O_RDWR | O_CREAT, 0644);
        if (write(file, kMessage.data(), kMessage.size()) < 0) throw std::runtime_error("no file");
        close(file);
    });
}

double LibrarySend() {
    return MeasureSends([] { VDRS_Client_Inotify_Send("vdrs_method_ld_stop", nullptr); });
}

std::vector<cri_bench::Comparison> Comparisons() {
    std::vector<cri_bench::Comparison> all = {
        {"a vision-data result to its callback", 1.00, BareVisionData, LibraryVisionData},
        {"a UI-detection result to its callbacks", 1.00, BareUiDetection, LibraryUiDetection},
        {"1000 subscriptions and a delivery", 1.30, BareSubscriptions, LibrarySubscriptions},
        {"a request", 1.15, BareSend, LibrarySend},
    };
    // What a delivery costs by itself is spread over its subscribers.
    for (const int count : {1, 100, 10'000})
        all.push_back({"a delivery, subscribers: " + std::to_string(count),
                       count < 10'000 ? 0 : 1.3, [count] { return BareFanOut(count); },
                       [count] { return LibraryFanOut(count); }});
    return all;
}

}  // namespace

int main() {
    dlog_set_threshold(DLOG_SILENT);
    bool measured = true;
    for (const auto& comparison : Comparisons())
        measured = cri_bench::Compare(comparison, kRounds) && measured;
    return measured ? 0 : 1;
}
