// SPDX-License-Identifier: MIT
#include <tamsel/file_stream.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>

#include <tamsel/errors.h>
#include <tamsel/file_util.h>

namespace Tamsel {

namespace {

constexpr std::uint32_t ChangeMask = IN_MODIFY | IN_CREATE;

// Events of a watched file have no name, so each consists of the fixed part of the structure only.
static_assert(sizeof(inotify_event) == 16);

void RequireReadable(const std::string& path) {
    if (!IsReadable(path)) throw CAccessDenied("Failed to open file '" + path + "' for reading.");
}

void CreateEmpty(const std::string& path) {
    if (!std::ofstream(path)) throw CAccessDenied("Failed to create file '" + path + "'.");
}

/// Ensures that a readable file exists at `path`, and returns the path.
const std::string& EnsureFile(const std::string& path) {
    if (Exists(path)) {
        RequireReadable(path);
    } else {
        CreateEmpty(path);
    }
    return path;
}

int AddWatch(int inotify, const std::string& path) {
    const int watch = inotify_add_watch(inotify, path.c_str(), ChangeMask);
    if (watch < 0) throw CInotifyHandlingError("Failed set watch on " + path);
    return watch;
}

unsigned int SizeOrThrow(const std::string& path) {
    unsigned int size = 0;
    if (!GetSize(path, size)) throw CAccessDenied("Failed to access file '" + path + "'.");
    return size;
}

}  // namespace

CInputFileStream::CInputFileStream(const std::string& path) : m_path(path) {
    if (Exists(m_path)) RequireReadable(m_path);
}

std::string CInputFileStream::GetPath() const { return m_path; }

unsigned int CInputFileStream::GetFileSize() const { return SizeOrThrow(m_path); }

bool CInputFileStream::Read(std::string& content) { return ReadFile(m_path, content); }

CFileStream::CInotify::CInotify() : m_descriptor(inotify_init1(IN_NONBLOCK)) {
    if (m_descriptor < 0) throw CInotifyHandlingError("Failed to init inotify");
}

CFileStream::CInotify::~CInotify() { (void)close(m_descriptor); }

CFileStream::CFileStream(const std::string& path)
    : m_path(EnsureFile(path)), m_watch(AddWatch(m_inotify.Descriptor(), m_path)) {}

CFileStream::~CFileStream() {
    // Fails harmlessly if the kernel has already removed the watch together with the file.
    (void)inotify_rm_watch(m_inotify.Descriptor(), m_watch);
}

std::string CFileStream::GetPath() const { return m_path; }

unsigned int CFileStream::GetFileSize() const { return SizeOrThrow(m_path); }

bool CFileStream::Read(std::string& content) { return ReadFile(m_path, content); }

bool CFileStream::Write(const std::string& content) { return WriteFile(m_path, content); }

bool CFileStream::HasChanged() {
    bool hasChanged = false;
    inotify_event event{};
    ssize_t count = 0;
    while ((count = read(m_inotify.Descriptor(), &event, sizeof event)) > 0) {
        if ((event.mask & ChangeMask) != 0) hasChanged = true;
    }
    if (count < 0 && errno != EAGAIN) throw CInotifyHandlingError("Failed reading inotify");
    return hasChanged;
}

}  // namespace Tamsel
