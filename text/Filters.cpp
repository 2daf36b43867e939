// Character filters, letter case and line endings. Tested in tests/text/FiltersTest.cpp.

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Limits.h"
#include "core/internal/Scratch.h"
#include "support/ByteSet.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/ChangeBytes.h"
#include "text/internal/ReplaceMatches.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::changeBytes;
using dorvane::internal::kDigits;
using dorvane::internal::kLettersAndDigits;
using dorvane::internal::kLineEndings;
using dorvane::internal::kMaxContent;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::Matches;
using dorvane::internal::replaceEvery;
using dorvane::internal::Scratch;

namespace {

constexpr ByteSet kHighBytes = ByteSet::range(0x80, 0xFF);
constexpr ByteSet kTagBytes = kLettersAndDigits | kHighBytes | ByteSet::of("!-.:_");
constexpr ByteSet kFilenameBytes = ~ByteSet::of("*<>?|");
constexpr ByteSet kAsciiBytes = ~kHighBytes;
constexpr ByteSet kNumericBytes = kDigits | ByteSet::of(" ");
constexpr ByteSet kNonSpaceBytes = ~kWhiteSpace;
static_assert(kTagBytes.size() == 62 + 128 + 5 && kFilenameBytes.size() == 256 - 5);

// ---- Byte rules ----

constexpr bool isIn(unsigned char c, unsigned char first, unsigned char last) {
  return c >= first && c <= last;
}

constexpr auto kLowerByte = [](unsigned char c) {
  const bool upper = isIn(c, 'A', 'Z') || isIn(c, 0xC0, 0xDF);
  return static_cast<unsigned char>(c + (upper ? 0x20 : 0));
};

constexpr auto kUpperByte = [](unsigned char c) {
  const bool lower = isIn(c, 'a', 'z') || isIn(c, 0xE0, 0xFF);
  return static_cast<unsigned char>(c - (lower ? 0x20 : 0));
};

constexpr auto kAlphaNumByte = [](unsigned char c) {
  const auto low = static_cast<unsigned char>(c & 0x7FU);
  const bool isKept = isIn(low, '0', '9') || isIn(low, 'A', 'Z') || isIn(low, 'a', 'z');
  return isKept ? low : static_cast<unsigned char>('0');
};

// ---- Line endings ----

// Size of the line ending at the start of `rest`.
std::size_t lineEndingSize(std::string_view rest) {
  return rest.size() > 1 && rest[0] == '\r' && rest[1] == '\n' ? 2 : 1;
}

// Number of line endings that are not a CR LF.
unsigned int countLoneLineEndings(std::string_view text) {
  unsigned int count = 0;
  for (;;) {
    text.remove_prefix(kLineEndings.findFirstIn(text.data(), text.size()));
    if (text.empty()) return count;
    const std::size_t size = lineEndingSize(text);
    count += size == 1 ? 1 : 0;
    text.remove_prefix(size);
  }
}

// ---- Every byte of the content ----

// Removes the bytes that are not in the set.
void keepOnly(StringBuffer& buffer, const ByteSet& kept) {
  const BufferAccess self(buffer);
  const unsigned int n = self.size();
  if (n == 0) return;
  char* const bytes = self.data();  // so that storing a byte is not taken for changing the object
  auto write = static_cast<unsigned int>(kept.findFirstNotIn(bytes, n));
  for (unsigned int read = write; read < n; ++read) {
    const char c = bytes[read];
    bytes[write] = c;
    write += kept.contains(c) ? 1 : 0;
  }
  self.terminateAt(write);
}

// Removes a byte from `start` on; returns how often it was there.
unsigned int removeByte(StringBuffer& buffer, char ch, unsigned int start) {
  const BufferAccess self(buffer);
  const unsigned int n = self.size();
  if (start >= n) return 0;
  char* const bytes = self.data();
  const auto size = static_cast<unsigned int>(std::remove(bytes + start, bytes + n, ch) - bytes);
  self.terminateAt(size);
  return n - size;
}

unsigned int replaceByteIn(StringBuffer& buffer, char from, char to) {
  const BufferAccess self(buffer);
  return replaceEvery(self.data(), self.size(), from, to);
}

}  // namespace

// ---- Removing bytes ----

void StringBuffer::eliminateChar(char ch, unsigned int startIndex) noexcept {
  removeByte(*this, ch, startIndex);
}

unsigned int StringBuffer::removeCharOccurances(char ch) noexcept {
  return removeByte(*this, ch, 0);
}

unsigned int StringBuffer::drop8bitChars() noexcept {
  keepOnly(*this, kAsciiBytes);
  return getSize();
}

unsigned int StringBuffer::dropNonNumeric() noexcept {
  keepOnly(*this, kNumericBytes);
  return getSize();
}

unsigned int StringBuffer::removeFws() noexcept {
  keepOnly(*this, kNonSpaceBytes);
  return getSize();
}

unsigned int StringBuffer::removeInvalidXmlTagChars() noexcept {
  keepOnly(*this, kTagBytes);
  return getSize();
}

