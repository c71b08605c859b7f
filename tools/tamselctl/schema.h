// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "arguments.h"

namespace TamselCtl {

/// Adds the option --schema, if this program was built with it.
void AddSchema(CArguments& arguments, TOptional& file);

/// Returns what a document breaks of the JSON Schema in a file, each "PATH: PROBLEM".
/// \throws CFailure the file cannot be read, or is no schema
std::vector<std::string> SchemaProblems(const std::string& file, const Json::Value& document);

}  // namespace TamselCtl
