// One XML element from parallel arrays. Tested in tests/text/XmlElementTest.cpp.

#include <cstring>

#include "core/StringBuffer.h"

namespace {

struct Element {
  const char* tag;
  int attributeCount;
  const char* const* names;
  const char* const* values;
};

// Hands the pieces before the content to `put`, which answers whether it could append one.
template <class Put>
void putOpenTag(const Element& element, const Put& put) {
  put("<");
  put(element.tag);
  for (int i = 0; i < element.attributeCount; ++i) {
    if (element.names[i] == nullptr) continue;
    put(" ");
    put(element.names[i]);
    put("=\"");
    put(element.values[i]);
    put("\"");
  }
}

// Hands the pieces of the element to `put`; the result is that of the last one. A null body makes
// it an empty element.
template <class Put>
bool putElement(const Element& element, const char* body, const Put& put) {
  putOpenTag(element, put);
  if (body == nullptr) return put(" />");
  put(">");
  put(body);
  put("</");
  put(element.tag);
  return put(">");
}

// True when `owned` holds for an argument.
template <class Owned>
bool uses(const Element& element, const Owned& owned) {
  bool found = owned(element.tag) || owned(element.names) || owned(element.values);
  for (int i = 0; i < element.attributeCount && !found; ++i)
    found = owned(element.names[i]) || owned(element.values[i]);
  return found;
}

}  // namespace

bool StringBuffer::simpleXml(const char* tag, const char* content, int attributeCount,
                             const char* const* names, const char* const* values) {
  const bool hasPairs = names != nullptr && values != nullptr;
  const Element element = {tag, hasPairs ? attributeCount : 0, names, values};
  const bool isEmpty = content == nullptr || *content == '\0';
  StringBuffer escaped;
  escaped.m_secure = m_secure;
  escaped.append(content);
  escaped.encodeXMLSpecial();
  const char* const body = isEmpty ? nullptr : escaped.m_data;

  const auto put = [this](const char* piece) { return append(piece); };
  const bool aliased = uses(element, [this](const void* p) { return ownsAddress(p); });
  if (!aliased) return putElement(element, body, put);
  // The pieces are gathered, each with its NUL, before this buffer changes.
  StringBuffer pieces;
  pieces.m_secure = m_secure;
  const bool gathered = putElement(element, body, [&pieces](const char* piece) {
    return piece == nullptr || *piece == '\0' || pieces.appendBytes(piece, std::strlen(piece) + 1);
  });
  const char* const end = pieces.m_data + pieces.m_length;
  bool appended = false;
  for (const char* piece = pieces.m_data; piece != end; piece += std::strlen(piece) + 1)
    appended = append(piece);
  return gathered && appended;
}
