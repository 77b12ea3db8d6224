/// JSON texts of one line.
#pragma once

#include <json/json.h>

#include <string>
#include <string_view>

namespace cri_recording {

std::string Quoted(const std::string& text);

/// Reads an object.
/// @throws std::invalid_argument, saying what is wrong, when `text` is no JSON object in UTF-8
Json::Value ParseObject(std::string_view text);

/// The JSON text without a newline; text stays UTF-8.
/// @param digits  of real numbers, at most
std::string OneLine(const Json::Value& json, int digits);

}  // namespace cri_recording
