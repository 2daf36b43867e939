// Appending XML: escaped text, tags and elements. Tested in tests/text/XmlEmitTest.cpp.

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ExtPtrArray.h"
#include "support/StringPair.h"
#include "support/internal/FewBytes.h"
#include "text/internal/Entities.h"
#include "text/internal/StableText.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::AppendTrimmed;
using dorvane::internal::BufferAccess;
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

// What the escaped form of the bytes is longer by.
std::uint64_t addedByEscaping(std::string_view bytes) {
  std::uint64_t added = 0;
  for (;;) {
    const std::size_t run = kEscaped.findFirstIn(bytes.data(), bytes.size());
    if (run == bytes.size()) return added;
    added += escapeOf(bytes[run]).size() - 1;
    bytes.remove_prefix(run + 1);
  }
}

// Holds memory for the escaped form of the bytes, which is appended in small steps.
void reserveForEscaped(StringBuffer& out, std::string_view bytes) {
  const BufferAccess access(out);
  access.reserve(access.size() + bytes.size() + addedByEscaping(bytes));
}

template <class Append>
void escapeInBlocks(std::string_view bytes, const Append& append) {
  Staging<kBlock, Append> staging(append);
  escape(
      bytes, [&](std::string_view run) { staging.putRun(run); },
      [&](std::string_view reference) { staging.put(reference); });
  staging.flush();
}

// Appends bytes with the growth of one appendChar() after the other; a byte for which there is no
// room is left out.
void appendSingly(StringBuffer& out, std::string_view bytes) {
  const BufferAccess access(out);
  while (!bytes.empty()) {
    const bool hasRoom = access.makeRoom(1);
    const std::string_view run =
        bytes.substr(0, hasRoom ? access.longestWithoutGrowth() - access.size() : 1);
    if (hasRoom) access.append(run);
    bytes.remove_prefix(run.size());
  }
}

// Deliberate: unlike appendXmlNoCdata() it appends character by character, which callers see in
// heapUsage().
void appendContent(StringBuffer& out, std::string_view text) {
  if (kAsCdata.findFirstIn(text.data(), text.size()) == text.size()) {
    reserveForEscaped(out, text);
    escape(
        text, [&out](std::string_view run) { appendSingly(out, run); },
        [&out](std::string_view reference) { appendTo(out, reference); });
    return;
  }
  appendTo(out, "<![CDATA[");
  appendTo(out, text);
  appendTo(out, "]]>");
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

void StringBuffer::appendXml(const char* text) {
  const StableText stable(text, *this);
  appendContent(*this, viewOf(stable));
}

void StringBuffer::appendXmlNoCdata(const char* text) {
  const StableText stable(text, *this);
  reserveForEscaped(*this, viewOf(stable));
  escapeInBlocks(viewOf(stable), AppendTrimmed(*this));
}

// As they are: appendN() would drop NULs at the end of a block, and those of the content before.
void StringBuffer::appendXmlNoCdataN(const char* bytes, unsigned int count) {
  const StableText stable(bytes, count, *this);
  const BufferAccess self(*this);
  reserveForEscaped(*this, viewOf(stable));
  escapeInBlocks(viewOf(stable),
                 [&self](std::string_view block) { return block.empty() || self.append(block); });
}

int StringBuffer::appendXmlOpenTag(const char* tag, const ExtPtrArray* attributes) {
  const StableText stable(tag, *this);
  return appendOpenTag(*this, viewOf(stable), attributes);
}

int StringBuffer::appendXmlCloseTag(const char* tag) {
  const StableText stable(tag, *this);
  return appendCloseTag(*this, viewOf(stable));
}

int StringBuffer::appendXml(const char* tag, const ExtPtrArray& attributes, const char* content) {
  const StableText stableTag(tag, *this);
  const StableText stableContent(content, *this);
  appendOpenTag(*this, viewOf(stableTag), &attributes);
  appendContent(*this, viewOf(stableContent));
  return appendCloseTag(*this, viewOf(stableTag));
}
