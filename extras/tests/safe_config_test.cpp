// SPDX-License-Identifier: MIT
// What a configuration from Open promises to its process and to all others.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tamsel/extras/crash_safe_file_stream.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
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

/// Stores a 2 and is killed before it synchronizes for the nth time.
void Kill(const CUnit& unit, int nth) {
    EXPECT_FALSE(Join(Spawn([&] {
        const CHooked hooked([&](const SCall& call) {
            return call.name == "fdatasync" && --nth == 0 ? raise(SIGKILL) : Fast(call);
        });
        return unit.Open()->Set("a", 2), true;
    })));
}
constexpr int InJournal = 2;
constexpr int InOverlay = 3;

void Remove(const CUnit& unit) { std::filesystem::remove(unit.Overlay()); }

using TUnit = const CUnit&;
using TConfig = CSafeConfig&;
struct SLater {
    int line;
    std::function<void(TUnit unit, TConfig config)> work;
    const char* state;
};

const SLater Later[] = {
    {__LINE__, [](TUnit u, TConfig) { u.Copy(""); }, "{}"},
    {__LINE__, [](TUnit u, TConfig) { Remove(u); }, "{}"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InOverlay); }, R"({"a":2})"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InJournal), u.Copy(R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InOverlay), u.Copy(R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InOverlay), Remove(u); }, "{}"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InOverlay), u.Create()->Set("a", 1); }, R"({"a":1})"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InOverlay), u.Create()->Set("a", 7); }, R"({"a":7})"},
    {__LINE__, [](TUnit u, TConfig) { Kill(u, InJournal), u.Create()->Set("a", 7); }, R"({"a":7})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Copy(""), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](TUnit u, TConfig c) { Remove(u), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Copy(R"({"a)"), c.Set("b", 2); }, R"({"a":1,"b":2})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Open()->Set("a", 5), c.Set("a", 1); }, R"({"a":1})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Open()->Set("b", 5), c.Restore("b"); }, R"({"a":1})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Open()->Set("b", 5), c.Restore("a"); }, R"({"b":5})"},
    {__LINE__, [](TUnit u, TConfig c) { u.Open()->Set("b", 5), c.Erase(); }, "{}"},
};

TEST(LaterSuccessTest, Counts) {
    for (const SLater& row : Later) {
        const CUnit unit;
        const CHooked fast;
        unit.Copy(R"({"a": 1})");
        row.work(unit, *unit.Open());
        (void)unit.Open();
        EXPECT_EQ(unit.State(), row.state) << "line " << row.line;
        EXPECT_EQ(Answers(*unit.Open()), row.state) << "line " << row.line;
    }
}

/// Expects the work to throw one kind of exception, and the configuration to be as before.
template <typename TError>
void ExpectRefused(const CUnit& unit, CSafeConfig& config, const std::function<void()>& work) {
    const std::string before = Answers(config);
    const std::string text = unit.Text("data/config/unit.json");
    EXPECT_THROW(work(), TError) << text;
    EXPECT_EQ(Answers(config), before);
    EXPECT_EQ(unit.Text("data/config/unit.json"), text);
    EXPECT_TRUE(IsUnlocked(unit.Journal()) && IsUnlocked(unit.Overlay()));
}

TEST(SafeConfigTest, RefusesWhatCannotBeReadAgain) {
    const CUnit unit;
    const auto config = unit.Open();
    const std::pair<std::string, Json::Value> rows[] = {
        {"a", HUGE_VAL},
        {"a", NAN},
        {"\xff", 1},
        {"a", "\xed\xa0\x80"},
        {"a", "\xc3"},
        {"a", "\xc0\xaf"},
        {"a", "\xf4\x90\x80\x80"},
        {"a", Parse(std::string(999, '[') + std::string(999, ']'))},
    };
    for (const auto& [key, value] : rows) {
        using TInvalid = std::invalid_argument;
        ExpectRefused<TInvalid>(unit, *config, [&] { config->Set(key, value); });
        const auto set = [&](IConfig& c) { c.Set("b", 1), c.Set(key, value); };
        ExpectRefused<TInvalid>(unit, *config, [&] { config->Transact(set); });
    }
    config->Set("deep", Parse(std::string(998, '[') + std::string(998, ']')));
    config->Set("a", std::string("\xc3\xa4 \xf4\x8f\xbf\xbf \0", 9));
    EXPECT_EQ(Answers(*unit.Open()), Answers(*config));
}

