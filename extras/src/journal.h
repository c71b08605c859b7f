// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include <tamsel/extras/file_lock.h>

/// \file
/// The protocol that makes a change of a document atomic. Next to the document is its journal,
/// which is empty except during a change, and whose lock is acquired before the document's:
///
/// 1. lock the journal, complete an interrupted change, lock the document, synchronise it and its
///    directory
/// 2. write the new and the old text to the journal, synchronise, read back
/// 3. overwrite the document with the new text, synchronise, read back
/// 4. truncate the journal, synchronise, unlock
///
/// A journal that is non-empty when its lock is acquired was left by an interrupted change. If it
/// is not whole, step 3 had not begun. If it is whole, the document can contain
/// - the old text, which is valid: step 3 had not begun, or someone else restored the old text
/// - only bytes of the old text, of the new text and zeros, or text that does not parse: step 3 was
///   interrupted, and the new text is the valid one
/// - anything else, which is valid: someone else wrote it since
///
/// Failing system calls throw `std::system_error`, with the path in the message.

namespace Tamsel::Extras {

/// Returns the absolute path without symbolic links, which is the same in all programs.
std::string CanonicalPath(const std::string& path);

/// Creates the document, empty, and its journal if they are missing, and completes an interrupted
/// change. Leaves files that are only readable unchanged.
///
/// The journal gets the document's permissions, owner and group as far as this process can set
/// them, and is never more accessible. A document that root creates gets the owner and group of its
/// directory.
void OpenDocument(const std::string& path, std::chrono::milliseconds limit);

/// Returns the valid text, "" for a missing document. Takes shared locks. Needs no journal, and
/// only permission to read; completes an interrupted change if it can.
std::string ReadDocument(const std::string& path, std::chrono::milliseconds limit);

/// Completes an interrupted change. Returns true if there was one.
bool RecoverDocument(const std::string& path, std::chrono::milliseconds limit);

/// Returns true if there is an interrupted change.
bool IsChangeInterrupted(const std::string& path, std::chrono::milliseconds limit);

/// Exclusive locks on a document and its journal, and the change made under them.
class CDocumentChange {
public:
    /// The inode and the change time of a directory whose entries are synchronised.
    using TEntries = std::pair<std::uint64_t, std::uint64_t>;

    CDocumentChange(const std::string& path, std::chrono::milliseconds limit);

    /// The valid text before the change.
    const std::string& Text() const { return m_text; }

    /// Replaces the text. When this returns, storage has the new text and the directory entries.
    /// `synchronized` is the directory state that an earlier change synchronised; it is updated.
    ///
    /// If it throws, the old text is valid, or the new one if restoring the old one failed too.
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
