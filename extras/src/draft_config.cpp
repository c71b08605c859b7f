// SPDX-License-Identifier: MIT
#include "draft_config.h"

namespace Tamsel::Extras {

CDraftConfig::CDraftConfig(const TConfigMap& defaults, std::string overlayText,
                           const std::string& path)
    : m_defaults(defaults),
      m_firstText(std::move(overlayText)),
      m_firstOverlay(ParseText(m_firstText, path)),
      m_overlay(m_firstOverlay) {}

const Json::Value* CDraftConfig::Find(const std::string& key) const {
    if (const auto found = m_overlay.find(key); found != m_overlay.end()) return &found->second;
    if (const auto found = m_defaults.find(key); found != m_defaults.end()) return &found->second;
    return nullptr;
}

bool CDraftConfig::Exists(const std::string& key, EDataType type) const {
    const Json::Value* const stored = Find(key);
    return stored != nullptr && JsonUtil::IsValueOfType(*stored, type);
}

std::unordered_set<std::string> CDraftConfig::GetAllConfigKeys() const {
    std::unordered_set<std::string> keys;
    for (const auto& [key, value] : m_defaults) keys.insert(key);
    for (const auto& [key, value] : m_overlay) keys.insert(key);
    return keys;
}

void CDraftConfig::Change(const std::string& key, const Json::Value& value) {
    RequireStorable(key, value);
    // As in `IConfig::Set`: equal in the overlay, or the equal default of a key not overridden.
    const Json::Value* const stored = Find(key);
    if (stored != nullptr && *stored == value) return;
    m_overlay[key] = value;
    m_changes.emplace_back(key, value);
}

bool CDraftConfig::Restore(const std::string& key) { return m_overlay.erase(key) != 0; }

void CDraftConfig::Reload() {
    m_overlay = m_firstOverlay;
    m_changes.clear();
}

void CDraftConfig::Erase() { m_overlay.clear(); }

unsigned int CDraftConfig::GetOverlayedFileSize() {
    return static_cast<unsigned int>(m_firstText.size());
}

std::string CDraftConfig::Text() const {
    return m_overlay == m_firstOverlay ? m_firstText : PrintText(m_overlay);
}

}  // namespace Tamsel::Extras
