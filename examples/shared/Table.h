#ifndef DORVANE_EXAMPLES_SHARED_TABLE_H
#define DORVANE_EXAMPLES_SHARED_TABLE_H

#include "support/ExtPtrArraySb.h"

class StringBuffer;

/// Records of delimited fields (RFC 4180): a field in double quotes may hold delimiters, line
/// endings and, doubled, quotes.
struct Table {
  ExtPtrArraySb records;  // the first one has the names of the columns
  unsigned int columns = 0;
  char delimiter = ',';
};

/// Reads a table whose delimiter is a comma, a semicolon or a TAB; false when the text is none. A
/// table has 2 to 200 columns and at least one record below their names.
bool readTable(const StringBuffer& text, Table& table);

/// Number of the fields of a record.
unsigned int countFields(const Table& table, const StringBuffer& record);

/// Replaces the content of `field` by a field of a record, which is empty when there is none.
void getField(const Table& table, const StringBuffer& record, unsigned int index,
              StringBuffer& field);

#endif
