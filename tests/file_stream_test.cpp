// SPDX-License-Identifier: MIT
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "support/fault_injection.h"
#include "support/test_support.h"

using namespace Tamsel;

namespace {

using FileHelper = InTestFolder;
using FileStream = InTestFolder;

struct SAccess {
    int line;
    const char* path;
    mode_t mode;  // of what is there before, or 0
    bool exists, isReadable, isReadWritable, isWritten;
    unsigned int size;
    std::string inputError, streamError;
};

constexpr unsigned int Untouched = 77;

void ExpectAccess(const SAccess& row) {
    std::string content = "before";
    unsigned int size = Untouched;
    EXPECT_EQ(Exists(row.path), row.exists);
    EXPECT_EQ(IsReadable(row.path), row.isReadable);
    EXPECT_EQ(IsReadWritable(row.path), row.isReadWritable);
    EXPECT_EQ(ReadFile(row.path, content), row.isReadable);
    EXPECT_EQ(content, row.size == 3 ? "old" : "");
    EXPECT_EQ(GetSize(row.path, size), row.isReadable);
    EXPECT_EQ(size, row.size);
    EXPECT_EQ(Thrown([&] { CInputFileStream(row.path); }), row.inputError);
    EXPECT_EQ(Thrown([&] { CFileStream(row.path); }), row.streamError);
    EXPECT_EQ(WriteFile(row.path, "new"), row.isWritten);
}

}  // namespace

TEST_F(FileHelper, TellsWhatAnOrdinaryUserMayDo) {
    const std::string unreadable = "Tamsel::CAccessDenied: Failed to open file 'f' for reading.";
    const std::string missing = "Tamsel::CAccessDenied: Failed to create file '";
    const SAccess rows[] = {
        {__LINE__, "f", 0666, true, true, true, true, 3, "", ""},
        {__LINE__, "f", 0444, true, true, false, false, 3, "", ""},
        {__LINE__, "f", 0222, true, false, false, true, Untouched, unreadable, unreadable},
        {__LINE__, "new", 0, false, false, false, true, Untouched, "", ""},
        {__LINE__, "f/g", 0, false, false, false, false, Untouched, "", missing + "f/g'."},
        {__LINE__, "", 0, false, false, false, false, Untouched, "", missing + "'."},
        // A directory opens, and reads as empty.
        {__LINE__, ".", 0777, true, true, true, false, 4294967295, "", ""},
    };
    PutText("f", "old");
    for (const SAccess& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.path);
        if (row.mode != 0) chmod(row.path, row.mode);
        const CAsUser user(Nobody, Nobody);
        if (!user.isBound) GTEST_SKIP() << "root cannot take another user's id here";
        ExpectAccess(row);
        WriteFile("f", "old");
    }
}

TEST_F(FileHelper, WritesOrLeavesWhenACallFails) {
    const char* const all = "fopen lock ftruncate fwrite fflush fsync unlock fclose";
    const struct {
        int line;
        const char* call;
        int error;
        bool isWritten;
        const char *content, *calls;
    } rows[] = {
        {__LINE__, "", 0, true, "new!", all},
        {__LINE__, "fopen", EROFS, false, "old text", "fopen"},
        {__LINE__, "lock", EINTR, false, "old text", "fopen lock fclose"},
        {__LINE__, "ftruncate", EIO, false, "old text", "fopen lock ftruncate unlock fclose"},
        {__LINE__, "fwrite", ENOSPC, false, "ne", all},
        {__LINE__, "fflush", ENOSPC, true, "new!", all},
        {__LINE__, "fsync", EIO, true, "new!", all},
        {__LINE__, "unlock", EIO, true, "new!", all},
        {__LINE__, "fclose", EIO, true, "new!", all},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.call);
        PutText("file", "old text");
        const auto write = [&] { EXPECT_EQ(WriteFile("file", "new!"), row.isWritten); };
        EXPECT_EQ(InjectFault(write, row.call, row.error).calls, row.calls);
        EXPECT_EQ(TextOf("file"), row.content);
    }
}

