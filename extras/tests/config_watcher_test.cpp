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

/// Writes as a slow program does that takes no lock.
void WriteSlowly(const std::string& text) {
    std::ofstream file(Overlay);
    for (const char byte : text) {
        std::this_thread::sleep_for(5ms);
        file << byte << std::flush;
    }
}

/// Makes more events than the kernel keeps.
void Overflow() {
    for (int i = 0; i < 6000; ++i) {
        PutText("data/config/other", "x");
        std::filesystem::remove("data/config/other");
    }
    PutText(Overlay, R"({"a":7})");
}

const struct {
    int line;
    std::function<void()> work;
    const char* values;
    bool isBroken = false;
} Steps[] = {
    {__LINE__, [] { PutText(Overlay, R"({"a":1})"); }, R"({"a":1,"d":1})"},
    {__LINE__, [] { Open()->Set("d", 2); }, R"({"a":1,"d":2})"},
    {__LINE__, [] { Create()->Set("b", 3); }, R"({"a":1,"b":3,"d":2})"},
    {__LINE__, [] { PutText(Overlay, "[1]"); }, R"({"a":1,"b":3,"d":2})", true},
    {__LINE__, [] { Replace(R"({"a":2})"); }, R"({"a":2,"d":1})"},
    {__LINE__, [] { Replace(std::string(2000, '[')); }, R"({"a":2,"d":1})", true},
    {__LINE__, [] { PutText(Overlay, ""); }, R"({"d":1})"},
    {__LINE__, [] { WriteSlowly(R"({"a":4})"); }, R"({"a":4,"d":1})"},
    {__LINE__, [] { std::filesystem::remove_all("data/config"); }, R"({"d":1})"},
    {__LINE__, [] { std::filesystem::create_directory("data/config"), Replace(R"({"a":5})"); },
     R"({"a":5,"d":1})"},
    {__LINE__, [] { std::filesystem::remove(Overlay); }, R"({"d":1})"},
    {__LINE__, Overflow, R"({"a":7,"d":1})"},
};

class CConfigWatcherTest : public InTestFolder {
protected:
    bool Wait(std::chrono::milliseconds limit) {
        pollfd descriptors[3];
        for (int i = 0; i < 3; ++i) descriptors[i] = {m_watchers[i].Descriptor(), POLLIN, 0};
        return poll(descriptors, 3, static_cast<int>(limit.count())) > 0;
    }

    static Json::Value Values(const CConfigWatcher& watcher) {
        Json::Value values(Json::objectValue);
        for (const auto& [key, value] : watcher.Values()) values[key] = value;
        return values;
    }

    const std::shared_ptr<Tamsel::Extras::CSafeConfig> m_safe =
        (PutText("etc/config/unit.json", R"({"d":1})"), Open());
    const std::shared_ptr<Tamsel::IConfig> m_bare = Create();
    CConfigWatcher m_watchers[3] = {CConfigWatcher(m_safe),
                                    CConfigWatcher("unit", "", "config", m_bare),
                                    CConfigWatcher("unit", "")};
};

TEST_F(CConfigWatcherTest, ReportsWhatWasWrittenAndTheLast) {
    Json::Value before = Parse(R"({"d":1})");
    for (const auto& step : Steps) {
        const Json::Value after = Parse(step.values);
        const auto isBehind = [&](const CConfigWatcher& watcher) {
            return Values(watcher) != after || watcher.Problem().empty() == step.isBroken;
        };
        std::thread writer(step.work);
        const auto end = TClock::now() + 10s;
        while (std::any_of(m_watchers, m_watchers + 3, isBehind) && TClock::now() < end) {
            Wait(1s);
            for (CConfigWatcher& watcher : m_watchers) {
                (void)watcher.Changes();
                EXPECT_TRUE(Values(watcher) == before || Values(watcher) == after) << step.line;
            }
        }
        writer.join();
        EXPECT_LT(TClock::now(), end) << "line " << step.line;
        EXPECT_EQ(Answers(*m_safe), after) << "line " << step.line;
        EXPECT_EQ(Answers(*m_bare), after) << "line " << step.line;
        before = after;
    }
}

TEST_F(CConfigWatcherTest, ReportsEachKeyOnceAndThenSleeps) {
    m_safe->Set("b", 1);
    for (int wakes = 0; Wait(300ms); ++wakes) {
        ASSERT_LT(wakes, 20);
        for (CConfigWatcher& watcher : m_watchers) (void)watcher.Changes();
    }
    PutText(Overlay, R"({"c":true})");
    for (CConfigWatcher& watcher : m_watchers) {
        const auto changes = watcher.Changes();
        ASSERT_EQ(changes.size(), 2);
        EXPECT_TRUE(changes[0].key == "b" && changes[0].before == Json::Value(1) &&
                    !changes[0].after);
        EXPECT_TRUE(changes[1].key == "c" && !changes[1].before &&
                    changes[1].after == Json::Value(true));
        EXPECT_TRUE(watcher.Changes().empty());
    }
}

TEST_F(CConfigWatcherTest, SeesNoStateThatNobodyWrote) {
    const auto text = [](int i, std::size_t size) {
        Json::Value value;
        value["x"] = value["y"] = i;
        value["pad"] = std::string(size, 'x');
        return value.toStyledString();
    };
    const std::function<void(int)> writers[] = {
        [&](int i) { PutText(Overlay, text(i, 9000)); }, [&](int i) { Replace(text(i, 10)); },
        [&](int i) { Open()->Transact([&](auto& c) { c.Set("x", i), c.Set("y", i); }); }};
    for (const auto& write : writers) {
        Spawn([&] {
            for (int i = 0; i < 30; ++i) write(i);
            return true;
        });
    }
    while (waitpid(-1, nullptr, WNOHANG) >= 0 || Wait(400ms)) {
        for (CConfigWatcher& watcher : m_watchers) {
            (void)watcher.Changes();
            EXPECT_EQ(Values(watcher)["x"], Values(watcher)["y"]);
        }
    }
    for (const CConfigWatcher& watcher : m_watchers) EXPECT_EQ(Values(watcher), Answers(*Open()));
}

}  // namespace
