// SPDX-License-Identifier: MIT
// Both stores, over streams in memory and over files, which must agree.
#include <tamsel/extras/memory_stream.h>

#include "support/fault_injection.h"
#include "support/test_support.h"

using namespace Tamsel;
using Extras::CMemoryStream;
using TKeys = std::unordered_set<std::string>;

namespace {

class Store : public testing::TestWithParam<bool> {
    const CTestFolder m_folder;

    static std::shared_ptr<IFileStream> MakeStream(const std::string& name) {
        if (GetParam()) return std::make_shared<CFileStream>(name);
        return std::make_shared<CMemoryStream>();
    }

protected:
    void Open(const std::string& defaultsText, const std::string& overlayText) {
        defaults->Write(defaultsText);
        overlay->Write(overlayText);
        overlay->HasChanged();
        OpenAgain();
    }

    void OpenAgain() {
        const auto tell = [this](const std::string& key, const Json::Value& value) {
            told += key + "=" + value.toStyledString();
            if (callback) callback();
        };
        config = std::make_shared<COverlayedConfig>(defaults, overlay, tell);
        told.clear();
    }

    Json::Value Get(const std::string& key) { return config->Get(key, Json::Value("none")); }

    Json::Value Overlay() {
        std::string text;
        overlay->Read(text);
        return Parse(text);
    }

    const std::shared_ptr<IFileStream> defaults = MakeStream("defaults");
    const std::shared_ptr<IFileStream> overlay = MakeStream("overlay");
    std::shared_ptr<IConfig> config;
    std::string told;                // to the change callback
    std::function<void()> callback;  // what it does beside
};

/// Asks for one that is held, one that is missing, and "null", which is of no type.
template <typename T>
void ExpectHeld(const IReadOnlyConfig& config, const std::string& key, EDataType type,
                const T& value, const T& other) {
    EXPECT_EQ(config.Get(key, other), value) << key;
    EXPECT_EQ(config.Get("missing", other), other) << key;
    EXPECT_THROW(config.Get("null", other), CTypeError) << key;
    EXPECT_TRUE(config.Exists(key, type)) << key;
    EXPECT_FALSE(config.Exists("missing", type)) << key;
    EXPECT_FALSE(config.Exists("null", type)) << key;
}

void ExpectEachType(const IReadOnlyConfig& config) {
    ExpectHeld(config, "bool", EDataType::Bool, true, false);
    ExpectHeld(config, "max", EDataType::Uint32, 4294967295U, 1U);
    ExpectHeld(config, "max", EDataType::Uint64, 4294967295ULL, 2ULL);
    ExpectHeld(config, "min", EDataType::Int32, -3, 3);
    ExpectHeld(config, "min", EDataType::Int64, -3LL, 4LL);
    ExpectHeld(config, "real", EDataType::Float, 0.1F, 5.5F);
    ExpectHeld(config, "real", EDataType::Double, 0.1, 6.5);
    ExpectHeld<std::string>(config, "text", EDataType::String, "x", "none");
    EXPECT_EQ(config.Get("null", Json::Value("none")), Json::Value());
    EXPECT_EQ(config.Get("missing", Json::Value("none")), "none");
    EXPECT_EQ(config.GetAllConfigKeys(), (TKeys{"bool", "max", "min", "real", "text", "null"}));
}

struct SChange {
    int line;
    const char *defaults, *overlay;
    std::function<void(IConfig&)> change;
    std::string after;  // what the overlay then holds; empty when it is not written
    std::string told = "";
};

const SChange Changes[] = {
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", true); }, R"({"k":true})", "k=true\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", ~0U); }, R"({"k":4294967295})",
     "k=4294967295\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", ~0ULL); }, R"({"k":18446744073709551615})",
     "k=18446744073709551615\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", -5); }, R"({"k":-5})", "k=-5\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", -(1LL << 62)); },
     R"({"k":-4611686018427387904})", "k=-4611686018427387904\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", 0.1F); }, R"({"k":0.10000000149011612})",
     "k=0.10000000149011612\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", 0.5); }, R"({"k":0.5})", "k=0.5\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("", std::string("x y")); }, R"({"":"x y"})",
     "=\"x y\"\n"},
    {__LINE__, "", "", [](IConfig& c) { c.Set("k", Json::Value()); }, R"({"k":null})", "k=null\n"},
    // Nothing happens over an equal default or override. Equality is jsoncpp's.
    {__LINE__, R"({"k":5})", "", [](IConfig& c) { c.Set("k", 5); }, ""},
    {__LINE__, R"({"k":5})", "", [](IConfig& c) { c.Set("k", 5U); }, R"({"k":5})", "k=5\n"},
    {__LINE__, R"({"k":0.5})", "", [](IConfig& c) { c.Set("k", 0.5F); }, ""},
    {__LINE__, R"({"k":5})", R"({"k":6,"z":1})", [](IConfig& c) { c.Set("k", 6); }, ""},
    {__LINE__, R"({"k":5})", R"({"k":6,"z":1})", [](IConfig& c) { c.Set("k", 5); },
     R"({"k":5,"z":1})", "k=5\n"},
    {__LINE__, R"({"k":5})", R"({"k":6,"z":1})", [](IConfig& c) { EXPECT_TRUE(c.Restore("k")); },
     R"({"z":1})"},
    {__LINE__, R"({"k":5})", R"({"z":1})", [](IConfig& c) { EXPECT_FALSE(c.Restore("k")); }, ""},
    {__LINE__, R"({"k":5})", R"({"k":6,"z":1})", [](IConfig& c) { c.Erase(); }, "null"},
    {__LINE__, "", "", [](IConfig& c) { c.Erase(); }, "null"},
};

