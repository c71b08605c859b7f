// SPDX-License-Identifier: MIT
#include "lock_wait.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <fstream>

namespace TamselCtl {

namespace {

constexpr int StopSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr double LongestSlice = 0.1;
constexpr double SilentTime = 1;

volatile sig_atomic_t g_isStopRequested = 0;

void RequestStop(int /*signal*/) { g_isStopRequested = 1; }

/// Returns true if a line of /proc/locks is about a lock on `file`; stores its owner in `process`.
bool IsLockOn(const std::string& line, const struct stat& file, int& process) {
    unsigned int major = 0;
    unsigned int minor = 0;
    std::uintmax_t inode = 0;
    const int count = std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%ju", &process, &major,
                                  &minor, &inode);
    return count == 4 && inode == file.st_ino && makedev(major, minor) == file.st_dev;
}

/// Names the process that has a lock on an overlay or its journal.
std::string HolderOf(const std::string& path) {
    for (const std::string& file : {path, path + ".journal"}) {
        struct stat status {};
        if (stat(file.c_str(), &status) != 0) continue;
        std::ifstream locks("/proc/locks");
        int process = 0;
        for (std::string line; std::getline(locks, line);) {
            if (!IsLockOn(line, status, process)) continue;
            std::string name;
            const std::string id = std::to_string(process);
            std::getline(std::ifstream("/proc/" + id + "/comm"), name);
            return "process " + id + " (" + name + ")";
        }
    }
    return "another process";
}

bool IsStorageFailure(const std::error_code& code) {
    const int error = code.value();
    return error == ENOSPC || error == EDQUOT || error == EFBIG || error == EIO;
}

}  // namespace

CStopSignals::CStopSignals() {
    struct sigaction action {};
    action.sa_handler = RequestStop;  // without SA_RESTART, so that a wait ends
    for (std::size_t i = 0; i < std::size(StopSignals); ++i) {
        (void)sigaction(StopSignals[i], &action, &m_former[i]);
        if (m_former[i].sa_handler != SIG_IGN) continue;
        (void)sigaction(StopSignals[i], &m_former[i], nullptr);
    }
}

CStopSignals::~CStopSignals() {
    for (std::size_t i = 0; i < std::size(StopSignals); ++i) {
        (void)sigaction(StopSignals[i], &m_former[i], nullptr);
    }
}

bool CStopSignals::IsStopRequested() { return g_isStopRequested != 0; }

void CStopSignals::WaitUntilReadable(int descriptor, std::chrono::duration<double> limit) {
    sigset_t stops;
    sigset_t former;
    sigemptyset(&stops);
    for (const int signal : StopSignals) sigaddset(&stops, signal);
    // Blocked until ppoll waits: a signal received immediately before it must not be missed.
    (void)sigprocmask(SIG_BLOCK, &stops, &former);
    pollfd event = {descriptor, POLLIN, 0};
    const double seconds = std::clamp(limit.count(), 0.0, 1e9);
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
    if (!IsStopRequested()) (void)ppoll(&event, 1, &time, &former);
    (void)sigprocmask(SIG_SETMASK, &former, nullptr);
}

CLockWait::CLockWait(const SCommon& common, const std::string& path)
    : m_path(path), m_limit(common.wait) {}

double CLockWait::Elapsed() const {
    return std::chrono::duration<double>(TClock::now() - m_begin).count();
}

std::chrono::milliseconds CLockWait::Slice() const {
    const double seconds = std::clamp(m_limit - Elapsed(), 0.0, LongestSlice);
    return std::chrono::milliseconds(static_cast<int>(seconds * 1000));
}

void CLockWait::RequireRetry(const std::system_error& error) {
    if (error.code() != std::errc::timed_out) {
        const bool isStorage = IsStorageFailure(error.code());
        throw CFailure(isStorage ? EExit::WriteFailed : EExit::AccessDenied, m_path,
                       error.code().message());
    }
    if (CStopSignals::IsStopRequested()) {
        throw CFailure(EExit::NotLocked, m_path,
                       "interrupted while " + HolderOf(m_path) + " has the lock");
    }
    if (Elapsed() >= m_limit) {
        throw CFailure(EExit::NotLocked, m_path, HolderOf(m_path) + " has the lock");
    }
    if (m_isReported || Elapsed() < SilentTime || isatty(STDERR_FILENO) == 0) return;
    Report(m_path + ": waiting, " + HolderOf(m_path) + " has the lock");
    m_isReported = true;
}

}  // namespace TamselCtl
