// Regions between a begin and an end marker. Tested in tests/text/RegionsTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "support/internal/Search.h"
#include "text/internal/OverlappingMatches.h"
#include "text/internal/PartlyMeasured.h"
#include "text/internal/ReplaceMatches.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::findBytes;
using dorvane::internal::findBytesNoCase;
using dorvane::internal::FindInText;
using dorvane::internal::isEmpty;
using dorvane::internal::OverlappingMatches;
using dorvane::internal::PartlyMeasured;
using dorvane::internal::replaceMatches;

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Offset of the first marker at or behind `from`, or kNone.
std::size_t offsetOf(std::string_view text, std::string_view marker, std::size_t from) {
  const char* const match = findBytes(text.substr(from), marker);
  return match == nullptr ? kNone : static_cast<std::size_t>(match - text.data());
}

// What stands before, between and behind two markers; nothing when the text has no region.
struct Region {
  bool found = false;
  std::string_view before;
  std::string_view inside;
  std::string_view behind;
};

Region findRegion(std::string_view text, std::string_view begin, std::string_view end) {
  const std::size_t first = offsetOf(text, begin, 0);
  if (first == kNone) return {};
  const std::size_t inside = first + begin.size();
  const std::size_t last = offsetOf(text, end, inside);
  if (last == kNone) return {};
  return {true, text.substr(0, first), text.substr(inside, last - inside),
          text.substr(last + end.size())};
}

}  // namespace

// ---- Reading ----

bool StringBuffer::getBetween(const char* begin, const char* end, StringBuffer& out) const {
  if (isEmpty(begin) || isEmpty(end)) return false;
  const Region region = findRegion(text(), begin, end);
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
  const std::string_view all = text();
  const std::size_t first = offsetOf(all, begin, 0);
  if (first == kNone) return;
  const std::string_view endMarker(end);
  const std::size_t last = offsetOf(all, endMarker, first + 1);
  if (last != kNone) appendTo(out, all.substr(first, last + endMarker.size() - first));
}

bool StringBuffer::copyUntil(const char* marker, unsigned int start, unsigned int& count,
                             StringBuffer& out) const {
  count = 0;
  if (marker == nullptr || start >= contentSize()) return false;
  PartlyMeasured rest(content().substr(start));
  std::size_t size = kNone;
  while ((size = offsetOf(rest.known(), marker, 0)) == kNone && !rest.isWhole()) rest.extend();
  if (size == kNone) return false;
  count = static_cast<unsigned int>(size);
  appendTo(out, rest.known().substr(0, size));
  return true;
}

// ---- Rewriting ----

bool StringBuffer::chopAtSubstr(const char* marker, bool keepMarker) noexcept {
  if (isEmpty(marker)) return false;
  const std::string_view mark(marker);
  const std::size_t at = offsetOf(text(), mark, 0);
  if (at == kNone) return false;
  endAt(static_cast<unsigned int>(at + (keepMarker ? mark.size() : 0)));
  return true;
}

bool StringBuffer::replaceAllBetween(const char* begin, const char* end, const char* replacement,
                                     bool dropMarkers) {
  if (begin == nullptr || end == nullptr || replacement == nullptr || m_length == 0) return false;
  const Region region = findRegion(text(), begin, end);
  if (!region.found) return false;
  return replaceByPieces({region.before, dropMarkers ? "" : begin, replacement,
                          dropMarkers ? "" : end, region.behind});
}

unsigned int StringBuffer::replaceAllOccurancesBetween(const char* begin, const char* end,
                                                       const char* find, const char* replacement) {
  if (begin == nullptr || end == nullptr || find == nullptr || replacement == nullptr) return 0;
  // Two empty markers would find the same empty region for ever.
  if (isEmpty(begin) && isEmpty(end)) return 0;
  const std::string_view needle(find);
  const auto findNeedle = [needle](std::string_view rest) {
    return needle.empty() ? nullptr : findBytes(rest, needle);
  };
  StringBuffer out;
  out.m_secure = m_secure;
  unsigned int count = 0;
  std::string_view rest = text();
  for (;;) {
    const Region region = findRegion(rest, begin, end);
    // A begin marker at the end of the content opens no region, not even for an empty end marker.
    if (!region.found || region.inside.data() == m_data + contentSize()) break;
    out.appendBytes(region.before);
    out.append(begin);
    if (replaceMatches(region.inside, needle.size(), replacement, findNeedle(region.inside),
                       findNeedle, out) == 0)
      out.appendBytes(region.inside);
    out.append(end);
    ++count;
    rest = region.behind;
    if (rest.empty()) break;
  }
  if (count == 0) return 0;
  out.appendBytes(rest);
  replaceByPieces({out.content()});
  return count;
}

bool StringBuffer::removeDelimited(const char* begin, const char* end, bool caseSensitive) {
  if (isEmpty(begin) || isEmpty(end)) return true;
  FindInText* const find = caseSensitive ? findBytes : findBytesNoCase;
  const std::string_view all = text();
  const std::string_view endMarker(end);
  StringBuffer out;
  out.m_secure = m_secure;
  OverlappingMatches begins(all, begin, find);
  std::size_t behind = 0;  // offset of what stands behind the last region
  while (const char* const match = begins.from(behind)) {
    const auto first = static_cast<std::size_t>(match - all.data());
    // Deliberate: from the first byte of the begin marker on.
    const char* const last = find(all.substr(first), endMarker);
    if (last == nullptr) break;
    appendTo(out, all.substr(behind, first - behind));
    behind = static_cast<std::size_t>(last - all.data()) + endMarker.size();
  }
  if (behind == 0) return true;
  appendTo(out, all.substr(behind));
  takeSb(out);
  return true;
}
