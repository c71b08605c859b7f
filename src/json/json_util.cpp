// SPDX-License-Identifier: MIT
#include <tamsel/json_util.h>

#include <sstream>
#include <utility>

#include <json/reader.h>
#include <json/writer.h>

#include <tamsel/errors.h>

namespace Tamsel::JsonUtil {

namespace {

using TValue = Json::Value;

/// A row of the type table: jsoncpp's predicate and conversion, and the name in error messages.
template <bool (TValue::*IsOfType)() const, auto AsType>
struct STypeRow {
    const char* name;

    static bool Accepts(const TValue& value) { return (value.*IsOfType)(); }
    static auto Convert(const TValue& value) { return (value.*AsType)(); }
};

// The type table, the only place that defines which JSON values have which C++ type.
template <typename T>
constexpr auto Row = nullptr;
template <>
constexpr auto Row<bool> = STypeRow<&TValue::isBool, &TValue::asBool>{"Bool"};
template <>
constexpr auto Row<unsigned int> = STypeRow<&TValue::isUInt, &TValue::asUInt>{"Uint32"};
template <>
constexpr auto Row<unsigned long long> = STypeRow<&TValue::isUInt64, &TValue::asUInt64>{"Uint64"};
template <>
constexpr auto Row<int> = STypeRow<&TValue::isInt, &TValue::asInt>{"Int32"};
template <>
constexpr auto Row<long long> = STypeRow<&TValue::isInt64, &TValue::asInt64>{"Int64"};
template <>
constexpr auto Row<float> = STypeRow<&TValue::isDouble, &TValue::asDouble>{"Float"};
template <>
constexpr auto Row<double> = STypeRow<&TValue::isDouble, &TValue::asDouble>{"Double"};
template <>
constexpr auto Row<std::string> = STypeRow<&TValue::isString, &TValue::asString>{"String"};

[[noreturn]] void ThrowTypeError(const std::string& key, const char* typeName) {
    throw CTypeError("Config option with key '" + key + "' is not a " + typeName);
}

template <typename T>
T ConvertOrThrow(const std::string& key, const TValue& value) {
    if (!Row<T>.Accepts(value)) ThrowTypeError(key, Row<T>.name);
    return static_cast<T>(Row<T>.Convert(value));
}

TConfigMap ToMap(const TValue& root) {
    // Returns no names for null, and throws for anything else that is not an object.
    if (!root.isObject()) (void)root.getMemberNames();
    TConfigMap map;
    // jsoncpp sorts the members in the same order as the map, so each is inserted at the end.
    for (auto member = root.begin(); member != root.end(); ++member) {
        map.emplace_hint(map.end(), member.name(), *member);
    }
    return map;
}

}  // namespace

bool IsValueOfType(const TValue& value, EDataType type) {
    switch (type) {
        case EDataType::Any: return true;
        case EDataType::Bool: return Row<bool>.Accepts(value);
        case EDataType::Uint32: return Row<unsigned int>.Accepts(value);
        case EDataType::Uint64: return Row<unsigned long long>.Accepts(value);
        case EDataType::Int32: return Row<int>.Accepts(value);
        case EDataType::Int64: return Row<long long>.Accepts(value);
        case EDataType::Float: return Row<float>.Accepts(value);
        case EDataType::Double: return Row<double>.Accepts(value);
        case EDataType::String: return Row<std::string>.Accepts(value);
    }
    return false;
}

template <>
bool GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<bool>(key, value);
}

template <>
unsigned int GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<unsigned int>(key, value);
}

template <>
unsigned long long GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<unsigned long long>(key, value);
}

template <>
int GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<int>(key, value);
}

template <>
long long GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<long long>(key, value);
}

template <>
float GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<float>(key, value);
}

template <>
double GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<double>(key, value);
}

template <>
std::string GetValueAsType(const std::string& key, const TValue& value) {
    return ConvertOrThrow<std::string>(key, value);
}

template <>
TValue GetValueAsType(const std::string& /*key*/, const TValue& value) {
    return value;
}

TConfigMap ReadConfig(const std::shared_ptr<IInputFileStream>& stream) {
    std::string content;
    if (!stream->Read(content) || content.empty()) return {};
    std::stringstream text(content);
    TValue root;
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), text, &root, &errors)) {
        throw CInvalidConfig("Failed to read config file '" + stream->GetPath() +
                             "' with the following error:\n" + errors);
    }
    return ToMap(root);
}

void WriteConfig(const std::shared_ptr<IOutputFileStream>& stream, const TConfigMap& configMap) {
    TValue root;  // remains null, and is written as null, if there are no keys
    for (const auto& [key, value] : configMap) root[key] = value;
    std::stringstream text;
    text.exceptions(std::ios::badbit);  // or running out of memory would silently truncate the text
    text << root;
    if (!stream->Write(text.str())) {
        throw CInvalidConfig("Failed to write config file '" + stream->GetPath() + "'");
    }
}

}  // namespace Tamsel::JsonUtil
