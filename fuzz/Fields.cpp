// Delimited fields: what is set is read again, and what is removed is gone.

#include "fuzz/Input.h"

namespace {

using fuzz::contentOf;
using fuzz::require;
using fuzz::requireSound;

struct Case {
  char delimiter = ',';
  bool quotes = false;
  bool escapes = false;
  unsigned int index = 0;
  std::string value;
  std::string content;

  unsigned int count(const StringBuffer& record) const {
    return record.countColumns(delimiter, quotes, escapes);
  }
  bool get(const StringBuffer& record, unsigned int i, StringBuffer& field) const {
    return record.getNthDelimited(i, delimiter, quotes, escapes, field);
  }
};

void readAll(const Case& c, StringBuffer& record) {
  const unsigned int count = c.count(record);
  std::string joined;
  for (unsigned int i = 0; i < count; ++i) {
    StringBuffer field("before");
    require(c.get(record, i, field), "a field that is counted exists");
    requireSound(field);
    if (i != 0) joined += c.delimiter;
    joined += contentOf(field);
  }
  StringBuffer none("before");
  require(!c.get(record, count, none) && none.getSize() == 0, "there is no field behind the last");
  if (!c.quotes && !c.escapes)
    require(joined == fuzz::textOf(contentOf(record)), "the fields make up the record");
}

// A value that is read as it stands, and a field that nothing before it can hide.
bool isPlain(const Case& c, const StringBuffer& record) {
  if (c.value.empty() || c.delimiter == '\0' || c.delimiter == '"' || c.delimiter == '\\')
    return false;
  if (c.value.find_first_of(std::string("\"\\\0", 3) + c.delimiter) != std::string::npos)
    return false;
  if (fuzz::textOf(c.content).size() != c.content.size()) return false;
  return c.index < c.count(record) || (!c.quotes && !c.escapes);
}

void set(const Case& c) {
  StringBuffer record;
  fuzz::fill(record, c.content);
  const bool plain = isPlain(c, record);
  const unsigned int before = c.count(record);
  StringBuffer value;
  fuzz::fill(value, c.value);
  require(record.setNthDelimited(c.index, c.delimiter, c.quotes, c.escapes, value),
          "a field is set");
  requireSound(record);
  if (!plain) return;
  StringBuffer field;
  require(c.get(record, c.index, field), "a field that is set exists");
  require(contentOf(field) == c.value, "the value that is set is read");
  require(c.count(record) == (c.index < before ? before : c.index + 1),
          "only missing fields are added");
}

void remove(const Case& c) {
  StringBuffer record;
  fuzz::fill(record, c.content);
  const unsigned int before = c.count(record);
  const bool removed = record.removeNthDelimited(c.index, c.delimiter, c.quotes, c.escapes);
  requireSound(record);
  require(removed == (c.index < before), "a field that exists is removed");
  if (!removed) return fuzz::requireContent(record, c.content, "nothing else changes");
  const bool isText = fuzz::textOf(c.content).size() == c.content.size();
  if (isText && record.getSize() != 0) require(c.count(record) == before - 1, "one field is gone");
}

void cutAtDelimiters(const Case& c) {
  StringBuffer record;
  fuzz::fill(record, fuzz::textOf(c.content));
  StringBuffer before;
  StringBuffer behind;
  if (!record.separate(c.delimiter, before, behind)) {
    require(c.delimiter == '\0' || !record.containsChar(c.delimiter), "a separator is found");
    return;
  }
  before.appendChar(c.delimiter);
  before.append(behind);
  fuzz::requireContent(before, contentOf(record), "both parts make up the text");
  StringBuffer last;
  require(record.pop(c.delimiter, last), "a delimiter is found");
  record.appendChar(c.delimiter);
  record.append(last);
  fuzz::requireContent(record, contentOf(before), "what is popped was at the end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Case c;
  const unsigned int options = input.number();
  c.quotes = (options & 1U) != 0;
  c.escapes = (options & 2U) != 0;
  c.delimiter = input.character();
  c.index = input.number() % 16;
  c.value = input.line();
  c.content = input.rest();
  StringBuffer record;
  fuzz::fill(record, c.content);
  readAll(c, record);
  set(c);
  remove(c);
  cutAtDelimiters(c);
  return 0;
}
