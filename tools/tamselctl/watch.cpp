// SPDX-License-Identifier: MIT
#include "watch.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <thread>
#include <utility>

#include <tamsel/file_stream.h>

#include "json_text.h"
#include "layers.h"
#include "output.h"
#include "stop_signals.h"

namespace TamselCtl {

namespace {

using TClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds Tick{100};

// A watch ends without a word when its file is replaced; so now and then we look for ourselves.
constexpr int TicksBetweenLooks = 10;

/// One key before and after; null where it was not held.
struct SChange {
    std::string key;
    const Json::Value* before;
    const Json::Value* after;
};

std::vector<SChange> Changes(const Tamsel::TConfigMap& before, const Tamsel::TConfigMap& after) {
    Tamsel::TConfigMap either = before;
    either.insert(after.begin(), after.end());
    std::vector<SChange> changes;
    for (const auto& [key, value] : either) {
        const Json::Value* const was = Find(before, key);
        const Json::Value* const is = Find(after, key);
        if (was == nullptr || is == nullptr || *was != *is) changes.push_back({key, was, is});
    }
    return changes;
}

/// Follows one configuration. It watches the overlay while there is one and never creates it.
class CFollower {
public:
    explicit CFollower(SFiles files)
        : m_files(std::move(files)), m_stream(OpenStream()), m_values(Read()) {}

    const Tamsel::TConfigMap& Values() const { return m_values; }

    /// Tells whether the values now differ, and if so, puts the former ones into `former`.
    bool Step(Tamsel::TConfigMap& former) {
        NoteChange();
        if (!m_isTold && ++m_ticks % TicksBetweenLooks != 0) return false;
        former = Read();
        const bool wasTold = std::exchange(m_isTold, false);
        if (former == m_values) return false;
        std::swap(former, m_values);
        if (!wasTold) m_stream.reset();  // it has lost its file: watch the one that is there now
        return true;
    }

private:
    std::shared_ptr<Tamsel::CFileStream> OpenStream() const {
        if (!IsThere(m_files.overlay)) return nullptr;
        return std::make_shared<Tamsel::CFileStream>(m_files.overlay);
    }

    void NoteChange() {
        if (m_stream != nullptr) {
            m_isTold = m_stream->HasChanged() || m_isTold;
        } else {
            m_stream = OpenStream();
            m_isTold = m_stream != nullptr;
        }
    }

    Tamsel::TConfigMap Read() const { return ReadLayers(m_files).Merged(); }

    const SFiles m_files;
    std::shared_ptr<Tamsel::CFileStream> m_stream;
    Tamsel::TConfigMap m_values;
    bool m_isTold = false;  // stays until the file could be read
    int m_ticks = 0;
};

/// Steps, and leaves a file that someone is just writing for the next step.
bool StepIfReadable(CFollower& follower, Tamsel::TConfigMap& former) {
    try {
        return follower.Step(former);
    } catch (const CFailure& failure) {
        if (failure.ExitCode() != EExit::DoesNotParse && !IsStopAsked()) throw;
        return false;
    }
}

void Print(const SChange& change, bool asJson) {
    if (!asJson) {
        PrintLine(ShownKey(change.key) + "  " + ShownValue(change.before) + " -> " +
                  ShownValue(change.after));
        return;
    }
    Json::Value line;
    line["key"] = change.key;
    if (change.before != nullptr) line["before"] = *change.before;
    if (change.after != nullptr) line["after"] = *change.after;
    PrintJson(line);
}

bool IsWanted(const SRequest& request, const std::string& key) {
    const auto& keys = request.keys;
    return keys.empty() || std::find(keys.begin(), keys.end(), key) != keys.end();
}

/// Prints the wanted changes, until `seen` of them are as many as asked for. Tells whether they
/// are.
bool PrintChanges(const SRequest& request, const std::vector<SChange>& changes,
                  unsigned int& seen) {
    for (const SChange& change : changes) {
        if (!IsWanted(request, change.key)) continue;
        Print(change, request.asJson);
        if (++seen == request.count) return true;
    }
    FlushOutput();
    return false;
}

}  // namespace

EExit Watch(const SRequest& request) {
    const auto begin = TClock::now();
    const SFiles files = FilesOf(request);
    CatchStopSignals();
    if (!IsThere(files.defaults) && !IsThere(files.overlay)) {
        std::cerr << "tamselctl: " << request.name << ": has no file yet; waiting for one\n";
    }
    CFollower follower(files);
    Tamsel::TConfigMap former;
    unsigned int seen = 0;
    while (!IsStopAsked()) {
        const bool isChanged = StepIfReadable(follower, former);
        if (isChanged && PrintChanges(request, Changes(former, follower.Values()), seen)) break;
        if (std::chrono::duration<double>(TClock::now() - begin).count() >= request.timeout) {
            return request.count == 0 ? EExit::Done : EExit::AbsentOrDifferent;
        }
        std::this_thread::sleep_for(Tick);
    }
    return EExit::Done;
}

}  // namespace TamselCtl
