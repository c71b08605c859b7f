// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include <tamsel/extras/file_lock.h>

/// \file
/// The protocol that makes a change of a document all or nothing. Beside the document lies its
/// journal, which is empty except during a change, and whose lock is taken before the document's:
///
/// 1. lock the journal, complete what an interrupted change left, lock the document, synchronize it
///    and the directory's entries
/// 2. write the new and the old text to the journal, synchronize
/// 3. write the new text over the old in the document, synchronize, read back
/// 4. empty the journal, synchronize, unlock
///
/// A journal that is found non-empty under its lock was left by an interrupted change. If it is not
/// whole, step 3 never began. If it is whole, the document may be
/// - the old text: counts, for step 3 did not begin, or somebody else put the old text back
/// - not that, but every byte is one of the old text, of the new text or zero, or it does not
///   parse: step 3 was interrupted, and the new text counts
/// - anything else: somebody else put it there since, and it counts
///
/// Failures of the system throw `std::system_error`, naming the file.

namespace Tamsel::Extras {

/// Returns the path by which every program names the document and its journal: absolute, without
/// symbolic links.
std::string CanonicalPath(const std::string& path);

/// Creates the document, empty, and its journal where they are missing, and completes an
/// interrupted change. Files that can only be read are left as they are.
///
/// The journal gets the document's permissions, owner and group, as far as this process can give
/// them, and is never more accessible. A document that root creates gets the owner and group of its
/// directory.
void OpenDocument(const std::string& path, std::chrono::milliseconds limit);

/// Returns the text that counts, "" for a missing document. Readers do not exclude one another. It
/// needs no journal, and only permission to read; completes an interrupted change where it can.
std::string ReadDocument(const std::string& path, std::chrono::milliseconds limit);

/// Completes an interrupted change. Returns true if there was one.
bool RecoverDocument(const std::string& path, std::chrono::milliseconds limit);

/// Returns true if there is an interrupted change.
bool IsChangeInterrupted(const std::string& path, std::chrono::milliseconds limit);

/// The exclusive right to change a document, from construction to destruction.
class CDocumentChange {
public:
    /// The inode and the change time of a directory whose entries are synchronized.
    using TEntries = std::pair<std::uint64_t, std::uint64_t>;

    CDocumentChange(const std::string& path, std::chrono::milliseconds limit);

    /// The text that counts.
    const std::string& Text() const { return m_text; }

    /// Replaces the text. When this returns, storage has the new text, and the directory entries
    /// too: `synchronized` is what an earlier change reported so, and is updated.
    ///
    /// When it throws, the old text or the new one counts, and the old one unless the document
    /// could not be written a second time.
    void Commit(const std::string& text, TEntries& synchronized);

private:
    void Undo(const std::string& text) const;
    void SynchronizeEntries(TEntries& synchronized) const;

    const std::string m_path;
    const CFileLock m_journal;
    const CFileLock m_document;
    const std::string m_text;
};

}  // namespace Tamsel::Extras
