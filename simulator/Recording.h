/// The recording format: what happened on a set, as JSON Lines that read back equal.
///
/// A recording's first line names the format; every other line holds a time, a kind and the kind's
/// members. Each kind is a plain type here, and a line's content is one of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "ResultDocument.h"

namespace cri_sim {

/// What the channel query with further information answers.
struct ChannelInfo {
    std::string number;
    int firstValue = 0;
    std::string secondText;
    int secondValue = 0;
    bool flag = false;
    bool operator==(const ChannelInfo&) const = default;
};

/// What queries answer from now on; what is missing stays as it was.
struct StateChange {
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
    bool operator==(const StateChange&) const = default;
};

struct Event {
    std::string event;  ///< the constant's full name, one of EventNumber's
    int status = 0;
    bool operator==(const Event&) const = default;
};

struct ContentArea {
    int mode = 0;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const ContentArea&) const = default;
};

struct VideoPlay {
    int status = 0;
    bool operator==(const VideoPlay&) const = default;
};

struct BlackScreen {
    bool isSolid = false;
    double solidProb = 0;
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    bool isRealBlack = false;
    bool operator==(const BlackScreen&) const = default;
};

struct VisionData {
    std::string appName;
    std::string contentsStatus;
    std::string titleName;
    std::vector<Detection<std::uint32_t>> logos;
    Box<std::uint32_t> textRegion;  ///< all 0 when there is none
    bool operator==(const VisionData&) const = default;
};

struct PictureInPicture {
    int centerX = 0;
    int centerY = 0;
    int onOff = 0;
    bool operator==(const PictureInPicture&) const = default;
};

struct UiDetection {
    std::vector<Detection<float>> elements;
    PictureInPicture pip;
    bool operator==(const UiDetection&) const = default;
};

/// The recognition service's signal that starts or stops the UI detection.
struct UiStartStop {
    int startStop = 0;
    int hdmiPort = 0;
    int isStb = 0;
    int adaptiveSound = 0;
    int multiview = 0;
    bool operator==(const UiStartStop&) const = default;
};

/// The recognition service went away or came back.
struct Service {
    bool present = false;
    bool operator==(const Service&) const = default;
};

enum class Peer { kRecognition, kVisionData, kUiDetection };

/// What a client asked of a peer; nothing that can be played.
struct ClientRequest {
    Peer peer = Peer::kRecognition;
    std::string method;
    /// Of a bus call the arguments as the bus prints them, of a message file the words.
    std::variant<std::string, std::vector<std::string>> arguments;
    std::optional<bool> malformed;  ///< whether the message was not as its method wants it
    bool operator==(const ClientRequest&) const = default;
};

enum class Channel { kVisionData, kUiDetection };

// The faults. What a method is told lasts until it is told something else.
struct NoAnswer {
    std::string method;
    bool operator==(const NoAnswer&) const = default;
};
struct LateAnswer {
    std::string method;
    std::uint32_t millis = 0;
    bool operator==(const LateAnswer&) const = default;
};
struct ErrorAnswer {
    std::string method;
    std::string name;
    std::string message;
    bool operator==(const ErrorAnswer&) const = default;
};
struct WrongType {
    std::string method;
    std::string body;  ///< in the bus's text form: "(1.5, 'x')"
    bool operator==(const WrongType&) const = default;
};
struct AnswerNormally {
    std::string method;
    bool operator==(const AnswerNormally&) const = default;
};
struct Leave {
    bool operator==(const Leave&) const = default;
};
struct Return {
    bool operator==(const Return&) const = default;
};
struct KillBus {
    bool operator==(const KillBus&) const = default;
};
struct TornMessage {
    Channel channel = Channel::kVisionData;
    std::string document;  ///< the JSON text of a result document
    std::uint32_t split =
        0;  ///< bytes of the message, its method line included, in the first write
    bool operator==(const TornMessage&) const = default;
};
struct DeleteMessageFile {
    Channel channel = Channel::kVisionData;
    bool operator==(const DeleteMessageFile&) const = default;
};
struct ReplaceMessageFile {
    Channel channel = Channel::kVisionData;
    bool operator==(const ReplaceMessageFile&) const = default;
};
struct MalformedMessage {
    Channel channel = Channel::kVisionData;
    std::string text;  ///< what stands where the document should
    bool operator==(const MalformedMessage&) const = default;
};
/// The largest message that a recording may ask for.
inline constexpr std::uint32_t kLargestMessage = 64 << 20;

