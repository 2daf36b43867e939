#include "Orders.h"

#include "shared/Utf8.h"
#include "support/_dvHashMap.h"

namespace {

constexpr unsigned int kLongestQuantity = 6;
constexpr unsigned int kLongestPrice = 9;
constexpr unsigned int kMostShown = 60;

// "1234.50", "1234,50" and "1.234,50" are 123450 cents. A text that does not end in a separator
// and two decimals is no price.
bool parseCents(StringBuffer price, long long& cents) {
  const unsigned int size = price.getSize();
  if (size < 4 || size > kLongestPrice) return false;
  const char separator = price.charAt(size - 3);
  if (separator != '.' && separator != ',') return false;
  price.removeCharOccurances('.');
  price.removeCharOccurances(',');
  cents = price.int64Value();
  return price.getSize() > 2 && price.isDecimalNumber();
}

bool isQuantity(const StringBuffer& quantity) {
  return quantity.getSize() != 0 && quantity.getSize() <= kLongestQuantity &&
         quantity.isDecimalNumber();
}

// A name that a template can hold between "{$" and "}": letters, digits, "_" and "-".
void makeVariableName(StringBuffer& name) {
  name.trim2();
  name.replaceCharAnsi(' ', '_');
  name.removeInvalidXmlTagChars();
  name.replaceChar5(".:!!!", '_');
}

void nameColumns(StringBuffer& columns, Table& table) {
  StringBuffer name;
  for (unsigned int i = 0; i < table.columns; ++i) {
    getField(table, columns, i, name);
    makeVariableName(name);
    columns.setNthDelimited(i, table.delimiter, true, false, name);
  }
}

// Index of a column; one behind the last when there is none.
unsigned int findColumn(const Table& table, const char* name) {
  const StringBuffer& columns = *table.records.sbAt(0);
  StringBuffer found;
  for (unsigned int i = 0; i < table.columns; ++i) {
    getField(table, columns, i, found);
    if (found.equalsIgnoreCase(name)) return i;
  }
  return table.columns;
}

void getNamedField(const Table& table, const StringBuffer& record, const char* name,
                   StringBuffer& field) {
  getField(table, record, findColumn(table, name), field);
}

// What is wrong with a record; null when it is good.
const char* findFault(const Table& table, const StringBuffer& record, long long& cents) {
  if (countFields(table, record) != table.columns) return "has another number of fields";
  StringBuffer quantity;
  StringBuffer price;
  getNamedField(table, record, "quantity", quantity);
  getNamedField(table, record, "price", price);
  if (!isQuantity(quantity)) return "has no quantity";
  if (!parseCents(price, cents)) return "has no price";
  cents *= quantity.intValue();
  return nullptr;
}

void reject(int number, const StringBuffer& record, const char* fault, StringBuffer& rejections) {
  StringBuffer shown(record);
  makeLine(shown, "utf-8");
  cutText(shown, kMostShown);
  rejections.append_d("  record %d ", number);
  rejections.append3(fault, ": ", shown.getString());
  rejections.appendLineEnding();
}

// Appends a copy of a record with one more field.
bool appendWithField(const StringBuffer& record, const StringBuffer& field, Table& table) {
  StringBuffer* const copy = StringBuffer::createNewSB(record);
  if (copy == nullptr || !table.records.appendPtr(copy)) return false;
  return copy->setNthDelimited(table.columns - 1, table.delimiter, true, false, field);
}

bool priceRecord(int number, Orders& orders) {
  const StringBuffer& record = *orders.table.records.sbAt(number);
  long long cents = 0;
  const char* const fault = findFault(orders.table, record, cents);
  if (fault != nullptr) {
    reject(number, record, fault, orders.rejections);
    return true;
  }
  StringBuffer amount;
  appendCents(cents, amount);
  orders.totalCents += cents;
  return appendWithField(record, amount, orders.priced);
}

}  // namespace

bool readOrders(const StringBuffer& csv, Orders& orders) {
  if (!readTable(csv, orders.table)) return false;
  StringBuffer& columns = *orders.table.records.sbAt(0);
  nameColumns(columns, orders.table);
  orders.priced.delimiter = orders.table.delimiter;
  orders.priced.columns = orders.table.columns + 1;
  if (!appendWithField(columns, "amount", orders.priced)) return false;
  for (int i = 1; i < orders.table.records.getSize(); ++i)
    if (!priceRecord(i, orders)) return false;
  return true;
}

void setVariables(const Orders& orders, const StringBuffer& record, _dvHashMap& variables) {
  const StringBuffer& columns = *orders.priced.records.sbAt(0);
  StringBuffer name;
  StringBuffer value;
  for (unsigned int i = 0; i < orders.priced.columns; ++i) {
    getField(orders.priced, columns, i, name);
    getField(orders.priced, record, i, value);
    variables.hashInsertString(name.getString(), value.getString());
  }
}

void appendCents(long long cents, StringBuffer& out) {
  const int rest = static_cast<int>(cents % 100);
  out.appendInt64(cents / 100);
  out.append_d(rest < 10 ? ".0%d" : ".%d", rest);
}
