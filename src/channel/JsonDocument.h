/// A service's JSON document, read the same on every host, and values read from it without a throw.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace cri {

/// Parses one document with jsoncpp's default settings.
///
/// jsoncpp reads a real number through a stream, which follows the host's global C++ locale: where
/// that has a decimal comma, 0.93 is no number. So where it is not the classic one, each real's
/// decimal point is written into its exponent first, 0.93 as 093e-2, which is the same number in
/// every locale.
class JsonDocument {
  public:
    /// @param text  one document; what follows it is ignored. Read in the constructor only
    explicit JsonDocument(std::string_view text);

    /// Whether the text was a document. One that is nested deeper than jsoncpp goes is none.
    bool Parsed() const { return m_parsed; }
    const Json::Value& Root() const { return m_root; }

  private:
    Json::Value m_root;
    const bool m_parsed;
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
