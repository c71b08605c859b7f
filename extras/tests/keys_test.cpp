// SPDX-License-Identifier: MIT
#include <tamsel/extras/keys.h>

#include <gtest/gtest.h>

#include <cstdint>

#include "support/unit.h"

namespace {

using Tamsel::Extras::TKey;

enum class EMode { Dhcp, Fixed, Nameless };
constexpr auto EnumNames(EMode) {
    return std::array{std::pair{EMode::Dhcp, "dhcp"}, std::pair{EMode::Fixed, "fixed"}};
}

/// Stores values one after the other. Each is answered again, from the file too, and storing it a
/// second time is no change.
template <typename T>
void ExpectKept(const std::vector<T>& values, const char* wrong, const std::string& expected) {
    const CUnit unit;
    const CHooked fast;
    const TKey<T> key("key");
    int changes = 0;
    const auto config = unit.Open([&](auto&, auto&) { ++changes; });
    EXPECT_EQ(Find(*config, key), std::nullopt);
    for (const T& value : values) {
        changes = 0;
        Set(*config, key, value);
        config->Reload();
        Set(*config, key, value);
        EXPECT_EQ(changes, 1) << unit.State();
        EXPECT_TRUE(Get(*config, key) == value && Find(*config, key) == value) << unit.State();
    }
    unit.Copy(std::string("{\"key\":") + wrong + "}");
    config->Reload();
    try {
        (void)Get(*config, key);
        ADD_FAILURE() << expected << " from " << wrong;
    } catch (const Tamsel::CTypeError& error) {
        EXPECT_EQ(error.what(), "Config option with key 'key' is not " + expected);
    }
    EXPECT_TRUE(Restore(*config, key));
    EXPECT_EQ(Get(*config, key), T{});
}

template <typename T>
void ExpectLimits(const char* beyond, const std::string& expected) {
    using TLimits = std::numeric_limits<T>;
    ExpectKept<T>({TLimits::max(), TLimits::lowest(), 5}, beyond, expected);
}

TEST(KeysTest, EveryTypeIsKept) {
    ExpectKept<bool>({true, false}, "1", "a Bool");
    ExpectLimits<char>("\"a\"", std::is_signed_v<char> ? "a Int8" : "a Uint8");
    ExpectLimits<std::int8_t>("128", "a Int8");
    ExpectLimits<std::uint8_t>("256", "a Uint8");
    ExpectLimits<std::int16_t>("-32769", "a Int16");
    ExpectLimits<std::uint16_t>("-1", "a Uint16");
    ExpectLimits<int>("2147483648", "a Int32");
    ExpectLimits<unsigned>("4294967296", "a Uint32");
    ExpectLimits<long>("1e30", "a Int" + std::to_string(8 * sizeof(long)));
    ExpectLimits<std::int64_t>("9223372036854775808", "a Int64");
    ExpectLimits<unsigned long long>("18446744073709551616", "a Uint64");
    ExpectLimits<float>("\"5\"", "a Float");
    ExpectKept<double>({0.1, 3.0, 1e300, -0.0, 5e-324}, "true", "a Double");
    ExpectKept<std::string>({"attic", "", std::string("\0", 1)}, "5", "a String");
    ExpectKept<EMode>({EMode::Fixed, EMode::Dhcp}, "\"static\"", "one of dhcp fixed");
    ExpectKept<std::vector<bool>>({{true, false}, {}}, "[true, 1]", "a list, each a Bool");
    ExpectKept<std::map<std::string, std::vector<int>>>(
        {{{"x", {1}}, {"y", {}}}}, "{\"x\": 5}", "an object, each member a list, each a Int32");
}

TEST(KeysTest, TextIsTextAndTheKeyHasItsDefault) {
    static constexpr TKey<std::string> Host{"host", "gateway"};
    static constexpr TKey<std::uint16_t> Port{"port", 8080};
    static constexpr TKey<EMode> Mode{"mode", EMode::Fixed};
    const CUnit unit;
    const auto config = unit.Open();
    EXPECT_EQ(Get(*config, Host) + std::to_string(Get(*config, Port)), "gateway8080");
    EXPECT_EQ(Get(*config, Mode), EMode::Fixed);
    Set(*config, Host, "attic");
    EXPECT_EQ(config->Get("host", std::string()), "attic");
    Set(*config, Host, std::string_view("cellar", 4));
    EXPECT_EQ(Find(*config, Host), "cell");
    EXPECT_THROW(Set(*config, Mode, EMode::Nameless), std::invalid_argument);
    EXPECT_EQ(unit.State(), R"({"host":"cell"})");
    unit.Copy(R"({"mode": null})");
    config->Reload();
    EXPECT_THROW((void)Find(*config, Mode), Tamsel::CTypeError);
}

}  // namespace
