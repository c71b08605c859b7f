// SPDX-License-Identifier: MIT
#pragma once

#include <cxxabi.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include <tamsel/tamsel.h>

/// Returns the class and the message of what `work` throws; "" if it does not throw.
inline std::string Thrown(const std::function<void()>& work) {
    try {
        work();
        return "";
    } catch (const std::exception& error) {
        const std::unique_ptr<char, void (*)(void*)> name(
            abi::__cxa_demangle(typeid(error).name(), nullptr, nullptr, nullptr), std::free);
        return std::string(name.get()) + ": " + error.what();
    }
}

inline Json::Value Parse(const std::string& text) {
    Json::Value value;
    if (!text.empty()) std::istringstream(text) >> value;
    return value;
}

/// Writes a file in place, as a shell's `>` does.
inline void PutText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

inline std::string TextOf(const std::string& path) {
    std::string text;
    return Tamsel::ReadFile(path, text) ? text : "(no file)";
}

/// Counts this process's open descriptors.
inline int CountDescriptors() {
    int count = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) ++count;
    }
    return count;
}

/// During a test, the working directory is a private directory for the files of configurations,
/// accessible to every user. At its end, no file there must be locked and no descriptor leaked;
/// then the directory is removed.
class CTestDirectory {
public:
    CTestDirectory() {
        if (mkdtemp(m_path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp " + m_path);
        }
        std::filesystem::current_path(m_path);
        umask(022);  // other users can read these files
        for (const char* const path : {".", "etc", "etc/config", "data", "data/config"}) {
            std::filesystem::create_directory(path);
            std::filesystem::permissions(path, std::filesystem::perms::all);
        }
    }
    ~CTestDirectory() {
        EXPECT_EQ(CountDescriptors(), m_descriptors) << "open descriptors";
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_path)) {
            const int file = entry.is_regular_file() ? open(entry.path().c_str(), O_RDONLY) : -1;
            EXPECT_TRUE(file < 0 || flock(file, LOCK_EX | LOCK_NB) == 0) << entry << " is locked";
            if (file >= 0) close(file);
        }
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_path);
    }
    CTestDirectory(const CTestDirectory&) = delete;

private:
    const int m_descriptors = CountDescriptors();
    const std::filesystem::path m_before = std::filesystem::current_path();
    std::string m_path = std::filesystem::temp_directory_path() / "tamsel-XXXXXX";
};

class InTestDirectory : public testing::Test {
    const CTestDirectory m_directory;
};

/// Starts a child process that runs `work` and exits with 0 when that returns true.
inline pid_t Spawn(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child != 0) return child;
    bool isTrue = false;
    Thrown([&] { isTrue = work(); });  // or the child would run the next test
    _exit(isTrue ? 0 : 1);
}

/// Waits for a child. Returns true if it exited with 0.
inline bool Join(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

constexpr uid_t Nobody = 65534;

/// During its lifetime, root has other user IDs, so that permissions apply. Others keep their own.
class CAsUser {
    const bool m_isRoot = geteuid() == 0;

public:
    const bool isBound;  ///< false for a root of a user namespace that has no other ids

    // The saved ID remains root's, to return to it.
    CAsUser(uid_t real, uid_t effective) : isBound(!m_isRoot || !setresuid(real, effective, 0)) {}
    ~CAsUser() {
        if (m_isRoot && isBound && setresuid(0, 0, 0) != 0) std::terminate();
    }
    CAsUser(const CAsUser&) = delete;
};