TEST_F(FileHelper, ReportsAShortTextAsWrittenToAFullDisk) {
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit room = {5, before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &room);
    const bool isShortWritten = WriteFile("short", "short, and cut");
    const bool isLongWritten = WriteFile("long", std::string(1 << 20, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_TRUE(isShortWritten);
    EXPECT_EQ(TextOf("short"), "short");
    EXPECT_FALSE(isLongWritten);
    EXPECT_EQ(TextOf("long"), "xxxxx");
}

TEST_F(FileStream, LeavesNothingOpenWhenACallFails) {
    const std::string made = "fopen fclose inotify_init1 inotify_add_watch";
    const struct {
        int line;
        std::string call, thrown, calls;
    } rows[] = {
        {__LINE__, "", "", made + " fopen fclose read read inotify_rm_watch"},
        {__LINE__, "fopen", "Tamsel::CAccessDenied: Failed to create file 'new'.", "fopen"},
        {__LINE__, "inotify_init1", "Tamsel::CInotifyHandlingError: Failed to init inotify",
         "fopen fclose inotify_init1"},
        {__LINE__, "inotify_add_watch", "Tamsel::CInotifyHandlingError: Failed set watch on new",
         made},
        {__LINE__, "read", "Tamsel::CInotifyHandlingError: Failed reading inotify",
         made + " fopen fclose read inotify_rm_watch"},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.call);
        const int descriptors = CountDescriptors();
        const SRun run = InjectFault(
            [] {
                CFileStream stream("new");
                PutText("new", "text");
                EXPECT_TRUE(stream.HasChanged());
            },
            row.call, EMFILE);
        EXPECT_EQ(run.thrown, row.thrown);
        EXPECT_EQ(run.calls, row.calls);
        EXPECT_EQ(CountDescriptors(), descriptors);
        std::filesystem::remove("new");
    }
}

TEST_F(FileStream, SeesTheFileAsItIsAtEachCall) {
    const std::string inaccessible = "Tamsel::CAccessDenied: Failed to access file 'file'.";
    CInputFileStream input("file");
    EXPECT_EQ(Thrown([&] { input.GetFileSize(); }), inaccessible);
    CFileStream stream("file");
    EXPECT_EQ(stream.GetPath() + input.GetPath(), "filefile");
    const std::string bytes("\0\r\n\xff", 4);
    EXPECT_TRUE(stream.Write(bytes));
    std::string content;
    EXPECT_TRUE(input.Read(content));
    EXPECT_EQ(content, bytes);
    std::filesystem::remove("file");
    EXPECT_FALSE(stream.Read(content));
    EXPECT_EQ(Thrown([&] { stream.GetFileSize(); }), inaccessible);
    EXPECT_EQ(std::system("truncate -s 21474836487 file"), 0);  // 5 GiB and 7
    EXPECT_EQ(stream.GetFileSize(), 7U);
    EXPECT_EQ(input.GetFileSize(), 7U);
}

TEST_F(FileStream, SeesWhatWritesToTheFileAndFollowsNoRename) {
    const struct {
        int line;
        const char* command;  // another process to whoever watches
        bool isSeen, isKept;  // the latter: whether the stream's own write is seen next
    } rows[] = {
        {__LINE__, "printf x > file", true, true},
        {__LINE__, "truncate -s 1 file", true, true},
        {__LINE__, "cp other file", true, true},
        {__LINE__, "echo x >> file", true, true},
        {__LINE__, "touch -m file", true, true},
        {__LINE__, "touch file", false, true},
        {__LINE__, "cat file > other", false, true},
        {__LINE__, ": >> file", false, true},
        {__LINE__, "chmod 600 file", false, true},
        {__LINE__, "printf x > new; rm other", false, true},
        {__LINE__, "rm file; printf x > file", false, false},
        {__LINE__, "mv other file; printf x > file", false, false},
        {__LINE__, "sed -i s/o/x/ file", false, false},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.command);
        PutText("file", "old");
        PutText("other", "other");
        CFileStream stream("file");
        EXPECT_FALSE(stream.HasChanged());
        EXPECT_EQ(std::system(row.command), 0);
        EXPECT_EQ(stream.HasChanged(), row.isSeen);
        EXPECT_FALSE(stream.HasChanged());
        EXPECT_TRUE(stream.Write("whatever the path names"));
        EXPECT_EQ(stream.HasChanged(), row.isKept);
    }
    CFileStream folder(".");
    PutText("created", "");
    EXPECT_THROW(folder.HasChanged(), CInotifyHandlingError);
}
