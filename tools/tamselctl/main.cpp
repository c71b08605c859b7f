// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>
#include <limits>

#include <CLI/CLI.hpp>

#include <tamsel/errors.h>

#include "changing.h"
#include "check.h"
#include "output.h"
#include "reading.h"
#include "request.h"
#include "watch.h"

namespace TamselCtl {

namespace {

/// What a command takes besides NAME.
enum ETakes : unsigned int {
    Nothing = 0,
    OneKey = 1,
    Value = 2,
    File = 4,
    SomeKeys = 8,
    Text = 16,
    Force = 32,
    Verification = 64,
    OverlayOnly = 128,
    Limits = 256,
};

struct SCommand {
    const char* name;
    const char* summary;
    EExit (*run)(const SRequest&);
    unsigned int takes;
};

constexpr SCommand Commands[] = {
    {"get", "Print the value of a key", Get, OneKey | Text},
    {"set", "Change the value of a key", Set, OneKey | Value | Text | Force | Verification},
    {"restore", "Undo the change of a key", Restore, OneKey},
    {"erase", "Undo all changes", Erase, Force},
    {"list", "Print every key with value, type and source", List, Nothing},
    {"keys", "Print every key", Keys, Nothing},
    {"diff", "Print what the overlay changes", Diff, Nothing},
    {"watch", "Print each change of a key as it happens", Watch, SomeKeys | Limits},
    {"check", "Look both files through for faults", Check, Nothing},
    {"export", "Print the whole configuration as a document", Export, OverlayOnly},
    {"import", "Change many keys by one write", Import, File | Force | Verification},
};

const char* const Footer =
    "Options may also stand behind COMMAND; COMMAND --help tells what it takes.\n"
    "Exit code: 0 done, 1 key absent or difference found, 2 usage, 3 wrong type,\n"
    "4 a file does not parse, 5 access denied, 6 write or verification failed.\n"
    "More in tamselctl(1).";

void AddPositionals(CLI::App& command, unsigned int takes, SRequest& request) {
    command.add_option("NAME", request.name, "Configuration, the files' name without .json")
        ->required();
    if (takes & OneKey) command.add_option("KEY", request.key, "Key")->required();
    if (takes & Value) {
        command.add_option("VALUE", request.value, "New value as JSON; - reads standard input")
            ->required();
    }
    if (takes & File) {
        command.add_option("FILE", request.file, "JSON object; - reads standard input")->required();
    }
    if (takes & SomeKeys) {
        command.add_option("KEY", request.keys, "Keys to tell of; all when none is given");
    }
}

void AddOptions(CLI::App& command, unsigned int takes, SRequest& request) {
    if (takes & Text) command.add_flag("--string", request.asText, "The value is bare text");
    if (takes & Force) {
        command.add_flag("--force", request.isForced,
                         "Accept another type; erase a broken overlay");
    }
    if (takes & Verification) {
        command.add_flag("--verify", request.isVerified, "Read the file back afterwards");
    }
    if (takes & OverlayOnly) {
        command.add_flag("--overlay", request.onlyOverlay, "Print the changes alone");
    }
    if (takes & Limits) {
        command.add_option("--count", request.count, "End after so many lines")
            ->type_name("N")
            ->check(CLI::Range(1u, std::numeric_limits<unsigned int>::max(), ""));
        command.add_option("--timeout", request.timeout, "End after so many seconds")
            ->type_name("SECONDS")
            ->check(CLI::Range(0.0, 1e9, ""));
    }
}

/// Puts the whole command line together, and gives the command that `request` is to be run by.
void AddCommands(CLI::App& app, SRequest& request, const SCommand*& chosen) {
    app.add_option("--root", request.root, "Where etc/ and data/ are")
        ->type_name("PREFIX")
        ->capture_default_str();
    app.add_option("--subdir", request.subDirectory, "Folder of the files in both")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_flag("--json", request.asJson, "Print one JSON object, for programs");
    app.set_version_flag("--version", std::string("tamselctl ") + TAMSELCTL_VERSION);
    app.require_subcommand(0, 1);  // none is told below, so that a mistyped one is named
    app.fallthrough();
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.footer(Footer);
    for (const SCommand& command : Commands) {
        CLI::App* const part = app.add_subcommand(command.name, command.summary)->group("Commands");
        AddPositionals(*part, command.takes, request);
        AddOptions(*part, command.takes, request);
        part->callback([&command, &chosen] { chosen = &command; });
    }
}

EExit Report(EExit exitCode, const std::string& message) {
    std::cerr << "tamselctl: " << message.substr(0, message.find_last_not_of('\n') + 1) << '\n';
    return exitCode;
}

EExit ReportUsage(const std::string& problem) {
    return Report(EExit::Usage, problem + "; see tamselctl --help");
}

EExit Run(const SCommand& command, const SRequest& request) {
    try {
        const EExit exitCode = command.run(request);
        FlushOutput();
        return exitCode;
    } catch (const CFailure& failure) {
        return Report(failure.ExitCode(), failure.what());
    } catch (const Tamsel::CAccessDenied& error) {
        return Report(EExit::AccessDenied, error.what());
    } catch (const Tamsel::CInotifyHandlingError& error) {
        return Report(EExit::AccessDenied, error.what());
    } catch (const Tamsel::CInvalidConfig& error) {
        return Report(EExit::DoesNotParse, error.what());
    } catch (const std::exception& error) {
        return Report(EExit::WriteFailed, request.name + ": " + error.what());
    }
}

EExit Main(int argc, char** argv) {
    SRequest request;
    const SCommand* chosen = nullptr;
    CLI::App app{"Reads, changes and follows configurations: defaults, and an overlay over them.",
                 "tamselctl"};
    AddCommands(app, request, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        // The error's own text has them in reverse.
        return ReportUsage("not expected: " + CLI::detail::join(app.remaining(true), " "));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return ReportUsage(error.what());
        (void)app.exit(error);  // prints the help or the version
        if (std::cout.flush()) return EExit::Done;
        return Report(EExit::WriteFailed, "standard output: write failed");
    }
    if (chosen == nullptr) return ReportUsage("COMMAND is required");
    if (!request.root.empty() && request.root.back() != '/') request.root += '/';
    return Run(*chosen, request);
}

/// Makes sure that a closed standard stream is noticed when it is used, and that no file of ours is
/// opened in its place and gets the output.
void OccupyStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) (void)close(descriptor);
}

}  // namespace

}  // namespace TamselCtl

// NOLINTNEXTLINE(bugprone-exception-escape): only want of memory, before anything is begun
int main(int argc, char** argv) {
    TamselCtl::OccupyStandardStreams();
    (void)signal(SIGPIPE, SIG_IGN);  // so that a closed pipe is a failed write
    return static_cast<int>(TamselCtl::Main(argc, argv));
}
