// SPDX-License-Identifier: MIT
#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>

#include "document_text.h"
#include "system.h"

namespace Tamsel::Extras {

namespace {

using TLimit = std::chrono::milliseconds;

// Constant-initialised: the constructor of a user's static object may open a configuration.
constexpr std::string_view Magic = "tamsel-journal-1";

std::string JournalOf(const std::string& path) { return path + ".journal"; }

/// Not `Tamsel::Exists`, which checks for the real user: a file hidden from that user is not
/// missing.
bool IsMissing(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

struct stat StatusOf(int descriptor, const std::string& path) {
    struct stat status {};
    Checked(path, [&] { return fstat(descriptor, &status); });
    return status;
}

std::uint64_t Nanoseconds(const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

// The content of a journal.

/// One change, old text to new.
struct SChange {
    std::string newText;
    std::string oldText;
};

/// FNV-1a of the concatenated texts. Detects a partial write, not an attack.
template <typename... TTexts>
std::uint64_t Checksum(const TTexts&... texts) {
    std::uint64_t hash = 14695981039346656037U;
    for (const std::string* const text : {&texts...}) {
        for (const char byte : *text) {
            hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        }
    }
    return hash;
}

void AppendNumber(std::string& text, std::uint64_t number) {
    char digits[24];
    (void)std::snprintf(digits, sizeof digits, " %llu", static_cast<unsigned long long>(number));
    text += digits;
}

/// Returns a journal: a line with the sizes and the checksum, then both texts.
std::string Encode(const std::string& newText, const std::string& oldText) {
    std::string journal(Magic);
    AppendNumber(journal, newText.size());
    AppendNumber(journal, oldText.size());
    AppendNumber(journal, Checksum(journal, newText, oldText));
    return journal.append("\n").append(newText).append(oldText);
}

/// Returns nothing unless the journal is whole, that is, unless its texts encode to the same bytes.
std::optional<SChange> Decode(const std::string& journal) {
    const std::size_t end = journal.find('\n');
    if (end == std::string::npos || end < Magic.size()) return std::nullopt;
    const std::size_t begin = end + 1;
    const std::size_t size = std::strtoul(journal.c_str() + Magic.size(), nullptr, 10);
    if (size > journal.size() - begin) return std::nullopt;
    SChange change{journal.substr(begin, size), journal.substr(begin + size)};
    if (Encode(change.newText, change.oldText) != journal) return std::nullopt;
    return change;
}

/// Returns true if an interrupted write of the new text over the old one can have left `text`: each
/// byte is that of either at its position, or zero where storage has not written yet.
bool IsBetween(const std::string& newText, const std::string& oldText, const std::string& text) {
    const auto has = [](const std::string& whole, std::size_t at, char byte) {
        return at < whole.size() && whole[at] == byte;
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (byte != 0 && !has(newText, at, byte) && !has(oldText, at, byte)) return false;
    }
    return true;
}

/// Returns true if the change was interrupted while it wrote the document. The old text can have
/// been restored by someone else, and any other text that parses must have been written by them.
bool IsInside(const std::string& newText, const std::string& oldText, const std::string& text) {
    return text != oldText && (IsBetween(newText, oldText, text) || !IsWhole(text));
}

/// Returns the valid text of a document that contains `text`.
std::string ValidText(const std::string& journal, const std::string& text) {
    const std::optional<SChange> change = Decode(journal);
    return change && IsInside(change->newText, change->oldText, text) ? change->newText : text;
}

void SynchronizeDirectory(const std::string& path) {
    const std::string directory = DirectoryOf(path);
    const CDescriptor descriptor(Checked(
        directory, [&] { return open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    Checked(directory, [&] { return fsync(descriptor.Get()); });
}

/// Throws unless `path` is the only name of the open journal, and no symbolic link: the owner of
/// the directory could have placed a link to another user's file there.
void RequireNoLink(const CFileLock& journal, const std::string& path) {
    struct stat named {};
    Checked(path, [&] { return lstat(path.c_str(), &named); });
    const struct stat opened = StatusOf(journal.Descriptor(), path);
    const bool isSame = named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
    if (isSame && S_ISREG(opened.st_mode) && opened.st_nlink == 1) return;
    errno = ELOOP;
    ThrowErrno(path);
}

/// Completes the change that the journal contains. Returns true if it was not empty.
bool Complete(const CFileLock& journal, const std::string& path, TLimit limit) {
    RequireNoLink(journal, JournalOf(path));
    const std::string left = journal.Read();
    if (left.empty()) return false;
    if (!IsMissing(path)) {
        const CFileLock document(path, CFileLock::EMode::Exclusive, limit);
        const std::string text = document.Read();
        const std::string valid = ValidText(left, text);
        valid == text ? document.Synchronize() : document.Write(valid);
    }
    // A document that was removed or replaced must not reappear after the journal is truncated.
    SynchronizeDirectory(path);
    journal.Write("");
    return true;
}

// Permissions.

/// Returns permissions for a journal of group `group` that do not exceed the document's for anyone:
/// if the groups differ, the journal's group has only the permissions of others.
mode_t PermissionsFor(const struct stat& document, gid_t group) {
    const mode_t mode = document.st_mode & 0666;
    return group == document.st_gid ? mode : (mode & 0606) | ((mode & 06) << 3);
}

/// Sets the journal's permissions, owner and group to the document's, as far as this process can.
/// \throws std::system_error it remains more accessible than the document
void MatchAccess(int journal, const std::string& path) {
    struct stat document {};
    Checked(path, [&] { return stat(path.c_str(), &document); });
    struct stat status = StatusOf(journal, path);
    if (status.st_uid != document.st_uid || status.st_gid != document.st_gid) {
        if (fchown(journal, document.st_uid, document.st_gid) != 0) {
            (void)!fchown(journal, static_cast<uid_t>(-1), document.st_gid);
        }
        status = StatusOf(journal, path);
    }
    const mode_t wanted = PermissionsFor(document, status.st_gid);
    if ((status.st_mode & 0777) == wanted || fchmod(journal, wanted) == 0) return;
    if ((status.st_mode & 0777 & ~wanted) != 0) ThrowErrno(JournalOf(path));
}

void CreateEmpty(const std::string& path) {
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const CDescriptor file(Uninterrupted([&] { return open(path.c_str(), flags, 0666); }));
    if (file.Get() < 0 && errno == EEXIST) return;
    if (file.Get() < 0) ThrowErrno(path);
    struct stat directory {};
    if (geteuid() == 0 && stat(DirectoryOf(path).c_str(), &directory) == 0) {
        (void)!fchown(file.Get(), directory.st_uid, directory.st_gid);
    }
}

/// Creates a missing journal, accessible to this user only, and returns its path. Does not create
/// a document that is missing beside an existing journal: recovery depends on its absence.
std::string EnsureJournal(const std::string& path) {
    std::string journal = JournalOf(path);
    if (!IsMissing(journal)) return journal;
    if (IsMissing(path)) CreateEmpty(path);
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
    const CDescriptor file(Checked(journal, [&] { return open(journal.c_str(), flags, 0600); }));
    return journal;
}

/// Completes an interrupted change, creates a missing document, and returns its path.
const std::string& EnsureDocument(const CFileLock& journal, const std::string& path, TLimit limit) {
    (void)Complete(journal, path, limit);
    if (IsMissing(path)) CreateEmpty(path);
    return path;
}

std::unique_ptr<CFileLock> LockToRead(const std::string& path, TLimit limit) try {
    // Most files have no journal, and the exception would dominate the time to read them.
    if (IsMissing(path)) return nullptr;
    return std::make_unique<CFileLock>(path, CFileLock::EMode::Shared, limit);
} catch (const std::system_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return nullptr;
    throw;
}

std::unique_ptr<CFileLock> LockJournalToRead(const std::string& path, TLimit limit) {
    auto journal = LockToRead(JournalOf(path), limit);
    if (journal) RequireNoLink(*journal, JournalOf(path));
    return journal;
}

}  // namespace

std::string CanonicalPath(const std::string& path) {
    using TPath = std::unique_ptr<char, decltype(&std::free)>;
    if (const TPath file(realpath(path.c_str(), nullptr), &std::free); file) return file.get();
    char target[PATH_MAX] = {};
    if (errno == ENOENT && readlink(path.c_str(), target, sizeof target - 1) > 0) {
        return CanonicalPath(*target == '/' ? target : DirectoryOf(path) + target);
    }
    const TPath directory(realpath(DirectoryOf(path).c_str(), nullptr), &std::free);
    if (!directory) return path;
    return std::string(directory.get()).append("/").append(path, path.rfind('/') + 1);
}

void OpenDocument(const std::string& path, TLimit limit) {
    const std::string journal = EnsureJournal(path);
    try {
        const CFileLock lock(journal, CFileLock::EMode::Exclusive, limit);
        // On every opening: the process that created the journal may have been killed before this.
        MatchAccess(lock.Descriptor(), EnsureDocument(lock, path, limit));
    } catch (const std::system_error& error) {
        // Without permission, or on a full disk, reading still returns the valid text.
        if (error.code() == std::errc::timed_out || IsMissing(path)) throw;
    }
}

std::string ReadDocument(const std::string& path, TLimit limit) {
    std::string text;
    std::string left;
    {
        const auto journal = LockJournalToRead(path, limit);
        const auto document = LockToRead(path, limit);
        if (journal) left = journal->Read();
        if (document) text = document->Read();
        if (document && !left.empty()) text = ValidText(left, text);
    }
    try {
        if (!left.empty()) (void)RecoverDocument(path, limit);
    } catch (const std::system_error&) {
        // A process that can write, on a disk with space, completes it. The text is valid already.
    }
    return text;
}

bool RecoverDocument(const std::string& path, TLimit limit) {
    if (IsMissing(JournalOf(path))) return false;
    const CFileLock journal(JournalOf(path), CFileLock::EMode::Exclusive, limit);
    return Complete(journal, path, limit);
}

bool IsChangeInterrupted(const std::string& path, TLimit limit) {
    const auto journal = LockJournalToRead(path, limit);
    return journal && !journal->Read().empty();
}

CDocumentChange::CDocumentChange(const std::string& path, TLimit limit)
    : m_path(path),
      m_journal(EnsureJournal(path), CFileLock::EMode::Exclusive, limit),
      m_document(EnsureDocument(m_journal, path, limit), CFileLock::EMode::Exclusive, limit),
      m_text(m_document.Read()) {}

void CDocumentChange::Commit(const std::string& text, TEntries& synchronized) {
    m_document.Synchronize();
    SynchronizeEntries(synchronized);
    if (text == m_text) return;
    MatchAccess(m_journal.Descriptor(), m_path);
    try {
        m_journal.Write(Encode(text, m_text));
        m_document.Write(text);
        m_journal.Write("");
    } catch (const std::system_error&) {
        Undo(text);
        throw;
    }
}

/// Restores the old text, by a journalled change of its own if the journal is empty already. Keeps
/// what someone wrote without a lock meanwhile.
void CDocumentChange::Undo(const std::string& text) const try {
    if (IsInside(text, m_text, m_document.Read())) {
        if (m_journal.Read().empty()) m_journal.Write(Encode(m_text, text));
        m_document.Write(m_text);
    }
    m_journal.Write("");
} catch (const std::system_error&) {
    // If the journal is whole, the next recovery completes the change.
}

void CDocumentChange::SynchronizeEntries(TEntries& synchronized) const {
    const std::string directory = DirectoryOf(m_path);
    struct stat status {};
    Checked(directory, [&] { return stat(directory.c_str(), &status); });
    const TEntries entries(status.st_ino, Nanoseconds(status.st_ctim));
    if (entries == synchronized) return;
    SynchronizeDirectory(m_path);
    // The second of two changes within one tick of the file system's clock, at most a second, does
    // not alter the directory's time.
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    if (Nanoseconds(now) > entries.second + 1000000000) synchronized = entries;
}

}  // namespace Tamsel::Extras
