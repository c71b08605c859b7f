// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

namespace TamselCtl {

/// One line of a table for people. A marked one stands out where colour is wanted.
struct SRow {
    std::vector<std::string> cells;
    bool isMarked = false;
};

/// Gives a key as a line can show it: as it is, or as a JSON string when it is empty, holds control
/// characters, or begins like one.
std::string ShownKey(const std::string& key);

/// Gives a value as a table can show it: on one line, cut when long; "(none)" for no value.
std::string ShownValue(const Json::Value* value);

/// Prints rows in aligned columns.
void PrintTable(const std::vector<SRow>& rows);

/// Prints a value on a line of its own.
void PrintJson(const Json::Value& value);

/// Prints text and the end of the line.
void PrintLine(const std::string& text);

/// Sends off what was printed. \throws CFailure not all of it could be written
void FlushOutput();

}  // namespace TamselCtl
