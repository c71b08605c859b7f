// SPDX-License-Identifier: MIT
#include "reading.h"

#include <iostream>

#include <json/writer.h>

#include "json_text.h"
#include "layers.h"
#include "output.h"

namespace TamselCtl {

namespace {

/// Reads a configuration of which at least one file exists, so that a mistyped name is told.
SLayers ReadExisting(const SRequest& request) {
    const SFiles files = FilesOf(request);
    if (!IsThere(files.defaults) && !IsThere(files.overlay)) {
        throw CFailure(EExit::AbsentOrDifferent, request.name,
                       "neither " + files.defaults + " nor " + files.overlay + " exists");
    }
    return ReadLayers(files);
}

std::string SourceOf(const Json::Value* byDefault, const Json::Value* byOverlay) {
    if (byOverlay == nullptr) return "default";
    return byDefault == nullptr ? "overlay" : "overlay over " + ShownValue(byDefault);
}

Json::Value Describe(const SLayers& layers, const std::string& key) {
    const Json::Value* const byDefault = Find(layers.defaults, key);
    const Json::Value* const byOverlay = Find(layers.overlay, key);
    Json::Value entry;
    entry["key"] = key;
    entry["value"] = byOverlay != nullptr ? *byOverlay : *byDefault;
    entry["type"] = KindOf(entry["value"]);
    entry["source"] = byOverlay != nullptr ? "overlay" : "default";
    if (byOverlay != nullptr && byDefault != nullptr) entry["default"] = *byDefault;
    return entry;
}

void PrintText(const std::string& key, const Json::Value& value) {
    if (!value.isString()) {
        throw CFailure(EExit::WrongType, ShownKey(key), "is not a string but " + KindOf(value));
    }
    PrintLine(value.asString());
}

}  // namespace

EExit Get(const SRequest& request) {
    const SLayers layers = ReadExisting(request);
    const Tamsel::TConfigMap merged = layers.Merged();
    const Json::Value* const value = Find(merged, request.key);
    if (value == nullptr) {
        throw CFailure(EExit::AbsentOrDifferent, ShownKey(request.key),
                       "no such key in " + request.name);
    }
    if (request.asText) {
        PrintText(request.key, *value);
    } else {
        PrintJson(request.asJson ? Describe(layers, request.key) : *value);
    }
    return EExit::Done;
}

EExit List(const SRequest& request) {
    const SLayers layers = ReadExisting(request);
    Json::Value all(Json::objectValue);
    std::vector<SRow> rows;
    for (const auto& [key, value] : layers.Merged()) {
        const Json::Value* const byOverlay = Find(layers.overlay, key);
        if (request.asJson) {
            all[key] = Describe(layers, key);
        } else {
            rows.push_back({{ShownKey(key), ShownValue(&value), KindOf(value),
                             SourceOf(Find(layers.defaults, key), byOverlay)},
                            byOverlay != nullptr});
        }
    }
    request.asJson ? PrintJson(all) : PrintTable(rows);
    return EExit::Done;
}

EExit Keys(const SRequest& request) {
    Json::Value all;
    all["keys"] = Json::arrayValue;
    for (const auto& [key, value] : ReadExisting(request).Merged()) {
        if (request.asJson) {
            all["keys"].append(key);
        } else {
            PrintLine(ShownKey(key));
        }
    }
    if (request.asJson) PrintJson(all);
    return EExit::Done;
}

EExit Diff(const SRequest& request) {
    const SLayers layers = ReadExisting(request);
    Json::Value all(Json::objectValue);
    std::vector<SRow> rows;
    for (const auto& [key, value] : layers.overlay) {
        const Json::Value* const byDefault = Find(layers.defaults, key);
        if (byDefault != nullptr && *byDefault == value) continue;
        if (byDefault != nullptr) all[key]["default"] = *byDefault;
        all[key]["value"] = value;
        rows.push_back({{ShownKey(key), ShownValue(byDefault), "->", ShownValue(&value)}});
    }
    request.asJson ? PrintJson(all) : PrintTable(rows);
    return rows.empty() ? EExit::Done : EExit::AbsentOrDifferent;
}

EExit Export(const SRequest& request) {
    const SLayers layers = ReadExisting(request);
    const Json::Value document = ToDocument(request.onlyOverlay ? layers.overlay : layers.Merged());
    if (request.asJson) {
        PrintJson(document);
    } else {
        std::cout << document << '\n';  // in the layout of the files
    }
    return EExit::Done;
}

}  // namespace TamselCtl
