/// jsoncpp's reader and writer, kept by a thread from document to document.
#pragma once

#include <json/json.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace cri {

/// Stands on the stack of whoever reads documents. The outermost of a thread keeps what the inner
/// ones use, since making it takes longer than reading a document: one around many documents saves
/// that for all but the first.
///
/// A thread_local object would keep it too, but its destructor has to be registered, and without
/// memory for that the process ends. Here a document is lost, and no more.
class JsonTools {
  public:
    JsonTools() : m_outer(t_kept) {
        if (!m_outer) t_kept = this;
    }
    ~JsonTools() { t_kept = m_outer; }
    JsonTools(const JsonTools&) = delete;
    JsonTools& operator=(const JsonTools&) = delete;

    /// With jsoncpp's default settings.
    Json::CharReader& Reader() const {
        auto& reader = t_kept->m_reader;
        if (!reader) reader.reset(Json::CharReaderBuilder().newCharReader());
        return *reader;
    }

    /// As Json::writeString does with a default builder.
    std::string Written(const Json::Value& value) const {
        auto& [writer, text] = t_kept->Writing();
        text.clear();  // a stream that once failed, for want of memory, fails until it is told
        text.str({});
        writer->write(value, &text);
        return text.str();
    }

  private:
    struct Writer {
        std::unique_ptr<Json::StreamWriter> writer{Json::StreamWriterBuilder().newStreamWriter()};
        std::ostringstream text;
    };

    Writer& Writing() {
        if (!m_writing) m_writing.emplace();
        return *m_writing;
    }

    static inline thread_local JsonTools* t_kept = nullptr;

    JsonTools* const m_outer;
    std::unique_ptr<Json::CharReader> m_reader;
    std::optional<Writer> m_writing;
};

}  // namespace cri
