/// What goes wrong on a simulated set: each fault, with its name and its members.
///
/// What a method is told lasts until it is told something else.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "Member.h"
#include "Names.h"
#include "Requirements.h"

namespace cri_recording {

struct NoAnswer {
    static constexpr const char* kFault = "no_answer";

    std::string method;

    static auto Members() { return std::tuple(Member{"method", &NoAnswer::method}); }
    bool operator==(const NoAnswer&) const = default;
};

struct LateAnswer {
    static constexpr const char* kFault = "late_answer";

    std::string method;
    std::uint32_t millis = 0;

    static auto Members() {
        return std::tuple(Member{"method", &LateAnswer::method},
                          Member{"millis", &LateAnswer::millis});
    }
    bool operator==(const LateAnswer&) const = default;
};

struct ErrorAnswer {
    static constexpr const char* kFault = "error_answer";

    std::string method;
    std::string name;
    std::string message;

    static auto Members() {
        using T = ErrorAnswer;
        return std::tuple(Member{"method", &T::method}, Member{"name", &T::name, RequireErrorName},
                          Member{"message", &T::message});
    }
    bool operator==(const ErrorAnswer&) const = default;
};

struct WrongType {
    static constexpr const char* kFault = "wrong_type";

    std::string method;
    std::string body;  ///< in the bus's text form: "(1.5, 'x')"

    static auto Members() {
        return std::tuple(Member{"method", &WrongType::method},
                          Member{"body", &WrongType::body, RequireBody});
    }
    bool operator==(const WrongType&) const = default;
};

struct AnswerNormally {
    static constexpr const char* kFault = "answer_normally";

    std::string method;

    static auto Members() { return std::tuple(Member{"method", &AnswerNormally::method}); }
    bool operator==(const AnswerNormally&) const = default;
};

/// The recognition service leaves the bus.
struct Leave {
    static constexpr const char* kFault = "leave";

    static auto Members() { return std::tuple(); }
    bool operator==(const Leave&) const = default;
};

/// The recognition service comes back.
struct Return {
    static constexpr const char* kFault = "return";

    static auto Members() { return std::tuple(); }
    bool operator==(const Return&) const = default;
};

struct KillBus {
    static constexpr const char* kFault = "kill_bus";

    static auto Members() { return std::tuple(); }
    bool operator==(const KillBus&) const = default;
};

struct TornMessage {
    static constexpr const char* kFault = "torn_message";

    Channel channel = Channel::kVisionData;
    std::string document;     ///< the JSON text of a result document
    std::uint32_t split = 0;  ///< bytes of the first write, the message's method line included

    static auto Members() {
        using T = TornMessage;
        return std::tuple(Member{"channel", &T::channel}, Member{"document", &T::document},
                          Member{"split", &T::split});
    }
    bool operator==(const TornMessage&) const = default;
};

struct DeleteMessageFile {
    static constexpr const char* kFault = "delete_message_file";

    Channel channel = Channel::kVisionData;

    static auto Members() { return std::tuple(Member{"channel", &DeleteMessageFile::channel}); }
    bool operator==(const DeleteMessageFile&) const = default;
};

struct ReplaceMessageFile {
    static constexpr const char* kFault = "replace_message_file";

    Channel channel = Channel::kVisionData;

    static auto Members() { return std::tuple(Member{"channel", &ReplaceMessageFile::channel}); }
    bool operator==(const ReplaceMessageFile&) const = default;
};

struct MalformedMessage {
    static constexpr const char* kFault = "malformed_message";

    Channel channel = Channel::kVisionData;
    std::string text;  ///< what stands where the document should

    static auto Members() {
        return std::tuple(Member{"channel", &MalformedMessage::channel},
                          Member{"text", &MalformedMessage::text});
    }
    bool operator==(const MalformedMessage&) const = default;
};

struct OversizedMessage {
    static constexpr const char* kFault = "oversized_message";

    Channel channel = Channel::kVisionData;
    std::uint32_t bytes = 0;  ///< of the document; at most kLargestMessage

    static auto Members() {
        return std::tuple(Member{"channel", &OversizedMessage::channel},
                          Member{"bytes", &OversizedMessage::bytes, RequireMessageSize});
    }
    bool operator==(const OversizedMessage&) const = default;
};

/// One line over and over.
struct Storm {
    static constexpr const char* kFault = "storm";

    double rate = 0;  ///< per second
    double seconds = 0;
    std::shared_ptr<const struct RecordingLine> line;  ///< of what happens on a set; never null

    static auto Members() {
        using T = Storm;
        return std::tuple(Member{"rate", &T::rate, RequirePositive},
                          Member{"seconds", &T::seconds, RequirePositive},
                          Member{"line", &T::line});
    }
    bool operator==(const Storm& other) const;
};

/// So many of the faults above, and short storms, drawn from the seed.
struct RandomFaults {
    static constexpr const char* kFault = "random";

    std::optional<std::uint64_t> seed;  ///< nothing: one that is made up
    std::uint32_t count = 0;

    static auto Members() {
        return std::tuple(Member{"seed", &RandomFaults::seed},
                          Member{"count", &RandomFaults::count});
    }
    bool operator==(const RandomFaults&) const = default;
};

}  // namespace cri_recording
