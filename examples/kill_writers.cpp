// SPDX-License-Identifier: MIT
// Measures on a file system of yours what a kill in the middle of a write leaves behind:
//   kill_writers FOLDER ROUNDS
// It fails when a file mixes two writes, when a dead writer still holds the lock, or when the
// crash-safe stream loses anything.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <tamsel/tamsel.h>

#include "crash_safe_stream.h"

namespace {

const std::string Texts[] = {R"({"k":")" + std::string(20000, 'a') + "\"}",
                             R"({"k":")" + std::string(30000, 'b') + "\"}"};

pid_t StartWriter(Tamsel::IFileStream& stream, std::size_t first) {
    const pid_t child = fork();
    if (child != 0) return child;
    while (stream.Write(Texts[first]) && stream.Write(Texts[1 - first])) {
    }
    _exit(1);
}

void KillAfterAWhile(const std::vector<pid_t>& writers, std::mt19937& random) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    for (const pid_t writer : writers) {
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }
}

bool IsUnlocked(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isUnlocked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return isUnlocked;
}

std::string Judge(Tamsel::IFileStream& stream) {
    std::string text;
    if (!IsUnlocked(stream.GetPath())) return "locked";
    if (!stream.Read(text)) return "unreadable";
    if (text == Texts[0] || text == Texts[1]) return "whole";
    if (text.empty()) return "empty";
    for (const std::string& whole : Texts) {
        if (whole.compare(0, text.size(), text) == 0) return "cut short";
    }
    return "mixed";
}

std::map<std::string, int> Campaign(Tamsel::IFileStream& stream, std::size_t writers, int rounds) {
    std::map<std::string, int> left;
    std::mt19937 random(std::random_device{}());
    stream.Write(Texts[0]);
    for (int round = 0; round < rounds; ++round) {
        std::vector<pid_t> children(writers);
        for (std::size_t i = 0; i < writers; ++i) children[i] = StartWriter(stream, i);
        KillAfterAWhile(children, random);
        ++left[Judge(stream)];
    }
    std::cout << stream.GetPath() << " after " << rounds << " kills:";
    for (const auto& [what, count] : left) std::cout << ' ' << count << ' ' << what;
    std::cout << std::endl;
    return left;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string folder = argv[1];
    const int rounds = std::stoi(argv[2]);
    Tamsel::CFileStream plain(folder + "/plain.json");
    CCrashSafeStream safe(folder + "/safe.json");
    std::map<std::string, int> left = Campaign(plain, 2, rounds);
    const bool isGood = left["whole"] + left["empty"] + left["cut short"] == rounds;
    return isGood && Campaign(safe, 1, rounds)["whole"] == rounds ? 0 : 1;
}
