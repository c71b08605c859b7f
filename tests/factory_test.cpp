// SPDX-License-Identifier: MIT
// Names become paths, paths become files.
#include "support/test_support.h"

using namespace Tamsel;
using Factory = InTestDirectory;

TEST_F(Factory, ConcatenatesPathsAndForwardsTheCallback) {
    std::string notified;
    const TChangeCallback notify = [&](auto& key, auto&) { notified += key; };
    const struct {
        int line;
        std::function<std::shared_ptr<IConfig>()> create;
        std::string defaults, overlay, notified;
    } rows[] = {
        {__LINE__, [] { return Create("a", "./"); }, "./etc/config/a.json", "./data/config/a.json",
         ""},
        {__LINE__, [&] { return Create("b", "", notify); }, "etc/config/b.json",
         "data/config/b.json", "k"},
        {__LINE__, [] { return Create("c", "./", "."); }, "./etc/./c.json", "./data/./c.json", ""},
        {__LINE__, [&] { return Create("", "", "", notify); }, "etc//.json", "data//.json", "k"},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.overlay);
        PutText(row.defaults, R"({"k":1})");
        const auto config = row.create();
        EXPECT_EQ(TextOf(row.overlay), "");
        EXPECT_FALSE(config->HasChanged());
        config->Set("k", config->Get("k", 0) + 1);
        EXPECT_EQ(std::exchange(notified, ""), row.notified);
        EXPECT_EQ(TextOf(row.overlay), "{\n\t\"k\" : 2\n}");
    }
    EXPECT_EQ(CreateStaticOnly("b", "./")->Get("k", 0), 1);
    EXPECT_EQ(Thrown([] { Create("e", "unit"); }),
              "Tamsel::CAccessDenied: Failed to create file 'unitdata/config/e.json'.");
    EXPECT_EQ(Thrown([] { Create("no/such"); }),
              "Tamsel::CAccessDenied: Failed to create file '/data/config/no/such.json'.");
}

TEST_F(Factory, ChecksBothFilesBeforeItReadsEither) {
    const std::string noEtc =
        "Tamsel::CAccessDenied: Failed to open file 'etc/config/n.json' for reading.";
    const std::string noData =
        "Tamsel::CAccessDenied: Failed to open file 'data/config/n.json' for reading.";
    const std::string noWrite =
        "Tamsel::CInvalidConfig: Failed to write config file 'data/config/n.json'";
    const std::string noObject =
        "Json::LogicError: in Json::Value::getMemberNames(), value must be objectValue";
    const struct {
        int line;
        const char* prepare;
        std::string thrown, thrownStatic, overlay;
    } rows[] = {
        {__LINE__, "true", "", "", "{\n\t\"k\" : 1\n}"},
        {__LINE__, "cd etc/config; echo '[]' > n.json", noObject, noObject, ""},
        {__LINE__, "cd data/config; printf 5 > n.json", noObject, "", "5"},
        {__LINE__, "cd etc/config; echo > n.json; chmod 0 *", noEtc, noEtc, "(no file)"},
        {__LINE__, "cd data/config; echo > n.json; chmod 0 *", noData, "", "(no file)"},
        {__LINE__, "cd data/config; printf {} > n.json; chmod 444 *", noWrite, "", "{}"},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.prepare);
        const CTestDirectory directory;
        EXPECT_EQ(std::system(row.prepare), 0);
        const CAsUser user(Nobody, Nobody);
        if (!user.isBound) GTEST_SKIP() << "root cannot take another user's id here";
        EXPECT_EQ(Thrown([] { CreateStaticOnly("n", ""); }), row.thrownStatic);
        EXPECT_EQ(Thrown([] { Create("n", "")->Set("k", 1); }), row.thrown);
        EXPECT_EQ(TextOf("data/config/n.json"), row.overlay);
    }
}

TEST_F(Factory, ChecksForTheRealUserAndOpensAsTheEffectiveOne) {
    PutText("data/config/n.json", R"({"k":1})");
    chmod("data/config/n.json", 0600);
    const CAsUser setUserId(Nobody, 0);
    if (geteuid() != 0 || !setUserId.isBound) GTEST_SKIP() << "takes root and its other user ids";
    EXPECT_THROW(Create("n", ""), CAccessDenied);
    chmod("data/config", 0700);
    EXPECT_EQ(Create("n", "")->Get("k", 5), 5);
    EXPECT_EQ(TextOf("data/config/n.json"), "");
}
