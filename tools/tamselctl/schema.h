// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "arguments.h"

namespace TamselCtl {

/// Adds the option --schema, if this program was built with JSON Schema.
void AddSchema(CArguments& arguments, TOptional& file);

/// A JSON Schema, read once.
struct SSchema {
    std::string file;
    Json::Value document;
};

/// Reads a schema. \throws CFailure the file cannot be read, or is not a JSON object
SSchema ReadSchema(const std::string& file);

/// Returns the violations of a schema by a document, each "PATH: PROBLEM".
/// \throws CFailure the schema is not a JSON Schema
std::vector<std::string> SchemaProblems(const SSchema& schema, const Json::Value& document);

}  // namespace TamselCtl
