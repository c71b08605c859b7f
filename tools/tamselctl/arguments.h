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

constexpr double NoTimeLimit = std::numeric_limits<double>::infinity();

/// The options that all commands have.
struct SCommon {
    std::string root = Tamsel::DefaultRootPath;
    std::string subDirectory = Tamsel::DefaultSubDirectory;
    bool asJson = false;
    double wait = NoTimeLimit;  ///< seconds to wait for a lock
};

/// The command line of one command. Each argument is added with the variable that `Parse` assigns,
/// which must live until then.
class CArguments {
public:
    CArguments(const std::string& program, const std::string& summary, const std::string& footer);
    ~CArguments();
    CArguments(const CArguments&) = delete;
    CArguments& operator=(const CArguments&) = delete;

    void AddCommon(SCommon& common);
    void AddVersion(const std::string& version);

    /// Positional arguments, in this order. `AddWords` takes all remaining ones.
    void AddName(std::string& name);
    void AddWord(const char* label, std::string& word, const char* help);
    void AddWords(const char* label, TWords& words, bool isRequired, const char* help);

    void AddFlag(const char* option, bool& flag, const char* help);
    void AddText(const char* option, const char* label, TOptional& text, const char* help);
    void AddFiles(const char* option, const char* label, TWords& files, const char* help);
    void AddSeconds(const char* option, double& seconds, const char* help);
    void AddCount(const char* option, unsigned int& count, const char* help);

    /// Assigns the variables and returns true. Returns false if it printed the help or the version.
    /// \throws CFailure the command line is invalid
    bool Parse(TWords words);

private:
    const std::unique_ptr<CLI::App> m_app;
};

/// Runs a command whose arguments are parsed.
using TRun = std::function<EExit()>;

/// Adds the arguments of a command, and returns what runs it. `common` outlives the result.
using TPrepare = TRun(CArguments& arguments, const SCommon& common);

[[noreturn]] void FailUsage(const std::string& problem);

}  // namespace TamselCtl
