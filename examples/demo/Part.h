#ifndef DORVANE_EXAMPLES_DEMO_PART_H
#define DORVANE_EXAMPLES_DEMO_PART_H

#include "Shown.h"
#include "core/StringBuffer.h"
#include "support/ExtPtrArraySb.h"

/// How the records of a part are laid out.
enum class Layout {
  kTable,      // a line of column names, then one record of delimited fields per line
  kRecordJar,  // "Name: value" lines, the records separated by "%%"
  kText        // every line is a record of one field
};

/// One part of a message, or a whole file that is not a message.
struct Part {
  ExtPtrArraySb headers;  // "Name: value", each on one line
  StringBuffer body;      // with LF as its only line ending
  Encoding encoding = Encoding::kUtf8;
  Layout layout = Layout::kText;
  char delimiter = ',';
  StringBuffer columnLine;  // of a table, and the names in it
  ExtPtrArraySb columns;
  ExtPtrArraySb records;
};

/// Appends the parts of a text to `parts`: what stands between the boundaries that its header
/// announces, as in a mail message (RFC 2046, section 5.1), or the whole text.
bool splitIntoParts(const StringBuffer& text, ExtPtrArraySb& parts);

/// Reads the header, layout and records of one part.
bool readPart(const StringBuffer& text, Part& part);

/// Appends the fields of a record. Those of a table are as in the file, quotes included; those of
/// a record jar are "Name: value".
bool splitIntoFields(const StringBuffer& record, const Part& part, ExtPtrArraySb& fields);

/// Splits "Name: value": `field` keeps the name, and the value is appended to `value`. False,
/// with nothing changed, when there is no colon.
bool splitNamedField(StringBuffer& field, StringBuffer& value);

#endif
