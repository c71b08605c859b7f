// SPDX-License-Identifier: MIT
// What a configuration from Open promises to its process and to all others.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tamsel/extras/config_watcher.h>
#include <tamsel/extras/crash_safe_file_stream.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <random>
#include <system_error>
#include <thread>
#include <vector>

#include "support/process.h"
#include "support/system_calls.h"
#include "support/unit.h"

namespace {

using Tamsel::IConfig;
using Tamsel::Extras::CSafeConfig;

void Increment(IConfig& config, const std::string& key) { config.Set(key, config.Get(key, 0) + 1); }

/// A process that counts, and is killed at a certain call of its life.
bool Count(const CUnit& unit, const std::string& name, int changes, int lifetime) {
    const CHooked hooked([&](const SCall& call) {
        const bool isReal = std::getenv("TAMSEL_TEST_KILLS") != nullptr;
        return lifetime-- == 0 ? raise(SIGKILL) : isReal ? 0 : Fast(call);
    });
    const auto config = unit.Open();
    while (config->Get("plain" + name, 0) < changes) {
        config->Transact([&](IConfig& c) { Increment(c, "own" + name), Increment(c, "sum"); });
        Increment(*config, "plain" + name);
    }
    return true;
}

// With TAMSEL_TEST_KILLS=1000, a campaign on the real disk.
TEST(ProcessesTest, LoseNoChangeWhoeverIsKilled) {
    const char* const wanted = std::getenv("TAMSEL_TEST_KILLS");
    int kills = wanted != nullptr ? std::atoi(wanted) : 60;
    const int changes = std::max(40, kills / 2);
    const CUnit unit;
    std::minstd_rand random(static_cast<unsigned>(kills));
    std::map<pid_t, std::string> running;
    const auto start = [&](const std::string& name) {
        const int lifetime = kills-- > 0 ? static_cast<int>(random() % 200) : INT_MAX;
        running[Spawn([&] { return Count(unit, name, changes, lifetime); })] = name;
    };
    for (const std::string name : {"A", "B", "C", "D"}) start(name);
    while (!running.empty()) {
        int status = 0;
        const pid_t ended = wait(&status);
        ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
        const std::string name = running.extract(ended).mapped();
        if (status != 0) start(name);
    }
    const auto config = unit.Open();
    int sum = 0;
    for (const std::string name : {"A", "B", "C", "D"}) {
        EXPECT_EQ(config->Get("plain" + name, 0), changes);
        EXPECT_GE(config->Get("own" + name, 0), changes);
        sum += config->Get("own" + name, 0);
    }
    EXPECT_EQ(config->Get("sum", 0), sum);
}

/// A process that is killed in a Set, before it synchronizes for the nth time.
void SetKilled(const CUnit& unit, int value, int nth) {
    EXPECT_FALSE(Join(Spawn([&] {
        const CHooked hooked([&](const SCall& call) {
            return call.name == "fdatasync" && --nth == 0 ? raise(SIGKILL) : Fast(call);
        });
        return unit.Open()->Set("a", value), true;
    })));
}
constexpr int JournalIsWritten = 2;
constexpr int OverlayIsWritten = 3;

struct SLater {
    int line;
    std::function<void(const CUnit&, CSafeConfig&)> work;
    const char* state;
};

TEST(LaterSuccessTest, Counts) {
    const SLater rows[] = {
        {__LINE__, [](auto& u, auto&) { u.Copy(""); }, "{}"},
        {__LINE__, [](auto& u, auto&) { unlink(u.Overlay().c_str()); }, "{}"},
        {__LINE__, [](auto& u, auto&) { SetKilled(u, 2, OverlayIsWritten); }, R"({"a":2})"},
        {__LINE__, [](auto& u, auto&) { SetKilled(u, 2, JournalIsWritten), u.Copy(R"({"a":3})"); },
         R"({"a":3})"},
        {__LINE__, [](auto& u, auto&) { SetKilled(u, 2, OverlayIsWritten), u.Copy(R"({"a":3})"); },
         R"({"a":3})"},
        {__LINE__,
         [](auto& u, auto&) { SetKilled(u, 2, OverlayIsWritten), unlink(u.Overlay().c_str()); },
         "{}"},
        {__LINE__,
         [](auto& u, auto&) { SetKilled(u, 2, OverlayIsWritten), u.Create()->Set("a", 1); },
         R"({"a":1})"},
        {__LINE__,
         [](auto& u, auto&) { SetKilled(u, 2, OverlayIsWritten), u.Create()->Set("b", 1); },
         R"({"a":2,"b":1})"},
        {__LINE__,
         [](auto& u, auto&) { SetKilled(u, 2, JournalIsWritten), u.Create()->Set("b", 1); },
         R"({"a":1,"b":1})"},
        {__LINE__, [](auto& u, auto& c) { u.Copy(""), c.Set("b", 2); }, R"({"b":2})"},
        {__LINE__, [](auto& u, auto& c) { unlink(u.Overlay().c_str()), c.Set("b", 2); },
         R"({"b":2})"},
        {__LINE__, [](auto& u, auto& c) { u.Copy(R"({"a": 3)"), c.Set("b", 2); },
         R"({"a":1,"b":2})"},
        {__LINE__, [](auto& u, auto& c) { u.Open()->Set("a", 5), c.Set("a", 1); }, R"({"a":1})"},
        {__LINE__, [](auto& u, auto& c) { u.Open()->Set("b", 5), c.Restore("b"); }, R"({"a":1})"},
        {__LINE__, [](auto& u, auto& c) { u.Open()->Set("b", 5), c.Restore("a"); }, R"({"b":5})"},
        {__LINE__, [](auto& u, auto& c) { u.Open()->Set("b", 5), c.Erase(); }, "{}"},
        {__LINE__, [](auto& u, auto& c) { u.Open()->Set("b", 5), c.Reload(), c.Set("a", 2); },
         R"({"a":2,"b":5})"},
    };
    for (const SLater& row : rows) {
        const CUnit unit;
        const CHooked fast;
        unit.Copy(R"({"a": 1})");
        const auto config = unit.Open();
        row.work(unit, *config);
        for (int i = 0; i < 2; ++i) {
            (void)unit.Open();
            EXPECT_EQ(unit.State(), row.state) << "line " << row.line;
        }
    }
}

}  // namespace
