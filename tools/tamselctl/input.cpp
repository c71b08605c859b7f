// SPDX-License-Identifier: MIT
#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "failure.h"
#include "json_text.h"

namespace TamselCtl {

namespace {

[[noreturn]] void FailToRead(const std::string& file) {
    const std::string reason = std::generic_category().message(errno);
    throw CFailure(EExit::AccessDenied, file == "-" ? "standard input" : file, reason);
}

}  // namespace

const std::string NotStorable =
    "cannot be stored: a number that is not finite, text that is not UTF-8, or more than 1000 "
    "levels";

std::string ReadInput(const std::string& file) {
    // Remains open until the program ends, as standard input does.
    const int input = file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0) FailToRead(file);
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t count = read(input, buffer, sizeof buffer);
        if (count == 0) return text;
        if (count < 0) FailToRead(file);
        text.append(buffer, static_cast<std::size_t>(count));
    }
}

Json::Value ReadDocument(const std::string& file) {
    const std::string text = ReadInput(file);
    Json::Value document;
    std::string errors;
    if (!ParseStrictly(text, EComments::Allowed, document, errors)) {
        throw CFailure(EExit::DoesNotParse, file, "does not parse\n" + errors);
    }
    if (document.isObject()) return document;
    throw CFailure(EExit::DoesNotParse, file, "the top level is not an object");
}

Json::Value ParseGiven(const std::string& subject, const std::string& text, bool isBareText) {
    Json::Value value(text);
    std::string errors;
    if (!isBareText && !ParseStrictly(text, EComments::Refused, value, errors)) {
        throw CFailure(EExit::Usage, subject,
                       "VALUE does not parse; use --string for text\n" + errors);
    }
    if (!CanBeStored({{"", value}})) throw CFailure(EExit::Usage, subject, NotStorable);
    return value;
}

}  // namespace TamselCtl
