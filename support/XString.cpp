// ASCII is the same in UTF-8 and in every ANSI page, so that most texts are never converted.
// Tested in tests/support/XStringTest.cpp.

#include "support/XString.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "support/ByteSet.h"
#include "support/DataBuffer.h"
#include "support/LogNull.h"
#include "support/Psdk.h"
#include "support/internal/AppendExactly.h"
#include "support/internal/Ascii.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/ContentOf.h"
#include "support/internal/Conversion.h"

using dorvane::internal::appendExactly;
using dorvane::internal::ByteSet;
using dorvane::internal::contentOf;
using dorvane::internal::Converted;
using dorvane::internal::convertText;
using dorvane::internal::isAscii;
using dorvane::internal::kUtf8Page;

namespace {

constexpr std::uint64_t kMostBytes = 0xFFFFFFFFU;

constexpr ByteSet kNotAscii = ByteSet::range(0x80, 0xFF);
static_assert(kNotAscii.size() == 128);

std::string_view textOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

// Converts into an empty buffer. Room for the usual result is made at once, which saves steps.
// False when memory is exhausted.
bool convert(std::string_view text, int fromPage, int toPage, DataBuffer& out, bool& exact) {
  const auto isNotAscii = [](char c) { return kNotAscii.contains(c); };
  const auto others = std::count_if(text.begin(), text.end(), isNotAscii);
  const std::uint64_t mostBytes = text.size() + std::uint64_t{3} * static_cast<std::size_t>(others);
  if (mostBytes <= kMostBytes && !out.ensureBuffer(static_cast<unsigned int>(mostBytes)))
    return false;
  LogNull log;
  const Converted result = convertText(fromPage, toPage, text, out, log);
  exact = result == Converted::kExactly;
  return result != Converted::kNoMemory;
}

// The UTF-8 form of one character.
class Utf8Form {
 public:
  // False when the ANSI page does not have the character or memory is exhausted.
  bool set(char c) {
    if (!kNotAscii.contains(c)) return store(&c, 1);
    DataBuffer form;
    form.setSecure(true);
    bool exact = false;
    if (!convert({&c, 1}, Psdk::getAnsiCodePage(), kUtf8Page, form, exact) || !exact) return false;
    return store(form.getData2(), form.getSize());
  }

  std::string_view bytes() const noexcept { return {m_bytes, m_size}; }

 private:
  bool store(const void* bytes, unsigned int n) noexcept {
    if (n == 0 || n > sizeof(m_bytes)) return false;
    std::memcpy(m_bytes, bytes, n);
    m_size = n;
    return true;
  }

  char m_bytes[4];
  unsigned int m_size = 0;
};

unsigned int countOf(std::string_view form, std::string_view text) noexcept {
  unsigned int count = 0;
  for (std::size_t at = text.find(form); at != std::string_view::npos;
       at = text.find(form, at + form.size()))
    ++count;
  return count;
}

// Replaces a form by one of the same size.
void replaceInPlace(std::string_view from, std::string_view to, StringBuffer& text) noexcept {
  const std::string_view content = contentOf(text);
  char* const bytes = text.pCharAt(0);
  for (std::size_t at = content.find(from); at != std::string_view::npos;
       at = content.find(from, at + from.size()))
    std::memcpy(bytes + at, to.data(), to.size());
}

// Appends a text with a form replaced by another to an empty buffer.
bool appendReplaced(std::string_view text, std::string_view from, std::string_view to,
                    StringBuffer& out) {
  const std::uint64_t count = countOf(from, text);
  const std::uint64_t size = text.size() - count * from.size() + count * to.size();
  if (size > kMostBytes || !out.expectNumBytes(static_cast<unsigned int>(size))) return false;
  for (std::size_t at = text.find(from); at != std::string_view::npos; at = text.find(from)) {
    if (!appendExactly(text.substr(0, at), out) || !appendExactly(to, out)) return false;
    text.remove_prefix(at + from.size());
  }
  return appendExactly(text, out);
}

}  // namespace

void XString::setSecure(bool secure) noexcept {
  m_secure = secure;
  m_utf8.setSecureBuf(secure);
  m_ansi.setSecureBuf(secure);
}

bool XString::setFromUtf8(const char* text) {
  const bool done = m_utf8.setString(text);
  forgetAnsi();
  return done;
}

bool XString::setFromAnsi(const char* text) {
  const std::string_view ansi = textOf(text);
  if (isAscii(ansi)) return setFromUtf8(text);
  DataBuffer utf8;
  utf8.setSecure(m_secure);
  bool exact = false;
  const bool converted = convert(ansi, Psdk::getAnsiCodePage(), kUtf8Page, utf8, exact);
  forgetAnsi();
  m_utf8.weakClear();
  return converted && m_utf8.append(utf8) && exact;
}

bool XString::appendUtf8(const char* text) {
  const bool appended = m_utf8.append(text);
  forgetAnsi();
  return appended;
}

bool XString::appendUtf8N(const char* bytes, unsigned int n) {
  const bool appended = bytes == nullptr || appendExactly({bytes, n}, m_utf8);
  forgetAnsi();
  return appended;
}

const char* XString::getAnsi() {
  const int page = Psdk::getAnsiCodePage();
  if (m_ansiPage == page) return m_ansi.getString();
  forgetAnsi();
  const std::string_view text = getUtf8();
  if (isAscii(text)) return getUtf8();
  DataBuffer ansi;
  ansi.setSecure(m_secure);
  bool exact = false;
  const bool made = convert(text, kUtf8Page, page, ansi, exact) && m_ansi.append(ansi);
  m_ansiPage = made ? page : 0;
  return m_ansi.getString();
}

bool XString::replaceChar(char from, char to) {
  Utf8Form fromForm;
  Utf8Form toForm;
  if (from == '\0') return true;
  if (!fromForm.set(from) || !toForm.set(to)) return false;
  const std::string_view content = contentOf(m_utf8);
  if (content.find(fromForm.bytes()) == std::string_view::npos) return true;
  if (fromForm.bytes().size() == toForm.bytes().size()) {
    replaceInPlace(fromForm.bytes(), toForm.bytes(), m_utf8);
  } else {
    StringBuffer replaced;
    replaced.setSecureBuf(m_secure);
    if (!appendReplaced(content, fromForm.bytes(), toForm.bytes(), replaced)) return false;
    m_utf8.takeSb(replaced);
  }
  forgetAnsi();
  return true;
}

void XString::clear() {
  m_utf8.clear();
  forgetAnsi();
}

void XString::forgetAnsi() {
  m_ansi.clear();
  m_ansiPage = 0;
}
