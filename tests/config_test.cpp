// SPDX-License-Identifier: MIT
// Both stores over documents in memory.
#include <gtest/gtest.h>

#include <functional>
#include <system_error>

#include <tamsel/overlayed_config.h>
#include <tamsel/static_config.h>

#include "memory_stream.h"
#include "support/cases.h"
#include "support/json_text.h"

using namespace Tamsel;

namespace {

/// An overlayed configuration over two documents in memory, and what its callback was told.
struct SOverlayed {
    std::shared_ptr<CMemoryStream> defaults;
    std::shared_ptr<CMemoryStream> overlay;
    std::string told;
    COverlayedConfig config;

    SOverlayed(const std::string& defaultsText, const std::string& overlayText)
        : defaults(std::make_shared<CMemoryStream>(defaultsText)),
          overlay(std::make_shared<CMemoryStream>(overlayText)),
          config(defaults, overlay, [this](const std::string& key, const Json::Value& value) {
              EXPECT_EQ(overlay->writes, 0) << "told before the write";
              told += key + "=" + OneLine(value);
          }) {}

    std::string Written() const {
        return overlay->writes == 0 ? "-" : OneLine(Parse(overlay->text));
    }
};

static_assert(std::is_same_v<decltype(std::declval<IConfig&>().Get("k", "text")), bool>,
              "the headers warn of this, and would warn in vain");

/// Every Get of "k", each with a default that no document holds.
std::string Answers(const IReadOnlyConfig& config) {
    std::ostringstream answers;
    const auto get = [&](const auto& defaultValue) {
        try {
            answers << config.Get("k", defaultValue) << " ";
        } catch (const std::logic_error& error) {
            answers << "! ";
        }
    };
    get(true), get(91U), get(92ULL), get(-93), get(-94LL), get(9.5F), get(9.6);
    get(std::string("none"));
    answers << OneLine(config.Get("k", Json::Value("none")));
    return answers.str();
}

/// Calls the operation that a table names, with the key "k". `Restore` alone can tell false.
bool Act(IConfig& config, const std::string& call) {
    std::istringstream words(call);
    std::string operation, type, text;
    std::getline(words >> operation >> type >> std::ws, text);
    if (operation == "Restore") return config.Restore("k");
    if (operation == "Erase") config.Erase();
    if (operation == "Reload") config.Reload();
    if (operation == "HasChanged") config.HasChanged();
    if (type == "Bool") config.Set("k", text == "true");
    if (type == "Uint32") config.Set("k", static_cast<unsigned int>(std::stoul(text)));
    if (type == "Uint64") config.Set("k", std::stoull(text));
    if (type == "Int32") config.Set("k", std::stoi(text));
    if (type == "Int64") config.Set("k", std::stoll(text));
    if (type == "Float") config.Set("k", std::stof(text));
    if (type == "Double") config.Set("k", std::stod(text));
    if (type == "String") config.Set("k", text);
    if (type == "Json") config.Set("k", Parse(text));
    return true;
}

}  // namespace

TEST(Config, BothStoresAnswerAlikeFromTheFirstLayerThatHoldsTheKey) {
    for (const auto& [defaults, overlay, answers] : Cases<3>("layers.txt")) {
        const SOverlayed both(defaults, overlay);
        EXPECT_EQ(Answers(both.config), answers) << defaults << overlay;
        const bool isOverridden = overlay.find("\"k\"") != std::string::npos;
        const auto decisive = std::make_shared<CMemoryStream>(isOverridden ? overlay : defaults);
        const CStaticConfig one(decisive);
        EXPECT_EQ(Answers(one), answers) << defaults << overlay;
        for (unsigned int type = 0; type <= 9; ++type) {
            EXPECT_EQ(one.Exists("k", EDataType(type)), both.config.Exists("k", EDataType(type)));
        }
        const bool isHeld = answers.find("none") == std::string::npos;
        EXPECT_EQ(one.Exists("k", EDataType::Any), isHeld) << defaults << overlay;
        EXPECT_EQ(one.Exists("k", EDataType::Int32), answers[2] == '7') << defaults << overlay;
        EXPECT_EQ(one.GetAllConfigKeys().count("k"), isHeld ? 1U : 0U) << defaults << overlay;
        EXPECT_EQ(decisive.use_count() + both.defaults.use_count(), 2) << "no share is kept";
        EXPECT_EQ(decisive->reads + both.defaults->reads + both.overlay->reads, 3) << "read once";
    }
    const SOverlayed both(R"({"a":1,"b":2})", R"({"b":3,"c":4})");
    EXPECT_EQ(both.config.GetAllConfigKeys(), (std::unordered_set<std::string>{"a", "b", "c"}));
}

