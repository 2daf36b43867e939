#ifndef DORVANE_TESTS_HARNESS_TOKENIZEREFERENCE_H
#define DORVANE_TESTS_HARNESS_TOKENIZEREFERENCE_H

#include <string>
#include <string_view>
#include <utility>

#include "harness/SplitReference.h"

// The lexer told step by step, one byte at a time, for comparison.
namespace harness::reference::tokenizing {

using splitting::Piece;
using splitting::Pieces;

inline bool isSpace(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }

inline bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

class Lexer {
 public:
  explicit Lexer(std::string_view punctuation) : m_punctuation(punctuation) {}

  Pieces run(std::string_view text) {
    for (const char c : text) take(c);
    finish();
    return std::move(m_tokens);
  }

 private:
  void take(char c) {
    if (m_pending) {
      m_token.add(c);
      m_pending = false;
    } else if (c == '"') {
      m_token.add(c);
      m_inQuotes = !m_inQuotes;
    } else if (m_inQuotes) {
      m_token.add(c);
    } else if (c == '\\') {
      m_token.add(c);
      m_pending = true;
    } else if (isIn(m_punctuation, c)) {
      finishWord();
      m_token.add(c);
      finish();
    } else if (isSpace(c)) {
      finishWord();
    } else {
      m_token.add(c);
    }
  }

  void finish() {
    m_token.flush();
    splitting::minimise(m_token.storage);
    m_tokens.push_back(std::exchange(m_token, Piece()));
  }

  void finishWord() {
    if (!m_token.content.empty() || !m_token.staging.empty()) finish();
  }

  std::string_view m_punctuation;
  Pieces m_tokens;
  Piece m_token;
  bool m_pending = false;
  bool m_inQuotes = false;
};

inline Pieces tokenize(std::string_view content, std::string_view punctuation) {
  if (content.empty()) return {};
  return Lexer(punctuation).run(splitting::textOf(content));
}

inline unsigned int tokenCount(std::string_view content, std::string_view punctuation) {
  unsigned int count = 0;
  std::size_t length = 0;
  bool pending = false;
  bool inQuotes = false;
  const auto end = [&] {
    if (length != 0) ++count;
    length = 0;
  };
  for (const char c : splitting::textOf(content)) {
    const bool ends =
        !pending && !inQuotes && c != '"' && c != '\\' && (isSpace(c) || isIn(punctuation, c));
    if (ends) {
      end();
      continue;
    }
    ++length;
    if (pending) {
      pending = false;
    } else if (c == '"') {
      inQuotes = !inQuotes;
    } else if (c == '\\' && !inQuotes) {
      pending = true;
    }
  }
  end();
  return count;
}

}  // namespace harness::reference::tokenizing

#endif
