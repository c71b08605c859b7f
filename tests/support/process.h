// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

/// Starts a child process that runs `work` and exits with 0 when that tells true.
pid_t Spawn(const std::function<bool()>& work);

/// Waits for a child's end and tells whether it exited with 0.
bool Join(pid_t child);

/// While it lives, root is an ordinary user, so that permissions bind; anyone else stays who he is.
class CAsNobody {
public:
    CAsNobody();
    ~CAsNobody();
    CAsNobody(const CAsNobody&) = delete;
    CAsNobody& operator=(const CAsNobody&) = delete;
};

/// Waits until `condition` holds, ten seconds at most, and tells whether it did.
bool Eventually(const std::function<bool()>& condition);

/// Tells whether another opening of the file could lock it at once.
bool IsUnlocked(const std::string& path);

/// Counts this process's open descriptors.
long CountDescriptors();
