// Trimming and chopping, in place. Tested in tests/text/TrimTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "text/internal/ByteClasses.h"

using dorvane::internal::ByteSet;
using dorvane::internal::kLineEndings;
using dorvane::internal::kWhiteSpace;

namespace {

constexpr ByteSet kBlanks = ByteSet::of(" \t");
constexpr ByteSet kEdgePunctuation = ByteSet::of("\"'*-/@");
static_assert(kBlanks.size() == 2 && kEdgePunctuation.size() == 6);

constexpr std::size_t kLongestPath = 2048;

}  // namespace

// ---- The ends ----

unsigned int StringBuffer::trimEnd(const ByteSet& set) noexcept {
  const unsigned int oldLength = contentSize();
  unsigned int length = oldLength;
  while (length > 0 && set.contains(m_data[length - 1])) --length;
  rollback(length);
  return oldLength - length;
}

unsigned int StringBuffer::trimEnds(const ByteSet& set) noexcept {
  const unsigned int oldLength = contentSize();
  const auto lead = static_cast<unsigned int>(set.findFirstNotIn(m_data, oldLength));
  if (lead != 0) {
    std::memmove(m_data, m_data + lead, oldLength - lead);
    endAt(oldLength - lead);
  }
  return lead + trimEnd(set);
}

unsigned int StringBuffer::trim() noexcept { return trimEnds(kBlanks); }

unsigned int StringBuffer::trim2() noexcept { return trimEnds(kWhiteSpace); }

unsigned int StringBuffer::trim3() noexcept { return trimEnds(kEdgePunctuation); }

unsigned int StringBuffer::trimRight2() noexcept { return trimEnd(kWhiteSpace); }

unsigned int StringBuffer::trimTrailingCRLFs() noexcept { return trimEnd(kLineEndings); }

// ---- Inside ----

unsigned int StringBuffer::trimInsideSpaces() noexcept {
  const std::string_view all = content();
  std::size_t write = 0;
  for (std::size_t read = 0; read < all.size();) {
    if (kWhiteSpace.contains(all[read])) {
      read += kWhiteSpace.findFirstNotIn(all.data() + read, all.size() - read);
      m_data[write++] = ' ';
    } else {
      const std::size_t run = kWhiteSpace.findFirstIn(all.data() + read, all.size() - read);
      if (write != read) std::memmove(m_data + write, m_data + read, run);
      write += run;
      read += run;
    }
  }
  if (write != all.size()) endAt(static_cast<unsigned int>(write));
  return static_cast<unsigned int>(all.size() - write);
}

// ---- At a character ----

void StringBuffer::trimBefore(char ch, bool alsoRemoveChar) noexcept {
  std::string_view kept = text();
  const std::size_t at = kept.find(ch);
  if (at == std::string_view::npos) return;
  kept.remove_prefix(at + (alsoRemoveChar ? 1 : 0));
  std::memmove(m_data, kept.data(), kept.size());
  endAt(static_cast<unsigned int>(kept.size()));
}

void StringBuffer::trimAfter(char ch, bool alsoRemoveChar) noexcept {
  const std::size_t at = content().rfind(ch);
  if (at != std::string_view::npos) endAt(static_cast<unsigned int>(at + (alsoRemoveChar ? 0 : 1)));
}

bool StringBuffer::chopAtFirstChar(char ch) noexcept {
  const std::size_t at = content().find(ch);
  if (at == std::string_view::npos) return false;
  endAt(static_cast<unsigned int>(at));
  return true;
}

bool StringBuffer::chopAtLastChar(char ch) noexcept {
  const std::size_t at = content().rfind(ch);
  if (at == std::string_view::npos) return false;
  endAt(static_cast<unsigned int>(at));
  return true;
}

void StringBuffer::stripDirectory() {
  const std::string_view path = text().substr(0, kLongestPath);
  const std::size_t separator = path.find_last_of("/\\");
  if (separator == std::string_view::npos) return;
  StringBuffer name;
  name.m_secure = m_secure;
  if (name.appendBytes(path.substr(separator + 1))) takeSb(name);
}
