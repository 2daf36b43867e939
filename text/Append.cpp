// Appending characters, numbers and formatted fragments, at the end, the start or a position.
// All of it grows by the one growth rule of the storage. Tested in tests/text/AppendTest.cpp.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"
#include "support/dvFormat.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/Search.h"
#include "text/internal/StableText.h"

using dorvane::internal::findBytes;
using dorvane::internal::kUtf16LePage;
using dorvane::internal::kUtf8Page;
using dorvane::internal::StableText;

namespace {

constexpr unsigned int kMostRepeats = 0xC00000;

using FormatHex = unsigned int (*)(unsigned int value, char* digits);

FormatHex hexFormatter(bool lowercase, unsigned int width) {
  switch (width) {
    case 2:
      return lowercase ? dv_02x : dv_02X;
    case 4:
      return lowercase ? dv_04x : dv_04X;
    case 8:
      return lowercase ? dv_08x : dv_08X;
    default:
      return lowercase ? dv_x : dv_X;
  }
}

// Number of bytes before the 0 unit. The units may stand at an odd address.
std::size_t sizeOfUnits(const unsigned char* bytes) {
  std::size_t n = 0;
  while (bytes[n] != 0 || bytes[n + 1] != 0) n += 2;
  return n;
}

}  // namespace

// ---- Numbers ----

bool StringBuffer::append(int value) {
  char digits[12];
  return appendBytes(digits, dv_int_to_str(value, digits));
}

bool StringBuffer::append(unsigned int value) { return appendInt64(value); }

bool StringBuffer::appendInt64(long long value) {
  char digits[21];
  return appendBytes(digits, dv_int64_to_str(value, digits));
}

bool StringBuffer::appendHex(unsigned int value, bool lowercase, unsigned int width) {
  char digits[9];
  return appendBytes(digits, hexFormatter(lowercase, width)(value, digits));
}

// ---- Characters ----

bool StringBuffer::appendUChar(unsigned char c) { return appendChar(static_cast<char>(c)); }

bool StringBuffer::appendChar2(char c1, char c2) {
  const char bytes[] = {c1, c2};
  return appendBytes(bytes, sizeof bytes);
}

bool StringBuffer::appendChar3(char c1, char c2, char c3) {
  const char bytes[] = {c1, c2, c3};
  return appendBytes(bytes, sizeof bytes);
}

bool StringBuffer::appendCharN(char c, unsigned int count) {
  if (count == 0 || count > kMostRepeats) return true;
  if (!makeRoom(count)) return false;
  std::memset(m_data + m_length, c, count);
  endAt(m_length + count);
  return true;
}

bool StringBuffer::appendLineEnding() { return appendChar('\n'); }

// ---- Texts ----

bool StringBuffer::append2(const char* first, const char* second) {
  return append3(first, second, nullptr);
}

bool StringBuffer::append3(const char* first, const char* second, const char* third) {
  const StableText texts[] = {
      {first, ownsAddress(first)}, {second, ownsAddress(second)}, {third, ownsAddress(third)}};
  for (const StableText& text : texts)
    if (!text.ok() || (!text.empty() && !appendBytes(text.view()))) return false;
  return true;
}

bool StringBuffer::appendMinSize(const char* text) {
  return text == nullptr || *text == '\0' || appendExactFit(text, std::strlen(text));
}

bool StringBuffer::appendMinSize(const StringBuffer& other) {
  if (!other.hasLiveWord()) return false;
  if (other.contentSize() == 0) return true;
  if (!appendExactFit(other.m_data, other.contentSize())) return false;
  dropTrailingNuls();
  return true;
}

// ---- Formatted fragments ----

bool StringBuffer::append_s(const char* format, const char* value) {
  return appendFormat(format, "%s", value);
}

bool StringBuffer::append_d(const char* format, int value) {
  char digits[12];
  dv_int_to_str(value, digits);
  return appendFormat(format, "%d", digits);
}

bool StringBuffer::appendFormat(const char* format, std::string_view placeholder,
                                const char* value) {
  const StableText stableFormat(format, ownsAddress(format));
  const StableText stableValue(value, ownsAddress(value));
  if (!stableFormat.ok() || !stableValue.ok()) return false;
  const std::string_view all = stableFormat.view();
  const char* const match = findBytes(all, placeholder);
  if (match == nullptr || value == nullptr) return appendPieces({all});
  const auto at = static_cast<std::size_t>(match - all.data());
  return appendPieces({all.substr(0, at), stableValue.view(), all.substr(at + placeholder.size())});
}

bool StringBuffer::appendPieces(std::initializer_list<std::string_view> pieces) {
  std::uint64_t total = 0;
  for (const std::string_view piece : pieces) total += piece.size();
  if (total == 0) return true;
  if (!makeRoom(total)) return false;
  for (const std::string_view piece : pieces) appendBytes(piece);
  return true;
}

bool StringBuffer::appendNameValue(const char* name, const char* value) {
  const StableText stableValue(value, ownsAddress(value));
  if (!stableValue.ok() || !append2(name, "=\"")) return false;
  std::string_view rest = stableValue.view();
  const auto quotes = static_cast<std::uint64_t>(std::count(rest.begin(), rest.end(), '"'));
  // The value grows the buffer as one piece.
  if (!rest.empty() && !makeRoom(rest.size() + quotes)) return false;
  while (!rest.empty()) {
    const std::size_t run = std::min(rest.find('"'), rest.size());
    appendBytes(rest.substr(0, run));
    rest.remove_prefix(run);
    if (rest.empty()) break;
    appendBytes("\\\"", 2);
    rest.remove_prefix(1);
  }
  return appendChar('"');
}

bool StringBuffer::appendNameIntValue(const char* name, int value) {
  return append2(name, "=") && append(value);
}

bool StringBuffer::appendNullTerminatedUnicodeAsUtf8(const unsigned short* units) {
  if (units == nullptr) return true;
  const auto* bytes = reinterpret_cast<const unsigned char*>(units);
  const std::size_t n = sizeOfUnits(bytes);
  if (n > std::numeric_limits<unsigned int>::max()) return false;
  EncodingConvert convert;
  DataBuffer utf8;
  utf8.setSecure(m_secure);
  LogNull log;
  convert.EncConvert(kUtf16LePage, kUtf8Page, bytes, static_cast<unsigned int>(n), utf8, log);
  return append(utf8);
}

// ---- At the start, at a position ----

bool StringBuffer::prepend(const char* text) { return text == nullptr || prependBytes(text); }

bool StringBuffer::prependBytes(std::string_view bytes) {
  if (m_length == 0) return bytes.empty() || appendBytes(bytes);
  const StableText prefix(bytes.data(), bytes.size(), ownsAddress(bytes.data()));
  if (prefix.empty()) return true;
  const std::size_t n = prefix.view().size();
  if (!prefix.ok() || !makeRoom(n)) return false;
  std::memmove(m_data + n, m_data, m_length);
  std::memcpy(m_data, prefix.view().data(), n);
  endAt(m_length + static_cast<unsigned int>(n));
  return true;
}

bool StringBuffer::insertAt(const StringBuffer& other, unsigned int position) {
  if (other.m_length == 0) return true;
  if (!makeRoom(other.contentSize())) return false;
  if (position == 0) return other.hasLiveWord() && prependBytes(other.text());
  if (position >= m_length) return append(other);

  const std::string_view behind = content().substr(position);
  StringBuffer tail;
  tail.m_secure = m_secure;
  if (!tail.appendBytes(behind.substr(0, behind.find('\0')))) return false;
  endAt(position);
  return append(other) && append(tail);
}
