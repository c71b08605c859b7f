// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

/// Stands between the library and libc. Runs `work` while the named call fails with the named error
/// ("-": none does), and gives every call that the file layer made, with blanks between.
std::string CallsOf(const std::string& refused, const std::string& error,
                    const std::function<void()>& work);
