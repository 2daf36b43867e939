#include "shared/Table.h"

#include "core/StringBuffer.h"

namespace {

constexpr int kRecordsLookedAt = 3;
constexpr unsigned int kMostColumns = 200;

// The first records of a table have the same number of fields, at least two.
bool isTable(const Table& table) {
  for (int i = 1; i < table.records.getSize() && i < kRecordsLookedAt; ++i)
    if (countFields(table, *table.records.sbAt(i)) != table.columns) return false;
  return table.columns > 1 && table.columns <= kMostColumns;
}

}  // namespace

bool readTable(const StringBuffer& text, Table& table) {
  StringBuffer records(text);
  records.trimTrailingCRLFs();
  // A line ending inside a quoted field does not end the record.
  if (!records.splitByLineEndings(table.records, true, false)) return false;
  if (table.records.getSize() < 2) return false;
  for (const char delimiter : {',', ';', '\t'}) {
    table.delimiter = delimiter;
    table.columns = countFields(table, *table.records.sbAt(0));
    if (isTable(table)) return true;
  }
  return false;
}

unsigned int countFields(const Table& table, const StringBuffer& record) {
  return record.countColumns(table.delimiter, true, false);
}

void getField(const Table& table, const StringBuffer& record, unsigned int index,
              StringBuffer& field) {
  record.getNthDelimited(index, table.delimiter, true, false, field);
  field.replaceCharAnsi('\n', ' ');
}
