// Questions about the content: equality and order, prefixes and suffixes, searches, byte classes.
// Tested in tests/text/CompareTest.cpp.

#include <algorithm>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ByteSet.h"
#include "support/dvString.h"
#include "support/internal/Ascii.h"
#include "support/internal/ByteClasses.h"
#include "support/internal/Search.h"

using dorvane::internal::asciiLower;
using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::findOffset;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::isAscii;
using dorvane::internal::kAddressBytes;
using dorvane::internal::kDigits;
using dorvane::internal::kLetters;
using dorvane::internal::kLowerLetters;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::kWordBytes;

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kNone = std::string_view::npos;

std::string_view contentOf(const StringBuffer& buffer) { return BufferAccess(buffer).content(); }

std::string_view textOf(const StringBuffer& buffer) { return BufferAccess(buffer).text(); }

// Number of bytes at the start of two texts of n bytes that are equal but for the case of ASCII
// letters. Whole blocks are compared without a branch, which compilers make vector instructions.
std::size_t equalFolded(const char* a, const char* b, std::size_t n) {
  constexpr std::size_t kBlock = 32;
  const auto lower = [](char c) { return asciiLower(static_cast<unsigned char>(c)); };
  std::size_t i = 0;
  for (; i + kBlock <= n; i += kBlock) {
    unsigned char difference = 0;
    for (std::size_t k = i; k < i + kBlock; ++k)
      difference = static_cast<unsigned char>(difference | (lower(a[k]) ^ lower(b[k])));
    if (difference != 0) break;
  }
  while (i < n && lower(a[i]) == lower(b[i])) ++i;
  return i;
}

// Like strncmp(), with ASCII letters folded. The first n bytes of `a` are there, also behind a NUL.
int compareFolded(const char* a, const char* b, std::size_t n) {
  const void* const nul = std::memchr(b, 0, n);
  const std::size_t size =
      nul == nullptr ? n : static_cast<std::size_t>(static_cast<const char*>(nul) - b);
  const std::size_t equal = equalFolded(a, b, size);
  if (equal == n) return 0;
  const unsigned char x = asciiLower(static_cast<unsigned char>(a[equal]));
  const unsigned char y = asciiLower(static_cast<unsigned char>(b[equal]));
  if (x == y) return 0;
  return x < y ? -1 : 1;
}

int compareExact(const char* a, const char* b, std::size_t n) { return std::strncmp(a, b, n); }

using CompareN = int (*)(const char*, const char*, std::size_t);

// Compares the first n bytes of a content and a text as `compareN` does. Behind the content stands
// a NUL, whatever its storage holds there.
int compareWithText(std::string_view content, const char* text, std::size_t n, CompareN compareN) {
  if (n <= content.size()) return compareN(content.data(), text, n);
  const int order = compareN(content.data(), text, content.size());
  if (order != 0 || content.find('\0') != std::string_view::npos) return order;
  return text[content.size()] == '\0' ? 0 : -1;
}

bool beginsWithText(std::string_view content, const char* text, CompareN compareN) {
  return text != nullptr && compareWithText(content, text, std::strlen(text), compareN) == 0;
}

bool beginsWithBytes(std::string_view content, const char* text, unsigned int n,
                     CompareN compareN) {
  return text != nullptr && compareWithText(content, text, n, compareN) == 0;
}

bool endsWithText(std::string_view content, const char* text, CompareN compareN) {
  if (text == nullptr) return false;
  const std::size_t n = std::strlen(text);
  return n <= content.size() &&
         compareWithText(content.substr(content.size() - n), text, n, compareN) == 0;
}

// An offset as callers see it: -1 also for one that no int can hold.
int asIndex(std::size_t offset) {
  return offset > std::numeric_limits<int>::max() ? -1 : static_cast<int>(offset);
}

bool haveEqualText(const StringBuffer& a, const StringBuffer& b, CompareN compareN) {
  if (a.getSize() != b.getSize()) return false;
  const std::string_view x = contentOf(a);
  const std::string_view y = contentOf(b);
  return compareN(x.data(), y.data(), std::min(x.size(), y.size())) == 0;
}

// The bytes that a `limit` of a class test asks for: 0 means all.
std::string_view limited(std::string_view content, unsigned int limit) {
  return limit == 0 ? content : content.substr(0, limit);
}

bool allIn(const ByteSet& set, std::string_view bytes) {
  return set.findFirstNotIn(bytes.data(), bytes.size()) == bytes.size();
}

bool anyIn(const ByteSet& set, std::string_view bytes) {
  return set.findFirstIn(bytes.data(), bytes.size()) != bytes.size();
}

// Deliberate: digits and punctuation are as good as capitals.
constexpr ByteSet kCapitalTextBytes = ~kLowerLetters;

// Deliberate: not every rare byte of Western text is here (0xA9 and 0xAE are not, for example).
constexpr ByteSet kImprobable = ByteSet::of("\x81\x83\xAF") | ByteSet::range(0x85, 0x8C) |
                                ByteSet::range(0xA4, 0xA8) | ByteSet::range(0xAA, 0xAD) |
                                ByteSet::range(0xB0, 0xBF);
static_assert(kImprobable.size() == 36);

}  // namespace

// ---- Equality and order ----

bool StringBuffer::equals(const char* text) const noexcept {
  if (text == nullptr) return getSize() == 0;
  return compareWithText(contentOf(*this), text, kNoLimit, compareExact) == 0;
}

bool StringBuffer::equals(const StringBuffer& other) const noexcept {
  return haveEqualText(*this, other, compareExact);
}

bool StringBuffer::equalsIgnoreCase(const char* text) const noexcept {
  if (text == nullptr) return getSize() == 0;
  return compareWithText(contentOf(*this), text, kNoLimit, compareFolded) == 0;
}

