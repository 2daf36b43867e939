// Trimming and chopping, in place. Tested in tests/text/TrimTest.cpp.

#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/ByteSet.h"
#include "support/internal/ByteClasses.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::kLineEndings;
using dorvane::internal::kWhiteSpace;
using dorvane::internal::Scratch;

namespace {

constexpr ByteSet kBlanks = ByteSet::of(" \t");
constexpr ByteSet kEdgePunctuation = ByteSet::of("\"'*-/@");
static_assert(kBlanks.size() == 2 && kEdgePunctuation.size() == 6);

constexpr std::size_t kLongestPath = 2048;

// Removes the bytes of a set from the end, or from both ends, of the content; returns how many.

unsigned int trimEnd(StringBuffer& buffer, const ByteSet& set) noexcept {
  const std::string_view all = BufferAccess(buffer).content();
  std::size_t length = all.size();
  while (length > 0 && set.contains(all[length - 1])) --length;
  buffer.rollback(static_cast<unsigned int>(length));
  return static_cast<unsigned int>(all.size() - length);
}

unsigned int trimEnds(StringBuffer& buffer, const ByteSet& set) noexcept {
  const BufferAccess access(buffer);
  const std::string_view all = access.content();
  const std::size_t lead = set.findFirstNotIn(all.data(), all.size());
  if (lead != 0) {
    std::memmove(access.data(), all.data() + lead, all.size() - lead);
    access.terminateAt(all.size() - lead);
  }
  return static_cast<unsigned int>(lead) + trimEnd(buffer, set);
}

// Ends the content at `at`; false if that is npos.
bool chopIfFound(StringBuffer& buffer, std::size_t at) noexcept {
  if (at == std::string_view::npos) return false;
  BufferAccess(buffer).terminateAt(at);
  return true;
}

}  // namespace

// ---- The ends ----

unsigned int StringBuffer::trim() noexcept { return trimEnds(*this, kBlanks); }

unsigned int StringBuffer::trim2() noexcept { return trimEnds(*this, kWhiteSpace); }

unsigned int StringBuffer::trim3() noexcept { return trimEnds(*this, kEdgePunctuation); }

unsigned int StringBuffer::trimRight2() noexcept { return trimEnd(*this, kWhiteSpace); }

unsigned int StringBuffer::trimTrailingCRLFs() noexcept { return trimEnd(*this, kLineEndings); }

// ---- Inside ----

unsigned int StringBuffer::trimInsideSpaces() noexcept {
  const BufferAccess self(*this);
  const std::string_view all = self.content();
  std::size_t write = 0;
  for (std::size_t read = 0; read < all.size();) {
    if (kWhiteSpace.contains(all[read])) {
      read += kWhiteSpace.findFirstNotIn(all.data() + read, all.size() - read);
      self.data()[write++] = ' ';
    } else {
      const std::size_t run = kWhiteSpace.findFirstIn(all.data() + read, all.size() - read);
      if (write != read) std::memmove(self.data() + write, all.data() + read, run);
      write += run;
      read += run;
    }
  }
  if (write != all.size()) self.terminateAt(write);
  return static_cast<unsigned int>(all.size() - write);
}

// ---- At a character ----

void StringBuffer::trimBefore(char ch, bool alsoRemoveChar) noexcept {
  const BufferAccess self(*this);
  std::string_view kept = self.text();
  const std::size_t at = kept.find(ch);
  if (at == std::string_view::npos) return;
  kept.remove_prefix(at + (alsoRemoveChar ? 1 : 0));
  std::memmove(self.data(), kept.data(), kept.size());
  self.terminateAt(kept.size());
}

void StringBuffer::trimAfter(char ch, bool alsoRemoveChar) noexcept {
  const BufferAccess self(*this);
  const std::size_t at = self.content().rfind(ch);
  if (at != std::string_view::npos) self.terminateAt(at + (alsoRemoveChar ? 0 : 1));
}

bool StringBuffer::chopAtFirstChar(char ch) noexcept {
  return chopIfFound(*this, BufferAccess(*this).content().find(ch));
}

bool StringBuffer::chopAtLastChar(char ch) noexcept {
  return chopIfFound(*this, BufferAccess(*this).content().rfind(ch));
}

void StringBuffer::stripDirectory() {
  const std::string_view path = BufferAccess(*this).text().substr(0, kLongestPath);
  const std::size_t separator = path.find_last_of("/\\");
  if (separator == std::string_view::npos) return;
  Scratch name(*this);
  if (BufferAccess(name).append(path.substr(separator + 1))) takeSb(name);
}
