/// Reads and writes JSON texts of one line.
#include "Json.h"

#include <glib.h>

#include <memory>
#include <stdexcept>

namespace cri_recording {
namespace {

/// The JSON parser's report, which has line breaks, as one line.
std::string Flattened(const std::string& report) {
    std::string flat;
    for (const char letter : report) {
        const bool blank = g_ascii_isspace(letter);
        if (blank && (flat.empty() || flat.back() == ' ')) continue;
        flat += blank ? ' ' : letter;
    }
    while (!flat.empty() && flat.back() == ' ') flat.pop_back();
    return flat;
}

}  // namespace

std::string Quoted(const std::string& text) {
    return std::string("\"").append(text).append("\"");
}

Json::Value ParseObject(std::string_view text) {
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr))
        throw std::invalid_argument("no UTF-8");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value json;
    std::string report;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &json, &report))
            throw std::invalid_argument("no JSON: " + Flattened(report));
    } catch (const Json::Exception& error) {
        throw std::invalid_argument(std::string("no JSON: ") + error.what());
    }
    if (!json.isObject()) throw std::invalid_argument("no JSON object");
    return json;
}

std::string OneLine(const Json::Value& json, int digits) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precision"] = digits;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, json);
}

}  // namespace cri_recording
