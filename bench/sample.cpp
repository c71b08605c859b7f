// SPDX-License-Identifier: MIT
#include "sample.h"

#include <algorithm>
#include <random>

namespace Sample {

namespace {

constexpr std::size_t SequenceLength = 32768;

std::string Name(int i) {
    const char* const groups[] = {"audio", "display", "network", "sensor", "update"};
    return groups[i % 5] + (".option." + std::to_string(10000 + i).substr(1));
}

// The layers differ in every value, so that a result from the wrong layer is detected.
Json::Value Value(int i, bool isOverlay) {
    switch (i / 2 % 3) {
        case 0: return i + (isOverlay ? 1000000 : 0);
        case 1: return i + (isOverlay ? 0.25 : 0.5);
        default: return (isOverlay ? "changed value " : "value as shipped ") + std::to_string(i);
    }
}

template <typename T>
constexpr Json::ValueType KindOf = Json::stringValue;
template <>
constexpr Json::ValueType KindOf<int> = Json::intValue;
template <>
constexpr Json::ValueType KindOf<double> = Json::realValue;

}  // namespace

const std::string IntKey = Name(0);

SMaps::SMaps(int keyCount) {
    for (int i = 0; i < keyCount; ++i) {
        defaults[Name(i)] = Value(i, false);
        if (i % 2 == 0) overlay[Name(i)] = Value(i, true);
    }
}

Json::Value ToJson(const Baseline::TMap& map) {
    Json::Value root;
    for (const auto& [key, value] : map) root[key] = value;
    return root;
}

Baseline::TMap ToMap(const Json::Value& root) {
    Baseline::TMap map;
    for (auto member = root.begin(); member != root.end(); ++member) {
        map.emplace_hint(map.end(), member.name(), *member);
    }
    return map;
}

template <typename T>
CKeySequence::CKeySequence(const SMaps& maps, ESource source, const T& missing) {
    std::vector<double> checksums;
    for (const auto& [key, value] : source == ESource::Overlay ? maps.overlay : maps.defaults) {
        if (value.type() != KindOf<T>) continue;
        if (source == ESource::Defaults && maps.overlay.count(key) != 0) continue;
        // A missing key sorts between two existing ones.
        m_names.push_back(source == ESource::Missing ? key + "?" : key);
        checksums.push_back(
            Baseline::Checksum(source == ESource::Missing ? missing : value.template as<T>()));
    }
    while (m_keys.size() < SequenceLength) {
        for (std::size_t i = 0; i < m_names.size(); ++i) {
            m_keys.push_back(&m_names[i]);
            m_checksum += checksums[i];
        }
    }
    m_otherOrder = m_keys;
    std::mt19937 random;
    std::shuffle(m_keys.begin(), m_keys.end(), random);
    std::shuffle(m_otherOrder.begin(), m_otherOrder.end(), random);
}

template CKeySequence::CKeySequence(const SMaps& maps, ESource source, const int& missing);
template CKeySequence::CKeySequence(const SMaps& maps, ESource source, const double& missing);
template CKeySequence::CKeySequence(const SMaps& maps, ESource source, const std::string& missing);

}  // namespace Sample
