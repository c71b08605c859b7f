// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "floor.h"

/// The configuration that the benchmarks ask.
namespace Sample {

/// Integers, numbers with a fraction, and strings, one third each. The overlay holds every second
/// key, with a value of its own. Key names are as devices have them: too long for a string's own
/// buffer.
struct SMaps {
    explicit SMaps(int keyCount);

    Floor::TMap defaults;
    Floor::TMap overlay;
};

/// A key that both layers hold as an `int`.
extern const std::string IntKey;

/// Gives the document that holds the map.
Json::Value ToJson(const Floor::TMap& map);

/// Gives the members of a document, put together in the order in which the library does.
Floor::TMap ToMap(const Json::Value& root);

/// Where an answer comes from.
enum class ERoad { Overlay, Defaults, Missing };

/// The keys of one type on one road, each many times, in a long shuffled sequence: a branch
/// predictor learns a short one.
class CWalk {
public:
    template <typename T>
    CWalk(const SMaps& maps, ERoad road, const T& missing);

    const Floor::TKeys& Keys() const { return m_keys; }
    const Floor::TKeys& OtherOrder() const { return m_otherOrder; }

    /// What all right answers weigh together, see `Floor::Weigh`.
    double Sum() const { return m_sum; }

private:
    std::vector<std::string> m_names;
    Floor::TKeys m_keys;
    Floor::TKeys m_otherOrder;
    double m_sum = 0;
};

}  // namespace Sample
