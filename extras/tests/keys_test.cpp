// SPDX-License-Identifier: MIT
#include <tamsel/extras/keys.h>

#include "support/extras_support.h"

namespace {

using Tamsel::Extras::TKey;

class KeysTest : public InTestFolder {};

enum class EMode { Dhcp, Fixed, Nameless };
constexpr auto EnumNames(EMode) {
    return std::array{std::pair{EMode::Dhcp, "dhcp"}, std::pair{EMode::Fixed, "fixed"}};
}

/// Stores values one after the other. Each is returned again, from the file too, and storing it a
/// second time is no change. Then the file has a wrong one.
template <typename T>
void ExpectStored(const std::vector<T>& values, const char* wrong, const std::string& expected) {
    const CHooked fast;
    const TKey<T> key("key");
    int changes = 0;
    const auto config = Tamsel::Extras::Open("unit", "", [&](auto&, auto&) { ++changes; });
    EXPECT_EQ(Find(*config, key), std::nullopt);
    for (const T& value : values) {
        changes = 0;
        Set(*config, key, value);
        config->Reload();
        Set(*config, key, value);
        EXPECT_EQ(changes, 1) << State();
        EXPECT_TRUE(Get(*config, key) == value && Find(*config, key) == value) << State();
    }
    PutText(Overlay, std::string("{\"key\":") + wrong + "}");
    config->Reload();
    EXPECT_EQ(Thrown([&] { Get(*config, key); }),
              "Tamsel::CTypeError: Config option with key 'key' is not " + expected);
    EXPECT_TRUE(Restore(*config, key));
    EXPECT_EQ(Get(*config, key), T{});
}

template <typename T>
void ExpectLimitsStored(const char* beyond, const std::string& expected) {
    ExpectStored<T>({std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest(), 5}, beyond,
                    expected);
}

TEST_F(KeysTest, StoreEveryType) {
    ExpectStored<bool>({true, false}, "1", "a Bool");
    ExpectLimitsStored<char>("\"a\"", std::is_signed_v<char> ? "a Int8" : "a Uint8");
    ExpectLimitsStored<std::int8_t>("128", "a Int8");
    ExpectLimitsStored<std::uint16_t>("65536", "a Uint16");
    ExpectLimitsStored<int>("-2147483649", "a Int32");
    ExpectLimitsStored<unsigned>("-1", "a Uint32");
    ExpectLimitsStored<long>("1e30", "a Int" + std::to_string(8 * sizeof(long)));
    ExpectLimitsStored<std::int64_t>("9223372036854775808", "a Int64");
    ExpectLimitsStored<unsigned long long>("18446744073709551616", "a Uint64");
    ExpectLimitsStored<float>("\"5\"", "a Float");
    ExpectStored<double>({0.1, 3.0, 1e300, 5e-324}, "true", "a Double");
    ExpectStored<std::string>({"attic", "", std::string("\0", 1)}, "5", "a String");
    ExpectStored<EMode>({EMode::Fixed, EMode::Dhcp}, "\"static\"", "one of dhcp fixed");
    ExpectStored<std::vector<bool>>({{true, false}, {}}, "[1]", "a list, each a Bool");
    ExpectStored<std::map<std::string, float>>({{{"x", 1.5F}}}, "{\"x\":\"\"}",
                                               "an object, each member a Float");
}

TEST_F(KeysTest, TextIsTextAndDefaultsAreTyped) {
    static constexpr TKey<std::string> Host{"host", "gateway"};
    static constexpr TKey<EMode> Mode{"mode", EMode::Fixed};
    const auto config = Open();
    EXPECT_EQ(Get(*config, Host), "gateway");
    EXPECT_EQ(Get(*config, Mode), EMode::Fixed);
    Set(*config, Host, "attic");
    EXPECT_EQ(config->Get("host", std::string()), "attic");
    EXPECT_THROW(Set(*config, Mode, EMode::Nameless), std::invalid_argument);
    PutText(Overlay, R"({"mode":null})");
    config->Reload();
    EXPECT_THROW((void)Find(*config, Mode), Tamsel::CTypeError);
}

}  // namespace
