/// Reading a service's JSON document.
#include "channel/JsonDocument.h"

#include <algorithm>
#include <locale>

#include "base/Wall.h"
#include "channel/JsonTools.h"

namespace cri {
namespace {

/// Asked of nearly every character of a document, so it is no search in a set of them.
constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Writes the points of a document's reals into their exponents. Numbers are looked for where
/// jsoncpp looks for them: not in strings, nor in comments.
class PointRemover {
  public:
    explicit PointRemover(std::string_view text) : m_text(text) {}

    /// @return the text without points, valid as long as this object and the text are
    std::string_view Run();

  private:
    std::size_t AfterString(std::size_t position) const;
    std::size_t AfterComment(std::size_t position) const;
    std::size_t AfterDigits(std::size_t position) const;
    std::size_t AfterNumber(std::size_t start);
    std::string ExponentOf(std::size_t mark, std::size_t fraction) const;

    char At(std::size_t position) const { return position < m_text.size() ? m_text[position] : 0; }
    bool IsSign(std::size_t position) const { return At(position) == '-' || At(position) == '+'; }
    bool IsExponent(std::size_t position) const {
        return At(position) == 'e' || At(position) == 'E';
    }

    const std::string_view m_text;
    std::string m_written;
    std::size_t m_copied = 0;  ///< as much of the text is in m_written
};

std::string_view PointRemover::Run() {
    std::size_t position = 0;
    while (position < m_text.size()) {
        const char c = m_text[position];
        if (c == '"')
            position = AfterString(position);
        else if (c == '/')
            position = AfterComment(position);
        else if (IsDigit(c) || c == '+' || c == '-')
            position = AfterNumber(position);
        else
            ++position;
    }
    if (m_copied == 0) return m_text;
    m_written.append(m_text, m_copied);
    return m_written;
}

std::size_t PointRemover::AfterString(std::size_t position) const {
    for (++position; position < m_text.size() && m_text[position] != '"'; ++position)
        if (m_text[position] == '\\') ++position;
    return position + 1;
}

std::size_t PointRemover::AfterComment(std::size_t position) const {
    const bool block = At(position + 1) == '*';
    if (!block && At(position + 1) != '/') return position + 1;
    const std::size_t end =
        block ? m_text.find("*/", position + 2) : m_text.find_first_of("\r\n", position);
    return end == m_text.npos ? m_text.size() : end + (block ? 2 : 1);
}

std::size_t PointRemover::AfterDigits(std::size_t position) const {
    while (IsDigit(At(position))) ++position;
    return position;
}

/// @return the position after the number that begins at `start`, as jsoncpp finds it
std::size_t PointRemover::AfterNumber(std::size_t start) {
    const std::size_t point = AfterDigits(start + 1);
    const std::size_t mark = At(point) == '.' ? AfterDigits(point + 1) : point;
    std::size_t end = mark;
    if (IsExponent(mark)) end = AfterDigits(mark + (IsSign(mark + 1) ? 2 : 1));
    if (mark == point) return end;
    const std::size_t fraction = mark - point - 1;
    m_written.append(m_text, m_copied, point - m_copied);
    m_written.append(m_text, point + 1, fraction) += 'e' + ExponentOf(mark, fraction);
    m_copied = end;
    return end;
}

/// The exponent that takes a fraction of so many digits in. One that has no digits, so that there
/// is no number, gets none.
std::string PointRemover::ExponentOf(std::size_t mark, std::size_t fraction) const {
    constexpr long long kFarBeyond = 1'000'000'000'000'000;  // any number that is not 0
    long long exponent = 0;
    if (IsExponent(mark)) {
        const std::size_t digits = mark + (IsSign(mark + 1) ? 2 : 1);
        if (!IsDigit(At(digits))) return std::string(m_text.substr(mark + 1, digits - mark - 1));
        for (std::size_t i = digits; IsDigit(At(i)); ++i)
            exponent = std::min(exponent * 10 + (At(i) - '0'), kFarBeyond);
        if (At(mark + 1) == '-') exponent = -exponent;
    }
    return std::to_string(exponent - static_cast<long long>(fraction));
}

bool HostIsClassic() {
    return std::locale() == std::locale::classic();
}

bool Parse(std::string_view text, Json::Value& root) {
    const JsonTools tools;
    return tools.Reader().parse(text.data(), text.data() + text.size(), &root, nullptr);
}

bool ParseAnywhere(std::string_view text, Json::Value& root) {
    if (HostIsClassic()) {
        const bool parsed = Parse(text, root);
        if (HostIsClassic()) return parsed;  // all the time
    }
    PointRemover remover(text);
    return Parse(remover.Run(), root);
}

template <class Result, class Read>
Result ReadOr(const Json::Value* value, Result missing, Read read) {
    if (!value) return missing;
    return CatchAll(missing, [&] { return read(*value); });
}

}  // namespace

JsonDocument::JsonDocument(std::string_view text)
    : m_parsed(Walled(false, [this, text] { return ParseAnywhere(text, m_root); })) {}

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
