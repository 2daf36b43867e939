// Tokenizing: the tokens are what the text holds besides white space, and their number is known.

#include <vector>

#include "fuzz/Input.h"
#include "support/ExtPtrArraySb.h"

namespace {

using fuzz::require;

using Tokens = std::vector<std::string>;

Tokens tokensOf(const ExtPtrArraySb& array) {
  Tokens tokens;
  for (int i = 0; i < array.getSize(); ++i) {
    fuzz::requireSound(*array.sbAt(i));
    tokens.emplace_back(fuzz::contentOf(*array.sbAt(i)));
  }
  return tokens;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Quotes and backslashes are never punctuation.
bool isPunctuation(const std::string& token, std::string_view punctuation) {
  return token.size() == 1 && token[0] != '"' && token[0] != '\\' &&
         fuzz::contains(punctuation, token);
}

unsigned int countWords(const Tokens& tokens, std::string_view punctuation) {
  unsigned int count = 0;
  for (const std::string& token : tokens)
    if (!token.empty() && !isPunctuation(token, punctuation)) ++count;
  return count;
}

// The text without the white space that separates its tokens; some may be punctuation instead.
std::string withoutSeparators(std::string_view text, std::string_view punctuation) {
  const auto separates = [punctuation](char c) {
    return isSpace(c) && punctuation.find(c) == std::string_view::npos;
  };
  std::string kept;
  bool inQuotes = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') inQuotes = !inQuotes;
    if (inQuotes || !separates(text[i])) kept += text[i];
    if (text[i] == '\\' && !inQuotes && i + 1 < text.size()) kept += text[++i];
  }
  return kept;
}

std::string join(const Tokens& tokens) {
  std::string all;
  for (const std::string& token : tokens) all += token;
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::string punctuation = input.line().c_str();
  const std::string content = input.rest();
  StringBuffer buffer;
  fuzz::fill(buffer, content);
  ExtPtrArraySb array;
  buffer.tokenize(array, punctuation.c_str());
  const Tokens tokens = tokensOf(array);
  const std::string_view text = fuzz::textOf(content);
  require(join(tokens) == withoutSeparators(text, punctuation), "the tokens make up the text");
  require(buffer.tokenCount(punctuation.c_str()) == countWords(tokens, punctuation),
          "words are counted");
  ExtPtrArraySb cpp;
  buffer.tokenizeCPP(cpp);
  require(join(tokensOf(cpp)) == withoutSeparators(text, ""), "all of the source is there");
  return 0;
}
