// Making links of web addresses. Tested in tests/text/LinksTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/internal/Search.h"
#include "text/internal/Texts.h"

using dorvane::internal::ByteSet;
using dorvane::internal::findBytesNoCase;
using dorvane::internal::growInLargeSteps;

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr ByteSet kAddressEnds = ByteSet::of("\t\n\r ()<>[]{}");
static_assert(kAddressEnds.size() == 12);

// Offset of the first match without regard to case, or kNone.
std::size_t offsetOf(std::string_view text, std::string_view needle, std::size_t from = 0) {
  const char* const match = findBytesNoCase(text.substr(from), needle);
  return match == nullptr ? kNone : static_cast<std::size_t>(match - text.data());
}

// Offset of the first "http://" or "https://", or kNone.
std::size_t findAddress(std::string_view text) {
  constexpr std::string_view kScheme = "http";
  constexpr std::string_view kSlashes = "://";
  for (std::size_t at = offsetOf(text, kScheme); at != kNone;
       at = offsetOf(text, kScheme, at + 1)) {
    std::string_view rest = text.substr(at + kScheme.size());
    if (!rest.empty() && (rest[0] == 's' || rest[0] == 'S')) rest.remove_prefix(1);
    if (rest.substr(0, kSlashes.size()) == kSlashes) return at;
  }
  return kNone;
}

// An anchor at the start of a text: its size, the rest of the text when it is not closed.
std::size_t anchorSize(std::string_view text) {
  const std::size_t close = offsetOf(text, "</a");
  const std::size_t end = close == kNone ? kNone : text.find('>', close);
  return end == kNone ? text.size() : end + 1;
}

}  // namespace

bool StringBuffer::appendLinked(std::string_view text) {
  for (;;) {
    const std::size_t at = findAddress(text);
    if (!appendBytes(text.substr(0, at))) return false;
    if (at == kNone) return true;
    text.remove_prefix(at);
    const std::string_view address =
        text.substr(0, kAddressEnds.findFirstIn(text.data(), text.size()));
    for (const std::string_view piece :
         {std::string_view("<a href=\""), address, std::string_view("\">"), address,
          std::string_view("</a>")})
      if (!appendBytes(piece)) return false;
    text.remove_prefix(address.size());
  }
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): callers name it as a member.
void StringBuffer::autoLinkUrls2(StringBuffer& text) const {
  StringBuffer out;
  out.m_secure = text.m_secure;
  const std::string_view all = text.text();
  growInLargeSteps(out, all.size());
  if (out.appendLinked(all)) text.replaceByPieces({out.content()});
}

void StringBuffer::autoLinkUrls() {
  StringBuffer out;
  out.m_secure = m_secure;
  std::string_view rest = text();
  growInLargeSteps(out, rest.size());
  const std::size_t body = offsetOf(rest, "<body");
  if (body != kNone) {
    if (!out.appendBytes(rest.substr(0, body))) return;
    rest.remove_prefix(body);
  }
  for (;;) {
    const std::size_t anchor = offsetOf(rest, "<a");
    if (!out.appendLinked(rest.substr(0, anchor))) return;
    if (anchor == kNone) break;
    rest.remove_prefix(anchor);
    const std::size_t size = anchorSize(rest);
    if (!out.appendBytes(rest.substr(0, size))) return;
    rest.remove_prefix(size);
  }
  replaceByPieces({out.content()});
}
