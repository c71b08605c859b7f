// SPDX-License-Identifier: MIT
#include "layers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include <json/json.h>

#include <tamsel/errors.h>
#include <tamsel/file_stream.h>
#include <tamsel/json_util.h>

namespace TamselCtl {

namespace {

std::shared_ptr<Tamsel::CInputFileStream> OpenToRead(const std::string& path) {
    try {
        return std::make_shared<Tamsel::CInputFileStream>(path);
    } catch (const Tamsel::CAccessDenied&) {
        throw CFailure(EExit::AccessDenied, path, "may not be read");
    }
}

/// Gives the parser's own text, which the library puts on the lines after its first.
std::string ParserText(const Tamsel::CInvalidConfig& error) {
    const std::string text = error.what();
    return text.substr(text.find('\n') + 1);
}

}  // namespace

Tamsel::TConfigMap SLayers::Merged() const {
    Tamsel::TConfigMap merged = overlay;
    merged.insert(defaults.begin(), defaults.end());
    return merged;
}

CReadLock::CReadLock(const std::string& path)
    : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_descriptor < 0 || flock(m_descriptor, LOCK_SH) == 0 || errno != EINTR) return;
    (void)close(m_descriptor);
    throw CFailure(EExit::AccessDenied, path, "interrupted while another process writes it");
}

CReadLock::~CReadLock() {
    // Closing gives the lock up as well.
    if (m_descriptor >= 0) (void)close(m_descriptor);
}

SFiles FilesOf(const SRequest& request) {
    if (request.name.empty()) throw CFailure(EExit::Usage, "NAME", "must not be empty");
    const std::string file = request.subDirectory + "/" + request.name + ".json";
    return {request.root + "etc/" + file, request.root + "data/" + file};
}

bool IsThere(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type == std::filesystem::file_type::not_found) return false;
    if (type == std::filesystem::file_type::none) {
        throw CFailure(EExit::AccessDenied, path, error.message());
    }
    if (type == std::filesystem::file_type::directory) {
        throw CFailure(EExit::AccessDenied, path, "is a directory");
    }
    return true;
}

std::string ReadText(const std::string& path) {
    if (!IsThere(path)) return {};
    const auto stream = OpenToRead(path);
    const CReadLock lock(path);
    std::string text;
    if (!stream->Read(text)) throw CFailure(EExit::AccessDenied, path, "cannot be opened");
    return text;
}

Tamsel::TConfigMap ReadMap(const std::string& path) {
    if (!IsThere(path)) return {};
    const auto stream = OpenToRead(path);
    const CReadLock lock(path);
    try {
        return Tamsel::JsonUtil::ReadConfig(stream);
    } catch (const Tamsel::CInvalidConfig& error) {
        throw CFailure(EExit::DoesNotParse, path, "does not parse\n" + ParserText(error));
    } catch (const Json::LogicError&) {
        throw CFailure(EExit::DoesNotParse, path, "its top level is not an object");
    } catch (const Json::RuntimeError&) {
        throw CFailure(EExit::DoesNotParse, path, "values are nested deeper than 1000 levels");
    }
}

SLayers ReadLayers(const SFiles& files) {
    return {ReadMap(files.defaults), ReadMap(files.overlay)};
}

const Json::Value* Find(const Tamsel::TConfigMap& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
}

}  // namespace TamselCtl
