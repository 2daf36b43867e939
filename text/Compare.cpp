// Questions about the content: equality and order, prefixes and suffixes, searches, byte classes.
// Tested in tests/text/CompareTest.cpp.

#include <algorithm>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/dvString.h"
#include "support/internal/Ascii.h"
#include "support/internal/Search.h"
#include "text/internal/ByteClasses.h"

using dorvane::internal::asciiLower;
using dorvane::internal::ByteSet;
using dorvane::internal::findBytes;
using dorvane::internal::findBytesNoCase;
using dorvane::internal::isAscii;
using dorvane::internal::kAddressBytes;
using dorvane::internal::kDigits;
using dorvane::internal::kLetters;
using dorvane::internal::kLowerLetters;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::kWordBytes;

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

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

int offsetOf(const char* match, std::string_view text) {
  if (match == nullptr || match - text.data() > std::numeric_limits<int>::max()) return -1;
  return static_cast<int>(match - text.data());
}

// The bytes that a `limit` of a class test asks for: 0 means all.
std::string_view limited(std::string_view content, unsigned int limit) {
  return limit == 0 ? content : content.substr(0, limit);
}

bool allIn(const ByteSet& set, std::string_view bytes) {
  return set.findFirstNotIn(bytes.data(), bytes.size()) == bytes.size();
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
  if (text == nullptr) return m_length == 0;
  return compareWithText(content(), text, kNoLimit, compareExact) == 0;
}

bool StringBuffer::equals(const StringBuffer& other) const noexcept {
  return m_length == other.m_length &&
         compareExact(m_data, other.m_data, std::min(contentSize(), other.contentSize())) == 0;
}

bool StringBuffer::equalsIgnoreCase(const char* text) const noexcept {
  if (text == nullptr) return m_length == 0;
  return compareWithText(content(), text, kNoLimit, compareFolded) == 0;
}

bool StringBuffer::equalsIgnoreCase(const StringBuffer& other) const noexcept {
  return m_length == other.m_length &&
         compareFolded(m_data, other.m_data, std::min(contentSize(), other.contentSize())) == 0;
}

bool StringBuffer::equalsIgnoreCase2(const char* text, unsigned int n) const noexcept {
  if (m_length != n) return false;
  if (text == nullptr || n == 0) return text == nullptr && n == 0;
  return equalsIgnoreCase(text);
}

int StringBuffer::compare(const char* text) const noexcept {
  return compareWithText(content(), text == nullptr ? "" : text, kNoLimit, compareExact);
}

int StringBuffer::compareNoCase(const char* text) const noexcept {
  return compareWithText(content(), text == nullptr ? "" : text, kNoLimit, compareFolded);
}

// ---- Prefixes and suffixes ----

bool StringBuffer::beginsWith(const char* text) const noexcept {
  return beginsWithText(content(), text, compareExact);
}

bool StringBuffer::beginsWithN(const char* text, unsigned int n) const noexcept {
  return beginsWithBytes(content(), text, n, compareExact);
}

bool StringBuffer::beginsWithIgnoreCase(const char* text) const noexcept {
  return beginsWithText(content(), text, compareFolded);
}

bool StringBuffer::beginsWithIgnoreCaseN(const char* text, unsigned int n) const noexcept {
  return beginsWithBytes(content(), text, n, compareFolded);
}

bool StringBuffer::endsWith(const char* text) const noexcept {
  return endsWithText(content(), text, compareExact);
}

bool StringBuffer::endsWithIgnoreCase(const char* text) const noexcept {
  return endsWithText(content(), text, compareFolded);
}

// ---- Searches ----

bool StringBuffer::containsSubstring(const char* needle) const noexcept {
  return needle != nullptr && findBytes(text(), needle) != nullptr;
}

bool StringBuffer::containsSubstringNoCase(const char* needle) const noexcept {
  return needle != nullptr && findBytesNoCase(text(), needle) != nullptr;
}

int StringBuffer::indexOf(const char* needle) const noexcept {
  return needle == nullptr ? -1 : offsetOf(findBytes(text(), needle), content());
}

int StringBuffer::indexOfNoCase(const char* needle) const noexcept {
  return needle == nullptr ? -1 : offsetOf(findBytesNoCase(text(), needle), content());
}

char* StringBuffer::findSubstr(const char* needle) const noexcept {
  const char* const match = needle == nullptr ? nullptr : findBytes(text(), needle);
  return match == nullptr ? nullptr : m_data + (match - m_data);
}

bool StringBuffer::containsChar(char c) const noexcept {
  return c != '\0' && text().find(c) != std::string_view::npos;
}

char* StringBuffer::findLastChar(char c) const noexcept {
  const std::size_t at = content().rfind(c);
  return at == std::string_view::npos ? nullptr : m_data + at;
}

char StringBuffer::charAt(unsigned int index) const noexcept {
  return index < contentSize() ? m_data[index] : '\0';
}

char StringBuffer::lastChar() const noexcept {
  const unsigned int n = contentSize();
  return n == 0 ? '\0' : m_data[n - 1];
}

bool StringBuffer::matches(const char* pattern, bool caseSensitive) const noexcept {
  return pattern != nullptr && withTerminatedText([=](const char* text) {
           return wildcardMatch(text, pattern, caseSensitive);
         });
}

unsigned int StringBuffer::countCharOccurances(char ch) const noexcept {
  if (static_cast<signed char>(ch) < 0) return 0;
  const std::string_view all = content();
  return static_cast<unsigned int>(std::count(all.begin(), all.end(), ch));
}

// ---- Byte classes ----

bool StringBuffer::is7bit(unsigned int limit) const noexcept {
  return isAscii(limited(content(), limit));
}

bool StringBuffer::is7bitAlpha(unsigned int limit) const noexcept {
  return allIn(kLetters, limited(content(), limit));
}

bool StringBuffer::allWhitespace() const noexcept { return allIn(kWhiteSpace, content()); }

bool StringBuffer::containsAnyOf(const char* set) const noexcept {
  if (set == nullptr) return false;
  const unsigned int n = contentSize();
  return ByteSet::of(set).findFirstIn(m_data, n) != n;
}

bool StringBuffer::containsCharInRange(char low, char high) const noexcept {
  const auto first = static_cast<unsigned char>(low);
  const auto last = static_cast<unsigned char>(high);
  const unsigned int n = contentSize();
  return ByteSet::range(first, last).findFirstIn(m_data, n) != n;
}

bool StringBuffer::isDecimalNumber() const noexcept { return allIn(kDigits, content()); }

bool StringBuffer::isAllCaps() const noexcept { return allIn(kCapitalTextBytes, content()); }

void StringBuffer::countImprobableAnsiChars(unsigned int& high,
                                            unsigned int& improbable) const noexcept {
  high = 0;
  improbable = 0;
  for (const char c : content()) {
    high += static_cast<unsigned char>(c) >= 0x80 ? 1 : 0;
    improbable += kImprobable.contains(c) ? 1 : 0;
  }
}

bool StringBuffer::isAlphaNumeric(int /*ignored*/, char c) noexcept {
  return kWordBytes.contains(c);
}

bool StringBuffer::isCidChar(char c) noexcept { return kAddressBytes.contains(c); }
