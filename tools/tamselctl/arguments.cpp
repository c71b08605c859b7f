// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <CLI/CLI.hpp>

namespace TamselCtl {

namespace {

using TResults = CLI::results_t;

/// Assigns the value of an option unchanged; CLI11's conversion would interpret some.
template <typename TText>
auto AssignTo(TText& text) {
    return [&text](const TResults& results) {
        text = results.front();
        return true;
    };
}

auto AssignAllTo(TWords& words) {
    return [&words](const TResults& results) {
        words = results;
        return true;
    };
}

double Number(const char* option, const std::string& text, double least, double most) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && number >= least && number <= most) return number;
    throw CLI::ValidationError(option, "'" + text + "' is not a number in its range");
}

}  // namespace

void FailUsage(const std::string& problem) {
    throw CFailure(EExit::Usage, problem + "; see tamselctl --help");
}

CArguments::CArguments(const std::string& program, const std::string& summary,
                       const std::string& footer)
    : m_app(std::make_unique<CLI::App>(summary, program)) {
    m_app->footer(footer);
    m_app->get_formatter()->column_width(26);
}

CArguments::~CArguments() = default;

void CArguments::AddCommon(SCommon& common) {
    m_app->add_option("--root", AssignTo(common.root), "Prefix of etc/ and data/ (default /)")
        ->type_name("PREFIX");
    m_app
        ->add_option("--subdir", AssignTo(common.subDirectory),
                     "Directory in etc/ and data/ (default config)")
        ->type_name("DIR");
    AddFlag("--json", common.asJson, "Print JSON, for programs");
    AddSeconds("--wait", common.wait, "Wait at most this long for a lock (default: no limit)");
}

void CArguments::AddVersion(const std::string& version) {
    m_app->set_version_flag("--version", version, "Print the version");
}

void CArguments::AddName(std::string& name) {
    AddWord("NAME", name, "Configuration: the files' name without .json");
}

void CArguments::AddWord(const char* label, std::string& word, const char* help) {
    m_app->add_option(label, AssignTo(word), help)->required();
}

void CArguments::AddWords(const char* label, TWords& words, bool isRequired, const char* help) {
    // The minimum is the maximum: CLI11 splits [a,b] for arguments beyond the minimum.
    const int many = CLI::detail::expected_max_vector_size;
    m_app->add_option(label, AssignAllTo(words), help)
        ->expected(many, many)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->required(isRequired);
}

void CArguments::AddFlag(const char* option, bool& flag, const char* help) {
    m_app->add_flag(option, flag, help);
}

void CArguments::AddText(const char* option, const char* label, TOptional& text, const char* help) {
    m_app->add_option(option, AssignTo(text), help)->type_name(label);
}

void CArguments::AddFiles(const char* option, const char* label, TWords& files, const char* help) {
    m_app->add_option(option, AssignAllTo(files), help)->type_name(label)->expected(1, 2);
}

void CArguments::AddSeconds(const char* option, double& seconds, const char* help) {
    const auto assign = [option, &seconds](const TResults& results) {
        seconds = Number(option, results.front(), 0, 1e9);
        return true;
    };
    m_app->add_option(option, assign, help)->type_name("SECONDS");
}

void CArguments::AddCount(const char* option, unsigned int& count, const char* help) {
    const auto assign = [option, &count](const TResults& results) {
        const double number = Number(option, results.front(), 1, 4e9);
        count = static_cast<unsigned int>(number);
        return number == std::floor(number);
    };
    m_app->add_option(option, assign, help)->type_name("N");
}

bool CArguments::Parse(TWords words) {
    std::reverse(words.begin(), words.end());  // as CLI11 expects them
    try {
        m_app->parse(std::move(words));
        return true;
    } catch (const CLI::ExtrasError&) {
        // The error's text has them in reverse order.
        FailUsage("unexpected: " + CLI::detail::join(m_app->remaining(true), " "));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) FailUsage(error.what());
        (void)m_app->exit(error);  // prints the help or the version
        return false;
    }
}

}  // namespace TamselCtl
