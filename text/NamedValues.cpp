// Readers of name=value text. Tested in tests/text/NamedValuesTest.cpp.

#include <algorithm>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/internal/ByteClasses.h"
#include "support/internal/Search.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendInBlocks;
using dorvane::internal::appendTo;
using dorvane::internal::BufferAccess;
using dorvane::internal::emptyForOutput;
using dorvane::internal::findOffset;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::Scratch;

namespace {

constexpr std::size_t kBlock = 120;
constexpr std::size_t kNone = std::string_view::npos;

std::string_view withoutLeadingSpace(std::string_view text) {
  text.remove_prefix(kWhiteSpace.findFirstNotIn(text.data(), text.size()));
  return text;
}

std::string_view trimmed(std::string_view text) {
  text = withoutLeadingSpace(text);
  while (!text.empty() && kWhiteSpace.contains(text.back())) text.remove_suffix(1);
  return text;
}

// Appends a part of an assignment in blocks and trims the result.
void appendPart(StringBuffer& out, std::string_view part) {
  BufferAccess(out).reserve(out.getSize() + part.size());
  appendInBlocks(out, part, kBlock);
  out.trim2();
}

}  // namespace

void StringBuffer::splitAttrValue(StringBuffer& name, StringBuffer& value, bool stripQuotes) const {
  emptyForOutput(name);
  emptyForOutput(value);
  const std::string_view assignment = withoutLeadingSpace(BufferAccess(*this).text());
  const std::size_t equals = std::min(assignment.find('='), assignment.size());
  appendPart(name, assignment.substr(0, equals));
  if (equals == assignment.size()) return;

  std::string_view rest = withoutLeadingSpace(assignment.substr(equals + 1));
  if (rest.empty()) return;
  if (stripQuotes && rest.substr(0, 1) == "\"") rest.remove_prefix(1);
  appendPart(value, rest);
  // Deliberate: whether or not an opening quote was there.
  if (stripQuotes && value.lastChar() == '"') value.shorten(1);
}

bool StringBuffer::getNamedValue(const char* name, StringBuffer& value) const {
  const bool isSecret = BufferAccess(value).isSecure();  // the name may lie in the output
  Scratch key(isSecret ? value : *this);
  const std::string_view bareName = trimmed(name == nullptr ? "" : name);
  const bool built = BufferAccess(key).append(bareName) && key.appendChar('=');
  emptyForOutput(value);
  if (!built) return false;
  const std::string_view all = BufferAccess(*this).text();
  const std::size_t at = findOffset(all, BufferAccess(key).text());
  if (at == kNone) return false;
  std::string_view rest = all.substr(at + key.getSize());
  rest = rest.substr(0, rest.find(';'));
  appendTo(value, rest);
  return true;
}
