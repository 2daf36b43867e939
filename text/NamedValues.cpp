// Readers of name=value text. Tested in tests/text/NamedValuesTest.cpp.

#include <algorithm>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/internal/Search.h"
#include "text/internal/ByteClasses.h"
#include "text/internal/Staging.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendInBlocks;
using dorvane::internal::appendTo;
using dorvane::internal::findBytes;
using dorvane::internal::kWhiteSpace;

namespace {

constexpr std::size_t kBlock = 120;

std::string_view withoutLeadingSpace(std::string_view text) {
  text.remove_prefix(kWhiteSpace.findFirstNotIn(text.data(), text.size()));
  return text;
}

std::string_view trimmed(std::string_view text) {
  text = withoutLeadingSpace(text);
  while (!text.empty() && kWhiteSpace.contains(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

void StringBuffer::splitAttrValue(StringBuffer& name, StringBuffer& value, bool stripQuotes) const {
  name.emptyForOutput();
  value.emptyForOutput();
  const std::string_view assignment = withoutLeadingSpace(text());
  const std::size_t equals = std::min(assignment.find('='), assignment.size());
  appendInBlocks(name, assignment.substr(0, equals), kBlock);
  name.trim2();
  if (equals == assignment.size()) return;

  std::string_view rest = withoutLeadingSpace(assignment.substr(equals + 1));
  if (rest.empty()) return;
  if (stripQuotes && rest.substr(0, 1) == "\"") rest.remove_prefix(1);
  appendInBlocks(value, rest, kBlock);
  value.trim2();
  // Deliberate: whether or not an opening quote was there.
  if (stripQuotes && value.lastChar() == '"') value.shorten(1);
}

bool StringBuffer::getNamedValue(const char* name, StringBuffer& value) const {
  StringBuffer key;
  key.m_secure = m_secure || value.m_secure;  // the name may lie in the output
  const std::string_view bareName = trimmed(name == nullptr ? "" : name);
  const bool built = key.appendBytes(bareName) && key.appendChar('=');
  value.emptyForOutput();
  if (!built) return false;
  const std::string_view all = text();
  const char* const match = findBytes(all, key.text());
  if (match == nullptr) return false;
  std::string_view rest = all.substr(static_cast<std::size_t>(match - all.data()));
  rest.remove_prefix(key.m_length);
  rest = rest.substr(0, rest.find(';'));
  appendTo(value, rest);
  return true;
}
