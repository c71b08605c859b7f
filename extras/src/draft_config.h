// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <string>
#include <unordered_set>
#include <utility>

#include <tamsel/iconfig.h>
#include <tamsel/json_util.h>

#include "document_text.h"

namespace Tamsel::Extras {

/// The configuration that `Transact` passes to its function: two maps in memory. Not thread-safe.
class CDraftConfig final : public IConfig {
public:
    /// \throws as `JsonUtil::ReadConfig`; `defaults` must outlive this object
    CDraftConfig(const TConfigMap& defaults, std::string overlayText, const std::string& path);

    bool Get(const std::string& key, bool defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    unsigned int Get(const std::string& key, unsigned int defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    unsigned long long Get(const std::string& key, unsigned long long defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    int Get(const std::string& key, int defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    long long Get(const std::string& key, long long defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    float Get(const std::string& key, float defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    double Get(const std::string& key, double defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    std::string Get(const std::string& key, const std::string& defaultValue) const override {
        return GetImpl(key, defaultValue);
    }
    Json::Value Get(const std::string& key, const Json::Value& defaultValue) const override {
        return GetImpl(key, defaultValue);
    }

    void Set(const std::string& key, bool value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, unsigned int value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, unsigned long long value) override {
        Change(key, ToJson(value));
    }
    void Set(const std::string& key, int value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, long long value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, float value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, double value) override { Change(key, ToJson(value)); }
    void Set(const std::string& key, const std::string& value) override {
        Change(key, ToJson(value));
    }
    void Set(const std::string& key, const Json::Value& value) override {
        Change(key, ToJson(value));
    }

    bool Exists(const std::string& key, EDataType type) const override;
    std::unordered_set<std::string> GetAllConfigKeys() const override;
    bool Restore(const std::string& key) override;
    bool HasChanged() override { return false; }
    void Reload() override;
    void Erase() override;
    unsigned int GetOverlayedFileSize() override;

    /// The overlay's text; the original one if nothing has changed.
    std::string Text() const;

    /// The effective calls of `Set` so far, in order.
    const std::list<std::pair<std::string, Json::Value>>& Changes() const { return m_changes; }

private:
    template <typename T>
    T GetImpl(const std::string& key, const T& defaultValue) const {
        const Json::Value* const stored = Find(key);
        return stored != nullptr ? JsonUtil::GetValueAsType<T>(key, *stored) : defaultValue;
    }

    const Json::Value* Find(const std::string& key) const;
    void Change(const std::string& key, const Json::Value& value);

    const TConfigMap& m_defaults;
    const std::string m_firstText;
    const TConfigMap m_firstOverlay;
    TConfigMap m_overlay;
    std::list<std::pair<std::string, Json::Value>> m_changes;
};

}  // namespace Tamsel::Extras
