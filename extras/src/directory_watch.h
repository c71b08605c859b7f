// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <string>

#include "system.h"

struct inotify_event;

namespace Tamsel::Extras {

/// What happened to a file since the previous `Take`.
struct SFileEvents {
    bool hasChanged = false;  ///< written, replaced, removed or created; or the queue overflowed
    bool isClosed = false;    ///< the last event was not a modification: its writer has finished
};

/// Watches the path of a file, by an inotify instance on its directory, closed on `exec`. The watch
/// survives the removal or replacement of the file, and that of the directory from the next `Take`
/// on. Thread-safe; threads that call `Take` concurrently share the notifications.
class CDirectoryWatch {
public:
    explicit CDirectoryWatch(const std::string& path);

    /// Readable while there are notifications. Negative if inotify is not available.
    int Descriptor() const { return m_inotify.Get(); }

    /// Returns true if the directory is watched. If not, `Take` tries again.
    bool IsWatching() const { return m_watch >= 0; }

    /// Consumes all notifications. Non-blocking.
    /// \throws CInotifyHandlingError inotify is not available, or cannot be read
    SFileEvents Take();

private:
    void Watch();
    void Note(const inotify_event& event, SFileEvents& events);

    const std::string m_directory;
    const std::string m_name;
    const CDescriptor m_inotify;
    std::atomic<int> m_watch = -1;
};

}  // namespace Tamsel::Extras
