// The text is read once. Words that follow each other in one charset are decoded to bytes, which
// are then converted in one piece; everything else is copied in runs. Tested in
// tests/support/EncodedWordsTest.cpp.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/LogContextExitor.h"
#include "support/LogNull.h"
#include "support/internal/AppendExactly.h"
#include "support/internal/Ascii.h"
#include "support/internal/BinaryDecoders.h"
#include "support/internal/CharsetNames.h"
#include "support/internal/CodePageNumbers.h"
#include "support/internal/ContentOf.h"
#include "support/internal/Conversion.h"
#include "support/internal/DecodedBytes.h"

using dorvane::internal::appendExactly;
using dorvane::internal::asciiLower;
using dorvane::internal::ByteSet;
using dorvane::internal::codePageOfCharset;
using dorvane::internal::contentOf;
using dorvane::internal::Converted;
using dorvane::internal::convertText;
using dorvane::internal::decodeBase64;
using dorvane::internal::DecodedBytes;
using dorvane::internal::hexDigitValue;
using dorvane::internal::kUtf16BePage;
using dorvane::internal::kUtf16LePage;
using dorvane::internal::kUtf32BePage;
using dorvane::internal::kUtf32LePage;
using dorvane::internal::kUtf8Page;
using dorvane::internal::leavesByteOrderOpen;
using dorvane::internal::Misfits;

