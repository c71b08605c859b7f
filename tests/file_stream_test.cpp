// SPDX-License-Identifier: MIT
// The helpers over whole files, and the streams over them.
#include <sys/resource.h>

#include <csignal>

#include "support/test_support.h"

using namespace Tamsel;
using FileHelper = InTestDirectory;
using FileStream = InTestDirectory;

TEST_F(FileHelper, ReportsThePermissionsOfAnOrdinaryUser) {
    const struct {
        int line;
        mode_t mode;  // of the existing file; 0 if there is none
        const char* path;
        bool exists, isReadable, isReadWritable, isWritten;
        unsigned int size;  // 77 if it cannot be determined
    } rows[] = {
        {__LINE__, 0666, "file", true, true, true, true, 3},
        {__LINE__, 0444, "file", true, true, false, false, 3},
        {__LINE__, 0222, "file", true, false, false, true, 77},
        {__LINE__, 0, "missing", false, false, false, true, 77},
        {__LINE__, 0, "no/directory", false, false, false, false, 77},
        // A directory opens, and reads as empty.
        {__LINE__, 0777, ".", true, true, true, false, 4294967295},
    };
    for (const auto& row : rows) {
        const testing::ScopedTrace trace(__FILE__, row.line, row.path);
        PutText("file", "old");
        if (row.mode != 0) chmod(row.path, row.mode);
        const CAsUser user(Nobody, Nobody);
        if (!user.isBound) GTEST_SKIP() << "root cannot take another user's id here";
        EXPECT_EQ(Exists(row.path), row.exists);
        EXPECT_EQ(IsReadable(row.path), row.isReadable);
        EXPECT_EQ(IsReadWritable(row.path), row.isReadWritable);
        std::string content = "before";
        EXPECT_EQ(ReadFile(row.path, content), row.isReadable);
        EXPECT_EQ(content, row.size == 3 ? "old" : "");
        unsigned int size = 77;
        EXPECT_EQ(GetSize(row.path, size), row.isReadable);
        EXPECT_EQ(size, row.size);
        EXPECT_EQ(WriteFile(row.path, "new"), row.isWritten);
    }
}

TEST_F(FileHelper, ReportsAShortTextAsWrittenToAFullDisk) {
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit room = {5, before.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &room);
    const bool isWritten = WriteFile("file", "short, and cut");
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_TRUE(isWritten);
    EXPECT_EQ(TextOf("file"), "short");
}

TEST_F(FileStream, ReadsTheCurrentFileOnEachCall) {
    const std::string inaccessible = "Tamsel::CAccessDenied: Failed to access file 'file'.";
    CInputFileStream input("file");
    EXPECT_EQ(Thrown([&] { input.GetFileSize(); }), inaccessible);
    CFileStream stream("file");
    EXPECT_EQ(stream.GetPath() + input.GetPath(), "filefile");
    const std::string bytes = std::string(70000, '\xff') + '\0' + "\r\n";
    EXPECT_TRUE(stream.Write(bytes + "longer") && stream.Write(bytes));
    std::string content;
    EXPECT_TRUE(input.Read(content));
    EXPECT_TRUE(content == bytes);
    std::filesystem::remove("file");
    EXPECT_FALSE(stream.Read(content));
    EXPECT_EQ(Thrown([&] { stream.GetFileSize(); }), inaccessible);
    EXPECT_EQ(std::system("truncate -s 21474836487 file"), 0);  // 5 GiB and 7
    EXPECT_EQ(stream.GetFileSize() + input.GetFileSize(), 14U);
}

TEST_F(FileStream, ReportsWritesToTheFileAndFollowsNoRename) {
    const struct {
        int line;
        bool isSeen, isKept;  // isKept: a write by the stream is seen afterwards
        const char* command;
    } rows[] = {
        {__LINE__, true, true, "echo x >> file"},
        {__LINE__, true, true, "cp other file"},
        {__LINE__, true, true, "truncate -s 1 file"},
        {__LINE__, true, true, "touch -m file"},
        {__LINE__, false, true, "cat file > other; : >> file; chmod 600 file; touch file"},
        {__LINE__, false, true, "echo x > neighbour; rm other"},
        {__LINE__, false, false, "rm file; echo x > file"},
        {__LINE__, false, false, "mv other file; echo x > file"},
        {__LINE__, false, false, "sed -i s/o/x/ file"},
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
    CFileStream directory(".");
    PutText("created", "");
    EXPECT_THROW(directory.HasChanged(), CInotifyHandlingError);
}
