// Appending characters, numbers and formatted fragments, at the end, the start or a position.
// All of it grows by the one growth rule of the storage. Tested in tests/text/AppendTest.cpp.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogNull.h"
#include "support/dvFormat.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/Search.h"
#include "text/internal/StableText.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::findBytes;
using dorvane::internal::kUtf16LePage;
using dorvane::internal::kUtf8Page;
using dorvane::internal::Scratch;
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

// As raw bytes: a NUL at the end of the content is not dropped.
bool appendRaw(StringBuffer& out, std::string_view bytes) {
  return BufferAccess(out).append(bytes);
}

// An allocation that is needed has no slack; the extend size keeps its value.
bool appendExactFit(StringBuffer& out, std::string_view bytes) {
  const unsigned int saved = out.getExtendSize();
  out.setExtendSize(0);
  const bool appended = appendRaw(out, bytes);
  out.setExtendSize(saved);
  return appended;
}

// Appends the pieces, which do not lie in the buffer, in one step; all of them or none.
bool appendPieces(StringBuffer& out, std::initializer_list<std::string_view> pieces) {
  std::uint64_t total = 0;
  for (const std::string_view piece : pieces) total += piece.size();
  if (total == 0) return true;
  if (!BufferAccess(out).makeRoom(total)) return false;
  for (const std::string_view piece : pieces) appendRaw(out, piece);
  return true;
}

// Appends a format with its first placeholder replaced by the value; by nothing if that is null.
bool appendFormat(StringBuffer& out, const char* format, std::string_view placeholder,
                  const char* value) {
  const StableText stableFormat(format, out);
  const StableText stableValue(value, out);
  if (!stableFormat.ok() || !stableValue.ok()) return false;
  const std::string_view all = stableFormat.view();
  const char* const match = findBytes(all, placeholder);
  if (match == nullptr || value == nullptr) return appendPieces(out, {all});
  const auto at = static_cast<std::size_t>(match - all.data());
  return appendPieces(out,
                      {all.substr(0, at), stableValue.view(), all.substr(at + placeholder.size())});
}

bool prependBytes(StringBuffer& out, std::string_view bytes) {
  if (bytes.empty()) return true;
  if (out.getSize() == 0) return appendRaw(out, bytes);
  const StableText prefix(bytes.data(), bytes.size(), out);
  const BufferAccess access(out);
  const std::size_t n = prefix.view().size();
  if (!prefix.ok() || !access.makeRoom(n)) return false;
  const std::string_view old = access.content();
  std::memmove(access.data() + n, old.data(), old.size());
  std::memcpy(access.data(), prefix.view().data(), n);
  access.terminateAt(old.size() + n);
  return true;
}

}  // namespace

// ---- Numbers ----

bool StringBuffer::append(int value) {
  char digits[12];
  return appendRaw(*this, {digits, dv_int_to_str(value, digits)});
}

bool StringBuffer::append(unsigned int value) { return appendInt64(value); }

bool StringBuffer::appendInt64(long long value) {
  char digits[21];
  return appendRaw(*this, {digits, dv_int64_to_str(value, digits)});
}

bool StringBuffer::appendHex(unsigned int value, bool lowercase, unsigned int width) {
  char digits[9];
  return appendRaw(*this, {digits, hexFormatter(lowercase, width)(value, digits)});
}

// ---- Characters ----

bool StringBuffer::appendUChar(unsigned char c) { return appendChar(static_cast<char>(c)); }

bool StringBuffer::appendChar2(char c1, char c2) {
  const char bytes[] = {c1, c2};
  return appendRaw(*this, {bytes, sizeof bytes});
}

bool StringBuffer::appendChar3(char c1, char c2, char c3) {
  const char bytes[] = {c1, c2, c3};
  return appendRaw(*this, {bytes, sizeof bytes});
}

bool StringBuffer::appendCharN(char c, unsigned int count) {
  if (count == 0 || count > kMostRepeats) return true;
  const BufferAccess self(*this);
  if (!self.makeRoom(count)) return false;
  std::memset(self.data() + self.size(), c, count);
  self.terminateAt(self.size() + count);
  return true;
}

bool StringBuffer::appendLineEnding() { return appendChar('\n'); }

// ---- Texts ----

bool StringBuffer::append2(const char* first, const char* second) {
  return append3(first, second, nullptr);
}

bool StringBuffer::append3(const char* first, const char* second, const char* third) {
  const StableText texts[] = {{first, *this}, {second, *this}, {third, *this}};
  for (const StableText& text : texts)
    if (!text.ok() || (!text.empty() && !appendRaw(*this, text.view()))) return false;
  return true;
}

bool StringBuffer::appendMinSize(const char* text) {
  return text == nullptr || *text == '\0' || appendExactFit(*this, text);
}

bool StringBuffer::appendMinSize(const StringBuffer& other) {
  if (!other.hasLiveWord()) return false;
  const std::string_view bytes = BufferAccess(other).content();
  if (bytes.empty()) return true;
  if (!appendExactFit(*this, bytes)) return false;
  BufferAccess(*this).dropTrailingNuls();
  return true;
}

// ---- Formatted fragments ----

bool StringBuffer::append_s(const char* format, const char* value) {
  return appendFormat(*this, format, "%s", value);
}

bool StringBuffer::append_d(const char* format, int value) {
  char digits[12];
  dv_int_to_str(value, digits);
  return appendFormat(*this, format, "%d", digits);
}

bool StringBuffer::appendNameValue(const char* name, const char* value) {
  const StableText stableValue(value, *this);
  if (!stableValue.ok() || !append2(name, "=\"")) return false;
  std::string_view rest = stableValue.view();
  const auto quotes = static_cast<std::uint64_t>(std::count(rest.begin(), rest.end(), '"'));
  // The value grows the buffer as one piece.
  if (!rest.empty() && !BufferAccess(*this).makeRoom(rest.size() + quotes)) return false;
  while (!rest.empty()) {
    const std::size_t run = std::min(rest.find('"'), rest.size());
    appendRaw(*this, rest.substr(0, run));
    rest.remove_prefix(run);
    if (rest.empty()) break;
    appendRaw(*this, "\\\"");
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
  utf8.setSecure(BufferAccess(*this).isSecure());
  LogNull log;
  convert.EncConvert(kUtf16LePage, kUtf8Page, bytes, static_cast<unsigned int>(n), utf8, log);
  return append(utf8);
}

// ---- At the start, at a position ----

bool StringBuffer::prepend(const char* text) {
  return text == nullptr || prependBytes(*this, text);
}

bool StringBuffer::insertAt(const StringBuffer& other, unsigned int position) {
  if (other.getSize() == 0) return true;
  const BufferAccess self(*this);
  const BufferAccess source(other);
  if (!self.makeRoom(source.size())) return false;
  if (position == 0) return other.hasLiveWord() && prependBytes(*this, source.text());
  if (position >= getSize()) return append(other);

  const std::string_view rest = self.content().substr(position);
  Scratch tail(*this);
  if (!appendRaw(tail, rest.substr(0, rest.find('\0')))) return false;
  self.terminateAt(position);
  return append(other) && append(tail);
}
