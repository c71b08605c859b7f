// SPDX-License-Identifier: MIT
#include <tamsel/extras/keys.h>

#include "support/extras_support.h"

namespace {

using Tamsel::Extras::TKey;

class Keys : public InTestDirectory {};

enum class EMode { Dhcp, Fixed, Nameless };
constexpr auto EnumNames(EMode) {
    return std::array{std::pair{EMode::Dhcp, "dhcp"}, std::pair{EMode::Fixed, "fixed"}};
}

/// Stores each value: `Get` returns it, and storing it again after a `Reload` has no effect. Then
/// the file contains one of another type.
template <typename T>
void ExpectStored(const std::vector<T>& values, const char* wrong, const std::string& expected) {
    const CHook fast;
    const TKey<T> key("key");
    int changes = 0;
    const auto config = Tamsel::Extras::Open("unit", "", [&](auto&, auto&) { ++changes; });
    EXPECT_EQ(Find(*config, key), std::nullopt);
    for (const T& value : values) {
        changes = 0;
        Set(*config, key, value), config->Reload(), Set(*config, key, value);
        EXPECT_TRUE(changes == 1 && Get(*config, key) == value && Find(*config, key) == value);
    }
    PutText(Overlay, std::string("{\"key\":") + wrong + "}");
    config->Reload();
    EXPECT_EQ(Thrown([&] { Get(*config, key); }),
              "Tamsel::CTypeError: Config option with key 'key' is not " + expected);
    EXPECT_TRUE(Restore(*config, key));
    EXPECT_EQ(Get(*config, key), T{});
}

template <typename T>
void ExpectLimits(const char* beyond, const std::string& expected) {
    using TLimits = std::numeric_limits<T>;
    ExpectStored<T>({TLimits::max(), TLimits::lowest(), 5}, beyond, expected);
}

TEST_F(Keys, StoreEveryType) {
    ExpectStored<bool>({true, false}, "1", "a Bool");
    ExpectLimits<char>("\"a\"", std::is_signed_v<char> ? "a Int8" : "a Uint8");
    ExpectLimits<std::int8_t>("128", "a Int8");
    ExpectLimits<std::uint16_t>("65536", "a Uint16");
    ExpectLimits<int>("-2147483649", "a Int32");
    ExpectLimits<long>("1e30", "a Int" + std::to_string(8 * sizeof(long)));
    ExpectLimits<unsigned long long>("-1", "a Uint64");
    ExpectLimits<float>("\"5\"", "a Float");
    ExpectStored<double>({0.1, 3.0, 1e300, 5e-324}, "true", "a Double");
    ExpectStored<std::string>({"attic", "", std::string("\0", 1)}, "5", "a String");
    ExpectStored<EMode>({EMode::Fixed, EMode::Dhcp}, "\"static\"", "one of dhcp fixed");
    ExpectStored<std::vector<bool>>({{true, false}, {}}, "[1]", "an array, each a Bool");
    using TMap = std::map<std::string, float>;
    ExpectStored<TMap>({{{"x", 1.5F}}}, "{\"x\":null}", "an object, each member a Float");
}

TEST_F(Keys, TextIsTextAndDefaultsAreTyped) {
    const auto config = Open();
    EXPECT_EQ(Get(*config, TKey<std::string>("host", "gateway")), "gateway");
    EXPECT_EQ(Get(*config, TKey<EMode>("mode", EMode::Fixed)), EMode::Fixed);
    Set(*config, TKey<std::string>("host"), "attic");
    EXPECT_EQ(config->Get("host", std::string()), "attic");
    EXPECT_THROW(Set(*config, TKey<EMode>("mode"), EMode::Nameless), std::invalid_argument);
    config->Set("mode", Json::Value());
    EXPECT_THROW((void)Find(*config, TKey<EMode>("mode")), Tamsel::CTypeError);
}

}  // namespace
