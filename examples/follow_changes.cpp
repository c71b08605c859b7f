// SPDX-License-Identifier: MIT
// Follows a configuration that other processes change, and prints each new answer:
//   follow_changes ROOT COUNT      ends after COUNT of them
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include <json/json.h>
#include <tamsel/tamsel.h>

namespace {

/// Holds a file against writers. While it lives, reload but change nothing: a writer waits for it,
/// and a `Set` here would wait for ever.
// [lock]
class CSharedLock {
public:
    explicit CSharedLock(const std::string& path)
        : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        (void)flock(m_descriptor, LOCK_SH);
    }
    ~CSharedLock() { close(m_descriptor); }
    CSharedLock(const CSharedLock&) = delete;
    CSharedLock& operator=(const CSharedLock&) = delete;

private:
    const int m_descriptor;
};
// [/lock]

// [timer]
int StartTimer(long milliseconds) {
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    const timespec period = {0, milliseconds * 1000000};
    const itimerspec times = {period, period};
    timerfd_settime(timer, 0, &times, nullptr);
    return timer;
}
// [/timer]

std::shared_ptr<Tamsel::IConfig> Open(const std::string& root, const std::string& overlay) {
    const CSharedLock noWriter(overlay);
    return Tamsel::Create("network", root);
}

Tamsel::TConfigMap AllAnswers(const Tamsel::IConfig& config) {
    Tamsel::TConfigMap answers;
    for (const std::string& key : config.GetAllConfigKeys()) {
        answers[key] = config.Get(key, Json::Value());
    }
    return answers;
}

std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

int PrintChanges(const Tamsel::TConfigMap& before, const Tamsel::TConfigMap& now) {
    int count = 0;
    for (const auto& [key, value] : now) {
        const auto former = before.find(key);
        if (former != before.end() && former->second == value) continue;
        std::cout << key << " is now " << OneLine(value) << std::endl;
        ++count;
    }
    for (const auto& [key, value] : before) {
        if (now.count(key) != 0) continue;
        std::cout << key << " is gone" << std::endl;
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string root = argv[1];
    const std::string overlay = root + "data/config/network.json";
    const auto config = Open(root, overlay);
    Tamsel::TConfigMap known = AllAnswers(*config);
    std::cout << "following " << known.size() << " keys" << std::endl;

    // [loop]
    // A loop of your own would poll its other descriptors here too.
    pollfd timer = {StartTimer(50), POLLIN, 0};
    for (int left = std::stoi(argv[2]); left > 0;) {
        std::uint64_t expirations = 0;
        poll(&timer, 1, -1);
        const bool isTick = read(timer.fd, &expirations, sizeof expirations) > 0;
        if (!isTick || !config->HasChanged()) continue;
        try {
            const CSharedLock noWriter(overlay);
            config->Reload();
        } catch (const Tamsel::CInvalidConfig& error) {
            // A writer was killed; the overlay stays as it was, and the next write mends the file.
            std::cerr << error.what() << std::endl;
        }
        Tamsel::TConfigMap now = AllAnswers(*config);
        left -= PrintChanges(known, now);
        known.swap(now);
    }
    // [/loop]
}
