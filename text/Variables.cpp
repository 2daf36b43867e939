// Templates: {$name} variables and %NAME% environment references. Tested in
// tests/text/VariablesTest.cpp.

#include <algorithm>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/_dvHashMap.h"
#include "support/_dvUrlEncode.h"
#include "support/dvEnv.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::BufferAccess;
using dorvane::internal::Scratch;
using dorvane::internal::Staging;

namespace {

constexpr int kUrlEncoded = 4;
constexpr int kJsonEscaped = 22;
constexpr std::size_t kPlainBlock = 252;
constexpr std::size_t kNone = std::string_view::npos;

using PlainText = Staging<kPlainBlock>;

// "x.name" looks up "name": a qualifier of one byte is skipped.
std::string_view keyOf(std::string_view name) {
  return name.size() >= 2 && name[1] == '.' ? name.substr(2) : name;
}

// Treats a value as the mode asks for; false when it could not be encoded.
bool encodeValue(StringBuffer& value, int mode) {
  switch (mode) {
    case kUrlEncoded:
      return _dvUrlEncode::urlEncodeSb(value);
    case kJsonEscaped:
      return value.jsonEscape();
    default:
      return true;
  }
}

bool setText(StringBuffer& buffer, std::string_view text) {
  buffer.weakClear();
  return appendTo(buffer, text);
}

}  // namespace

bool StringBuffer::variableSubstitute(_dvHashMap& variables, int valueEncoding) {
  Scratch out(*this);
  Scratch key(*this);
  Scratch value(*this);
  PlainText plain(out);
  std::string_view rest = BufferAccess(*this).text();
  BufferAccess(out).reserve(rest.size());
  while (!rest.empty()) {
    const std::size_t brace = std::min(rest.find('{'), rest.size());
    plain.putRun(rest.substr(0, brace));
    rest.remove_prefix(brace);
    if (rest.substr(0, 2) != "{$") {
      // Deliberate: the byte behind the brace is not looked at.
      plain.put(rest.substr(0, 2));
      rest.remove_prefix(rest.substr(0, 2).size());
      continue;
    }
    const std::size_t end = rest.find('}');
    if (end == kNone) {
      plain.flush();
      BufferAccess(out).append(rest.substr(0, 2));
      BufferAccess(out).append(rest.substr(2));
      break;
    }
    if (setText(key, keyOf(rest.substr(2, end - 2))) &&
        variables.hashLookupString(key.getString(), value)) {
      plain.flush();
      if (encodeValue(value, valueEncoding)) out.append(value);
    }
    rest.remove_prefix(end + 1);
  }
  plain.flush();
  takeSb(out);
  return false;
}

void StringBuffer::envReplace() {
  Scratch result(*this);
  Scratch name(*this);
  const BufferAccess out(result);
  std::string_view rest = BufferAccess(*this).text();
  bool found = false;
  for (;;) {
    const std::size_t open = rest.find('%');
    const std::size_t close = open == kNone ? kNone : rest.find('%', open + 1);
    if (close == kNone) break;
    if (!found) out.reserve(rest.size());
    found = true;
    out.append(rest.substr(0, open));
    if (setText(name, rest.substr(open + 1, close - open - 1))) dvGetEnv(name.getString(), result);
    rest.remove_prefix(close + 1);
  }
  if (!found) return;
  out.append(rest);
  BufferAccess(*this).replaceByPieces({out.content()});
}
