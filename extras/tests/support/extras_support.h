// SPDX-License-Identifier: MIT
#pragma once

#include <tamsel/extras/open.h>

#include "support/system_calls.h"
#include "support/test_support.h"

// In the test's folder, for a configuration called "unit".
const std::string Overlay = "data/config/unit.json";
const std::string Journal = Overlay + ".journal";

inline std::shared_ptr<Tamsel::Extras::CSafeConfig> Open() {
    return Tamsel::Extras::Open("unit", "");
}

/// Opens by the bare library, which insists on inotify.
inline std::shared_ptr<Tamsel::IConfig> Create() {
    const CHooked unhooked(nullptr);
    return Tamsel::Create("unit", "");
}

/// Returns all that a configuration answers.
inline Json::Value Answers(const Tamsel::IReadOnlyConfig& config) {
    Json::Value answers(Json::objectValue);
    for (const std::string& key : config.GetAllConfigKeys()) {
        answers[key] = config.Get(key, Json::Value());
    }
    return answers;
}

/// Returns what a program on the bare library finds in the overlay file, or why it finds nothing.
inline Json::Value State() try {
    return Answers(Tamsel::CStaticConfig(std::make_shared<Tamsel::CInputFileStream>(Overlay)));
} catch (const std::exception& error) {
    return error.what();
}
