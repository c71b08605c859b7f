// SPDX-License-Identifier: MIT
// What a configuration from Open promises to its process and to all others.
#include <tamsel/extras/crash_safe_file_stream.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <map>
#include <random>
#include <thread>

#include "support/extras_support.h"

namespace {

using Tamsel::IConfig;
using Tamsel::Extras::CSafeConfig;

class SafeConfigTest : public InTestFolder {};

void Increment(IConfig& config, const std::string& key) { config.Set(key, config.Get(key, 0) + 1); }

/// A process that counts, until it is killed at a certain call of its life.
bool Count(const std::string& name, int changes, int lifetime, bool isFast) {
    const CHooked hooked([&](const SCall& call) {
        return lifetime-- == 0 ? raise(SIGKILL) : isFast ? Fast(call) : 0;
    });
    const auto config = Open();
    while (config->Get("plain" + name, 0) < changes) {
        config->Transact([&](IConfig& c) { Increment(c, "own" + name), Increment(c, "sum"); });
        Increment(*config, "plain" + name);
    }
    return true;
}

// With TAMSEL_TEST_KILLS=1000, a campaign that waits for the disk.
TEST_F(SafeConfigTest, LosesNoChangeOfProcessesThatAreKilled) {
    const char* const wanted = std::getenv("TAMSEL_TEST_KILLS");
    int kills = wanted != nullptr ? std::atoi(wanted) : 60;
    const int changes = std::max(40, kills / 2);
    std::minstd_rand random;
    std::map<pid_t, std::string> running;
    const auto start = [&](const std::string& name) {
        const int lifetime = kills-- > 0 ? static_cast<int>(random() % 200) : INT_MAX;
        running[Spawn([&] { return Count(name, changes, lifetime, wanted == nullptr); })] = name;
    };
    for (const char* const name : {"A", "B", "C", "D"}) start(name);
    while (!running.empty()) {
        int status = 0;
        const pid_t ended = wait(&status);
        ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
        const std::string name = running.extract(ended).mapped();
        if (status != 0) start(name);
    }
    int sum = 0;
    for (const std::string name : {"A", "B", "C", "D"}) {
        EXPECT_EQ(State()["plain" + name], changes);
        EXPECT_GE(State()["own" + name], changes);
        sum += State()["own" + name].asInt();
    }
    EXPECT_EQ(State()["sum"], sum);
}

/// Stores a 2 and is killed before it synchronizes for the nth time.
void Kill(int nth) {
    EXPECT_FALSE(Join(Spawn([&] {
        const CHooked hooked([&](const SCall& call) {
            return call.name == "fdatasync" && --nth == 0 ? raise(SIGKILL) : Fast(call);
        });
        return Open()->Set("a", 2), true;
    })));
}
constexpr int InJournal = 2, InOverlay = 3;

void Remove() { std::filesystem::remove(Overlay); }

using TConfig = CSafeConfig&;
const struct {
    int line;
    std::function<void(TConfig config)> work;
    const char* state;
} Successes[] = {
    {__LINE__, [](TConfig) { PutText(Overlay, ""); }, "{}"},
    {__LINE__, [](TConfig) { Remove(); }, "{}"},
    {__LINE__, [](TConfig) { Kill(InOverlay); }, R"({"a":2})"},
    {__LINE__, [](TConfig) { Kill(InJournal), PutText(Overlay, R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](TConfig) { Kill(InOverlay), PutText(Overlay, R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](TConfig) { Kill(InOverlay), Remove(); }, "{}"},
    {__LINE__, [](TConfig) { Kill(InOverlay), Create()->Set("a", 1); }, R"({"a":1})"},
    {__LINE__, [](TConfig) { Kill(InJournal), Create()->Set("a", 7); }, R"({"a":7})"},
    {__LINE__, [](TConfig c) { PutText(Overlay, ""), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](TConfig c) { Remove(), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](TConfig c) { PutText(Overlay, R"({"a)"), c.Set("b", 2); }, R"({"a":1,"b":2})"},
    {__LINE__, [](TConfig c) { Open()->Set("a", 5), c.Set("a", 1); }, R"({"a":1})"},
    {__LINE__, [](TConfig c) { Open()->Set("b", 5), c.Restore("b"); }, R"({"a":1})"},
    {__LINE__, [](TConfig c) { Open()->Set("b", 5), c.Restore("a"); }, R"({"b":5})"},
    {__LINE__, [](TConfig c) { Open()->Set("b", 5), c.Erase(); }, "{}"},
};

TEST_F(SafeConfigTest, TheLastSuccessCounts) {
    const CHooked fast;
    for (const auto& row : Successes) {
        std::filesystem::remove(Journal);
        PutText(Overlay, R"({"a":1})");
        row.work(*Open());
        (void)Open();
        EXPECT_EQ(State(), Parse(row.state)) << "line " << row.line;
        EXPECT_EQ(Answers(*Open()), Parse(row.state)) << "line " << row.line;
    }
}

/// Expects an exception, a configuration and a file as before.
void ExpectThrows(CSafeConfig& config, const std::string& expected,
                  const std::function<void()>& work) {
    const Json::Value before = Answers(config);
    const std::string text = TextOf(Overlay);
    const std::string thrown = Thrown(work);
    EXPECT_EQ(thrown.substr(0, expected.size()), expected) << thrown;
    EXPECT_EQ(Answers(config), before);
    EXPECT_EQ(TextOf(Overlay), text);
}

TEST_F(SafeConfigTest, RejectsWhatCannotBeReadAgain) {
    const auto config = Open();
    const auto nested = [](std::size_t levels) {
        return Parse(std::string(levels, '[') + std::string(levels, ']'));
    };
    const std::pair<std::string, Json::Value> rows[] = {
        {"a", HUGE_VAL},
        {"a", NAN},
        {"\xff", 1},
        {"a", "\xed\xa0\x80"},
        {"a", "\xc3"},
        {"a", "\xc0\xaf"},
        {"a", "\xe0\x80\xaf"},
        {"a", "\xf0\x80\x80\xaf"},
        {"a", "\xf4\x90\x80\x80"},
        {"a", "\xc3("},
        {"a", nested(999)},
    };
    for (const auto& [key, value] : rows) {
        const auto set = [k = key, v = value](IConfig& c) { c.Set("b", 1), c.Set(k, v); };
        ExpectThrows(*config, "std::invalid_argument", [&] { config->Transact(set); });
        ExpectThrows(*config, "std::invalid_argument", [&] { config->Set(key, value); });
    }
    config->Set("deep", nested(998));
    config->Set("a", std::string("\xc3\xa4 \xf4\x8f\xbf\xbf \xed\x9f\xbf \0", 13));
    EXPECT_EQ(Answers(*Open()), Answers(*config));
}

TEST_F(SafeConfigTest, UndoesAChangeThatThrows) {
    std::string called;
    std::function<void()> inside = [] {};
    const auto config = Tamsel::Extras::Open(
        "unit", "", [&](auto& key, auto&) { called += key, inside(); },
        std::chrono::milliseconds(30));
    config->Set("a", 1);
    inside = [] { throw std::out_of_range(""); };
    ExpectThrows(*config, "std::out_of_range", [&] { config->Set("a", 2); });
    inside = [&] { config->Set("b", 2); };
    ExpectThrows(*config, "std::system_error", [&] { config->Set("a", 2); });
    const auto nested = [&](IConfig& c) { c.Set("a", 2), config->Transact([](IConfig&) {}); };
    ExpectThrows(*config, "std::system_error", [&] { config->Transact(nested); });
    for (const std::string& path : {Journal, Overlay}) {
        const Tamsel::Extras::CFileLock lock(path, Tamsel::Extras::CFileLock::EMode::Shared);
        ExpectThrows(*config, "std::system_error", [&] { config->Set("a", 2); });
        ExpectThrows(*config, "std::system_error", [&] { config->Erase(); });
    }
    called.clear();
    inside = [] {};
    config->Transact([&](IConfig& c) {
        c.Set("z", 1), c.Reload(), c.Erase(), c.Set("c", 1), c.Set("b", 1), c.Set("b", 1);
        EXPECT_EQ(config->Get("a", 0), 1);
    });
    EXPECT_EQ(called, "cb");
    EXPECT_EQ(State(), Parse(R"({"b":1,"c":1})"));
    inside = [] { throw std::out_of_range(""); };
    EXPECT_THROW(config->Transact([](IConfig& c) { c.Set("d", 1); }), std::out_of_range);
    EXPECT_EQ(State(), Parse(R"({"b":1,"c":1,"d":1})"));
    EXPECT_EQ(Answers(*config), State());
}

TEST_F(SafeConfigTest, IsForAnyThreads) {
    const auto config = Open();
    const auto work = [&](const std::string& name) {
        for (int i = 0; i < 10; ++i) {
            config->Transact([](IConfig& c) { Increment(c, "sum"); });
            config->Set(name, i), config->Reload();
            EXPECT_EQ(config->Get(name, -1), i);
        }
    };
    std::thread other(work, "x");
    work("y");
    other.join();
    EXPECT_EQ(State(), Parse(R"({"sum":20,"x":9,"y":9})"));
}

const struct {
    int line;
    mode_t overlay;
    bool isInOtherGroup;
    mode_t journal;  // found there
    mode_t expected;
} Modes[] = {
    {__LINE__, 0600, false, 0, 0600},    {__LINE__, 0640, false, 0, 0640},
    {__LINE__, 0600, false, 0666, 0600}, {__LINE__, 0664, true, 0, 0644},
    {__LINE__, 0660, true, 0666, 0600},
};

TEST_F(SafeConfigTest, JournalIsNoMoreAccessible) {
    const CHooked fast;
    for (const auto& row : Modes) {
        if (row.isInOtherGroup && geteuid() != 0) continue;
        Remove(), std::filesystem::remove(Journal);
        umask(0);
        PutText(Overlay, "");
        const gid_t group = row.isInOtherGroup ? 1234 : getegid();
        EXPECT_TRUE(geteuid() != 0 || chown(Overlay.c_str(), Nobody, group) == 0);
        chmod(Overlay.c_str(), row.overlay);
        const CAsUser user(Nobody, Nobody);
        if (row.journal != 0) PutText(Journal, ""), chmod(Journal.c_str(), row.journal);
        Open()->Set("a", 1);
        struct stat journal {};
        EXPECT_EQ(stat(Journal.c_str(), &journal), 0);
        EXPECT_EQ(journal.st_mode & 0777, row.expected) << "line " << row.line;
    }
}

TEST_F(SafeConfigTest, ServesReadersAndTheFoldersOwner) {
    const auto asNobody = [](const std::function<void()>& work) {
        const CAsUser user(Nobody, Nobody);
        return Thrown(work);
    };
    PutText(Overlay, R"({"a":1})");
    chmod("data/config", 0555);
    EXPECT_EQ(asNobody([] { Open(); }).substr(0, 21), "Tamsel::CAccessDenied");
    EXPECT_EQ(asNobody([] { EXPECT_EQ(Answers(*Create()), State()); }), "");
    chmod("data/config", 0777);
    Open()->Set("a", 2);
    chmod(Overlay.c_str(), 0444), chmod(Journal.c_str(), 0444);
    EXPECT_EQ(asNobody([] {
                  const auto config = Open();
                  ExpectThrows(*config, "Tamsel::CInvalidConfig", [&] { config->Set("a", 3); });
              }),
              "");
    Remove(), std::filesystem::remove(Journal);
    EXPECT_TRUE(geteuid() != 0 || chown("data/config", Nobody, Nobody) == 0);
    Open()->Set("a", 1);
    EXPECT_EQ(asNobody([] { Open()->Set("a", 2); }), "");
}

}  // namespace
