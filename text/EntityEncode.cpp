// Escaping for XML and HTML. Tested in tests/text/EntityEncodeTest.cpp against the
// byte-by-byte form and an independent list of HTML entities.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/ByteSet.h"
#include "support/internal/FewBytes.h"
#include "text/internal/Entities.h"
#include "text/internal/Texts.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::FewBytes;
using dorvane::internal::kNamedCharacters;
using dorvane::internal::makeRoomForTwice;
using dorvane::internal::Scratch;

namespace {

// ---- The references that the careful escaper leaves alone ----

// Deliberate: this list is older than HTML 4 and differs from it ("brkbar", "hibar", "diviee",
// "Iquest"; no "brvbar", "macr", "divide", "laquo", "times", "Ntilde"). Texts that were escaped
// with it must not be escaped twice, so it stands apart from the table of named characters.
struct KnownNames {
  std::string_view firstLetters;  // any of these
  std::string_view tails;         // the rest of the name, each tail followed by ";"
};

constexpr KnownNames kKnownNames[] = {
    {"A", "acute;circ;tilde;uml;"},
    {"a", "mp;pos;acute;circ;tilde;uml;cute;"},
    {"Aa", "ring;Elig;elig;grave;"},
    {"Cc", "cedil;edil;ent;opy;urren;"},
    {"Ee", "acute;circ;uml;TH;th;grave;"},
    {"Ii", "acute;circ;uml;grave;quest;excl;"},
    {"Oo", "acute;circ;tilde;rdf;rdm;uml;slash;Elig;elig;grave;"},
    {"Tt", "HORN;horn;"},
    {"Uu", "acute;circ;tilde;uml;ml;grave;"},
    {"Yy", "acute;uml;en;"},
    {"b", "ull;rkbar;"},
    {"d", "eg;iviee;"},
    {"f", "rac12;rac14;rac34;"},
    {"gl", "t;"},
    {"h", "ibar;"},
    {"m", "iddot;icro;"},
    {"n", "bsp;ot;tilde;"},
    {"p", "ound;ara;lusmn;"},
    {"q", "uot;"},
    {"r", "aquo;eg;"},
    {"s", "hy;ect;up1;up2;up3;zlig;"},
};

constexpr std::size_t kLongestNameWithSemicolon = 7;

// True when `tail`, which ends with ";", is one of `tails`.
bool isOneOf(std::string_view tails, std::string_view tail) {
  while (!tails.empty()) {
    const std::size_t size = tails.find(';') + 1;
    if (tails.substr(0, size) == tail) return true;
    tails.remove_prefix(size);
  }
  return false;
}

// True when the text behind an "&" makes it the start of a reference.
bool beginsKnownReference(std::string_view rest) {
  if (rest.empty()) return false;
  if (rest[0] == '#') return true;
  const std::size_t semicolon = rest.substr(0, kLongestNameWithSemicolon).find(';');
  if (semicolon == std::string_view::npos || semicolon == 0) return false;
  const std::string_view tail = rest.substr(1, semicolon);
  for (const KnownNames& names : kKnownNames)
    if (names.firstLetters.find(rest[0]) != std::string_view::npos && isOneOf(names.tails, tail))
      return true;
  return false;
}

// What the careful escaper writes for the byte at the start of `rest`; empty: the byte stays.
std::string_view carefulEscape(std::string_view rest) {
  switch (rest[0]) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return beginsKnownReference(rest.substr(1)) ? "" : "&amp;";
  }
}

// ---- The named characters by their Windows-1252 byte ----

constexpr std::array<std::string_view, 256> collectReferences() {
  std::array<std::string_view, 256> references{};
  for (const auto& character : kNamedCharacters) references[character.ansi] = character.reference;
  return references;
}

constexpr ByteSet collectNamedCharacters() {
  ByteSet set;
  for (const auto& character : kNamedCharacters) set.add(static_cast<char>(character.ansi));
  return set;
}

constexpr std::array<std::string_view, 256> kReferences = collectReferences();
constexpr ByteSet kNamed = collectNamedCharacters();
constexpr FewBytes kMarkup("&<>");
constexpr FewBytes kHtmlMarkup("&<>\"");

// ---- The escaped forms ----

// Appends a text as the careful escaper writes it, but nothing if it needs no escape; returns the
// number of escapes.
unsigned int appendEscaped(std::string_view all, StringBuffer& out) {
  const BufferAccess room(out);
  unsigned int count = 0;
  std::size_t done = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    i += kMarkup.findFirstIn(all.data() + i, all.size() - i);
    if (i == all.size()) break;
    const std::string_view escape = carefulEscape(all.substr(i));
    if (escape.empty()) continue;
    if (count++ == 0) makeRoomForTwice(out, all.size());
    room.append(all.substr(done, i - done));
    room.append(escape);
    done = i + 1;
  }
  if (count != 0) room.append(all.substr(done));
  return count;
}

// Appends a text, its named characters written as names.
void appendNamed(std::string_view rest, StringBuffer& out) {
  makeRoomForTwice(out, rest.size());
  const BufferAccess room(out);
  for (;;) {
    const std::size_t run = kNamed.findFirstIn(rest.data(), rest.size());
    room.append(rest.substr(0, run));
    if (run == rest.size()) return;
    room.append(kReferences[static_cast<unsigned char>(rest[run])]);
    rest.remove_prefix(run + 1);
  }
}

// ---- The predefined entities of XML ----

struct Predefined {
  std::string_view reference;
  char character;
};

constexpr Predefined kPredefined[] = {
    {"&amp;", '&'}, {"&apos;", '\''}, {"&gt;", '>'}, {"&lt;", '<'}, {"&quot;", '"'}};

// The one at the start of `text`, or null.
const Predefined* predefinedAt(std::string_view text) {
  if (text.front() != '&') return nullptr;
  for (const Predefined& entity : kPredefined)
    if (text.substr(0, entity.reference.size()) == entity.reference) return &entity;
  return nullptr;
}

}  // namespace

// In both, a piece for which there is no memory is left out: text that is lost is safer than text
// that is not escaped.

unsigned int StringBuffer::encodeXMLSpecial() {
  Scratch out(*this);
  const unsigned int count = appendEscaped(BufferAccess(*this).content(), out);
  if (count == 0) return 0;
  clear();
  append(out);
  return count;
}

void StringBuffer::encodeAllXmlSpecial() {
  Scratch out(*this);
  appendNamed(BufferAccess(*this).content(), out);
  clear();
  append(out);
}

unsigned int StringBuffer::replaceHTMLSpecial() {
  const std::string_view all = BufferAccess(*this).text();
  if (kHtmlMarkup.findFirstIn(all.data(), all.size()) == all.size()) return 0;
  replaceAllOccurances("&", "&amp;");
  replaceAllOccurances("<", "&lt;");
  replaceAllOccurances(">", "&gt;");
  return replaceAllOccurances("\"", "&quot;");
}

unsigned int StringBuffer::replacePreDefinedXmlEntities(unsigned int start) {
  const BufferAccess self(*this);
  const std::string_view all = self.content();
  if (start >= all.size()) return 0;
  char* const bytes = self.data();
  unsigned int count = 0;
  std::size_t write = start;
  for (std::size_t read = start; read < all.size();) {
    if (const Predefined* const entity = predefinedAt(all.substr(read))) {
      bytes[write++] = entity->character;
      read += entity->reference.size();
      ++count;
    } else {
      const std::size_t run = std::min(all.find('&', read + 1), all.size()) - read;
      std::memmove(bytes + write, bytes + read, run);
      write += run;
      read += run;
    }
  }
  self.terminateAt(write);
  return count;
}
