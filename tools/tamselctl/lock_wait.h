// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <chrono>
#include <string>
#include <system_error>

#include "arguments.h"

namespace TamselCtl {

using TClock = std::chrono::steady_clock;

/// During the lifetime of an object, SIGINT, SIGTERM and SIGHUP set a flag instead of ending the
/// process, so that Ctrl-C does not interrupt a change. A signal that was ignored, as under nohup,
/// stays ignored.
class CStopSignals {
public:
    CStopSignals();
    ~CStopSignals();
    CStopSignals(const CStopSignals&) = delete;
    CStopSignals& operator=(const CStopSignals&) = delete;

    /// Returns true if one of these signals was received.
    static bool IsStopRequested();

    /// Blocks until a descriptor is readable, a signal is received, or the time is over.
    static void WaitUntilReadable(int descriptor, std::chrono::duration<double> limit);

private:
    struct sigaction m_former[3];
};

/// Waits for a lock on the files of one path, in slices: the wait can be limited and interrupted,
/// and a message names the process that has the lock.
class CLockWait {
public:
    CLockWait(const SCommon& common, const std::string& path);

    /// How long to wait for the lock until the next call of `RequireRetry`.
    std::chrono::milliseconds Slice() const;

    /// Returns if the lock is to be tried again after `error`.
    /// \throws CFailure it is another error, the time is over, or a signal was received
    void RequireRetry(const std::system_error& error);

private:
    double Elapsed() const;

    const CStopSignals m_signals;
    const std::string m_path;
    const double m_limit;
    const TClock::time_point m_begin = TClock::now();
    bool m_isReported = false;
};

/// Repeats `work(limit)`, which locks files of `path` and throws as the extras do if the lock is
/// not acquired within `limit`, for `common.wait` at most. Turns other failures of the system into
/// `CFailure`.
template <typename TWork>
auto WaitForLock(const SCommon& common, const std::string& path, TWork work) {
    CLockWait wait(common, path);
    for (;;) {
        try {
            return work(wait.Slice());
        } catch (const std::system_error& error) {
            wait.RequireRetry(error);
        }
    }
}

}  // namespace TamselCtl
