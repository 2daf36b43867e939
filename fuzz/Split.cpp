// Splitting: the pieces make up the text again, and they agree with the fields of a record.

#include <algorithm>
#include <vector>

#include "fuzz/Input.h"
#include "support/ExtPtrArraySb.h"

namespace {

using fuzz::require;

struct Case {
  char delimiter = ',';
  bool quotes = false;
  bool escapes = false;
  std::string set;  // of delimiters, or a boundary
  std::string content;
};

using Pieces = std::vector<std::string>;

Pieces piecesOf(const ExtPtrArraySb& array) {
  Pieces pieces;
  for (int i = 0; i < array.getSize(); ++i) {
    fuzz::requireSound(*array.sbAt(i));
    pieces.emplace_back(fuzz::contentOf(*array.sbAt(i)));
  }
  return pieces;
}

std::string join(const Pieces& pieces, std::string_view between) {
  std::string all;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i != 0) all += between;
    all += pieces[i];
  }
  return all;
}

std::string withoutBytes(std::string text, std::string_view set) {
  const auto isIn = [set](char c) { return set.find(c) != std::string_view::npos; };
  text.erase(std::remove_if(text.begin(), text.end(), isIn), text.end());
  return text;
}

void splitAtByte(const Case& c, const StringBuffer& buffer) {
  ExtPtrArraySb array;
  require(buffer.split(array, c.delimiter, c.quotes, c.escapes), "splitting succeeds");
  const Pieces pieces = piecesOf(array);
  require(pieces.size() == buffer.countColumns(c.delimiter, c.quotes, c.escapes),
          "there are as many pieces as fields");
  require(join(pieces, std::string_view(&c.delimiter, 1)) == fuzz::textOf(c.content),
          "the pieces make up the text");
}

void splitAndTrim(const Case& c, const StringBuffer& buffer) {
  ExtPtrArraySb plain;
  buffer.split(plain, c.delimiter, c.quotes, c.escapes);
  ExtPtrArraySb trimmed;
  buffer.splitAndTrim(trimmed, c.delimiter, c.quotes, c.escapes);
  for (int i = 0; i < plain.getSize(); ++i) plain.sbAt(i)->trim2();
  require(piecesOf(trimmed) == piecesOf(plain), "the pieces are trimmed");
}

void splitAtSet(const Case& c, const StringBuffer& buffer) {
  ExtPtrArraySb array;
  require(buffer.split2(array, c.set.c_str(), c.quotes, c.escapes), "splitting succeeds");
  const Pieces pieces = piecesOf(array);
  if (c.quotes || c.escapes) return;
  const std::string text(fuzz::textOf(c.content));
  require(join(pieces, "") == withoutBytes(text, c.set.c_str()), "only delimiters are left out");
}

void splitAtLineEnds(const Case& c, const StringBuffer& buffer) {
  ExtPtrArraySb array;
  require(buffer.splitByLineEndings(array, c.quotes, c.escapes), "splitting succeeds");
  const Pieces pieces = piecesOf(array);
  ExtPtrArraySb lines;
  require(buffer.splitIntoLines(lines, 0), "splitting succeeds");
  const std::string text(fuzz::textOf(c.content));
  const Pieces plain = piecesOf(lines);
  require(join(plain, "") == withoutBytes(text, "\r\n"), "only line ends are left out");
  if (!c.quotes && !c.escapes && !text.empty()) require(pieces == plain, "the lines agree");
}

void splitAtBoundary(const Case& c, const StringBuffer& buffer) {
  StringBuffer boundary(c.set.c_str());
  ExtPtrArraySb array;
  require(buffer.splitUsingBoundary(boundary, array, 0), "splitting succeeds");
  const Pieces pieces = piecesOf(array);
  for (const std::string& piece : pieces) {
    require(!piece.empty(), "no piece is empty");
    require(boundary.getSize() == 0 || !fuzz::contains(piece, fuzz::contentOf(boundary)),
            "no piece holds the boundary");
  }
  ExtPtrArraySb few;
  buffer.splitUsingBoundary(boundary, few, 2);
  Pieces first = pieces;
  first.resize(std::min<std::size_t>(pieces.size(), 2));
  require(piecesOf(few) == first, "a limit keeps the first pieces");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Case c;
  const unsigned int options = input.number();
  c.quotes = (options & 1U) != 0;
  c.escapes = (options & 2U) != 0;
  c.delimiter = input.character();
  c.set = input.line();
  c.content = input.rest();
  StringBuffer buffer;
  fuzz::fill(buffer, c.content);
  splitAtByte(c, buffer);
  splitAndTrim(c, buffer);
  splitAtSet(c, buffer);
  splitAtLineEnds(c, buffer);
  splitAtBoundary(c, buffer);
  return 0;
}
