// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <chrono>
#include <string>
#include <system_error>

#include "arguments.h"

namespace TamselCtl {

using TClock = std::chrono::steady_clock;

/// While an object of this class lives, SIGINT, SIGTERM and SIGHUP are noted and do not kill: no
/// change is interrupted by Ctrl-C. One that was ignored, as under nohup, stays ignored.
class CStopSignals {
public:
    CStopSignals();
    ~CStopSignals();
    CStopSignals(const CStopSignals&) = delete;
    CStopSignals& operator=(const CStopSignals&) = delete;

    /// Returns true if one of these signals has come.
    static bool IsStopAsked();

    /// Sleeps until a descriptor is readable, a signal comes, or the time is over.
    static void WaitUntilReadable(int descriptor, std::chrono::duration<double> limit);

private:
    struct sigaction m_former[3];
};

/// The wait for a lock on the files of one path: in slices, so that it can be limited, interrupted,
/// and explained.
class CLockWait {
public:
    CLockWait(const SCommon& common, const std::string& path);

    /// How long to wait before `GoOn` has to be asked.
    std::chrono::milliseconds Slice() const;

    /// Returns when `error` means that the lock is to be tried again.
    /// \throws CFailure it was another error, the time is over, or a signal came
    void GoOn(const std::system_error& error);

private:
    double Elapsed() const;

    const CStopSignals m_signals;
    const std::string m_path;
    const double m_limit;
    const TClock::time_point m_begin = TClock::now();
    bool m_isTold = false;
};

/// Does `work(limit)`, which locks files of `path` and throws as the extras do when the lock is not
/// obtained within `limit`; again and again, for `common.wait` at most. Turns other failures of the
/// system into `CFailure`.
template <typename TWork>
auto WaitForLock(const SCommon& common, const std::string& path, TWork work) {
    CLockWait wait(common, path);
    for (;;) {
        try {
            return work(wait.Slice());
        } catch (const std::system_error& error) {
            wait.GoOn(error);
        }
    }
}

}  // namespace TamselCtl
