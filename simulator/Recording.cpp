/// Reads and writes recordings.
#include "Recording.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <istream>
#include <limits>
#include <type_traits>
#include <utility>

#include "BusConnection.h"
#include "RecordingForms.h"

namespace cri_sim {
namespace {

using form::Form;
using form::HasForm;
using form::IsFault;

constexpr const char* kFormat = "contents-recognition-recording";
constexpr int kVersion = 1;
constexpr double kLongestTime = 1e9;
constexpr double kMicrosPerSecond = 1e6;

constexpr std::array<std::pair<Peer, const char*>, 3> kPeers{
    {{Peer::kRecognition, "recognition"},
     {Peer::kVisionData, "vision_data"},
     {Peer::kUiDetection, "ui_detection"}}};

constexpr std::array<std::pair<Channel, const char*>, 2> kChannels{
    {{Channel::kVisionData, "vision_data"}, {Channel::kUiDetection, "ui_detection"}}};

constexpr std::array<std::pair<const char*, int>, 7> kEvents{
    {{"CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL", 1},
     {"CONTENTS_RECOGNITION_EVENT_OTT", 2},
     {"CONTENTS_RECOGNITION_EVENT_YOUTUBE", 3},
     {"CONTENTS_RECOGNITION_EVENT_UI123", 4},
     {"CONTENTS_RECOGNITION_EVENT_OPTKEY", 5},
     {"CONTENTS_RECOGNITION_EVENT_VODAPP", 6},
     {"CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED", 10}}};

/// What is wrong with a line, before anybody knows which line it is.
using BadLine = std::invalid_argument;

/// A kind or fault of a later version of the format.
struct UnknownKind {
    std::string what;
};

std::string Quoted(const std::string& text) {
    return std::string("\"").append(text).append("\"");
}

// Reading. Every Read takes the member's path for what it may have to say.

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

template <class Enum, std::size_t kCount>
void ReadName(const Json::Value& json, const std::string& path,
              const std::array<std::pair<Enum, const char*>, kCount>& names, Enum& value) {
    for (const auto& [constant, name] : names)
        if (json.isString() && json.asString() == name) {
            value = constant;
            return;
        }
    std::string all;
    for (const auto& [constant, name] : names) all += (all.empty() ? "" : ", ") + Quoted(name);
    throw BadLine(Quoted(path) + " must be one of " + all);
}

void Read(const Json::Value& json, const std::string& path, Peer& value) {
    ReadName(json, path, kPeers, value);
}

void Read(const Json::Value& json, const std::string& path, Channel& value) {
    ReadName(json, path, kChannels, value);
}

void Read(const Json::Value& json, const std::string& path,
          std::variant<std::string, std::vector<std::string>>& value);
void Read(const Json::Value& json, const std::string& path,
          std::shared_ptr<const RecordingLine>& value);
template <class Edge>
void Read(const Json::Value& json, const std::string& path, Detection<Edge>& value);
template <HasForm T>
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
void ReadMembers(const Json::Value& object, const std::string& path, T& value) {
    const std::string prefix = path.empty() ? "" : path + ".";
    std::apply(
        [&](const auto&... member) {
            (ReadMember(object, member.name, prefix + member.name, value.*member.place), ...);
        },
        Form<T>::Members());
}

void ExpectObject(const Json::Value& json, const std::string& path) {
    if (!json.isObject()) throw BadLine(Quoted(path) + " must be an object");
}

template <HasForm T>
void Read(const Json::Value& json, const std::string& path, T& value) {
    ExpectObject(json, path);
    ReadMembers(json, path, value);
}

template <class Edge>
void Read(const Json::Value& json, const std::string& path, Detection<Edge>& value) {
    ExpectObject(json, path);
    ReadMembers(json, path, value.box);
    ReadMembers(json, path, value);
}

void Read(const Json::Value& json, const std::string& path,
          std::variant<std::string, std::vector<std::string>>& value) {
    if (json.isString())
        value = json.asString();
    else
        Read(json, path, value.emplace<std::vector<std::string>>());
}

/// What a line says beyond the types of its members.
template <class T>
void Check(const T&) {}

void Check(const Event& event) {
    if (!EventNumber(event.event))
        throw BadLine("no event that carries a status is named " + Quoted(event.event));
}

void Check(const ErrorAnswer& fault) {
    if (!g_dbus_is_interface_name(fault.name.c_str()))
        throw BadLine("\"name\" must be the name of an error, with dots in it");
}

void Check(const WrongType& fault) {
    ParseBody(fault.body);
}

void Check(const OversizedMessage& fault) {
    if (fault.bytes > kLargestMessage)
        throw BadLine("\"bytes\" must be at most " + std::to_string(kLargestMessage));
}

void Check(const Storm& storm) {
    const auto isPositive = [](double number) { return number > 0 && number < kLongestTime; };
    if (!isPositive(storm.rate)) throw BadLine("\"rate\" must be above 0 and below 1e9");
    if (!isPositive(storm.seconds)) throw BadLine("\"seconds\" must be above 0 and below 1e9");
}

/// Reads the alternative of the variant that has the name, if it is the one at kIndex.
template <std::size_t kIndex>
bool ReadAlternative(const Json::Value& object, bool isFault, const std::string& name,
                     LineContent& content) {
    using T = std::variant_alternative_t<kIndex, LineContent>;
    if (IsFault<T> != isFault || name != Form<T>::kName) return false;
    T& value = content.emplace<kIndex>();
    ReadMembers(object, "", value);
    Check(value);
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

bool CanStorm(const LineContent& content) {
    return std::visit(
        []<class T>(const T&) { return !IsFault<T> && !std::is_same_v<T, ClientRequest>; },
        content);
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
    if (!CanStorm(line->content)) throw BadLine(Quoted(path) + " must not be a fault or a request");
    value = std::move(line);
}

std::optional<std::chrono::microseconds> ReadTime(const Json::Value& object) {
    if (!object.isMember("time")) return std::nullopt;
    double seconds = 0;
    Read(object["time"], "time", seconds);
    if (!(seconds >= 0 && seconds < kLongestTime))
        throw BadLine("\"time\" must be at least 0 and below 1e9");
    return std::chrono::microseconds(std::llround(seconds * kMicrosPerSecond));
}

/// The parser's report as one line.
std::string Flattened(const std::string& report) {
    std::string flat;
    for (const char letter : report) {
        const bool blank = g_ascii_isspace(letter);
        if (blank && (flat.empty() || flat.back() == ' ')) continue;
        flat += blank ? ' ' : letter;
    }
    while (!flat.empty() && flat.back() == ' ') flat.pop_back();
    return flat;
}

Json::Value ParseJson(std::string_view text) {
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr))
        throw BadLine("no UTF-8");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value json;
    std::string report;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &json, &report))
            throw BadLine("no JSON: " + Flattened(report));
    } catch (const Json::Exception& error) {
        throw BadLine(std::string("no JSON: ") + error.what());
    }
    if (!json.isObject()) throw BadLine("no JSON object");
    return json;
}

