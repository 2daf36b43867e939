// Regions between a begin and an end marker. Tested in tests/text/RegionsTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/internal/Search.h"
#include "text/internal/OverlappingMatches.h"
#include "text/internal/PartlyMeasured.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::BufferAccess;
using dorvane::internal::FindInText;
using dorvane::internal::findOffset;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::isEmpty;
using dorvane::internal::Matches;
using dorvane::internal::OverlappingMatches;
using dorvane::internal::PartlyMeasured;
using dorvane::internal::Scratch;

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// What is before, between and after two markers; nothing if the text has no region.
struct Region {
  bool found = false;
  std::string_view before;
  std::string_view inside;
  std::string_view behind;
};

Region findRegion(std::string_view text, std::string_view begin, std::string_view end) {
  const std::size_t first = findOffset(text, begin);
  if (first == kNone) return {};
  const std::string_view opened = text.substr(first + begin.size());
  const std::size_t size = findOffset(opened, end);
  if (size == kNone) return {};
  return {true, text.substr(0, first), opened.substr(0, size), opened.substr(size + end.size())};
}

}  // namespace

// ---- Reading ----

bool StringBuffer::getBetween(const char* begin, const char* end, StringBuffer& out) const {
  if (isEmpty(begin) || isEmpty(end)) return false;
  const Region region = findRegion(BufferAccess(*this).text(), begin, end);
  if (region.found) appendTo(out, region.inside);
  return region.found;
}

void StringBuffer::getDelimited(const char* begin, const char* end, bool includeMarkers,
                                StringBuffer& out) const {
  if (isEmpty(begin) || isEmpty(end)) return;
  if (!includeMarkers) {
    getBetween(begin, end, out);
    return;
  }
  const std::string_view all = BufferAccess(*this).text();
  const std::size_t first = findOffset(all, begin);
  if (first == kNone) return;
  const std::string_view region = all.substr(first);
  const std::string_view endMarker(end);
  const std::size_t last = findOffset(region.substr(1), endMarker);
  if (last != kNone) appendTo(out, region.substr(0, 1 + last + endMarker.size()));
}

bool StringBuffer::copyUntil(const char* marker, unsigned int start, unsigned int& count,
                             StringBuffer& out) const {
  count = 0;
  const BufferAccess self(*this);
  if (marker == nullptr || start >= self.size()) return false;
  const std::string_view mark(marker);
  PartlyMeasured rest(self.content().substr(start));
  const std::size_t size =
      rest.search([mark](std::string_view known) { return findOffset(known, mark); });
  if (size == kNone) return false;
  count = static_cast<unsigned int>(size);
  appendTo(out, rest.known().substr(0, size));
  return true;
}

// ---- Rewriting ----

bool StringBuffer::chopAtSubstr(const char* marker, bool keepMarker) noexcept {
  if (isEmpty(marker)) return false;
  const std::string_view mark(marker);
  const BufferAccess self(*this);
  const std::size_t at = findOffset(self.text(), mark);
  if (at == kNone) return false;
  self.terminateAt(at + (keepMarker ? mark.size() : 0));
  return true;
}

bool StringBuffer::replaceAllBetween(const char* begin, const char* end, const char* replacement,
                                     bool dropMarkers) {
  if (begin == nullptr || end == nullptr || replacement == nullptr || getSize() == 0) return false;
  const BufferAccess self(*this);
  const Region region = findRegion(self.text(), begin, end);
  if (!region.found) return false;
  return self.replaceByPieces({region.before, dropMarkers ? "" : begin, replacement,
                               dropMarkers ? "" : end, region.behind});
}

unsigned int StringBuffer::replaceAllOccurancesBetween(const char* begin, const char* end,
                                                       const char* find, const char* replacement) {
  if (begin == nullptr || end == nullptr || find == nullptr || replacement == nullptr) return 0;
  // Two empty markers would find the same empty region for ever.
  if (isEmpty(begin) && isEmpty(end)) return 0;
  const BufferAccess self(*this);
  const std::string_view needle(find);
  const auto findNeedle = [needle](std::string_view rest) {
    return needle.empty() ? kNone : findOffset(rest, needle);
  };
  Scratch result(*this);
  const BufferAccess out(result);
  unsigned int count = 0;
  std::string_view rest = self.text();
  for (;; ++count) {
    const Region region = findRegion(rest, begin, end);
    // A begin marker at the end of the content opens no region, not even for an empty end marker.
    if (!region.found || region.inside.data() == self.data() + self.size()) break;
    // A guess, for a copy that is released below.
    if (count == 0) out.reserve(rest.size() + rest.size() / 4);
    out.append(region.before);
    out.append(begin);
    Matches(region.inside, needle.size(), findNeedle).appendReplaced(replacement, result);
    out.append(end);
    rest = region.behind;
  }
  if (count == 0) return 0;
  out.append(rest);
  self.replaceByPieces({out.content()});
  return count;
}

bool StringBuffer::removeDelimited(const char* begin, const char* end, bool caseSensitive) {
  if (isEmpty(begin) || isEmpty(end)) return true;
  FindInText* const find = caseSensitive ? findOffset : findOffsetNoCase;
  const std::string_view all = BufferAccess(*this).text();
  const std::string_view endMarker(end);
  Scratch out(*this);
  OverlappingMatches begins(all, begin, find);
  std::size_t behind = 0;  // offset of what stands behind the last region
  for (std::size_t first; (first = begins.from(behind)) != kNone;) {
    // Deliberate: from the first byte of the begin marker on.
    const std::size_t size = find(all.substr(first), endMarker);
    if (size == kNone) break;
    if (behind == 0) BufferAccess(out).reserve(all.size() - size - endMarker.size());
    appendTo(out, all.substr(behind, first - behind));
    behind = first + size + endMarker.size();
  }
  if (behind == 0) return true;
  appendTo(out, all.substr(behind));
  takeSb(out);
  return true;
}
