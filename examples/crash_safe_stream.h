// SPDX-License-Identifier: MIT
#pragma once

#include <sstream>
#include <string>

#include <json/json.h>
#include <tamsel/tamsel.h>

/// An overlay file that a kill or a power cut cannot empty: every text goes to a shadow file first.
///
/// One of the two files is whole at any moment, and `Read` gives that one: the overlay, unless it
/// is empty or cut short. A `Write` that did not return may be found done or not done, never half,
/// and one that tells true on a full disk is there: what was written is read back. It costs two
/// more files read and one more waited for at each change, and is for one writing process.
class CCrashSafeStream : public Tamsel::IFileStream {
public:
    explicit CCrashSafeStream(const std::string& path) : m_file(path), m_shadow(path + ".shadow") {}

    std::string GetPath() const override { return m_file.GetPath(); }
    unsigned int GetFileSize() const override { return m_file.GetFileSize(); }
    bool HasChanged() override { return m_file.HasChanged(); }

    // [seam]
    bool Read(std::string& content) override {
        std::string shadow;
        const bool isRead = m_file.Read(content);
        if (IsWhole(content)) return true;
        if (!Tamsel::ReadFile(m_shadow, shadow) || !IsWhole(shadow)) return isRead;
        content = shadow;
        return true;
    }

    bool Write(const std::string& content) override {
        return Mend() && Replace(m_shadow, content) && Replace(GetPath(), content);
    }
    // [/seam]

private:
    /// An object that was cut short lacks its closing brace, so it does not parse.
    static bool IsWhole(const std::string& text) {
        Json::Value root;
        std::string errors;
        std::istringstream input(text);
        return Json::parseFromStream(Json::CharReaderBuilder(), input, &root, &errors);
    }

    static bool Replace(const std::string& path, const std::string& content) {
        std::string readBack;
        return Tamsel::WriteFile(path, content) && Tamsel::ReadFile(path, readBack) &&
               readBack == content;
    }

    /// After a kill the shadow may be the only whole file: it is not given up before the overlay is
    /// whole again.
    bool Mend() {
        std::string overlay;
        std::string whole;
        m_file.Read(overlay);
        return !Read(whole) || whole == overlay || Replace(GetPath(), whole);
    }

    Tamsel::CFileStream m_file;
    const std::string m_shadow;
};
