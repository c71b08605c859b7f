// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "baseline.h"

/// The configuration that the benchmarks read.
namespace Sample {

/// Integers, numbers with a fraction, and strings, one third each. The overlay has every second
/// key, with a different value. Key names are as long as on real devices, beyond the small-string
/// buffer.
struct SMaps {
    explicit SMaps(int keyCount);

    Baseline::TMap defaults;
    Baseline::TMap overlay;
};

/// A key with an `int` in both layers.
extern const std::string IntKey;

/// Returns the document with the entries of the map.
Json::Value ToJson(const Baseline::TMap& map);

/// Returns the members of a document, inserted in the same order as by the library.
Baseline::TMap ToMap(const Json::Value& root);

/// Where a value is found.
enum class ESource { Overlay, Defaults, Missing };

/// The keys of one type from one source, each many times, in a long shuffled sequence: a branch
/// predictor learns a short one.
class CKeySequence {
public:
    template <typename T>
    CKeySequence(const SMaps& maps, ESource source, const T& missing);

    const Baseline::TKeys& Keys() const { return m_keys; }
    const Baseline::TKeys& OtherOrder() const { return m_otherOrder; }

    /// The checksum of all correct results, see `Baseline::Checksum`.
    double Checksum() const { return m_checksum; }

private:
    std::vector<std::string> m_names;
    Baseline::TKeys m_keys;
    Baseline::TKeys m_otherOrder;
    double m_checksum = 0;
};

}  // namespace Sample
