// SPDX-License-Identifier: MIT
// Each call of the file layer refused in turn, below a whole configuration.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include <tamsel/tamsel.h>

#include "support/cases.h"
#include "support/process.h"
#include "support/refuse.h"
#include "support/temp_root.h"

using namespace Tamsel;

TEST(Fault, EachRefusedCallHasItsResultAndLeavesNothingBehind) {
    using TAct = std::function<std::string(IConfig&, const std::string& root)>;
    const std::map<std::string, TAct> acts = {
        {"Set", [](auto& config, auto&) { return config.Set("k", 2), "done"; }},
        {"Create", [](auto&, auto& root) { return Create("other", root), "done"; }},
        {"HasChanged", [](auto& config, auto&) { return config.HasChanged() ? "yes" : "no"; }},
        {"Reload", [](auto& config, auto&) { return config.Reload(), "done"; }},
        {"Size",
         [](auto& config, auto&) { return std::to_string(config.GetOverlayedFileSize()); }}};
    for (const auto& [act, call, error, result, calls, k, file] : Cases<7>("faults.txt")) {
        const CTempRoot root;
        const std::string path = root.Put("data/config/name.json", R"({"k":1})");
        const auto config = Create("name", root.Path());
        const long descriptors = CountDescriptors();
        std::string outcome;
        const std::string made = CallsOf(call, error, [&, act = act] {
            try {
                outcome = acts.at(act)(*config, root.Path());
            } catch (const std::runtime_error& failure) {
                outcome = Replaced(failure.what(), root.Path(), "");
            }
        });
        const std::string what = act + ", " + call + " refused: " + result;
        EXPECT_EQ(outcome, result) << what;
        EXPECT_EQ(made, calls) << what;
        EXPECT_EQ(std::to_string(config->Get("k", 0)), k) << what;
        EXPECT_EQ(root.Text("data/config/name.json"), file) << what;
        EXPECT_EQ(CountDescriptors(), descriptors) << what;
        EXPECT_TRUE(IsUnlocked(path)) << what;
        config->Set("k", 3);
        EXPECT_EQ(Create("name", root.Path())->Get("k", 0), 3) << what;
    }
}
