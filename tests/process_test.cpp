// SPDX-License-Identifier: MIT
// What holds between processes and between threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <tamsel/tamsel.h>

#include "support/process.h"
#include "support/temp_root.h"

using namespace Tamsel;

TEST(Process, WritersFollowOneAnotherAndAReaderIsToldInTheEnd) {
    const CTempRoot root;
    root.Put("data/config/n.json", "");
    const auto reader = Create("n", root.Path());
    const auto write = [&](char letter) {
        return Spawn([&root, letter] {
            const auto config = Create("n", root.Path());
            for (int round = 0; round < 200; ++round) {
                config->Set("text", std::string(10000, letter) + std::to_string(round));
            }
            return true;
        });
    };
    const pid_t writers[] = {write('a'), write('b')};
    for (int round = 0; round < 200; ++round) {
        try {
            reader->Reload();
        } catch (const CInvalidConfig&) {  // half-written: the reader keeps what it had
        }
        EXPECT_LE(reader->Get("text", std::string()).size(), 10003U);
    }
    for (const pid_t writer : writers) EXPECT_TRUE(Join(writer));
    EXPECT_TRUE(reader->HasChanged());
    reader->Reload();
    const std::string text = reader->Get("text", std::string());
    EXPECT_EQ(text, std::string(10000, text[0]) + "199") << "one writer's last text, whole";
}

TEST(Threads, ReadersBesideAWriterSeeOldOrNewAndNothingBetween) {
    const CTempRoot root;
    root.Put("etc/config/n.json", R"({"default":1})");
    root.Put("data/config/n.json", R"({"k":0})");
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
    std::thread readers[] = {std::thread(watch), std::thread(watch)};
    for (int value = 1; value <= 100; ++value) {
        config->Set("k", value);
        config->Reload();
        config->HasChanged();
    }
    isDone = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong, 0);
}
