// dorvane-demo [FILE...]: takes mail messages apart and reports what is in them, as text, as XML
// and as JSON lines, in UTF-8 whatever the messages are in. Every other text file is shown as one
// part. Without an argument it reads the message that comes with it, data/message.eml.
//
// Where to look: Header.cpp splits lines and decodes words; Message.cpp splits at boundaries and
// decodes bodies; ../shared/Utf8.cpp converts and cleans; ../shared/Html.cpp takes HTML apart;
// TextReport.cpp, XmlReport.cpp and JsonReport.cpp write.

#include <climits>

#include "Message.h"
#include "Report.h"
#include "shared/Arguments.h"
#include "shared/TextFile.h"

namespace {

constexpr char kProgram[] = "dorvane-demo";
constexpr char kUsage[] = "[FILE...]\nTakes mail messages and other text files apart.\n";
constexpr char kShippedFile[] = DORVANE_EXAMPLE_DATA_DIR "/message.eml";

void appendCount(const char* before, long long count, const char* behind, StringBuffer& out) {
  out.append(before);
  out.appendInt64(count);
  out.append(behind);
}

void appendParts(const Message& message, StringBuffer& out) {
  long long decoded = 0;
  long long shown = 0;
  for (const Part& part : message.parts) {
    decoded += part.size;
    shown += part.kind == Kind::kBinary ? 0 : part.text.getSize();
  }
  appendCount("  parts:    ", static_cast<long long>(message.parts.size()), ", ", out);
  appendCount("", decoded, " bytes decoded, ", out);
  appendCount("", shown, " bytes of clean UTF-8\n", out);
}

bool show(const Message& message) {
  StringBuffer text;
  StringBuffer xml;
  StringBuffer json;
  appendTextReport(message, text);
  appendXmlReport(message, xml);
  appendJsonReport(message, json);

  StringBuffer summary("\nSummary\n\n");
  appendCount("  file:     ", message.size, " bytes\n", summary);
  appendParts(message, summary);
  appendCount("  reports:  ", text.getSize(), " bytes of text, ", summary);
  appendCount("", xml.getSize(), " of XML, ", summary);
  appendCount("", json.getSize(), " of JSON\n", summary);
  return print(text) && print("\nAs XML\n\n") && print(xml) && print("\nAs JSON lines\n\n") &&
         print(json) && print(summary);
}

bool demonstrate(const char* path) {
  StringBuffer text;
  StringBuffer reason;
  if (!loadTextFile(path, text, reason)) return complain(kProgram, path, reason.getString());
  Message message;
  if (!readMessage(shownName(path), text, message))
    return complain(kProgram, path, "is too large for the memory");
  return show(message) || complain(kProgram, path, "cannot be shown: no output");
}

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments(kProgram, kUsage, INT_MAX);
  if (!arguments.read(argc, argv)) return arguments.exitCode();
  bool allShown = demonstrate(arguments.fileOr(0, kShippedFile));
  for (int i = 1; i < arguments.fileCount(); ++i)
    allShown = demonstrate(arguments.fileOr(i, "")) && allShown;
  return allShown ? 0 : 1;
}
