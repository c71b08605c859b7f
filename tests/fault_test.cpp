// SPDX-License-Identifier: MIT
// What is left after each system call that fails, each kill, each signal, and a hundred thousand
// rounds.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include <tamsel/tamsel.h>

#include "crash_safe_stream.h"
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

TEST(Fault, KilledWriterLeavesAWholeEmptyOrCutFileAndACrashSafeStreamAWholeOne) {
    const std::string texts[] = {R"({"k":")" + std::string(20000, 'a') + "\"}",
                                 R"({"k":")" + std::string(30000, 'b') + "\"}"};
    std::mt19937 random(7);  // NOLINT(bugprone-random-generator-seed): the same kills each time
    const CTempRoot root;
    const auto campaign = [&](IFileStream& stream, int writers) {
        std::map<std::string, int> count;
        stream.Write(texts[0]);
        for (int round = 0; round < 150; ++round) {
            std::vector<pid_t> children;
            for (int i = 0; i < writers; ++i) {
                children.push_back(Spawn([&] {
                    while (stream.Write(texts[i]) && stream.Write(texts[1 - i])) {
                    }
                    return false;
                }));
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            for (const pid_t child : children) {
                kill(child, SIGKILL);
                Join(child);
            }
            EXPECT_TRUE(IsUnlocked(stream.GetPath()));
            std::string text;
            EXPECT_TRUE(stream.Read(text));
            const auto isOf = [&](const std::string& one) {
                return one.compare(0, text.size(), text) == 0;
            };
            const bool isWhole = text == texts[0] || text == texts[1];
            const bool isCut = isOf(texts[0]) || isOf(texts[1]);
            ++count[isWhole ? "whole" : text.empty() ? "empty" : isCut ? "cut" : "mixed"];
        }
        return count;
    };
    CFileStream plain(root.Path("plain"));
    CCrashSafeStream safe(root.Path("safe"));
    auto afterKills = campaign(plain, 2);
    EXPECT_EQ(afterKills["mixed"], 0);
    std::cout << "150 killed pairs of writers left the file " << afterKills["whole"]
              << " times whole, " << afterKills["empty"] << " times empty, " << afterKills["cut"]
              << " times cut short\n";
    EXPECT_EQ(campaign(safe, 1), (std::map<std::string, int>{{"whole", 150}}));
}

TEST(Threads, ReadersBesideAWriterSeeOldOrNewAlsoInAStormOfSignals) {
    const CTempRoot root;
    root.Put("etc/config/n.json", R"({"default":1})");
    const std::string path = root.Put("data/config/n.json", R"({"k":0})");
    const auto config = Create("n", root.Path());
    std::atomic<bool> isDone = false;
    std::atomic<int> wrong = 0;
    const auto watch = [&] {
        for (int last = 0; !isDone;) {
            const int now = config->Get("k", -1);
            const bool isWhole = config->Exists("default", EDataType::Int32) &&
                                 config->GetAllConfigKeys().size() == 2;
            if (now < last || !isWhole) ++wrong;
            last = now;
        }
    };
    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGUSR1, &interrupt, nullptr);
    const pid_t storm = Spawn([&, target = getpid()] {
        while (kill(target, SIGUSR1) == 0) WriteFile(path, std::string(5000, ' '));
        return true;
    });
    std::thread readers[] = {std::thread(watch), std::thread(watch)};
    int value = 0;
    int refused = 0;
    while (++value <= 300) {
        try {
            config->Set("k", value);
        } catch (const CInvalidConfig&) {
            ++refused;  // interrupted while it waited for the lock
        }
    }
    kill(storm, SIGKILL);
    Join(storm);
    while (++value <= 400) {
        config->Set("k", value);
        config->Reload();
        config->HasChanged();
    }
    isDone = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Create("n", root.Path())->Get("k", 0), 400);
    std::cout << refused << " of 300 changes were refused in the storm\n";
}

TEST(Soak, ManyRoundsLeaveDescriptorsAndMemoryAsTheyWere) {
    const CTempRoot root("/dev/shm");
    root.Put("data/config/n.json", "");
    const auto config = Create("n", root.Path());
    config->Set("k", 0);
    const long descriptors = CountDescriptors();
    const auto memory = mallinfo2().uordblks;
    for (int round = 1; round <= 100000; ++round) config->Set("k", round);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < end) Create("n", root.Path())->Get("k", 0);
    EXPECT_EQ(CountDescriptors(), descriptors);
    EXPECT_LE(mallinfo2().uordblks, memory + 10000);
}
