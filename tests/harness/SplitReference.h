#ifndef DORVANE_TESTS_HARNESS_SPLITREFERENCE_H
#define DORVANE_TESTS_HARNESS_SPLITREFERENCE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "harness/BufferState.h"

// The cutters told step by step on std::string, one byte at a time, for comparison.
namespace harness::reference::splitting {

// A piece while it is made: bytes gather in a staging area of 255 bytes and are appended in
// blocks, which decides how the storage of the piece grows.
struct Piece {
  std::string content;
  GrowthModel storage;
  std::string staging;

  void flush() {
    if (staging.empty()) return;
    content += staging;
    storage.append(static_cast<unsigned int>(staging.size()));
    staging.clear();
  }

  void add(char c) {
    staging += c;
    if (staging.size() == 255) flush();
  }
};

using Pieces = std::vector<Piece>;

// What minimising does to a storage.
inline void minimise(GrowthModel& storage) {
  if (storage.capacity == 0) return;
  if (storage.length <= 81) {
    storage.capacity = 0;
  } else if (storage.capacity > storage.length + 256) {
    storage.capacity = storage.length + 1;
  }
}

inline std::string_view textOf(std::string_view content) {
  return content.substr(0, content.find('\0'));
}

struct Honour {
  bool quotes = false;
  bool escapes = false;
};

// The six rules. `endingAt(text, i)` is the length of the delimiter at i, 0 when there is none.
template <class EndingAt>
Pieces cut(std::string_view content, Honour honour, bool minimised, EndingAt endingAt) {
  Pieces pieces;
  if (content.empty()) return pieces;
  Piece piece;
  const auto finish = [&] {
    piece.flush();
    if (minimised) minimise(piece.storage);
    pieces.push_back(std::exchange(piece, Piece()));
  };
  const std::string_view text = textOf(content);
  bool inQuotes = false;
  bool pending = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (pending) {
      piece.add(c);
      pending = false;
    } else if (c == '\\' && honour.escapes) {
      piece.add(c);
      pending = true;
    } else if (c == '"' && honour.quotes) {
      piece.add(c);
      inQuotes = !inQuotes;
    } else if (honour.quotes && inQuotes) {
      piece.add(c);
    } else if (const std::size_t length = endingAt(text, i)) {
      finish();
      i += length - 1;
    } else {
      piece.add(c);
    }
  }
  finish();
  return pieces;
}

inline Pieces split(std::string_view content, char delimiter, Honour honour) {
  return cut(content, honour, true, [delimiter](std::string_view text, std::size_t i) {
    return std::size_t{text[i] == delimiter};
  });
}

inline Pieces split2(std::string_view content, std::string_view delimiters, Honour honour) {
  return cut(content, honour, false, [delimiters](std::string_view text, std::size_t i) {
    return std::size_t{delimiters.find(text[i]) != std::string_view::npos};
  });
}

inline Pieces splitByLineEndings(std::string_view content, Honour honour) {
  return cut(content, honour, true, [](std::string_view text, std::size_t i) -> std::size_t {
    if (text[i] == '\n') return 1;
    if (text[i] != '\r') return 0;
    return i + 1 < text.size() && text[i + 1] == '\n' ? 2 : 1;
  });
}

// Works on a copy in which each CR LF has become an LF.
inline Pieces splitIntoLines(std::string_view content) {
  const std::string_view text = textOf(content);
  std::string copy;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text.substr(i, 2) == "\r\n") ++i;
    copy += text[i];
  }
  return split2(copy, "\r\n", {});
}

inline bool isTrimmed(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

inline std::string trimmed(std::string text) {
  while (!text.empty() && isTrimmed(text.front())) text.erase(0, 1);
  while (!text.empty() && isTrimmed(text.back())) text.pop_back();
  return text;
}

// Trimming moves bytes inside the storage of a piece, which stays as it is.
inline Pieces splitAndTrim(std::string_view content, char delimiter, Honour honour) {
  Pieces pieces = split(content, delimiter, honour);
  for (Piece& piece : pieces) piece.content = trimmed(piece.content);
  return pieces;
}

inline Piece wholePiece(std::string_view text) {
  Piece piece;
  piece.content = text;
  piece.storage.append(static_cast<unsigned int>(text.size()));
  return piece;
}

inline Pieces splitUsingBoundary(std::string_view content, std::string_view boundary,
                                 int maxPieces) {
  Pieces pieces;
  std::string_view rest = textOf(content);
  while (!rest.empty()) {
    while (!boundary.empty() && rest.substr(0, boundary.size()) == boundary)
      rest.remove_prefix(boundary.size());
    if (rest.empty()) break;
    const std::size_t found = boundary.empty() ? std::string_view::npos : rest.find(boundary);
    const std::string_view text = rest.substr(0, found);
    pieces.push_back(wholePiece(text));
    rest.remove_prefix(text.size());
    if (found != std::string_view::npos) rest.remove_prefix(boundary.size());
    if (maxPieces > 0 && pieces.size() == static_cast<std::size_t>(maxPieces)) break;
  }
  return pieces;
}

}  // namespace harness::reference::splitting

#endif
