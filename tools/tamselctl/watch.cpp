// SPDX-License-Identifier: MIT
#include <algorithm>
#include <memory>
#include <optional>

#include <tamsel/extras/config_watcher.h>

#include "commands.h"
#include "json_text.h"
#include "layers.h"
#include "lock_wait.h"
#include "output.h"

namespace TamselCtl {

namespace {

using Tamsel::Extras::CConfigWatcher;
using Tamsel::Extras::CFileLock;
using TChanges = std::vector<CConfigWatcher::SChange>;

struct SWatch {
    std::string name;
    TWords keys;
    unsigned int count = 0;  // no limit
    double timeout = NoTimeLimit;
    bool isInitial = false;
};

/// Begins to follow a configuration under its locks, so that the first values are complete.
std::unique_ptr<CConfigWatcher> Follow(const SWatch& options, const SCommon& common) {
    const SFiles files = FilesOf(common, options.name);
    (void)ReadLayers(common, files);
    return WaitForLock(common, files.overlay, [&](std::chrono::milliseconds limit) {
        std::unique_ptr<CFileLock> locks[2];
        const std::string paths[] = {files.overlay + ".journal", files.overlay};
        for (std::size_t i = 0; i < std::size(paths); ++i) {
            if (!IsThere(paths[i])) continue;
            locks[i] = std::make_unique<CFileLock>(paths[i], CFileLock::EMode::Shared, limit);
        }
        return std::make_unique<CConfigWatcher>(options.name, common.root, common.subDirectory);
    });
}

void Print(const CConfigWatcher::SChange& change, bool asJson) {
    if (!asJson) {
        const auto show = [](const auto& value) { return ShownValue(value ? &*value : nullptr); };
        PrintLine(ShownKey(change.key) + "  " + show(change.before) + " -> " + show(change.after));
        return;
    }
    Json::Value line;
    line["key"] = change.key;
    if (change.before) line["before"] = *change.before;
    if (change.after) line["after"] = *change.after;
    PrintJson(line);
}

bool IsWanted(const SWatch& options, const std::string& key) {
    const auto& keys = options.keys;
    return keys.empty() || std::find(keys.begin(), keys.end(), key) != keys.end();
}

void PrintInitial(const SWatch& options, const Tamsel::TConfigMap& values, bool asJson) {
    for (const auto& [key, value] : values) {
        if (IsWanted(options, key)) Print({key, std::nullopt, value}, asJson);
    }
    FlushOutput();
}

/// Prints the wanted changes and counts them in `seen`. Returns true when the limit is reached.
bool PrintChanges(const SWatch& options, const TChanges& changes, bool asJson, unsigned int& seen) {
    for (const auto& change : changes) {
        if (!IsWanted(options, change.key)) continue;
        Print(change, asJson);
        if (++seen == options.count) return true;
    }
    FlushOutput();
    return false;
}

EExit Watch(const SWatch& options, SCommon common) {
    const auto begin = TClock::now();
    const CStopSignals signals;
    common.wait = std::min(common.wait, options.timeout);
    const SFiles files = FilesOf(common, options.name);
    if (!IsThere(files.defaults) && !IsThere(files.overlay)) {
        Report(options.name + ": has no file yet; waiting for one");
    }
    const auto watcher = Follow(options, common);
    if (options.isInitial) PrintInitial(options, watcher->Values(), common.asJson);
    unsigned int seen = 0;
    std::string problem;
    while (!CStopSignals::IsStopRequested()) {
        if (PrintChanges(options, watcher->Changes(), common.asJson, seen)) break;
        if (problem != watcher->Problem()) {
            problem = watcher->Problem();
            if (!problem.empty()) Report(problem);
        }
        const std::chrono::duration<double> elapsed = TClock::now() - begin;
        const std::chrono::duration<double> left(options.timeout - elapsed.count());
        if (left.count() <= 0) {
            return options.count == 0 ? EExit::Done : EExit::AbsentOrDifferent;
        }
        CStopSignals::WaitUntilReadable(watcher->Descriptor(), left);
    }
    return EExit::Done;
}

}  // namespace

TRun PrepareWatch(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SWatch>();
    arguments.AddName(options->name);
    arguments.AddWords("KEY", options->keys, false, "Keys to follow; all when none is given");
    arguments.AddFlag("--initial", options->isInitial, "Print the present values first");
    arguments.AddCount("--count", options->count, "End after so many changes");
    arguments.AddSeconds("--timeout", options->timeout, "End after so long");
    return [options, &common] { return Watch(*options, common); };
}

}  // namespace TamselCtl
