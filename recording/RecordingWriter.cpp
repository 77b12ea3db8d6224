/// Writes lines of recordings.
#include <glib.h>

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <limits>

#include "Recording.h"

namespace cri_recording {
namespace {

Json::Value Write(const std::string& text) {
    gchar* mended = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    Json::Value value(mended);
    g_free(mended);
    return value;
}

Json::Value Write(bool value) {
    return value;
}

template <std::integral Integer>
Json::Value Write(Integer value) {
    if constexpr (std::is_signed_v<Integer>) return Json::Int64{value};
    return Json::UInt64{static_cast<std::uint64_t>(value)};
}

/// A float becomes the double that is written with the fewest digits among those it stands for.
template <std::floating_point Real>
Json::Value Write(Real value) {
    if (!std::isfinite(value)) return Json::nullValue;
    std::array<char, 64> text;
    const char* const end = std::to_chars(text.begin(), text.end(), value).ptr;
    double number = 0;
    std::from_chars(text.begin(), end, number);
    return number;
}

template <HasNames Enum>
Json::Value Write(Enum constant) {
    return std::string(NameOf(constant));
}

Json::Value Write(const std::variant<std::string, std::vector<std::string>>& value);
Json::Value Write(const std::shared_ptr<const RecordingLine>& line);
template <HasMembers T>
Json::Value Write(const T& value);

template <class Item>
Json::Value Write(const std::vector<Item>& list) {
    Json::Value value(Json::arrayValue);
    for (const Item& item : list) value.append(Write(item));
    return value;
}

template <class Value>
void WriteMember(Json::Value& object, const char* name, const Value& value) {
    object[name] = Write(value);
}

template <class Value>
void WriteMember(Json::Value& object, const char* name, const std::optional<Value>& value) {
    if (value) object[name] = Write(*value);
}

template <class T>
void WriteMembers(Json::Value& object, const T& value);

template <class Owner, class Value>
void WriteListed(Json::Value& object, const Owner& owner, const Member<Owner, Value>& member) {
    WriteMember(object, member.name, owner.*member.place);
}

template <class Owner, class Value>
void WriteListed(Json::Value& object, const Owner& owner, const Inlined<Owner, Value>& inlined) {
    WriteMembers(object, owner.*inlined.place);
}

template <class T>
void WriteMembers(Json::Value& object, const T& value) {
    ForEachMember<T>([&](const auto& listed) { WriteListed(object, value, listed); });
}

template <HasMembers T>
Json::Value Write(const T& value) {
    Json::Value object(Json::objectValue);
    WriteMembers(object, value);
    return object;
}

Json::Value Write(const std::variant<std::string, std::vector<std::string>>& value) {
    return std::visit([](const auto& held) { return Write(held); }, value);
}

template <class T>
void WriteKind(Json::Value& object) {
    object["kind"] = T::kKind;
}

template <IsFault T>
void WriteKind(Json::Value& object) {
    object["kind"] = "fault";
    object["fault"] = T::kFault;
}

Json::Value WriteContent(const LineContent& content) {
    Json::Value object(Json::objectValue);
    std::visit(
        [&]<class T>(const T& value) {
            WriteKind<T>(object);
            WriteMembers(object, value);
        },
        content);
    return object;
}

Json::Value Write(const std::shared_ptr<const RecordingLine>& line) {
    return WriteContent(line->content);
}

/// With as few digits as read back equal; fewer may even be too large a number.
std::string Shortest(const Json::Value& object) {
    using Limits = std::numeric_limits<double>;
    const std::string exact = OneLine(object, Limits::max_digits10);
    const std::string shorter = OneLine(object, Limits::digits10);
    try {
        if (OneLine(ParseObject(shorter), Limits::max_digits10) == exact) return shorter;
    } catch (const std::invalid_argument&) {
    }
    return exact;
}

}  // namespace

bool Storm::operator==(const Storm& other) const {
    return rate == other.rate && seconds == other.seconds && *line == *other.line;
}

std::string RecordingHeader() {
    Json::Value header;
    header["format"] = kFormat;
    header["version"] = kVersion;
    return Shortest(header);
}

std::string FormatLine(const RecordingLine& line) {
    Json::Value object = WriteContent(line.content);
    if (line.time) object["time"] = std::chrono::duration<double>(*line.time).count();
    return Shortest(object);
}

}  // namespace cri_recording
