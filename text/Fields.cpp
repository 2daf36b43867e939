// One record of delimited fields: counting, reading, writing and removing a field by its index.
// Tested in tests/text/FieldsTest.cpp.

#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "text/internal/Pieces.h"
#include "text/internal/SavedTail.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::endAtByte;
using dorvane::internal::FewBytes;
using dorvane::internal::SavedTail;

namespace {

// Deliberate: reading and removing go farther than writing, which may add the fields before.
constexpr unsigned int kLastReadableField = 10000000;
constexpr unsigned int kLastWritableField = 1000000;

// No record of up to 4 GiB has a field of this index.
constexpr unsigned int kNoField = 0xFFFFFFFF;

// A field and how many stand before it; for one that is missing, how many stand before the last.
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

// Appends a field without its quotes and escaping backslashes, run by run.
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
}

std::size_t sizeWithoutNulsAtEnd(std::string_view bytes) {
  return bytes.find_last_not_of('\0') + 1;
}

}  // namespace

unsigned int StringBuffer::countColumns(char delimiter, bool honourQuotes,
                                        bool honourEscapes) const noexcept {
  if (m_length == 0) return 0;
  const auto findEnd = endAtByte(delimiter, honourQuotes, honourEscapes);
  return findField(text(), kNoField, findEnd).fieldsBefore + 1;
}

bool StringBuffer::getNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                   bool honourEscapes, StringBuffer& out) const {
  out.emptyForOutput();
  if (index > kLastReadableField || m_length == 0) return false;
  const Field field = findField(text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (field.exists) appendPlainField(field.bytes, honourQuotes, honourEscapes, out);
  return field.exists;
}

bool StringBuffer::setNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                   bool honourEscapes, const StringBuffer& value) {
  if (index > kLastWritableField) return false;
  if (m_length == 0) {
    // Deliberate: an empty first field alone would be no record at all.
    if (index == 0 && value.m_length == 0) return appendChar(delimiter);
    return appendCharN(delimiter, index) && appendTo(*this, fieldBytes(value));
  }
  const Field field = findField(text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (!field.exists)
    return appendCharN(delimiter, index - field.fieldsBefore) && appendTo(*this, fieldBytes(value));
  const auto start = static_cast<unsigned int>(field.bytes.data() - m_data);
  // Nothing is kept behind the last field, not even behind an embedded NUL.
  const std::size_t end = start + field.bytes.size();
  const SavedTail tail(end == text().size() ? "" : content().substr(end), m_secure);
  if (!tail.ok()) return false;
  // Nothing is cut before there is room for all; the steps are those of the two appends.
  const std::string_view bytes = fieldBytes(value);
  const std::uint64_t afterValue = std::uint64_t{start} + sizeWithoutNulsAtEnd(bytes);
  if (!makeRoomInAll(std::uint64_t{start} + bytes.size()) ||
      !makeRoomInAll(afterValue + tail.size()))
    return false;
  endAt(start);
  return appendTo(*this, bytes) && appendN(tail.data(), tail.size());
}

std::string_view StringBuffer::fieldBytes(const StringBuffer& value) const noexcept {
  const bool counts = &value != this && value.isValidObject() && value.hasLiveWord();
  return counts ? value.content() : std::string_view();
}

bool StringBuffer::makeRoomInAll(std::uint64_t total) {
  return total <= m_length || makeRoom(total - m_length);
}

bool StringBuffer::removeNthDelimited(unsigned int index, char delimiter, bool honourQuotes,
                                      bool honourEscapes) {
  if (index > kLastReadableField || m_length == 0) return false;
  const Field field = findField(text(), index, endAtByte(delimiter, honourQuotes, honourEscapes));
  if (!field.exists) return false;
  const auto start = static_cast<std::size_t>(field.bytes.data() - m_data);
  const std::size_t end = start + field.bytes.size();
  const std::size_t from = index == 0 ? 0 : start - 1;
  if (end == text().size()) {
    endAt(static_cast<unsigned int>(from));
    return true;
  }
  // The delimiter behind the first field goes, and that before any other.
  const std::string_view kept = content().substr(index == 0 ? end + 1 : end);
  std::memmove(m_data + from, kept.data(), kept.size());
  endAt(static_cast<unsigned int>(from + kept.size()));
  return true;
}

bool StringBuffer::pop(char delimiter, StringBuffer& out) {
  const std::string_view all = content();
  const std::size_t at = all.rfind(delimiter);
  if (at == std::string_view::npos) return false;
  appendTo(out, all.substr(at + 1));
  endAt(static_cast<unsigned int>(at));
  return true;
}

bool StringBuffer::separate(char separator, StringBuffer& before, StringBuffer& after) const {
  const std::string_view all = text();
  const std::size_t at = all.find(separator);
  if (at == std::string_view::npos) return false;
  appendTo(before, all.substr(0, at));
  // The storage may have moved: `before` may be this buffer.
  after.appendN(m_data + at + 1, static_cast<unsigned int>(all.size() - at - 1));
  return true;
}
