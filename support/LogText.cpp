// A log as text: LogBase::toText(), apart from the log itself, which knows no StringBuffer. Tested
// in tests/support/LogBaseTest.cpp.

#include <cstring>
#include <limits>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/LogBase.h"
#include "support/dvFormat.h"
#include "support/internal/LogEntry.h"

using dorvane::internal::ByteSet;

namespace {

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

bool appendIndented(StringBuffer& out, unsigned int depth, const char* name) {
  for (unsigned int i = 0; i < depth; ++i)
    if (!out.append("  ")) return false;
  return appendEscaped(out, name);
}

bool appendValue(StringBuffer& out, const char* value) {
  return out.append(": ") && appendEscaped(out, value) && out.append("\n");
}

}  // namespace

bool LogBase::toText(StringBuffer& out) const {
  for (const Entry* entry = m_first; entry != nullptr; entry = entry->next) {
    const char* const name = entry->kind == Kind::kError ? "error" : entry->name;
    if (!appendIndented(out, entry->depth, name)) return false;
    const bool isContext = entry->kind == Kind::kContext;
    if (!(isContext ? out.append(":\n") : appendValue(out, entry->value))) return false;
  }
  return true;
}
