// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "arguments.h"
#include "commands.h"
#include "output.h"

namespace TamselCtl {

namespace {

struct SCommand {
    const char* name;
    const char* summary;
    TPrepare* prepare;
};

constexpr SCommand Commands[] = {
    {"get", "Print the value of a key", PrepareGet},
    {"set", "Change the value of a key", PrepareSet},
    {"restore", "Undo the change of a key", PrepareRestore},
    {"erase", "Undo all changes", PrepareErase},
    {"list", "Print every key with value, type and source", PrepareList},
    {"keys", "Print every key", PrepareKeys},
    {"diff", "Print the keys that the overlay changes", PrepareDiff},
    {"watch", "Print each change of a key", PrepareWatch},
    {"check", "Look for faults in the files", PrepareCheck},
    {"recover", "Complete interrupted changes", PrepareRecover},
    {"export", "Print the whole configuration as a document", PrepareExport},
    {"import", "Change many keys in one write", PrepareImport},
};

const char* const ExitCodes =
    "Exit code: 0 done, 1 key absent or difference found, 2 usage, 3 wrong type,\n"
    "4 a file does not parse, 5 access denied, 6 write failed, 7 lock not acquired.\n"
    "See tamselctl(1).";

/// Returns the position of the command's name: the first word after options and their values.
TWords::iterator FindCommand(TWords& words) {
    const auto takesValue = [](const std::string& word) {
        return word == "--root" || word == "--subdir" || word == "--wait";
    };
    auto word = words.begin();
    while (word != words.end() && word->size() > 1 && word->front() == '-') {
        word += takesValue(*word) && word + 1 != words.end() ? 2 : 1;
    }
    return word;
}

/// Builds the command line of this command only: building all would dominate the start.
EExit RunCommand(const SCommand& command, TWords words) {
    SCommon common;
    CArguments arguments(std::string("tamselctl ") + command.name, command.summary, ExitCodes);
    const TRun run = command.prepare(arguments, common);
    arguments.AddCommon(common);
    if (!arguments.Parse(std::move(words))) return EExit::Done;
    if (!common.root.empty() && common.root.back() != '/') common.root += '/';
    return run();
}

EExit RunWithoutCommand(TWords words) {
    std::string footer = "Commands:\n";
    for (const auto& [name, summary, prepare] : Commands) {
        footer += std::string("  ") + name + std::string(9 - std::string(name).size(), ' ');
        footer += std::string(summary) + '\n';
    }
    footer += "See COMMAND --help for the arguments of a command.\n\n";
    CArguments arguments("tamselctl COMMAND", "Reads, changes and follows configurations.",
                         footer + ExitCodes);
    SCommon common;
    arguments.AddCommon(common);
    arguments.AddVersion(std::string("tamselctl ") + TAMSELCTL_VERSION);
    if (!arguments.Parse(std::move(words))) return EExit::Done;
    FailUsage("COMMAND is required");
}

EExit Run(TWords words) {
    const auto word = FindCommand(words);
    if (word == words.end()) return RunWithoutCommand(words);
    const auto command = std::find_if(std::begin(Commands), std::end(Commands),
                                      [&](const SCommand& each) { return each.name == *word; });
    if (command == std::end(Commands)) FailUsage("no such command: " + *word);
    words.erase(word);
    return RunCommand(*command, std::move(words));
}

/// Opens closed standard streams such that using them fails: standard input write-only, the others
/// read-only. Otherwise, a file opened later would get their number, and the output.
void OccupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) != -1) continue;
        // Gets the lowest free number, which is this one.
        (void)open("/dev/null", (stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
    }
}

}  // namespace

}  // namespace TamselCtl

// NOLINTNEXTLINE(bugprone-exception-escape): only when out of memory, before anything is done
int main(int argc, char** argv) {
    using namespace TamselCtl;
    OccupyStandardStreams();
    (void)signal(SIGPIPE, SIG_IGN);  // so that writing to a closed pipe fails
    return static_cast<int>(RunReporting([&] {
        const EExit exitCode = Run(TWords(argv + 1, argv + std::max(argc, 1)));
        FlushOutput();
        return exitCode;
    }));
}