TEST(Config, ChangeIsMadeToldAndWrittenWhenItIsOne) {
    for (const auto& [defaults, overlay, change, written, told] : Cases<5>("changes.txt")) {
        SOverlayed both(defaults, overlay);
        const bool isRefused = change == "Restore" && written == "-";
        EXPECT_EQ(Act(both.config, change), !isRefused) << change;
        EXPECT_EQ(both.Written(), written) << defaults << overlay << change;
        EXPECT_EQ(both.told, told) << defaults << overlay << change;
        EXPECT_EQ(both.overlay->reads + both.defaults->reads, 2) << "a change reads nothing";
        EXPECT_EQ(both.config.HasChanged(), written != "-");
        EXPECT_EQ(both.config.GetOverlayedFileSize(), both.overlay->text.size());

        const SOverlayed reopened(defaults, both.overlay->text);
        EXPECT_EQ(Answers(reopened.config), Answers(both.config)) << change;
        EXPECT_EQ(reopened.config.GetAllConfigKeys(), both.config.GetAllConfigKeys()) << change;

        COverlayedConfig silent(std::make_shared<CMemoryStream>(defaults),
                                std::make_shared<CMemoryStream>(overlay), {});
        Act(silent, change);
        EXPECT_EQ(Answers(silent), Answers(both.config)) << "with or without a callback";
    }
}

TEST(Config, RefusedCallLeavesAStoreThatAnswersAndWritesAgain) {
    for (const auto& [call, document, thrown, k, nextWrite] : Cases<5>("refused.txt")) {
        SOverlayed both(R"({"k":1})", R"({"k":2,"z":3})");
        both.defaults->text = R"({"k":9})";
        both.overlay->text = document;
        both.overlay->refuseCall = document.empty() ? 2 : 0;  // the first was the constructor's
        std::string error;
        try {
            Act(both.config, call);
        } catch (const std::exception& failure) {
            error = failure.what();
        }
        EXPECT_EQ(error.substr(0, error.find('\n')), thrown) << call;
        EXPECT_EQ(both.config.Get("k", 0), std::stoi(k)) << call << document;
        both.overlay->writes = 0;
        both.config.Set("next", 1);
        EXPECT_EQ(both.Written(), nextWrite) << call << document;
        EXPECT_EQ(both.defaults->reads, 1) << "the defaults are read once";
    }
    const auto overlay = std::make_shared<CMemoryStream>();
    EXPECT_ANY_THROW(COverlayedConfig(std::make_shared<CMemoryStream>("{"), overlay, {}));
    EXPECT_EQ(overlay->reads, 0) << "the defaults come first";
}

TEST(Config, CallbackThatFailsLeavesTheChangeInMemoryAndTheLockFree) {
    const std::function<void(IConfig&)> misdeeds[] = {
        [](IConfig&) { throw std::system_error(EDOM, std::generic_category()); },
        [](IConfig& own) { own.Get("k", 0); }, [](IConfig& own) { own.GetAllConfigKeys(); },
        [](IConfig& own) { own.Set("k", 0); }};
    const auto overlay = std::make_shared<CMemoryStream>();
    std::function<void(IConfig&)> callback;
    COverlayedConfig config(std::make_shared<CMemoryStream>(), overlay,
                            [&](const std::string&, const Json::Value&) { callback(config); });
    int value = 0;
    for (const auto& misdeed : misdeeds) {
        callback = misdeed;
        EXPECT_THROW(config.Set("k", ++value), std::system_error);
        EXPECT_EQ(config.Get("k", 0), value);
        EXPECT_EQ(overlay->writes, 0);
    }
    callback = [](IConfig&) {};
    config.Set("next", 1);
    EXPECT_EQ(OneLine(Parse(overlay->text)), R"({"k":4,"next":1})");
}
