// SPDX-License-Identifier: MIT
#include <tamsel/json_util.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <locale>

#include <tamsel/errors.h>

#include "memory_stream.h"
#include "support/text.h"

using namespace Tamsel;

namespace {

template <typename T, typename = void>
constexpr bool IsOffered = false;
template <typename T>
constexpr bool IsOffered<T, std::void_t<decltype(JsonUtil::GetValueAsType<T>("", {}))>> = true;
static_assert(IsOffered<int> && IsOffered<Json::Value> && !IsOffered<long> && !IsOffered<char>);

/// The value that is read back for "k" from what was written, or why none is.
std::string ReadBack(const Json::Value& value) {
    const auto stream = std::make_shared<CMemoryStream>();
    JsonUtil::WriteConfig(stream, {{"k", value}});
    try {
        return OneLine(JsonUtil::ReadConfig(stream).at("k"));
    } catch (const CInvalidConfig&) {
        return "CInvalidConfig";
    } catch (const Json::RuntimeError&) {
        return "Json::RuntimeError";
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

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
    } rows[] = {{NAN, "null"},
                {INFINITY, "CInvalidConfig"},
                {5U, "5"},
                {"a\xFFz", R"("a\ufffdz")"},
                {deep, "Json::RuntimeError"},
                {2.5, "2.0", comma}};
    for (const auto& [value, result, locale] : rows) {
        const std::locale before = std::locale::global(locale);
        EXPECT_EQ(ReadBack(value), result);
        std::locale::global(before);
    }
}

TEST(ConfigFile, WorstFilesKnownEndInAMapOrAnError) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TAMSEL_TEST_FOLDER "/fuzz/corpus")) {
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
}
