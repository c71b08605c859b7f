// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <shared_mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include <json/value.h>

#define FLOOR_API __attribute__((visibility("default")))

/// What the library's operations cannot cost less than: the same work written bare, in place, and
/// without the library. Each floor is beside the operation of the same name.
namespace Floor {

/// What a configuration from one file holds.
using TMap = std::map<std::string, Json::Value>;

/// What a configuration of two layers holds. The lock has a cache line of its own: readers at once
/// write to it, and would take the maps' ends out of each other's caches.
struct SLayers {
    TMap defaults;
    TMap overlay;
    alignas(64) mutable std::shared_mutex mutex;
};

/// The keys to ask for, in this order.
using TKeys = std::vector<const std::string*>;

/// What an answer adds to the sum that proves all answers of a walk right.
inline double Weigh(double answer) { return answer; }
inline double Weigh(const std::string& answer) {
    return static_cast<double>(answer.size()) + answer.back();
}

/// For each key: shared lock if there are layers, look up, ask for the type, convert. Gives the sum
/// of what the answers weigh.
template <typename T, typename TStore>
FLOOR_API double Get(const TStore& store, const TKeys& keys, const T& missing);

/// The same without the conversion. Gives how many keys hold an `int`.
template <typename TStore>
FLOOR_API double Exists(const TStore& store, const TKeys& keys);

FLOOR_API std::unordered_set<std::string> GetAllConfigKeys(const TMap& map);
FLOOR_API std::unordered_set<std::string> GetAllConfigKeys(const SLayers& layers);

FLOOR_API Json::Value Parse(const std::string& text);
FLOOR_API std::string Print(const Json::Value& root);

/// Open, lock, truncate, write, flush, synchronise, unlock, close.
FLOOR_API void Write(const std::string& path, const std::string& text);

/// An inotify descriptor that watches one file.
class FLOOR_API CWatch {
public:
    explicit CWatch(const std::string& path);
    ~CWatch();
    CWatch(const CWatch&) = delete;
    CWatch& operator=(const CWatch&) = delete;

    /// Reads once, and tells whether there was an event.
    bool HasChanged() const;

private:
    const int m_descriptor;
};

}  // namespace Floor
