/// What happens on a set: each kind of line that tells of it, with its name and its members.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Member.h"
#include "Requirements.h"

namespace cri_recording {

/// What the channel query with further information answers.
struct ChannelInfo {
    std::string number;
    int firstValue = 0;
    std::string secondText;
    int secondValue = 0;
    bool flag = false;

    static auto Members() {
        using T = ChannelInfo;
        return std::tuple(Member{"number", &T::number}, Member{"first_value", &T::firstValue},
                          Member{"second_text", &T::secondText},
                          Member{"second_value", &T::secondValue}, Member{"flag", &T::flag});
    }
    bool operator==(const ChannelInfo&) const = default;
};

/// What queries answer from now on; what is missing stays as it was.
struct StateChange {
    static constexpr const char* kKind = "state";

    std::optional<std::string> contentsInfo;
    std::optional<std::string> channelName;
    std::optional<std::string> channelNumber;
    std::optional<ChannelInfo> channelInfo;
    std::optional<std::string> programTitle;
    std::optional<std::string> programTitleSource;
    std::optional<int> screenStatus;
    std::optional<int> recognitionStatus;
    std::optional<int> blackScreenPeriodMillis;
    std::optional<bool> scrolling;

    static auto Members() {
        using T = StateChange;
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
    bool operator==(const StateChange&) const = default;
};

/// One of the recognition service's change events.
struct Event {
    static constexpr const char* kKind = "event";

    std::string event;  ///< the constant's full name, one of EventNumber's
    int status = 0;

    static auto Members() {
        return std::tuple(Member{"event", &Event::event, RequireEvent},
                          Member{"status", &Event::status});
    }
    bool operator==(const Event&) const = default;
};

/// The content-area detector reports.
struct ContentArea {
    static constexpr const char* kKind = "content_area";

    int mode = 0;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    static auto Members() {
        using T = ContentArea;
        return std::tuple(Member{"mode", &T::mode}, Member{"x", &T::x}, Member{"y", &T::y},
                          Member{"width", &T::width}, Member{"height", &T::height});
    }
    bool operator==(const ContentArea&) const = default;
};

/// The video-play detector reports.
struct VideoPlay {
    static constexpr const char* kKind = "video_play";

    int status = 0;

    static auto Members() { return std::tuple(Member{"status", &VideoPlay::status}); }
    bool operator==(const VideoPlay&) const = default;
};

/// The black-screen engine reports.
struct BlackScreen {
    static constexpr const char* kKind = "black_screen";

    bool isSolid = false;
    double solidProb = 0;
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    bool isRealBlack = false;

    static auto Members() {
        using T = BlackScreen;
        return std::tuple(Member{"is_solid", &T::isSolid}, Member{"solid_prob", &T::solidProb},
                          Member{"red", &T::red}, Member{"green", &T::green},
                          Member{"blue", &T::blue}, Member{"is_real_black", &T::isRealBlack});
    }
    bool operator==(const BlackScreen&) const = default;
};

/// Four edges, in the service's own units.
template <class Edge>
struct Box {
    Edge left{};
    Edge top{};
    Edge right{};
    Edge bottom{};

    static auto Members() {
        using T = Box<Edge>;
        return std::tuple(Member{"left", &T::left}, Member{"top", &T::top},
                          Member{"right", &T::right}, Member{"bottom", &T::bottom});
    }
    bool operator==(const Box&) const = default;
};

/// Something that a service found on the screen.
template <class Edge>
struct Detection {
    Box<Edge> box;
    float score = 0;
    std::uint32_t classId = 0;

    static auto Members() {
        using T = Detection<Edge>;
        return std::tuple(Inlined{&T::box}, Member{"score", &T::score},
                          Member{"class_id", &T::classId});
    }
    bool operator==(const Detection&) const = default;
};

using Logo = Detection<std::uint32_t>;
using UiElement = Detection<float>;

/// The vision-data recognition service has a result.
struct VisionData {
    static constexpr const char* kKind = "vision_data";

    std::string appName;
    std::string contentsStatus;
    std::string titleName;
    std::vector<Logo> logos;
    Box<std::uint32_t> textRegion;  ///< all 0 when there is none

    static auto Members() {
        using T = VisionData;
        return std::tuple(Member{"app_name", &T::appName},
                          Member{"contents_status", &T::contentsStatus},
                          Member{"title_name", &T::titleName}, Member{"logos", &T::logos},
                          Member{"text_region", &T::textRegion});
    }
    bool operator==(const VisionData&) const = default;
};

/// Where a second picture stands in the picture, if one does.
struct PictureInPicture {
    int centerX = 0;
    int centerY = 0;
    int onOff = 0;

    static auto Members() {
        using T = PictureInPicture;
        return std::tuple(Member{"centerx", &T::centerX}, Member{"centery", &T::centerY},
                          Member{"on_off", &T::onOff});
    }
    bool operator==(const PictureInPicture&) const = default;
};

/// The contents-UI detection service has a result.
struct UiDetection {
    static constexpr const char* kKind = "ui_detection";

    std::vector<UiElement> elements;
    PictureInPicture pip;

    static auto Members() {
        return std::tuple(Member{"elements", &UiDetection::elements},
                          Member{"pip", &UiDetection::pip});
    }
    bool operator==(const UiDetection&) const = default;
};

/// The recognition service's signal that starts or stops the UI detection.
struct UiStartStop {
    static constexpr const char* kKind = "ui_start_stop";

    int startStop = 0;  ///< 1 to start
    int hdmiPort = 0;
    int isStb = 0;
    int adaptiveSound = 0;
    int multiview = 0;

    static auto Members() {
        using T = UiStartStop;
        return std::tuple(Member{"start_stop", &T::startStop}, Member{"hdmi_port", &T::hdmiPort},
                          Member{"is_stb", &T::isStb}, Member{"adaptive_sound", &T::adaptiveSound},
                          Member{"multiview", &T::multiview});
    }
    bool operator==(const UiStartStop&) const = default;
};

/// The recognition service went away or came back.
struct Service {
    static constexpr const char* kKind = "service";

    bool present = false;

    static auto Members() { return std::tuple(Member{"present", &Service::present}); }
    bool operator==(const Service&) const = default;
};

}  // namespace cri_recording
