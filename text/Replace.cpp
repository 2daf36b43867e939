// Substring replacement: the first, the last or every match of a text, by a text or a byte. Tested
// in tests/text/ReplaceTest.cpp against the plain step-by-step form.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/CharTables.h"
#include "support/internal/Search.h"
#include "text/internal/ChangeBytes.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/ReplaceRange.h"
#include "text/internal/StableText.h"
#include "text/internal/Texts.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::findOffset;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::isEmpty;
using dorvane::internal::replaceAll;
using dorvane::internal::replaceEvery;
using dorvane::internal::replaceRange;
using dorvane::internal::StableText;

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// The UTF-8 form of a Windows-1252 byte from 0x80 up, as a text.
struct Utf8Text {
  explicit Utf8Text(unsigned int code) {
    for (int i = 0; i < 3; ++i) bytes[i] = static_cast<char>(_ansi_to_utf8[code - 0x80][i]);
  }
  char bytes[4] = {};
};

// Replaces each match of the needle by a byte, in place; returns how many there were.
unsigned int replaceWithByte(StringBuffer& buffer, std::string_view needle, char to) noexcept {
  const BufferAccess access(buffer);
  unsigned int count = 0;
  char* write = access.data();
  std::string_view rest = access.text();
  const auto keep = [&write](std::string_view run) {
    if (write != run.data()) std::memmove(write, run.data(), run.size());
    write += run.size();
  };
  for (std::size_t before; (before = findOffset(rest, needle)) != kNone; ++count) {
    keep(rest.substr(0, before));
    *write++ = to;
    rest.remove_prefix(before + needle.size());
  }
  keep(rest);
  access.terminateAt(static_cast<std::size_t>(write - access.data()));
  return count;
}

}  // namespace

// ---- One match ----

bool StringBuffer::replaceFirstOccurance(const char* find, const char* replacement) {
  if (isEmpty(find)) return false;
  const BufferAccess self(*this);
  const std::string_view needle(find);
  const std::size_t at = findOffset(self.text(), needle);
  return at != kNone &&
         replaceRange(*this, at, self.content().substr(at + needle.size()), replacement);
}

bool StringBuffer::replaceLastOccurance(const char* find, const char* replacement) {
  if (isEmpty(find)) return false;
  const BufferAccess self(*this);
  const std::string_view needle(find);
  const std::string_view all = self.text();
  std::size_t last = kNone;
  std::size_t searched = 0;
  for (std::size_t gap; (gap = findOffset(all.substr(searched), needle)) != kNone;) {
    last = searched + gap;
    searched = last + needle.size();
  }
  return last != kNone && replaceRange(*this, last, self.content().substr(searched), replacement);
}

// ---- All matches ----

unsigned int StringBuffer::replaceAllOccurances(const char* find, const char* replacement) {
  if (isEmpty(find)) return 0;
  const std::string_view needle(find);
  return replaceAll(*this, needle.size(), replacement,
                    [needle](std::string_view rest) { return findOffset(rest, needle); });
}

unsigned int StringBuffer::replaceAllOccurancesNoCase(const char* find, const char* replacement) {
  if (isEmpty(find)) return 0;
  const std::string_view needle(find);
  return replaceAll(*this, needle.size(), replacement,
                    [needle](std::string_view rest) { return findOffsetNoCase(rest, needle); });
}

unsigned int StringBuffer::replaceCharInOccurances(const char* find, char from, char to) {
  const StableText needle(find, *this);
  if (needle.empty() || !needle.ok()) return 0;
  const BufferAccess self(*this);
  const std::size_t size = needle.view().size();
  unsigned int count = 0;
  std::string_view rest = self.text();
  for (std::size_t gap; (gap = findOffset(rest, needle.view())) != kNone; ++count) {
    rest.remove_prefix(gap);
    char* const match = self.data() + (rest.data() - self.data());
    std::replace(match, match + size, from, to);
    rest.remove_prefix(size);
  }
  return count;
}

// ---- By one byte ----

unsigned int StringBuffer::replaceAllWithUchar(const char* find, unsigned int value) {
  const StableText needle(find, *this);
  if (needle.empty() || !needle.ok()) return 0;
  const BufferAccess self(*this);
  const char byte = static_cast<char>(static_cast<unsigned char>(value));
  return needle.view().size() == 1
             ? replaceEvery(self.data(), self.size(), needle.view().front(), byte)
             : replaceWithByte(*this, needle.view(), byte);
}

unsigned int StringBuffer::replaceAllWithUcharUtf8(const char* find, unsigned int code) {
  if (code < 0x80) return replaceAllWithUchar(find, code);
  if (code > 0xFF) return 0;
  return replaceAllOccurances(find, Utf8Text(code).bytes);
}
