// SPDX-License-Identifier: MIT
#include <tamsel/extras/crash_safe_file_stream.h>

#include <tamsel/errors.h>
#include <tamsel/file_util.h>

#include "directory_watch.h"
#include "document_text.h"
#include "journal.h"
#include "system.h"

namespace Tamsel::Extras {

namespace {

constexpr const char* WriteFailed = "Failed to write config file";

void RequireReadable(const std::string& text, const std::string& path) {
    TConfigMap map;
    const std::string problem = TryParse(text, path, map);
    if (problem.empty()) return;
    throw CInvalidConfig(std::string(WriteFailed)
                             .append(" '")
                             .append(path)
                             .append("': it could not be read again: ")
                             .append(problem));
}

const std::string& Opened(const std::string& path, const std::string& givenPath,
                          std::chrono::milliseconds limit) {
    Translate<CAccessDenied>("Failed to create file", givenPath,
                             [&] { OpenDocument(path, limit); });
    return path;
}

}  // namespace

CCrashSafeFileStream::CCrashSafeFileStream(const std::string& path,
                                           std::chrono::milliseconds lockLimit)
    : m_givenPath(path),
      m_path(Opened(CanonicalPath(path), path, lockLimit)),
      m_lockLimit(lockLimit),
      m_watch(std::make_unique<CDirectoryWatch>(m_path)) {}

CCrashSafeFileStream::~CCrashSafeFileStream() = default;

std::string CCrashSafeFileStream::GetPath() const { return m_givenPath; }

unsigned int CCrashSafeFileStream::GetFileSize() const {
    unsigned int size = 0;
    if (GetSize(m_path, size)) return size;
    throw CAccessDenied(std::string("Failed to access file '").append(m_givenPath).append("'."));
}

bool CCrashSafeFileStream::Read(std::string& content) {
    content = Translate<CAccessDenied>("Failed to read file", m_givenPath,
                                       [&] { return ReadDocument(m_path, m_lockLimit); });
    SetKnownText(content);
    return true;
}

bool CCrashSafeFileStream::Write(const std::string& content) {
    Update([&](const std::string& text) {
        const std::lock_guard lock(m_mutex);
        return !m_knownText || *m_knownText == text ? content
                                                    : MergeTexts(*m_knownText, content, text);
    });
    SetKnownText(content);
    return true;
}

void CCrashSafeFileStream::Update(
    const std::function<std::string(const std::string& text)>& change) {
    const auto document = Translate<CInvalidConfig>(WriteFailed, m_givenPath, [&] {
        return std::make_unique<CDocumentChange>(m_path, m_lockLimit);
    });
    const std::string text = change(document->Text());
    RequireReadable(text, m_givenPath);
    const std::lock_guard lock(m_mutex);
    Translate<CInvalidConfig>(WriteFailed, m_givenPath,
                              [&] { document->Commit(text, m_synchronized); });
    m_knownText = text;
}

bool CCrashSafeFileStream::HasChanged() { return m_watch->Take().hasChanged; }

std::string CCrashSafeFileStream::KnownText() const {
    const std::lock_guard lock(m_mutex);
    return m_knownText.value_or("");
}

void CCrashSafeFileStream::SetKnownText(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_knownText = text;
}

std::string ReadText(const std::string& path, std::chrono::milliseconds lockLimit) {
    return ReadDocument(CanonicalPath(path), lockLimit);
}

bool Recover(const std::string& path, std::chrono::milliseconds lockLimit) {
    return RecoverDocument(CanonicalPath(path), lockLimit);
}

bool IsInterrupted(const std::string& path, std::chrono::milliseconds lockLimit) {
    return IsChangeInterrupted(CanonicalPath(path), lockLimit);
}

}  // namespace Tamsel::Extras
