#ifndef DORVANE_TESTS_HARNESS_EVERYMEMBER_H
#define DORVANE_TESTS_HARNESS_EVERYMEMBER_H

#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogBase.h"
#include "support/StringPair.h"
#include "support/XString.h"
#include "support/_dvHashMap.h"

// One row for every public member of StringBuffer, for tests of what holds for them all. The
// check of tools/list_public_members.py fails when a member has no row.
namespace harness {

// What has become known of a call, in words. Never allocates.
class Told {
 public:
  std::string_view words() const { return {m_words, m_size}; }

  void add(std::string_view words) {
    const std::size_t n = words.copy(m_words + m_size, sizeof m_words - m_size);
    m_size += n;
    if (m_size < sizeof m_words) m_words[m_size++] = '|';
  }

 private:
  char m_words[16384];
  std::size_t m_size = 0;
};

// Counts what it is given and keeps nothing, so that its blocks cannot be mistaken for those of
// the member.
class CountingLog : public LogBase {
 public:
  void LogError(const char* /*text*/) override { ++m_count; }
  void LogData(const char* /*name*/, const char* value) override {
    ++m_count;
    m_size += value == nullptr ? 0 : std::strlen(value);
  }
  // How many entries there were, and the size of their values.
  unsigned int count() const { return m_count; }
  std::size_t size() const { return m_size; }

 protected:
  void enterContext(const char* /*name*/) override { ++m_count; }
  void leaveContext() override {}

 private:
  unsigned int m_count = 0;
  std::size_t m_size = 0;
};

// What a row is called with: the buffer, a text, and whatever else members take. All of it is
// made before the member runs, and what the member hands out lives as long as the call.
class Call {
 public:
  enum class Others { kOwn, kBufferItself };

  // `others` tells what the other buffers of the call are.
  Call(StringBuffer& subject, const char* string, Others others = Others::kOwn)
      : buffer(subject),
        text(string),
        other(others == Others::kOwn ? m_other : subject),
        out(others == Others::kOwn ? m_out : subject) {
    m_other.append(string);
    pieces.reserveMore(1000);
    attributes.appendPtr(new (std::nothrow) StringPair("key", "va\"l&ue"));
    attributes.appendPtr(new (std::nothrow) StringPair("other", "second"));
    variables.hashInsertString("name", "va\"l ue");
  }
  ~Call() {
    for (const char* array : m_arrays) delete[] array;
    for (const unsigned char* bytes : m_bytes) delete[] bytes;
    for (StringBuffer* made : m_buffers) StringBuffer::deleteSb(made);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  StringBuffer& buffer;
  const char* text;
  StringBuffer& other;  // holds the text
  StringBuffer& out;
  StringBuffer out2;
  DataBuffer data;
  ExtPtrArraySb pieces;
  ExtPtrArray attributes;
  _dvHashMap variables;
  XString path;
  CountingLog log;
  unsigned int number = 0;
  unsigned int number2 = 0;
  char characters[64] = {};

  unsigned int textSize() const {
    return text == nullptr ? 0 : static_cast<unsigned int>(std::strlen(text));
  }
  const unsigned char* textBytes() const { return reinterpret_cast<const unsigned char*>(text); }

  // The outputs and the temporaries of a secret are secrets.
  void setSecure() {
    out.setSecureBuf(true);
    out2.setSecureBuf(true);
    data.setSecure(true);
  }

  // Takes what the member made; released at the end of the call.
  char* keep(char* made) { return m_arrays[m_arrayCount++] = made; }
  unsigned char* keep(unsigned char* made) { return m_bytes[m_byteCount++] = made; }
  StringBuffer* keep(StringBuffer* made) { return m_buffers[m_bufferCount++] = made; }

  // Records results and outputs.
  template <class... Values>
  void tell(const Values&... values) {
    (add(values), ...);
  }

  // Records the content of the file that the text names.
  void tellFile() {
    std::FILE* const file = text == nullptr ? nullptr : std::fopen(text, "rb");
    if (file == nullptr) return tell("no file");
    char content[4096];
    m_told.add({content, std::fread(content, 1, sizeof content, file)});
    static_cast<void>(std::fclose(file));
  }

  std::string_view told() const { return m_told.words(); }

 private:
  void add(std::string_view words) { m_told.add(words); }
  void add(const char* words) {
    const std::string_view all(buffer.getString(), buffer.getSize());
    if (words == nullptr) return m_told.add("null");
    if (words < all.data() || words > all.data() + all.size()) return m_told.add(words);
    // A text inside the buffer ends where the content does: its terminator may be overwritten.
    const std::string_view rest = all.substr(static_cast<std::size_t>(words - all.data()));
    m_told.add(rest.substr(0, rest.find('\0')));
  }
  void add(const unsigned char* words) { add(reinterpret_cast<const char*>(words)); }
  void add(const StringBuffer& value) { m_told.add({value.getString(), value.getSize()}); }
  void add(const StringBuffer* value) { value == nullptr ? add("null") : add(*value); }
  void add(const DataBuffer& value) {
    m_told.add({reinterpret_cast<const char*>(value.getData2()), value.getSize()});
  }
  void add(const ExtPtrArraySb& values) {
    for (int i = 0; i < values.getSize(); ++i) add(values.sbAt(i));
  }
  void add(const CountingLog& value) { tell(value.count(), value.size()); }

  template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
  void add(Number value) {
    char digits[32];
    if constexpr (std::is_floating_point_v<Number>) {
      static_cast<void>(std::snprintf(digits, sizeof digits, "%.17g", value));
      m_told.add(digits);
    } else {
      const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<long long>(value));
      m_told.add({digits, static_cast<std::size_t>(end.ptr - digits)});
    }
  }

  StringBuffer m_other;
  StringBuffer m_out;
  char* m_arrays[4] = {};
  unsigned char* m_bytes[4] = {};
  StringBuffer* m_buffers[4] = {};
  unsigned int m_arrayCount = 0;
  unsigned int m_byteCount = 0;
  unsigned int m_bufferCount = 0;
  Told m_told;
};

// A member with reasonable arguments. A member that takes several texts has a row for each, or
// takes `text` for all of them. Files stand in the working directory: "file.txt" (UTF-8 with a
// byte-order mark) and "utf16.txt"; the environment holds EVERY_MEMBER.
struct Member {
  const char* name;     // with the types of the parameters when it is overloaded
  const char* content;  // of the buffer at first
  const char* text;
  void (*call)(Call& c);
};

// A table of rows.
struct Rows {
  const Member* first;
  const Member* last;
  const Member* begin() const { return first; }
  const Member* end() const { return last; }
};

// The tables, in the order of the header.
Rows storageRows();  // Storage, Lifecycle, Append, HexData
Rows readingRows();  // Compare, Numbers, Trim, Filters
Rows editingRows();  // Replace to NamedValues
Rows markupRows();   // EntityEncode to WordForms

}  // namespace harness

#endif
