// SPDX-License-Identifier: MIT
#include <cmath>
#include <locale>
#include <sstream>

#include <tamsel/extras/memory_stream.h>

#include "support/fault_injection.h"
#include "support/test_support.h"

using namespace Tamsel;
using namespace Tamsel::JsonUtil;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

template <typename T, typename = void>
constexpr bool IsOffered = false;
template <typename T>
constexpr bool IsOffered<T, std::void_t<decltype(GetValueAsType<T>("", {}))>> = true;
static_assert(IsOffered<int> && IsOffered<Json::Value> && !IsOffered<long> && !IsOffered<char>);

/// A value as one type, or "-" when it is of another.
template <typename T>
std::string As(const Json::Value& value, EDataType type, const std::string& name) {
    std::ostringstream text;
    text.precision(17);
    const auto convert = [&] { text << std::boolalpha << GetValueAsType<T>("key", value); };
    const std::string error = Thrown(convert);
    EXPECT_EQ(IsValueOfType(value, type), error.empty()) << name;
    if (error.empty()) return text.str() + " ";
    EXPECT_EQ(error, "Tamsel::CTypeError: Config option with key 'key' is not a " + name);
    return "- ";
}

std::string AsEachType(const Json::Value& value) {
    return As<bool>(value, EDataType::Bool, "Bool") +
           As<unsigned int>(value, EDataType::Uint32, "Uint32") +
           As<unsigned long long>(value, EDataType::Uint64, "Uint64") +
           As<int>(value, EDataType::Int32, "Int32") +
           As<long long>(value, EDataType::Int64, "Int64") +
           As<float>(value, EDataType::Float, "Float") +
           As<double>(value, EDataType::Double, "Double") +
           As<std::string>(value, EDataType::String, "String");
}

/// What a configuration file holds after it was read and written, or what is thrown.
std::string Rewritten(const std::string& text) {
    const auto stream = std::make_shared<Extras::CMemoryStream>(text);
    const std::string thrown = Thrown([&] { WriteConfig(stream, ReadConfig(stream)); });
    return thrown.empty() ? stream->text : thrown;
}

/// A configuration file of one value, read back.
Json::Value ReadBack(const Json::Value& value) {
    const auto stream = std::make_shared<Extras::CMemoryStream>();
    WriteConfig(stream, {{"k", value}});
    return ReadConfig(stream).at("k");
}

Json::Value Nested(std::size_t levels) {
    return Parse(std::string(levels, '[') + std::string(levels, ']'));
}

}  // namespace

TEST(TypedValue, IsOfEachTypeWhoseRangeHoldsIt) {
    const struct {
        int line;
        const char *json, *answers;  // Bool, Uint32, Uint64, Int32, Int64, Float, Double, String
    } rows[] = {
        {__LINE__, "null", "- - - - - - - - "},
        {__LINE__, "true", "true - - - - - - - "},
        {__LINE__, "\"5\"", "- - - - - - - 5 "},
        {__LINE__, "1", "- 1 1 1 1 1 1 - "},
        {__LINE__, "-1", "- - - -1 -1 -1 -1 - "},
        {__LINE__, "3.0", "- 3 3 3 3 3 3 - "},
        {__LINE__, "0.1", "- - - - - 0.10000000149011612 0.10000000000000001 - "},
        {__LINE__, "2147483648", "- 2147483648 2147483648 - 2147483648 2147483648 2147483648 - "},
        {__LINE__, "4294967296", "- - 4294967296 - 4294967296 4294967296 4294967296 - "},
        {__LINE__, "18446744073709551615",
         "- - 18446744073709551615 - - 1.8446744073709552e+19 1.8446744073709552e+19 - "},
        {__LINE__, "1e39", "- - - - - inf 9.9999999999999994e+38 - "},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.json);
        const Json::Value value = Parse(row.json);
        EXPECT_EQ(AsEachType(value), row.answers);
        EXPECT_EQ(GetValueAsType<Json::Value>("key", value), value);
        EXPECT_TRUE(IsValueOfType(value, EDataType::Any));
        EXPECT_FALSE(IsValueOfType(value, EDataType(9)));
    }
}

TEST(ConfigFile, IsRewrittenSortedAndStyledOrRefused) {
    const std::string invalid =
        "Tamsel::CInvalidConfig: Failed to read config file 'memory' with the following error:\n";
    const std::string noObject =
        "Json::LogicError: in Json::Value::getMemberNames(), value must be objectValue";
    const struct {
        int line;
        std::string text, rewritten;
    } rows[] = {
        {__LINE__, "", "null"},
        {__LINE__, "null", "null"},
        {__LINE__, "{}", "null"},
        {__LINE__, R"({"b":"x","B":{"":null}} behind)",
         "{\n\t\"B\" : \n\t{\n\t\t\"\" : null\n\t},\n\t\"b\" : \"x\"\n}"},
        {__LINE__, R"({"a\u0000b":1e3,"a":0.1})",
         "{\n\t\"a\" : 0.10000000000000001,\n\t\"a\\u0000b\" : 1000.0\n}"},
        {__LINE__, "\357\273\277{\"a\":1,\"a\":+02}", "{\n\t\"a\" : 2.0\n}"},
        {__LINE__, "// lost\n{\n// kept\n\"a\":1,} // lost", "{\n\t// kept\n\t\"a\" : 1\n}"},
        // Latin-1 takes its neighbours with it.
        {__LINE__, "{\"a\":\"caf\351 au lait\"}", "{\n\t\"a\" : \"caf\\u9821u lait\"\n}"},
        {__LINE__, "{", invalid + "* Line 1, Column 2\n  Missing '}' or object member name\n"},
        {__LINE__, "{\n\"a\":1e+9999}",
         invalid + "* Line 2, Column 5\n  '1e+9999' is not a number.\n"},
        {__LINE__, " ",
         invalid + "* Line 1, Column 2\n  Syntax error: value, object or array expected.\n"},
        {__LINE__, "[]", noObject},
        {__LINE__, "5", noObject},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.text);
        EXPECT_EQ(Rewritten(row.text), row.rewritten);
    }
}

TEST(ConfigFile, CanHoldWhatCannotBeReadBack) {
    EXPECT_TRUE(ReadBack(std::nan("")).isNull());
    EXPECT_THROW(ReadBack(HUGE_VAL), CInvalidConfig);
    EXPECT_EQ(ReadBack(Nested(999)), Nested(999));
    EXPECT_THROW(ReadBack(Nested(1000)), Json::RuntimeError);
}

TEST(ConfigFile, LosesFractionsUnderADecimalComma) {
    struct SComma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale before = std::locale::global({std::locale::classic(), new SComma});
    EXPECT_EQ(Rewritten(R"({"k":2.5})"), "{\n\t\"k\" : 2.0\n}");
    std::locale::global(before);
}

TEST(ConfigFile, IsNeverCutShortByWantOfMemory) {
    const TConfigMap map = {{"a", std::string(2000, 'a')}, {"b", std::string(3000, 'b')}};
    const auto stream = std::make_shared<Extras::CMemoryStream>();
    std::string thrown = "something";
    for (int number = 1; !thrown.empty(); ++number) {
        thrown = InjectFault([&] { WriteConfig(stream, map); }, "new", 0, number).thrown;
        EXPECT_EQ(stream->text.size(), thrown.empty() ? 5024U : 0U) << "allocation " << number;
    }
}

TEST(ConfigFile, OfTheWorstKindsKnownEndsInAMapOrAnError) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TAMSEL_TEST_FOLDER "/fuzz/corpus")) {
        const std::string text = TextOf(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    }
}
