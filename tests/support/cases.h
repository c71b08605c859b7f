// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

/// The rows of a table in tests/cases: a line each, with `N` cells between bars. Blanks around a
/// cell do not count, `\n` and `\t` stand for the characters, and a line that begins with # is a
/// comment.
template <std::size_t N>
std::vector<std::array<std::string, N>> Cases(const std::string& table) {
    std::ifstream file(TAMSEL_TEST_CASES "/" + table);
    const std::regex cell(R"(\s*([^|]*?)\s*(\||$))");
    std::vector<std::array<std::string, N>> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        auto match = std::sregex_iterator(line.begin(), line.end(), cell);
        for (std::string& text : rows.emplace_back()) {
            if (match == std::sregex_iterator()) throw std::invalid_argument(table + ": " + line);
            text = std::regex_replace(match++->str(1), std::regex(R"(\\n)"), "\n");
            text = std::regex_replace(text, std::regex(R"(\\t)"), "\t");
        }
    }
    if (rows.empty()) throw std::invalid_argument(table + " has no rows");
    return rows;
}
