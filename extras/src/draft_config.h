// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include <tamsel/iconfig.h>
#include <tamsel/json_util.h>

#include "document_text.h"
#include "typed_overloads.h"

namespace Tamsel::Extras {

/// A configuration over two maps, for one thread: changes stay in memory until somebody prints it.
class CDraftConfig final : public TForEachType<TGetOverloads, CDraftConfig,
                                               TForEachType<TSetOverloads, CDraftConfig, IConfig>> {
public:
    /// \throws as `JsonUtil::ReadConfig`; `defaults` must outlive this object
    CDraftConfig(const TConfigMap& defaults, std::string overlayText, const std::string& path);

    template <typename T>
    T GetAs(const std::string& key, const T& defaultValue) const {
        const Json::Value* const stored = Find(key);
        return stored != nullptr ? JsonUtil::GetValueAsType<T>(key, *stored) : defaultValue;
    }

    template <typename T>
    void SetAs(const std::string& key, const T& value) {
        Change(key, ToJson(value));
    }

    bool Exists(const std::string& key, EDataType type) const override;
    std::unordered_set<std::string> GetAllConfigKeys() const override;
    bool Restore(const std::string& key) override;
    bool HasChanged() override { return false; }
    void Reload() override;
    void Erase() override;
    unsigned int GetOverlayedFileSize() override;

    /// The overlay's text: the one it began with when nothing was changed.
    std::string Text() const;

    /// The effective calls of `Set` so far, in order.
    const std::vector<std::pair<std::string, Json::Value>>& Changes() const { return m_changes; }

private:
    const Json::Value* Find(const std::string& key) const;
    void Change(const std::string& key, const Json::Value& value);

    const TConfigMap& m_defaults;
    const std::string m_firstText;
    const TConfigMap m_firstOverlay;
    TConfigMap m_overlay;
    std::vector<std::pair<std::string, Json::Value>> m_changes;
};

}  // namespace Tamsel::Extras
