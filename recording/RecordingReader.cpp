/// Reads recordings.
#include <algorithm>
#include <cmath>
#include <concepts>
#include <istream>
#include <limits>
#include <utility>

#include "Recording.h"

namespace cri_recording {
namespace {

constexpr double kMicrosPerSecond = 1e6;

/// What is wrong with a line, before anybody knows which line it is.
using BadLine = std::invalid_argument;

/// A kind or fault of a later version of the format.
struct UnknownKind {
    std::string what;
};

// Each Read takes the member's path, as in "elements[0].top", for what it may have to say.

void Read(const Json::Value& json, const std::string& path, bool& value) {
    if (!json.isBool()) throw BadLine(Quoted(path) + " must be true or false");
    value = json.asBool();
}

void Read(const Json::Value& json, const std::string& path, std::string& value) {
    if (!json.isString()) throw BadLine(Quoted(path) + " must be a text");
    value = json.asString();
}

template <class Integer, class Wide>
void ReadInteger(bool isInteger, Wide number, const std::string& path, Integer& value) {
    constexpr Integer kLeast = std::numeric_limits<Integer>::min();
    constexpr Integer kMost = std::numeric_limits<Integer>::max();
    if (!isInteger || number < Wide{kLeast} || number > Wide{kMost})
        throw BadLine(Quoted(path) + " must be an integer from " + std::to_string(kLeast) + " to " +
                      std::to_string(kMost));
    value = static_cast<Integer>(number);
}

template <std::signed_integral Integer>
void Read(const Json::Value& json, const std::string& path, Integer& value) {
    ReadInteger(json.isInt64(), json.isInt64() ? json.asInt64() : 0, path, value);
}

template <std::unsigned_integral Integer>
void Read(const Json::Value& json, const std::string& path, Integer& value) {
    ReadInteger(json.isUInt64(), json.isUInt64() ? json.asUInt64() : 0, path, value);
}

template <std::floating_point Real>
void Read(const Json::Value& json, const std::string& path, Real& value) {
    if (!json.isNumeric() && !json.isNull()) throw BadLine(Quoted(path) + " must be a number");
    value =
        json.isNull() ? std::numeric_limits<Real>::quiet_NaN() : static_cast<Real>(json.asDouble());
}

template <HasNames Enum>
void Read(const Json::Value& json, const std::string& path, Enum& value) {
    const auto& names = kNames<Enum>;
    const auto found =
        std::find(names.begin(), names.end(), json.isString() ? json.asString() : "");
    if (found == names.end()) {
        std::string all;
        for (const char* name : names) all += (all.empty() ? "" : ", ") + Quoted(name);
        throw BadLine(Quoted(path) + " must be one of " + all);
    }
    value = static_cast<Enum>(found - names.begin());
}

void Read(const Json::Value& json, const std::string& path,
          std::variant<std::string, std::vector<std::string>>& value);
void Read(const Json::Value& json, const std::string& path,
          std::shared_ptr<const RecordingLine>& value);
template <HasMembers T>
void Read(const Json::Value& json, const std::string& path, T& value);

template <class Item>
void Read(const Json::Value& json, const std::string& path, std::vector<Item>& value) {
    if (!json.isArray()) throw BadLine(Quoted(path) + " must be an array");
    for (const Json::Value& item : json) {
        const std::string index = std::to_string(value.size());
        Read(item, std::string(path).append("[").append(index).append("]"), value.emplace_back());
    }
}

template <class Value>
void ReadMember(const Json::Value& object, const char* name, const std::string& path,
                Value& value) {
    if (!object.isMember(name)) throw BadLine(Quoted(path) + " is missing");
    Read(object[name], path, value);
}

template <class Value>
void ReadMember(const Json::Value& object, const char* name, const std::string& path,
                std::optional<Value>& value) {
    if (object.isMember(name)) Read(object[name], path, value.emplace());
}

template <class T>
void ReadMembers(const Json::Value& object, const std::string& path, T& value);

template <class Owner, class Value>
void ReadListed(const Json::Value& object, const std::string& path, Owner& owner,
                const Member<Owner, Value>& member) {
    const std::string memberPath = path.empty() ? member.name : path + "." + member.name;
    ReadMember(object, member.name, memberPath, owner.*member.place);
    if (member.requirement) member.requirement(memberPath, owner.*member.place);
}

template <class Owner, class Value>
void ReadListed(const Json::Value& object, const std::string& path, Owner& owner,
                const Inlined<Owner, Value>& inlined) {
    ReadMembers(object, path, owner.*inlined.place);
}

template <class T>
void ReadMembers(const Json::Value& object, const std::string& path, T& value) {
    ForEachMember<T>([&](const auto& listed) { ReadListed(object, path, value, listed); });
}

void ExpectObject(const Json::Value& json, const std::string& path) {
    if (!json.isObject()) throw BadLine(Quoted(path) + " must be an object");
}

template <HasMembers T>
void Read(const Json::Value& json, const std::string& path, T& value) {
    ExpectObject(json, path);
    ReadMembers(json, path, value);
}

void Read(const Json::Value& json, const std::string& path,
          std::variant<std::string, std::vector<std::string>>& value) {
    if (json.isString())
        value = json.asString();
    else
        Read(json, path, value.emplace<std::vector<std::string>>());
}

template <class T>
bool IsNamed(bool isFault, const std::string& name) {
    return !isFault && name == T::kKind;
}

template <IsFault T>
bool IsNamed(bool isFault, const std::string& name) {
    return isFault && name == T::kFault;
}

/// Reads the alternative of the variant that has the name, if it is the one at kIndex.
template <std::size_t kIndex>
bool ReadAlternative(const Json::Value& object, bool isFault, const std::string& name,
                     LineContent& content) {
    if (!IsNamed<std::variant_alternative_t<kIndex, LineContent>>(isFault, name)) return false;
    ReadMembers(object, "", content.emplace<kIndex>());
    return true;
}

LineContent ReadContent(const Json::Value& object) {
    std::string kind;
    std::string name;
    ReadMember(object, "kind", "kind", kind);
    const bool isFault = kind == "fault";
    if (isFault)
        ReadMember(object, "fault", "fault", name);
    else
        name = kind;
    LineContent content;
    const auto readAny = [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        return (ReadAlternative<kIndex>(object, isFault, name, content) || ...);
    };
    if (!readAny(std::make_index_sequence<std::variant_size_v<LineContent>>()))
        throw UnknownKind{(isFault ? "fault " : "kind ") + Quoted(name)};
    return content;
}

void Read(const Json::Value& json, const std::string& path,
          std::shared_ptr<const RecordingLine>& value) {
    ExpectObject(json, path);
    auto line = std::make_shared<RecordingLine>();
    try {
        line->content = ReadContent(json);
    } catch (const BadLine& error) {
        throw BadLine("in " + Quoted(path) + ": " + error.what());
    }
    const auto isHappening = []<class T>(const T&) { return IsHappening<T>; };
    if (!std::visit(isHappening, line->content))
        throw BadLine(Quoted(path) + " must not be a fault or a request");
    value = std::move(line);
}

std::optional<std::chrono::microseconds> ReadTime(const Json::Value& object) {
    if (!object.isMember("time")) return std::nullopt;
    double seconds = 0;
    Read(object["time"], "time", seconds);
    if (!(seconds >= 0 && seconds < kUnbounded))
        throw BadLine("\"time\" must be at least 0 and below 1e9");
    return std::chrono::microseconds(std::llround(seconds * kMicrosPerSecond));
}

}  // namespace

RecordingParser::RecordingParser(std::string name, Source source, Warn warn)
    : m_name(std::move(name)), m_source(source), m_warn(std::move(warn)) {}

void RecordingParser::Fail(const std::string& what) const {
    throw RecordingError(m_name + ":" + std::to_string(m_line) + ": " + what);
}

std::optional<RecordingLine> RecordingParser::Take(std::string_view text) {
    ++m_line;
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return std::nullopt;
    try {
        return TakeObject(ParseObject(text));
    } catch (const BadLine& error) {
        Fail(error.what());
    } catch (const UnknownKind& unknown) {
        m_warn(m_name + ":" + std::to_string(m_line) + ": skipped: unknown " + unknown.what);
        return std::nullopt;
    }
}

std::optional<RecordingLine> RecordingParser::TakeObject(const Json::Value& object) {
    const bool first = !std::exchange(m_started, true);
    if (first && (m_source == Source::kRecorded || object.isMember("format"))) {
        if (object["format"] != kFormat) Fail("no recording: the first line must name the format");
        if (object["version"] != kVersion) Fail("a recording of an unknown version");
        return std::nullopt;
    }
    RecordingLine line;
    line.time = ReadTime(object);
    if (!line.time && m_source == Source::kRecorded) Fail("\"time\" is missing");
    line.content = ReadContent(object);
    return line;
}

void RecordingParser::End() const {
    if (!m_started && m_source == Source::kRecorded) Fail("no recording: it is empty");
}

std::vector<RecordingLine> ReadRecording(std::istream& stream, const std::string& name,
                                         const RecordingParser::Warn& warn) {
    RecordingParser parser(name, RecordingParser::Source::kRecorded, warn);
    std::vector<RecordingLine> lines;
    for (std::string text; std::getline(stream, text);)
        if (auto line = parser.Take(text)) lines.push_back(std::move(*line));
    if (stream.bad()) throw RecordingError(name + ": cannot be read");
    parser.End();
    return lines;
}

}  // namespace cri_recording
