#include "Header.h"

#include <cstring>
#include <initializer_list>
#include <map>

#include "core/StringBuffer.h"
#include "shared/Utf8.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogNull.h"
#include "support/dvString.h"

namespace {

// ---- Lines ----

enum class Line { kField, kContinuation, kIgnored, kOther };

bool isBlank(char byte) { return byte == ' ' || byte == '\t'; }

const char* skipBlanks(const char* text) {
  while (isBlank(*text)) ++text;
  return text;
}

// The line before a message in a mailbox file. Some programs leave it inside the header, with a ">"
// before it, so that it does not begin another message.
bool isMailboxLine(const char* line) {
  if (*line == '>') ++line;
  return std::strncmp(line, "From ", 5) == 0;
}

// The name of a field is printable ASCII; blanks before the colon are old style (RFC 5322, section
// 4.5). A field needs a name.
Line kindOf(const char* line) {
  if (isBlank(*line)) return Line::kContinuation;
  const char* name = line;
  while (*name > ' ' && *name < '\x7F' && *name != ':') ++name;
  if (*skipBlanks(name) == ':') return name == line ? Line::kIgnored : Line::kField;
  return isMailboxLine(line) ? Line::kIgnored : Line::kOther;
}

bool addField(const char* line, unsigned int size, ExtPtrArraySb& lines) {
  StringBuffer* const field = StringBuffer::createNewSB();
  if (field == nullptr || !lines.appendPtr(field)) return false;
  return field->appendN(line, size);
}

bool continueField(const char* line, unsigned int size, ExtPtrArraySb& lines) {
  StringBuffer& field = *lines.sbAt(lines.getSize() - 1);
  return field.appendChar(' ') && field.appendN(line + 1, size - 1);
}

struct Header {
  ExtPtrArraySb& lines;
  const char* body = nullptr;  // what follows the header
  bool isClosed = true;        // by an empty line or the end of the text
};

// Adds one line; false when memory is exhausted.
bool addLine(Line kind, const char* line, unsigned int size, Header& header) {
  if (kind == Line::kField) return addField(line, size, header.lines);
  // There is nothing that the first line could continue.
  if (kind == Line::kIgnored || header.lines.getSize() == 0) return true;
  return continueField(line, size, header.lines);
}

// Reads the fields up to an empty line or to a line that is none. Like most mail programs this
// takes such a line for the first one of the body. What would have been ignored right before the
// end belongs to the body, too. False when memory is exhausted.
bool readFields(const char* text, Header& header) {
  header.body = text;
  const char* line = text;
  while (*line != '\0' && *line != '\n') {
    const Line kind = kindOf(line);
    header.isClosed = kind != Line::kOther;
    if (!header.isClosed) return true;
    const char* const newLine = dvStrChr(line, '\n');
    const char* const end = newLine == nullptr ? line + std::strlen(line) : newLine;
    if (!addLine(kind, line, static_cast<unsigned int>(end - line), header)) return false;
    line = newLine == nullptr ? end : end + 1;
    if (kind != Line::kIgnored) header.body = line;
  }
  if (header.body == line && *line == '\n') ++header.body;
  return true;
}

int countFields(const ExtPtrArraySb& lines, std::initializer_list<const char*> names) {
  StringBuffer value;
  int found = 0;
  for (const char* const name : names)
    if (findHeader(lines, name, value)) ++found;
  return found;
}

// A header that runs into the body must be surer of itself: "Date: 3 March" begins many a note.
bool isMailHeader(const Header& header) {
  const int found =
      countFields(header.lines, {"From", "Date", "Subject", "Received", "Content-Type"});
  if (found == 0 || header.isClosed) return found != 0;
  return found + countFields(header.lines, {"To", "Return-Path", "Message-ID", "MIME-Version"}) > 1;
}

// ---- Parameters ----

// Splits `name = "value"`. Blanks between the quotes stay.
void splitParameter(const StringBuffer& piece, StringBuffer& name, StringBuffer& value) {
  name.weakClear();
  value.weakClear();
  if (!piece.separate('=', name, value)) name.append(piece);
  name.trim2();
  value.trim2();
  if (value.charAt(0) == '"') {
    value.removeChunk(0, 1);
    if (value.lastChar() == '"') value.shorten(1);
  }
  value.unescape();
}

bool findParameter(const ExtPtrArraySb& pieces, const char* name, StringBuffer& parameter) {
  for (int i = 1; i < pieces.getSize(); ++i) {
    StringBuffer found;
    splitParameter(*pieces.sbAt(i), found, parameter);
    if (found.equalsIgnoreCase(name)) return true;
  }
  parameter.clear();
  return false;
}

// A parameter in sections, "name*0", "name*1", ... (RFC 2231, section 3). "name*" is all of it.
struct Section {
  StringBuffer text;
  bool isEncoded = false;
};
using Sections = std::map<int, Section>;

// Reads what follows the name of a section: "*", "*0*" or "*0"; false when it is none.
bool readNumber(const char* suffix, int& number, bool& isEncoded) {
  constexpr unsigned int kMostDigits = 4;
  if (*suffix != '*') return false;
  StringBuffer digits;
  const unsigned int size = digits.captureDecimal(++suffix);
  suffix += size;
  number = digits.intValue();
  isEncoded = size == 0 || *suffix == '*';
  if (size != 0 && isEncoded) ++suffix;
  return size <= kMostDigits && *suffix == '\0';
}

void findSections(const ExtPtrArraySb& pieces, const char* name, Sections& sections) {
  StringBuffer found;
  StringBuffer text;
  int number = 0;
  bool isEncoded = false;
  for (int i = 1; i < pieces.getSize(); ++i) {
    splitParameter(*pieces.sbAt(i), found, text);
    if (!found.beginsWithIgnoreCase(name)) continue;
    if (!readNumber(found.getString() + std::strlen(name), number, isEncoded)) continue;
    Section& section = sections[number];
    if (section.text.getSize() != 0) continue;  // the first one holds
    section.text.takeSb(text);
    section.isEncoded = isEncoded;
  }
}

// The sections together.
struct Extended {
  StringBuffer asItCame;
  StringBuffer charset;
  StringBuffer bytes;
  bool isEncoded = false;
};

// CHARSET'LANGUAGE' comes before the text of the first section (RFC 2231, section 4). The text
// may have further apostrophes; with fewer than two there is no charset.
void takeCharset(StringBuffer& section, StringBuffer& charset) {
  StringBuffer rest;
  StringBuffer language;
  StringBuffer text;
  StringBuffer name;
  if (!section.separate('\'', name, rest) || !rest.separate('\'', language, text)) return;
  charset.takeSb(name);
  section.takeSb(text);
}

void join(Section& section, bool isFirst, Extended& extended) {
  extended.asItCame.append(section.text);
  if (!section.isEncoded) {
    extended.bytes.append(section.text);
    return;
  }
  extended.isEncoded = true;
  if (isFirst) takeCharset(section.text, extended.charset);
  DataBuffer bytes;
  LogNull log;
  section.text.decode("url", bytes, log);
  extended.bytes.appendN(reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize());
}

// Joins the sections up to the first that is missing; false when there is none.
bool findExtended(const ExtPtrArraySb& pieces, const char* name, Extended& extended) {
  Sections sections;
  findSections(pieces, name, sections);
  int number = 0;
  for (auto next = sections.find(0); next != sections.end(); next = sections.find(++number))
    join(next->second, number == 0, extended);
  return number != 0;
}

// A text in a charset that is not known stays as it came, like an encoded word; ASCII it is in any.
void decodeExtended(Extended& extended, StringBuffer& parameter) {
  const bool isKnown = extended.bytes.is7bit(0) || isKnownCharset(extended.charset.getString());
  parameter.takeSb(isKnown ? extended.bytes : extended.asItCame);
  makeLine(parameter, isKnown ? extended.charset.getString() : "");
}

// The extended form is the better one of two; the other is for programs that do not know it.
// `isEncoded` becomes whether the parameter had a charset of its own and is decoded now.
bool findAnyParameter(const StringBuffer& value, const char* name, StringBuffer& parameter,
                      bool& isEncoded) {
  ExtPtrArraySb pieces;
  Extended extended;
  isEncoded = false;
  parameter.clear();
  if (!value.split(pieces, ';', true, true)) return false;
  if (!findExtended(pieces, name, extended)) return findParameter(pieces, name, parameter);
  isEncoded = extended.isEncoded;
  if (isEncoded)
    decodeExtended(extended, parameter);
  else
    parameter.takeSb(extended.bytes);
  return true;
}

void decodeWords(StringBuffer& value) {
  LogNull log;
  makeLine(value, "");  // some send other than ASCII
  value.qbDecode(log);
  makeLine(value, "");  // a word may hold anything
}

}  // namespace

