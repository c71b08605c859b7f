// SPDX-License-Identifier: MIT
#pragma once

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <tamsel/factory.h>

namespace TamselCtl {

/// The exit codes. Scripts rely on the numbers, and the man page lists them.
enum class EExit {
    Done = 0,
    AbsentOrDifferent = 1,
    Usage = 2,
    WrongType = 3,
    DoesNotParse = 4,
    AccessDenied = 5,
    WriteFailed = 6,
};

/// All that a command line can say; each command looks at its part.
struct SRequest {
    std::string root = Tamsel::DefaultRootPath;
    std::string subDirectory = Tamsel::DefaultSubDirectory;
    std::string name;
    std::string key;
    std::string value;
    std::string file;
    std::vector<std::string> keys;
    bool asJson = false;
    bool asText = false;
    bool onlyOverlay = false;
    bool isForced = false;
    bool isVerified = false;
    unsigned int count = 0;  // without end
    double timeout = std::numeric_limits<double>::infinity();
};

/// Ends a command that cannot be done. `what()` is the whole message: the file or key first, then
/// what is the matter with it.
class CFailure : public std::runtime_error {
public:
    CFailure(EExit exitCode, const std::string& subject, const std::string& problem)
        : std::runtime_error(subject + ": " + problem), m_exitCode(exitCode) {}

    EExit ExitCode() const { return m_exitCode; }

private:
    EExit m_exitCode;
};

}  // namespace TamselCtl
