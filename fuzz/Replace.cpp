// Replacing members against their plain form on std::string.

#include "fuzz/Input.h"

namespace {

using fuzz::requireContent;

constexpr std::size_t kNone = std::string::npos;

struct Case {
  std::string content;  // without a NUL
  std::string find;     // without a NUL, not empty
  std::string replacement;
  char from = '\0';
  char to = '\0';
};

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lower(std::string text) {
  for (char& c : text) c = lower(c);
  return text;
}

// Replaces the matches of `find` in `searched`, a form of the content of the same size.
std::string replaceAll(const Case& c, const std::string& searched, const std::string& find,
                       const std::string& replacement, unsigned int& count) {
  std::string result;
  std::size_t from = 0;
  for (std::size_t at = searched.find(find); at != kNone; at = searched.find(find, from)) {
    result += c.content.substr(from, at - from) + replacement;
    from = at + find.size();
    ++count;
  }
  return result + c.content.substr(from);
}

std::string replaceAt(const Case& c, std::size_t at) {
  if (at == kNone) return c.content;
  return c.content.substr(0, at) + c.replacement + c.content.substr(at + c.find.size());
}

// The last match of a scan from the start: matches do not overlap.
std::size_t lastMatch(const Case& c) {
  std::size_t last = kNone;
  for (std::size_t at = c.content.find(c.find); at != kNone;
       at = c.content.find(c.find, at + c.find.size()))
    last = at;
  return last;
}

void replaceOne(const Case& c) {
  StringBuffer first(c.content.c_str());
  first.replaceFirstOccurance(c.find.c_str(), c.replacement.c_str());
  requireContent(first, replaceAt(c, c.content.find(c.find)), "the first match is replaced");
  StringBuffer last(c.content.c_str());
  last.replaceLastOccurance(c.find.c_str(), c.replacement.c_str());
  requireContent(last, replaceAt(c, lastMatch(c)), "the last match is replaced");
}

void replaceEach(const Case& c) {
  unsigned int count = 0;
  const std::string expected = replaceAll(c, c.content, c.find, c.replacement, count);
  StringBuffer buffer(c.content.c_str());
  const unsigned int replaced = buffer.replaceAllOccurances(c.find.c_str(), c.replacement.c_str());
  fuzz::require(replaced == count, "all matches are counted");
  requireContent(buffer, expected, "all matches are replaced");
}

void replaceEachNoCase(const Case& c) {
  unsigned int count = 0;
  const std::string expected = replaceAll(c, lower(c.content), lower(c.find), c.replacement, count);
  StringBuffer buffer(c.content.c_str());
  const unsigned int replaced =
      buffer.replaceAllOccurancesNoCase(c.find.c_str(), c.replacement.c_str());
  fuzz::require(replaced == count, "all matches of either case are counted");
  requireContent(buffer, expected, "all matches of either case are replaced");
}

void replaceInside(const Case& c) {
  std::string expected = c.content;
  for (std::size_t at = c.content.find(c.find); at != kNone;
       at = c.content.find(c.find, at + c.find.size()))
    for (std::size_t i = at; i < at + c.find.size(); ++i)
      if (expected[i] == c.from) expected[i] = c.to;
  StringBuffer buffer(c.content.c_str());
  buffer.replaceCharInOccurances(c.find.c_str(), c.from, c.to);
  requireContent(buffer, expected, "bytes are replaced inside the matches only");
}

void replaceByByte(const Case& c) {
  unsigned int count = 0;
  const std::string expected = replaceAll(c, c.content, c.find, std::string(1, c.to), count);
  StringBuffer buffer(c.content.c_str());
  const unsigned int code = static_cast<unsigned char>(c.to);
  fuzz::require(buffer.replaceAllWithUchar(c.find.c_str(), code) == count, "bytes are counted");
  requireContent(buffer, expected, "matches become one byte");
  if (code >= 0x80) return;
  StringBuffer utf8(c.content.c_str());
  utf8.replaceAllWithUcharUtf8(c.find.c_str(), code);
  requireContent(utf8, expected, "an ASCII character is one byte in UTF-8 too");
}

bool isWordByte(char c) {
  const unsigned int b = static_cast<unsigned char>(c);
  const char folded = lower(c);
  return (folded >= 'a' && folded <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         (b >= 0xC0 && b != 0xD7 && b != 0xF7);
}

// Where the word first stands alone, told by looking at every position.
std::size_t firstWord(const Case& c) {
  const std::string& text = c.content;
  for (std::size_t at = text.find(c.find); at != kNone; at = text.find(c.find, at + 1)) {
    const std::size_t behind = at + c.find.size();
    // Deliberate: a search goes on one byte behind a rejected match, and what stands on the left
    // of the place where it goes on is not looked at.
    const bool goesOn = at > 0 && text.compare(at - 1, c.find.size(), c.find) == 0;
    const bool left = at > 0 && !goesOn && isWordByte(text[at - 1]);
    if (!left && (behind == text.size() || !isWordByte(text[behind]))) return at;
  }
  return kNone;
}

void replaceWord(const Case& c) {
  StringBuffer buffer(c.content.c_str());
  buffer.replaceFirstWordOccurance(c.find.c_str(), c.replacement.c_str(), 0, false);
  requireContent(buffer, replaceAt(c, firstWord(c)), "the first whole word is replaced");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Case c;
  c.from = input.character();
  c.to = input.character();
  if (c.to == '\0') c.to = '-';
  c.find = input.line().c_str();
  if (c.find.empty()) c.find = "a";
  c.replacement = input.line().c_str();
  c.content = input.rest().c_str();
  replaceOne(c);
  replaceEach(c);
  replaceEachNoCase(c);
  replaceInside(c);
  replaceByByte(c);
  replaceWord(c);
  return 0;
}
