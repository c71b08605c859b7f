// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_set>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/iconfig.h>
#include <tamsel/ifile_stream.h>
#include <tamsel/types.h>

namespace Tamsel {

/// A configuration of two layers: defaults, which are read once and never written, and an overlay
/// with the changes, which is written on each of them. See `IConfig` for its functions.
///
/// Thread-safe: one reader-writer lock guards both layers. `Get` and `Exists` hold it shared;
/// `GetAllConfigKeys`, `Set`, `Restore`, `Erase` and `Reload` hold it exclusively, including the
/// file operations and the change callback; `HasChanged` and `GetOverlayedFileSize` do not take it.
/// It is not recursive. glibc's lock prefers readers: continuous reading can block a change
/// indefinitely.
class TAMSEL_API COverlayedConfig : public IConfig {
public:
    /// Reads the defaults, then the overlay. Writes nothing and does not call `callback`, which can
    /// be empty. Shares ownership of `overlayStream` for its lifetime, and does not keep
    /// `defaultsStream`. The pointers must not be null.
    ///
    /// \throws CInvalidConfig, Json::Exception as `JsonUtil::ReadConfig`, for the defaults first
    COverlayedConfig(const std::shared_ptr<IInputFileStream>& defaultsStream,
                     const std::shared_ptr<IFileStream>& overlayStream, TChangeCallback callback);

    bool Get(const std::string& key, bool defaultValue) const override;
    unsigned int Get(const std::string& key, unsigned int defaultValue) const override;
    unsigned long long Get(const std::string& key, unsigned long long defaultValue) const override;
    int Get(const std::string& key, int defaultValue) const override;
    long long Get(const std::string& key, long long defaultValue) const override;
    float Get(const std::string& key, float defaultValue) const override;
    double Get(const std::string& key, double defaultValue) const override;
    std::string Get(const std::string& key, const std::string& defaultValue) const override;
    Json::Value Get(const std::string& key, const Json::Value& defaultValue) const override;

    bool Exists(const std::string& key, EDataType type) const override;
    std::unordered_set<std::string> GetAllConfigKeys() const override;

    void Set(const std::string& key, bool value) override;
    void Set(const std::string& key, unsigned int value) override;
    void Set(const std::string& key, unsigned long long value) override;
    void Set(const std::string& key, int value) override;
    void Set(const std::string& key, long long value) override;
    void Set(const std::string& key, float value) override;
    void Set(const std::string& key, double value) override;
    void Set(const std::string& key, const std::string& value) override;
    void Set(const std::string& key, const Json::Value& value) override;

    bool Restore(const std::string& key) override;
    bool HasChanged() override;
    void Reload() override;
    void Erase() override;
    unsigned int GetOverlayedFileSize() override;

private:
    template <typename T>
    TAMSEL_LOCAL T GetImpl(const std::string& key, const T& defaultValue) const;

    template <typename T>
    TAMSEL_LOCAL void SetImpl(const std::string& key, const T& value);

    TAMSEL_LOCAL const Json::Value* Find(const std::string& key) const;
    TAMSEL_LOCAL void Change(const std::string& key, const Json::Value& newValue);
    TAMSEL_LOCAL void WriteOverlay() const;

    const std::shared_ptr<IFileStream> m_overlayStream;
    const TConfigMap m_defaults;
    TConfigMap m_overlay;  // guarded by m_mutex
    const TChangeCallback m_callback;
    mutable std::shared_mutex m_mutex;
};

}  // namespace Tamsel
