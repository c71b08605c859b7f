// SPDX-License-Identifier: MIT
#include <tamsel/file_stream.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <memory>

#include <tamsel/file_util.h>

#include "memory_stream.h"
#include "support/process.h"
#include "support/temp_root.h"

using namespace Tamsel;
namespace fs = std::filesystem;

TEST(Stream, InMemoryAndOnDiskReadsBackWhatWasWrittenAndTellsOfItOnce) {
    const CTempRoot root;
    const std::shared_ptr<IFileStream> streams[] = {
        std::make_shared<CMemoryStream>(), std::make_shared<CFileStream>(root.Path("file"))};
    for (const auto& stream : streams) {
        for (const auto& text : {std::string(20000, 'x'), std::string("\0a\r\n\xFF\0", 6)}) {
            std::string content = "before";
            EXPECT_TRUE(stream->Write(text));
            EXPECT_TRUE(stream->HasChanged());
            EXPECT_TRUE(stream->Read(content));
            EXPECT_EQ(content, text);
            EXPECT_EQ(stream->GetFileSize(), text.size());
            EXPECT_FALSE(stream->HasChanged());
        }
    }
}

TEST(File, WriterWaitsForALockWhileTheOldContentStands) {
    const CTempRoot root;
    const std::string path = root.Put("file", "old");
    FILE* const other = fopen(path.c_str(), "r");
    ASSERT_EQ(flock(fileno(other), LOCK_EX), 0);
    const pid_t writer = Spawn([&] { return WriteFile(path, "new"); });
    const std::string waiting = "WRITE " + std::to_string(writer) + " ";
    std::string locks;
    EXPECT_TRUE(Eventually([&] {
        return ReadFile("/proc/locks", locks) && locks.find(waiting) != std::string::npos;
    }));
    EXPECT_EQ(root.Text("file"), "old");
    flock(fileno(other), LOCK_UN);
    EXPECT_TRUE(Join(writer));
    EXPECT_EQ(root.Text("file"), "new");
    fclose(other);
}

TEST(Watch, OnOverlayfsSeesTheMergedPathAndNotTheLayersBelow) {
    const CTempRoot root;
    for (const char* folder : {"upper", "work", "merged"}) fs::create_directory(root.Path(folder));
    root.Put("lower/file", "old");
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

TEST(File, ReadabilityIsTheRealUsersAlsoInASetUserIdProgram) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become two users";
    const CTempRoot root;
    const std::string path = root.Put("file", "old");
    fs::permissions(path, fs::perms(0600));
    EXPECT_TRUE(Join(Spawn([&] {
        std::string content;
        return setresuid(65534, 0, 0) == 0 && !IsReadable(path) && ReadFile(path, content);
    })));
}
