// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tamsel/factory.h>

#include "failure.h"

namespace CLI {
class App;
}

namespace TamselCtl {

using TWords = std::vector<std::string>;
using TOptional = std::optional<std::string>;

constexpr double WithoutEnd = std::numeric_limits<double>::infinity();

/// What every command takes.
struct SCommon {
    std::string root = Tamsel::DefaultRootPath;
    std::string subDirectory = Tamsel::DefaultSubDirectory;
    bool asJson = false;
    double wait = WithoutEnd;  ///< seconds to wait for a lock
};

/// The command line of one command. A command adds what it takes, with the variables that get the
/// values; these must live until `Parse` has returned.
class CArguments {
public:
    CArguments(const std::string& program, const std::string& summary, const std::string& footer);
    ~CArguments();
    CArguments(const CArguments&) = delete;
    CArguments& operator=(const CArguments&) = delete;

    void AddCommon(SCommon& common);
    void AddVersion(const std::string& version);

    /// Arguments without a dash, in this order. `AddWords` takes all that are left.
    void AddName(std::string& name);
    void AddWord(const char* label, std::string& word, const char* help);
    void AddWords(const char* label, TWords& words, bool isRequired, const char* help);

    void AddFlag(const char* option, bool& flag, const char* help);
    void AddText(const char* option, const char* label, TOptional& text, const char* help);
    void AddFiles(const char* option, const char* label, TWords& files, const char* help);
    void AddSeconds(const char* option, double& seconds, const char* help);
    void AddCount(const char* option, unsigned int& count, const char* help);

    /// Assigns the variables. Returns false when the help or the version was asked for and printed.
    /// \throws CFailure the command line is wrong
    bool Parse(TWords words);

private:
    const std::unique_ptr<CLI::App> m_app;
};

/// What a command does once its arguments are parsed.
using TRun = std::function<EExit()>;

/// Adds what a command takes to `arguments`. `common` outlives the result.
using TPrepare = TRun(CArguments& arguments, const SCommon& common);

[[noreturn]] void FailUsage(const std::string& problem);

}  // namespace TamselCtl
