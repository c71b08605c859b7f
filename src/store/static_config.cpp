// SPDX-License-Identifier: MIT
#include <tamsel/static_config.h>

#include <tamsel/json_util.h>

namespace Tamsel {

namespace {

template <typename T>
T LookUp(const TConfigMap& values, const std::string& key, const T& defaultValue) {
    const auto found = values.find(key);
    if (found == values.end()) return defaultValue;
    return JsonUtil::GetValueAsType<T>(key, found->second);
}

}  // namespace

CStaticConfig::CStaticConfig(const std::shared_ptr<IInputFileStream>& stream)
    : m_values(JsonUtil::ReadConfig(stream)) {}

bool CStaticConfig::Get(const std::string& key, bool defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

unsigned int CStaticConfig::Get(const std::string& key, unsigned int defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

unsigned long long CStaticConfig::Get(const std::string& key,
                                      unsigned long long defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

int CStaticConfig::Get(const std::string& key, int defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

long long CStaticConfig::Get(const std::string& key, long long defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

float CStaticConfig::Get(const std::string& key, float defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

double CStaticConfig::Get(const std::string& key, double defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

std::string CStaticConfig::Get(const std::string& key, const std::string& defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

Json::Value CStaticConfig::Get(const std::string& key, const Json::Value& defaultValue) const {
    return LookUp(m_values, key, defaultValue);
}

bool CStaticConfig::Exists(const std::string& key, EDataType type) const {
    const auto found = m_values.find(key);
    return found != m_values.end() && JsonUtil::IsValueOfType(found->second, type);
}

std::unordered_set<std::string> CStaticConfig::GetAllConfigKeys() const {
    std::unordered_set<std::string> keys;
    for (const auto& [key, value] : m_values) keys.insert(key);
    return keys;
}

}  // namespace Tamsel
