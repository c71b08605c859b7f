// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include <tamsel/extras/crash_safe_file_stream.h>

#include "commands.h"
#include "json_text.h"
#include "layers.h"
#include "lock_wait.h"
#include "output.h"
#include "schema.h"

namespace TamselCtl {

namespace {

/// A finding about a file. The exit code is `Done` if it is not a fault.
struct SFinding {
    EExit exitCode;
    std::string file;
    std::string problem;
    int line = 0;  // 0 if there is none
    int column = 0;
};

using TFindings = std::vector<SFinding>;

bool Has(const TFindings& findings, EExit exitCode) {
    return std::any_of(findings.begin(), findings.end(),
                       [&](const SFinding& finding) { return finding.exitCode == exitCode; });
}

/// Returns the first problem of the parser's text: "* Line 2, Column 3", then the problem.
SFinding FromParser(EExit exitCode, const std::string& file, const std::string& errors) {
    SFinding finding{exitCode, file, errors};
    const auto matched =
        std::sscanf(errors.c_str(), "* Line %d, Column %d", &finding.line, &finding.column);
    if (matched == 2) {
        const std::size_t begin = errors.find_first_not_of(' ', errors.find('\n') + 1);
        finding.problem = errors.substr(begin, errors.find('\n', begin) - begin);
    }
    return finding;
}

using Tamsel::Extras::CFileLock;

struct SCheck {
    TWords names;
    TWords files;
    TOptional schema;
};

/// Checks one configuration; reads each file once and changes none.
class CInspection {
public:
    CInspection(const SSchema* schema, const SCommon& common)
        : m_schema(schema), m_common(common) {}

    void CheckInPlace(const std::string& name);

    /// Checks both files; an empty path stands for one that is not there.
    void CheckFiles(const std::string& defaults, const std::string& overlay);

    const TFindings& Findings() const { return m_findings; }

private:
    void Add(EExit exitCode, const std::string& file, const std::string& problem) {
        m_findings.push_back({exitCode, file, problem});
    }
    std::string ReadRaw(const std::string& file) const;
    Tamsel::TConfigMap CheckFile(const std::string& file, const std::string& meaning);
    void CheckKeys(const std::string& overlay, const SLayers& layers);

