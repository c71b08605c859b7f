// SPDX-License-Identifier: MIT
#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "failure.h"
#include "json_text.h"

namespace TamselCtl {

namespace {

constexpr std::size_t LongestValue = 60;

bool IsColourWanted() {
    const char* const noColour = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0');
}

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
}

/// Returns the number of characters in UTF-8: of bytes that are not continuations.
std::size_t Width(const std::string& text) {
    const auto begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins));
}

std::vector<std::size_t> Widths(const std::vector<SRow>& rows) {
    std::vector<std::size_t> widths;
    for (const SRow& row : rows) {
        widths.resize(std::max(widths.size(), row.cells.size()));
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            widths[i] = std::max(widths[i], Width(row.cells[i]));
        }
    }
    return widths;
}

/// Joins the cells, each but the last padded to the width of its column.
std::string Aligned(const SRow& row, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
        line += row.cells[i];
        if (i + 1 < row.cells.size()) line.append(widths[i] - Width(row.cells[i]) + 2, ' ');
    }
    return line;
}

}  // namespace

std::string ShownKey(const std::string& key) {
    const bool isPlain =
        !key.empty() && key.front() != '"' && std::none_of(key.begin(), key.end(), IsControl);
    return isPlain ? key : ToLine(key);
}

std::string ShownValue(const Json::Value* value) {
    if (value == nullptr) return "(none)";
    std::string text = ToLine(*value);  // ASCII, so it can be truncated anywhere
    if (text.size() > LongestValue) text.replace(LongestValue - 3, std::string::npos, "...");
    return text;
}

void PrintTable(const std::vector<SRow>& rows) {
    const bool isColoured = IsColourWanted();
    const std::vector<std::size_t> widths = Widths(rows);
    for (const SRow& row : rows) {
        const std::string line = Aligned(row, widths);
        PrintLine(isColoured && row.isMarked ? "\033[1m" + line + "\033[0m" : line);
    }
}

void PrintJson(const Json::Value& value) { PrintLine(ToLine(value)); }

void PrintLine(const std::string& text) { std::cout << text << '\n'; }

void FlushOutput() {
    if (!std::cout.flush()) throw CFailure(EExit::WriteFailed, "standard output", "write failed");
}

}  // namespace TamselCtl
