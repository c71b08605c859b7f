// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <json/value.h>

#include <tamsel/types.h>

namespace TamselCtl {

/// Parses one document by jsoncpp's strict settings: nothing behind it, no member twice, no
/// trailing comma. Comments are allowed. Tells success; if not, `errors` has the parser's text.
bool ParseStrictly(const std::string& text, Json::Value& value, std::string& errors);

/// Prints a value on one line, with as many digits as it takes to read the same number again.
std::string ToLine(const Json::Value& value);

/// Gives the document that `map` is.
Json::Value ToDocument(const Tamsel::TConfigMap& map);

/// Tells whether a file can hold these keys and values, that is, whether they read back as they
/// are. Numbers that are not finite, text that is not UTF-8, and deep nesting do not.
bool CanBeStored(const Tamsel::TConfigMap& map);

/// Names the kind of a value: bool, integer, real, string, array, object or null.
std::string KindOf(const Json::Value& value);

/// Tells whether a value may take the place of `held`: one of the same kind, or an integer where a
/// real is held.
bool Fits(const Json::Value& held, const Json::Value& given);

}  // namespace TamselCtl
