/// A service's JSON document, read the same on every host, and values read from it without a throw.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cri {

/// Parses one document with jsoncpp's default settings.
///
/// jsoncpp reads real numbers through the host's global locale: where that has a decimal comma,
/// 0.93 would be 0. So reals are taken out of the text before the parsing and put into the values
/// after it.
class JsonDocument {
  public:
    /// @param text  one document; what follows it is ignored
    explicit JsonDocument(std::string text);

    /// Whether the text was a document. One that is nested deeper than jsoncpp goes is none.
    bool Parsed() const { return m_parsed; }
    const Json::Value& Root() const { return m_root; }

  private:
    struct Real {
        std::size_t offset;  ///< as jsoncpp counts
        double value;
    };

    void TakeRealsOut();
    std::size_t SkipString(std::size_t position) const;
    std::size_t SkipComment(std::size_t position) const;
    std::size_t SkipDigits(std::size_t position) const;
    bool Among(std::string_view characters, std::size_t position) const;
    std::size_t TakeNumber(std::size_t start);
    void PutRealsBack(Json::Value& value) const;

    std::string m_text;
    std::size_t m_origin = 0;   ///< where jsoncpp counts from
    std::vector<Real> m_reals;  ///< by ascending offset
    Json::Value m_root;
    bool m_parsed = false;
};

/// The member of an object; null when it is missing or `parent` is null or no object.
const Json::Value* Member(const Json::Value* parent, std::string_view name);

/// Calls `take` with each element of an array, or each member of an object in the order of the
/// keys, that is an object itself; with nothing for other values.
template <class Take>
void ForEachObject(const Json::Value* list, Take take) {
    if (!list) return;
    for (const Json::Value& element : *list)
        if (element.isObject()) take(element);
}

/// jsoncpp's conversions. A value that is missing, or that jsoncpp cannot convert, reads as 0 or as
/// the empty text.
uint32_t ReadUnsigned(const Json::Value* value);
int ReadInt(const Json::Value* value);
float ReadFloat(const Json::Value* value);
std::string ReadText(const Json::Value* value);

}  // namespace cri
