#ifndef DORVANE_EXAMPLES_DEMO_MESSAGE_H
#define DORVANE_EXAMPLES_DEMO_MESSAGE_H

#include <deque>

#include "core/StringBuffer.h"
#include "shared/Table.h"
#include "support/ExtPtrArraySb.h"

/// What a part is shown as.
enum class Kind { kText, kHtml, kTable, kBinary };

/// One part of a message, decoded.
struct Part {
  Kind kind = Kind::kText;
  StringBuffer type;        // "text/html"
  StringBuffer charset;     // empty when it is not told
  StringBuffer encoding;    // "base64"; empty when it is not told
  StringBuffer name;        // of an attachment
  unsigned int size = 0;    // decoded bytes; a line ending is one unless it was encoded
  unsigned int damage = 0;  // bytes that the decoding could make nothing of
  StringBuffer text;        // clean UTF-8; the first bytes of a binary part in hexadecimal
  ExtPtrArraySb lines;      // of the text
  Table table;
};

/// A mail message (RFC 5322, RFC 2045 to 2047), or another text file as its only part.
struct Message {
  StringBuffer name;      // of the file
  unsigned int size = 0;  // of the file, in bytes
  ExtPtrArraySb headers;  // "Name: value" on one line each, as they came
  std::deque<Part> parts;
};

/// Takes a file apart: `name` is the name of the file and `text` its content. False when memory is
/// exhausted.
bool readMessage(const StringBuffer& name, const StringBuffer& text, Message& message);

#endif
