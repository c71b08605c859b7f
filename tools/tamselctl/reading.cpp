// SPDX-License-Identifier: MIT
#include <iostream>
#include <memory>

#include <json/writer.h>

#include "commands.h"
#include "input.h"
#include "json_text.h"
#include "layers.h"
#include "output.h"

namespace TamselCtl {

namespace {

SLayers ReadExisting(const SCommon& common, const std::string& name) {
    const SFiles files = FilesOf(common, name);
    SLayers layers = ReadLayers(common, files);
    RequireFile(name, files);
    return layers;
}

std::string SourceOf(const Json::Value* byDefault, const Json::Value* byOverlay) {
    if (byOverlay == nullptr) return "default";
    return byDefault == nullptr ? "overlay" : "overlay over " + ShownValue(byDefault);
}

Json::Value Entry(const std::string& key, const Json::Value& value, const char* source) {
    Json::Value entry;
    entry["key"] = key;
    entry["value"] = value;
    entry["type"] = KindOf(value);
    entry["source"] = source;
    return entry;
}

/// Returns a key of either layer as a JSON object.
Json::Value Describe(const SLayers& layers, const std::string& key) {
    const Json::Value* const byDefault = Find(layers.defaults, key);
    const Json::Value* const byOverlay = Find(layers.overlay, key);
    if (byOverlay == nullptr) return Entry(key, *byDefault, "default");
    Json::Value entry = Entry(key, *byOverlay, "overlay");
    if (byDefault != nullptr) entry["default"] = *byDefault;
    return entry;
}

struct SGet {
    std::string name;
    TWords keys;
    TOptional pointer;
    TOptional fallback;
    bool asText = false;
};

/// Returns only the wanted keys, each with the wanted part of its value. If the overlay has the key
/// without that part, the default is not used either.
SLayers Selected(SLayers layers, const SGet& options) {
    SLayers selected;
    const auto select = [&](Tamsel::TConfigMap& from, Tamsel::TConfigMap& to,
                            const std::string& key) {
        const auto found = from.find(key);
        if (found == from.end()) return true;
        const Json::Value* const value =
            FindAt(found->second, options.pointer.value_or(""), EMissing::IsNull);
        if (value != nullptr) to[key] = *value;
        return value != nullptr;
    };
    for (const std::string& key : options.keys) {
        if (select(layers.overlay, selected.overlay, key)) {
            (void)select(layers.defaults, selected.defaults, key);
        }
    }
    return selected;
}

std::string ToText(const std::string& key, const Json::Value& value) {
    if (value.isString()) return value.asString();
    throw CFailure(EExit::WrongType, ShownKey(key), "is not a string but " + KindOf(value));
}

EExit Get(const SGet& options, const SCommon& common) {
    Json::Value fallback;
    (void)FindAt(fallback, options.pointer.value_or(""), EMissing::IsNull);  // throws if invalid
    if (options.fallback) fallback = ParseGiven("--default", *options.fallback, options.asText);
    const SLayers layers =
        Selected(options.fallback ? ReadLayers(common, FilesOf(common, options.name))
                                  : ReadExisting(common, options.name),
                 options);
    const Tamsel::TConfigMap merged = layers.Merged();
    Json::Value all(Json::objectValue);
    std::string lines;
    for (const std::string& key : options.keys) {
        const Json::Value* const value = Find(merged, key);
        if (value == nullptr && !options.fallback) {
            throw CFailure(EExit::AbsentOrDifferent, ShownKey(key),
                           options.pointer
                               ? "nothing at " + *options.pointer + " in " + options.name
                               : "no such key in " + options.name);
        }
        all[key] = value != nullptr ? Describe(layers, key) : Entry(key, fallback, "option");
        const Json::Value& shown = value != nullptr ? *value : fallback;
        lines += (options.asText ? ToText(key, shown) : ToLine(shown)) + '\n';
    }
    if (!common.asJson) {
        std::cout << lines;
    } else {
        PrintJson(options.keys.size() == 1 ? all[options.keys.front()] : all);
    }
    return EExit::Done;
}

EExit ListNames(const SCommon& common) {
    Json::Value all;
    all["names"] = Json::arrayValue;
    for (const std::string& name : AllNames(common)) {
        all["names"].append(name);
        if (!common.asJson) PrintLine(ShownKey(name));
    }
    if (common.asJson) PrintJson(all);
    return EExit::Done;
}

EExit List(const SLayers& layers, const SCommon& common) {
    Json::Value all(Json::objectValue);
    std::vector<SRow> rows;
    for (const auto& [key, value] : layers.Merged()) {
        const Json::Value* const byOverlay = Find(layers.overlay, key);
        all[key] = Describe(layers, key);
        rows.push_back({{ShownKey(key), ShownValue(&value), KindOf(value),
                         SourceOf(Find(layers.defaults, key), byOverlay)},
                        byOverlay != nullptr});
    }
    common.asJson ? PrintJson(all) : PrintTable(rows);
    return EExit::Done;
}

EExit Keys(const SLayers& layers, const SCommon& common) {
    Json::Value all;
    all["keys"] = Json::arrayValue;
    for (const auto& [key, value] : layers.Merged()) {
        all["keys"].append(key);
        if (!common.asJson) PrintLine(ShownKey(key));
    }
    if (common.asJson) PrintJson(all);
    return EExit::Done;
}

EExit Diff(const SLayers& layers, const SCommon& common) {
    Json::Value all(Json::objectValue);
    std::vector<SRow> rows;
    for (const auto& [key, value] : layers.overlay) {
        const Json::Value* const byDefault = Find(layers.defaults, key);
        if (byDefault != nullptr && *byDefault == value) continue;
        if (byDefault != nullptr) all[key]["default"] = *byDefault;
        all[key]["value"] = value;
        rows.push_back({{ShownKey(key), ShownValue(byDefault), "->", ShownValue(&value)}});
    }
    common.asJson ? PrintJson(all) : PrintTable(rows);
    return rows.empty() ? EExit::Done : EExit::AbsentOrDifferent;
}

/// Prepares a command whose only argument is NAME.
TRun PrepareForName(CArguments& arguments, const SCommon& common,
                    EExit (*run)(const SLayers&, const SCommon&)) {
    const auto name = std::make_shared<std::string>();
    arguments.AddName(*name);
    return [name, &common, run] { return run(ReadExisting(common, *name), common); };
}

}  // namespace

TRun PrepareGet(CArguments& arguments, const SCommon& common) {
    const auto options = std::make_shared<SGet>();
    arguments.AddName(options->name);
    arguments.AddWords("KEY", options->keys, true, "Keys; prints one value per line");
    arguments.AddFlag("--string", options->asText, "Print text without quotes");
    arguments.AddText("--default", "VALUE", options->fallback, "Print this for an absent key");
    arguments.AddText("--at", "POINTER", options->pointer,
                      "Print a part of the value, by JSON Pointer");
    return [options, &common] { return Get(*options, common); };
}

TRun PrepareList(CArguments& arguments, const SCommon& common) {
    const auto names = std::make_shared<TWords>();
    arguments.AddWords("NAME", *names, false, "Configuration; without it, prints all names");
    return [names, &common] {
        if (names->empty()) return ListNames(common);
        if (names->size() > 1) FailUsage("unexpected: " + names->at(1));
        return List(ReadExisting(common, names->front()), common);
    };
}

TRun PrepareKeys(CArguments& arguments, const SCommon& common) {
    return PrepareForName(arguments, common, Keys);
}

TRun PrepareDiff(CArguments& arguments, const SCommon& common) {
    return PrepareForName(arguments, common, Diff);
}

TRun PrepareExport(CArguments& arguments, const SCommon& common) {
    const auto name = std::make_shared<std::string>();
    const auto onlyOverlay = std::make_shared<bool>(false);
    arguments.AddName(*name);
    arguments.AddFlag("--overlay", *onlyOverlay, "Print only the changes");
    return [name, onlyOverlay, &common] {
        const SLayers layers = ReadExisting(common, *name);
        const Json::Value document = ToDocument(*onlyOverlay ? layers.overlay : layers.Merged());
        common.asJson ? PrintJson(document) : (void)(std::cout << document << '\n');
        return EExit::Done;
    };
}

}  // namespace TamselCtl
