#ifndef DORVANE_TESTS_HARNESS_XMLREFERENCE_H
#define DORVANE_TESTS_HARNESS_XMLREFERENCE_H

#include <string>
#include <string_view>
#include <vector>

#include "harness/EntityEncodeReference.h"
#include "harness/ModelBuffer.h"

// Elements of XML written piece by piece.
namespace harness::reference::xml {

// A null key makes no attribute.
struct Attribute {
  const char* key;
  const char* value;
};
using Attributes = std::vector<Attribute>;

inline std::string orEmpty(const char* text) { return text == nullptr ? "" : text; }

inline std::string escapedByte(char c) {
  if (c == '"') return "&quot;";
  if (c == '\'') return "&apos;";
  if (c == '<') return "&lt;";
  if (c == '>') return "&gt;";
  if (c == '&') return "&amp;";
  return std::string(1, c);
}

inline std::string escaped(std::string_view bytes) {
  std::string all;
  for (const char c : bytes) all += escapedByte(c);
  return all;
}

// Gathers in a block of 250 bytes; what does not fit any more waits for the next one.
inline void appendNoCdata(ModelBuffer& buffer, std::string_view bytes) {
  std::string block;
  for (const char c : bytes) {
    const std::string piece = escapedByte(c);
    if (block.size() + piece.size() > 250) {
      buffer.append(block);
      block.clear();
    }
    block += piece;
  }
  buffer.append(block);
}

inline bool needsCdata(const char* text) {
  return orEmpty(text).find_first_of("\n\t") != std::string::npos;
}

// A section in its three pieces, or byte after byte.
inline void appendText(ModelBuffer& buffer, const char* text) {
  if (needsCdata(text)) {
    for (const std::string& piece : {std::string("<![CDATA["), orEmpty(text), std::string("]]>")})
      buffer.append(piece);
    return;
  }
  for (const char c : orEmpty(text)) buffer.append(escapedByte(c));
}

inline std::string content(const char* text) {
  if (needsCdata(text)) return "<![CDATA[" + orEmpty(text) + "]]>";
  return escaped(orEmpty(text));
}

inline std::string openTag(const char* tag, const Attributes& attributes) {
  std::string all = "<" + orEmpty(tag);
  for (const Attribute& attribute : attributes) {
    if (attribute.key == nullptr) continue;
    all += " " + std::string(attribute.key) + "=\"" + content(attribute.value) + "\"";
  }
  return all + ">";
}

inline std::string closeTag(const char* tag) { return "</" + orEmpty(tag) + ">"; }

inline std::string element(const char* tag, const Attributes& attributes, const char* text) {
  return openTag(tag, attributes) + content(text) + closeTag(tag);
}

// The element whose values are raw and whose content keeps its references, in its pieces.
inline std::vector<std::string> simpleElement(const char* tag, const char* text,
                                              const Attributes& attributes) {
  std::vector<std::string> pieces = {"<", orEmpty(tag)};
  for (const Attribute& attribute : attributes) {
    if (attribute.key == nullptr) continue;
    for (const std::string& piece :
         {std::string(" "), std::string(attribute.key), std::string("=\""),
          orEmpty(attribute.value), std::string("\"")})
      pieces.push_back(piece);
  }
  if (orEmpty(text).empty()) {
    pieces.emplace_back(" />");
    return pieces;
  }
  for (const std::string& piece : {std::string(">"), entity::encodeXmlSpecial(text).content,
                                   std::string("</"), orEmpty(tag), std::string(">")})
    pieces.push_back(piece);
  return pieces;
}

}  // namespace harness::reference::xml

#endif
