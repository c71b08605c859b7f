// SPDX-License-Identifier: MIT
// What a configuration from Open promises to its process and to all others.
#include <tamsel/extras/crash_safe_file_stream.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <map>
#include <random>

#include "support/extras_support.h"

namespace {

using Tamsel::IConfig;
using Tamsel::Extras::CSafeConfig;

class SafeConfig : public InTestDirectory {};

void Increment(IConfig& config, const std::string& key) { config.Set(key, config.Get(key, 0) + 1); }

/// A process that counts until it is killed at its nth call.
bool Count(const std::string& name, int changes, int lifetime, bool isFast) {
    const CHook hook([&](const SCall& call) {
        return lifetime-- == 0 ? raise(SIGKILL) : isFast ? CHook::Fast(call) : 0;
    });
    const auto config = Open();
    while (config->Get("plain" + name, 0) < changes) {
        config->Transact([&](IConfig& c) { Increment(c, "own" + name), Increment(c, "sum"); });
        Increment(*config, "plain" + name);
    }
    return true;
}

// TAMSEL_TEST_KILLS=1000 runs a campaign that waits for the disk.
TEST_F(SafeConfig, LosesNoChangeOfProcessesThatAreKilled) {
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
        const std::string name = running.extract(wait(&status)).mapped();
        ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
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

/// Stores a 2 and is killed before its nth synchronisation.
void Kill(int nth) {
    EXPECT_FALSE(Join(Spawn([&] {
        const CHook hook([&](const SCall& call) {
            return call.name == "fdatasync" && --nth == 0 ? raise(SIGKILL) : CHook::Fast(call);
        });
        return Open()->Set("a", 2), true;
    })));
}
constexpr int InJournal = 2, InOverlay = 3;

void Put(const char* text) { PutText(Overlay, text); }
void Remove() { std::filesystem::remove(Overlay); }
void SetBare(int value) {
    const CHook none(nullptr);  // it insists on inotify
    Tamsel::Create("unit", "")->Set("a", value);
}

/// Another process writes without a lock while a change waits for the disk.
void PutDuring(CSafeConfig& config) {
    int left = InOverlay;
    const CHook hook([&](const SCall& call) {
        if (call.name == "fdatasync" && --left == 0) Put(R"({"a":9})");
        return CHook::Fast(call);
    });
    EXPECT_THROW(config.Set("a", 2), Tamsel::CInvalidConfig);
}

const struct {
    int line;
    std::function<void(CSafeConfig&)> work;
    const char* state;
} Successes[] = {
    {__LINE__, [](auto&) { Put(""); }, "{}"},
    {__LINE__, [](auto&) { Kill(InOverlay); }, R"({"a":2})"},
    {__LINE__, [](auto&) { Kill(InJournal), Put(R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](auto&) { Kill(InOverlay), Put(R"({"a":3})"); }, R"({"a":3})"},
    {__LINE__, [](auto&) { Kill(InOverlay), Put("["); }, R"({"a":2})"},
    {__LINE__, [](auto& c) { Kill(InOverlay), Put("["), c.Reload(), SetBare(3); }, R"({"a":3})"},
    {__LINE__, [](auto&) { Kill(InOverlay), Remove(); }, "{}"},
    {__LINE__, [](auto&) { Kill(InOverlay), SetBare(1); }, R"({"a":1})"},
    {__LINE__, [](auto&) { Kill(InJournal), SetBare(7); }, R"({"a":7})"},
    {__LINE__, [](auto& c) { PutDuring(c); }, R"({"a":9})"},
    {__LINE__, [](auto& c) { Put(""), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](auto& c) { Remove(), c.Set("b", 2); }, R"({"b":2})"},
    {__LINE__, [](auto& c) { Put(R"({"a)"), c.Set("b", 2); }, R"({"a":1,"b":2})"},
    {__LINE__, [](auto& c) { Open()->Set("a", 5), c.Set("a", 1); }, R"({"a":1})"},
    {__LINE__, [](auto& c) { Open()->Set("b", 5), c.Restore("b"); }, R"({"a":1})"},
    {__LINE__, [](auto& c) { Open()->Set("b", 5), c.Restore("a"); }, R"({"b":5})"},
    {__LINE__, [](auto& c) { Open()->Set("b", 5), c.Erase(); }, "{}"},
};

TEST_F(SafeConfig, TheLastSuccessfulWriteWins) {
    const CHook fast;
    for (const auto& row : Successes) {
        const auto config = Open();
        config->Erase(), config->Set("a", 1);
        row.work(*config);
        EXPECT_EQ(ValuesOf(*Open()), Parse(row.state)) << "line " << row.line;
        EXPECT_EQ(State(), Parse(row.state)) << "line " << row.line;
    }
}

/// Expects an exception, and memory and file as before.
void ExpectThrows(CSafeConfig& config, const char* expected, const std::function<void()>& work) {
    const Json::Value before = ValuesOf(config);
    const std::string text = TextOf(Overlay);
    EXPECT_EQ(Thrown(work).rfind(expected, 0), 0) << Thrown(work);
    EXPECT_EQ(ValuesOf(config), before);
    EXPECT_EQ(TextOf(Overlay), text);
}

TEST_F(SafeConfig, RejectsWhatCannotBeReadAgain) {
    const auto config = Open();
    const auto nested = [](std::size_t levels) {
        return Parse(std::string(levels, '[') + std::string(levels, ']'));
    };
    std::vector<Json::Value> values{HUGE_VAL, NAN, nested(999)};
    for (const char* const text : {"\xed\xa0\x80", "\xc3", "\xc3(", "\xc0\xaf", "\xe0\x80\xaf",
                                   "\xf0\x80\x80\xaf", "\xf4\x90\x80\x80"}) {
        values.emplace_back(text);
        values.emplace_back()[text] = 1;
        const auto set = [&](IConfig& c) { c.Set("b", 1), c.Set(text, 1); };
        ExpectThrows(*config, "std::invalid_argument", [&] { config->Transact(set); });
    }
    for (const Json::Value& value : values) {
        ExpectThrows(*config, "std::invalid_argument", [&] { config->Set("a", value); });
    }
    config->Set("deep", nested(998));
    config->Set("a", std::string("\xc3\xa4 \xf4\x8f\xbf\xbf \xed\x9f\xbf \0", 13));
    EXPECT_EQ(ValuesOf(*Open()), ValuesOf(*config));
}

TEST_F(SafeConfig, UndoesAChangeThatThrows) {
    std::string called;
    std::function<void()> inside = [] {};
    const auto notify = [&](const std::string& key, auto&) { called += key, inside(); };
    const auto config = Tamsel::Extras::Open("unit", "", notify, std::chrono::milliseconds(30));
    config->Set("a", 1);
    const char* const deadlock = "std::system_error: Failed to lock the configuration: Resource";
    inside = [&] { config->Set("b", 2); };
    ExpectThrows(*config, deadlock, [&] { config->Set("a", 2); });
    const auto nested = [&](IConfig& c) { c.Set("a", 2), config->Transact([](IConfig&) {}); };
    ExpectThrows(*config, deadlock, [&] { config->Transact(nested); });
    for (const std::string& path : {Journal, Overlay}) {
        const Tamsel::Extras::CFileLock lock(path, Tamsel::Extras::CFileLock::EMode::Shared);
        config->Reload();
        ExpectThrows(*config, "std::system_error", [&] { config->Erase(); });
        const auto open = [&] {
            Tamsel::Extras::Open("unit", "", notify, std::chrono::milliseconds(0));
        };
        EXPECT_EQ(Thrown(open).empty(), path == Overlay);
    }
    Put("[");
    ExpectThrows(*config, "Tamsel::CInvalidConfig", [&] { config->Reload(); });
    Put(R"({"y":1})");
    config->Transact([&](IConfig& c) {
        called.clear(), inside = [] {};
        c.Set("z", 1), c.Reload(), c.Restore("y"), c.Set("c", 1), c.Set("b", 1), c.Set("b", 1);
        EXPECT_EQ(config->Get("a", 0), 1);
    });
    EXPECT_EQ(called, "cb");
    inside = [] { throw std::out_of_range(""); };
    EXPECT_THROW(config->Transact([](IConfig& c) { c.Set("d", 1); }), std::out_of_range);
    EXPECT_EQ(State(), Parse(R"({"b":1,"c":1,"d":1})"));
    ExpectThrows(*config, "std::out_of_range", [&] { config->Set("a", 3); });
    EXPECT_EQ(ValuesOf(*config), State());
}

TEST_F(SafeConfig, KeepsUsingTheFileThatItOpened) {
    const CHook fast;
    const auto config = Open();
    std::filesystem::create_symlink("unit.json", "data/config/link.json");
    Tamsel::Extras::Open("link", "")->Set("a", 1);
    EXPECT_FALSE(std::filesystem::exists("data/config/link.json.journal"));
    std::filesystem::current_path("etc");
    config->Set("b", 2);
    std::filesystem::current_path("..");
    EXPECT_EQ(State(), Parse(R"({"a":1,"b":2})"));
}

TEST_F(SafeConfig, StreamsMergeToo) {
    const CHook fast;
    Tamsel::Extras::CCrashSafeFileStream one(Overlay), other(Overlay);
    std::string text;
    one.Write(R"({"a":1})"), other.Read(text), other.Write(R"({"a":1,"b":2})");
    one.Write(R"({"c":3})"), one.Write(R"({"c":4})");
    EXPECT_EQ(State(), Parse(R"({"b":2,"c":4})"));
    EXPECT_THROW(one.Write("["), Tamsel::CInvalidConfig);
    EXPECT_EQ(State(), Parse(R"({"b":2,"c":4})"));
}

TEST_F(SafeConfig, LocksTheFileThatThePathNames) {
    using Tamsel::Extras::CFileLock;
    Put("old");
    auto lock = std::make_unique<CFileLock>(Overlay, CFileLock::EMode::Exclusive);
    EXPECT_EQ(fcntl(lock->Descriptor(), F_GETFD), FD_CLOEXEC);
    const pid_t waiting = Spawn([] {  // with the descriptor of that lock, too
        const auto limit = std::chrono::seconds(5);
        return CFileLock(Overlay, CFileLock::EMode::Exclusive, limit).Read() == "new";
    });
    usleep(30000);
    PutText("new", "new");
    std::filesystem::rename("new", Overlay);
    lock.reset();
    EXPECT_TRUE(Join(waiting));
}

TEST_F(SafeConfig, JournalIsNoMoreAccessibleThanTheOverlay) {
    const CHook fast;
    const bool isRoot = geteuid() == 0;
    const struct {
        int line;
        gid_t group;
        mode_t overlay, journal, expected;
    } rows[] = {{__LINE__, getegid(), 0600, 0666, 0600},
                {__LINE__, getegid(), 0640, 0600, 0640},
                {__LINE__, getegid(), 0600, 0, 0600},
                {__LINE__, 1234, 0664, 0600, 0644},
                {__LINE__, 1234, 0660, 0666, 0600}};
    umask(0);
    for (const auto& row : rows) {
        Remove(), std::filesystem::remove(Journal);
        Put("");
        if (chown(Overlay.c_str(), isRoot ? Nobody : geteuid(), row.group) != 0) continue;
        chmod(Overlay.c_str(), row.overlay);
        const CAsUser user(Nobody, Nobody);
        if (row.journal != 0) PutText(Journal, ""), chmod(Journal.c_str(), row.journal);
        const auto expect = [&](mode_t mode) {
            struct stat journal {};
            EXPECT_EQ(stat(Journal.c_str(), &journal), 0);
            EXPECT_EQ(journal.st_mode & 0777, mode) << "line " << row.line;
        };
        const CHook hook([&](const SCall& call) {
            if (row.journal == 0 && call.name == "flock") expect(0600);  // since it was created
            return CHook::Fast(call);
        });
        const auto config = Open();
        expect(row.expected);
        chmod(Overlay.c_str(), 0600);
        config->Set("a", 1);
        expect(0600);
    }
}

TEST_F(SafeConfig, WorksForReadersAndTheOwnerOfTheDirectory) {
    const CHook fast;
    const auto asNobody = [](const std::function<void()>& work) {
        const CAsUser user(Nobody, Nobody);
        return Thrown(work);
    };
    for (const std::string& present : {Overlay, Journal}) {
        PutText(present, ""), chmod(present.c_str(), 0666);
        chmod("data/config", 0555);
        EXPECT_EQ(asNobody([] { Open(); }).rfind("Tamsel::CAccessDenied", 0), 0) << present;
        chmod("data/config", 0777);
        std::filesystem::remove(present);
    }
    Put(R"({"a":1})"), Kill(InOverlay), Put("[");
    chmod(Overlay.c_str(), 0444), chmod(Journal.c_str(), 0444);
    const auto read = [] {
        const auto config = Open();
        EXPECT_EQ(ValuesOf(*config), Parse(R"({"a":2})"));
        ExpectThrows(*config, "Tamsel::CInvalidConfig", [&] { config->Set("a", 3); });
    };
    EXPECT_EQ(asNobody(read), "");
    chmod(Journal.c_str(), 0666), chmod(Overlay.c_str(), 0600);
    EXPECT_EQ(chown(Overlay.c_str(), geteuid() == 0 ? Nobody : geteuid(), getegid()), 0);
    EXPECT_EQ(asNobody([] { Open()->Set("a", 3); }).empty(), geteuid() != 0);
    Remove(), std::filesystem::remove(Journal);
    EXPECT_EQ(chown("data/config", geteuid() == 0 ? Nobody : geteuid(), getegid()), 0);
    Open()->Set("a", 1);
    EXPECT_EQ(asNobody([] { Open()->Set("a", 2); }), "");
}

}  // namespace

TEST_F(SafeConfig, FollowsALinkToTheOverlayButNotToAJournal) {
    PutText("secret", "x"), Put("{}");
    for (const char* const target : {"../../secret", "../../missing"}) {
        std::filesystem::remove(Journal);
        std::filesystem::create_symlink(target, Journal);
        EXPECT_NE(Thrown([] { Open(); }), "") << target;
        EXPECT_EQ(TextOf("secret"), "x");
        EXPECT_FALSE(std::filesystem::exists("missing"));
    }
    std::filesystem::remove(Journal);
    std::filesystem::remove(Overlay);
    std::filesystem::create_symlink("../../missing", Overlay);
    Open()->Set("a", 1);
    EXPECT_EQ(Parse(TextOf("missing")), Parse(R"({"a":1})"));
    EXPECT_TRUE(std::filesystem::is_empty("missing.journal"));
}

TEST_F(SafeConfig, ReplacesABrokenFileByTheOverlayInMemory) {
    const auto config = Open();
    config->Set("a", 1);
    PutText(Overlay, "{");
    config->Set("a", 1);
    EXPECT_EQ(Parse(TextOf(Overlay)), Parse(R"({"a":1})"));
}

TEST_F(SafeConfig, OpensWhileTheDefaultsAreLocked) {
    PutText("etc/config/unit.json", R"({"a":1})");
    using Tamsel::Extras::CFileLock;
    const CFileLock lock("etc/config/unit.json", CFileLock::EMode::Exclusive);
    EXPECT_EQ(
        Tamsel::Extras::Open("unit", "", "config", {}, std::chrono::milliseconds(1))->Get("a", 0),
        1);
}