bool beginsWithHeader(const StringBuffer& text) {
  ExtPtrArraySb lines;
  Header header{lines};
  return readFields(text.getString(), header) && isMailHeader(header);
}

bool takeHeader(StringBuffer& text, ExtPtrArraySb& lines) {
  Header header{lines};
  if (!readFields(text.getString(), header)) return false;
  const auto size = static_cast<unsigned int>(header.body - text.getString());
  // Without a field there is no header but an empty one.
  if (lines.getSize() != 0 || text.charAt(0) == '\n') text.removeChunk(0, size);
  return true;
}

bool findHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value) {
  value.clear();
  for (int i = 0; i < lines.getSize(); ++i) {
    StringBuffer found;
    value.weakClear();
    if (!lines.sbAt(i)->separate(':', found, value)) continue;
    found.trim2();
    value.trim2();
    if (found.equalsIgnoreCase(name)) return true;
  }
  value.clear();
  return false;
}

void getHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value) {
  if (findHeader(lines, name, value)) decodeWords(value);
}

void getMainValue(const StringBuffer& value, StringBuffer& main) {
  value.getNthDelimited(0, ';', true, false, main);
  main.trim2();
  main.toLowerCase();
  makeLine(main, "");
}

bool getParameter(const StringBuffer& value, const char* name, StringBuffer& parameter) {
  bool isEncoded = false;
  return findAnyParameter(value, name, parameter, isEncoded);
}

bool getNameParameter(const StringBuffer& value, const char* name, StringBuffer& parameter) {
  bool isEncoded = false;
  if (!findAnyParameter(value, name, parameter, isEncoded)) return false;
  if (!isEncoded) decodeWords(parameter);
  return true;
}
