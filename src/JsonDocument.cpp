/// Reading a service's JSON document.
#include "JsonDocument.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "Wall.h"

namespace cri {
namespace {

/// Kept from document to document: making one takes longer than reading a document.
Json::CharReader& Reader() {
    static thread_local const std::unique_ptr<Json::CharReader> t_reader(
        Json::CharReaderBuilder().newCharReader());
    return *t_reader;
}

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Asked of nearly every character of a document, so it is no search in a set of them.
constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Reads a number's text as the C locale does.
/// @return false when it is none, or too large
bool ReadReal(const std::string& text, double& value) {
    static const locale_t s_locale = newlocale(LC_ALL_MASK, "C", nullptr);
    char* end = nullptr;
    value = strtod_l(text.c_str(), &end, s_locale);
    return end == text.c_str() + text.size() && std::isfinite(value);
}

template <class Result, class Read>
Result ReadOr(const Json::Value* value, Result missing, Read read) {
    if (!value) return missing;
    return Walled(missing, [&] { return read(*value); });
}

}  // namespace

JsonDocument::JsonDocument(std::string text) : m_text(std::move(text)) {
    // jsoncpp skips one mark, and counts from behind it.
    if (m_text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0)
        m_origin = kByteOrderMark.size();
    TakeRealsOut();
    m_parsed = Walled(false, [this] {
        return Reader().parse(m_text.data(), m_text.data() + m_text.size(), &m_root, nullptr);
    });
    if (m_parsed && !m_reals.empty()) PutRealsBack(m_root);
}

/// Numbers are looked for where jsoncpp looks for them: not in strings, nor in comments.
void JsonDocument::TakeRealsOut() {
    std::size_t position = m_origin;
    while (position < m_text.size()) {
        const char c = m_text[position];
        if (c == '"')
            position = SkipString(position);
        else if (c == '/')
            position = SkipComment(position);
        else if (IsDigit(c) || c == '+' || c == '-')
            position = TakeNumber(position);
        else
            ++position;
    }
}

std::size_t JsonDocument::SkipString(std::size_t position) const {
    for (++position; position < m_text.size() && m_text[position] != '"'; ++position)
        if (m_text[position] == '\\') ++position;
    return position + 1;
}

std::size_t JsonDocument::SkipComment(std::size_t position) const {
    const bool block = m_text.compare(position, 2, "/*") == 0;
    if (!block && m_text.compare(position, 2, "//") != 0) return position + 1;
    const std::size_t end =
        block ? m_text.find("*/", position + 2) : m_text.find_first_of("\r\n", position);
    return end == std::string::npos ? m_text.size() : end + (block ? 2 : 1);
}

std::size_t JsonDocument::SkipDigits(std::size_t position) const {
    while (position < m_text.size() && IsDigit(m_text[position])) ++position;
    return position;
}

/// Whether there is one of `characters` at `position`.
bool JsonDocument::Among(std::string_view characters, std::size_t position) const {
    return position < m_text.size() && characters.find(m_text[position]) != characters.npos;
}

/// Puts zeros in a real's place: an integer of the same length, which any locale reads.
/// @return the position after the number, as jsoncpp finds it
std::size_t JsonDocument::TakeNumber(std::size_t start) {
    const std::size_t mark = SkipDigits(start + 1);
    std::size_t end = mark;
    if (Among(".", end)) end = SkipDigits(end + 1);
    if (Among("eE", end)) {
        ++end;
        if (Among("+-", end)) ++end;
        end = SkipDigits(end);
    }
    if (end == mark) return end;  // an integer
    // Zeros that would become part of something longer are no number, as the real there is none.
    double value = 0;
    if (!Among(".eE", end) && ReadReal(m_text.substr(start, end - start), value)) {
        const std::size_t digits = start + (Among("+-", start) ? 1 : 0);
        m_text.replace(digits, end - digits, end - digits, '0');
        m_reals.push_back({start - m_origin, value});
    } else {
        m_text[mark] = '#';  // no number in any locale
    }
    return end;
}

/// The recursion is as deep as jsoncpp's own was.
void JsonDocument::PutRealsBack(Json::Value& value) const {
    if (value.isArray() || value.isObject()) {
        for (Json::Value& element : value) PutRealsBack(element);
    } else if (value.isNumeric()) {
        const auto offset = static_cast<std::size_t>(value.getOffsetStart());
        const auto real = std::lower_bound(
            m_reals.begin(), m_reals.end(), offset,
            [](const Real& candidate, std::size_t wanted) { return candidate.offset < wanted; });
        if (real != m_reals.end() && real->offset == offset) value = Json::Value(real->value);
    }
}

const Json::Value* Member(const Json::Value* parent, std::string_view name) {
    if (!parent || !parent->isObject()) return nullptr;
    return parent->find(name.data(), name.data() + name.size());
}

uint32_t ReadUnsigned(const Json::Value* value) {
    return ReadOr(value, 0U, [](const Json::Value& number) { return number.asUInt(); });
}

int ReadInt(const Json::Value* value) {
    return ReadOr(value, 0, [](const Json::Value& number) { return number.asInt(); });
}

float ReadFloat(const Json::Value* value) {
    return ReadOr(value, 0.0F, [](const Json::Value& number) { return number.asFloat(); });
}

std::string ReadText(const Json::Value* value) {
    return ReadOr(value, std::string(), [](const Json::Value& text) { return text.asString(); });
}

}  // namespace cri
