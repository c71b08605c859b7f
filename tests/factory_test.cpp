// SPDX-License-Identifier: MIT
#include <tamsel/factory.h>

#include <gtest/gtest.h>

#include <functional>

#include "support/cases.h"
#include "support/process.h"
#include "support/temp_root.h"

using namespace Tamsel;
namespace fs = std::filesystem;

TEST(Factory, JoinsPathsAsPlainTextAndPassesTheCallbackOn) {
    const CTempRoot root;
    const std::string slashed = root.Path("unit/");
    const std::string bare = root.Path("unit");
    int told = 0;
    const TChangeCallback tell = [&](const std::string&, const Json::Value&) { ++told; };
    const struct {
        std::string below;
        std::string file;
        int told;
        std::function<std::shared_ptr<IConfig>()> create;
    } rows[] = {{"unit/", "/config/a.json", 0, [&] { return Create("a", slashed); }},
                {"unit/", "/config/b.json", 1, [&] { return Create("b", slashed, tell); }},
                {"unit/", "/sys/c.json", 0, [&] { return Create("c", slashed, "sys"); }},
                {"unit/", "/sys/d.json", 1, [&] { return Create("d", slashed, "sys", tell); }},
                {"unit/", "//f.json", 0, [&] { return Create("f", slashed, "", {}); }},
                {"unit", "/config/g/h.json", 0, [&] { return Create("g/h", bare); }},
                {"", "/config/.json", 0, [] { return Create("", ""); }}};
    fs::current_path(root.Path());
    for (const auto& row : rows) {
        const std::string overlay = row.below + "data" + row.file;
        root.Put(row.below + "etc" + row.file, R"({"k":1})");
        fs::create_directories(fs::path(root.Path(overlay)).parent_path());
        const auto config = row.create();
        EXPECT_EQ(config->Get("k", 0), 1) << row.file;
        EXPECT_EQ(root.Text(overlay), "") << "created, empty";
        config->Set("k", 2);
        EXPECT_EQ(std::exchange(told, 0), row.told) << row.file;
        EXPECT_EQ(row.create()->Get("k", 0), 2) << "from " << overlay;
    }
    EXPECT_EQ(CreateStaticOnly("a", slashed)->Get("k", 0), 1) << "the defaults alone";
    EXPECT_EQ(CreateStaticOnly("g/h", bare)->Get("k", 0), 1);
    EXPECT_EQ(CreateStaticOnly("", "")->Get("k", 0), 1);
    EXPECT_EQ(DefaultRootPath + DefaultSubDirectory, "/config");
    try {
        Create("no/such");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Failed to create file '/data/config/no/such.json'.");
    }
    fs::current_path("/");
}

TEST(Factory, TellsWhatIsWrongAndTouchesNothingElse) {
    for (const auto& [etc, data, one, both, dataAfter] : Cases<5>("factories.txt")) {
        const CTempRoot root;
        const std::pair<const char*, std::string> files[] = {{"etc/config/n.json", etc},
                                                             {"data/config/n.json", data}};
        for (const auto& [file, text] : files) {
            if (text == "(nowhere)") continue;
            fs::permissions(root.Put(file, text), fs::perms(text == "(closed)" ? 0 : 0644));
            if (text == "(none)") fs::remove(root.Path(file));
            fs::permissions(fs::path(root.Path(file)).parent_path(), fs::perms::all);
        }
        const auto outcome = [&](const auto& create) {
            const CAsNobody nobody;
            try {
                return std::to_string(create()->Get("k", 0));
            } catch (const std::exception& error) {
                const std::string text = Replaced(error.what(), root.Path(files[0].first), "ETC");
                const std::string line = text.substr(0, text.find('\n'));
                return Replaced(line, root.Path(files[1].first), "DATA");
            }
        };
        EXPECT_EQ(outcome([&] { return CreateStaticOnly("n", root.Path()); }), one);
        EXPECT_EQ(outcome([&] { return Create("n", root.Path()); }), both);
        EXPECT_EQ(root.Text(files[1].first), dataAfter) << etc << data;
        EXPECT_EQ(fs::exists(root.Path("data")), data != "(nowhere)");
    }
}
