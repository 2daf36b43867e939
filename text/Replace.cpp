// Substring replacement: the first, the last or every match of a text, by a text or a byte. Tested
// in tests/text/ReplaceTest.cpp against the plain step-by-step form.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/CharTables.h"
#include "support/internal/Search.h"
#include "text/internal/ChangeBytes.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/SavedTail.h"
#include "text/internal/StableText.h"
#include "text/internal/Texts.h"

using dorvane::internal::changeBytes;
using dorvane::internal::findBytes;
using dorvane::internal::findOffset;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::isEmpty;
using dorvane::internal::replaceAll;
using dorvane::internal::SavedTail;
using dorvane::internal::StableText;

namespace {

// The UTF-8 form of a Windows-1252 byte from 0x80 up, as a text.
struct Utf8Text {
  explicit Utf8Text(unsigned int code) {
    for (int i = 0; i < 3; ++i) bytes[i] = static_cast<char>(_ansi_to_utf8[code - 0x80][i]);
  }
  char bytes[4] = {};
};

}  // namespace

// ---- One match ----

bool StringBuffer::replaceFirstOccurance(const char* find, const char* replacement) {
  if (isEmpty(find)) return false;
  const std::string_view needle(find);
  const char* const match = findBytes(text(), needle);
  if (match == nullptr) return false;
  const auto at = static_cast<unsigned int>(match - m_data);
  return replaceRange(at, content().substr(at + needle.size()), replacement);
}

bool StringBuffer::replaceLastOccurance(const char* find, const char* replacement) {
  if (isEmpty(find)) return false;
  const std::string_view needle(find);
  const char* last = nullptr;
  std::string_view rest = text();
  while (const char* match = findBytes(rest, needle)) {
    last = match;
    rest.remove_prefix(static_cast<std::size_t>(match - rest.data()) + needle.size());
  }
  if (last == nullptr) return false;
  const auto at = static_cast<unsigned int>(last - m_data);
  return replaceRange(at, content().substr(at + needle.size()), replacement);
}

bool StringBuffer::replaceRange(unsigned int at, std::string_view tail, const char* replacement) {
  if (replacement == nullptr) {
    // Deliberate: the match stays, as the start of a tail that is cut off and appended again.
    endAt(static_cast<unsigned int>(tail.data() + tail.size() - m_data));
    dropTrailingNuls();
    return true;
  }
  const StableText stable(replacement, ownsAddress(replacement));
  if (!stable.ok()) return false;
  const std::string_view bytes = stable.view();

  if (at + std::uint64_t{bytes.size()} + tail.size() < storageSize()) {
    std::memmove(m_data + at + bytes.size(), tail.data(), tail.size());
    std::memcpy(m_data + at, bytes.data(), bytes.size());
    endAt(static_cast<unsigned int>(at + bytes.size() + tail.size()));
    if (!tail.empty()) dropTrailingNuls();
    return true;
  }
  // On the heap, whatever its size: where there is no memory for the tail there is none for the
  // larger block either, and nothing has been cut off yet.
  const SavedTail saved(tail, m_secure, 0);
  if (!saved.ok()) return false;
  endAt(at);
  if (!bytes.empty()) appendBytes(bytes);
  appendN(saved.data(), saved.size());
  return true;
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
  const StableText needle(find, ownsAddress(find));
  if (needle.empty() || !needle.ok()) return 0;
  unsigned int count = 0;
  std::string_view rest = text();
  while (const char* match = findBytes(rest, needle.view())) {
    ++count;
    char* const first = m_data + (match - m_data);
    for (std::size_t i = 0; i < needle.view().size(); ++i)
      if (first[i] == from) first[i] = to;
    rest.remove_prefix(static_cast<std::size_t>(match - rest.data()) + needle.view().size());
  }
  return count;
}

// ---- By one byte ----

unsigned int StringBuffer::replaceAllWithUchar(const char* find, unsigned int value) {
  const StableText needle(find, ownsAddress(find));
  if (needle.empty() || !needle.ok()) return 0;
  const char byte = static_cast<char>(static_cast<unsigned char>(value));
  return needle.view().size() == 1 ? replaceByte(needle.view().front(), byte)
                                   : replaceWithByte(needle.view(), byte);
}

unsigned int StringBuffer::replaceByte(char from, char to) noexcept {
  const std::string_view all = content();
  const auto count = std::count(all.begin(), all.end(), from);
  if (count != 0)
    changeBytes(m_data, all.size(), [from, to](unsigned char c) {
      return c == static_cast<unsigned char>(from) ? to : static_cast<char>(c);
    });
  return static_cast<unsigned int>(count);
}

unsigned int StringBuffer::replaceWithByte(std::string_view needle, char to) noexcept {
  unsigned int count = 0;
  char* write = m_data;
  std::string_view rest = text();
  const auto keep = [&write](std::string_view run) {
    if (write != run.data()) std::memmove(write, run.data(), run.size());
    write += run.size();
  };
  while (const char* match = findBytes(rest, needle)) {
    const auto before = static_cast<std::size_t>(match - rest.data());
    keep(rest.substr(0, before));
    *write++ = to;
    ++count;
    rest.remove_prefix(before + needle.size());
  }
  keep(rest);
  endAt(static_cast<unsigned int>(write - m_data));
  return count;
}

unsigned int StringBuffer::replaceAllWithUcharUtf8(const char* find, unsigned int code) {
  if (code < 0x80) return replaceAllWithUchar(find, code);
  if (code > 0xFF) return 0;
  return replaceAllOccurances(find, Utf8Text(code).bytes);
}
