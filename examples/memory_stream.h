// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include <tamsel/errors.h>
#include <tamsel/ifile_stream.h>

/// A document in memory, to test code that uses a configuration. It counts its calls, and refuses
/// the one that it is told to, as a disk would. For one thread.
class CMemoryStream : public Tamsel::IFileStream {
public:
    explicit CMemoryStream(std::string content = "") : text(std::move(content)) {}

    std::string text;
    int refuseCall = 0;  // counted from 1; 0 refuses none
    int reads = 0;
    int writes = 0;
    mutable int paths = 0;

    std::string GetPath() const override { return ++paths, "memory"; }

    unsigned int GetFileSize() const override { return static_cast<unsigned int>(text.size()); }

    bool Read(std::string& content) override {
        ++reads;
        const bool isRefused = IsRefused();
        content = isRefused ? "" : text;
        return !isRefused;
    }

    bool Write(const std::string& content) override {
        ++writes;
        if (IsRefused()) return false;
        text = content;
        m_hasChanged = true;
        return true;
    }

    bool HasChanged() override {
        if (IsRefused()) throw Tamsel::CInotifyHandlingError("Failed reading inotify");
        return std::exchange(m_hasChanged, false);
    }

private:
    bool IsRefused() { return ++m_calls == refuseCall; }

    int m_calls = 0;
    bool m_hasChanged = false;
};
