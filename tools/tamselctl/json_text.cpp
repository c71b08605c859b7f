// SPDX-License-Identifier: MIT
#include "json_text.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

#include "failure.h"

namespace TamselCtl {

const char* const AlteredByRewrite =
    "exceeds 64 bits or is not UTF-8, so that a rewrite would alter it";

namespace {

std::string Print(const Json::Value& value, int digits) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    builder["precision"] = digits;
    return Json::writeString(builder, value);
}

/// Returns where jsoncpp's offsets begin: after a byte order mark.
std::size_t BeginOf(const std::string& text) {
    return text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
}

std::size_t SkipDigits(const std::string& text, std::size_t at) {
    return std::min(text.find_first_not_of("0123456789", at), text.size());
}

/// Returns true if a token is a number of RFC 8259; jsoncpp accepts `+5`, `01` and `5.` too.
bool IsNumber(const std::string& token) {
    const std::size_t begin = token[0] == '-' ? 1 : 0;
    std::size_t at = SkipDigits(token, begin);
    if (at == begin || (token[begin] == '0' && at != begin + 1)) return false;
    if (at < token.size() && token[at] == '.') {
        const std::size_t fraction = at + 1;
        at = SkipDigits(token, fraction);
        if (at == fraction) return false;
    }
    return at == token.size() || token[at] == 'e' || token[at] == 'E';  // jsoncpp checks the rest
}

std::string TokenOf(const std::string& text, const Json::Value& value) {
    const auto begin = static_cast<std::size_t>(value.getOffsetStart());
    return text.substr(BeginOf(text) + begin,
                       static_cast<std::size_t>(value.getOffsetLimit()) - begin);
}

bool IsIntegerBeyond64Bits(const std::string& token, const Json::Value& value) {
    return value.type() == Json::realValue && token.find_first_of(".eE") == std::string::npos;
}

/// Returns the first number in a value, read from `text`, for which `isBad` returns true; or null.
template <typename TIsBad>
const Json::Value* FindNumber(const std::string& text, const Json::Value& value, TIsBad isBad) {
    if (value.isNumeric()) return isBad(TokenOf(text, value), value) ? &value : nullptr;
    if (!value.isArray() && !value.isObject()) return nullptr;
    for (const Json::Value& member : value) {
        if (const Json::Value* const found = FindNumber(text, member, isBad)) return found;
    }
    return nullptr;
}

/// Returns a message about a number, in the parser's layout.
std::string ParserMessage(const std::string& text, const Json::Value& number) {
    const std::size_t at = BeginOf(text) + static_cast<std::size_t>(number.getOffsetStart());
    const std::string before = text.substr(0, at);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t column = at - (before.rfind('\n') + 1) + 1;
    const std::string token = TokenOf(text, number);
    return "* Line " + std::to_string(line) + ", Column " + std::to_string(column) + "\n  '" +
           token + (IsNumber(token) ? "' exceeds 64 bits." : "' is not a number.");
}

}  // namespace

bool ParseStrictly(const std::string& text, EComments comments, Json::Value& value,
                   std::string& errors) {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = comments == EComments::Allowed;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    builder["allowTrailingCommas"] = false;
    std::istringstream stream(text);
    try {
        if (!Json::parseFromStream(builder, stream, &value, &errors)) return false;
    } catch (const Json::RuntimeError&) {
        errors = "Values are nested deeper than 1000 levels.";
        return false;
    }
    const auto isBad = [](const std::string& token, const Json::Value& number) {
        return !IsNumber(token) || IsIntegerBeyond64Bits(token, number);
    };
    const Json::Value* const bad = FindNumber(text, value, isBad);
    if (bad != nullptr) errors = ParserMessage(text, *bad);
    return bad == nullptr;
}

std::string ToLine(const Json::Value& value) {
    // 15 digits keep 0.1 readable, but only 17 distinguish every double from its neighbours.
    std::string text = Print(value, 15);
    if (value.type() != Json::realValue && !value.isArray() && !value.isObject()) return text;
    Json::Value readBack;
    std::string errors;
    if (ParseStrictly(text, EComments::Refused, readBack, errors) && readBack == value) return text;
    return Print(value, 17);
}

Json::Value ToDocument(const Tamsel::TConfigMap& map) {
    Json::Value document(Json::objectValue);
    for (const auto& [key, value] : map) document[key] = value;
    return document;
}

Tamsel::TConfigMap ToMap(const Json::Value& document) {
    Tamsel::TConfigMap map;
    for (auto member = document.begin(); member != document.end(); ++member) {
        map.emplace(member.name(), *member);
    }
    return map;
}

bool CanBeStored(const Tamsel::TConfigMap& map) {
    const Json::Value document = ToDocument(map);
    Json::Value readBack;
    std::string errors;
    return ParseStrictly(Print(document, 17), EComments::Refused, readBack, errors) &&
           readBack == document;
}

bool IsKeptByRewrite(const std::string& text, const std::string& key, const Json::Value& value) {
    return FindNumber(text, value, IsIntegerBeyond64Bits) == nullptr && CanBeStored({{key, value}});
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

bool Fits(const Json::Value& stored, const Json::Value& given) {
    const std::string storedKind = KindOf(stored);
    const std::string givenKind = KindOf(given);
    return storedKind == givenKind || (storedKind == "real" && givenKind == "integer");
}

namespace {

/// Removes the first token of a pointer and returns it, unescaped.
std::string TakeToken(std::string& pointer) {
    const std::size_t end = std::min(pointer.find('/', 1), pointer.size());
    std::string token = pointer.substr(1, end - 1);
    pointer.erase(0, end);
    for (std::size_t at = token.find('~'); at != std::string::npos; at = token.find('~', at + 1)) {
        if (token[at + 1] != '0' && token[at + 1] != '1') {
            throw CFailure(EExit::Usage, token, "~ must be followed by 0 or 1");
        }
        token.replace(at, 2, token[at + 1] == '0' ? "~" : "/");
    }
    return token;
}

/// Returns the index of the element that a token names; for "-", that after the last one.
Json::ArrayIndex IndexOf(const Json::Value& array, const std::string& token) {
    if (token == "-") return array.size();
    const bool isIndex =
        IsNumber(token) && SkipDigits(token, 0) == token.size() && token.size() < 10;
    return isIndex ? static_cast<Json::ArrayIndex>(std::atoi(token.c_str())) : Json::Value::maxUInt;
}

Json::Value* ChildOf(Json::Value& parent, const std::string& token, bool isAdded) {
    if (parent.isObject()) {
        return isAdded || parent.isMember(token) ? &parent[token] : nullptr;
    }
    if (!parent.isArray()) return nullptr;
    const Json::ArrayIndex index = IndexOf(parent, token);
    if (isAdded && index == parent.size()) return &parent.append(Json::Value());
    return index < parent.size() ? &parent[index] : nullptr;
}

}  // namespace

Json::Value* FindAt(Json::Value& value, const std::string& pointer, EMissing missing) {
    if (!pointer.empty() && pointer[0] != '/') {
        throw CFailure(EExit::Usage, pointer, "a JSON Pointer begins with /");
    }
    Json::Value* found = &value;
    for (std::string rest = pointer; !rest.empty();) {
        const std::string token = TakeToken(rest);
        const bool isAdded = missing == EMissing::IsAdded && rest.empty();
        if (found != nullptr) found = ChildOf(*found, token, isAdded);
    }
    return found;
}

}  // namespace TamselCtl
