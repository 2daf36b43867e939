// Whole files: loading, with its byte-order marks, saving and comparing. Tested on real files in
// tests/text/FilesTest.cpp.

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/DorvaneHandle.h"
#include "support/FileSys.h"
#include "support/LogBase.h"
#include "support/LogNull.h"
#include "support/XString.h"
#include "support/dv64.h"
#include "support/internal/CodePageNumbers.h"
#include "text/internal/Reencode.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::kUtf16BePage;
using dorvane::internal::kUtf16LePage;
using dorvane::internal::kUtf8Page;
using dorvane::internal::reencode;
using dorvane::internal::Scratch;

namespace {

constexpr unsigned int kUnknownSize = 0xFFFFFFFFU;
constexpr unsigned int kRoomBehindFile = 4;
constexpr long long kRoomOfLoadedFile = 200;

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool fitsInMemory(long long fileSize) {
  return !dv64::TooBigForUnsigned32(fileSize) &&
         !dv64::TooBigForUnsigned32(fileSize + kRoomOfLoadedFile);
}

void logError(LogBase* log, const char* text) {
  if (log != nullptr) log->LogError(text);
}

void logFileError(LogBase* log, XString& path, const char* text) {
  if (log == nullptr) return;
  log->LogData("filename", path.getAnsi());
  log->LogError(text);
}

// Reads a file of a known size after the content, for which there is room.
bool appendFromFile(StringBuffer& out, DorvaneHandle& file, unsigned int size, XString& path,
                    LogBase* log) {
  const BufferAccess access(out);
  const unsigned int oldSize = access.size();
  unsigned int received = 0;
  bool endOfFile = false;
  if (!file.readBytesToBuf32(access.data() + oldSize, size, received, endOfFile, nullptr)) {
    access.terminateAt(oldSize);
    logFileError(log, path, "Failed to read data from file");
    return false;
  }
  if (received < size) {
    access.terminateAt(oldSize);
    if (log == nullptr) return false;
    log->LogDataLong("filesize", static_cast<long>(size));
    log->LogDataLong("bytes_received", static_cast<long>(received));
    logFileError(log, path, "Failed to read the entire file (3)");
    return false;
  }
  access.terminateAt(oldSize + size);
  return true;
}

// Removes the mark of UTF-8; converts by one of UTF-16.
void decodeByteOrderMark(StringBuffer& buffer) {
  const std::string_view all = BufferAccess(buffer).content();
  LogNull log;
  if (startsWith(all, "\xFE\xFF"))
    reencode(buffer, kUtf16BePage, kUtf8Page, log);
  else if (startsWith(all, "\xFF\xFE"))
    reencode(buffer, kUtf16LePage, kUtf8Page, log);
  else if (all.size() >= 4 && startsWith(all, "\xEF\xBB\xBF"))
    BufferAccess(buffer).replaceByPieces({all.substr(3)});
}

}  // namespace

// ---- Loading ----

bool StringBuffer::loadFromFile(XString& path, LogBase* log) {
  DorvaneHandle file;
  int errorCode = 0;
  if (!FileSys::OpenForRead3(file, path, errorCode, log)) return false;
  const unsigned int size = file.fileSize32(nullptr);
  if (size == kUnknownSize) {
    logFileError(log, path, "Failed to get file size when loading string from file");
    return false;
  }
  if (size == 0) return true;
  if (!BufferAccess(*this).makeRoom(std::uint64_t{size} + kRoomBehindFile)) {
    if (log == nullptr) return false;
    log->LogError("Out of memory reading file into string m_buffer");
    log->LogDataLong("fileSize", static_cast<long>(size));
    return false;
  }
  if (!appendFromFile(*this, file, size, path, log)) return false;
  decodeByteOrderMark(*this);
  return true;
}

bool StringBuffer::loadFromFileAnsi(const char* path, LogBase* log) {
  XString name;
  name.setFromAnsi(path);
  return loadFromFile(name, log);
}

StringBuffer* StringBuffer::createFromFile(XString& path, LogBase* log) {
  bool known = false;
  if (!fitsInMemory(FileSys::fileSizeUtf8_64(path.getUtf8(), log, known))) {
    logError(log, "File too large to hold in memory");
    return nullptr;
  }
  if (!known) return nullptr;
  StringBuffer* const loaded = createNewSB();
  if (loaded == nullptr) {
    logError(log, "File too large to hold in memory.");
    return nullptr;
  }
  if (loaded->loadFromFile(path, log)) return loaded;
  deleteSb(loaded);
  return nullptr;
}

StringBuffer* StringBuffer::createFromFileUtf8(const char* path, LogBase* log) {
  XString name;
  name.setFromUtf8(path);
  return createFromFile(name, log);
}

// ---- Saving and comparing ----

bool StringBuffer::saveToFileUtf8(const char* path, LogBase* log) const {
  return FileSys::writeFileUtf8(path, getString(), BufferAccess(*this).size(), log);
}

bool StringBuffer::appendToFileUtf8(const char* path, LogBase* log) const {
  XString name;
  name.appendUtf8(path);
  return FileSys::appendFileX(name, getString(), BufferAccess(*this).size(), log);
}

bool StringBuffer::equalsFileContents(const char* path) const {
  bool known = false;
  const unsigned int size = FileSys::fileSizeUtf8_32(path, nullptr, known);
  if (!known || size != getSize()) return false;
  XString name;
  name.appendUtf8(path);
  Scratch loaded(*this);
  return loaded.loadFromFile(name, nullptr) &&
         BufferAccess(*this).text() == BufferAccess(loaded).text();
}
