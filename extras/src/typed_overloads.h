// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <type_traits>

#include <json/value.h>

/// \file
/// The nine overloads of `Get` and of `Set`, each forwarded to one member template of the class
/// that derives from them, `GetAs` and `SetAs`. A base class for each type overrides one overload.

namespace Tamsel::Extras {

/// How an overload takes its value.
template <typename T>
using TArgument = std::conditional_t<std::is_arithmetic_v<T>, T, const T&>;

template <typename TSelf, typename TBase, typename... TNoValues>
class TGetOverloads : public TBase {
public:
    using TBase::TBase;
};

template <typename TSelf, typename TBase, typename TValue, typename... TRest>
class TGetOverloads<TSelf, TBase, TValue, TRest...> : public TGetOverloads<TSelf, TBase, TRest...> {
public:
    using TNext = TGetOverloads<TSelf, TBase, TRest...>;
    using TNext::Get;
    using TNext::TNext;
    TValue Get(const std::string& key, TArgument<TValue> defaultValue) const override {
        return static_cast<const TSelf*>(this)->template GetAs<TValue>(key, defaultValue);
    }
};

template <typename TSelf, typename TBase, typename... TNoValues>
class TSetOverloads : public TBase {
public:
    using TBase::TBase;
};

template <typename TSelf, typename TBase, typename TValue, typename... TRest>
class TSetOverloads<TSelf, TBase, TValue, TRest...> : public TSetOverloads<TSelf, TBase, TRest...> {
public:
    using TNext = TSetOverloads<TSelf, TBase, TRest...>;
    using TNext::Set;
    using TNext::TNext;
    void Set(const std::string& key, TArgument<TValue> value) override {
        static_cast<TSelf*>(this)->template SetAs<TValue>(key, value);
    }
};

template <template <typename, typename, typename...> class TOverloads, typename TSelf,
          typename TBase>
using TForEachType = TOverloads<TSelf, TBase, bool, unsigned int, unsigned long long, int,
                                long long, float, double, std::string, Json::Value>;

/// Returns the value as the library stores it. jsoncpp's own 64-bit types leave `long long`
/// ambiguous where `long` has 64 bits.
template <typename T>
Json::Value ToJson(const T& value) {
    if constexpr (std::is_same_v<T, long long>) {
        return Json::Value(Json::Int64{value});
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        return Json::Value(Json::UInt64{value});
    } else {
        return Json::Value(value);
    }
}

}  // namespace Tamsel::Extras