static_assert(std::is_same_v<decltype(std::declval<IConfig&>().Get("k", "text")), bool>,
              "the headers warn of this, and would warn in vain");

}  // namespace

TEST_P(Store, AnswersEachTypeFromEitherLayer) {
    const std::string some = R"({"bool":true,"max":4294967295,"min":-3})";
    const std::string others = R"({"real":0.1,"text":"x","null":null,"max":4294967295})";
    Open(some, others);
    ExpectEachType(*config);
    Open(others, some);
    ExpectEachType(*config);
    Open(R"({"bool":true,"max":4294967295,"min":-3,"real":0.1,"text":"x","null":null})", "");
    const CStaticConfig fixed(defaults);
    defaults->Write("");
    ExpectEachType(fixed);
}

TEST_P(Store, WritesAndTellsOfAChangeAlone) {
    for (const SChange& row : Changes) {
        const testing::ScopedTrace trace(__FILE__, row.line, "this change");
        Open(row.defaults, row.overlay);
        row.change(*config);
        EXPECT_EQ(Overlay(), Parse(row.after.empty() ? row.overlay : row.after));
        EXPECT_EQ(config->HasChanged(), !row.after.empty());
        EXPECT_EQ(told, row.told);
        const Json::Value now = Get("k");
        OpenAgain();
        EXPECT_TRUE(Get("k") == now || now.isUInt64()) << now << Get("k");
    }
}

TEST(StoreOverAFailingStream, KeepsAChangeInMemoryAndWritesItWithTheNext) {
    for (const SChange& row : Changes) {
        const testing::ScopedTrace trace(__FILE__, row.line, "this change");
        const auto overlay = std::make_shared<CMemoryStream>(row.overlay);
        COverlayedConfig config(std::make_shared<CMemoryStream>(row.defaults), overlay, nullptr);
        overlay->failNext = true;
        const std::string thrown = Thrown([&] { row.change(config); });
        EXPECT_EQ(overlay->text, row.overlay);
        overlay->failNext = false;
        config.Set("next", 1);
        Json::Value after = Parse(row.after.empty() ? row.overlay : row.after);
        after["next"] = 1;
        EXPECT_EQ(Parse(overlay->text), after);
        EXPECT_EQ(thrown, row.after.empty()
                              ? ""
                              : "Tamsel::CInvalidConfig: Failed to write config file 'memory'");
    }
}

