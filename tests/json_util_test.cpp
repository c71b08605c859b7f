// SPDX-License-Identifier: MIT
#include <cmath>
#include <locale>

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

/// Returns a configuration file after it was read and written, or what is thrown.
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

TEST(ConfigFile, IsRewrittenSortedAndStyled) {
    EXPECT_EQ(Rewritten(""), "null");
    EXPECT_EQ(Rewritten("{}"), "null");
    EXPECT_EQ(Rewritten(R"({"b":"x","B":{"":null}} behind)"),
              "{\n\t\"B\" : \n\t{\n\t\t\"\" : null\n\t},\n\t\"b\" : \"x\"\n}");
    EXPECT_EQ(Rewritten(R"({"a\u0000b":1e3,"a":0.1})"),
              "{\n\t\"a\" : 0.10000000000000001,\n\t\"a\\u0000b\" : 1000.0\n}");
    EXPECT_EQ(Rewritten("\357\273\277{\"a\":1,\"a\":+02}"), "{\n\t\"a\" : 2.0\n}");
    EXPECT_EQ(Rewritten("//lost\n{\n// kept\n\"a\":1,} //lost"), "{\n\t// kept\n\t\"a\" : 1\n}");
    // Latin-1 also alters the characters next to it.
    EXPECT_EQ(Rewritten("{\"a\":\"caf\351 au lait\"}"), "{\n\t\"a\" : \"caf\\u9821u lait\"\n}");
}

TEST(ConfigFile, IsRejectedWithTheParsersText) {
    const std::string invalid =
        "Tamsel::CInvalidConfig: Failed to read config file 'memory' with the following error:\n";
    EXPECT_EQ(Rewritten("{"),
              invalid + "* Line 1, Column 2\n  Missing '}' or object member name\n");
    EXPECT_EQ(Rewritten(" "),
              invalid + "* Line 1, Column 2\n  Syntax error: value, object or array expected.\n");
    const std::string noObject =
        "Json::LogicError: in Json::Value::getMemberNames(), value must be objectValue";
    EXPECT_EQ(Rewritten("[]"), noObject);
    EXPECT_EQ(Rewritten("5"), noObject);
}

TEST(ConfigFile, CanContainWhatCannotBeReadAgain) {
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

TEST(ConfigFile, IsNeverTruncatedWhenOutOfMemory) {
    const TConfigMap map = {{"a", std::string(2000, 'a')}, {"b", std::string(3000, 'b')}};
    const auto stream = std::make_shared<Extras::CMemoryStream>();
    std::string thrown = "something";
    for (int number = 1; !thrown.empty(); ++number) {
        thrown = InjectFault([&] { WriteConfig(stream, map); }, "new", 0, number).thrown;
        EXPECT_EQ(stream->text.size(), thrown.empty() ? 5024U : 0U) << "allocation " << number;
    }
}

TEST(ConfigFile, OfTheCorpusIsReadOrRejected) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TAMSEL_TEST_DIRECTORY "/fuzz/corpus")) {
        const std::string text = TextOf(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    }
}