namespace {

// No charset or encoding holds a "?", and reading a text ends where another word may begin. The
// next word to try therefore begins after the parts that have been read, or in the last of them:
// no byte is read more than a few times.
constexpr ByteSet kTokenBytes = ByteSet::range(0x21, 0x7E) & ~ByteSet::of("?");
constexpr ByteSet kEncodedBytes = kTokenBytes | ByteSet::range(0x80, 0xFF) | ByteSet::of(" \t");
constexpr ByteSet kBase64Bytes = ByteSet::range('A', 'Z') | ByteSet::range('a', 'z') |
                                 ByteSet::range('0', '9') | ByteSet::of("+/");
static_assert(kTokenBytes.size() == 93 && kEncodedBytes.size() == 223 && kBase64Bytes.size() == 64);

struct Word {
  std::string_view charset;
  std::string_view encoding;
  std::string_view encoded;
  std::size_t begin = 0;
  std::size_t end = 0;
  int page = 0;
  bool orderIsOpen = false;  // a byte-order mark may tell another page
};

// Cuts the bytes of a set off the front of a text.
std::string_view take(const ByteSet& set, std::string_view& text) noexcept {
  const std::string_view taken = text.substr(0, set.findFirstNotIn(text.data(), text.size()));
  text.remove_prefix(taken.size());
  return taken;
}

bool skip(std::string_view expected, std::string_view& text) noexcept {
  if (text.substr(0, expected.size()) != expected) return false;
  text.remove_prefix(expected.size());
  return true;
}

bool isSpaceOrTab(std::string_view text, std::size_t at) noexcept {
  return at < text.size() && (text[at] == ' ' || text[at] == '\t');
}

// The offset after the line end at `at`; `at` if there is none.
std::size_t skipLineEnd(std::string_view text, std::size_t at) noexcept {
  if (at < text.size() && text[at] == '\r') ++at;
  if (at < text.size() && text[at] == '\n') ++at;
  return at;
}

// The offset after the linear white space at `at` (RFC 822, section 3.3): a line end belongs to it
// only where the next line goes on with a space or TAB.
std::size_t skipLinearWhiteSpace(std::string_view text, std::size_t at) noexcept {
  for (;;) {
    const std::size_t next = skipLineEnd(text, at);
    if (!isSpaceOrTab(text, next)) return at;
    at = next + 1;
  }
}

char encodingOf(const Word& word) noexcept {
  if (word.encoding.size() != 1) return '\0';
  return static_cast<char>(asciiLower(static_cast<unsigned char>(word.encoding[0])));
}

bool isQOrB(const Word& word) noexcept {
  return encodingOf(word) == 'q' || encodingOf(word) == 'b';
}

// Cuts the text of a word, folds included, and the "?=" after it off the front of `rest`; false
// when no "?=" ends it. In a Q or B word a "?" does not end the text, though it makes the word
// malformed, unless another word begins there.
bool takeEncoded(std::string_view& rest, Word& word) noexcept {
  const std::string_view text = rest;
  for (;;) {
    take(kEncodedBytes, rest);
    const std::size_t size = text.size() - rest.size();
    word.encoded = text.substr(0, size);
    if (skip("?=", rest)) return true;
    const std::size_t end = skipLineEnd(rest, 0);
    if (end != 0 && isSpaceOrTab(rest, end)) {
      rest.remove_prefix(end);
      continue;
    }
    const bool beginsWord = size != 0 && text[size - 1] == '=';
    if (!isQOrB(word) || beginsWord || !skip("?", rest)) return false;
  }
}

// Finds the parts of the word that begins at `at`; false when none does.
bool readWord(std::string_view text, std::size_t at, Word& word) noexcept {
  std::string_view rest = text.substr(at);
  if (!skip("=?", rest)) return false;
  word.charset = take(kTokenBytes, rest);
  if (word.charset.empty() || !skip("?", rest)) return false;
  word.encoding = take(kTokenBytes, rest);
  if (word.encoding.empty() || !skip("?", rest)) return false;
  if (!takeEncoded(rest, word)) return false;
  word.begin = at;
  word.end = text.size() - rest.size();
  return true;
}

bool isLineEnd(char c) noexcept { return c == '\r' || c == '\n'; }

bool isHexDigit(char c) noexcept { return hexDigitValue(static_cast<unsigned char>(c)) >= 0; }

bool isWellFormedQ(std::string_view encoded) noexcept {
  if (encoded.find('?') != std::string_view::npos) return false;
  for (std::size_t at = encoded.find('='); at != std::string_view::npos;
       at = encoded.find('=', at + 3)) {
    if (encoded.size() - at < 3) return false;
    if (!isHexDigit(encoded[at + 1]) || !isHexDigit(encoded[at + 2])) return false;
  }
  return true;
}

bool isWellFormedB(std::string_view encoded) noexcept {
  std::size_t symbols = 0;
  bool padded = false;
  for (const char c : encoded) {
    if (c == ' ' || c == '\t' || isLineEnd(c)) continue;
    if (c != '=' && (padded || !kBase64Bytes.contains(c))) return false;
    padded = c == '=';
    if (!padded) ++symbols;
  }
  return symbols % 4 != 1;
}

unsigned char hexByte(char high, char low) noexcept {
  return static_cast<unsigned char>(hexDigitValue(static_cast<unsigned char>(high)) * 16 +
                                    hexDigitValue(static_cast<unsigned char>(low)));
}

bool decodeQ(std::string_view encoded, DataBuffer& out) {
  DecodedBytes bytes(out);
  for (std::size_t at = 0; at < encoded.size(); ++at) {
    if (isLineEnd(encoded[at])) continue;
    auto byte = static_cast<unsigned char>(encoded[at]);
    if (byte == '_') byte = ' ';
    if (byte == '=') {
      byte = hexByte(encoded[at + 1], encoded[at + 2]);
      at += 2;
    }
    if (!bytes.append(byte)) return false;
  }
  return bytes.flush();
}

bool isWellFormed(const Word& word) noexcept {
  switch (encodingOf(word)) {
    case 'q':
      return isWellFormedQ(word.encoded);
    case 'b':
      return isWellFormedB(word.encoded);
    default:
      return false;
  }
}

bool decodeBytes(const Word& word, DataBuffer& out) {
  if (encodingOf(word) == 'q') return decodeQ(word.encoded, out);
  Misfits ignored;
  return decodeBase64(word.encoded, out, ignored);
}

Converted convertToUtf8(int page, std::string_view bytes, DataBuffer& out) {
  LogNull log;
  return convertText(page, kUtf8Page, bytes, out, log);
}

// Cuts a byte-order mark off the front of a text in UTF-16 or UTF-32. Returns its page, or without
// a mark the given one.
int takeMark(int page, std::string_view& text) noexcept {
  constexpr std::string_view kMark32Le("\xFF\xFE\0\0", 4);
  constexpr std::string_view kMark32Be("\0\0\xFE\xFF", 4);
  const bool is32 = page == kUtf32LePage;
  if (skip(is32 ? kMark32Le : "\xFF\xFE", text)) return is32 ? kUtf32LePage : kUtf16LePage;
  if (skip(is32 ? kMark32Be : "\xFE\xFF", text)) return is32 ? kUtf32BePage : kUtf16BePage;
  return page;
}

bool beginsWithMark(int page, std::string_view text) noexcept {
  const std::size_t size = text.size();
  takeMark(page, text);
  return text.size() != size;
}

std::string_view textOf(const DataBuffer& bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize()};
}