bool StringBuffer::equalsIgnoreCase(const StringBuffer& other) const noexcept {
  return haveEqualText(*this, other, compareFolded);
}

bool StringBuffer::equalsIgnoreCase2(const char* text, unsigned int n) const noexcept {
  if (getSize() != n) return false;
  if (text == nullptr || n == 0) return text == nullptr && n == 0;
  return equalsIgnoreCase(text);
}

int StringBuffer::compare(const char* text) const noexcept {
  return compareWithText(contentOf(*this), text == nullptr ? "" : text, kNoLimit, compareExact);
}

int StringBuffer::compareNoCase(const char* text) const noexcept {
  return compareWithText(contentOf(*this), text == nullptr ? "" : text, kNoLimit, compareFolded);
}

// ---- Prefixes and suffixes ----

bool StringBuffer::beginsWith(const char* text) const noexcept {
  return beginsWithText(contentOf(*this), text, compareExact);
}

bool StringBuffer::beginsWithN(const char* text, unsigned int n) const noexcept {
  return beginsWithBytes(contentOf(*this), text, n, compareExact);
}

bool StringBuffer::beginsWithIgnoreCase(const char* text) const noexcept {
  return beginsWithText(contentOf(*this), text, compareFolded);
}

bool StringBuffer::beginsWithIgnoreCaseN(const char* text, unsigned int n) const noexcept {
  return beginsWithBytes(contentOf(*this), text, n, compareFolded);
}

bool StringBuffer::endsWith(const char* text) const noexcept {
  return endsWithText(contentOf(*this), text, compareExact);
}

bool StringBuffer::endsWithIgnoreCase(const char* text) const noexcept {
  return endsWithText(contentOf(*this), text, compareFolded);
}

// ---- Searches ----

bool StringBuffer::containsSubstring(const char* needle) const noexcept {
  return needle != nullptr && findOffset(textOf(*this), needle) != kNone;
}

bool StringBuffer::containsSubstringNoCase(const char* needle) const noexcept {
  return needle != nullptr && findOffsetNoCase(textOf(*this), needle) != kNone;
}

int StringBuffer::indexOf(const char* needle) const noexcept {
  return needle == nullptr ? -1 : asIndex(findOffset(textOf(*this), needle));
}

int StringBuffer::indexOfNoCase(const char* needle) const noexcept {
  return needle == nullptr ? -1 : asIndex(findOffsetNoCase(textOf(*this), needle));
}

char* StringBuffer::findSubstr(const char* needle) const noexcept {
  const BufferAccess self(*this);
  const std::size_t at = needle == nullptr ? kNone : findOffset(self.text(), needle);
  return at == kNone ? nullptr : self.data() + at;
}

bool StringBuffer::containsChar(char c) const noexcept {
  return c != '\0' && textOf(*this).find(c) != kNone;
}

char* StringBuffer::findLastChar(char c) const noexcept {
  const BufferAccess self(*this);
  const std::size_t at = self.content().rfind(c);
  return at == kNone ? nullptr : self.data() + at;
}

char StringBuffer::charAt(unsigned int index) const noexcept {
  const BufferAccess self(*this);
  return index < self.size() ? self.data()[index] : '\0';
}

char StringBuffer::lastChar() const noexcept {
  const BufferAccess self(*this);
  const unsigned int n = self.size();
  return n == 0 ? '\0' : self.data()[n - 1];
}

bool StringBuffer::matches(const char* pattern, bool caseSensitive) const noexcept {
  return pattern != nullptr && BufferAccess(*this).withTerminatedText([=](const char* text) {
    return wildcardMatch(text, pattern, caseSensitive);
  });
}

unsigned int StringBuffer::countCharOccurances(char ch) const noexcept {
  if (static_cast<signed char>(ch) < 0) return 0;
  const std::string_view all = contentOf(*this);
  return static_cast<unsigned int>(std::count(all.begin(), all.end(), ch));
}

// ---- Byte classes ----

bool StringBuffer::is7bit(unsigned int limit) const noexcept {
  return isAscii(limited(contentOf(*this), limit));
}

bool StringBuffer::is7bitAlpha(unsigned int limit) const noexcept {
  return allIn(kLetters, limited(contentOf(*this), limit));
}

bool StringBuffer::allWhitespace() const noexcept { return allIn(kWhiteSpace, contentOf(*this)); }

bool StringBuffer::containsAnyOf(const char* set) const noexcept {
  if (set == nullptr) return false;
  return anyIn(ByteSet::of(set), contentOf(*this));
}

bool StringBuffer::containsCharInRange(char low, char high) const noexcept {
  const auto first = static_cast<unsigned char>(low);
  const auto last = static_cast<unsigned char>(high);
  return anyIn(ByteSet::range(first, last), contentOf(*this));
}

bool StringBuffer::isDecimalNumber() const noexcept { return allIn(kDigits, contentOf(*this)); }

bool StringBuffer::isAllCaps() const noexcept { return allIn(kCapitalTextBytes, contentOf(*this)); }

void StringBuffer::countImprobableAnsiChars(unsigned int& high,
                                            unsigned int& improbable) const noexcept {
  high = 0;
  improbable = 0;
  for (const char c : contentOf(*this)) {
    high += static_cast<unsigned char>(c) >= 0x80 ? 1 : 0;
    improbable += kImprobable.contains(c) ? 1 : 0;
  }
}

bool StringBuffer::isAlphaNumeric(int /*ignored*/, char c) noexcept {
  return kWordBytes.contains(c);
}

bool StringBuffer::isCidChar(char c) noexcept { return kAddressBytes.contains(c); }
