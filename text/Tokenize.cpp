// A small lexer: words, punctuation and quoted strings. Tested in tests/text/TokenizeTest.cpp.

#include <algorithm>
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
constexpr ByteSet kQuote = ByteSet::of("\"");
constexpr ByteSet kSpecial = ByteSet::of("\"\\");

class Lexer {
 public:
  explicit Lexer(const char* punctuation)
      : m_punctuation(ByteSet::of(punctuation == nullptr ? "" : punctuation)),
        m_stops(m_punctuation | kWhiteSpace | kSpecial) {}

  bool isPunctuation(char c) const { return m_punctuation.contains(c); }

  // Size of the word that `text` begins with; it ends at white space or punctuation. Quotes and
  // backslashes come before punctuation, and inside quotes a backslash is a byte like others.
  std::size_t wordSize(std::string_view text) const {
    std::size_t i = 0;
    while (i < text.size()) {
      i += m_stops.findFirstIn(text.data() + i, text.size() - i);
      if (i >= text.size()) break;
      if (text[i] == '"') {
        i += 1 + kQuote.findFirstIn(text.data() + i + 1, text.size() - i - 1) + 1;
      } else if (text[i] == '\\') {
        i += 2;
      } else {
        return i;
      }
    }
    return text.size();
  }

 private:
  ByteSet m_punctuation;
  ByteSet m_stops;
};

bool addToken(PieceList& out, std::string_view token) {
  return addPiece(out, token, kPieceBlock, PieceStorage::kMinimized);
}

}  // namespace

void StringBuffer::tokenize(ExtPtrArray& out, const char* punctuation) const {
  if (getSize() == 0) return;
  const Lexer lexer(punctuation);
  const BufferAccess self(*this);
  std::string_view rest = self.text();
  PieceList tokens(out, rest, self.isSecure());
  for (;;) {
    const std::string_view word = rest.substr(0, lexer.wordSize(rest));
    const bool isLast = word.size() == rest.size();
    if ((isLast || !word.empty()) && !addToken(tokens, word)) return;
    if (isLast) return;
    rest.remove_prefix(word.size());
    if (lexer.isPunctuation(rest.front()) && !addToken(tokens, rest.substr(0, 1))) return;
    rest.remove_prefix(1);
  }
}

void StringBuffer::tokenizeCPP(ExtPtrArray& out) const { tokenize(out, kCPunctuation); }

unsigned int StringBuffer::tokenCount(const char* punctuation) const noexcept {
  const Lexer lexer(punctuation);
  unsigned int count = 0;
  const BufferAccess self(*this);
  std::string_view rest = self.text();
  while (!rest.empty()) {
    const std::size_t size = lexer.wordSize(rest);
    count += size != 0 ? 1 : 0;
    rest.remove_prefix(std::min(size + 1, rest.size()));
  }
  return count;
}
