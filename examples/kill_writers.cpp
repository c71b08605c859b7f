// SPDX-License-Identifier: MIT
// Measures on a file system of yours what a kill inside a write leaves of a file, with the plain
// CFileStream and with the CCrashSafeFileStream.
//
// A round starts two processes that write without rest, kills both within 3 ms, and reads the file.
// It fails if a file mixes two writes, a dead writer still has the lock, a writer ends without
// being killed, or the crash-safe stream loses anything. It measures kills and no
// power cuts: what the kernel has accepted, it still writes.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>

#include <tamsel/extras/crash_safe_file_stream.h>
#include <tamsel/extras/file_lock.h>
#include <tamsel/tamsel.h>

namespace {

using namespace std::chrono_literals;
using Tamsel::Extras::CCrashSafeFileStream, Tamsel::Extras::CFileLock;

// In the layout in which the crash-safe stream prints what two writers changed at once.
const std::string Texts[] = {"{\n\t\"k\" : \"" + std::string(20000, 'a') + "\"\n}",
                             "{\n\t\"k\" : \"" + std::string(30000, 'b') + "\"\n}"};

pid_t StartWriter(Tamsel::IFileStream& stream, std::size_t first) {
    const pid_t child = fork();
    if (child != 0) return child;
    while (stream.Write(Texts[first]) && stream.Write(Texts[1 - first])) {
    }
    _exit(1);
}

void Kill(pid_t writer) {
    int status = 0;
    kill(writer, SIGKILL);
    waitpid(writer, &status, 0);
    if (!WIFSIGNALED(status)) throw std::runtime_error("a writer ended by itself");
}

/// \throws std::system_error someone has the file's lock
std::string Judge(Tamsel::IFileStream& stream) {
    std::string text;
    const bool isInterrupted = Tamsel::Extras::IsInterrupted(stream.GetPath());
    { const CFileLock lock(stream.GetPath(), CFileLock::EMode::Exclusive, 0ms); }
    (void)stream.Read(text);
    if (text == Texts[0] || text == Texts[1]) return isInterrupted ? "recovered" : "whole";
    if (text.empty()) return "empty";
    for (const std::string& whole : Texts) {
        if (whole.compare(0, text.size(), text) == 0) return "truncated";
    }
    return "mixed";
}

std::map<std::string, int> Campaign(Tamsel::IFileStream& stream, int rounds) {
    std::map<std::string, int> left;
    std::mt19937 random(std::random_device{}());
    (void)stream.Write(Texts[0]);
    for (int round = 0; round < rounds; ++round) {
        const pid_t writers[] = {StartWriter(stream, 0), StartWriter(stream, 1)};
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        for (const pid_t writer : writers) Kill(writer);
        ++left[Judge(stream)];
    }
    std::cout << stream.GetPath() << " after " << rounds << " kills:";
    for (const auto& [what, count] : left) std::cout << ' ' << count << ' ' << what;
    std::cout << std::endl;
    return left;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: kill_writers DIRECTORY ROUNDS\n";
        return 2;
    }
    const std::string directory = argv[1];
    const int rounds = std::stoi(argv[2]);
    Tamsel::CFileStream plain(directory + "/plain.json");
    CCrashSafeFileStream safe(directory + "/safe.json");
    const auto ofPlain = Campaign(plain, rounds);
    const auto ofSafe = Campaign(safe, rounds);
    const bool isSafe = ofSafe.size() == ofSafe.count("whole") + ofSafe.count("recovered");
    return ofPlain.count("mixed") == 0 && isSafe ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
