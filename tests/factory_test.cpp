// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "support/fault_injection.h"
#include "support/test_support.h"

using namespace Tamsel;

namespace {

using Factory = InTestFolder;

std::string Told;
void Tell(const std::string& key, const Json::Value& /*value*/) { Told += key; }

}  // namespace

TEST_F(Factory, JoinsPathsAsPlainTextAndPassesTheCallbackOn) {
    const struct {
        int line;
        std::function<std::shared_ptr<IConfig>()> create;
        std::string root, path, told;
    } rows[] = {
        {__LINE__, [] { return Create("a", "unit/"); }, "unit/", "/config/a.json", ""},
        {__LINE__, [] { return Create("b", "unit/", Tell); }, "unit/", "/config/b.json", "k"},
        {__LINE__, [] { return Create("c", "unit/", "sys"); }, "unit/", "/sys/c.json", ""},
        {__LINE__, [] { return Create("d", "u/", "", Tell); }, "u/", "//d.json", "k"},
        {__LINE__, [] { return Create("g/h", "unit"); }, "unit", "/config/g/h.json", ""},
        {__LINE__, [] { return Create("", ""); }, "", "/config/.json", ""},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.path);
        const std::string overlay = row.root + "data" + row.path;
        PutText(row.root + "etc" + row.path, R"({"k":1})");
        PutText(overlay, "");
        std::filesystem::remove(overlay);
        const auto config = row.create();
        EXPECT_EQ(TextOf(overlay), "");
        EXPECT_FALSE(config->HasChanged());
        config->Set("k", config->Get("k", 0) + 1);
        EXPECT_EQ(std::exchange(Told, ""), row.told);
        EXPECT_EQ(TextOf(overlay), "{\n\t\"k\" : 2\n}");
    }
    EXPECT_EQ(CreateStaticOnly("b", "unit/")->Get("k", 0), 1);
    EXPECT_EQ(Thrown([] { Create("no/such"); }),
              "Tamsel::CAccessDenied: Failed to create file '/data/config/no/such.json'.");
}

TEST_F(Factory, ExaminesBothFilesBeforeItReadsEither) {
    const std::string noEtc =
        "Tamsel::CAccessDenied: Failed to open file 'etc/config/n.json' for reading.";
    const std::string noData =
        "Tamsel::CAccessDenied: Failed to open file 'data/config/n.json' for reading.";
    const std::string noObject =
        "Json::LogicError: in Json::Value::getMemberNames(), value must be objectValue";
    const struct {
        int line;
        const char* prepare;
        std::string thrownStatic, thrown;
        bool isOverlayThere;
    } rows[] = {
        {__LINE__, "true", "", "", true},
        {__LINE__, "echo '[]' > etc/config/n.json; echo { > data/config/n.json", noObject, noObject,
         true},
        {__LINE__, "echo 5 > data/config/n.json", "", noObject, true},
        {__LINE__, ": > etc/config/n.json; chmod 0 etc/config/n.json", noEtc, noEtc, false},
        {__LINE__, ": > data/config/n.json; chmod 0 data/config/n.json", "", noData, true},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.prepare);
        const CTestFolder folder;
        EXPECT_EQ(std::system(row.prepare), 0);
        const CAsUser user(Nobody, Nobody);
        if (!user.isBound) GTEST_SKIP() << "root cannot take another user's id here";
        EXPECT_EQ(Thrown([] { CreateStaticOnly("n", ""); }), row.thrownStatic);
        EXPECT_EQ(Thrown([] { Create("n", ""); }), row.thrown);
        EXPECT_EQ(Exists("data/config/n.json"), row.isOverlayThere);
    }
}

TEST_F(Factory, AcceptsAnOverlayThatMayNotBeWrittenUntilAChange) {
    PutText("data/config/n.json", R"({"k":1})");
    chmod("data/config/n.json", 0444);
    const CAsUser user(Nobody, Nobody);
    if (!user.isBound) GTEST_SKIP() << "root cannot take another user's id here";
    const auto config = Create("n", "");
    EXPECT_EQ(Thrown([&] { config->Set("k", 2); }),
              "Tamsel::CInvalidConfig: Failed to write config file 'data/config/n.json'");
    EXPECT_EQ(config->Get("k", 0), 2);
    EXPECT_EQ(TextOf("data/config/n.json"), R"({"k":1})");
}

TEST_F(Factory, JudgesByTheRealUserAndOpensAsTheEffectiveOne) {
    PutText("data/config/n.json", R"({"k":1})");
    chmod("data/config/n.json", 0600);
    const CAsUser setUserId(Nobody, 0);
    if (geteuid() != 0 || !setUserId.isBound) GTEST_SKIP() << "takes root and its other user ids";
    EXPECT_THROW(Create("n", ""), CAccessDenied);
    chmod("data/config", 0700);
    EXPECT_EQ(Create("n", "")->Get("k", 5), 5);
    EXPECT_EQ(TextOf("data/config/n.json"), "");
}

TEST_F(Factory, TakesAFileThatCannotBeOpenedForOneWithoutKeys) {
    PutText("etc/config/n.json", R"({"k":1})");
    PutText("data/config/n.json", R"({"k":2,"z":3})");
    const auto config = Create("n", "");
    EXPECT_EQ(InjectFault([&] { config->Reload(); }, "fopen", EMFILE).thrown, "");
    EXPECT_EQ(config->Get("k", 5), 1);
    config->Set("next", 1);
    EXPECT_EQ(TextOf("data/config/n.json"), "{\n\t\"next\" : 1\n}");
}
