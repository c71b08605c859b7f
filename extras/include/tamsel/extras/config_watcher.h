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
/// Reports only states that someone wrote as a whole, and always the last one; states that follow
/// one another quickly can be reported as one. It waits for writers that take no lock, such as
/// `cp`: a file that was modified but not closed, and one that is empty or missing, or does not
/// parse, is accepted after 200 ms without another event. It follows the path: the file and its
/// directory can be renamed, removed and created again. A file that cannot be read changes nothing,
/// see `Problem`.
///
/// The defaults are read once. It writes nothing, except to complete an interrupted change. Not
/// thread-safe, but other threads can use the configuration. Owns an inotify instance and two other
/// descriptors, all closed on `exec`.
///
/// \warning A writer without a lock that pauses for more than 200 ms, or while another program
/// closes the file, is considered finished if what it has written so far parses.
class CConfigWatcher {
public:
    /// The value of one key, before and after; none while `Get` returns the caller's default.
    struct SChange {
        std::string key;                    ///< of the top level
        std::optional<Json::Value> before;  ///< as the previous `Changes` left it
        std::optional<Json::Value> after;   ///< as in `Values`
    };

    /// Follows `config`, shares its ownership, and updates it: there is no need to call `Reload`.
    /// Its own changes are reported too. Must not be null.
    ///
    /// \throws CInotifyHandlingError inotify is not available
    explicit CConfigWatcher(const std::shared_ptr<CSafeConfig>& config);

    /// Follows the configuration with these files, as for `Create`. Creates nothing: the overlay
    /// and its directory can be missing. `config`, if not null, is what `Create` returned for the
    /// same arguments; it is reloaded when the overlay has changed. As that reads without a lock,
    /// it can have half a write of `cp` for a moment, which is not reported.
    ///
    /// \throws CInotifyHandlingError inotify is not available
    /// \throws CAccessDenied the defaults file is not readable
    /// \throws CInvalidConfig, Json::Exception the defaults file does not parse
    explicit CConfigWatcher(const std::string& name, const std::string& rootPath = DefaultRootPath,
                            const std::string& subDirectory = DefaultSubDirectory,
                            const std::shared_ptr<IConfig>& config = nullptr);

    ~CConfigWatcher();
    CConfigWatcher(const CConfigWatcher&) = delete;
    CConfigWatcher& operator=(const CConfigWatcher&) = delete;

    /// A descriptor that becomes readable (`POLLIN`) when `Changes` is to be called: something
    /// happened to the file, or a wait is over. Owned by this object; do not read from it.
    int Descriptor() const;

    /// Returns what changed since the previous call, or since construction, sorted by key; often
    /// nothing. Can be called at any time. Waits at most 10 ms for each lock, or, with a
    /// configuration of `Create`, until that is not being changed.
    ///
    /// \throws CInotifyHandlingError the notifications cannot be read
    std::vector<SChange> Changes();

    /// All values as of the last `Changes`.
    const TConfigMap& Values() const;

    /// Why the overlay file cannot be read at present, in words; empty if it can. When it can be
    /// read again, `Changes` reports what differs.
    const std::string& Problem() const;

private:
    class CImpl;
    const std::unique_ptr<CImpl> m_impl;
};

}  // namespace Tamsel::Extras