TEST_P(Store, ReloadsTheOverlayAlone) {
    const struct {
        int line;
        std::string overlay, thrown, value;
    } rows[] = {
        {__LINE__, R"({"k":3})", "", "3"},
        {__LINE__, "", "", "1"},
        {__LINE__, R"({"k":)", "Tamsel::CInvalidConfig", "2"},
        {__LINE__, "[1]", "Json::LogicError", "2"},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.overlay);
        Open(R"({"k":1})", R"({"k":2})");
        defaults->Write(R"({"k":9})");
        overlay->Write(row.overlay);
        EXPECT_EQ(Get("k"), 2);
        EXPECT_EQ(config->GetOverlayedFileSize(), row.overlay.size());
        const std::string thrown = Thrown([this] { config->Reload(); });
        EXPECT_EQ(thrown.substr(0, thrown.find(": ")), row.thrown);
        EXPECT_EQ(Get("k"), Parse(row.value));
        EXPECT_EQ(told, "");
    }
}

TEST_P(Store, UndoesWhatOthersWroteUnlessItIsReadBefore) {
    Open("", "");
    overlay->Write("{\n// kept\n\"theirs\":1,\n// lost\n\"ours\":1}");
    config->Reload();
    config->Set("ours", 2);
    std::string text;
    overlay->Read(text);
    EXPECT_EQ(text, "{\n\t\"ours\" : 2,\n\t// kept\n\t\"theirs\" : 1\n}");
    overlay->Write(R"({"theirs":2})");
    config->Set("ours", 3);
    EXPECT_EQ(Overlay(), Parse(R"({"ours":3,"theirs":1})"));
}

TEST_P(Store, TakesARepeatedUnsignedNumberForAChangeAfterAReload) {
    Open("", "");
    config->Set("k", 5U);
    config->Set("k", 5U);
    EXPECT_EQ(told, "k=5\n");
    config->Reload();
    config->Set("k", 5U);
    EXPECT_EQ(told, "k=5\nk=5\n");
}

TEST_P(Store, KeepsAChangeInMemoryWhenItsCallbackThrows) {
    Open("", "");
    callback = [] { throw std::runtime_error("thrown"); };
    EXPECT_EQ(Thrown([this] { config->Set("k", 1); }), "std::runtime_error: thrown");
    EXPECT_EQ(Overlay(), Json::Value());
    EXPECT_EQ(Get("k"), 1);
    callback = nullptr;
    config->Set("next", 1);
    EXPECT_EQ(Overlay(), Parse(R"({"k":1,"next":1})"));
}

TEST(StoreOverStreams, TakesItsLockSharedToAnswerAndAloneToChangeAndNeverTwice) {
    std::shared_ptr<IConfig> config;
    const struct {
        int line;
        std::function<void()> call;
        std::string locks;
    } rows[] = {
        {__LINE__, [&] { config->Get("k", 0); }, "rdlock rwunlock"},
        {__LINE__, [&] { config->Exists("k", EDataType::Any); }, "rdlock rwunlock"},
        {__LINE__, [&] { config->GetAllConfigKeys(); }, "wrlock rwunlock"},
        {__LINE__, [&] { config->Set("k", 1); }, "wrlock rwunlock"},
        {__LINE__, [&] { config->Restore("k"); }, "wrlock rwunlock"},
        {__LINE__, [&] { config->Erase(); }, "wrlock rwunlock"},
        {__LINE__, [&] { config->Reload(); }, "wrlock rwunlock"},
        {__LINE__, [&] { config->HasChanged(); }, ""},
        {__LINE__, [&] { config->GetOverlayedFileSize(); }, ""},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, "this call");
        const auto stream = std::make_shared<CMemoryStream>();
        const auto callBack = [&](auto&, auto& value) { value.isBool() ? row.call() : void(); };
        config = std::make_shared<COverlayedConfig>(stream, stream, callBack);
        EXPECT_EQ(InjectFault(row.call).calls, row.locks);
        EXPECT_EQ(Thrown([&] { config->Set("k", true); }),
                  row.locks.empty() ? "" : "std::system_error: Resource deadlock avoided");
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, Store, testing::Bool(), [](const auto& isOnDisk) {
    return std::string(isOnDisk.param ? "OnDisk" : "InMemory");
});
