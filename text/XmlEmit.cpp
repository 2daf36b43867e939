// Appending XML: escaped text, tags and elements. Tested in tests/text/XmlEmitTest.cpp.

#include <limits>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/ExtPtrArray.h"
#include "support/StringPair.h"
#include "support/internal/FewBytes.h"
#include "text/internal/Entities.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"

using dorvane::internal::FewBytesOf;
using dorvane::internal::kNamedCharacters;
using dorvane::internal::StableText;
using dorvane::internal::Staging;

namespace {

constexpr std::size_t kBlock = 250;
constexpr FewBytesOf<5> kEscaped("\"'<>&");
constexpr FewBytesOf<2> kAsCdata("\n\t");

std::string_view escapeOf(char c) {
  const auto* character = kNamedCharacters;
  while (character->ansi != static_cast<unsigned char>(c)) ++character;
  return character->reference;
}

bool append(StringBuffer& out, std::string_view piece) {
  return piece.size() <= std::numeric_limits<unsigned int>::max() &&
         out.appendN(piece.data(), static_cast<unsigned int>(piece.size()));
}

// A text whose copy could not be allocated is a piece that is left out.
std::string_view viewOf(const StableText& text) {
  return text.ok() ? text.view() : std::string_view();
}

void appendEscaped(StringBuffer& out, std::string_view bytes) {
  Staging<kBlock> staging(out);
  for (;;) {
    const std::size_t run = kEscaped.findFirstIn(bytes.data(), bytes.size());
    staging.putRun(bytes.substr(0, run));
    if (run == bytes.size()) break;
    staging.put(escapeOf(bytes[run]));
    bytes.remove_prefix(run + 1);
  }
  staging.flush();
}

// Escaped, or in a CDATA section when it holds an LF or a TAB.
void appendContent(StringBuffer& out, std::string_view text) {
  if (kAsCdata.findFirstIn(text.data(), text.size()) == text.size()) {
    appendEscaped(out, text);
    return;
  }
  append(out, "<![CDATA[");
  append(out, text);
  append(out, "]]>");
}

void appendAttribute(StringBuffer& out, const StringPair& pair) {
  append(out, " ");
  append(out, pair.getKey());
  append(out, "=\"");
  appendContent(out, pair.getValue());
  append(out, "\"");
}

int appendOpenTag(StringBuffer& out, std::string_view tag, const ExtPtrArray* attributes) {
  append(out, "<");
  append(out, tag);
  const int count = attributes == nullptr ? 0 : attributes->getSize();
  for (int i = 0; i < count; ++i) {
    const auto* const pair = static_cast<const StringPair*>(attributes->elementAt(i));
    if (pair != nullptr && pair->getKey() != nullptr) appendAttribute(out, *pair);
  }
  return append(out, ">") ? 1 : 0;
}

int appendCloseTag(StringBuffer& out, std::string_view tag) {
  append(out, "</");
  append(out, tag);
  return append(out, ">") ? 1 : 0;
}

}  // namespace

void StringBuffer::appendXml(const char* text) {
  const StableText stable(text, ownsAddress(text));
  appendContent(*this, viewOf(stable));
}

void StringBuffer::appendXmlNoCdata(const char* text) {
  const StableText stable(text, ownsAddress(text));
  appendEscaped(*this, viewOf(stable));
}

void StringBuffer::appendXmlNoCdataN(const char* bytes, unsigned int count) {
  const StableText stable(bytes, count, ownsAddress(bytes));
  appendEscaped(*this, viewOf(stable));
}

int StringBuffer::appendXmlOpenTag(const char* tag, const ExtPtrArray* attributes) {
  const StableText stable(tag, ownsAddress(tag));
  return appendOpenTag(*this, viewOf(stable), attributes);
}

int StringBuffer::appendXmlCloseTag(const char* tag) {
  const StableText stable(tag, ownsAddress(tag));
  return appendCloseTag(*this, viewOf(stable));
}

int StringBuffer::appendXml(const char* tag, const ExtPtrArray& attributes, const char* content) {
  const StableText stableTag(tag, ownsAddress(tag));
  const StableText stableContent(content, ownsAddress(content));
  appendOpenTag(*this, viewOf(stableTag), &attributes);
  appendContent(*this, viewOf(stableContent));
  return appendCloseTag(*this, viewOf(stableTag));
}
