// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <tamsel/errors.h>
#include <tamsel/extras/crash_safe_file_stream.h>
#include <tamsel/extras/memory_stream.h>
#include <tamsel/file_util.h>
#include <tamsel/json_util.h>

#include "commands.h"
#include "input.h"
#include "json_text.h"
#include "layers.h"
#include "lock_wait.h"
#include "output.h"
#include "schema.h"

namespace TamselCtl {

namespace {

using TMap = Tamsel::TConfigMap;
using TLimit = std::chrono::milliseconds;
using Tamsel::Extras::CFileLock;

/// Returns the new text of the overlay for its current one. Called twice, so must have no side
/// effects.
using TChange = std::function<std::string(const std::string& text)>;

std::string PrintMap(const TMap& map) {
    const auto stream = std::make_shared<Tamsel::Extras::CMemoryStream>();
    Tamsel::JsonUtil::WriteConfig(stream, map);
    return stream->text;
}

void RequireWritable(const std::string& path) {
    const std::string directory = path.substr(0, path.rfind('/') + 1);
    const int result = Tamsel::Exists(path) ? access(path.c_str(), R_OK | W_OK)
                                            : access(directory.c_str(), W_OK | X_OK);
    if (result == 0) return;
    throw CFailure(EExit::AccessDenied, path, std::generic_category().message(errno));
}

/// Changes an overlay whose journal cannot be created. Excludes everyone who takes the lock, but a
/// kill during the write can leave parts of both texts.
void ChangeInPlace(const std::string& path, TLimit limit, const TChange& change) {
    const CFileLock file(path, CFileLock::EMode::Exclusive, limit);
    const std::string text = file.Read();
    const std::string changed = change(text);
    try {
        file.Write(changed);
    } catch (const std::system_error&) {
        file.Write(text);
        throw;
    }
}

void ChangeLocked(const std::string& path, TLimit limit, const TChange& change) {
    std::unique_ptr<Tamsel::Extras::CCrashSafeFileStream> stream;
    try {
        stream = std::make_unique<Tamsel::Extras::CCrashSafeFileStream>(path, limit);
    } catch (const Tamsel::CAccessDenied&) {
        if (!Tamsel::IsReadWritable(path)) throw;
        return ChangeInPlace(path, limit, change);
    }
    stream->Update(change);
}

/// Changes the overlay. Reads it first, so that a change that is rejected or has no effect creates
/// no file.
void ChangeOverlay(const SCommon& common, const std::string& path, const TChange& change) {
    const std::string text = ReadText(common, path);
    if (change(text) == text) return;
    RequireWritable(path);
    WaitForLock(common, path, [&](TLimit limit) { ChangeLocked(path, limit, change); });
}

/// A command that changes keys of an overlay that parses.
class CKeyChange {
public:
    std::string name;
    bool isForced = false;

    void AddForce(CArguments& arguments, const char* help) {
        arguments.AddFlag("--force", isForced, help);
    }

    /// Applies `change` to the overlay.
    void Run(const SCommon& common, const std::function<void(TMap&)>& change) const {
        const std::string path = FilesOf(common, name).overlay;
        ChangeOverlay(common, path, [&](const std::string& text) {
            const TMap before = ParseOverlay(path, text);
            TMap after = before;
            change(after);
            if (after == before) return text;
            if (!isForced) RequireKept(path, text, before, after);
            return PrintMap(after);
        });
    }

private:
    static void RequireKept(const std::string& path, const std::string& text, const TMap& before,
                            const TMap& after) {
        for (const auto& [key, value] : before) {
            const Json::Value* const kept = Find(after, key);
            if (kept == nullptr || *kept != value || IsKeptByRewrite(text, key, value)) continue;
            throw CFailure(EExit::DoesNotParse, path,
                           ShownKey(key) + " " + AlteredByRewrite + "; --force accepts that");
        }
    }
};

/// Returns `given` in the type of `stored`. \throws CFailure it has another type
Json::Value ConvertedToTypeOf(const Json::Value& stored, const std::string& key,
                              const Json::Value& given) {
    if (!Fits(stored, given)) {
        throw CFailure(
            EExit::WrongType, ShownKey(key),
            "stores " + KindOf(stored) + ", not " + KindOf(given) + "; --force changes the type");
    }
    return stored.type() == Json::realValue ? Json::Value(given.asDouble()) : given;
}

/// New values of keys, or of the part of their values that `pointer` names.
struct SMerge {
    TMap defaults;
    std::vector<std::pair<std::string, Json::Value>> given;
    std::string pointer;
    bool isForced;

