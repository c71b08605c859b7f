// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

namespace TamselCtl {

/// One line of a table. A marked one is bold on a terminal.
struct SRow {
    std::vector<std::string> cells;
    bool isMarked = false;
};

/// Returns a key for output in a line: unchanged, or as a JSON string if it is empty, contains
/// control characters, or begins with a quote.
std::string ShownKey(const std::string& key);

/// Returns a value for output in a table: on one line, truncated; "(none)" for no value.
std::string ShownValue(const Json::Value* value);

/// Prints rows in aligned columns.
void PrintTable(const std::vector<SRow>& rows);

/// Prints a value on a line of its own.
void PrintJson(const Json::Value& value);

/// Prints text and a newline.
void PrintLine(const std::string& text);

/// Flushes standard output. \throws CFailure not everything printed could be written
void FlushOutput();

}  // namespace TamselCtl
