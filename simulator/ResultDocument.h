/// What the result documents of the peers have in common: boxes, scores, and fitting on one line.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace cri_sim {

/// Four edges, in the service's own units.
template <class Edge>
struct Box {
    Edge left{};
    Edge top{};
    Edge right{};
    Edge bottom{};
    bool operator==(const Box&) const = default;
};

/// Something that a service found on the screen.
template <class Edge>
struct Detection {
    Box<Edge> box;
    float score = 0;
    std::uint32_t classId = 0;
    bool operator==(const Detection&) const = default;
};

template <class Edge>
Json::Value ToJson(const Box<Edge>& box) {
    Json::Value value(Json::objectValue);
    value["left"] = box.left;
    value["top"] = box.top;
    value["right"] = box.right;
    value["bottom"] = box.bottom;
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

template <class List>
Json::Value ToJsonArray(const List& list) {
    Json::Value value(Json::arrayValue);
    for (const auto& item : list) value.append(ToJson(item));
    return value;
}

/// The document as one line without its newline; floats read back equal, text stays UTF-8.
std::string OneLine(const Json::Value& document);

}  // namespace cri_sim
