// SPDX-License-Identifier: MIT
#include <tamsel/file_stream.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>

#include <tamsel/errors.h>
#include <tamsel/file_util.h>

#include "memory_stream.h"
#include "support/cases.h"
#include "support/process.h"
#include "support/temp_root.h"

using namespace Tamsel;
namespace fs = std::filesystem;

namespace {

const std::string WithZeros("\0a\r\n\xFF\0", 6);

/// What the six helpers tell of a path, the write last.
std::string Survey(const std::string& path) {
    std::string content = "before";
    unsigned int size = 77;
    std::string told = Exists(path) ? "exists " : "no ";
    told += IsReadable(path) ? "r" : "-";
    told += IsReadWritable(path) ? "w" : "-";
    told += ReadFile(path, content) ? " '" + content + "'" : " unread" + content;
    told += GetSize(path, size) ? " size " + std::to_string(size) : size == 77 ? " unsized" : "?";
    return told + (WriteFile(path, "new") ? " written" : " refused");
}

/// What constructing a stream, reading it and measuring it tells.
template <typename Stream>
std::string Open(const std::string& path) try {
    Stream stream(path);
    std::string content = "before";
    const std::string told = stream.Read(content) ? "'" + content + "'" : "unread" + content;
    return told + " " + std::to_string(stream.GetFileSize()) + " " + stream.GetPath();
} catch (const CAccessDenied& error) {
    return error.what();
}

}  // namespace

TEST(Stream, InMemoryAndOnDiskReadsBackWhatWasWrittenAndTellsOfItOnce) {
    const CTempRoot root;
    const std::shared_ptr<IFileStream> streams[] = {
        std::make_shared<CMemoryStream>(), std::make_shared<CFileStream>(root.Path("file"))};
    for (const auto& stream : streams) {
        EXPECT_FALSE(stream->HasChanged()) << "nor is the file's creation a change";
        for (const auto& text : {std::string(20000, 'x'), WithZeros, std::string()}) {
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

TEST(File, EachKindOfPathAnswersForAnOrdinaryUser) {
    const CTempRoot root;
    for (const auto& [name, mode, helpers, input, overlay] : Cases<5>("files.txt")) {
        const std::string path = root.Path(name);
        if (mode != "-") {
            fs::permissions(root.Put(name, "old"), fs::perms(std::stoi(mode, nullptr, 8)));
        }
        const CAsNobody nobody;
        const auto filled = [&](std::string text) {
            return text.replace(text.find("{}"), 2, path);
        };
        EXPECT_EQ(Survey(path), helpers) << path;
        EXPECT_EQ(Open<CInputFileStream>(path), filled(input));
        EXPECT_EQ(Open<CFileStream>(path), filled(overlay));
    }
    EXPECT_EQ(Survey(""), "no -- unread unsized refused");
    EXPECT_EQ(Survey(root.Path()).substr(0, 12), "exists rw ''") << "a directory reads as empty";
}

TEST(File, IsReplacedInPlaceWithNothingLeftOfALongerOne) {
    const CTempRoot root;
    const std::string path = root.Put("file", std::string(10000, 'x'));
    const auto inode = [&] {
        struct stat status = {};
        return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
    };
    const ino_t before = inode();
    EXPECT_TRUE(WriteFile(path, WithZeros));
    EXPECT_EQ(root.Text("file"), WithZeros);
    EXPECT_EQ(inode(), before);
    fs::resize_file(path, (5ULL << 32) + 7);
    EXPECT_EQ(CInputFileStream(path).GetFileSize(), 7U) << "modulo 2^32";
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

TEST(File, FullDiskCutsALongTextAndTakesAShortOneThatItLoses) {
    const CTempRoot root;
    const std::string path = root.Put("file", "old");
    const auto writeWithin = [&](rlim_t limit, std::size_t size) {
        return Join(Spawn([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit room = {limit, limit};
            return setrlimit(RLIMIT_FSIZE, &room) == 0 && WriteFile(path, std::string(size, 'x'));
        }));
    };
    EXPECT_FALSE(writeWithin(8192, 100000));
    EXPECT_EQ(root.Text("file"), std::string(8192, 'x'));
    EXPECT_TRUE(writeWithin(0, 100));
    EXPECT_EQ(root.Text("file"), "");
}

TEST(Watch, TellsOnceOfModificationsAndOfNothingElse) {
    for (const auto& [command, isChange, isFollowed] : Cases<3>("watch.txt")) {
        const CTempRoot root;
        root.Put("other", "other");
        CFileStream stream(root.Put("file", "old"));
        ASSERT_EQ(std::system(("cd " + root.Path() + " && " + command).c_str()), 0) << command;
        EXPECT_EQ(stream.HasChanged(), isChange == "yes") << command;
        EXPECT_FALSE(stream.HasChanged()) << command;
        EXPECT_TRUE(stream.Write("to whatever the path names")) << command;
        EXPECT_EQ(stream.HasChanged(), isFollowed == "yes") << command;
    }
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
