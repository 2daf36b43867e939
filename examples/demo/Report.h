#ifndef DORVANE_EXAMPLES_DEMO_REPORT_H
#define DORVANE_EXAMPLES_DEMO_REPORT_H

struct Part;
class StringBuffer;

// The readable report. Every function appends to `out`.

/// What a part is, its header lines and its first records.
void reportPart(int number, const Part& part, StringBuffer& out);

/// For a table of orders (columns "amount" and "customer"): the sum, and a letter about the order
/// with the largest amount.
void reportOrders(const Part& part, StringBuffer& out);

#endif
