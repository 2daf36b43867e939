#ifndef DORVANE_EXAMPLES_REPORT_ORDERS_H
#define DORVANE_EXAMPLES_REPORT_ORDERS_H

#include "core/StringBuffer.h"
#include "shared/Table.h"

class _dvHashMap;

/// A table of orders. Its columns are names of variables, fit for templates.
struct Orders {
  Table table;              // the records as they came
  Table priced;             // the good ones with the column "amount", quantity times price
  StringBuffer rejections;  // one line for each of the others
  long long totalCents = 0;
};

/// Reads the orders of a CSV text in clean UTF-8; false when the text is no table or memory is
/// exhausted.
bool readOrders(const StringBuffer& csv, Orders& orders);

/// Sets a variable for each field of a record of `priced`.
void setVariables(const Orders& orders, const StringBuffer& record, _dvHashMap& variables);

/// Appends "12.50".
void appendCents(long long cents, StringBuffer& out);

#endif
