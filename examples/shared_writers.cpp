// SPDX-License-Identifier: MIT
// Counts up in a configuration that other processes change too, and loses no change of anyone:
//   shared_writers ROOT KEY TIMES
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include <tamsel/tamsel.h>

namespace {

/// Holds a lock file. It is not the overlay file: that one is locked by each write, which would
/// then wait for ourselves.
// [lock]
class CLockFile {
public:
    explicit CLockFile(const std::string& path)
        : m_descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        while (flock(m_descriptor, LOCK_EX) != 0) {
            if (errno != EINTR) throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~CLockFile() { close(m_descriptor); }
    CLockFile(const CLockFile&) = delete;
    CLockFile& operator=(const CLockFile&) = delete;

private:
    const int m_descriptor;
};
// [/lock]

// [change]
/// Without the lock, a file that another writer is just writing might not parse.
std::shared_ptr<Tamsel::IConfig> Open(const std::string& root, const std::string& lockFile) {
    const CLockFile alone(lockFile);
    return Tamsel::Create("counters", root);
}

/// Every writer of the file does this: lock, read what the others wrote, change.
void CountUp(Tamsel::IConfig& config, const std::string& lockFile, const std::string& key) {
    const CLockFile alone(lockFile);
    config.Reload();
    config.Set(key, config.Get(key, 0) + 1);
}
// [/change]

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::string root = argv[1];
    const std::string lockFile = root + "data/config/counters.lock";
    try {
        const auto config = Open(root, lockFile);
        for (int left = std::stoi(argv[3]); left > 0; --left) {
            CountUp(*config, lockFile, argv[2]);
            CountUp(*config, lockFile, "all");
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
