// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <unordered_set>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/export.h>
#include <tamsel/iconfig.h>
#include <tamsel/ifile_stream.h>
#include <tamsel/types.h>

namespace Tamsel {

/// A configuration from one document, read once. See `IReadOnlyConfig` for its functions.
///
/// Immutable after construction and therefore thread-safe without a lock. It does not access the
/// file again, so later changes of the file have no effect.
class TAMSEL_API CStaticConfig : public IReadOnlyConfig {
public:
    /// Reads the whole document from `stream`, which must not be null, and does not keep it.
    ///
    /// \throws CInvalidConfig, Json::Exception as `JsonUtil::ReadConfig`
    explicit CStaticConfig(const std::shared_ptr<IInputFileStream>& stream);

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

private:
    const TConfigMap m_values;
};

}  // namespace Tamsel
