// Appending XML: escaped text, tags and elements. Tested in tests/text/XmlEmitTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "support/ExtPtrArray.h"
#include "support/StringPair.h"
#include "support/internal/FewBytes.h"
#include "text/internal/Entities.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::AppendTrimmed;
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

// A text whose copy could not be allocated is a piece that is left out.
std::string_view viewOf(const StableText& text) {
  return text.ok() ? text.view() : std::string_view();
}

// Hands the runs that stay as they are and the references that stand for the other bytes, in order.
template <class PutRun, class PutReference>
void escape(std::string_view bytes, const PutRun& putRun, const PutReference& putReference) {
  for (;;) {
    const std::size_t run = kEscaped.findFirstIn(bytes.data(), bytes.size());
    putRun(bytes.substr(0, run));
    if (run == bytes.size()) break;
    putReference(escapeOf(bytes[run]));
    bytes.remove_prefix(run + 1);
  }
}

template <class Append>
void escapeInBlocks(std::string_view bytes, const Append& append) {
  Staging<kBlock, Append> staging(append);
  escape(
      bytes, [&](std::string_view run) { staging.putRun(run); },
      [&](std::string_view reference) { staging.put(reference); });
  staging.flush();
}

void appendAttribute(StringBuffer& out, const StringPair& pair) {
  appendTo(out, " ");
  appendTo(out, pair.getKey());
  appendTo(out, "=\"");
  out.appendXml(pair.getValue());
  appendTo(out, "\"");
}

int appendOpenTag(StringBuffer& out, std::string_view tag, const ExtPtrArray* attributes) {
  appendTo(out, "<");
  appendTo(out, tag);
  const int count = attributes == nullptr ? 0 : attributes->getSize();
  for (int i = 0; i < count; ++i) {
    const auto* const pair = static_cast<const StringPair*>(attributes->elementAt(i));
    if (pair != nullptr && pair->getKey() != nullptr) appendAttribute(out, *pair);
  }
  return appendTo(out, ">") ? 1 : 0;
}

int appendCloseTag(StringBuffer& out, std::string_view tag) {
  appendTo(out, "</");
  appendTo(out, tag);
  return appendTo(out, ">") ? 1 : 0;
}

}  // namespace

// Deliberate: unlike appendXmlNoCdata() it appends character by character, which callers see in
// heapUsage().
void StringBuffer::appendXmlContent(std::string_view text) {
  if (kAsCdata.findFirstIn(text.data(), text.size()) == text.size()) {
    escape(
        text, [this](std::string_view run) { appendSingly(run); },
        [this](std::string_view reference) { appendTo(*this, reference); });
    return;
  }
  appendTo(*this, "<![CDATA[");
  appendTo(*this, text);
  appendTo(*this, "]]>");
}

void StringBuffer::appendXml(const char* text) {
  const StableText stable(text, ownsAddress(text));
  appendXmlContent(viewOf(stable));
}

void StringBuffer::appendXmlNoCdata(const char* text) {
  const StableText stable(text, ownsAddress(text));
  escapeInBlocks(viewOf(stable), AppendTrimmed(*this));
}

// As they are: appendN() would drop NULs at the end of a block, and those of the content before.
void StringBuffer::appendXmlNoCdataN(const char* bytes, unsigned int count) {
  const StableText stable(bytes, count, ownsAddress(bytes));
  escapeInBlocks(viewOf(stable),
                 [this](std::string_view block) { return block.empty() || appendBytes(block); });
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
  appendXmlContent(viewOf(stableContent));
  return appendCloseTag(*this, viewOf(stableTag));
}
