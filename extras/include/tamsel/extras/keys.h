// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <json/value.h>

#include <tamsel/errors.h>
#include <tamsel/iconfig.h>

/// \file
/// Keys that are declared once, with type and default.
/// \code
/// inline constexpr Tamsel::Extras::TKey<std::uint16_t> Port{"port", 8080};
/// inline constexpr Tamsel::Extras::TKey<std::string> Host{"host", "gateway"};
/// inline constexpr Tamsel::Extras::TKey<std::vector<std::string>> Servers{"servers"};
///
/// std::uint16_t port = Get(*config, Port);
/// Set(*config, Host, "attic");
/// \endcode
///
/// The type is `bool`, any integer type on any target, `float`, `double`, `std::string`,
/// `Json::Value`, an enumeration with names, or a `std::vector<T>` or `std::map<std::string, T>` of
/// these. Literals, `const char*` and `std::string_view` are text; nothing becomes a `bool`.
///
/// An enumeration is stored by name, and needs a function `EnumNames` in its namespace:
/// \code
/// enum class EMode { Dhcp, Fixed };
/// constexpr auto EnumNames(EMode) {
///     return std::array{std::pair{EMode::Dhcp, "dhcp"}, std::pair{EMode::Fixed, "fixed"}};
/// }
/// \endcode
///
/// The functions work on every configuration, throw what its operations throw, and are thread-safe.

namespace Tamsel::Extras {

/// \cond
namespace Detail {

template <typename T>
constexpr bool IsInteger = std::is_integral_v<T> && !std::is_same_v<T, bool>;

template <typename T, typename = void>
constexpr bool HasNames = false;
template <typename T>
inline constexpr bool HasNames<T, std::void_t<decltype(EnumNames(T{}))>> = true;

/// How a type is stored: `From` a value to JSON; `To` a value from JSON, false when the JSON is of
/// another type or out of range; `Expected` for messages.
template <typename T, typename = void>
struct SStored {
    static_assert(!std::is_enum_v<T>, "TKey<T>: give the enumeration names, see EnumNames");
    static_assert(std::is_enum_v<T>,
                  "TKey<T>: T must be bool, an integer type, float, double, std::string, "
                  "Json::Value, an enumeration, or a vector or map<std::string, ...> of these");
};

template <>
struct SStored<bool> {
    static Json::Value From(bool value) { return Json::Value(value); }
    static bool To(const Json::Value& json, bool& value) {
        if (!json.isBool()) return false;
        value = json.asBool();
        return true;
    }
    static std::string Expected() { return "a Bool"; }
};

template <typename T>
struct SStored<T, std::enable_if_t<IsInteger<T>>> {
    using TLimits = std::numeric_limits<T>;

