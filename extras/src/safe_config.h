// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <tamsel/extras/crash_safe_file_stream.h>
#include <tamsel/extras/open.h>

#include "document_text.h"

namespace Tamsel::Extras {

/// The stream below a safe configuration. After `Offer`, the next `Read` returns the offered text
/// instead of the file's, so that the store's `Reload` adopts it.
class COfferedStream : public CCrashSafeFileStream {
public:
    using CCrashSafeFileStream::CCrashSafeFileStream;
    using CCrashSafeFileStream::KnownText;
    using CCrashSafeFileStream::SetKnownText;

    void Offer(const std::string& text) { m_offer = text; }
    bool Read(std::string& content) override;

private:
    std::optional<std::string> m_offer;
};

/// What `Open` returns.
class CSafeConfigImpl final : public CSafeConfig {
public:
    CSafeConfigImpl(const std::shared_ptr<CMemoryStream>& defaults,
                    const std::shared_ptr<COfferedStream>& overlay, const TChangeCallback& callback,
                    std::chrono::milliseconds lockLimit);

    void Set(const std::string& key, bool value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, unsigned int value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, unsigned long long value) override {
        Store(key, ToJson(value));
    }
    void Set(const std::string& key, int value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, long long value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, float value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, double value) override { Store(key, ToJson(value)); }
    void Set(const std::string& key, const std::string& value) override {
        Store(key, ToJson(value));
    }
    void Set(const std::string& key, const Json::Value& value) override {
        Store(key, ToJson(value));
    }
    bool Restore(const std::string& key) override;
    void Reload() override;
    void Erase() override;
    void Transact(const std::function<void(IConfig&)>& change) override;

    const TConfigMap& Defaults() const { return m_defaults; }
    const std::string& OverlayPath() const { return m_overlayPath; }

    /// Replaces the overlay in memory by `text` and returns true. Returns false if it is being
    /// changed, or if `isCurrent`, called while nothing can change it, returns false.
    bool TryAdopt(const std::string& text, const std::function<bool()>& isCurrent);

private:
    class CChangeLock;

    void Store(const std::string& key, const Json::Value& value);
    void Adopt(const std::string& text);
    bool CatchUp();
    void Change(const std::function<void()>& work);

    const std::shared_ptr<COfferedStream> m_stream;
    const std::string m_overlayPath;  // as the stream resolved it
    const TConfigMap m_defaults;
    const TChangeCallback m_callback;
    const std::chrono::milliseconds m_lockLimit;

    // The thread that changes the overlay in memory, if any. Set before that thread locks the
    // store's mutex, so that a change never sees another that is being undone. Guarded by
    // m_changerMutex.
    std::thread::id m_changer;
    std::mutex m_changerMutex;
    std::condition_variable m_changeEnded;
};

}  // namespace Tamsel::Extras
