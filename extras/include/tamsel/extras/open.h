// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <tamsel/extras/file_lock.h>
#include <tamsel/factory.h>
#include <tamsel/overlayed_config.h>

/// \file
/// Start here: `Open` replaces `Create` in programs that can lose power, or that share a
/// configuration with other processes. Same arguments, same files.

namespace Tamsel::Extras {

/// A configuration that survives a crash during a change, and that several processes can change.
///
/// Thread-safe. It fulfils the contract of `IConfig`, with these differences:
///
/// - After a crash, a kill or a power cut during a change, the overlay has the state before the
///   change or the one after it. When a change that has an effect returns, storage has it.
/// - A change applies to what the overlay file contains at that moment: changes of different keys
///   by several processes all remain, and of changes of one key the last one wins. `Erase` removes
///   everyone's keys. What others changed is visible after a change of one's own, `Reload`, or
///   `CConfigWatcher::Changes`.
/// - If a change throws, memory is as before, also if the change callback threw. The file is as
///   before too, except if restoring it failed: it then has the change.
/// - A value that could not be read again, an infinity, a NaN, text that is not UTF-8 or more than
///   998 nested levels, throws `std::invalid_argument` before anything is touched.
/// - Waiting for a lock on the files can be limited, see `Open`.
/// - `Set` and `Restore` throw `CAccessDenied` if the file cannot be read. A change throws
///   `CInvalidConfig` if a writer without a lock changed the file at the same moment.
/// - `Reload` locks the file, so it never reads half a write of this library; if the file cannot be
///   read, it throws `CAccessDenied` and memory is unchanged.
/// - `HasChanged` follows the path, also when the file is replaced or removed. Symbolic links and
///   the working directory are resolved once, by `Open`.
/// - Files that cannot be read, and directories in their place, throw `CAccessDenied`; they are not
///   read as empty. The reasons of the system are appended to messages.
///
/// See `CCrashSafeFileStream` for the files, and for what programs that do not use the extras can
/// still damage.
class CSafeConfig : public COverlayedConfig {
public:
    /// Changes several keys, or reads and then changes, in one write: all or nothing, and no other
    /// process or thread changes the file in between.
    ///
    /// Calls `change` once with a configuration that has the current state of the file. When it
    /// returns, its changes are written; then this object has the new state, and the change
    /// callback is called for each effective `Set`, in order. If `change` or the write throws,
    /// nothing has changed, neither the file nor memory.
    ///
    /// The configuration passed to `change` is valid during that call, for that thread. Its
    /// `Reload` discards the changes so far, and its `HasChanged` returns false. Changing this
    /// object inside `change`, by a nested `Transact` or `Reload` too, throws `std::system_error`
    /// with the code `std::errc::resource_deadlock_would_occur`; its `Get` and `Exists` work as
    /// ever. Another object for the same file must not be used inside: it would wait for this one
    /// until its `lockLimit`, or indefinitely.
    ///
    /// Throws as `Reload` and `Set`. An exception of `change` propagates, and so does one of the
    /// change callback; with the latter, the changes are written and visible.
    virtual void Transact(const std::function<void(IConfig&)>& change) = 0;

protected:
    using COverlayedConfig::COverlayedConfig;
};

/// \name Open: a safe configuration
///
/// Reads the same files as `Create` with these arguments, creates a missing overlay likewise, and
/// watches it. Also creates the journal of the overlay, and completes an interrupted change.
/// Accepts an overlay and a journal that are readable but not writable.
///
/// This and every operation that reads or writes the files wait for each lock for at most
/// `lockLimit`; then they throw `std::system_error` with the code `std::errc::timed_out`, and
/// nothing has changed.
///
/// \throws CAccessDenied a file is not readable, or the overlay or its journal is missing and
/// cannot be created; `what()` ends with the system's reason
/// \throws CInvalidConfig either file does not parse
/// \throws Json::Exception jsoncpp rejects either document, see `JsonUtil::ReadConfig`
/// @{
std::shared_ptr<CSafeConfig> Open(const std::string& name,
                                  const std::string& rootPath = DefaultRootPath,
                                  const std::string& subDirectory = DefaultSubDirectory,
                                  const TChangeCallback& callback = {},
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);

/// In `DefaultSubDirectory`.
std::shared_ptr<CSafeConfig> Open(const std::string& name, const std::string& rootPath,
                                  const TChangeCallback& callback,
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);
/// @}

}  // namespace Tamsel::Extras
