/// The recording format: what happened on a set, as JSON Lines that read back equal.
///
/// A recording's first line names the format; every other line holds a time, a kind and the kind's
/// members. Each kind is a plain type, which knows its own name and members, and a line's content
/// is one of them. Who adds a kind adds it to LineContent; what then does not compile is what is to
/// be said about it.
#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "FaultLines.h"
#include "Happenings.h"
#include "Json.h"
#include "Names.h"

namespace cri_recording {

/// What a client asked of a peer. It is written down, and never played.
struct ClientRequest {
    static constexpr const char* kKind = "request";

    Peer peer = Peer::kRecognition;
    std::string method;
    /// Of a bus call the arguments as the bus prints them, of a message file the words.
    std::variant<std::string, std::vector<std::string>> arguments;
    std::optional<bool> malformed;  ///< whether the message was not as its method wants it

    static auto Members() {
        using T = ClientRequest;
        return std::tuple(Member{"peer", &T::peer}, Member{"method", &T::method},
                          Member{"arguments", &T::arguments}, Member{"malformed", &T::malformed});
    }
    bool operator==(const ClientRequest&) const = default;
};

using LineContent =
    std::variant<StateChange, Event, ContentArea, VideoPlay, BlackScreen, VisionData, UiDetection,
                 UiStartStop, Service, ClientRequest, NoAnswer, LateAnswer, ErrorAnswer, WrongType,
                 AnswerNormally, Leave, Return, KillBus, TornMessage, DeleteMessageFile,
                 ReplaceMessageFile, MalformedMessage, OversizedMessage, Storm, RandomFaults>;

/// All faults share the kind "fault".
template <class T>
concept IsFault = requires {
    T::kFault;
};

/// What can be played and repeated, and is there to be seen on a set.
template <class T>
concept IsHappening = !IsFault<T> && !std::is_same_v<T, ClientRequest>;

/// One line after the first.
struct RecordingLine {
    std::optional<std::chrono::microseconds> time;  ///< since the start; nothing: now
    LineContent content;
    bool operator==(const RecordingLine&) const = default;
};

/// What the first line says.
inline constexpr const char* kFormat = "contents-recognition-recording";
inline constexpr int kVersion = 1;

/// The first line of every recording, without its newline.
std::string RecordingHeader();

/// The line as text in the one form that the format has for it, without a newline. Text that is no
/// UTF-8 is mended; a number that JSON cannot write becomes null and reads back as not a number.
std::string FormatLine(const RecordingLine& line);

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

}  // namespace cri_recording
