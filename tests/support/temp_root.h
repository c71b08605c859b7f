// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A private folder, open to every user, that goes away with all that is in it.
class CTempRoot {
public:
    explicit CTempRoot(const std::filesystem::path& in = std::filesystem::temp_directory_path())
        : m_path(in / "tamsel-XXXXXX") {
        std::filesystem::permissions(mkdtemp(m_path.data()), std::filesystem::perms::all);
    }
    ~CTempRoot() { std::filesystem::remove_all(m_path); }
    CTempRoot(const CTempRoot&) = delete;
    CTempRoot& operator=(const CTempRoot&) = delete;

    std::string Path(const std::string& below = "") const { return m_path + "/" + below; }

    /// Writes a file in place, creating the directories on its path, and gives that path.
    std::string Put(const std::string& below, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(Path(below)).parent_path());
        std::ofstream(Path(below)) << text;
        return Path(below);
    }

    /// Gives a file's text, or "(none)" when there is no file.
    std::string Text(const std::string& below) const {
        std::ifstream file(Path(below));
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
    }

private:
    std::string m_path;
};
