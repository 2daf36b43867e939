// Character filters, letter case and line endings. Tested in tests/text/FiltersTest.cpp.

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/Limits.h"
#include "support/ByteSet.h"
#include "support/internal/Search.h"
#include "text/internal/ByteClasses.h"
#include "text/internal/ChangeBytes.h"
#include "text/internal/ReplaceMatches.h"

using dorvane::internal::ByteSet;
using dorvane::internal::changeBytes;
using dorvane::internal::findBytes;
using dorvane::internal::kDigits;
using dorvane::internal::kLettersAndDigits;
using dorvane::internal::kLineEndings;
using dorvane::internal::kMaxContent;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::replaceMatches;

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

}  // namespace

// ---- Removing bytes ----

unsigned int StringBuffer::keepOnly(const ByteSet& kept, unsigned int start) noexcept {
  const unsigned int n = contentSize();
  if (start >= n) return 0;
  char* const bytes = m_data;  // so that storing a byte is not taken for changing the object
  unsigned int write =
      start + static_cast<unsigned int>(kept.findFirstNotIn(bytes + start, n - start));
  for (unsigned int read = write; read < n; ++read) {
    const char c = bytes[read];
    bytes[write] = c;
    write += kept.contains(c) ? 1 : 0;
  }
  endAt(write);
  return n - write;
}

unsigned int StringBuffer::removeByte(char ch, unsigned int start) noexcept {
  const unsigned int n = contentSize();
  if (start >= n) return 0;
  endAt(static_cast<unsigned int>(std::remove(m_data + start, m_data + n, ch) - m_data));
  return n - m_length;
}

void StringBuffer::eliminateChar(char ch, unsigned int startIndex) noexcept {
  removeByte(ch, startIndex);
}

unsigned int StringBuffer::removeCharOccurances(char ch) noexcept { return removeByte(ch, 0); }

unsigned int StringBuffer::drop8bitChars() noexcept {
  keepOnly(kAsciiBytes, 0);
  return m_length;
}

unsigned int StringBuffer::dropNonNumeric() noexcept {
  keepOnly(kNumericBytes, 0);
  return m_length;
}

unsigned int StringBuffer::removeFws() noexcept {
  keepOnly(kNonSpaceBytes, 0);
  return m_length;
}

unsigned int StringBuffer::removeInvalidXmlTagChars() noexcept {
  keepOnly(kTagBytes, 0);
  return m_length;
}

unsigned int StringBuffer::removeInvalidFilenameChars() noexcept {
  keepOnly(kFilenameBytes, 0);
  replaceByte('\\', '/');
  return m_length;
}

unsigned int StringBuffer::unescape() noexcept {
  const std::string_view all = content();
  std::size_t write = 0;
  for (std::size_t read = 0; read < all.size();) {
    // A run reaches up to the next backslash; the byte behind that one begins the next run.
    const std::size_t run = std::min(all.find('\\', read + (read == 0 ? 0 : 1)), all.size()) - read;
    std::memmove(m_data + write, m_data + read, run);
    write += run;
    read += run + 1;
  }
  endAt(static_cast<unsigned int>(write));
  return m_length;
}

// ---- Replacing bytes ----

unsigned int StringBuffer::replaceCharAnsi(char from, char to) noexcept {
  return replaceByte(from, to);
}

unsigned int StringBuffer::replaceNullsWithSpaces() noexcept {
  replaceByte('\0', ' ');
  return m_length;
}

void StringBuffer::replaceModBase64Chars() noexcept {
  replaceByte('_', '/');
  replaceByte('-', '+');
}

void StringBuffer::replaceBytesOf(const char* set, unsigned int n, char to) noexcept {
  const ByteSet bytes = ByteSet::of(std::string_view(set, n));
  char* const content = m_data;
  for (unsigned int i = 0, size = contentSize(); i < size; ++i)
    content[i] = bytes.contains(content[i]) ? to : content[i];
}

void StringBuffer::toAlphaNumUsAscii() noexcept {
  changeBytes(m_data, contentSize(), kAlphaNumByte);
}

// ---- Letter case ----

void StringBuffer::toLowerCase() noexcept { changeBytes(m_data, text().size(), kLowerByte); }

void StringBuffer::toUpperCase() noexcept { changeBytes(m_data, text().size(), kUpperByte); }

void StringBuffer::toLowerFirstChar() noexcept {
  changeBytes(m_data, std::min(contentSize(), 1U), kLowerByte);
}

bool StringBuffer::toProperCase() noexcept {
  constexpr ByteSet kSeparators = ByteSet::of("\t\n -");
  bool capitalise = true;
  bool pending = false;
  for (std::size_t i = 0, n = text().size(); i < n; ++i) {
    if (kSeparators.contains(m_data[i])) {
      pending = true;
    } else if (pending) {
      pending = false;
      capitalise = true;
    }
    if (capitalise) changeBytes(m_data + i, 1, kUpperByte);
    capitalise = false;
  }
  return capitalise;
}

// ---- Lines ----

unsigned int StringBuffer::toCRLF() {
  std::string_view rest = content();
  const unsigned int count = countLoneLineEndings(rest);
  if (count == 0) return 0;
  StringBuffer out;
  out.m_secure = m_secure;
  // With room for all of it in one step, the result is stored as clear() and appendN() store it.
  if (!out.makeRoom(std::uint64_t{rest.size()} + count)) return 0;
  for (;;) {
    const std::size_t run = kLineEndings.findFirstIn(rest.data(), rest.size());
    out.appendBytes(rest.substr(0, run));
    rest.remove_prefix(run);
    if (rest.empty()) break;
    out.appendBytes("\r\n", 2);
    rest.remove_prefix(lineEndingSize(rest));
  }
  out.dropTrailingNuls();
  takeSb(out);
  return count;
}

unsigned int StringBuffer::toLF() { return replaceAllWithUchar("\r\n", '\n'); }

void StringBuffer::indent(char ch, unsigned int count) {
  StringBuffer lineFeedAndPad;
  lineFeedAndPad.m_secure = m_secure;
  if (!lineFeedAndPad.appendChar('\n') || !lineFeedAndPad.appendCharN(ch, count)) return;
  const std::string_view indented = lineFeedAndPad.text();
  const std::size_t padSize = indented.size() - 1;
  // Too many lines to fit are refused before any is indented.
  const std::string_view lines = text();
  const auto lineFeeds = static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), '\n'));
  if (contentSize() + (lineFeeds + 1) * padSize > kMaxContent) return;
  if (!prepend(indented.data() + 1)) return;

  const std::string_view old = text();
  StringBuffer out;
  out.m_secure = m_secure;
  const auto nextLineFeed = [](std::string_view rest) { return findBytes(rest, "\n"); };
  const std::uint64_t replaced =
      replaceMatches(old, 1, indented, nextLineFeed(old), nextLineFeed, out);
  if (replaced == 0) return;
  if (out.m_length == old.size() + replaced * padSize) {
    takeSb(out);
  } else {
    // A pad did not fit: the first one goes again.
    std::memmove(m_data, m_data + padSize, m_length - padSize);
    endAt(m_length - static_cast<unsigned int>(padSize));
  }
}
