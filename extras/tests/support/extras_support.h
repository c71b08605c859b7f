// SPDX-License-Identifier: MIT
#pragma once

#include <tamsel/extras/open.h>

#include "support/test_support.h"

/// A system call that the extras are about to make.
struct SCall {
    std::string name;  ///< as the kernel has it; "create" for an `open` that makes the file
    std::string path;
    std::size_t at = 0;  ///< where a write begins, or the size to truncate to
    std::string data;
};

/// Answers in place of an error: write the first half only; do not wait for the disk.
constexpr int DoLess = -1;

/// During its lifetime, `answer` returns the error with which each call fails, or 0 to let it pass.
/// Not for programs with threads. A child of `fork` inherits it.
class CHook {
public:
    using TAnswer = std::function<int(const SCall& call)>;
    explicit CHook(TAnswer answer = Fast) : m_outer(std::exchange(s_answer, std::move(answer))) {}
    ~CHook() { s_answer = m_outer; }
    CHook(const CHook&) = delete;

    /// Spares tests the time of the disk, and that of closing an inotify instance.
    static int Fast(const SCall& call) {
        if (call.name == "inotify_init1") return ENOSYS;
        return call.name == "fsync" || call.name == "fdatasync" ? DoLess : 0;
    }
    static int Ask(const SCall& call);

private:
    inline static TAnswer s_answer;
    const TAnswer m_outer;
};

// In the test's directory, for a configuration called "unit".
const std::string Overlay = "data/config/unit.json";
const std::string Journal = Overlay + ".journal";

inline std::shared_ptr<Tamsel::Extras::CSafeConfig> Open() {
    return Tamsel::Extras::Open("unit", "");
}

/// Returns all keys of a configuration with their values.
inline Json::Value ValuesOf(const Tamsel::IReadOnlyConfig& config) {
    Json::Value answers(Json::objectValue);
    for (const auto& key : config.GetAllConfigKeys()) answers[key] = config.Get(key, Json::Value());
    return answers;
}

/// Returns the overlay as a program on the bare library reads it, or what that throws.
inline Json::Value State() try {
    return ValuesOf(Tamsel::CStaticConfig(std::make_shared<Tamsel::CInputFileStream>(Overlay)));
} catch (const std::exception& error) {
    return error.what();
}
