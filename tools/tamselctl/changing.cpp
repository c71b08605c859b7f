// SPDX-License-Identifier: MIT
#include "changing.h"

#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>

#include <tamsel/tamsel.h>

#include "json_text.h"
#include "layers.h"
#include "output.h"
#include "stop_signals.h"

namespace TamselCtl {

namespace {

const std::string NotStorable =
    "JSON cannot hold this: a number that is not finite, text that is not UTF-8, or more than "
    "1000 levels";

std::string ReadStandardInput() {
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
}

Json::Value GivenValue(const SRequest& request) {
    const std::string text = request.value == "-" ? ReadStandardInput() : request.value;
    if (request.asText) return Json::Value(text);
    Json::Value value;
    std::string errors;
    if (ParseStrictly(text, value, errors)) return value;
    throw CFailure(EExit::Usage, ShownKey(request.key),
                   "VALUE is not JSON; --string takes it as text\n" + errors);
}

Tamsel::TConfigMap GivenMap(const std::string& file) {
    if (file != "-" && !IsThere(file)) throw CFailure(EExit::AccessDenied, file, "no such file");
    const std::string text = file == "-" ? ReadStandardInput() : ReadText(file);
    Json::Value document;
    std::string errors;
    if (!ParseStrictly(text, document, errors)) {
        throw CFailure(EExit::DoesNotParse, file, "does not parse\n" + errors);
    }
    if (!document.isObject()) {
        throw CFailure(EExit::DoesNotParse, file, "its top level is not an object");
    }
    Tamsel::TConfigMap map;
    for (auto member = document.begin(); member != document.end(); ++member) {
        map.emplace(member.name(), *member);
    }
    return map;
}

/// Refuses in the tool's own words what the library would refuse, before anything is opened.
void RequireWritable(const SFiles& files) {
    const std::string directory = std::filesystem::path(files.overlay).parent_path();
    if (IsThere(files.overlay)) {
        if (Tamsel::IsReadWritable(files.overlay)) return;
        throw CFailure(EExit::AccessDenied, files.overlay, "may not be written");
    }
    if (!Tamsel::Exists(directory)) {
        throw CFailure(EExit::AccessDenied, files.overlay, "its directory does not exist");
    }
}

std::shared_ptr<Tamsel::IConfig> OpenConfig(const SRequest& request) {
    const std::string overlay = FilesOf(request).overlay;
    const CReadLock lock(overlay);
    return Tamsel::Create(request.name, request.root, request.subDirectory);
}

/// Opens a configuration and reads its overlay, so that the next call can change it.
std::shared_ptr<Tamsel::IConfig> OpenToChange(const SRequest& request) {
    const SFiles files = FilesOf(request);
    (void)ReadLayers(files);  // tells more clearly than Create which file is at fault
    RequireWritable(files);
    CatchStopSignals();
    auto config = OpenConfig(request);
    const CReadLock lock(files.overlay);
    config->Reload();
    return config;
}

/// Gives `given` as it is to be held in place of `held`. \throws CFailure it is of another type
Json::Value InPlaceOf(const Json::Value& held, const std::string& key, const Json::Value& given) {
    if (!Fits(held, given)) {
        throw CFailure(
            EExit::WrongType, ShownKey(key),
            "holds " + KindOf(held) + ", not " + KindOf(given) + "; --force changes the type");
    }
    return held.type() == Json::realValue ? Json::Value(given.asDouble()) : given;
}

/// Puts into the overlay what is given and not held already, and into `given` what is then held.
/// Tells whether the overlay changed.
bool Merge(SLayers& layers, Tamsel::TConfigMap& given, bool isForced) {
    const Tamsel::TConfigMap merged = layers.Merged();
    bool isChanged = false;
    for (auto& [key, value] : given) {
        const Json::Value* const held = Find(merged, key);
        if (held != nullptr && !isForced) value = InPlaceOf(*held, key, value);
        if (held != nullptr && *held == value) continue;
        layers.overlay[key] = value;
        isChanged = true;
    }
    return isChanged;
}

template <typename TWrite>
void Write(const SFiles& files, TWrite write) {
    try {
        write();
    } catch (const Tamsel::CInvalidConfig&) {
        throw CFailure(EExit::WriteFailed, files.overlay, "cannot be written");
    }
}

void Verify(const SFiles& files, const Tamsel::TConfigMap& expected) {
    const Tamsel::TConfigMap merged = ReadLayers(files).Merged();
    for (const auto& [key, value] : expected) {
        const Json::Value* const held = Find(merged, key);
        if (held != nullptr && *held == value) continue;
        throw CFailure(EExit::WriteFailed, files.overlay,
                       "does not hold the new value of " + ShownKey(key));
    }
}

}  // namespace

EExit Set(const SRequest& request) {
    const SFiles files = FilesOf(request);
    const std::string& key = request.key;
    Json::Value value = GivenValue(request);
    if (!CanBeStored({{key, value}})) throw CFailure(EExit::Usage, ShownKey(key), NotStorable);

    const auto config = OpenToChange(request);
    if (!request.isForced && config->Exists(key, Tamsel::EDataType::Any)) {
        value = InPlaceOf(config->Get(key, Json::Value()), key, value);
    }
    Write(files, [&] { config->Set(key, value); });
    if (request.isVerified) Verify(files, {{key, value}});
    return EExit::Done;
}

EExit Restore(const SRequest& request) {
    const auto config = OpenToChange(request);
    bool wasHeld = false;
    Write(FilesOf(request), [&] { wasHeld = config->Restore(request.key); });
    if (wasHeld) return EExit::Done;
    throw CFailure(EExit::AbsentOrDifferent, ShownKey(request.key),
                   "not in the overlay of " + request.name);
}

EExit Erase(const SRequest& request) {
    const SFiles files = FilesOf(request);
    if (!request.isForced) {
        const auto config = OpenToChange(request);
        Write(files, [&] { config->Erase(); });
        return EExit::Done;
    }
    // Not through the configuration, which cannot be had while a file does not parse.
    RequireWritable(files);
    CatchStopSignals();
    const auto overlay = std::make_shared<Tamsel::CFileStream>(files.overlay);
    Write(files, [&] { Tamsel::JsonUtil::WriteConfig(overlay, {}); });
    return EExit::Done;
}

EExit Import(const SRequest& request) {
    const SFiles files = FilesOf(request);
    Tamsel::TConfigMap given = GivenMap(request.file);
    if (!CanBeStored(given)) throw CFailure(EExit::DoesNotParse, request.file, NotStorable);
    RequireWritable(files);
    CatchStopSignals();

    SLayers layers = ReadLayers(files);
    if (!Merge(layers, given, request.isForced)) return EExit::Done;
    const auto overlay = std::make_shared<Tamsel::CFileStream>(files.overlay);
    Write(files, [&] { Tamsel::JsonUtil::WriteConfig(overlay, layers.overlay); });
    if (request.isVerified) Verify(files, given);
    return EExit::Done;
}

}  // namespace TamselCtl
