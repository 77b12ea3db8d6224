/// The members of everything that stands in a recording as an object, each listed once for reading
/// and writing. A form with a kName is that of a line: the name of its kind or fault.
#pragma once

#include <concepts>
#include <tuple>

#include "Recording.h"

namespace cri_sim::form {

template <class Owner, class Value>
struct Member {
    const char* name;
    Value Owner::*place;
};

template <class Owner, class Value>
Member(const char*, Value Owner::*) -> Member<Owner, Value>;

/// The name and the members of what stands in recordings as an object.
template <class T>
struct Form;

template <class T>
concept HasForm = requires {
    Form<T>::Members();
};
template <>
struct Form<ChannelInfo> {
    using T = ChannelInfo;
    static auto Members() {
        return std::tuple(Member{"number", &T::number}, Member{"first_value", &T::firstValue},
                          Member{"second_text", &T::secondText},
                          Member{"second_value", &T::secondValue}, Member{"flag", &T::flag});
    }
};

template <>
struct Form<StateChange> {
    using T = StateChange;
    static constexpr const char* kName = "state";
    static auto Members() {
        return std::tuple(
            Member{"contents_info", &T::contentsInfo}, Member{"channel_name", &T::channelName},
            Member{"channel_number", &T::channelNumber}, Member{"channel_info", &T::channelInfo},
            Member{"program_title", &T::programTitle},
            Member{"program_title_source", &T::programTitleSource},
            Member{"screen_status", &T::screenStatus},
            Member{"recognition_status", &T::recognitionStatus},
            Member{"black_screen_period_ms", &T::blackScreenPeriodMillis},
            Member{"scrolling", &T::scrolling});
    }
};

template <>
struct Form<Event> {
    using T = Event;
    static constexpr const char* kName = "event";
    static auto Members() {
        return std::tuple(Member{"event", &T::event}, Member{"status", &T::status});
    }
};

template <>
struct Form<ContentArea> {
    using T = ContentArea;
    static constexpr const char* kName = "content_area";
    static auto Members() {
        return std::tuple(Member{"mode", &T::mode}, Member{"x", &T::x}, Member{"y", &T::y},
                          Member{"width", &T::width}, Member{"height", &T::height});
    }
};

template <>
struct Form<VideoPlay> {
    static constexpr const char* kName = "video_play";
    static auto Members() { return std::tuple(Member{"status", &VideoPlay::status}); }
};

template <>
struct Form<BlackScreen> {
    using T = BlackScreen;
    static constexpr const char* kName = "black_screen";
    static auto Members() {
        return std::tuple(Member{"is_solid", &T::isSolid}, Member{"solid_prob", &T::solidProb},
                          Member{"red", &T::red}, Member{"green", &T::green},
                          Member{"blue", &T::blue}, Member{"is_real_black", &T::isRealBlack});
    }
};

template <class Edge>
struct Form<Box<Edge>> {
    using T = Box<Edge>;
    static auto Members() {
        return std::tuple(Member{"left", &T::left}, Member{"top", &T::top},
                          Member{"right", &T::right}, Member{"bottom", &T::bottom});
    }
};

template <>
struct Form<VisionData> {
    using T = VisionData;
    static constexpr const char* kName = "vision_data";
    static auto Members() {
        return std::tuple(Member{"app_name", &T::appName},
                          Member{"contents_status", &T::contentsStatus},
                          Member{"title_name", &T::titleName}, Member{"logos", &T::logos},
                          Member{"text_region", &T::textRegion});
    }
};

template <>
struct Form<PictureInPicture> {
    using T = PictureInPicture;
    static auto Members() {
        return std::tuple(Member{"centerx", &T::centerX}, Member{"centery", &T::centerY},
                          Member{"on_off", &T::onOff});
    }
};

template <>
struct Form<UiDetection> {
    using T = UiDetection;
    static constexpr const char* kName = "ui_detection";
    static auto Members() {
        return std::tuple(Member{"elements", &T::elements}, Member{"pip", &T::pip});
    }
};

template <>
struct Form<UiStartStop> {
    using T = UiStartStop;
    static constexpr const char* kName = "ui_start_stop";
    static auto Members() {
        return std::tuple(Member{"start_stop", &T::startStop}, Member{"hdmi_port", &T::hdmiPort},
                          Member{"is_stb", &T::isStb}, Member{"adaptive_sound", &T::adaptiveSound},
                          Member{"multiview", &T::multiview});
    }
};

template <>
struct Form<Service> {
    static constexpr const char* kName = "service";
    static auto Members() { return std::tuple(Member{"present", &Service::present}); }
};

/// What marks a form as that of a fault: all faults share one kind.
struct FaultKind {};

template <class T>
concept IsFault = std::derived_from<Form<T>, FaultKind>;

template <>
struct Form<NoAnswer> : FaultKind {
    static constexpr const char* kName = "no_answer";
    static auto Members() { return std::tuple(Member{"method", &NoAnswer::method}); }
};
template <>
struct Form<LateAnswer> : FaultKind {
    static constexpr const char* kName = "late_answer";
    static auto Members() {
        return std::tuple(Member{"method", &LateAnswer::method},
                          Member{"millis", &LateAnswer::millis});
    }
};
template <>
struct Form<ErrorAnswer> : FaultKind {
    using T = ErrorAnswer;
    static constexpr const char* kName = "error_answer";
    static auto Members() {
        return std::tuple(Member{"method", &T::method}, Member{"name", &T::name},
                          Member{"message", &T::message});
    }
};
template <>
struct Form<WrongType> : FaultKind {
    static constexpr const char* kName = "wrong_type";
    static auto Members() {
        return std::tuple(Member{"method", &WrongType::method}, Member{"body", &WrongType::body});
    }
};
template <>
struct Form<AnswerNormally> : FaultKind {
    static constexpr const char* kName = "answer_normally";
    static auto Members() { return std::tuple(Member{"method", &AnswerNormally::method}); }
};
template <>
struct Form<Leave> : FaultKind {
    static constexpr const char* kName = "leave";
    static auto Members() { return std::tuple(); }
};
template <>
struct Form<Return> : FaultKind {
    static constexpr const char* kName = "return";
    static auto Members() { return std::tuple(); }
};
template <>
struct Form<KillBus> : FaultKind {
    static constexpr const char* kName = "kill_bus";
    static auto Members() { return std::tuple(); }
};
template <>
struct Form<TornMessage> : FaultKind {
    using T = TornMessage;
    static constexpr const char* kName = "torn_message";
    static auto Members() {
        return std::tuple(Member{"channel", &T::channel}, Member{"document", &T::document},
                          Member{"split", &T::split});
    }
};
template <>
struct Form<DeleteMessageFile> : FaultKind {
    static constexpr const char* kName = "delete_message_file";
    static auto Members() { return std::tuple(Member{"channel", &DeleteMessageFile::channel}); }
};
template <>
struct Form<ReplaceMessageFile> : FaultKind {
    static constexpr const char* kName = "replace_message_file";
    static auto Members() { return std::tuple(Member{"channel", &ReplaceMessageFile::channel}); }
};
template <>
struct Form<MalformedMessage> : FaultKind {
    using T = MalformedMessage;
    static constexpr const char* kName = "malformed_message";
    static auto Members() {
        return std::tuple(Member{"channel", &T::channel}, Member{"text", &T::text});
    }
};
template <>
struct Form<OversizedMessage> : FaultKind {
    using T = OversizedMessage;
    static constexpr const char* kName = "oversized_message";
    static auto Members() {
        return std::tuple(Member{"channel", &T::channel}, Member{"bytes", &T::bytes});
    }
};
template <>
struct Form<Storm> : FaultKind {
    using T = Storm;
    static constexpr const char* kName = "storm";
    static auto Members() {
        return std::tuple(Member{"rate", &T::rate}, Member{"seconds", &T::seconds},
                          Member{"line", &T::line});
    }
};
template <>
struct Form<RandomFaults> : FaultKind {
    static constexpr const char* kName = "random";
    static auto Members() {
        return std::tuple(Member{"seed", &RandomFaults::seed},
                          Member{"count", &RandomFaults::count});
    }
};

template <>
struct Form<ClientRequest> {
    using T = ClientRequest;
    static constexpr const char* kName = "request";
    static auto Members() {
        return std::tuple(Member{"peer", &T::peer}, Member{"method", &T::method},
                          Member{"arguments", &T::arguments}, Member{"malformed", &T::malformed});
    }
};

/// Beside these members stand those of its box.
template <class Edge>
struct Form<Detection<Edge>> {
    using T = Detection<Edge>;
    static auto Members() {
        return std::tuple(Member{"score", &T::score}, Member{"class_id", &T::classId});
    }
};

}  // namespace cri_sim::form