unsigned int StringBuffer::removeInvalidFilenameChars() noexcept {
  keepOnly(*this, kFilenameBytes);
  replaceByteIn(*this, '\\', '/');
  return getSize();
}

unsigned int StringBuffer::unescape() noexcept {
  const BufferAccess self(*this);
  const std::string_view all = self.content();
  char* const bytes = self.data();
  std::size_t write = 0;
  for (std::size_t read = 0; read < all.size();) {
    // A run reaches up to the next backslash; the byte behind that one begins the next run.
    const std::size_t run = std::min(all.find('\\', read + (read == 0 ? 0 : 1)), all.size()) - read;
    std::memmove(bytes + write, bytes + read, run);
    write += run;
    read += run + 1;
  }
  self.terminateAt(write);
  return getSize();
}

// ---- Replacing bytes ----

unsigned int StringBuffer::replaceCharAnsi(char from, char to) noexcept {
  return replaceByteIn(*this, from, to);
}

unsigned int StringBuffer::replaceNullsWithSpaces() noexcept {
  replaceByteIn(*this, '\0', ' ');
  return getSize();
}

void StringBuffer::replaceModBase64Chars() noexcept {
  replaceByteIn(*this, '_', '/');
  replaceByteIn(*this, '-', '+');
}

void StringBuffer::replaceBytesOf(const char* set, unsigned int n, char to) noexcept {
  const ByteSet bytes = ByteSet::of(std::string_view(set, n));
  const BufferAccess self(*this);
  char* const content = self.data();
  for (unsigned int i = 0, size = self.size(); i < size; ++i)
    content[i] = bytes.contains(content[i]) ? to : content[i];
}

void StringBuffer::toAlphaNumUsAscii() noexcept {
  const BufferAccess self(*this);
  changeBytes(self.data(), self.size(), kAlphaNumByte);
}

// ---- Letter case ----

void StringBuffer::toLowerCase() noexcept {
  const BufferAccess self(*this);
  changeBytes(self.data(), self.text().size(), kLowerByte);
}

void StringBuffer::toUpperCase() noexcept {
  const BufferAccess self(*this);
  changeBytes(self.data(), self.text().size(), kUpperByte);
}

void StringBuffer::toLowerFirstChar() noexcept {
  const BufferAccess self(*this);
  changeBytes(self.data(), std::min(self.size(), 1U), kLowerByte);
}

bool StringBuffer::toProperCase() noexcept {
  constexpr ByteSet kSeparators = ByteSet::of("\t\n -");
  const BufferAccess self(*this);
  char* const bytes = self.data();
  bool capitalise = true;
  bool pending = false;
  for (std::size_t i = 0, n = self.text().size(); i < n; ++i) {
    if (kSeparators.contains(bytes[i])) {
      pending = true;
    } else if (pending) {
      pending = false;
      capitalise = true;
    }
    if (capitalise) changeBytes(bytes + i, 1, kUpperByte);
    capitalise = false;
  }
  return capitalise;
}

// ---- Lines ----

unsigned int StringBuffer::toCRLF() {
  std::string_view rest = BufferAccess(*this).content();
  const unsigned int count = countLoneLineEndings(rest);
  if (count == 0) return 0;
  Scratch result(*this);
  const BufferAccess out(result);
  // With room for all of it in one step, the result is stored as clear() and appendN() store it.
  if (!out.makeRoom(std::uint64_t{rest.size()} + count)) return 0;
  for (;;) {
    const std::size_t run = kLineEndings.findFirstIn(rest.data(), rest.size());
    out.append(rest.substr(0, run));
    rest.remove_prefix(run);
    if (rest.empty()) break;
    out.append("\r\n");
    rest.remove_prefix(lineEndingSize(rest));
  }
  out.dropTrailingNuls();
  takeSb(result);
  return count;
}

unsigned int StringBuffer::toLF() { return replaceAllWithUchar("\r\n", '\n'); }

void StringBuffer::indent(char ch, unsigned int count) {
  const BufferAccess self(*this);
  Scratch lineFeedAndPad(*this);
  if (!lineFeedAndPad.appendChar('\n') || !lineFeedAndPad.appendCharN(ch, count)) return;
  const std::string_view indented = BufferAccess(lineFeedAndPad).text();
  const std::size_t padSize = indented.size() - 1;
  // Too many lines to fit are refused before any is indented.
  const std::string_view lines = self.text();
  const auto lineFeeds = static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), '\n'));
  if (self.size() + (lineFeeds + 1) * padSize > kMaxContent) return;
  if (!prepend(indented.data() + 1)) return;

  const std::string_view old = self.text();
  const Matches matches(old, 1, [](std::string_view rest) { return rest.find('\n'); });
  if (matches.none()) return;
  Scratch out(*this);
  BufferAccess(out).reserve(old.size() + lineFeeds * padSize);
  const std::uint64_t replaced = matches.appendReplaced(indented, out);
  if (out.getSize() == old.size() + replaced * padSize) {
    takeSb(out);
  } else {
    // A pad did not fit: the first one goes again.
    const std::string_view unpadded = self.content().substr(padSize);
    std::memmove(self.data(), unpadded.data(), unpadded.size());
    self.terminateAt(unpadded.size());
  }
}
