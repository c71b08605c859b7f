// SPDX-License-Identifier: MIT
#pragma once

#include <json/json.h>

#include <sstream>
#include <string>

/// Gives `text` with every `from` replaced by `to`.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

inline Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

inline std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    return Json::writeString(builder, value);
}

inline std::string Unquoted(const std::string& text) { return text.substr(1, text.size() - 2); }
