// SPDX-License-Identifier: MIT
#include <tamsel/json_util.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <locale>

#include <tamsel/errors.h>

#include "memory_stream.h"
#include "support/cases.h"
#include "support/json_text.h"

using namespace Tamsel;

namespace {

template <typename T>
std::string Ask(const Json::Value& value) {
    std::ostringstream answer;
    answer.precision(17);
    answer << std::boolalpha << JsonUtil::GetValueAsType<T>("volume", value);
    return answer.str();
}

const struct {
    EDataType type;
    const char* name;
    std::string (*ask)(const Json::Value&);
} Types[] = {
    {EDataType::Bool, "Bool", Ask<bool>},
    {EDataType::Uint32, "Uint32", Ask<unsigned int>},
    {EDataType::Uint64, "Uint64", Ask<unsigned long long>},
    {EDataType::Int32, "Int32", Ask<int>},
    {EDataType::Int64, "Int64", Ask<long long>},
    {EDataType::Float, "Float", Ask<float>},
    {EDataType::Double, "Double", Ask<double>},
    {EDataType::String, "String", Ask<std::string>},
};

template <typename T, typename = void>
constexpr bool IsOffered = false;
template <typename T>
constexpr bool IsOffered<T, std::void_t<decltype(JsonUtil::GetValueAsType<T>("", {}))>> = true;
static_assert(IsOffered<int> && IsOffered<Json::Value> && !IsOffered<long> && !IsOffered<char>);

/// Reads the document: its members, or the kind of error, whose text must be whole.
std::string Load(const std::shared_ptr<CMemoryStream>& stream, TConfigMap& map) {
    try {
        map = JsonUtil::ReadConfig(stream);
        std::string members;
        for (const auto& [key, value] : map) {
            members += (members.empty() ? "" : " ") + Unquoted(OneLine(key)) + "=" + OneLine(value);
        }
        return members;
    } catch (const CInvalidConfig& error) {
        EXPECT_EQ(error.what(), "Failed to read config file 'memory' with the following error:\n" +
                                    ParserText(stream->text));
        return "CInvalidConfig";
    } catch (const Json::LogicError&) {
        return "Json::LogicError";
    } catch (const Json::RuntimeError&) {
        return "Json::RuntimeError";
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

TEST(TypedValues, EachKindAnswersAsTheTypesItIs) {
    for (const auto& row : Cases<9>("values.txt")) {
        const Json::Value value = Parse(row[0]);
        for (std::size_t i = 0; i < std::size(Types); ++i) {
            std::string answer = "-";
            try {
                answer = Types[i].ask(value);
            } catch (const CTypeError& error) {
                const std::string expected = "Config option with key 'volume' is not a ";
                EXPECT_EQ(error.what(), expected + Types[i].name);
            }
            EXPECT_EQ(answer, row[i + 1]) << row[0] << " as " << Types[i].name;
            EXPECT_EQ(JsonUtil::IsValueOfType(value, Types[i].type), answer != "-") << row[0];
        }
        EXPECT_EQ(JsonUtil::GetValueAsType<Json::Value>("volume", value), value) << row[0];
        EXPECT_TRUE(JsonUtil::IsValueOfType(value, EDataType::Any)) << row[0];
        EXPECT_FALSE(JsonUtil::IsValueOfType(value, EDataType(9))) << row[0];
        EXPECT_FALSE(JsonUtil::IsValueOfType(value, EDataType(~0U))) << row[0];
    }
}

TEST(ConfigFile, TextBecomesAMapOrAnErrorAndAMapBecomesText) {
    for (const auto& [text, result, written] : Cases<3>("documents.txt")) {
        const auto stream = std::make_shared<CMemoryStream>(text);
        TConfigMap map;
        EXPECT_EQ(Load(stream, map), result) << text;
        EXPECT_EQ(stream->reads, 1) << text;
        EXPECT_EQ(stream->paths, result == "CInvalidConfig" ? 1 : 0) << "only for a message";
        if (written.empty()) continue;
        JsonUtil::WriteConfig(stream, map);
        EXPECT_EQ(stream->text, written);
        EXPECT_EQ(stream->writes, 1);
        EXPECT_EQ(JsonUtil::ReadConfig(stream), map) << written;
    }
}

TEST(ConfigFile, WhatARewriteOrALocaleLosesIsKnown) {
    struct SComma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale comma(std::locale::classic(), new SComma);
    Json::Value deep;
    for (int level = 0; level < 1000; ++level) {
        Json::Value outer;
        outer[0] = std::move(deep);
        deep = std::move(outer);
    }
    const struct {
        Json::Value value;
        const char* result;
        std::locale locale = std::locale::classic();
    } rows[] = {{NAN, "k=null"},
                {INFINITY, "CInvalidConfig"},
                {5U, "k=5"},
                {"a\xFFz", "k=\"a\\ufffdz\""},
                {deep, "Json::RuntimeError"},
                {2.5, "k=2.0", comma}};
    for (const auto& [value, result, locale] : rows) {
        const auto stream = std::make_shared<CMemoryStream>();
        TConfigMap readBack;
        const std::locale before = std::locale::global(locale);
        JsonUtil::WriteConfig(stream, {{"k", value}});
        EXPECT_EQ(Load(stream, readBack), result);
        EXPECT_NE(readBack["k"], value);
        std::locale::global(before);
    }
}

TEST(ConfigFile, WorstFilesKnownEndInAMapOrAnError) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TAMSEL_TEST_CASES "/../fuzz/corpus")) {
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
}