TEST(SafeConfigTest, TakesBackWhatThrows) {
    const CUnit unit;
    std::string called;
    std::function<void()> inside = [] {};
    const auto config = unit.Open([&](auto& key, auto&) { called += key, inside(); });
    config->Set("a", 1);
    inside = [] { throw std::out_of_range("callback"); };
    ExpectRefused<std::out_of_range>(unit, *config, [&] { config->Set("a", 2); });
    inside = [&] { config->Set("b", 2); };
    ExpectRefused<std::system_error>(unit, *config, [&] { config->Set("a", 2); });
    inside = [] {};
    const auto nested = [&](IConfig& c) { c.Set("a", 2), config->Transact([](IConfig&) {}); };
    ExpectRefused<std::system_error>(unit, *config, [&] { config->Transact(nested); });
    called.clear();
    config->Transact([&](IConfig& c) {
        c.Set("z", 1), c.Reload(), c.Erase();
        c.Set("c", 1), c.Set("b", 1), c.Set("b", 1);
        EXPECT_EQ(Answers(*config), R"({"a":1})");
    });
    EXPECT_EQ(called, "cb");
    EXPECT_EQ(unit.State(), R"({"b":1,"c":1})");
    inside = [] { throw std::out_of_range("callback"); };
    EXPECT_THROW(config->Transact([](IConfig& c) { c.Set("d", 1); }), std::out_of_range);
    EXPECT_EQ(Answers(*config), unit.State());
    EXPECT_TRUE(config->Exists("d", Tamsel::EDataType::Int32));
}

TEST(SafeConfigTest, WaitsForLocksNoLongerThanTheLimit) {
    const CUnit unit;
    const auto limit = std::chrono::milliseconds(30);
    const auto config = Tamsel::Extras::Open("unit", unit.Path(), {}, limit);
    config->Set("a", 1);
    for (const std::string& path : {unit.Journal(), unit.Overlay()}) {
        const Tamsel::Extras::CFileLock lock(path, Tamsel::Extras::CFileLock::EMode::Shared);
        for (const auto& work : std::vector<std::function<void()>>{[&] { config->Set("a", 2); },
                                                                   [&] { config->Erase(); }}) {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_NO_THROW(config->Reload());
            EXPECT_THROW(work(), std::system_error);
            EXPECT_GE(std::chrono::steady_clock::now() - begin, limit);
        }
    }
    EXPECT_EQ(Answers(*config), R"({"a":1})");
}

TEST(SafeConfigTest, IsForAnyThreads) {
    const CUnit unit;
    const CHooked fast;
    const auto config = unit.Open();
    std::vector<std::thread> threads;
    for (const std::string name : {"x", "y"}) {
        threads.emplace_back([&, name] {
            for (int i = 0; i < 40; ++i) {
                config->Transact([](IConfig& c) { Increment(c, "sum"); });
                config->Set(name, i), config->Reload();
                EXPECT_EQ(config->Get(name, -1), i);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unit.State(), R"({"sum":80,"x":39,"y":39})");
}

struct SAccess {
    int line;
    mode_t overlay;
    gid_t group;
    mode_t journal;  // before
    mode_t wanted;
};

TEST(PermissionTest, JournalIsNoMoreAccessible) {
    const bool isRoot = geteuid() == 0;
    const SAccess rows[] = {
        {__LINE__, 0600, getegid(), 0, 0600},
        {__LINE__, 0640, getegid(), 0, 0640},
        {__LINE__, 0600, getegid(), 0666, 0600},
        {__LINE__, 0664, 1234, 0, isRoot ? 0644u : 0664u},
        {__LINE__, 0660, 1234, 0666, isRoot ? 0600u : 0660u},
    };
    for (const SAccess& row : rows) {
        const CUnit unit;
        const CHooked fast;
        unit.Copy("");
        (void)!chown(unit.Overlay().c_str(), isRoot ? Nobody : geteuid(), row.group);
        chmod(unit.Overlay().c_str(), row.overlay);
        const mode_t mask = umask(0);
        const CAsUser user(Nobody, Nobody);
        if (row.journal != 0)
            std::ofstream(unit.Journal()), chmod(unit.Journal().c_str(), row.journal);
        unit.Open()->Set("a", 1);
        umask(mask);
        struct stat journal {};
        stat(unit.Journal().c_str(), &journal);
        EXPECT_EQ(journal.st_mode & 0777, row.wanted) << "line " << row.line;
    }
}

TEST(PermissionTest, ServesReadersAndTheOwnerOfTheFolder) {
    const CUnit unit;
    unit.Copy(R"({"a": 1})");
    const auto permit = [](const std::string& path, mode_t mode) {
        return chmod(path.c_str(), mode);
    };
    permit(unit.Folder(), 0555);
    {
        const CAsUser user(Nobody, Nobody);
        EXPECT_THROW(unit.Open(), Tamsel::CAccessDenied);
        EXPECT_EQ(Answers(*unit.Create()), R"({"a":1})");
    }
    permit(unit.Folder(), 0755);
    unit.Open()->Set("a", 2);
    permit(unit.Overlay(), 0444), permit(unit.Journal(), 0444);
    {
        const CAsUser user(Nobody, Nobody);
        const auto config = unit.Open();
        ExpectRefused<Tamsel::CInvalidConfig>(unit, *config, [&] { config->Set("a", 3); });
    }
    unit.Reset();
    (void)!chown(unit.Folder().c_str(), geteuid() == 0 ? Nobody : geteuid(), getegid());
    unit.Open()->Set("a", 1);
    const CAsUser user(Nobody, Nobody);
    EXPECT_NO_THROW(unit.Open()->Set("a", 2));
}

}  // namespace
