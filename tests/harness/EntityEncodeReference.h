#ifndef DORVANE_TESTS_HARNESS_ENTITYENCODEREFERENCE_H
#define DORVANE_TESTS_HARNESS_ENTITYENCODEREFERENCE_H

#include <cctype>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <string_view>

#include "harness/BufferState.h"

// Entity encoding told step by step on std::string, one byte at a time, for comparison.
namespace harness::reference::entity {

struct Result {
  std::string content;
  unsigned int count = 0;
};

using NameSet = std::set<std::string, std::less<>>;

// The names with the first letter in both cases.
inline void addBothCases(NameSet& names, std::initializer_list<const char*> list) {
  for (std::string name : list) {
    name[0] = static_cast<char>(std::toupper(name[0]));
    names.insert(name);
    name[0] = static_cast<char>(std::tolower(name[0]));
    names.insert(name);
  }
}

// The names that the careful escaper knows: its own list, not that of HTML.
inline const NameSet& knownNames() {
  static const NameSet all = [] {
    NameSet names = {"Aacute", "Acirc",  "Atilde", "Auml",                                 //
                     "amp",    "apos",   "aacute", "acirc",  "atilde", "auml",   "acute",  //
                     "bull",   "brkbar", "deg",    "diviee", "frac12", "frac14", "frac34",
                     "gt",     "lt",     "hibar",  "middot", "micro",  "nbsp",   "not",
                     "ntilde", "pound",  "para",   "plusmn", "quot",   "raquo",  "reg",
                     "shy",    "sect",   "sup1",   "sup2",   "sup3",   "szlig"};
    addBothCases(names, {"Aring", "AElig", "Aelig", "Agrave"});
    addBothCases(names, {"Ccedil", "cedil", "cent", "copy", "curren"});
    addBothCases(names, {"Eacute", "Ecirc", "Euml", "ETH", "Eth", "Egrave"});
    addBothCases(names, {"Iacute", "Icirc", "Iuml", "Igrave", "Iquest", "Iexcl"});
    addBothCases(names, {"Oacute", "Ocirc", "Otilde", "Ordf", "Ordm", "Ouml", "Oslash", "OElig",
                         "Oelig", "Ograve"});
    addBothCases(names, {"THORN", "Thorn"});
    addBothCases(names, {"Uacute", "Ucirc", "Utilde", "Uuml", "Uml", "Ugrave"});
    addBothCases(names, {"Yacute", "Yuml", "Yen"});
    return names;
  }();
  return all;
}

// Whether the text behind an "&" begins a reference that stays as it is.
inline bool beginsKnownReference(std::string_view rest) {
  if (rest.substr(0, 1) == "#") return true;
  const std::string_view window = rest.substr(0, 7);
  const std::size_t end = window.find(';');
  if (end == std::string_view::npos) return false;
  return knownNames().count(window.substr(0, end)) != 0;
}

inline Result encodeXmlSpecial(std::string_view content) {
  Result result;
  for (std::size_t i = 0; i < content.size(); ++i) {
    const char c = content[i];
    if (c == '<') {
      result.content += "&lt;";
    } else if (c == '>') {
      result.content += "&gt;";
    } else if (c == '&' && !beginsKnownReference(content.substr(i + 1))) {
      result.content += "&amp;";
    } else {
      result.content += c;
      continue;
    }
    ++result.count;
  }
  return result;
}

// The entities of the markup bytes and of the bytes up to 0x9F.
struct NamedByte {
  unsigned char byte;
  std::string_view name;
};
inline constexpr NamedByte kNamedBytes[] = {
    {0x22, "quot"},   {0x26, "amp"},    {0x27, "apos"},   {0x3C, "lt"},     {0x3E, "gt"},
    {0x80, "euro"},   {0x82, "sbquo"},  {0x84, "bdquo"},  {0x85, "hellip"}, {0x86, "dagger"},
    {0x87, "Dagger"}, {0x88, "circ"},   {0x89, "permil"}, {0x8A, "Scaron"}, {0x8B, "lsaquo"},
    {0x8C, "OElig"},  {0x91, "lsquo"},  {0x92, "rsquo"},  {0x93, "ldquo"},  {0x94, "rdquo"},
    {0x95, "bull"},   {0x96, "ndash"},  {0x97, "mdash"},  {0x98, "tilde"},  {0x99, "trade"},
    {0x9A, "scaron"}, {0x9B, "rsaquo"}, {0x9C, "oelig"},  {0x9F, "Yuml"}};

// The entities of the bytes 0xA1 to 0xFF.
inline constexpr std::string_view kLatin1Names[] = {
    "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",
    "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",
    "sup3",   "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",   "raquo",
    "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde", "Auml",
    "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave", "Iacute",
    "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",
    "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",  "szlig",
    "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil", "egrave",
    "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",   "eth",    "ntilde",
    "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave", "uacute",
    "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};
static_assert(sizeof(kLatin1Names) / sizeof(kLatin1Names[0]) == 0xFF - 0xA0);

// The entity of a Windows-1252 byte without its "&" and ";"; empty when the byte stays.
inline std::string_view entityOf(unsigned char byte) {
  if (byte > 0xA0) return kLatin1Names[byte - 0xA1];
  for (const auto& entity : kNamedBytes)
    if (entity.byte == byte) return entity.name;
  return {};
}

inline std::string encodeAll(std::string_view content) {
  std::string result;
  for (const char c : content) {
    const std::string_view name = entityOf(static_cast<unsigned char>(c));
    if (name.empty()) {
      result += c;
    } else {
      result.append("&").append(name).append(";");
    }
  }
  return result;
}

// The storage of a fresh buffer to which `result` has been appended at once.
inline GrowthModel storedAtOnce(std::string_view result) {
  GrowthModel storage;
  storage.append(static_cast<unsigned int>(result.size()));
  return storage;
}

// A text with the storage that holds it.
struct Text {
  std::string content;
  GrowthModel storage;

  void append(std::string_view piece) {
    if (piece.empty()) return;
    content += piece;
    storage.append(static_cast<unsigned int>(piece.size()));
  }
};

// Builds the result in a fresh buffer: what stands before each occurrence, the replacement, and
// the rest at the end. Without an occurrence the text and its storage stay.
inline unsigned int replaceAll(Text& text, std::string_view find, std::string_view replacement) {
  std::string_view rest(text.content.c_str());
  std::size_t found = rest.find(find);
  if (found == std::string_view::npos) return 0;
  Text output;
  unsigned int count = 0;
  for (; found != std::string_view::npos; found = rest.find(find)) {
    output.append(rest.substr(0, found));
    output.append(replacement);
    rest.remove_prefix(found + find.size());
    ++count;
  }
  output.append(rest);
  text = output;
  return count;
}

inline unsigned int replaceHtmlSpecial(Text& text) {
  replaceAll(text, "&", "&amp;");
  replaceAll(text, "<", "&lt;");
  replaceAll(text, ">", "&gt;");
  return replaceAll(text, "\"", "&quot;");
}

inline Result replacePreDefined(std::string_view content, std::size_t start) {
  static constexpr struct {
    std::string_view reference;
    char character;
  } kPredefined[] = {
      {"&amp;", '&'}, {"&apos;", '\''}, {"&gt;", '>'}, {"&lt;", '<'}, {"&quot;", '"'}};
  if (start >= content.size()) return {std::string(content), 0};
  Result result{std::string(content.substr(0, start)), 0};
  for (std::size_t i = start; i < content.size();) {
    char c = content[i];
    std::size_t length = 1;
    for (const auto& entity : kPredefined) {
      if (content.substr(i, entity.reference.size()) != entity.reference) continue;
      c = entity.character;
      length = entity.reference.size();
      ++result.count;
    }
    result.content += c;
    i += length;
  }
  return result;
}

}  // namespace harness::reference::entity

#endif
