// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <json/value.h>

#include <tamsel/types.h>

namespace TamselCtl {

enum class EComments { Allowed, Refused };

/// Parses one document strictly: no text after it, no repeated member, no trailing comma, numbers
/// as in RFC 8259, integers of 64 bits. Returns true if it parses; if not, stores the parser's text
/// in `errors`.
bool ParseStrictly(const std::string& text, EComments comments, Json::Value& value,
                   std::string& errors);

/// Prints a value on one line, with as few digits as read back as the same number: 15 or 17.
std::string ToLine(const Json::Value& value);

/// Returns the document with the entries of `map`.
Json::Value ToDocument(const Tamsel::TConfigMap& map);

/// Returns the members of an object.
Tamsel::TConfigMap ToMap(const Json::Value& document);

/// Returns true if these keys and values can be written and read back unchanged. Numbers that are
/// not finite, text that is not UTF-8, and deep nesting cannot.
bool CanBeStored(const Tamsel::TConfigMap& map);

/// Returns true if a key that was read from `text` would be written with its value unchanged.
bool IsKeptByRewrite(const std::string& text, const std::string& key, const Json::Value& value);

/// The message about a value that would not.
extern const char* const AlteredByRewrite;

/// Returns the type of a value: bool, integer, real, string, array, object or null.
std::string KindOf(const Json::Value& value);

/// Returns true if a value may replace `stored`: one of the same type, or an integer for a real.
bool Fits(const Json::Value& stored, const Json::Value& given);

enum class EMissing { IsNull, IsAdded };

/// Follows a JSON Pointer (RFC 6901) from `value`; "" is `value` itself. Returns null if nothing is
/// there. `EMissing::IsAdded` adds a missing member of an existing object, or the next element of
/// an existing array.
/// \throws CFailure `pointer` is not a JSON Pointer
Json::Value* FindAt(Json::Value& value, const std::string& pointer, EMissing missing);

}  // namespace TamselCtl
