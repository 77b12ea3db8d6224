/// Writes the result documents of the message-file services.
#include "ResultDocument.h"

#include <utility>

#include "Json.h"

namespace cri_recording {
namespace {

constexpr int kDigitsOfFloat = 9;  // so that each reads back equal

/// An object of plain values, which has the same members here as in a recording.
template <HasMembers T>
Json::Value ToJson(const T& object) {
    Json::Value value(Json::objectValue);
    ForEachMember<T>([&](const auto& member) { value[member.name] = object.*member.place; });
    return value;
}

template <class Edge>
Json::Value ToJson(const Detection<Edge>& detection) {
    Json::Value value(Json::objectValue);
    value["bbox"] = ToJson(detection.box);
    value["score"] = detection.score;
    value["class_id"] = detection.classId;
    return value;
}

template <class Item>
Json::Value ToJson(const std::vector<Item>& list) {
    Json::Value value(Json::arrayValue);
    for (const Item& item : list) value.append(ToJson(item));
    return value;
}

}  // namespace

std::string AnalyzeResultDocument(const VisionData& data) {
    Json::Value usage(Json::objectValue);
    usage["AppName"] = data.appName;
    usage["ContentsStatus"] = data.contentsStatus;
    usage["TitleName"] = data.titleName;
    usage["logo_icon"] = ToJson(data.logos);
    usage["text_roi"] = ToJson(data.textRegion);
    Json::Value document(Json::objectValue);
    document["type"] = "AnalyzeResult";
    document["analyze_result"]["mobile_usage_analysis"] = std::move(usage);
    return OneLine(document, kDigitsOfFloat);
}

std::string UiDetectionDocument(const UiDetection& data) {
    Json::Value document(Json::objectValue);
    document["type"] = "ContentsUIdetection";
    document["result"]["detected_list"] = ToJson(data.elements);
    document["result"]["pip_mode"] = ToJson(data.pip);
    return OneLine(document, kDigitsOfFloat);
}

}  // namespace cri_recording
