// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include <tamsel/extras/open.h>

namespace Tamsel::Extras {

/// Follows a configuration: a descriptor for your `poll` or `epoll`, and what changed.
///
/// It reports states that somebody wrote, whole, and always the last one; states that follow one
/// another quickly may be reported as one. A writer that takes no lock, as `cp`, is waited for: a
/// file that was modified and not closed, or that is empty, missing or broken, is believed after
/// 200 ms without another event. It follows the path: rename, deletion and re-creation of the file
/// or of its directory do not end it. A file that cannot be read changes nothing, see `Problem`.
///
/// The defaults are read once, by whoever made the configuration. The watcher writes nothing except
/// to complete a change that a crash interrupted. For one thread; the configuration may be used by
/// others meanwhile. Holds an inotify instance and two more descriptors, all closed on `exec`.
///
/// \warning It cannot tell a writer that pauses for longer than 200 ms, without a lock and inside a
/// text that parses, from one that is done.
class CConfigWatcher {
public:
    /// The answer for one key, before and after; none where a caller of `Get` gets its own default.
    struct SChange {
        std::string key;
        std::optional<Json::Value> before;
        std::optional<Json::Value> after;
    };

    /// Follows what `config` answers, and keeps it up to date: there is no need for `Reload`.
    /// Changes made through `config` itself are reported too. `config` must not be null.
    ///
    /// \throws CInotifyHandlingError inotify is not available
    explicit CConfigWatcher(std::shared_ptr<CSafeConfig> config);

    /// Follows the configuration of these files. Creates none; the overlay, and its directory, may
    /// be missing. A `config` from the bare `Create`, with the same arguments, is reloaded when the
    /// files have changed; beside a writer without a lock it may answer with a half-written overlay
    /// for a moment, which is not reported.
    ///
    /// \throws CInotifyHandlingError inotify is not available
    /// \throws CAccessDenied the defaults file cannot be read
    /// \throws CInvalidConfig, Json::Exception it cannot be read as a configuration
    explicit CConfigWatcher(const std::string& name, const std::string& rootPath = DefaultRootPath,
                            const std::string& subDirectory = DefaultSubDirectory,
                            std::shared_ptr<IConfig> config = nullptr);

    ~CConfigWatcher();
    CConfigWatcher(const CConfigWatcher&) = delete;
    CConfigWatcher& operator=(const CConfigWatcher&) = delete;

    /// A descriptor that polls readable (`POLLIN`) when `Changes` should be called, which is also
    /// when a wait of its own is over. Owned by this object; do not read from it.
    int Descriptor() const;

    /// Returns what changed since the previous call, or since construction, in the order of keys;
    /// often nothing. Blocks for a few milliseconds at most. Call it as often as you like.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    std::vector<SChange> Changes();

    /// All answers after the last `Changes`.
    const TConfigMap& Values() const;

    /// Why the overlay file cannot be read at present, for a person; empty when it can. `Changes`
    /// goes on as soon as it can be read again.
    const std::string& Problem() const;

private:
    class CImpl;
    const std::unique_ptr<CImpl> m_impl;
};

}  // namespace Tamsel::Extras
