// SPDX-License-Identifier: MIT
#include "baseline.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <json/reader.h>
#include <json/writer.h>

namespace Baseline {

namespace {

template <typename T>
T Convert(const Json::Value& value);

template <>
int Convert(const Json::Value& value) {
    if (!value.isInt()) throw std::logic_error("not an int");
    return value.asInt();
}

template <>
double Convert(const Json::Value& value) {
    if (!value.isDouble()) throw std::logic_error("not a double");
    return value.asDouble();
}

template <>
std::string Convert(const Json::Value& value) {
    if (!value.isString()) throw std::logic_error("not a string");
    return value.asString();
}

int Lock(const TMap& /*map*/) { return 0; }
std::shared_lock<std::shared_mutex> Lock(const SLayers& layers) {
    return std::shared_lock(layers.mutex);
}

const Json::Value* Find(const TMap& map, const std::string& key) {
    const auto found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
}

const Json::Value* Find(const SLayers& layers, const std::string& key) {
    const Json::Value* const stored = Find(layers.overlay, key);
    return stored != nullptr ? stored : Find(layers.defaults, key);
}

/// An open file with its lock.
class CLockedFile {
public:
    CLockedFile(const std::string& path, int lock)
        : m_descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        if (flock(m_descriptor, lock) != 0) throw std::runtime_error("cannot lock " + path);
    }
    ~CLockedFile() {
        (void)flock(m_descriptor, LOCK_UN);
        (void)close(m_descriptor);
    }
    CLockedFile(const CLockedFile&) = delete;
    CLockedFile& operator=(const CLockedFile&) = delete;

    std::string Read() const {
        std::string text;
        char buffer[4096];
        ssize_t count = 0;
        while ((count = pread(m_descriptor, buffer, sizeof buffer,
                              static_cast<off_t>(text.size()))) > 0) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

    void Write(const std::string& text) const {
        if (pwrite(m_descriptor, text.data(), text.size(), 0) < 0 ||
            ftruncate(m_descriptor, static_cast<off_t>(text.size())) != 0 ||
            fdatasync(m_descriptor) != 0 || Read() != text) {
            throw std::runtime_error("cannot write");
        }
    }

    void Synchronize() const { (void)fdatasync(m_descriptor); }

private:
    const int m_descriptor;
};

}  // namespace

template <typename T, typename TStore>
double Get(const TStore& store, const TKeys& keys, const T& missing) {
    double sum = 0;
    for (const std::string* const key : keys) {
        [[maybe_unused]] const auto lock = Lock(store);
        const Json::Value* const stored = Find(store, *key);
        sum += stored != nullptr ? Checksum(Convert<T>(*stored)) : Checksum(missing);
    }
    return sum;
}

template BASELINE_API double Get(const TMap& store, const TKeys& keys, const int& missing);
template BASELINE_API double Get(const TMap& store, const TKeys& keys, const double& missing);
template BASELINE_API double Get(const TMap& store, const TKeys& keys, const std::string& missing);
template BASELINE_API double Get(const SLayers& store, const TKeys& keys, const int& missing);
template BASELINE_API double Get(const SLayers& store, const TKeys& keys, const double& missing);
template BASELINE_API double Get(const SLayers& store, const TKeys& keys,
                                 const std::string& missing);

template <typename TStore>
double Exists(const TStore& store, const TKeys& keys) {
    int count = 0;
    for (const std::string* const key : keys) {
        [[maybe_unused]] const auto lock = Lock(store);
        const Json::Value* const stored = Find(store, *key);
        if (stored != nullptr && stored->isInt()) ++count;
    }
    return count;
}

template BASELINE_API double Exists(const TMap& store, const TKeys& keys);
template BASELINE_API double Exists(const SLayers& store, const TKeys& keys);

std::unordered_set<std::string> GetAllConfigKeys(const TMap& map) {
    std::unordered_set<std::string> keys;
    for (const auto& entry : map) keys.insert(entry.first);
    return keys;
}

std::unordered_set<std::string> GetAllConfigKeys(const SLayers& layers) {
    const std::unique_lock lock(layers.mutex);
    std::unordered_set<std::string> keys = GetAllConfigKeys(layers.defaults);
    for (const auto& entry : layers.overlay) keys.insert(entry.first);
    return keys;
}

Json::Value Parse(const std::string& text) {
    std::istringstream stream(text);
    Json::Value root;
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &root, &errors)) {
        throw std::runtime_error(errors);
    }
    return root;
}

std::string Print(const Json::Value& root) {
    std::ostringstream text;
    text << root;
    return text.str();
}

void Write(const std::string& path, const std::string& text) {
    std::FILE* const file = std::fopen(path.c_str(), "a");
    if (file == nullptr) throw std::runtime_error("cannot open " + path);
    const int descriptor = fileno(file);
    (void)flock(descriptor, LOCK_EX);
    const bool isEmpty = ftruncate(descriptor, 0) == 0;
    const bool isTaken = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    (void)std::fflush(file);
    (void)fsync(descriptor);
    (void)flock(descriptor, LOCK_UN);
    (void)std::fclose(file);
    if (!isEmpty || !isTaken) throw std::runtime_error("cannot write " + path);
}

void WriteJournalled(const std::string& path, const std::string& text) {
    (void)CLockedFile(path + ".journal", LOCK_SH).Read();
    (void)CLockedFile(path, LOCK_SH).Read();
    const CLockedFile journal(path + ".journal", LOCK_EX);
    const CLockedFile file(path, LOCK_EX);
    const std::string old = journal.Read() + file.Read();
    file.Synchronize();
    journal.Write(text + old);
    file.Write(text);
    journal.Write("");
}

CWatch::CWatch(const std::string& path) : m_descriptor(inotify_init1(IN_NONBLOCK)) {
    if (inotify_add_watch(m_descriptor, path.c_str(), IN_MODIFY | IN_CREATE) < 0) {
        throw std::runtime_error("cannot watch " + path);
    }
}

CWatch::~CWatch() { (void)close(m_descriptor); }

bool CWatch::HasChanged() const {
    inotify_event event{};
    return read(m_descriptor, &event, sizeof event) > 0;
}

}  // namespace Baseline