// The code pages of the charsets in a text, which repeats few. A charset may be known although the
// system lacks its converter.
class KnownPages {
 public:
  // Sets the page of a word; false when its charset, with or without a language behind it, has
  // none. The name stays where it is until the next call.
  bool find(Word& word) {
    if (word.charset != m_charset) {
      m_charset = word.charset;
      const std::string_view name = m_charset.substr(0, m_charset.find('*'));
      remember(codePageOfCharset(name));
      m_orderIsOpen = leavesByteOrderOpen(name, m_page);
    }
    word.page = m_page;
    word.orderIsOpen = m_orderIsOpen;
    return m_converts;
  }

  // True when there was no memory to tell whether the system has a converter.
  bool outOfMemory() const noexcept { return m_outOfMemory; }

 private:
  void remember(int page) {
    if (page == m_page) return;
    m_page = page;
    DataBuffer unused;
    const Converted tried = page == 0 ? Converted::kPassedThrough : convertToUtf8(page, {}, unused);
    m_converts = tried == Converted::kExactly;
    if (tried == Converted::kNoMemory) m_outOfMemory = true;
  }

  std::string_view m_charset;
  int m_page = 0;
  bool m_orderIsOpen = false;
  bool m_converts = false;
  bool m_outOfMemory = false;
};

class WordDecoder {
 public:
  WordDecoder(std::string_view text, DataBuffer& out) noexcept : m_text(text), m_out(out) {}

  // Appends the text with its words decoded; nothing when there is none. False when memory is
  // exhausted.
  bool run() {
    for (Word word; findWord(word);) {
      if (!isDecodable(word)) {
        m_faults.note(word.begin);
        m_at = word.end;
      } else if (!makeRoom() || !copyUpTo(word.begin) || !decodeFrom(word)) {
        return false;
      }
    }
    if (m_pages.outOfMemory()) return false;
    return !m_hasDecoded || copyUpTo(m_text.size());
  }

  bool hasDecoded() const noexcept { return m_hasDecoded; }

  // The words that are left as they are, and those with malformed characters.
  const Misfits& faults() const noexcept { return m_faults; }

 private:
  // The next word from m_at on.
  bool findWord(Word& word) const noexcept {
    std::size_t at = m_text.find("=?", m_at);
    while (at != std::string_view::npos && !readWord(m_text, at, word))
      at = m_text.find("=?", at + 2);
    return at != std::string_view::npos;
  }

  bool isDecodable(Word& word) { return m_pages.find(word) && isWellFormed(word); }

  // Most texts get shorter, so that they grow no further.
  bool makeRoom() { return m_out.ensureBuffer(static_cast<unsigned int>(m_text.size())); }

  bool copyUpTo(std::size_t end) {
    const std::string_view plain = m_text.substr(m_copied, end - m_copied);
    m_copied = end;
    return m_out.append(plain.data(), static_cast<unsigned int>(plain.size()));
  }

