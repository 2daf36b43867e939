#ifndef DORVANE_TESTS_HARNESS_FIELDSREFERENCE_H
#define DORVANE_TESTS_HARNESS_FIELDSREFERENCE_H

#include <string>
#include <string_view>

#include "harness/ModelBuffer.h"

// The delimited fields told step by step, one byte at a time, for comparison.
namespace harness::reference::fields {

struct Honour {
  bool quotes = false;
  bool escapes = false;
};

// The five rules of the walk.
class Scan {
 public:
  Scan(char delimiter, Honour honour) : m_delimiter(delimiter), m_honour(honour) {}

  bool isSeparator(char c) {
    if (m_pending && m_honour.escapes) {
      m_pending = false;
      return false;
    }
    if (c == '\\' && m_honour.escapes) {
      m_pending = true;
      return false;
    }
    if (!m_honour.quotes) return c == m_delimiter;
    if (c == '"') {
      m_inQuotes = !m_inQuotes;
      return false;
    }
    return !m_inQuotes && c == m_delimiter;
  }

  bool inQuotes() const { return m_inQuotes; }
  bool pending() const { return m_pending; }

 private:
  char m_delimiter;
  Honour m_honour;
  bool m_inQuotes = false;
  bool m_pending = false;
};

inline unsigned int countColumns(const std::string& content, char delimiter, Honour honour) {
  if (content.empty()) return 0;
  Scan scan(delimiter, honour);
  unsigned int count = 1;
  for (const char c : std::string(content.c_str()))
    if (scan.isSeparator(c)) ++count;
  return count;
}

// The copy of a field: runs of text between the bytes that are left out, one append for each.
class FieldCopy {
 public:
  FieldCopy(const std::string& text, ModelBuffer& out) : m_text(text), m_out(out) {}

  void startAt(std::size_t position) { m_start = position; }
  void appendRun(std::size_t end) {
    m_out.appendN(std::string_view(m_text).substr(m_start, end - m_start));
  }
  void leaveOut(std::size_t position) {
    appendRun(position);
    m_start = position + 1;
  }

 private:
  const std::string& m_text;
  ModelBuffer& m_out;
  std::size_t m_start = 0;
};

// `out` has been emptied.
inline bool getNthDelimited(const std::string& content, unsigned int index, char delimiter,
                            Honour honour, ModelBuffer& out) {
  if (index > 10000000 || content.empty()) return false;
  const std::string text = content.c_str();
  Scan scan(delimiter, honour);
  FieldCopy copy(text, out);
  unsigned int k = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool wanted = k == index;
    const bool wasPending = scan.pending();
    const bool wasInQuotes = scan.inQuotes();
    if (wanted && !wasPending && wasInQuotes && text.compare(i, 2, "\"\"") == 0) {
      ++i;
      copy.leaveOut(i);
      continue;
    }
    const bool separator = scan.isSeparator(text[i]);
    if (wanted && (scan.inQuotes() != wasInQuotes || (scan.pending() && !wasPending)))
      copy.leaveOut(i);
    if (!separator) continue;
    if (wanted) {
      copy.appendRun(i);
      return true;
    }
    if (++k == index) copy.startAt(i + 1);
  }
  if (k != index) return false;
  copy.appendRun(text.size());
  return true;
}

// What lies in the text of a record: a field, or the number of separators before its end.
struct Found {
  bool field = false;
  bool separator = false;  // one ends the field
  std::size_t before = 0;  // the separator before the field, 0 for the first one
  std::size_t start = 0;   // the first byte of the field
  std::size_t end = 0;     // the byte behind it
  unsigned int separators = 0;
};

inline Found findField(const std::string& content, unsigned int index, char delimiter,
                       Honour honour) {
  const std::string text = content.c_str();
  Scan scan(delimiter, honour);
  Found found;
  found.field = index == 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!scan.isSeparator(text[i])) continue;
    if (found.field) {
      found.separator = true;
      found.end = i;
      return found;
    }
    if (++found.separators != index) continue;
    found.field = true;
    found.before = i;
    found.start = i + 1;
  }
  found.end = text.size();
  return found;
}

inline bool setNthDelimited(ModelBuffer& buffer, unsigned int index, char delimiter, Honour honour,
                            const std::string& value) {
  if (index > 1000000) return false;
  if (buffer.bytes.empty()) {
    buffer.append(std::string(index != 0 ? index : value.empty() ? 1 : 0, delimiter));
    buffer.appendN(value);
    return true;
  }
  const Found found = findField(buffer.bytes, index, delimiter, honour);
  if (!found.field) {
    buffer.append(std::string(index - found.separators, delimiter));
    buffer.appendN(value);
    return true;
  }
  const std::string tail = buffer.bytes.substr(found.end);
  buffer.bytes.resize(found.start);
  buffer.appendN(value);
  buffer.appendN(tail);
  return true;
}

inline bool removeNthDelimited(std::string& content, unsigned int index, char delimiter,
                               Honour honour) {
  if (index > 10000000 || content.empty()) return false;
  const Found found = findField(content, index, delimiter, honour);
  if (!found.field) return false;
  if (!found.separator) {
    content.resize(found.before);
  } else if (index == 0) {
    content.erase(0, found.end + 1);
  } else {
    content.erase(found.before, found.end - found.before);
  }
  return true;
}

inline bool pop(std::string& content, char delimiter, ModelBuffer& out) {
  const std::size_t at = content.rfind(delimiter);
  if (at == std::string::npos) return false;
  out.appendN(content.substr(at + 1));
  content.resize(at);
  return true;
}

inline bool separate(const std::string& content, char separator, ModelBuffer& before,
                     ModelBuffer& after) {
  const std::string text = content.c_str();
  const std::size_t at = text.find(separator);
  if (at == std::string::npos) return false;
  before.appendN(text.substr(0, at));
  after.appendN(text.substr(at + 1));
  return true;
}

}  // namespace harness::reference::fields

#endif
