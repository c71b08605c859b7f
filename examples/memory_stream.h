// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include <tamsel/errors.h>
#include <tamsel/ifile_stream.h>

/// A document in memory, to test code that uses a configuration. It counts its calls, and refuses
/// the next one when it is told to, as a disk would. For one thread.
class CMemoryStream : public Tamsel::IFileStream {
public:
    explicit CMemoryStream(std::string content = "") : text(std::move(content)) {}

    std::string text;
    std::string path = "memory";
    bool isNextRefused = false;
    int reads = 0;
    int writes = 0;
    mutable int paths = 0;

    std::string GetPath() const override {
        ++paths;
        return path;
    }

    unsigned int GetFileSize() const override { return static_cast<unsigned int>(text.size()); }

    bool Read(std::string& content) override {
        ++reads;
        const bool isRefused = std::exchange(isNextRefused, false);
        content = isRefused ? "" : text;
        return !isRefused;
    }

    // [write]
    bool Write(const std::string& content) override {
        ++writes;
        if (std::exchange(isNextRefused, false)) return false;
        text = content;
        m_hasChanged = true;
        return true;
    }
    // [/write]

    bool HasChanged() override {
        if (std::exchange(isNextRefused, false)) {
            throw Tamsel::CInotifyHandlingError("Failed reading inotify");
        }
        return std::exchange(m_hasChanged, false);
    }

private:
    bool m_hasChanged = false;
};
