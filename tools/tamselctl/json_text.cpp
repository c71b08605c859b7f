// SPDX-License-Identifier: MIT
#include "json_text.h"

#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

namespace TamselCtl {

namespace {

std::string Print(const Json::Value& value, int digits) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    builder["precision"] = digits;
    return Json::writeString(builder, value);
}

}  // namespace

bool ParseStrictly(const std::string& text, Json::Value& value, std::string& errors) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    builder["allowTrailingCommas"] = false;
    std::istringstream stream(text);
    try {
        return Json::parseFromStream(builder, stream, &value, &errors);
    } catch (const Json::RuntimeError&) {
        errors = "Values are nested deeper than 1000 levels.";
        return false;
    }
}

std::string ToLine(const Json::Value& value) {
    // 15 digits keep 0.1 readable, but only 17 tell every double from its neighbours.
    std::string text = Print(value, 15);
    Json::Value readBack;
    std::string errors;
    if (ParseStrictly(text, readBack, errors) && readBack == value) return text;
    return Print(value, 17);
}

Json::Value ToDocument(const Tamsel::TConfigMap& map) {
    Json::Value document(Json::objectValue);
    for (const auto& [key, value] : map) document[key] = value;
    return document;
}

bool CanBeStored(const Tamsel::TConfigMap& map) {
    const Json::Value document = ToDocument(map);
    Json::Value readBack;
    std::string errors;
    return ParseStrictly(Print(document, 17), readBack, errors) && readBack == document;
}

std::string KindOf(const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue: return "null";
        case Json::intValue:
        case Json::uintValue: return "integer";
        case Json::realValue: return "real";
        case Json::stringValue: return "string";
        case Json::booleanValue: return "bool";
        case Json::arrayValue: return "array";
        case Json::objectValue: return "object";
    }
    return "unknown";
}

bool Fits(const Json::Value& held, const Json::Value& given) {
    const std::string heldKind = KindOf(held);
    const std::string givenKind = KindOf(given);
    return heldKind == givenKind || (heldKind == "real" && givenKind == "integer");
}

}  // namespace TamselCtl
