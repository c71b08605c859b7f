// SPDX-License-Identifier: MIT
#include "check.h"

#include <algorithm>
#include <cstdio>

#include "json_text.h"
#include "layers.h"
#include "output.h"

namespace TamselCtl {

namespace {

/// One thing to say about a file. What is worth a word but no worry has the exit code `Done`.
struct SFinding {
    EExit exitCode;
    std::string file;
    std::string problem;
    int line = 0;  // none, as the column then is
    int column = 0;
};

using TFindings = std::vector<SFinding>;

EExit Worst(const TFindings& findings) {
    EExit worst = EExit::Done;
    for (const SFinding& finding : findings) worst = std::max(worst, finding.exitCode);
    return worst;
}

/// Takes the first complaint of the parser's text apart: "* Line 2, Column 3", then the problem.
void AddComplaint(TFindings& findings, EExit exitCode, const std::string& file,
                  const std::string& errors) {
    SFinding finding{exitCode, file, errors};
    const auto matched =
        std::sscanf(errors.c_str(), "* Line %d, Column %d", &finding.line, &finding.column);
    if (matched == 2) {
        const std::size_t begin = errors.find_first_not_of(' ', errors.find('\n') + 1);
        finding.problem = errors.substr(begin, errors.find('\n', begin) - begin);
    }
    findings.push_back(finding);
}

/// Looks at one file alone. What only the strict parser refuses is a finding: programs read on, and
/// perhaps not what was meant.
void CheckFile(TFindings& findings, const std::string& file) {
    Json::Value document;
    std::string errors;
    const bool isStrict = ParseStrictly(ReadText(file), document, errors);
    try {
        const Tamsel::TConfigMap map = ReadMap(file);
        if (!isStrict) AddComplaint(findings, EExit::AbsentOrDifferent, file, errors);
        for (const auto& [key, value] : map) {
            if (CanBeStored({{key, value}})) continue;
            findings.push_back(
                {EExit::AbsentOrDifferent, file,
                 ShownKey(key) + ": is not UTF-8 or not finite, and the next write changes it"});
        }
    } catch (const CFailure& failure) {
        if (failure.ExitCode() != EExit::DoesNotParse) throw;
        AddComplaint(findings, EExit::DoesNotParse, file,
                     isStrict ? "The top level is neither an object nor null." : errors);
    }
}

/// Tells whether a file holds anything; a note says so when it is there and does not.
bool HasText(TFindings& findings, const std::string& file, const std::string& meaning) {
    if (!IsThere(file)) return false;
    if (!ReadText(file).empty()) return true;
    findings.push_back({EExit::Done, file, "Is empty, which reads as no " + meaning + "."});
    return false;
}

/// Compares the overlay's keys with the defaults that they are meant to override.
void CheckOverlay(TFindings& findings, const SFiles& files) {
    const SLayers layers = ReadLayers(files);
    for (const auto& [key, value] : layers.overlay) {
        const Json::Value* const byDefault = Find(layers.defaults, key);
        std::string problem;
        if (byDefault == nullptr) {
            problem = "has no default";
        } else if (!Fits(*byDefault, value)) {
            problem = "is " + KindOf(value) + ", its default " + KindOf(*byDefault);
        } else {
            continue;
        }
        findings.push_back(
            {EExit::AbsentOrDifferent, files.overlay, ShownKey(key) + ": " + problem});
    }
}

TFindings FindAll(const SRequest& request) {
    const SFiles files = FilesOf(request);
    TFindings findings;
    if (!IsThere(files.defaults)) {
        // Without either file, it is the name that must be wrong.
        const auto exitCode = IsThere(files.overlay) ? EExit::Done : EExit::AbsentOrDifferent;
        findings.push_back({exitCode, files.defaults, "Is missing, which reads as no defaults."});
    }
    const bool hasDefaults = HasText(findings, files.defaults, "defaults");
    const bool hasOverlay = HasText(findings, files.overlay, "changes");
    if (hasDefaults) CheckFile(findings, files.defaults);
    if (hasOverlay) CheckFile(findings, files.overlay);
    if (hasDefaults && hasOverlay && Worst(findings) != EExit::DoesNotParse) {
        CheckOverlay(findings, files);
    }
    return findings;
}

void PrintForPeople(const SFinding& finding) {
    std::string place = finding.file;
    if (finding.line > 0) {
        place += ':' + std::to_string(finding.line) + ':' + std::to_string(finding.column);
    }
    PrintLine(place + ": " + finding.problem);
}

Json::Value Describe(const SFinding& finding) {
    Json::Value entry;
    entry["file"] = finding.file;
    entry["problem"] = finding.problem;
    entry["exit"] = static_cast<int>(finding.exitCode);
    if (finding.line > 0) {
        entry["line"] = finding.line;
        entry["column"] = finding.column;
    }
    return entry;
}

}  // namespace

EExit Check(const SRequest& request) {
    const TFindings findings = FindAll(request);
    Json::Value all;
    all["findings"] = Json::arrayValue;
    for (const SFinding& finding : findings) {
        if (request.asJson) {
            all["findings"].append(Describe(finding));
        } else {
            PrintForPeople(finding);
        }
    }
    if (request.asJson) PrintJson(all);
    return Worst(findings);
}

}  // namespace TamselCtl