    // The parser reads every integer that fits as a signed one, and only equals are equal.
    static Json::Value From(T value) {
        if (value > T{} && static_cast<Json::UInt64>(value) > Json::UInt64{Json::Value::maxInt64}) {
            return Json::Value(static_cast<Json::UInt64>(value));
        }
        return Json::Value(static_cast<Json::Int64>(value));
    }
    static bool To(const Json::Value& json, T& value) {
        if constexpr (TLimits::is_signed) {
            if (!json.isInt64() || json.asInt64() < TLimits::min()) return false;
            if (json.asInt64() > TLimits::max()) return false;
            value = static_cast<T>(json.asInt64());
        } else {
            if (!json.isUInt64() || json.asUInt64() > TLimits::max()) return false;
            value = static_cast<T>(json.asUInt64());
        }
        return true;
    }
    static std::string Expected() {
        return (TLimits::is_signed ? "a Int" : "a Uint") + std::to_string(8 * sizeof(T));
    }
};

template <typename T>
struct SStored<T, std::enable_if_t<std::is_floating_point_v<T> && sizeof(T) <= sizeof(double)>> {
    static Json::Value From(T value) { return Json::Value(static_cast<double>(value)); }
    static bool To(const Json::Value& json, T& value) {
        if (!json.isDouble()) return false;
        value = static_cast<T>(json.asDouble());
        return std::isinf(value) == std::isinf(json.asDouble());
    }
    static std::string Expected() { return std::is_same_v<T, float> ? "a Float" : "a Double"; }
};

template <>
struct SStored<std::string> {
    static Json::Value From(std::string_view value) {
        return Json::Value(value.data(), value.data() + value.size());
    }
    static bool To(const Json::Value& json, std::string& value) {
        if (!json.isString()) return false;
        value = json.asString();
        return true;
    }
    static std::string Expected() { return "a String"; }
};

template <>
struct SStored<Json::Value> {
    static Json::Value From(const Json::Value& value) { return value; }
    static bool To(const Json::Value& json, Json::Value& value) {
        value = json;
        return true;
    }
    static std::string Expected() { return "a value"; }
};

template <typename T>
struct SStored<T, std::enable_if_t<std::is_enum_v<T> && HasNames<T>>> {
    /// \throws std::invalid_argument the value has no name
    static Json::Value From(T value) {
        for (const auto& [each, name] : EnumNames(T{})) {
            if (each == value) return SStored<std::string>::From(name);
        }
        throw std::invalid_argument("An enumerator without a name cannot be stored");
    }
    static bool To(const Json::Value& json, T& value) {
        for (const auto& [each, name] : EnumNames(T{})) {
            if (!json.isString() || json.asString() != name) continue;
            value = each;
            return true;
        }
        return false;
    }
    static std::string Expected() {
        std::string names = "one of";
        for (const auto& [each, name] : EnumNames(T{})) names += ' ' + std::string(name);
        return names;
    }
};

template <typename T>
struct SStored<std::vector<T>> {
    static Json::Value From(const std::vector<T>& values) {
        Json::Value json(Json::arrayValue);
        for (const T& value : values) json.append(SStored<T>::From(value));
        return json;
    }
    static bool To(const Json::Value& json, std::vector<T>& values) {
        if (!json.isArray()) return false;
        for (const Json::Value& element : json) {
            T value{};
            if (!SStored<T>::To(element, value)) return false;
            values.push_back(std::move(value));
        }
        return true;
    }
    static std::string Expected() { return "an array, each " + SStored<T>::Expected(); }
};

template <typename T>
struct SStored<std::map<std::string, T>> {
    static Json::Value From(const std::map<std::string, T>& values) {
        Json::Value json(Json::objectValue);
        for (const auto& [name, value] : values) json[name] = SStored<T>::From(value);
        return json;
    }
    static bool To(const Json::Value& json, std::map<std::string, T>& values) {
        if (!json.isObject()) return false;
        for (auto member = json.begin(); member != json.end(); ++member) {
            if (!SStored<T>::To(*member, values[member.name()])) return false;
        }
        return true;
    }
    static std::string Expected() { return "an object, each member " + SStored<T>::Expected(); }
};

/// A value of `T` that can be a constant: text as a view; none for the types that allocate.
struct SEmpty {};
template <typename T>
using TDefault = std::conditional_t<std::is_same_v<T, std::string>, std::string_view,
                                    std::conditional_t<std::is_trivially_copyable_v<T>, T, SEmpty>>;

template <typename T>
Json::Value DefaultOf(const TDefault<T>& value) {
    if constexpr (std::is_same_v<TDefault<T>, SEmpty>) {
        return SStored<T>::From(T{});
    } else {
        return SStored<T>::From(value);
    }
}

template <typename T>
T FromJson(const std::string& key, const Json::Value& json) {
    T value{};
    if (SStored<T>::To(json, value)) return value;
    throw CTypeError("Config option with key '" + key + "' is not " + SStored<T>::Expected());
}

/// How a value of `T` is passed; not deduced, so that the key alone chooses the type.
template <typename T>
struct SParameter {
    using TType = std::conditional_t<std::is_same_v<T, std::string>, std::string_view, T>;
};

}  // namespace Detail
/// \endcond

/// The name of a key, with the type and the default of its value. A constant: it refers to the name
/// and to a text default, which must outlive it, as literals do. The default of a vector, a map or
/// a `Json::Value` is empty.
template <typename T>
struct TKey {
    static_assert(sizeof(Detail::SStored<T>) != 0);

    /// A key of this name; the default is `T{}` unless given.
    constexpr explicit TKey(std::string_view keyName, Detail::TDefault<T> keyDefault = {})
        : name(keyName), defaultValue(keyDefault) {}

    std::string_view name;             ///< the key, as for `IConfig::Get`
    Detail::TDefault<T> defaultValue;  ///< returned by `Get` when there is no stored value
};

/// Returns the stored value, or the key's default when there is none.
///
/// \throws CTypeError the stored value is of another type, is out of range for `T`, or is not the
/// name of an enumerator
template <typename T>
T Get(const IReadOnlyConfig& config, const TKey<T>& key) {
    const std::string name(key.name);
    return Detail::FromJson<T>(name, config.Get(name, Detail::DefaultOf<T>(key.defaultValue)));
}

/// Returns the stored value, or nothing when there is none, whatever the key's default.
///
/// \throws CTypeError as `Get`
template <typename T>
std::optional<T> Find(const IReadOnlyConfig& config, const TKey<T>& key) {
    const std::string name(key.name);
    const Json::Value json = config.Get(name, Json::Value());
    if (json.isNull() && !config.Exists(name, EDataType::Any)) return std::nullopt;
    return Detail::FromJson<T>(name, json);
}

/// Stores a value, as `IConfig::Set` does. Integers are stored as they are read from a file, so
/// setting the stored value again has no effect.
///
/// \throws std::invalid_argument `value` is an enumerator without a name; nothing has changed
template <typename T>
void Set(IConfig& config, const TKey<T>& key, const typename Detail::SParameter<T>::TType& value) {
    config.Set(std::string(key.name), Detail::SStored<T>::From(value));
}

/// Removes the key from the overlay, as `IConfig::Restore` does, so that it has its default again.
/// Returns true if the overlay contained the key.
template <typename T>
bool Restore(IConfig& config, const TKey<T>& key) {
    return config.Restore(std::string(key.name));
}

}  // namespace Tamsel::Extras
