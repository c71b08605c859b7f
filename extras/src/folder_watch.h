// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <string>

#include "system.h"

struct inotify_event;

namespace Tamsel::Extras {

/// What happened to a file since the last look.
struct SFileEvents {
    bool hasChanged = false;  ///< written, replaced, removed or created; or an overflow hides it
    bool isClosed = false;    ///< the last event was not a modification, so its writer is done
};

/// Watches the path of a file: an inotify instance on its directory, closed on exec. It outlives
/// the file's removal or replacement, and from the next `Take` on the directory's too. Thread-safe;
/// threads that take notifications at once share them between them.
class CFolderWatch {
public:
    explicit CFolderWatch(const std::string& path);

    /// Readable while there is something to take. Negative where inotify is not available.
    int Descriptor() const { return m_inotify.Get(); }

    /// Returns whether the directory is watched. If not, `Take` tries again.
    bool IsWatching() const { return m_watch >= 0; }

    /// Takes all notifications. Never blocks.
    /// \throws CInotifyHandlingError there is no inotify instance, or it cannot be read
    SFileEvents Take();

private:
    void Watch();
    void Note(const inotify_event& event, SFileEvents& events);

    const std::string m_folder;
    const std::string m_name;
    const CDescriptor m_inotify;
    std::atomic<int> m_watch = -1;
};

}  // namespace Tamsel::Extras
