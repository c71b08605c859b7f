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

/// A configuration of two layers: defaults, read once and never written, and over them an overlay
/// that holds the changes and is written at each of them. Its operations are those of `IConfig`.
///
/// One reader-writer lock guards both layers, so any threads may use one object at once. `Get` and
/// `Exists` hold it shared; `GetAllConfigKeys`, `Set`, `Restore`, `Erase` and `Reload` hold it
/// alone, file work and change callback included; `HasChanged` and `GetOverlayedFileSize` do not
/// take it. The lock is not recursive, and glibc's prefers readers: threads that ask without rest
/// can keep a change waiting without limit.
class TAMSEL_API COverlayedConfig : public IConfig {
public:
    /// Reads the defaults, then the overlay; writes nothing and calls nothing back. Keeps its share
    /// of `overlayStream` for life, and none of `defaultsStream`; neither may be empty. An empty
    /// `callback` is never called.
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
