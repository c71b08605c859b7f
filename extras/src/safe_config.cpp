// SPDX-License-Identifier: MIT
#include "safe_config.h"

#include <system_error>
#include <utility>

#include "draft_config.h"
#include "journal.h"
#include "system.h"

namespace Tamsel::Extras {

namespace {

[[noreturn]] void ThrowLockError(int error) {
    ThrowError(error, "Failed to lock the configuration");
}

}  // namespace

bool COfferedStream::Read(std::string& content) {
    if (!m_offer) return CCrashSafeFileStream::Read(content);
    content = *std::exchange(m_offer, std::nullopt);
    SetKnownText(content);
    return true;
}

/// Makes the calling thread the only one that changes the overlay in memory.
class CSafeConfigImpl::CChangeLock {
public:
    CChangeLock(CSafeConfigImpl& config, std::chrono::milliseconds limit) : m_config(config) {
        std::unique_lock lock(config.m_changerMutex);
        if (config.m_changer == std::this_thread::get_id()) ThrowLockError(EDEADLK);
        const auto isFree = [&] { return config.m_changer == std::thread::id(); };
        if (limit == NoTimeLimit) {
            config.m_changeEnded.wait(lock, isFree);
        } else if (!config.m_changeEnded.wait_until(lock, DeadlineAfter(limit), isFree)) {
            ThrowLockError(ETIMEDOUT);
        }
        config.m_changer = std::this_thread::get_id();
    }
    ~CChangeLock() {
        const std::lock_guard lock(m_config.m_changerMutex);
        m_config.m_changer = std::thread::id();
        m_config.m_changeEnded.notify_one();
    }
    CChangeLock(const CChangeLock&) = delete;
    CChangeLock& operator=(const CChangeLock&) = delete;

private:
    CSafeConfigImpl& m_config;
};

CSafeConfigImpl::CSafeConfigImpl(const std::shared_ptr<CMemoryStream>& defaults,
                                 const std::shared_ptr<COfferedStream>& overlay,
                                 const TChangeCallback& callback,
                                 std::chrono::milliseconds lockLimit)
    : CSafeConfig(defaults, overlay, callback),
      m_stream(overlay),
      m_overlayPath(CanonicalPath(overlay->GetPath())),
      m_defaults(ParseText(defaults->text, defaults->path)),
      m_callback(callback),
      m_lockLimit(lockLimit) {}

void CSafeConfigImpl::Adopt(const std::string& text) {
    m_stream->Offer(text);
    COverlayedConfig::Reload();
}

/// Adopts the current content of the file. Without it, a `Set` of the value that is still in memory
/// would have no effect, although another process has changed the value in the file. Returns false
/// for a file that does not parse: the change replaces it.
bool CSafeConfigImpl::CatchUp() {
    const std::string known = m_stream->KnownText();
    std::string text;
    (void)m_stream->Read(text);
    m_stream->SetKnownText(known);
    if (text == known) return true;
    if (!IsWhole(text)) return false;
    Adopt(text);
    return true;
}

void CSafeConfigImpl::Change(const std::function<void()>& work) {
    const CChangeLock lock(*this, m_lockLimit);
    const std::string before = m_stream->KnownText();
    try {
        const bool isWhole = CatchUp();
        work();
        // A change without an effect in memory still replaces a broken file.
        if (!isWhole && m_stream->KnownText() == before) (void)m_stream->Write(before);
    } catch (...) {
        Adopt(before);
        throw;
    }
}

void CSafeConfigImpl::Store(const std::string& key, const Json::Value& value) {
    RequireStorable(key, value);
    Change([&] { COverlayedConfig::Set(key, value); });
}

bool CSafeConfigImpl::Restore(const std::string& key) {
    bool wasOverridden = false;
    Change([&] { wasOverridden = COverlayedConfig::Restore(key); });
    return wasOverridden;
}

void CSafeConfigImpl::Reload() {
    const CChangeLock lock(*this, m_lockLimit);
    const std::string before = m_stream->KnownText();
    try {
        COverlayedConfig::Reload();
    } catch (...) {
        m_stream->SetKnownText(before);  // which memory still has
        throw;
    }
}

void CSafeConfigImpl::Erase() {
    const CChangeLock lock(*this, m_lockLimit);
    std::string nothing = PrintText({});
    m_stream->Update([&](const std::string&) { return nothing; });
    Adopt(nothing);
}

void CSafeConfigImpl::Transact(const std::function<void(IConfig&)>& change) {
    const CChangeLock lock(*this, m_lockLimit);
    std::optional<CDraftConfig> draft;
    m_stream->Update([&](const std::string& text) {
        draft.emplace(m_defaults, text, m_stream->GetPath());
        change(*draft);
        return draft->Text();
    });
    Adopt(m_stream->KnownText());
    if (!m_callback) return;
    for (const auto& [key, value] : draft->Changes()) m_callback(key, value);
}

bool CSafeConfigImpl::TryAdopt(const std::string& text, const std::function<bool()>& isCurrent) {
    try {
        const CChangeLock lock(*this, std::chrono::milliseconds(0));
        if (!isCurrent()) return false;
        if (text != m_stream->KnownText()) Adopt(text);
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace Tamsel::Extras
