// SPDX-License-Identifier: MIT
#include "layers.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <json/json.h>

#include <tamsel/errors.h>
#include <tamsel/extras/crash_safe_file_stream.h>
#include <tamsel/extras/memory_stream.h>
#include <tamsel/json_util.h>

#include "lock_wait.h"

namespace TamselCtl {

namespace {

const std::string Extension = ".json";

std::string DefaultsDirectory(const SCommon& common) {
    return common.root + "etc/" + common.subDirectory;
}

}  // namespace

Tamsel::TConfigMap SLayers::Merged() const {
    Tamsel::TConfigMap merged = overlay;
    merged.insert(defaults.begin(), defaults.end());
    return merged;
}

SFiles FilesOf(const SCommon& common, const std::string& name) {
    if (name.empty()) throw CFailure(EExit::Usage, "NAME", "must not be empty");
    const std::string file = "/" + name + Extension;
    return {DefaultsDirectory(common) + file, OverlayDirectory(common) + file};
}

std::string OverlayDirectory(const SCommon& common) {
    return common.root + "data/" + common.subDirectory;
}

std::set<std::string> NamesIn(const std::string& directory, const std::string& extension) {
    std::set<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator file(directory, error), end; !error && file != end;
         file.increment(error)) {
        const std::string name = file->path().filename();
        const std::size_t size = name.size() - std::min(name.size(), extension.size());
        if (size > 0 && name.substr(size) == extension) names.insert(name.substr(0, size));
    }
    if (!error || error == std::errc::no_such_file_or_directory) return names;
    throw CFailure(EExit::AccessDenied, directory, error.message());
}

std::set<std::string> AllNames(const SCommon& common) {
    std::set<std::string> names = NamesIn(DefaultsDirectory(common), Extension);
    names.merge(NamesIn(OverlayDirectory(common), Extension));
    return names;
}

bool IsThere(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type != std::filesystem::file_type::none) {
        return type != std::filesystem::file_type::not_found;
    }
    throw CFailure(EExit::AccessDenied, path, error.message());
}

void RequireFile(const std::string& name, const SFiles& files, const std::string& hint) {
    if (IsThere(files.defaults) || IsThere(files.overlay)) return;
    throw CFailure(EExit::AbsentOrDifferent, name,
                   "neither " + files.defaults + " nor " + files.overlay + " exists" + hint);
}

std::string ReadText(const SCommon& common, const std::string& path) {
    return WaitForLock(common, path, [&](std::chrono::milliseconds limit) {
        return Tamsel::Extras::ReadText(path, limit);
    });
}

Tamsel::TConfigMap ParseDefaults(const std::string& path, const std::string& text) {
    const auto fail = [&](const std::string& problem) -> CFailure {
        return {EExit::DoesNotParse, path, problem};
    };
    try {
        return Tamsel::JsonUtil::ReadConfig(std::make_shared<Tamsel::Extras::CMemoryStream>(text));
    } catch (const Tamsel::CInvalidConfig& error) {
        const std::string message = error.what();  // the parser's own text follows the first line
        throw fail("does not parse" + message.substr(message.find('\n')));
    } catch (const Json::LogicError&) {
        throw fail("the top level is not an object");
    } catch (const Json::RuntimeError&) {
        throw fail("values are nested deeper than 1000 levels");
    }
}

Tamsel::TConfigMap ParseOverlay(const std::string& path, const std::string& text) try {
    return ParseDefaults(path, text);
} catch (const CFailure& failure) {
    const std::string message = failure.what();
    throw CFailure(
        EExit::DoesNotParse,
        message.substr(0, message.find_last_not_of('\n') + 1) +
            "\nerase --force discards all changes; import --replace restores saved ones");
}

SLayers ReadLayers(const SCommon& common, const SFiles& files) {
    return {ParseDefaults(files.defaults, ReadText(common, files.defaults)),
            ParseOverlay(files.overlay, ReadText(common, files.overlay))};
}

const Json::Value* Find(const Tamsel::TConfigMap& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
}

}  // namespace TamselCtl