    /// Stores those in the overlay that differ from the present ones.
    void Into(TMap& overlay) const {
        for (const auto& [key, value] : given) Put(overlay, key, value);
    }

    void Put(TMap& overlay, const std::string& key, const Json::Value& value) const {
        const Json::Value* stored = Find(overlay, key);
        if (stored == nullptr) stored = Find(defaults, key);
        Json::Value changed = stored != nullptr ? *stored : Json::Value();
        const Json::Value* const former =
            stored != nullptr ? FindAt(changed, pointer, EMissing::IsNull) : nullptr;
        const Json::Value next =
            former != nullptr && !isForced ? ConvertedToTypeOf(*former, key, value) : value;
        if (former != nullptr && *former == next) return;
        Json::Value* const place = FindAt(changed, pointer, EMissing::IsAdded);
        if (place == nullptr) {
            throw CFailure(EExit::AbsentOrDifferent, ShownKey(key),
                           "nothing can be added at " + pointer);
        }
        *place = next;
        overlay[key] = changed;
    }
};

struct SSet : CKeyChange {
    TWords words;
    TOptional pointer;
    bool asText = false;
    bool isCreated = false;
};

/// Pairs the keys with their values. Standard input can be one of the values.
std::vector<std::pair<std::string, Json::Value>> GivenPairs(const SSet& options) {
    const TWords& words = options.words;
    if (words.size() % 2 != 0) FailUsage("KEY without VALUE: " + words.back());
    std::vector<std::pair<std::string, Json::Value>> given;
    bool isInputTaken = false;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        const bool isInput = words[i + 1] == "-";
        if (isInput && std::exchange(isInputTaken, true)) FailUsage("only one VALUE can be -");
        const std::string subject = ShownKey(words[i]);
        if (!CanBeStored({{words[i], Json::Value()}})) {
            throw CFailure(EExit::Usage, subject, NotStorable);
        }
        given.emplace_back(
            words[i], ParseGiven(subject, isInput ? ReadInput("-") : words[i + 1], options.asText));
    }
    return given;
}

void RequireFileOrCreation(bool isCreated, const std::string& name, const SFiles& files) {
    if (!isCreated) RequireFile(name, files, "; --create creates the overlay");
}

TMap ReadDefaults(const SCommon& common, const SFiles& files) {
    return ParseDefaults(files.defaults, ReadText(common, files.defaults));
}

EExit Set(const SSet& options, const SCommon& common) {
    const SFiles files = FilesOf(common, options.name);
    const auto given = GivenPairs(options);
    const SMerge merge{ReadDefaults(common, files), given, options.pointer.value_or(""),
                       options.isForced};
    RequireFileOrCreation(options.isCreated, options.name, files);
    options.Run(common, [&](TMap& overlay) { merge.Into(overlay); });
    return EExit::Done;
}

struct SRestore : CKeyChange {
    TWords keys;
};

EExit Restore(const SRestore& options, const SCommon& common) {
    RequireFile(options.name, FilesOf(common, options.name));
    options.Run(common, [&](TMap& overlay) {
        for (const std::string& key : options.keys) {
            if (overlay.erase(key) != 0) continue;
            throw CFailure(EExit::AbsentOrDifferent, ShownKey(key),
                           "not in the overlay of " + options.name);
        }
    });
    return EExit::Done;
}

EExit Erase(const CKeyChange& options, const SCommon& common) {
    const SFiles files = FilesOf(common, options.name);
    RequireFile(options.name, files);
    ChangeOverlay(common, files.overlay, [&](const std::string& text) {
        const bool isEmpty = !options.isForced && ParseOverlay(files.overlay, text).empty();
        return isEmpty || text.empty() ? text : PrintMap({});
    });
    return EExit::Done;
}

struct SImport : CKeyChange {
    std::string file;
    TOptional schema;
    bool isReplacing = false;
    bool isCreated = false;
};

void RequireConforming(const std::optional<SSchema>& schema, const SLayers& layers) {
    if (!schema) return;
    const auto problems = SchemaProblems(*schema, ToDocument(layers.Merged()));
    if (problems.empty()) return;
    throw CFailure(EExit::WrongType, schema->file, "violated at " + problems.front());
}

EExit Import(const SImport& options, const SCommon& common) {
    const TMap given = ToMap(ReadDocument(options.file));
    if (!CanBeStored(given)) throw CFailure(EExit::DoesNotParse, options.file, NotStorable);
    const SFiles files = FilesOf(common, options.name);
    RequireFileOrCreation(options.isCreated, options.name, files);
    // A replacement does not depend on the defaults, which may be broken.
    const bool needsDefaults = !options.isReplacing || options.schema;
    const auto schema = options.schema ? std::optional(ReadSchema(*options.schema)) : std::nullopt;
    const TMap defaults = needsDefaults ? ReadDefaults(common, files) : TMap();
    if (options.isReplacing) {
        RequireConforming(schema, {defaults, given});
        ChangeOverlay(common, files.overlay, [&](const std::string&) { return PrintMap(given); });
        return EExit::Done;
    }
    const SMerge merge{defaults, {given.begin(), given.end()}, "", options.isForced};
    options.Run(common, [&](TMap& overlay) {
        merge.Into(overlay);
        RequireConforming(schema, {defaults, overlay});
    });
    return EExit::Done;
}

EExit Recover(const SCommon& common, const std::string& name) {
    const std::string path = FilesOf(common, name).overlay;
    // Without a lock or permission to read: if the journal is empty, no change was interrupted.
    std::error_code error;
    const auto file = std::filesystem::weakly_canonical(path, error);
    const auto size = std::filesystem::file_size(file.string() + ".journal", error);
    if (error || size == 0) return EExit::Done;
    const bool wasInterrupted = WaitForLock(
        common, path, [&](TLimit limit) { return Tamsel::Extras::Recover(path, limit); });
    Json::Value entry;
    entry["recovered"] = name;
    if (wasInterrupted && common.asJson) PrintJson(entry);
    if (wasInterrupted && !common.asJson) PrintLine(path + ": completed an interrupted change");
    return EExit::Done;
}

EExit RecoverAll(const SCommon& common, const TWords& names) {
    EExit exitCode = EExit::Done;
    for (const std::string& name : names) {
        const EExit result = RunReporting([&] { return Recover(common, name); });
        if (result != EExit::Done) exitCode = result;
    }
    return exitCode;
}

}  // namespace

