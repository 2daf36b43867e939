// One XML element from parallel arrays. Tested in tests/text/XmlElementTest.cpp.

#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "text/internal/Texts.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::isEmpty;
using dorvane::internal::reserveMore;
using dorvane::internal::Scratch;

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

// Size of the pieces of an element, each with so many bytes after it.
std::uint64_t sizeOf(const Element& element, const char* body, std::size_t afterEach) {
  std::uint64_t size = 0;
  putElement(element, body, [&size, afterEach](const char* piece) {
    size += isEmpty(piece) ? 0 : std::strlen(piece) + afterEach;
    return true;
  });
  return size;
}

// Appends the pieces of an element one after the other; none lies in the buffer.
bool appendElement(StringBuffer& buffer, const Element& element, const char* body) {
  reserveMore(buffer, sizeOf(element, body, 0));
  return putElement(element, body, [&buffer](const char* piece) { return buffer.append(piece); });
}

// The same for an element with pieces in the buffer: all are gathered, each with its NUL, before
// the buffer changes.
bool appendOwnElement(StringBuffer& buffer, const Element& element, const char* body) {
  Scratch pieces(buffer);
  const BufferAccess gather(pieces);
  gather.reserve(sizeOf(element, body, 1));
  const bool gathered = putElement(element, body, [&gather](const char* piece) {
    return isEmpty(piece) || gather.append({piece, std::strlen(piece) + 1});
  });
  reserveMore(buffer, sizeOf(element, body, 0));
  const char* const end = gather.data() + gather.size();
  bool appended = false;
  for (const char* piece = gather.data(); piece != end; piece += std::strlen(piece) + 1)
    appended = buffer.append(piece);
  return gathered && appended;
}

}  // namespace

bool StringBuffer::simpleXml(const char* tag, const char* content, int attributeCount,
                             const char* const* names, const char* const* values) {
  const BufferAccess self(*this);
  const bool hasPairs = names != nullptr && values != nullptr;
  const Element element = {tag, hasPairs ? attributeCount : 0, names, values};
  Scratch escaped(*this);
  escaped.append(content);
  escaped.encodeXMLSpecial();
  const char* const body = isEmpty(content) ? nullptr : escaped.getString();

  const bool aliased = uses(element, [&self](const void* p) { return self.owns(p); });
  return aliased ? appendOwnElement(*this, element, body) : appendElement(*this, element, body);
}
