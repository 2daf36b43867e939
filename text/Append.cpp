// Appending characters, numbers and formatted fragments, at the end, the start or a position.
// All of it grows by the one growth rule of the storage. Tested in tests/text/AppendTest.cpp.

#include <limits>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"
#include "support/dvFormat.h"
#include "support/internal/CodePageNumbers.h"
#include "text/internal/StableText.h"

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
    if (!text.ok()) return false;
  for (const StableText& text : texts)
    if (!text.empty() && !appendBytes(text.view())) return false;
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
  StringBuffer filled;
  filled.m_secure = m_secure;
  if (!filled.append(format)) return false;
  filled.replaceFirstOccurance("%s", value);
  return append(filled);
}

bool StringBuffer::append_d(const char* format, int value) {
  StringBuffer filled;
  filled.m_secure = m_secure;
  if (!filled.append(format)) return false;
  char digits[12];
  dv_int_to_str(value, digits);
  filled.replaceFirstOccurance("%d", digits);
  return append(filled);
}

bool StringBuffer::appendNameValue(const char* name, const char* value) {
  const StableText stableValue(value, ownsAddress(value));
  if (!stableValue.ok() || !append2(name, "=\"")) return false;
  const std::string_view bytes = stableValue.view();
  if (bytes.find('"') == std::string_view::npos)
    return (bytes.empty() || appendBytes(bytes)) && appendChar('"');
  StringBuffer escaped;
  escaped.m_secure = m_secure;
  if (!escaped.appendBytes(bytes)) return false;
  escaped.replaceAllOccurances("\"", "\\\"");
  return append(escaped) && appendChar('"');
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

bool StringBuffer::prepend(const char* text) {
  if (m_length == 0) return append(text);
  const StableText prefix(text, ownsAddress(text));
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
  if (position == 0) return other.hasLiveWord() && prepend(other.m_data);
  if (position >= m_length) return append(other);

  StringBuffer tail;
  tail.m_secure = m_secure;
  if (!tail.append(m_data + position)) return false;
  endAt(position);
  return append(other) && append(tail);
}
