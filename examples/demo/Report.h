#ifndef DORVANE_EXAMPLES_DEMO_REPORT_H
#define DORVANE_EXAMPLES_DEMO_REPORT_H

struct Message;
class StringBuffer;

// A message in three forms, in UTF-8, with the first lines or records of every part. Every
// function appends to `out`.

/// The headers that are shown.
constexpr const char* kShownHeaders[] = {"From", "To", "Cc", "Date", "Subject"};

/// For people.
void appendTextReport(const Message& message, StringBuffer& out);

/// One XML document.
void appendXmlReport(const Message& message, StringBuffer& out);

/// One JSON object per line: the message, its parts and the records of tables.
void appendJsonReport(const Message& message, StringBuffer& out);

#endif