TRun PrepareSet(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SSet>();
    arguments.AddName(options->name);
    arguments.AddWords("KEY VALUE", options->words, true,
                       "Keys, each with its new value as JSON; - for standard input");
    arguments.AddFlag("--string", options->asText, "Values are text, not JSON");
    arguments.AddText("--at", "POINTER", options->pointer,
                      "Change a part of the value, by JSON Pointer");
    arguments.AddFlag("--create", options->isCreated, "Accept a name that has no file yet");
    options->AddForce(arguments, "Accept another type, and that other values are altered");
    return [options, &common] { return Set(*options, common); };
}

TRun PrepareRestore(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SRestore>();
    arguments.AddName(options->name);
    arguments.AddWords("KEY", options->keys, true, "Keys to remove from the overlay");
    options->AddForce(arguments, "Accept that other values are altered");
    return [options, &common] { return Restore(*options, common); };
}

TRun PrepareErase(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<CKeyChange>();
    arguments.AddName(options->name);
    options->AddForce(arguments, "Erase an overlay that does not parse");
    return [options, &common] { return Erase(*options, common); };
}

TRun PrepareImport(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SImport>();
    arguments.AddName(options->name);
    arguments.AddWord("FILE", options->file, "JSON object; - for standard input");
    arguments.AddFlag("--replace", options->isReplacing, "Replace the whole overlay by FILE");
    arguments.AddFlag("--create", options->isCreated, "Accept a name that has no file yet");
    options->AddForce(arguments, "Accept another type, and that other values are altered");
    AddSchema(arguments, options->schema);
    return [options, &common] { return Import(*options, common); };
}

TRun PrepareRecover(CArguments& arguments, const SCommon& common) {
    const auto names = std::make_shared<TWords>();
    arguments.AddWords("NAME", *names, false, "Configurations; all if none is given");
    return [names, &common] {
        if (!names->empty()) return RecoverAll(common, *names);
        // From both: a symbolic link's journal is elsewhere, and an overlay can be missing.
        auto all = NamesIn(OverlayDirectory(common), ".json");
        all.merge(NamesIn(OverlayDirectory(common), ".json.journal"));
        return RecoverAll(common, TWords(all.begin(), all.end()));
    };
}

}  // namespace TamselCtl
