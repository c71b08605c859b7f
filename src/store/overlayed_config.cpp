// SPDX-License-Identifier: MIT
#include <tamsel/overlayed_config.h>

#include <mutex>
#include <utility>

#include <tamsel/json_util.h>

namespace Tamsel {

namespace {

template <typename T>
Json::Value ToJson(const T& value) {
    return Json::Value(value);
}

// jsoncpp's 64-bit types are `long` where that has 64 bits, so plain conversion would be ambiguous.
Json::Value ToJson(unsigned long long value) { return Json::Value(Json::UInt64{value}); }
Json::Value ToJson(long long value) { return Json::Value(Json::Int64{value}); }

}  // namespace

COverlayedConfig::COverlayedConfig(const std::shared_ptr<IInputFileStream>& defaultsStream,
                                   const std::shared_ptr<IFileStream>& overlayStream,
                                   TChangeCallback callback)
    : m_overlayStream(overlayStream),
      m_defaults(JsonUtil::ReadConfig(defaultsStream)),
      m_overlay(JsonUtil::ReadConfig(overlayStream)),
      m_callback(std::move(callback)) {}

const Json::Value* COverlayedConfig::Find(const std::string& key) const {
    if (const auto found = m_overlay.find(key); found != m_overlay.end()) return &found->second;
    if (const auto found = m_defaults.find(key); found != m_defaults.end()) return &found->second;
    return nullptr;
}

template <typename T>
T COverlayedConfig::GetImpl(const std::string& key, const T& defaultValue) const {
    const std::shared_lock lock(m_mutex);
    const Json::Value* const stored = Find(key);
    return stored != nullptr ? JsonUtil::GetValueAsType<T>(key, *stored) : defaultValue;
}

bool COverlayedConfig::Get(const std::string& key, bool defaultValue) const {
    return GetImpl(key, defaultValue);
}

unsigned int COverlayedConfig::Get(const std::string& key, unsigned int defaultValue) const {
    return GetImpl(key, defaultValue);
}

unsigned long long COverlayedConfig::Get(const std::string& key,
                                         unsigned long long defaultValue) const {
    return GetImpl(key, defaultValue);
}

int COverlayedConfig::Get(const std::string& key, int defaultValue) const {
    return GetImpl(key, defaultValue);
}

long long COverlayedConfig::Get(const std::string& key, long long defaultValue) const {
    return GetImpl(key, defaultValue);
}

float COverlayedConfig::Get(const std::string& key, float defaultValue) const {
    return GetImpl(key, defaultValue);
}

double COverlayedConfig::Get(const std::string& key, double defaultValue) const {
    return GetImpl(key, defaultValue);
}

std::string COverlayedConfig::Get(const std::string& key, const std::string& defaultValue) const {
    return GetImpl(key, defaultValue);
}

Json::Value COverlayedConfig::Get(const std::string& key, const Json::Value& defaultValue) const {
    return GetImpl(key, defaultValue);
}

bool COverlayedConfig::Exists(const std::string& key, EDataType type) const {
    const std::shared_lock lock(m_mutex);
    const Json::Value* const stored = Find(key);
    return stored != nullptr && JsonUtil::IsValueOfType(*stored, type);
}

std::unordered_set<std::string> COverlayedConfig::GetAllConfigKeys() const {
    const std::unique_lock lock(m_mutex);
    std::unordered_set<std::string> keys;
    for (const auto& [key, value] : m_defaults) keys.insert(key);
    for (const auto& [key, value] : m_overlay) keys.insert(key);
    return keys;
}

void COverlayedConfig::WriteOverlay() const { JsonUtil::WriteConfig(m_overlayStream, m_overlay); }

/// Changes memory, calls the callback, then writes the file. If a step fails, the effects of the
/// previous ones remain.
void COverlayedConfig::Change(const std::string& key, const Json::Value& newValue) {
    const auto defaultEntry = m_defaults.find(key);
    const bool isDefault = defaultEntry != m_defaults.end() && defaultEntry->second == newValue;
    if (isDefault && m_overlay.count(key) == 0) return;

    const auto [entry, isNew] = m_overlay.try_emplace(key, newValue);
    if (!isNew) {
        if (entry->second == newValue) return;
        entry->second = newValue;
    }
    if (m_callback) m_callback(key, newValue);
    WriteOverlay();
}

template <typename T>
void COverlayedConfig::SetImpl(const std::string& key, const T& value) {
    const std::unique_lock lock(m_mutex);
    Change(key, ToJson(value));
}

void COverlayedConfig::Set(const std::string& key, bool value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, unsigned int value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, unsigned long long value) {
    SetImpl(key, value);
}

void COverlayedConfig::Set(const std::string& key, int value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, long long value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, float value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, double value) { SetImpl(key, value); }

void COverlayedConfig::Set(const std::string& key, const std::string& value) {
    SetImpl(key, value);
}

void COverlayedConfig::Set(const std::string& key, const Json::Value& value) {
    SetImpl(key, value);
}

bool COverlayedConfig::Restore(const std::string& key) {
    const std::unique_lock lock(m_mutex);
    if (m_overlay.erase(key) == 0) return false;
    WriteOverlay();
    return true;
}

bool COverlayedConfig::HasChanged() { return m_overlayStream->HasChanged(); }

void COverlayedConfig::Reload() {
    const std::unique_lock lock(m_mutex);
    // A failed read throws before the assignment, which leaves the overlay unchanged.
    m_overlay = JsonUtil::ReadConfig(m_overlayStream);
}

void COverlayedConfig::Erase() {
    const std::unique_lock lock(m_mutex);
    m_overlay.clear();
    WriteOverlay();
}

unsigned int COverlayedConfig::GetOverlayedFileSize() { return m_overlayStream->GetFileSize(); }

}  // namespace Tamsel
