// SPDX-License-Identifier: MIT
// Every way to change a file, as a follower sees it.
#include <poll.h>
#include <tamsel/extras/config_watcher.h>

#include <thread>

#include "support/extras_support.h"

namespace {

using namespace std::chrono_literals;
using TClock = std::chrono::steady_clock;
using Tamsel::Extras::CConfigWatcher;

void Replace(const std::string& text) {
    PutText("data/config/new", text);
    std::filesystem::rename("data/config/new", Overlay);
}

/// Leaves an empty, a truncated and a mixed text on the way, as programs without a lock do.
void WriteSlowly(const std::string& text, bool isInPlace) {
    for (const std::size_t size : {std::size_t{0}, text.size() / 2}) {
        std::this_thread::sleep_for(30ms);
        if (!isInPlace) PutText(Overlay, text.substr(0, size));
    }
    std::fstream file(Overlay, std::ios::in | std::ios::out);
    for (const char byte : text) {
        std::this_thread::sleep_for(5ms);
        file << byte << std::flush;
    }
}

const struct {
    int line;
    std::function<void()> work;
    const char* values;
    bool isBroken = false;
} Steps[] = {
    {__LINE__, [] { PutText(Overlay, R"({"a":1})"); }, R"({"a":1,"d":1})"},
    {__LINE__, [] { Open()->Set("d", 2); }, R"({"a":1,"d":2})"},
    {__LINE__, [] { Tamsel::Create("unit", "")->Set("b", 3); }, R"({"a":1,"b":3,"d":2})"},
    {__LINE__, [] { PutText(Overlay, "[1]"); }, R"({"a":1,"b":3,"d":2})", true},
    {__LINE__, [] { Replace(R"({"a":2})"); }, R"({"a":2,"d":1})"},
    {__LINE__, [] { Replace(std::string(2000, '[')); }, R"({"a":2,"d":1})", true},
    {__LINE__, [] { WriteSlowly(R"({"a":4,"b":4})", false); }, R"({"a":4,"b":4,"d":1})"},
    {__LINE__, [] { WriteSlowly(R"({"a":5,"b":5})", true); }, R"({"a":5,"b":5,"d":1})"},
    {__LINE__, [] { std::filesystem::remove_all("data/config"); }, R"({"d":1})"},
    {__LINE__, [] { std::filesystem::create_directory("data/config"), Replace(R"({"a":5})"); },
     R"({"a":5,"d":1})"},
    {__LINE__, [] { std::filesystem::remove(Overlay); }, R"({"d":1})"},
    {__LINE__, [] { PutText(Overlay, R"({"a":7})"); }, R"({"a":7,"d":1})"},
    {__LINE__, [] { PutText(Overlay, ""); }, R"({"d":1})"},
};

class ConfigWatcher : public InTestDirectory {
protected:
    /// Waits for changes and stores them in `m_changes`. Returns false after the time limit.
    bool Wait(std::chrono::milliseconds limit) {
        pollfd descriptors[3];
        for (int i = 0; i < 3; ++i) descriptors[i] = {m_watchers[i].Descriptor(), POLLIN, 0};
        const bool isReady = poll(descriptors, 3, static_cast<int>(limit.count())) > 0;
        for (std::size_t i = 0; i < 3; ++i) {
            m_changes[i].clear();
            if (descriptors[i].revents != 0) m_changes[i] = m_watchers[i].Changes();
        }
        return isReady;
    }

    static Json::Value Values(const CConfigWatcher& watcher) {
        Json::Value values(Json::objectValue);
        for (const auto& [key, value] : watcher.Values()) values[key] = value;
        return values;
    }

