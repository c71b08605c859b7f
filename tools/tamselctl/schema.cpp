// SPDX-License-Identifier: MIT
#include "schema.h"

#ifdef TAMSELCTL_WITH_SCHEMA

#include <valijson/adapters/jsoncpp_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "input.h"

namespace TamselCtl {

namespace {

using TAdapter = valijson::adapters::JsonCppAdapter;

/// Returns a path as a JSON Pointer; valijson calls the top "<root>", and brackets each part.
std::string PathOf(const std::vector<std::string>& context) {
    std::string path;
    for (std::size_t i = 1; i < context.size(); ++i) {
        path += '/' + context[i].substr(1, context[i].size() - 2);
    }
    return path.empty() ? "(top level)" : path;
}

void Populate(const SSchema& from, valijson::Schema& schema) {
    try {
        valijson::SchemaParser().populateSchema(TAdapter(from.document), schema);
    } catch (const std::exception& error) {
        throw CFailure(EExit::DoesNotParse, from.file,
                       std::string("is not a JSON Schema: ") + error.what());
    }
}

}  // namespace

void AddSchema(CArguments& arguments, TOptional& file) {
    arguments.AddText("--schema", "FILE", file, "Require that all values conform to a JSON Schema");
}

SSchema ReadSchema(const std::string& file) { return {file, ReadDocument(file)}; }

std::vector<std::string> SchemaProblems(const SSchema& schema, const Json::Value& document) {
    valijson::Schema populated;
    Populate(schema, populated);
    valijson::ValidationResults results;
    std::vector<std::string> problems;
    try {
        (void)valijson::Validator().validate(populated, TAdapter(document), &results);
    } catch (const std::exception& error) {
        // An invalid pattern; or from jsoncpp, for "multipleOf" with an integer beyond 32 bits.
        problems.push_back("(top level): cannot be checked: " + std::string(error.what()));
    }
    for (const auto& error : results) {
        problems.push_back(PathOf(error.context) + ": " + error.description);
    }
    return problems;
}

}  // namespace TamselCtl

#else

namespace TamselCtl {

void AddSchema(CArguments& /*arguments*/, TOptional& /*file*/) {}

SSchema ReadSchema(const std::string& file) {
    throw CFailure(EExit::Usage, file, "this program was built without JSON Schema");
}

std::vector<std::string> SchemaProblems(const SSchema& /*schema*/,
                                        const Json::Value& /*document*/) {
    return {};
}

}  // namespace TamselCtl

#endif
