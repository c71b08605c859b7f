// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/// Gives `text` with every `from` replaced by `to`.
inline std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// The rows of a table in tests/cases: a line each, with `N` cells between bars. Blanks around a
/// cell do not count, `\n` and `\t` stand for the characters, and a line that begins with # is a
/// comment.
template <std::size_t N>
std::vector<std::array<std::string, N>> Cases(const std::string& table) {
    std::ifstream file(TAMSEL_TEST_CASES "/" + table);
    std::vector<std::array<std::string, N>> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream cells(line + "|");
        for (std::string& cell : rows.emplace_back()) {
            if (!std::getline(cells, cell, '|')) throw std::invalid_argument(table + ": " + line);
            cell.erase(cell.find_last_not_of(' ') + 1).erase(0, cell.find_first_not_of(' '));
            cell = Replaced(Replaced(cell, "\\n", "\n"), "\\t", "\t");
        }
    }
    if (rows.empty()) throw std::invalid_argument(table + " has no rows");
    return rows;
}
