// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <json/value.h>

namespace TamselCtl {

/// Reads a file to its end, a pipe too; "-" is standard input. Takes no lock.
/// \throws CFailure it cannot be read
std::string ReadInput(const std::string& file);

/// Reads a file that contains a JSON object. \throws CFailure it cannot be read, or does not parse
Json::Value ReadDocument(const std::string& file);

/// Parses the value of an argument: JSON, or bare text.
/// \throws CFailure it does not parse, or cannot be stored; the message begins with `subject`
Json::Value ParseGiven(const std::string& subject, const std::string& text, bool isBareText);

extern const std::string NotStorable;

}  // namespace TamselCtl
