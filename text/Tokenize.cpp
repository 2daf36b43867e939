// A small lexer: words, punctuation and quoted strings. Tested in tests/text/TokenizeTest.cpp.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/Pieces.h"

using dorvane::internal::addPiece;
using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::kPieceBlock;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::PieceList;
using dorvane::internal::PieceStorage;

namespace {

constexpr char kCPunctuation[] = "*;(){}&+=[],!~";
constexpr ByteSet kSpecial = ByteSet::of("\"\\");

// Finds the bytes of a set in a text, from the left to the right. It looks at 64 bytes at once:
// most words are short, and a branch for each byte would be mispredicted where a word ends.
class StopFinder {
 public:
  StopFinder(std::string_view text, const ByteSet& stops) : m_text(text), m_stops(stops) {}

  // Offset of the first stop at `from` or after it, or the size of the text. `from` never
  // decreases.
  std::size_t next(std::size_t from) {
    for (;;) {
      if (from >= m_text.size()) return m_text.size();
      if (from - m_first >= kBlock || m_first == kNone) classify(from);
      const std::uint64_t rest = m_marks >> (from - m_first);
      if (rest != 0) return from + lowestBit(rest);
      from = m_first + kBlock;
    }
  }

 private:
  static constexpr std::size_t kBlock = 64;
  static constexpr std::size_t kNone = std::string_view::npos;

  void classify(std::size_t first) {
    const std::size_t n = std::min(kBlock, m_text.size() - first);
    m_first = first;
    m_marks = 0;
    for (std::size_t i = 0; i < n; ++i)
      m_marks |= std::uint64_t{m_stops.contains(m_text[first + i])} << i;
  }

  static std::size_t lowestBit(std::uint64_t bits) {
#if defined(__GNUC__)
    return static_cast<std::size_t>(__builtin_ctzll(bits));
#else
    std::size_t n = 0;
    while ((bits >> n & 1U) == 0) ++n;
    return n;
#endif
  }

  std::string_view m_text;
  const ByteSet& m_stops;
  std::size_t m_first = kNone;  // of the block whose stops are marked
  std::uint64_t m_marks = 0;
};

// Cuts a text into words, which end at white space or punctuation. Quotes and backslashes come
// before punctuation, and inside quotes a backslash is a byte like others.
class Lexer {
 public:
  Lexer(std::string_view text, const char* punctuation)
      : m_text(text),
        m_punctuation(ByteSet::of(punctuation == nullptr ? "" : punctuation)),
        m_stops(m_punctuation | kWhiteSpace | kSpecial),
        m_finder(text, m_stops) {}
  Lexer(const Lexer&) = delete;
  Lexer& operator=(const Lexer&) = delete;

  bool isPunctuation(std::size_t at) const { return m_punctuation.contains(m_text[at]); }

  // End of the word that begins at `from`.
  std::size_t wordEnd(std::size_t from) {
    for (;;) {
      const std::size_t at = m_finder.next(from);
      if (at == m_text.size()) return at;
      if (m_text[at] == '"')
        from = std::min(m_text.find('"', at + 1), m_text.size() - 1) + 1;
      else if (m_text[at] == '\\')
        from = at + 2;
      else
        return at;
    }
  }

 private:
  std::string_view m_text;
  ByteSet m_punctuation;
  ByteSet m_stops;
  StopFinder m_finder;
};

bool addToken(PieceList& out, std::string_view token) {
  return addPiece(out, token, kPieceBlock, PieceStorage::kMinimized);
}

}  // namespace

void StringBuffer::tokenize(ExtPtrArray& out, const char* punctuation) const {
  if (getSize() == 0) return;
  const BufferAccess self(*this);
  const std::string_view all = self.text();
  Lexer lexer(all, punctuation);
  PieceList tokens(out, all, self.isSecure());
  for (std::size_t start = 0;;) {
    const std::size_t end = lexer.wordEnd(start);
    const bool isLast = end == all.size();
    if ((isLast || end != start) && !addToken(tokens, all.substr(start, end - start))) return;
    if (isLast) return;
    if (lexer.isPunctuation(end) && !addToken(tokens, all.substr(end, 1))) return;
    start = end + 1;
  }
}

void StringBuffer::tokenizeCPP(ExtPtrArray& out) const { tokenize(out, kCPunctuation); }

unsigned int StringBuffer::tokenCount(const char* punctuation) const noexcept {
  const std::string_view all = BufferAccess(*this).text();
  Lexer lexer(all, punctuation);
  unsigned int count = 0;
  for (std::size_t start = 0; start < all.size();) {
    const std::size_t end = lexer.wordEnd(start);
    count += end != start ? 1 : 0;
    start = end + 1;
  }
  return count;
}