// Writing.

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

Json::Value Write(Peer peer) {
    return std::string(NameOf(peer));
}

Json::Value Write(Channel channel) {
    return std::string(NameOf(channel));
}

Json::Value Write(const std::variant<std::string, std::vector<std::string>>& value);
Json::Value Write(const std::shared_ptr<const RecordingLine>& line);
template <class Edge>
Json::Value Write(const Detection<Edge>& value);
template <HasForm T>
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
void WriteMembers(Json::Value& object, const T& value) {
    std::apply(
        [&](const auto&... member) {
            (WriteMember(object, member.name, value.*member.place), ...);
        },
        Form<T>::Members());
}

template <HasForm T>
Json::Value Write(const T& value) {
    Json::Value object(Json::objectValue);
    WriteMembers(object, value);
    return object;
}

template <class Edge>
Json::Value Write(const Detection<Edge>& value) {
    Json::Value object(Json::objectValue);
    WriteMembers(object, value.box);
    WriteMembers(object, value);
    return object;
}

Json::Value Write(const std::variant<std::string, std::vector<std::string>>& value) {
    return std::visit([](const auto& held) { return Write(held); }, value);
}

Json::Value WriteContent(const LineContent& content) {
    Json::Value object(Json::objectValue);
    std::visit(
        [&]<class T>(const T& value) {
            object["kind"] = IsFault<T> ? "fault" : Form<T>::kName;
            if (IsFault<T>) object["fault"] = Form<T>::kName;
            WriteMembers(object, value);
        },
        content);
    return object;
}

Json::Value Write(const std::shared_ptr<const RecordingLine>& line) {
    return WriteContent(line->content);
}

std::string Text(const Json::Value& object, int digits) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    builder["precision"] = digits;
    return Json::writeString(builder, object);
}

/// With as few digits as read back equal; fewer may even be too large a number.
std::string Text(const Json::Value& object) {
    using Limits = std::numeric_limits<double>;
    const std::string exact = Text(object, Limits::max_digits10);
    const std::string shorter = Text(object, Limits::digits10);
    try {
        if (Text(ParseJson(shorter), Limits::max_digits10) == exact) return shorter;
    } catch (const BadLine&) {
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
    return Text(header);
}

std::string FormatLine(const RecordingLine& line) {
    Json::Value object = WriteContent(line.content);
    if (line.time) object["time"] = static_cast<double>(line.time->count()) / kMicrosPerSecond;
    return Text(object);
}

std::optional<int> EventNumber(std::string_view name) {
    for (const auto& [known, number] : kEvents)
        if (name == known) return number;
    return std::nullopt;
}

std::string_view NameOf(Peer peer) {
    return kPeers.at(static_cast<std::size_t>(peer)).second;
}

std::string_view NameOf(Channel channel) {
    return kChannels.at(static_cast<std::size_t>(channel)).second;
}

RecordingParser::RecordingParser(std::string name, Source source, Warn warn)
    : m_name(std::move(name)), m_source(source), m_warn(std::move(warn)) {}

void RecordingParser::Fail(const std::string& what) const {
    throw RecordingError(m_name + ":" + std::to_string(m_line) + ": " + what);
}

std::optional<RecordingLine> RecordingParser::Take(std::string_view text) {
    ++m_line;
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return std::nullopt;
    try {
        return TakeObject(ParseJson(text));
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

}  // namespace cri_sim
