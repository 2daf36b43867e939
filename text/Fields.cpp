// One record of delimited fields: counting, reading, writing and removing a field by its index.
// Tested in tests/text/FieldsTest.cpp.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "text/internal/Pieces.h"
#include "text/internal/SavedTail.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::BufferAccess;
using dorvane::internal::emptyForOutput;
using dorvane::internal::endAtByte;
using dorvane::internal::FewBytes;
using dorvane::internal::SavedTail;

namespace {

// Deliberate: reading and removing go farther than writing, which may add the fields before.
constexpr unsigned int kLastReadableField = 10000000;
constexpr unsigned int kLastWritableField = 1000000;

// No record of up to 4 GiB has a field of this index.
constexpr unsigned int kNoField = 0xFFFFFFFF;

// A field and the number of fields before it; if it is missing, the number before the last.
struct Field {
  bool exists;
  unsigned int fieldsBefore;
  std::string_view bytes;
};

template <class FindEnd>
Field findField(std::string_view record, unsigned int index, const FindEnd& findEnd) {
  for (unsigned int k = 0;; ++k) {
    const std::size_t end = findEnd(record);
    if (k == index) return {true, k, record.substr(0, end)};
    if (end == record.size()) return {false, k, {}};
    record.remove_prefix(end + 1);
  }
}

// Appends a field without its quotes and escaping backslashes, run by run, to an empty output.
void appendPlainField(std::string_view field, bool honourQuotes, bool honourEscapes,
                      StringBuffer& out) {
  const auto appendRun = [&](std::size_t from, std::size_t to) {
    appendTo(out, field.substr(from, to - from));
  };
  if (!honourQuotes && !honourEscapes) return appendRun(0, field.size());
  const FewBytes stops(!honourEscapes ? "\"" : !honourQuotes ? "\\" : "\"\\");
  bool inside = false;
  std::size_t run = 0;
  for (std::size_t i = 0; i < field.size();) {
    i += stops.findFirstIn(field.data() + i, field.size() - i);
    if (i == field.size()) break;
    if (run == 0) BufferAccess(out).reserve(field.size());
    const bool isDoubledQuote = inside && field.substr(i, 2) == "\"\"";
    appendRun(run, isDoubledQuote ? i + 1 : i);
    if (isDoubledQuote) {
      run = i += 2;
    } else if (field[i] == '"') {
      inside = !inside;
      run = ++i;
    } else {
      // The escaped byte is kept, whatever it is.
      run = i + 1;
      i += 2;
    }
  }
  appendRun(run, field.size());
  BufferAccess(out).dropReserve();
}

std::size_t sizeWithoutNulsAtEnd(std::string_view bytes) {
  return bytes.find_last_not_of('\0') + 1;
}

// The bytes of a field's new value; the buffer that is to change, or a dead one, counts as nothing.
std::string_view fieldBytes(const StringBuffer& value, const StringBuffer& buffer) {
  const bool counts = &value != &buffer && value.isValidObject() && value.hasLiveWord();
  return counts ? BufferAccess(value).content() : std::string_view();
}

// Makes room for `total` bytes of content and the NUL.
bool makeRoomInAll(StringBuffer& buffer, std::uint64_t total) {
  const unsigned int size = buffer.getSize();
  return total <= size || BufferAccess(buffer).makeRoom(total - size);
}

// Makes room for the first `start` bytes, a value and a tail, in the steps of the two appends.
bool makeRoomForField(StringBuffer& buffer, unsigned int start, std::string_view value,
                      std::size_t tailSize) {
  const std::uint64_t withValue = std::uint64_t{start} + value.size();
  const std::uint64_t withTail = std::uint64_t{start} + sizeWithoutNulsAtEnd(value) + tailSize;
  BufferAccess(buffer).reserve(std::max(withValue, withTail));
  return makeRoomInAll(buffer, withValue) && makeRoomInAll(buffer, withTail);
}

}  // namespace

unsigned int StringBuffer::countColumns(char delimiter, bool honourQuotes,
                                        bool honourEscapes) const noexcept {
  if (getSize() == 0) return 0;
  const auto findEnd = endAtByte(delimiter, honourQuotes, honourEscapes);
  return findField(BufferAccess(*this).text(), kNoField, findEnd).fieldsBefore + 1;
}

bool StringBuffer::getNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                   bool honourEscapes, StringBuffer& out) const {
  emptyForOutput(out);
  if (index > kLastReadableField || getSize() == 0) return false;
  const BufferAccess self(*this);
  const Field field =
      findField(self.text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (field.exists) appendPlainField(field.bytes, honourQuotes, honourEscapes, out);
  return field.exists;
}

bool StringBuffer::setNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                   bool honourEscapes, const StringBuffer& value) {
  if (index > kLastWritableField) return false;
  const std::string_view bytes = fieldBytes(value, *this);
  if (getSize() == 0) {
    // Deliberate: an empty first field alone would be no record at all.
    if (index == 0 && value.getSize() == 0) return appendChar(delimiter);
    return appendCharN(delimiter, index) && appendTo(*this, bytes);
  }
  const BufferAccess self(*this);
  const Field field =
      findField(self.text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (!field.exists)
    return appendCharN(delimiter, index - field.fieldsBefore) && appendTo(*this, bytes);
  const auto start = static_cast<unsigned int>(field.bytes.data() - self.data());
  // Nothing is kept behind the last field, not even behind an embedded NUL.
  const std::size_t end = start + field.bytes.size();
  const SavedTail tail(end == self.text().size() ? "" : self.content().substr(end), *this);
  if (!tail.ok()) return false;
  // Nothing is cut before there is room for all; the steps are those of the two appends.
  if (!makeRoomForField(*this, start, bytes, tail.size())) return false;
  self.terminateAt(start);
  return appendTo(*this, bytes) && appendN(tail.data(), tail.size());
}

bool StringBuffer::removeNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                      bool honourEscapes) {
  if (index > kLastReadableField || getSize() == 0) return false;
  const BufferAccess self(*this);
  const Field field =
      findField(self.text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (!field.exists) return false;
  const auto start = static_cast<std::size_t>(field.bytes.data() - self.data());
  const std::size_t end = start + field.bytes.size();
  const std::size_t from = index == 0 ? 0 : start - 1;
  if (end == self.text().size()) {
    self.terminateAt(from);
    return true;
  }
  // The delimiter behind the first field goes, and that before any other.
  const std::string_view kept = self.content().substr(index == 0 ? end + 1 : end);
  std::memmove(self.data() + from, kept.data(), kept.size());
  self.terminateAt(from + kept.size());
  return true;
}

bool StringBuffer::pop(char delimiter, StringBuffer& out) {
  const BufferAccess self(*this);
  const std::string_view all = self.content();
  const std::size_t at = all.rfind(delimiter);
  if (at == std::string_view::npos) return false;
  appendTo(out, all.substr(at + 1));
  self.terminateAt(at);
  return true;
}

bool StringBuffer::separate(char separator, StringBuffer& before, StringBuffer& after) const {
  const BufferAccess self(*this);
  const std::string_view all = self.text();
  const std::size_t at = all.find(separator);
  if (at == std::string_view::npos) return false;
  appendTo(before, all.substr(0, at));
  // The storage may have moved: `before` may be this buffer.
  after.appendN(self.data() + at + 1, static_cast<unsigned int>(all.size() - at - 1));
  return true;
}
