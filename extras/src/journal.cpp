// SPDX-License-Identifier: MIT
#include "journal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include <tamsel/file_util.h>

#include "document_text.h"
#include "system.h"

namespace Tamsel::Extras {

namespace {

using TLimit = std::chrono::milliseconds;

const std::string Magic = "tamsel-journal-1";

std::string JournalOf(const std::string& path) { return path + ".journal"; }

struct stat StatusOf(int descriptor, const std::string& path) {
    struct stat status {};
    Checked(path, [&] { return fstat(descriptor, &status); });
    return status;
}

// What a journal holds.

/// One change, old text to new.
struct SChange {
    std::string newText;
    std::string oldText;
};

/// FNV-1a of the texts in a row. It is to recognize a write that storage did part of, no attacker.
template <typename... TTexts>
std::uint64_t Checksum(const TTexts&... texts) {
    std::uint64_t hash = 14695981039346656037U;
    for (const std::string* const text : {&texts...}) {
        for (const char byte : *text)
            hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    return hash;
}

/// A line with the sizes and the checksum, then both texts.
std::string Encode(const SChange& change) {
    std::string journal = Magic;
    journal += ' ' + std::to_string(change.newText.size());
    journal += ' ' + std::to_string(change.oldText.size());
    journal += ' ' + std::to_string(Checksum(journal, change.newText, change.oldText));
    return journal + '\n' + change.newText + change.oldText;
}

/// Returns nothing for a journal that is not whole. It is, if its texts encode to just this.
std::optional<SChange> Decode(const std::string& journal) {
    const std::size_t end = journal.find('\n');
    if (end == std::string::npos || end < Magic.size()) return std::nullopt;
    const std::string texts = journal.substr(end + 1);
    const std::size_t size = std::strtoul(journal.c_str() + Magic.size(), nullptr, 10);
    if (size > texts.size()) return std::nullopt;
    SChange change{texts.substr(0, size), texts.substr(size)};
    if (Encode(change) != journal) return std::nullopt;
    return change;
}

/// Tells whether a document can be what an interrupted write of the new text over the old leaves.
bool IsBetween(const SChange& change, const std::string& text) {
    const auto has = [](const std::string& whole, std::size_t at, char byte) {
        return at < whole.size() && whole[at] == byte;
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (byte != 0 && !has(change.newText, at, byte) && !has(change.oldText, at, byte)) {
            return false;
        }
    }
    return true;
}

/// Returns the text that counts when a document holds `text`.
std::string Settled(const std::string& journal, const std::string& text) {
    const std::optional<SChange> change = Decode(journal);
    return change && (IsBetween(*change, text) || !IsWhole(text)) ? change->newText : text;
}

/// Completes the change that the journal holds. Tells whether it held anything.
bool Complete(const CFileLock& journal, const std::string& path, TLimit limit) {
    const std::string left = journal.Read();
    if (left.empty()) return false;
    if (Exists(path)) {
        const CFileLock document(path, CFileLock::EMode::Exclusive, limit);
        const std::string text = document.Read();
        const std::string settled = Settled(left, text);
        settled == text ? document.Synchronize() : document.Write(settled);
    }
    journal.Write("");
    return true;
}

// Permissions.

/// Returns the permissions for a journal in group `group` that nobody gets more by than by the
/// document's: if the groups differ, its own has only what everyone has.
mode_t PermissionsFor(const struct stat& document, gid_t group) {
    const mode_t mode = document.st_mode & 0666;
    return group == document.st_gid ? mode : (mode & 0606) | ((mode & 06) << 3);
}

/// Gives the journal the document's permissions, owner and group, those that this process can give.
/// \throws std::system_error it stays more accessible than the document
void MatchAccess(int journal, const struct stat& document, const std::string& path) {
    struct stat status = StatusOf(journal, path);
    if (status.st_uid != document.st_uid || status.st_gid != document.st_gid) {
        if (fchown(journal, document.st_uid, document.st_gid) != 0) {
            (void)!fchown(journal, static_cast<uid_t>(-1), document.st_gid);
        }
        status = StatusOf(journal, path);
    }
    const mode_t wanted = PermissionsFor(document, status.st_gid);
    if ((status.st_mode & 0777) == wanted || fchmod(journal, wanted) == 0) return;
    if ((status.st_mode & 0777 & ~wanted) != 0) ThrowErrno(path);
}

void CreateEmpty(const std::string& path) {
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const CDescriptor file(Uninterrupted([&] { return open(path.c_str(), flags, 0666); }));
    if (file.Get() < 0 && errno == EEXIST) return;
    if (file.Get() < 0) ThrowErrno(path);
    struct stat folder {};
    if (geteuid() == 0 && stat(FolderOf(path).c_str(), &folder) == 0) {
        (void)!fchown(file.Get(), folder.st_uid, folder.st_gid);
    }
}

/// Returns the path of the journal, which then exists. A document that is missing beside an
/// existing journal stays missing: that tells what to do with what the journal holds.
std::string EnsureJournal(const std::string& path) {
    const std::string journal = JournalOf(path);
    if (Exists(journal)) return journal;
    if (!Exists(path)) CreateEmpty(path);
    struct stat document {};
    Checked(path, [&] { return stat(path.c_str(), &document); });
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC;
    const CDescriptor file(Checked(journal, [&] { return open(journal.c_str(), flags, 0600); }));
    MatchAccess(file.Get(), document, journal);
    return journal;
}

/// Returns the path of the document, which is then whole and exists.
const std::string& EnsureDocument(const CFileLock& journal, const std::string& path, TLimit limit) {
    (void)Complete(journal, path, limit);
    if (!Exists(path)) CreateEmpty(path);
    return path;
}

std::unique_ptr<CFileLock> LockToRead(const std::string& path, TLimit limit) try {
    // Most files have no journal, and an exception is what takes the time then.
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return nullptr;
    return std::make_unique<CFileLock>(path, CFileLock::EMode::Shared, limit);
} catch (const std::system_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return nullptr;
    throw;
}

bool IsNotPermitted(const std::error_code& code) {
    return code == std::errc::permission_denied || code == std::errc::operation_not_permitted ||
           code == std::errc::read_only_file_system;
}

}  // namespace

std::string CanonicalPath(const std::string& path) {
    using TPath = std::unique_ptr<char, decltype(&std::free)>;
    if (const TPath file(realpath(path.c_str(), nullptr), &std::free); file) return file.get();
    const TPath folder(realpath(FolderOf(path).c_str(), nullptr), &std::free);
    if (!folder) return path;
    return std::string(folder.get()) + '/' + path.substr(path.rfind('/') + 1);
}

void OpenDocument(const std::string& path, TLimit limit) {
    const std::string journal = EnsureJournal(path);
    try {
        const CFileLock lock(journal, CFileLock::EMode::Exclusive, limit);
        (void)EnsureDocument(lock, path, limit);
    } catch (const std::system_error& error) {
        if (!IsNotPermitted(error.code())) throw;
    }
}

std::string ReadDocument(const std::string& path, TLimit limit) {
    std::string text;
    std::string left;
    {
        const auto journal = LockToRead(JournalOf(path), limit);
        const auto document = LockToRead(path, limit);
        if (journal) left = journal->Read();
        if (document) text = document->Read();
        if (document && !left.empty()) text = Settled(left, text);
    }
    try {
        if (!left.empty()) (void)RecoverDocument(path, limit);
    } catch (const std::system_error&) {
        // Whoever may write, and finds room, completes it. Until then, this text counts.
    }
    return text;
}

bool RecoverDocument(const std::string& path, TLimit limit) {
    if (!Exists(JournalOf(path))) return false;
    const CFileLock journal(JournalOf(path), CFileLock::EMode::Exclusive, limit);
    return Complete(journal, path, limit);
}

bool IsChangeInterrupted(const std::string& path, TLimit limit) {
    const auto journal = LockToRead(JournalOf(path), limit);
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
    MatchAccess(m_journal.Descriptor(), StatusOf(m_document.Descriptor(), m_path),
                JournalOf(m_path));
    Replace(text);
    m_journal.Write("");
}

/// The journal first, then the document.
void CDocumentChange::Replace(const std::string& text) const try {
    m_journal.Write(Encode({text, m_text}));
    m_document.Write(text);
} catch (const std::system_error&) {
    try {
        if (m_document.Read() != m_text) m_document.Write(m_text);
        m_journal.Write("");
    } catch (const std::system_error&) {
        // The journal, if it is whole, still completes the change.
    }
    throw;
}

void CDocumentChange::SynchronizeEntries(TEntries& synchronized) const {
    const TEntries entries(StatusOf(m_journal.Descriptor(), m_path).st_ino,
                           StatusOf(m_document.Descriptor(), m_path).st_ino);
    if (entries == synchronized) return;
    const std::string folder = FolderOf(m_path);
    const CDescriptor descriptor(
        Checked(folder, [&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    Checked(folder, [&] { return fsync(descriptor.Get()); });
    synchronized = entries;
}

}  // namespace Tamsel::Extras
