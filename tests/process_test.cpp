// SPDX-License-Identifier: MIT
// Threads, processes, signals, mounts and long runs.
#include <malloc.h>
#include <sched.h>
#include <sys/mount.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "support/test_support.h"

using namespace Tamsel;

namespace {

const char* const Path = "data/config/n.json";

class Processes : public InTestDirectory {
protected:
    /// Waits until another process has made the file, ten seconds at most.
    static void Await(const std::string& file) {
        for (int round = 0; round < 10000 && !Exists(file); ++round) usleep(1000);
    }
    std::shared_ptr<IConfig> config = (PutText(Path, R"({"k":0})"), Create("n", ""));
};

}  // namespace

TEST_F(Processes, ReadersSeeOldOrNewDuringWritesAndSignals) {
    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGUSR1, &interrupt, nullptr);
    const pid_t storm = Spawn([target = getpid()] {
        while (kill(target, SIGUSR1) == 0) WriteFile(Path, std::string(5000, ' '));
        return true;
    });
    std::atomic<bool> isDone = false;
    const auto watch = [&] {
        for (int last = 0; !isDone && !HasFailure();) {
            const int now = config->Get("k", -1);
            EXPECT_TRUE(now >= last && config->GetAllConfigKeys().size() == 1);
            last = now;
        }
    };
    std::thread readers[] = {std::thread(watch), std::thread(watch)};
    int value = 0;
    // A signal interrupts the wait for the file's lock, and the next change writes the value too.
    while (++value <= 50) Thrown([&] { config->Set("k", value); });
    kill(storm, SIGKILL);
    Join(storm);
    for (; value <= 80; ++value) {
        config->Set("k", value);
        config->Reload();
    }
    isDone = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(Create("n", "")->Get("k", 0), 80);
}

TEST_F(Processes, BlockOnALockInChangesButNotInReload) {
    const pid_t holder = Spawn([] {
        const int file = open(Path, O_RDWR);
        const bool isEmptied = flock(file, LOCK_EX) == 0 && ftruncate(file, 0) == 0;
        PutText("emptied", "");
        Await("reloaded");
        usleep(200000);
        return isEmptied && TextOf(Path).empty();
    });
    Await("emptied");
    config->Reload();
    EXPECT_TRUE(config->GetAllConfigKeys().empty());
    PutText("reloaded", "");
    config->Set("k", 2);
    EXPECT_TRUE(Join(holder));
    EXPECT_EQ(Create("n", "")->Get("k", 0), 2);
}

TEST_F(Processes, LeakNoDescriptorsAndNoMemory) {
    config->Set("k", 1);
    const auto memory = mallinfo2().uordblks;
    for (int round = 1; round <= 200; ++round) config->Set("k", round);
    for (int round = 1; round <= 30; ++round) Create("n", "")->Get("k", 0);
    EXPECT_LE(mallinfo2().uordblks, memory + 1000);
}

TEST_F(Processes, SeeOnlyChangesOfTheMergedPathOfAnOverlayfs) {
    for (const char* const layer : {"lower", "upper", "work", "merged"}) {
        std::filesystem::create_directory(layer);
    }
    PutText("lower/file", "old");
    const auto inMount = [](const std::function<bool()>& work) {
        const char* const layers = "lowerdir=lower,upperdir=upper,workdir=work";
        return Join(Spawn([&] {
            return unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_REC | MS_PRIVATE, "") == 0 &&
                   mount("overlay", "merged", "overlay", 0, layers) == 0 && work();
        }));
    };
    if (!inMount([] { return true; })) GTEST_SKIP() << "an overlayfs cannot be mounted here";
    EXPECT_TRUE(inMount([] {
        CFileStream stream("merged/file");
        const bool isSeen = stream.Write("copied up") && stream.HasChanged();
        return isSeen && WriteFile("upper/file", "below") && !stream.HasChanged();
    }));
}
