// dorvane-report [ORDERS [TEMPLATE]]: fills a letter for every order of a CSV file and prints the
// orders with their amounts, as CSV and as JSON lines. Without arguments it reads the files that
// come with it, data/orders.csv and data/letter.txt.
//
// The columns of the file are the variables of the template: "{$customer}" stands for the field
// of the column "customer". "{$amount}" is the quantity times the price, and "{$query}" names the
// order in an address.

#include "Orders.h"
#include "shared/Arguments.h"
#include "shared/TextFile.h"
#include "shared/Utf8.h"
#include "support/_dvHashMap.h"

namespace {

constexpr char kProgram[] = "dorvane-report";
constexpr char kUsage[] = "[ORDERS [TEMPLATE]]\nFills a letter for every order of a CSV file.\n";
constexpr char kShippedOrders[] = DORVANE_EXAMPLE_DATA_DIR "/orders.csv";
constexpr char kShippedLetter[] = DORVANE_EXAMPLE_DATA_DIR "/letter.txt";

// How the value of a variable is written.
constexpr int kAsItIs = 0;
constexpr int kPercentEncoded = 4;
constexpr int kJsonEscaped = 22;

bool load(const char* path, StringBuffer& text) {
  StringBuffer reason;
  if (!loadTextFile(path, text, reason)) return complain(kProgram, path, reason.getString());
  makeText(text, "");
  return true;
}

void fill(const char* textOfTemplate, _dvHashMap& variables, int encoding, StringBuffer& out) {
  StringBuffer filled(textOfTemplate);
  filled.variableSubstitute(variables, encoding);
  out.append(filled);
}

void setAllVariables(const Orders& orders, const StringBuffer& record, _dvHashMap& variables) {
  setVariables(orders, record, variables);
  StringBuffer query;
  fill("order={$order}&name={$customer}", variables, kPercentEncoded, query);
  variables.hashInsertString("query", query.getString());
}

// `{"order":"{$order}","customer":"{$customer}",...}`: a value is escaped when it is filled in.
void makeJsonTemplate(const Orders& orders, StringBuffer& json) {
  const StringBuffer& columns = *orders.priced.records.sbAt(0);
  StringBuffer name;
  for (unsigned int i = 0; i < orders.priced.columns; ++i) {
    getField(orders.priced, columns, i, name);
    json.append3(i == 0 ? "{\"" : ",\"", name.getString(), "\":\"{$");
    json.append2(name.getString(), "}\"");
  }
  json.append("}\n");
}

// What is printed, in this order.
struct Output {
  StringBuffer letters;
  StringBuffer csv;
  StringBuffer json;
  StringBuffer summary;
};

void reportOrder(const Orders& orders, const StringBuffer& record, const StringBuffer& letter,
                 const StringBuffer& json, Output& output) {
  _dvHashMap variables;
  setAllVariables(orders, record, variables);
  fill(letter.getString(), variables, kAsItIs, output.letters);
  output.letters.appendLineEnding();
  fill(json.getString(), variables, kJsonEscaped, output.json);
}

void summarize(const Orders& orders, StringBuffer& out) {
  out.append_d("Summary\n\n  records: %d", orders.table.records.getSize() - 1);
  out.append_d(", orders: %d", orders.priced.records.getSize() - 1);
  out.append(", total: ");
  appendCents(orders.totalCents, out);
  out.appendLineEnding();
  out.append(orders.rejections);
}

// A variable without a value leaves the blank before it behind.
void removeBlankAtLineEnds(StringBuffer& text) { text.replaceAllOccurances(" \n", "\n"); }

void report(const Orders& orders, const StringBuffer& letter, Output& output) {
  StringBuffer json;
  makeJsonTemplate(orders, json);
  const ExtPtrArraySb& records = orders.priced.records;
  for (int i = 0; i < records.getSize(); ++i) {
    output.csv.append2(records.sbAt(i)->getString(), "\n");
    if (i > 0) reportOrder(orders, *records.sbAt(i), letter, json, output);
  }
  removeBlankAtLineEnds(output.letters);
  summarize(orders, output.summary);
}

bool printAll(const Output& output) {
  return print(output.letters) && print("As CSV\n\n") && print(output.csv) &&
         print("\nAs JSON lines\n\n") && print(output.json) && print("\n") && print(output.summary);
}

bool run(const char* ordersPath, const char* letterPath) {
  StringBuffer csv;
  StringBuffer letter;
  if (!load(ordersPath, csv) || !load(letterPath, letter)) return false;
  Orders orders;
  if (!readOrders(csv, orders)) return complain(kProgram, ordersPath, "is not a table");
  Output output;
  report(orders, letter, output);
  return printAll(output) || complain(kProgram, ordersPath, "cannot be shown: no output");
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments(kProgram, kUsage, 2);
  if (!arguments.read(argc, argv)) return arguments.exitCode();
  return run(arguments.fileOr(0, kShippedOrders), arguments.fileOr(1, kShippedLetter)) ? 0 : 1;
}
