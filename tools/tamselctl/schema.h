// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "arguments.h"

namespace TamselCtl {

/// Adds the option --schema, if this program was built with it.
void AddSchema(CArguments& arguments, TOptional& file);

/// A JSON Schema, read once.
struct SSchema {
    std::string file;
    Json::Value document;
};

/// Reads a schema. \throws CFailure the file cannot be read, or has no JSON object
SSchema ReadSchema(const std::string& file);

/// Returns where a document does not conform to a schema, each "PATH: PROBLEM".
/// \throws CFailure it is no JSON Schema
std::vector<std::string> SchemaProblems(const SSchema& schema, const Json::Value& document);

}  // namespace TamselCtl
