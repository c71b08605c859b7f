// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include <tamsel/errors.h>
#include <tamsel/ifile_stream.h>

namespace Tamsel::Extras {

/// A document in memory, to test code that uses a configuration: pass two of these to a
/// `COverlayedConfig` or one to a `CStaticConfig`. It counts the calls, and fails the next one on
/// request, as a full disk would. Not thread-safe.
class CMemoryStream : public IFileStream {
public:
    /// A document with this content.
    explicit CMemoryStream(std::string content = "") : text(std::move(content)) {}

    /// The document. Assign it to simulate another process, then call `Reload`.
    std::string text;

    /// What error messages call the document.
    std::string path = "memory";

    /// Makes the next `Read` or `Write` return false, or the next `HasChanged` throw; then resets.
    bool failNext = false;

    int reads = 0;          ///< calls of `Read`
    int writes = 0;         ///< calls of `Write`
    mutable int paths = 0;  ///< calls of `GetPath`

    std::string GetPath() const override {
        ++paths;
        return path;
    }

    unsigned int GetFileSize() const override { return static_cast<unsigned int>(text.size()); }

    bool Read(std::string& content) override {
        ++reads;
        const bool isFailing = std::exchange(failNext, false);
        content = isFailing ? "" : text;
        return !isFailing;
    }

    bool Write(const std::string& content) override {
        ++writes;
        if (std::exchange(failNext, false)) return false;
        text = content;
        m_hasChanged = true;
        return true;
    }

    bool HasChanged() override {
        if (std::exchange(failNext, false)) throw CInotifyHandlingError("Failed reading inotify");
        return std::exchange(m_hasChanged, false);
    }

private:
    bool m_hasChanged = false;
};

}  // namespace Tamsel::Extras
