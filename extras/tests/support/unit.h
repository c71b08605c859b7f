// SPDX-License-Identifier: MIT
#pragma once

#include <tamsel/extras/open.h>
#include <tamsel/tamsel.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "support/system_calls.h"
#include "support/temp_root.h"
#include "support/text.h"

/// Returns all that a configuration answers, on one line.
inline std::string Answers(const Tamsel::IReadOnlyConfig& config) {
    Json::Value answers(Json::objectValue);
    for (const std::string& key : config.GetAllConfigKeys()) {
        answers[key] = config.Get(key, Json::Value());
    }
    return OneLine(answers);
}

/// A private root for one configuration.
class CUnit : public CTempRoot {
public:
    CUnit() { Reset(); }

    /// Makes the overlay's folder anew: empty, and open to every user.
    void Reset() const {
        std::filesystem::remove_all(Path("data"));
        std::filesystem::create_directories(Folder());
        std::filesystem::permissions(Folder(), std::filesystem::perms::all);
    }

    std::string Folder() const { return Path("data/config"); }
    std::string Overlay() const { return Path("data/config/unit.json"); }
    std::string Journal() const { return Overlay() + ".journal"; }

    /// Writes the overlay in place, as `cp`, `tee` and the shell's `>` do.
    void Copy(const std::string& text) const { Put("data/config/unit.json", text); }

    std::shared_ptr<Tamsel::Extras::CSafeConfig> Open(Tamsel::TChangeCallback callback = {}) const {
        return Tamsel::Extras::Open("unit", Path(), std::move(callback));
    }
    std::shared_ptr<Tamsel::IConfig> Create() const {
        const CHooked unhooked(nullptr);  // it insists on inotify
        return Tamsel::Create("unit", Path());
    }

    /// Returns what a program on the bare library finds in the overlay file, on one line.
    std::string State() const try {
        return Answers(
            Tamsel::CStaticConfig(std::make_shared<Tamsel::CInputFileStream>(Overlay())));
    } catch (const std::exception& error) {
        return error.what();
    }
};
