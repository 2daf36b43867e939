#include "support/LogBase.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/dvFormat.h"
#include "support/dvMemory.h"
#include "support/internal/NewArray.h"

using dorvane::internal::ByteSet;
using dorvane::internal::newArray;

namespace {

const char* orEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

constexpr ByteSet kControls = ByteSet::range(0x00, 0x1F) | ByteSet::range(0x7F, 0x7F);
constexpr ByteSet kEscaped = kControls | ByteSet::of("\\");
static_assert(kEscaped.size() == 34);

bool appendEscape(StringBuffer& out, char c) {
  switch (c) {
    case '\\':
      return out.append("\\\\");
    case '\n':
      return out.append("\\n");
    case '\r':
      return out.append("\\r");
    case '\t':
      return out.append("\\t");
    default:
      char escape[5] = {'\\', 'x'};
      dv_02X(static_cast<unsigned char>(c), escape + 2);
      return out.append(escape);
  }
}

bool appendEscaped(StringBuffer& out, const char* text) {
  constexpr std::size_t kMostBytes = std::numeric_limits<unsigned int>::max();
  std::size_t left = std::strlen(text);
  for (;;) {
    const std::size_t run = kEscaped.findFirstIn(text, left);
    if (run > kMostBytes || !out.appendN(text, static_cast<unsigned int>(run))) return false;
    if (run == left) return true;
    if (!appendEscape(out, text[run])) return false;
    text += run + 1;
    left -= run + 1;
  }
}

}  // namespace

// One block holds the entry and, behind it, its texts.
struct LogBase::Entry {
  Entry* previous;
  Entry* next;
  const char* name;
  const char* value;
  std::size_t size;  // of the block
  unsigned int depth;
  Kind kind;
  bool isSecret;

  static Entry* create(const char* name, const char* value) noexcept {
    const std::size_t nameSize = std::strlen(name) + 1;
    const std::size_t valueSize = std::strlen(value) + 1;
    const std::uint64_t size = std::uint64_t{sizeof(Entry)} + nameSize + valueSize;
    char* const block = newArray<char>(size);
    if (block == nullptr) return nullptr;
    char* const texts = block + sizeof(Entry);
    std::memcpy(texts, name, nameSize);
    std::memcpy(texts + nameSize, value, valueSize);
    auto* const entry = new (block) Entry();
    entry->name = texts;
    entry->value = texts + nameSize;
    entry->size = static_cast<std::size_t>(size);
    return entry;
  }

  static void destroy(Entry* entry) noexcept {
    if (entry->isSecret) dvSecureZero(entry, entry->size);
    delete[] reinterpret_cast<char*>(entry);
  }

  bool appendTo(StringBuffer& out) const {
    for (unsigned int i = 0; i < depth; ++i)
      if (!out.append("  ")) return false;
    if (!appendEscaped(out, kind == Kind::kError ? "error" : name)) return false;
    if (kind == Kind::kContext) return out.append(":\n");
    return out.append(": ") && appendEscaped(out, value) && out.append("\n");
  }
};

LogBase::~LogBase() { LogBase::clear(); }

void LogBase::LogError(const char* text) {
  if (record(Kind::kError, "", text)) ++m_errors;
}

void LogBase::LogData(const char* name, const char* value) {
  if (record(Kind::kValue, name, value)) ++m_values;
}

void LogBase::LogDataLong(const char* name, long value) {
  char digits[21];
  dv_int64_to_str(value, digits);
  LogData(name, digits);
}

void LogBase::enterContext(const char* name) {
  if (record(Kind::kContext, name, "")) ++m_contexts;
  ++m_depth;
}

void LogBase::leaveContext() {
  --m_depth;
  const bool recordedNothing =
      m_last != nullptr && m_last->kind == Kind::kContext && m_last->depth == m_depth;
  if (!recordedNothing) return;
  dropLast();
  --m_contexts;
}

const char* LogBase::errorAt(unsigned int index) const noexcept {
  for (const Entry* entry = m_first; entry != nullptr; entry = entry->next)
    if (entry->kind == Kind::kError && index-- == 0) return entry->value;
  return nullptr;
}

const char* LogBase::valueOf(const char* name) const noexcept {
  for (const Entry* entry = m_last; entry != nullptr; entry = entry->previous)
    if (entry->kind == Kind::kValue && std::strcmp(entry->name, orEmpty(name)) == 0)
      return entry->value;
  return nullptr;
}

bool LogBase::hasContext(const char* name) const noexcept {
  for (const Entry* entry = m_first; entry != nullptr; entry = entry->next)
    if (entry->kind == Kind::kContext && std::strcmp(entry->name, orEmpty(name)) == 0) return true;
  return false;
}

bool LogBase::toText(StringBuffer& out) const {
  for (const Entry* entry = m_first; entry != nullptr; entry = entry->next)
    if (!entry->appendTo(out)) return false;
  return true;
}

void LogBase::clear() noexcept {
  while (m_last != nullptr) dropLast();
  m_errors = 0;
  m_values = 0;
  m_contexts = 0;
}

bool LogBase::record(Kind kind, const char* name, const char* value) noexcept {
  Entry* const entry = Entry::create(orEmpty(name), orEmpty(value));
  if (entry == nullptr) return false;
  entry->kind = kind;
  entry->depth = m_depth;
  entry->isSecret = isSecret();
  entry->previous = m_last;
  (m_last == nullptr ? m_first : m_last->next) = entry;
  m_last = entry;
  return true;
}

void LogBase::dropLast() noexcept {
  Entry* const entry = m_last;
  m_last = entry->previous;
  (m_last == nullptr ? m_first : m_last->next) = nullptr;
  Entry::destroy(entry);
}
