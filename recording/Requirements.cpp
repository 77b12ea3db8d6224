/// Checks what some members of a recording's lines must be beyond their type.
#include "Requirements.h"

#include <regex>
#include <stdexcept>

#include "Json.h"
#include "MessageBody.h"
#include "Names.h"

namespace cri_recording {

using BadValue = std::invalid_argument;

void RequireEvent(const std::string&, const std::string& event) {
    if (!EventNumber(event))
        throw BadValue("no event that carries a status is named " + Quoted(event));
}

void RequireErrorName(const std::string& name, const std::string& error) {
    constexpr std::size_t kLongest = 255;
    static const std::regex s_form("[A-Za-z_][A-Za-z0-9_]*([.][A-Za-z_][A-Za-z0-9_]*)+");
    if (error.size() > kLongest || !std::regex_match(error, s_form))
        throw BadValue(Quoted(name) + " must be the name of an error, with dots in it");
}

void RequireBody(const std::string&, const std::string& body) {
    ParseBody(body);
}

void RequireMessageSize(const std::string& name, const std::uint32_t& bytes) {
    if (bytes > kLargestMessage)
        throw BadValue(Quoted(name) + " must be at most " + std::to_string(kLargestMessage));
}

void RequirePositive(const std::string& name, const double& number) {
    if (!(number > 0 && number < kUnbounded))
        throw BadValue(Quoted(name) + " must be above 0 and below 1e9");
}

}  // namespace cri_recording
