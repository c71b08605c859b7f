// SPDX-License-Identifier: MIT
// What the kernel adds: signals, mounts, and a hundred thousand rounds.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <tamsel/tamsel.h>

#include "support/process.h"
#include "support/temp_root.h"

using namespace Tamsel;

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

TEST(Watch, OnOverlayfsSeesTheMergedPathAndNotTheLayersBelow) {
    const CTempRoot root;
    root.Put("lower/file", "old");
    for (const char* folder : {"upper", "work", "merged"}) {
        std::filesystem::create_directory(root.Path(folder));
    }
    const std::string layers = "lowerdir=" + root.Path("lower") +
                               ",upperdir=" + root.Path("upper") + ",workdir=" + root.Path("work");
    const auto mounted = [&](const std::function<bool()>& work) {
        return Join(Spawn([&] {
            const std::string merged = root.Path("merged");
            return unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_REC | MS_PRIVATE, "") == 0 &&
                   mount("overlay", merged.c_str(), "overlay", 0, layers.c_str()) == 0 && work();
        }));
    };
    if (!mounted([] { return true; })) GTEST_SKIP() << "may not mount";
    EXPECT_TRUE(mounted([&] {
        CFileStream stream(root.Path("merged/file"));
        const bool isSeen = stream.Write("copied up") && stream.HasChanged();
        return isSeen && WriteFile(root.Path("upper/file"), "below") && !stream.HasChanged();
    }));
}
