// SPDX-License-Identifier: MIT
#pragma once

#include <json/json.h>

#include <sstream>
#include <string>

inline Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

/// Gives what jsoncpp has to say against a text.
inline std::string ParserText(const std::string& text) {
    std::istringstream input(text);
    Json::Value ignored;
    std::string errors;
    Json::parseFromStream(Json::CharReaderBuilder(), input, &ignored, &errors);
    return errors;
}

inline std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    return Json::writeString(builder, value);
}

inline std::string Unquoted(const std::string& text) { return text.substr(1, text.size() - 2); }