    const SSchema* const m_schema;
    const SCommon& m_common;
    TFindings m_findings;
};

/// As a program on the bare library reads it: does not complete an interrupted change.
std::string CInspection::ReadRaw(const std::string& file) const {
    return WaitForLock(m_common, file, [&](std::chrono::milliseconds limit) {
        return CFileLock(file, CFileLock::EMode::Shared, limit).Read();
    });
}

/// What only the strict parser rejects is a fault too: programs read it, but perhaps not as it was
/// meant.
Tamsel::TConfigMap CInspection::CheckFile(const std::string& file, const std::string& meaning) {
    if (file.empty()) return {};
    const std::string text = ReadRaw(file);
    if (text.empty()) {
        Add(EExit::Done, file, "Is empty, which reads as no " + meaning + ".");
        return {};
    }
    Json::Value document;
    std::string errors;
    const bool isStrict = ParseStrictly(text, EComments::Allowed, document, errors);
    Tamsel::TConfigMap map;
    try {
        map = ParseDefaults(file, text);
    } catch (const CFailure&) {
        if (isStrict) errors = "The top level is neither an object nor null.";
        m_findings.push_back(FromParser(EExit::DoesNotParse, file, errors));
        return {};
    }
    if (!isStrict) m_findings.push_back(FromParser(EExit::AbsentOrDifferent, file, errors));
    for (const auto& [key, value] : map) {
        if (IsKeptByRewrite(text, key, value)) continue;
        Add(EExit::AbsentOrDifferent, file, ShownKey(key) + ": " + AlteredByRewrite);
    }
    return map;
}

/// Compares the overlay's keys with the defaults that they are meant to override.
void CInspection::CheckKeys(const std::string& overlay, const SLayers& layers) {
    for (const auto& [key, value] : layers.overlay) {
        const Json::Value* const byDefault = Find(layers.defaults, key);
        if (byDefault == nullptr) {
            Add(EExit::AbsentOrDifferent, overlay, ShownKey(key) + ": has no default");
        } else if (!Fits(*byDefault, value)) {
            Add(EExit::AbsentOrDifferent, overlay,
                ShownKey(key) + ": is " + KindOf(value) + ", its default " + KindOf(*byDefault));
        }
    }
}

void CInspection::CheckFiles(const std::string& defaults, const std::string& overlay) {
    const Tamsel::TConfigMap defaultsMap = CheckFile(defaults, "defaults");
    const SLayers layers{defaultsMap, CheckFile(overlay, "changes")};
    if (Has(m_findings, EExit::DoesNotParse)) return;
    if (!layers.defaults.empty()) CheckKeys(overlay, layers);
    if (m_schema == nullptr) return;
    const std::string& file = overlay.empty() ? defaults : overlay;
    for (const auto& problem : SchemaProblems(*m_schema, ToDocument(layers.Merged()))) {
        Add(EExit::AbsentOrDifferent, file, problem);
    }
}

void CInspection::CheckInPlace(const std::string& name) {
    const SFiles files = FilesOf(m_common, name);
    const bool hasDefaults = IsThere(files.defaults);
    const bool hasOverlay = IsThere(files.overlay);
    if (!hasDefaults) {
        // Without either file, it is the name that must be wrong.
        Add(hasOverlay ? EExit::Done : EExit::AbsentOrDifferent, files.defaults,
            "Is missing, which reads as no defaults.");
    }
    if (!IsThere(OverlayDirectory(m_common))) {
        Add(EExit::AbsentOrDifferent, OverlayDirectory(m_common),
            "Is missing, so that nothing can be changed.");
    }
    const auto isInterrupted = [&](std::chrono::milliseconds limit) {
        return Tamsel::Extras::IsInterrupted(files.overlay, limit);
    };
    if (WaitForLock(m_common, files.overlay, isInterrupted)) {
        Add(EExit::AbsentOrDifferent, files.overlay,
            "A change was interrupted; tamselctl recover completes it.");
    }
    CheckFiles(hasDefaults ? files.defaults : "", hasOverlay ? files.overlay : "");
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

void Print(const TFindings& findings, bool asJson) {
    Json::Value all;
    all["findings"] = Json::arrayValue;
    for (const SFinding& finding : findings) {
        all["findings"].append(Describe(finding));
        if (!asJson) PrintForPeople(finding);
    }
    if (asJson) PrintJson(all);
}

EExit Check(const SCheck& options, const SCommon& common) {
    const auto schema = options.schema ? std::optional(ReadSchema(*options.schema)) : std::nullopt;
    TFindings findings;
    EExit failure = EExit::Done;
    const auto inspect = [&](const std::function<void(CInspection&)>& check) {
        CInspection inspection(schema ? &*schema : nullptr, common);
        const EExit result = RunReporting([&] { return check(inspection), EExit::Done; });
        if (result != EExit::Done) failure = result;
        findings.insert(findings.end(), inspection.Findings().begin(), inspection.Findings().end());
    };
    const TWords& files = options.files;
    if (!files.empty()) {
        if (!options.names.empty()) FailUsage("NAME and --files exclude each other");
        inspect(
            [&](CInspection& it) { it.CheckFiles(files[0], files.size() > 1 ? files[1] : ""); });
    } else if (!options.names.empty()) {
        for (const auto& name : options.names) {
            inspect([&](CInspection& it) { it.CheckInPlace(name); });
        }
    } else {
        for (const auto& name : AllNames(common)) {
            inspect([&](CInspection& it) { it.CheckInPlace(name); });
        }
    }
    Print(findings, common.asJson);
    if (failure != EExit::Done) return failure;
    if (Has(findings, EExit::DoesNotParse)) return EExit::DoesNotParse;
    return Has(findings, EExit::AbsentOrDifferent) ? EExit::AbsentOrDifferent : EExit::Done;
}

}  // namespace

TRun PrepareCheck(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SCheck>();
    arguments.AddWords("NAME", options->names, false, "Configurations; all if none is given");
    arguments.AddFiles("--files", "DEFAULTS [OVERLAY]", options->files,
                       "Check files at these paths instead");
    AddSchema(arguments, options->schema);
    return [options, &common] { return Check(*options, common); };
}

}  // namespace TamselCtl
