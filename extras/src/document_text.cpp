// SPDX-License-Identifier: MIT
#include "document_text.h"

#include <cmath>
#include <stdexcept>

#include <tamsel/errors.h>
#include <tamsel/json_util.h>

namespace Tamsel::Extras {

namespace {

// Deeper values can be written by jsoncpp, but not read.
constexpr int MaxLevels = 998;

bool Parse(const std::string& text, TConfigMap& map) { return TryParse(text, "", map).empty(); }

/// Returns the length in bytes of the character that begins with `lead`; 0 if none does.
std::size_t LengthOf(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xc2) return 0;
    if (lead < 0xe0) return 2;
    if (lead < 0xf0) return 3;
    return lead < 0xf5 ? 4 : 0;
}

/// Returns false if the second byte makes the character overlong, a surrogate, or beyond U+10FFFF.
bool IsSecondByte(unsigned char lead, unsigned char second) {
    switch (lead) {
        case 0xe0: return second >= 0xa0;
        case 0xed: return second < 0xa0;
        case 0xf0: return second >= 0x90;
        case 0xf4: return second < 0x90;
        default: return true;
    }
}

bool IsUtf8(const std::string& text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = LengthOf(byte(at));
        if (length == 0 || length > text.size() - at) return false;
        if (length > 1 && !IsSecondByte(byte(at), byte(at + 1))) return false;
        for (std::size_t i = 1; i < length; ++i) {
            if ((byte(at + i) & 0xc0) != 0x80) return false;
        }
        at += length;
    }
    return true;
}

/// Returns why a value cannot be stored; null if it can.
const char* Problem(const Json::Value& value, int levels) {
    if (value.isDouble() && !std::isfinite(value.asDouble())) return "its number is not finite";
    if (value.isString() && !IsUtf8(value.asString())) return "its text is not UTF-8";
    if (!value.isArray() && !value.isObject()) return nullptr;
    if (levels == MaxLevels) return "its value has more than 998 levels";
    for (auto member = value.begin(); member != value.end(); ++member) {
        if (value.isObject() && !IsUtf8(member.name())) return "a name in it is not UTF-8";
        if (const char* const problem = Problem(*member, levels + 1)) return problem;
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<CMemoryStream> StreamOf(const std::string& text, const std::string& path) {
    auto stream = std::make_shared<CMemoryStream>(text);
    stream->path = path;
    return stream;
}

TConfigMap ParseText(const std::string& text, const std::string& path) {
    return JsonUtil::ReadConfig(StreamOf(text, path));
}

std::string PrintText(const TConfigMap& map) {
    const auto stream = StreamOf("", "");
    JsonUtil::WriteConfig(stream, map);
    return stream->text;
}

std::string TryParse(const std::string& text, const std::string& path, TConfigMap& map) {
    map.clear();
    try {
        map = ParseText(text, path);
        return "";
    } catch (const CInvalidConfig& error) {
        return error.what();
    } catch (const Json::Exception& error) {
        return std::string("'").append(path).append("': ").append(error.what());
    }
}

bool IsWhole(const std::string& text) {
    TConfigMap map;
    return Parse(text, map);
}

std::string MergeTexts(const std::string& base, const std::string& ours,
                       const std::string& theirs) {
    TConfigMap before;
    TConfigMap after;
    TConfigMap merged;
    (void)Parse(base, before);
    if (!Parse(ours, after) || !Parse(theirs, merged)) return ours;
    for (const auto& [key, value] : before) {
        if (after.count(key) == 0) merged.erase(key);
    }
    for (const auto& [key, value] : after) {
        const auto former = before.find(key);
        if (former == before.end() || former->second != value) merged[key] = value;
    }
    return merged == after ? ours : PrintText(merged);
}

void RequireStorable(const std::string& key, const Json::Value& value) {
    const char* const problem = IsUtf8(key) ? Problem(value, 0) : "it is not UTF-8";
    if (problem == nullptr) return;
    throw std::invalid_argument(std::string("Config option with key '")
                                    .append(key)
                                    .append("' cannot be stored: ")
                                    .append(problem));
}

}  // namespace Tamsel::Extras