    const std::shared_ptr<Tamsel::Extras::CSafeConfig> m_safe =
        (PutText("etc/config/unit.json", R"({"d":1})"), Open());
    const std::shared_ptr<Tamsel::IConfig> m_bare = Tamsel::Create("unit", "");
    CConfigWatcher m_watchers[3] = {CConfigWatcher(m_safe), CConfigWatcher("unit", ""),
                                    CConfigWatcher("unit", "", "config", m_bare)};
    std::vector<CConfigWatcher::SChange> m_changes[3];
};

TEST_F(ConfigWatcher, ReportsWrittenStatesAndAlwaysTheLast) {
    Json::Value before = Parse(R"({"d":1})");
    bool wasBroken = false;
    for (const auto& step : Steps) {
        const Json::Value after = Parse(step.values);
        const auto isBehind = [&](const CConfigWatcher& watcher) {
            EXPECT_TRUE(Values(watcher) == before || Values(watcher) == after) << step.line;
            EXPECT_TRUE(watcher.Problem().empty() || step.isBroken || wasBroken) << step.line;
            return Values(watcher) != after || watcher.Problem().empty() == step.isBroken;
        };
        std::thread writer(step.work);
        const auto end = TClock::now() + 10s;
        while (std::any_of(m_watchers, m_watchers + 3, isBehind) && TClock::now() < end) Wait(1s);
        writer.join();
        EXPECT_LT(TClock::now(), end) << "line " << step.line;
        EXPECT_TRUE(ValuesOf(*m_safe) == after && ValuesOf(*m_bare) == after) << step.line;
        before = after, wasBroken = step.isBroken;
    }
}

TEST_F(ConfigWatcher, ReportsEachKeyOnceAndThenSleeps) {
    m_safe->Set("b", 1);
    for (int wakes = 0; Wait(300ms); ++wakes) ASSERT_LT(wakes, 10);
    PutText(Overlay, R"({"c":true})");
    Wait(0ms);
    for (const auto& changes : m_changes) {
        ASSERT_EQ(changes.size(), 2);
        EXPECT_TRUE(changes[0].key == "b" && changes[0].before == Json::Value(1));
        EXPECT_TRUE(changes[1].key == "c" && changes[1].after == Json::Value(true));
        EXPECT_FALSE(changes[0].after || changes[1].before);
    }
    Wait(0ms);
    EXPECT_TRUE(m_changes[0].empty() && m_changes[1].empty() && m_changes[2].empty());
}

TEST_F(ConfigWatcher, MissesNothingInAnOverflowOrBeforeConstruction) {
    PutText(Overlay, R"({"c":1})");
    while (Wait(50ms)) continue;
    const auto stale = Open();
    for (int i = 0; i < 6000; ++i) {
        PutText("data/config/other", "x");
        std::filesystem::remove("data/config/other");
    }
    PutText(Overlay, R"({"a":7})");
    CConfigWatcher late(stale);
    pollfd descriptor{late.Descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&descriptor, 1, 1000), 1);
    EXPECT_EQ(late.Changes().size(), 2);
    while (Wait(400ms)) continue;
    for (const CConfigWatcher& watcher : m_watchers) EXPECT_EQ(Values(watcher)["a"], 7);
}

TEST_F(ConfigWatcher, ClosesItsDescriptorsOnExec) {
    const auto countInherited = [] {
        int count = 0;
        for (int descriptor = 0; descriptor < 1024; ++descriptor) {
            const int flags = fcntl(descriptor, F_GETFD);
            if (flags >= 0 && (flags & FD_CLOEXEC) == 0) ++count;
        }
        return count;
    };
    const int before = countInherited();
    const CConfigWatcher watcher(Open());
    EXPECT_EQ(countInherited(), before);
}

TEST_F(ConfigWatcher, ReportsNoStateThatNobodyWrote) {
    const auto text = [](int i, std::size_t size) {
        const std::string number = std::to_string(i);
        return R"({"x":)" + number + R"(,"pad":")" + std::string(size, 'x') + R"(","y":)" + number +
               "}";
    };
    const auto repeat = [](const std::function<void(int)>& write) {
        for (int i = 0; i < 20; ++i) write(i);
        return true;
    };
    Spawn([&] { return repeat([&](int i) { PutText(Overlay, text(i, 9000)); }); });
    Spawn([&] { return repeat([&](int i) { Replace(text(i, 10)); }); });
    std::thread thread([&] {
        const auto set = [&](int i) {
            m_safe->Transact([&](auto& c) { c.Set("x", i), c.Set("y", i); });
        };
        // Throws if another process writes at the same time.
        repeat([&](int i) { Thrown([&] { set(i); }); });
    });
    while (waitpid(-1, nullptr, WNOHANG) >= 0 || Wait(400ms)) {
        for (const CConfigWatcher& watcher : m_watchers) {
            EXPECT_EQ(Values(watcher)["x"], Values(watcher)["y"]);
        }
    }
    thread.join();
    while (Wait(400ms)) continue;
    for (const CConfigWatcher& watcher : m_watchers) EXPECT_EQ(Values(watcher), ValuesOf(*Open()));
}

}  // namespace
