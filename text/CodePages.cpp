// Re-encoding of the whole content, all through the converter. Tested in
// tests/text/CodePagesTest.cpp.

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/LogNull.h"
#include "support/Psdk.h"
#include "support/XString.h"
#include "support/internal/Ascii.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/Conversion.h"
#include "support/internal/Search.h"
#include "text/internal/ChangeBytes.h"
#include "text/internal/Reencode.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::convertText;
using dorvane::internal::findBytes;
using dorvane::internal::isAscii;
using dorvane::internal::kUsAsciiPage;
using dorvane::internal::kUtf16LePage;
using dorvane::internal::kUtf8Page;
using dorvane::internal::reencode;
using dorvane::internal::replaceEvery;

namespace {

constexpr int kUsOemPage = 437;
constexpr int kWesternPage = 1252;
constexpr int kLatin1Page = 28591;

// How much longer than the text the block is that its UTF-8 form begins with.
constexpr unsigned int kRoomToGrow = 32;

bool isBetween(int low, int page, int high) { return low <= page && page <= high; }

// True for the pages of which it is taken that US-ASCII text is theirs already.
bool extendsUsAscii(int page) {
  return page == kUtf8Page || isBetween(28591, page, 28605) || isBetween(1250, page, 1258);
}

// True when the bytes of `text` are the same in both pages. Deliberate: US-ASCII is taken on trust,
// the OEM page is looked at.
bool isSameInBoth(std::string_view text, int from, int to) {
  if (from == kUsAsciiPage) return extendsUsAscii(to);
  const bool extendsAscii = to == kWesternPage || to == kUtf8Page || to == kLatin1Page;
  return from == kUsOemPage && extendsAscii && isAscii(text);
}

// There is room for the longest result before the conversion begins, so that no block with a part
// of it is released.
void toUtf16(std::string_view text, int page, DataBuffer& out) {
  out.clear();
  const std::uint64_t longest = std::uint64_t{2} * text.size();
  if (!out.ensureBuffer(static_cast<unsigned int>(std::min<std::uint64_t>(longest, UINT_MAX))))
    return;
  LogNull log;
  convertText(page, kUtf16LePage, text, out, log);
}

bool holdsOneOf(std::string_view text, std::string_view a, std::string_view b) {
  return findBytes(text, a) != nullptr || findBytes(text, b) != nullptr;
}

// The same without a log and a result.
void reencode(StringBuffer& buffer, int from, int to) {
  LogNull log;
  reencode(buffer, from, to, log);
}

}  // namespace

// ---- From page to page ----

bool StringBuffer::convertEncoding(int fromCodePage, int toCodePage, LogBase& log) {
  if (fromCodePage == toCodePage || fromCodePage == 0 || toCodePage == 0 || getSize() == 0)
    return true;
  return isSameInBoth(BufferAccess(*this).content(), fromCodePage, toCodePage) ||
         reencode(*this, fromCodePage, toCodePage, log);
}

void StringBuffer::cvUtf8ToAnsi() { reencode(*this, kUtf8Page, Psdk::getAnsiCodePage()); }

void StringBuffer::convertToAnsi(int fromCodePage) {
  reencode(*this, fromCodePage, Psdk::getAnsiCodePage());
}

void StringBuffer::convertFromAnsi(int toCodePage) {
  reencode(*this, Psdk::getAnsiCodePage(), toCodePage);
}

void StringBuffer::convertToOem(int fromCodePage) {
  reencode(*this, fromCodePage, Psdk::getOemCodePage());
}

void StringBuffer::convertFromOem(int toCodePage) {
  reencode(*this, Psdk::getOemCodePage(), toCodePage);
}

void StringBuffer::cvAnsiToUtf8(LogBase& /*log*/) {
  const BufferAccess self(*this);
  DataBuffer out;
  out.setSecure(self.isSecure());
  const std::uint64_t wanted = std::uint64_t{self.size()} + kRoomToGrow;
  // Only a saving: the converter makes room for what it appends.
  if (wanted <= UINT_MAX) out.ensureBuffer(static_cast<unsigned int>(wanted));
  LogNull log;
  convertText(Psdk::getAnsiCodePage(), kUtf8Page, self.content(), out, log);
  if (out.appendChar(0)) takeFromDb(out);
}

void StringBuffer::cvAnsiToUnicode(DataBuffer& out) const {
  toUtf16(BufferAccess(*this).content(), Psdk::getAnsiCodePage(), out);
}

void StringBuffer::cvUtf8ToUnicode(DataBuffer& out) const {
  toUtf16(BufferAccess(*this).content(), kUtf8Page, out);
}

// ---- Inside UTF-8 text ----

void StringBuffer::replaceCharUtf8(char from, char to) {
  if (from == '\0' || getSize() == 0) return;
  const BufferAccess self(*this);
  const char character[] = {from, '\0'};
  XString form;
  if (!form.setFromAnsi(character) || findBytes(self.text(), form.getUtf8()) == nullptr) return;
  if (isAscii(self.content())) {
    replaceEvery(self.data(), self.size(), from, to);
    return;
  }
  XString characters;
  characters.setSecure(self.isSecure());
  if (characters.appendUtf8N(self.data(), self.size()) && characters.replaceChar(from, to))
    self.replaceKeepingBlock(characters.getUtf8());
}

bool StringBuffer::qbDecode(LogBase& log) {
  ContentCoding coding;
  const BufferAccess self(*this);
  if (self.text().find('?') == std::string_view::npos) return true;
  if (holdsOneOf(self.text(), "?B?", "?b?")) coding.QB_DecodeToUtf8(*this, log);
  if (holdsOneOf(self.text(), "?Q?", "?q?")) coding.QB_DecodeToUtf8(*this, log);
  return true;
}
