// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

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
    NotLocked = 7,
};

/// Ends a command that fails. `what()` is the whole message: the file or key, then the problem.
class CFailure : public std::runtime_error {
public:
    CFailure(EExit exitCode, const std::string& message)
        : std::runtime_error(message), m_exitCode(exitCode) {}
    CFailure(EExit exitCode, const std::string& subject, const std::string& problem)
        : CFailure(exitCode, subject + ": " + problem) {}

    EExit ExitCode() const { return m_exitCode; }

private:
    EExit m_exitCode;
};

/// Prints a message to standard error.
void Report(const std::string& message);

/// Returns the exit code of `work`. Reports an exception and returns the exit code for it.
EExit RunReporting(const std::function<EExit()>& work);

}  // namespace TamselCtl
