/// jsoncpp's reader and writer, kept by a thread from document to document.
#pragma once

#include <json/json.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

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
        auto& writer = t_kept->m_writer;
        auto& text = t_kept->m_writing;
        if (!writer) writer.reset(Json::StreamWriterBuilder().newStreamWriter());
        if (!text) text.emplace();
        text->clear();  // a stream that once failed, for want of memory, fails until it is told
        text->str({});
        writer->write(value, &*text);
        return text->str();
    }

    /// A document's text for a callback that takes it by value; of memory that was given back, so
    /// that a large block is not asked for and split up again at each document.
    static std::string TextOf(std::string_view document) {
        std::string text;
        if (t_kept) text.swap(t_kept->m_text);
        text.assign(document);
        return text;
    }
    static void GiveBack(std::string&& text) {
        if (t_kept) t_kept->m_text.swap(text);
    }

  private:
    static inline thread_local JsonTools* t_kept = nullptr;

    JsonTools* const m_outer;
    std::unique_ptr<Json::CharReader> m_reader;
    std::unique_ptr<Json::StreamWriter> m_writer;
    std::optional<std::ostringstream> m_writing;
    std::string m_text;
};

}  // namespace cri
