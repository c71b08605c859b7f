// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <json/value.h>

#include <tamsel/types.h>

namespace TamselCtl {

enum class EComments { Allowed, Refused };

/// Parses one document strictly: nothing behind it, no member twice, no trailing comma, numbers as
/// JSON has them, integers of 64 bits. Tells success; if not, `errors` has the parser's text.
bool ParseStrictly(const std::string& text, EComments comments, Json::Value& value,
                   std::string& errors);

/// Prints a value on one line, with as many digits as it takes to read the same number again.
std::string ToLine(const Json::Value& value);

/// Returns the document that `map` is.
Json::Value ToDocument(const Tamsel::TConfigMap& map);

/// Returns the members of an object.
Tamsel::TConfigMap ToMap(const Json::Value& document);

/// Returns true if a file can hold these keys and values, that is, whether they are read back as
/// they are. Numbers that are not finite, text that is not UTF-8, and deep nesting are not.
bool CanBeStored(const Tamsel::TConfigMap& map);

/// Returns true if a key that was read from `text` would be written with the value that the text
/// has.
bool IsKeptByRewrite(const std::string& text, const std::string& key, const Json::Value& value);

/// Says what is wrong with a value that is not.
extern const char* const AlteredByRewrite;

/// Returns the type of a value: bool, integer, real, string, array, object or null.
std::string KindOf(const Json::Value& value);

/// Returns true if a value may replace `stored`: one of the same type, or an integer for a real.
bool Fits(const Json::Value& stored, const Json::Value& given);

enum class EMissing { IsNull, IsAdded };

/// Follows a JSON Pointer (RFC 6901) from `value`; "" is `value` itself. Returns null when nothing
/// is there; or adds it, when it is to be a member of an object or the next element of a list that
/// are.
/// \throws CFailure it is no JSON Pointer
Json::Value* FindAt(Json::Value& value, const std::string& pointer, EMissing missing);

}  // namespace TamselCtl
