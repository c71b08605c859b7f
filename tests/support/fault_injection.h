// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

struct SRun {
    std::string thrown;  ///< as `Thrown` gives it
    std::string calls;   ///< the calls that the library made, in order, with blanks between
};

/// Runs `work` while the `number`-th call of the libc function `failing` fails with `error`, and
/// records the library's calls to open, write, lock and watch files and to take its reader-writer
/// lock; `flock` as "lock" or "unlock". A "?" follows a call that fails by itself, unless it only
/// finds no event. Calls of "new" can fail too, and are not recorded.
SRun InjectFault(const std::function<void()>& work, const std::string& failing = "", int error = 0,
                 int number = 1);
