// SPDX-License-Identifier: MIT
// Every way to change a file, as a follower sees it.
#include <gtest/gtest.h>
#include <poll.h>
#include <tamsel/extras/config_watcher.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "support/process.h"
#include "support/unit.h"

namespace {

using namespace std::chrono_literals;
using Tamsel::Extras::CConfigWatcher;

void Replace(const CUnit& unit, const std::string& text) {
    std::filesystem::rename(unit.Put("data/config/new", text), unit.Overlay());
}

/// Writes as a program does that flushes in between, takes no lock and is slow.
void WriteInTwo(const CUnit& unit, const std::string& text) {
    std::ofstream file(unit.Overlay());
    for (const char byte : text) {
        file << byte << std::flush;
        std::this_thread::sleep_for(3ms);
    }
}

void Overflow(const CUnit& unit) {
    for (int i = 0; i < 6000; ++i) std::filesystem::remove(unit.Put("data/config/x", "x"));
    unit.Copy(R"({"a":7})");
}

struct SStep {
    int line;
    std::function<void(const CUnit&)> work;
    const char* values;
    bool isBroken = false;
};

const SStep Steps[] = {
    {__LINE__, [](auto& u) { u.Copy(R"({"a":1})"); }, R"({"a":1,"d":1})"},
    {__LINE__, [](auto& u) { u.Open()->Set("d", 2); }, R"({"a":1,"d":2})"},
    {__LINE__, [](auto& u) { u.Create()->Set("b", 3); }, R"({"a":1,"b":3,"d":2})"},
    {__LINE__, [](auto& u) { u.Copy("[1]"); }, R"({"a":1,"b":3,"d":2})", true},
    {__LINE__, [](auto& u) { Replace(u, R"({"a":2})"); }, R"({"a":2,"d":1})"},
    {__LINE__, [](auto& u) { u.Copy("{\"a\":" + std::string(2000, '[')); }, R"({"a":2,"d":1})",
     true},
    {__LINE__, [](auto& u) { u.Copy(""); }, R"({"d":1})"},
    {__LINE__, [](auto& u) { WriteInTwo(u, R"({"a":4})"); }, R"({"a":4,"d":1})"},
    {__LINE__, [](auto& u) { std::filesystem::remove_all(u.Folder()); }, R"({"d":1})"},
    {__LINE__, [](auto& u) { u.Reset(), u.Copy(R"({"a":5})"); }, R"({"a":5,"d":1})"},
    {__LINE__, [](auto& u) { std::filesystem::remove(u.Overlay()); }, R"({"d":1})"},
    {__LINE__, Overflow, R"({"a":7,"d":1})"},
};

std::string Printed(const Tamsel::TConfigMap& map) {
    Json::Value json(Json::objectValue);
    for (const auto& [key, value] : map) json[key] = value;
    return OneLine(json);
}

enum class EFollow { Safe, Bare, Alone };

class CConfigWatcherTest : public testing::TestWithParam<EFollow> {
protected:
    std::unique_ptr<CConfigWatcher> Follow() {
        m_unit.Put("etc/config/unit.json", R"({"d":1})");
        if (GetParam() == EFollow::Alone)
            return std::make_unique<CConfigWatcher>("unit", m_unit.Path());
        if (GetParam() == EFollow::Safe) {
            const auto config = m_unit.Open();
            m_config = config;
            return std::make_unique<CConfigWatcher>(config);
        }
        m_config = m_unit.Create();
        return std::make_unique<CConfigWatcher>("unit", m_unit.Path(), "config", m_config);
    }

    const CUnit m_unit;
    std::shared_ptr<Tamsel::IConfig> m_config;
};

bool IsReadable(const CConfigWatcher& watcher, std::chrono::milliseconds limit) {
    pollfd descriptor{watcher.Descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, static_cast<int>(limit.count())) == 1;
}

TEST_P(CConfigWatcherTest, ReportsWhatWasWrittenAndTheLast) {
    const auto watcher = Follow();
    std::string before = R"({"d":1})";
    for (const SStep& step : Steps) {
        std::thread writer([&] { step.work(m_unit); });
        const auto end = std::chrono::steady_clock::now() + 5s;
        while (Printed(watcher->Values()) != step.values ||
               watcher->Problem().empty() == step.isBroken) {
            ASSERT_LT(std::chrono::steady_clock::now(), end)
                << step.line << Printed(watcher->Values());
            if (IsReadable(*watcher, 5s)) (void)watcher->Changes();
            const std::string now = Printed(watcher->Values());
            EXPECT_TRUE(now == before || now == step.values) << step.line << now;
        }
        writer.join();
        EXPECT_EQ(m_config ? Answers(*m_config) : step.values, step.values) << step.line;
        before = step.values;
    }
    while (IsReadable(*watcher, 300ms)) EXPECT_TRUE(watcher->Changes().empty());
    m_unit.Copy(R"({"b":true,"d":1})");
    ASSERT_TRUE(IsReadable(*watcher, 5s));
    const auto changes = watcher->Changes();
    ASSERT_EQ(changes.size(), 2);
    EXPECT_EQ(changes[0].key + changes[1].key, "ab");
    EXPECT_TRUE(changes[0].before == Json::Value(7) && !changes[0].after);
    EXPECT_TRUE(!changes[1].before && changes[1].after == Json::Value(true));
}

TEST_P(CConfigWatcherTest, SeesNoStateThatNobodyWrote) {
    const auto watcher = Follow();
    const auto text = [](int i, std::size_t size) {
        return "{\"x\":" + std::to_string(i) + ",\"pad\":\"" + std::string(size, 'x') +
               "\",\"y\":" + std::to_string(i) + "}";
    };
    const std::function<void(int)> writers[] = {
        [&](int i) { m_unit.Copy(text(i, 9000)); }, [&](int i) { Replace(m_unit, text(i, 10)); },
        [&](int i) { m_unit.Open()->Transact([&](auto& c) { c.Set("x", i), c.Set("y", i); }); }};
    std::vector<pid_t> children;
    for (const auto& write : writers) {
        children.push_back(Spawn([&] {
            for (int i = 0; i < 30; ++i) write(i);
            return true;
        }));
    }
    for (const pid_t child : children) {
        while (waitpid(child, nullptr, WNOHANG) == 0) {
            if (IsReadable(*watcher, 10ms)) (void)watcher->Changes();
            const auto& values = watcher->Values();
            EXPECT_TRUE(values.count("x") == 0 || values.at("x") == values.at("y"));
        }
    }
    m_unit.Copy(R"({"x":-1,"y":-1})");
    while (IsReadable(*watcher, 300ms)) (void)watcher->Changes();
    EXPECT_EQ(Printed(watcher->Values()), R"({"d":1,"x":-1,"y":-1})");
}

INSTANTIATE_TEST_SUITE_P(, CConfigWatcherTest,
                         testing::Values(EFollow::Safe, EFollow::Bare, EFollow::Alone));

}  // namespace