struct OversizedMessage {
    Channel channel = Channel::kVisionData;
    std::uint32_t bytes = 0;  ///< of the document; at most kLargestMessage
    bool operator==(const OversizedMessage&) const = default;
};
/// One line over and over.
struct Storm {
    double rate = 0;  ///< per second
    double seconds = 0;
    std::shared_ptr<const struct RecordingLine>
        line;  ///< of no kind "fault" or "request"; never null
    bool operator==(const Storm& other) const;
};
/// `count` faults of the kinds above, chosen by `seed`; without one, by one that is made up.
struct RandomFaults {
    std::optional<std::uint64_t> seed;
    std::uint32_t count = 0;
    bool operator==(const RandomFaults&) const = default;
};

using LineContent =
    std::variant<StateChange, Event, ContentArea, VideoPlay, BlackScreen, VisionData, UiDetection,
                 UiStartStop, Service, ClientRequest, NoAnswer, LateAnswer, ErrorAnswer, WrongType,
                 AnswerNormally, Leave, Return, KillBus, TornMessage, DeleteMessageFile,
                 ReplaceMessageFile, MalformedMessage, OversizedMessage, Storm, RandomFaults>;

/// One line after the first.
struct RecordingLine {
    std::optional<std::chrono::microseconds> time;  ///< since the start; nothing: now
    LineContent content;
    bool operator==(const RecordingLine&) const = default;
};

/// The first line of every recording, without its newline.
std::string RecordingHeader();

/// The line as text in the one form that the format has for it, without a newline. Text that is no
/// UTF-8 is mended; a number that JSON cannot write becomes null and reads back as not a number.
std::string FormatLine(const RecordingLine& line);

/// @return the event's number on the bus; nothing when no event that carries a status has that name
std::optional<int> EventNumber(std::string_view name);

/// "vision_data" and the like, as recordings write it.
std::string_view NameOf(Peer peer);
std::string_view NameOf(Channel channel);

/// A line that is no line of a recording; the text names file and line and says what is wrong.
class RecordingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a recording's lines one after another.
class RecordingParser {
  public:
    enum class Source {
        kRecorded,  ///< has the first line, and a time on every other
        kTyped      ///< may do without either
    };
    /// Hears of each line that is skipped because its kind or fault is not known.
    using Warn = std::function<void(const std::string&)>;

    /// @param name  stands for the file in errors and warnings
    RecordingParser(std::string name, Source source, Warn warn);

    /// Takes the next line, with or without its newline.
    /// @return nothing for the first line, a blank one, and one that is skipped
    /// @throws RecordingError when it is a bad line
    std::optional<RecordingLine> Take(std::string_view text);

    /// Says that there is no further line.
    /// @throws RecordingError when not even the first line was there but had to be
    void End() const;

  private:
    [[noreturn]] void Fail(const std::string& what) const;
    std::optional<RecordingLine> TakeObject(const Json::Value& object);

    const std::string m_name;
    const Source m_source;
    const Warn m_warn;
    std::size_t m_line = 0;
    bool m_started = false;
};

/// Reads a whole recording.
/// @throws RecordingError at the first bad line, or when `stream` cannot be read
std::vector<RecordingLine> ReadRecording(std::istream& stream, const std::string& name,
                                         const RecordingParser::Warn& warn);

}  // namespace cri_sim
