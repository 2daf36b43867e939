#include "support/LogBase.h"

#include <cstring>

#include "support/dvFormat.h"
#include "support/internal/LogEntry.h"

namespace {

const char* orEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

}  // namespace

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
