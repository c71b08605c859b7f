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
/// Start here: `Open` in place of `Create`, for programs that can lose power, or that share a
/// configuration with others. It takes the same arguments and uses the same two files.

namespace Tamsel::Extras {

/// A configuration that survives a crash inside a change, and that processes can change together.
///
/// It does all that `IConfig` promises, with these differences:
///
/// - After a kill or a power cut inside a change, the overlay holds the state before the change or
///   the one after it. What a change reported as done is on storage.
/// - A change applies to what the overlay file holds at that moment: changes of different keys by
///   several processes all last, and of changes of one key the last one does. `Erase` erases
///   everybody's. What others changed is answered after a change of one's own, `Reload`, or
///   `CConfigWatcher::Changes`.
/// - When a change throws, memory is as before, also when the change callback threw. The file is as
///   before too; only if writing it a second time fails as well does it become the new one.
/// - A value that cannot be read again as it is, infinity, NaN, text that is not UTF-8 or more than
///   998 levels, is refused before anything is touched: `std::invalid_argument`.
/// - The wait for somebody else's lock on the file can be limited, see `Open`.
/// - `Reload` reads under the lock, never a half-written file, and throws for a file that cannot be
///   read: `CAccessDenied`.
/// - `HasChanged` follows the path: it also reports a file that was replaced or removed.
///
/// Any threads may use one object at once. `CCrashSafeFileStream` describes the files, and what
/// programs that do not use this can still break.
class CSafeConfig : public COverlayedConfig {
public:
    /// Changes several keys, or reads and then changes, in one write: all or nothing, and nobody
    /// else comes in between.
    ///
    /// Calls `change` once with a configuration that holds the state of the file at this moment.
    /// What it changes there is written when it returns; after that this object answers with the
    /// new state, and the change callback is called for each effective `Set`, in order. If `change`
    /// or the write throws, nothing has changed, in the file and in memory.
    ///
    /// The configuration passed to `change` is for that call and that thread alone; its `Reload`
    /// takes back what was changed so far, and its `HasChanged` returns false. To change this
    /// object inside, by another `Transact` too, throws `std::system_error`
    /// (`std::errc::resource_deadlock_would_occur`).
    ///
    /// \throws anything that `change` throws, or as `IConfig::Reload` and `IConfig::Set`; if the
    /// callback throws, the changes have been made
    virtual void Transact(const std::function<void(IConfig&)>& change) = 0;

protected:
    using COverlayedConfig::COverlayedConfig;
};

/// \name Open: a safe configuration
///
/// As `Create`, with the same files and defaults: reads both, creates a missing overlay, and
/// watches it. It also creates the journal of the overlay, and completes a change that was
/// interrupted. A program that only reads may open an overlay and a journal that it cannot write.
///
/// Locks are waited for `lockLimit` at most, here and in every operation; beyond it,
/// `std::system_error` with the code `std::errc::timed_out` is thrown, and nothing has changed.
///
/// \throws CAccessDenied a file exists and cannot be read, or the overlay or its journal is missing
/// and cannot be created; `what()` ends with the reason
/// \throws CInvalidConfig the text of either file does not parse
/// \throws Json::Exception jsoncpp refuses either document, see `JsonUtil::ReadConfig`
/// @{
std::shared_ptr<CSafeConfig> Open(const std::string& name,
                                  const std::string& rootPath = DefaultRootPath,
                                  const std::string& subDirectory = DefaultSubDirectory,
                                  TChangeCallback callback = {},
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);

/// In `DefaultSubDirectory`.
std::shared_ptr<CSafeConfig> Open(const std::string& name, const std::string& rootPath,
                                  TChangeCallback callback,
                                  std::chrono::milliseconds lockLimit = NoTimeLimit);
/// @}

}  // namespace Tamsel::Extras
