// SPDX-License-Identifier: MIT
#include "directory_watch.h"

#include <sys/inotify.h>

#include <climits>
#include <cstdint>

#include <tamsel/errors.h>

namespace Tamsel::Extras {

namespace {

constexpr std::uint32_t ChangeMask =
    IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
// The directory itself was removed or renamed, or its file system unmounted.
constexpr std::uint32_t LossMask = IN_IGNORED | IN_UNMOUNT | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

CDirectoryWatch::CDirectoryWatch(const std::string& path)
    : m_directory(DirectoryOf(path)),
      m_name(path.substr(path.rfind('/') + 1)),
      m_inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    Watch();
}

void CDirectoryWatch::Watch() {
    m_watch = inotify_add_watch(m_inotify.Get(), m_directory.c_str(),
                                ChangeMask | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF);
}

void CDirectoryWatch::Note(const inotify_event& event, SFileEvents& events) {
    if ((event.mask & LossMask) != 0) {
        (void)inotify_rm_watch(m_inotify.Get(), event.wd);
        m_watch = -1;
    }
    const bool isOurs = event.len != 0 && m_name == event.name;
    if (isOurs) events.isClosed = (event.mask & IN_MODIFY) == 0;
    if ((isOurs && (event.mask & ChangeMask) != 0) ||
        (event.mask & (LossMask | IN_Q_OVERFLOW)) != 0) {
        events.hasChanged = true;
    }
}

SFileEvents CDirectoryWatch::Take() {
    if (Descriptor() < 0) throw CInotifyHandlingError("Failed to init inotify");
    SFileEvents events;
    alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    for (;;) {
        const ssize_t count =
            Uninterrupted([&] { return read(m_inotify.Get(), buffer, sizeof buffer); });
        if (count < 0 && errno == EAGAIN) break;
        if (count < 0) throw CInotifyHandlingError("Failed reading inotify");
        for (ssize_t at = 0; at < count;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(buffer + at);
            Note(event, events);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    if (!IsWatching()) {
        Watch();
        if (IsWatching()) events.hasChanged = true;
    }
    return events;
}

}  // namespace Tamsel::Extras
