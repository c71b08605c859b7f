// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <shared_mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include <json/value.h>

#define BASELINE_API __attribute__((visibility("default")))

/// The baselines that the library's operations are measured against: the same work, written inline
/// without the library. Each function is the baseline of the operation with the same name.
namespace Baseline {

/// The data of a configuration from one file.
using TMap = std::map<std::string, Json::Value>;

/// The data of a configuration of two layers. The lock has its own cache line: concurrent readers
/// write to it, which must not evict the maps' end nodes from each other's caches.
struct SLayers {
    TMap defaults;
    TMap overlay;
    alignas(64) mutable std::shared_mutex mutex;
};

/// The keys to look up, in this order.
using TKeys = std::vector<const std::string*>;

/// What a result adds to the checksum that proves all results of a sequence correct.
inline double Checksum(double result) { return result; }
inline double Checksum(const std::string& result) {
    return static_cast<double>(result.size()) + result.back();
}

/// For each key: takes the shared lock if there are layers, looks the key up, checks the type and
/// converts. Returns the checksum of all results.
template <typename T, typename TStore>
BASELINE_API double Get(const TStore& store, const TKeys& keys, const T& missing);

/// The same without the conversion. Returns the number of keys with an `int`.
template <typename TStore>
BASELINE_API double Exists(const TStore& store, const TKeys& keys);

BASELINE_API std::unordered_set<std::string> GetAllConfigKeys(const TMap& map);
BASELINE_API std::unordered_set<std::string> GetAllConfigKeys(const SLayers& layers);

BASELINE_API Json::Value Parse(const std::string& text);
BASELINE_API std::string Print(const Json::Value& root);

/// Opens, locks, truncates, writes, flushes, synchronises, unlocks and closes.
BASELINE_API void Write(const std::string& path, const std::string& text);

/// Read the journal and the file under shared locks; lock both exclusively, read them again and
/// synchronise the file; write, synchronise and read back the journal, the file, and the journal
/// emptied; unlock.
BASELINE_API void WriteJournalled(const std::string& path, const std::string& text);

/// An inotify descriptor that watches one file.
class BASELINE_API CWatch {
public:
    explicit CWatch(const std::string& path);
    ~CWatch();
    CWatch(const CWatch&) = delete;
    CWatch& operator=(const CWatch&) = delete;

    /// Reads once, and returns true if there was an event.
    bool HasChanged() const;

private:
    const int m_descriptor;
};

}  // namespace Baseline
