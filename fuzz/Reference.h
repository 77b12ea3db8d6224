/// What jsoncpp itself says about a document on a host with the classic locale.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <locale>
#include <memory>
#include <string>

namespace cri_fuzz {

/// A host's locale in which 0.93 is written 0,93.
class CommaLocale {
  public:
    CommaLocale() : m_before(std::locale::global(std::locale(std::locale(), new Comma))) {}
    ~CommaLocale() { std::locale::global(m_before); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale m_before;
};

/// @return false when jsoncpp refuses the text or throws
inline bool Parse(const std::string& text, Json::Value& root) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), &root, nullptr);
    } catch (const std::exception&) {
        return false;
    }
}

/// The member of an object; null for everything else.
inline Json::Value Get(const Json::Value& parent, const char* name) {
    return parent.isObject() && parent.isMember(name) ? parent[name] : Json::Value();
}

/// A conversion of jsoncpp's, or the missing-key value where it throws.
template <class Result, class Convert>
Result Converted(const Json::Value& value, Convert convert) {
    try {
        return convert(value);
    } catch (const std::exception&) {
        return Result();
    }
}

inline uint32_t Unsigned(const Json::Value& value) {
    return Converted<uint32_t>(value, [](const Json::Value& v) { return v.asUInt(); });
}
inline int Int(const Json::Value& value) {
    return Converted<int>(value, [](const Json::Value& v) { return v.asInt(); });
}
inline float Float(const Json::Value& value) {
    return Converted<float>(value, [](const Json::Value& v) { return v.asFloat(); });
}
inline std::string Text(const Json::Value& value) {
    return Converted<std::string>(value, [](const Json::Value& v) { return v.asString(); });
}

inline void Expect(bool holds) {
    if (!holds) abort();
}

/// Whether two floats are the same bits.
inline bool Same(float one, float other) {
    return memcmp(&one, &other, sizeof one) == 0;
}

}  // namespace cri_fuzz