  // Decodes a word and all that are adjacent.
  bool decodeFrom(Word word) {
    m_hasDecoded = true;
    bool goesOn = true;
    while (goesOn)
      if (!decodeRun(word, goesOn)) return false;
    m_copied = m_at;
    return true;
  }

  // Decodes a word and those behind it that have its charset. `goesOn` becomes whether `word` is
  // now an adjacent one of another charset.
  bool decodeRun(Word& word, bool& goesOn) {
    DataBuffer bytes;
    bytes.setSecure(true);
    std::size_t appended = 0;
    const Word first = word;
    do {
      const std::size_t joined = bytes.getSize();
      if (!decodeBytes(word, bytes)) return false;
      if (first.orderIsOpen &&
          beginsAnew(first.page, textOf(bytes).substr(appended), joined - appended)) {
        if (!append(textOf(bytes).substr(appended, joined - appended), first)) return false;
        appended = joined;
      }
      m_at = word.end;
      goesOn = findAdjacent(word);
    } while (goesOn && word.page == first.page && word.orderIsOpen == first.orderIsOpen);
    return append(textOf(bytes).substr(appended), first);
  }

  // True when the word whose bytes begin at `joined` has a mark of its own, not the second half of
  // one.
  static bool beginsAnew(int page, std::string_view text, std::size_t joined) noexcept {
    const std::size_t unit = page == kUtf32LePage ? 4 : 2;
    return joined != 0 && joined % unit == 0 && beginsWithMark(page, text.substr(joined));
  }

  bool findAdjacent(Word& word) {
    Word next;
    if (!readWord(m_text, skipLinearWhiteSpace(m_text, m_at), next) || !isDecodable(next))
      return false;
    word = next;
    return true;
  }

  // Room for the usual result is made at once, which saves steps.
  bool append(std::string_view text, const Word& first) {
    constexpr std::uint64_t kMostBytes = 0xFFFFFFFFU;
    const std::uint64_t longest = std::uint64_t{3} * text.size();
    DataBuffer utf8;
    utf8.setSecure(true);
    if (longest <= kMostBytes && !utf8.ensureBuffer(static_cast<unsigned int>(longest)))
      return false;
    const int page = first.orderIsOpen ? takeMark(first.page, text) : first.page;
    const Converted result = convertToUtf8(page, text, utf8);
    if (result == Converted::kNoMemory) return false;
    if (result != Converted::kExactly) m_faults.note(first.begin);
    return m_out.append(utf8.getData2(), utf8.getSize());
  }

  const std::string_view m_text;
  DataBuffer& m_out;
  KnownPages m_pages;
  Misfits m_faults;
  std::size_t m_at = 0;      // what is before has been looked at
  std::size_t m_copied = 0;  // what is before has been appended or dropped
  bool m_hasDecoded = false;
};

// Replaces the content; nothing has changed when there is no room for the new one.
bool replaceContent(const DataBuffer& bytes, StringBuffer& text) {
  const unsigned int sizeBefore = text.getSize();
  if (bytes.getSize() > sizeBefore && !text.expectNumBytes(bytes.getSize() - sizeBefore))
    return false;
  text.weakClear();
  return appendExactly({reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize()}, text);
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
bool ContentCoding::QB_DecodeToUtf8(StringBuffer& text, LogBase& log) {
  const LogContextExitor context(log, "QB_DecodeToUtf8");
  DataBuffer decoded;
  decoded.setSecure(true);
  WordDecoder decoder(contentOf(text), decoded);
  if (!decoder.run() || (decoder.hasDecoded() && !replaceContent(decoded, text))) {
    log.LogError("Out of memory");
    return false;
  }
  const Misfits& faults = decoder.faults();
  if (faults.count == 0) return true;
  log.LogError("Encoded words are malformed or in an unknown charset or encoding");
  log.LogDataLong("words", static_cast<long>(faults.count));
  log.LogDataLong("firstOffset", static_cast<long>(faults.firstOffset));
  return false;
}
