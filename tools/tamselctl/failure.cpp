// SPDX-License-Identifier: MIT
#include "failure.h"

#include <iostream>

#include <tamsel/errors.h>

namespace TamselCtl {

namespace {

EExit Fail(EExit exitCode, const std::exception& error) {
    Report(error.what());
    return exitCode;
}

}  // namespace

void Report(const std::string& message) {
    std::cerr << "tamselctl: " << message.substr(0, message.find_last_not_of('\n') + 1) << '\n';
}

EExit RunReporting(const std::function<EExit()>& work) {
    try {
        return work();
    } catch (const CFailure& failure) {
        return Fail(failure.ExitCode(), failure);
    } catch (const Tamsel::CAccessDenied& error) {
        return Fail(EExit::AccessDenied, error);
    } catch (const Tamsel::CInotifyHandlingError& error) {
        return Fail(EExit::AccessDenied, error);
    } catch (const std::exception& error) {
        return Fail(EExit::WriteFailed, error);
    }
}

}  // namespace TamselCtl
