// Making links of web addresses. Tested in tests/text/LinksTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ByteSet.h"
#include "support/internal/Search.h"
#include "text/internal/Rewrite.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::rewrite;
using dorvane::internal::sizeOfPieces;

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr ByteSet kAddressEnds = ByteSet::of("\t\n\r ()<>[]{}");
static_assert(kAddressEnds.size() == 12);

// Offset of the first "http://" or "https://", or kNone.
std::size_t findAddress(std::string_view text) {
  constexpr std::string_view kScheme = "http";
  constexpr std::string_view kSlashes = "://";
  for (std::size_t at = 0;; at += kScheme.size()) {
    const std::size_t found = findOffsetNoCase(text.substr(at), kScheme);
    if (found == kNone) return kNone;
    at += found;
    std::string_view rest = text.substr(at + kScheme.size());
    if (!rest.empty() && (rest[0] == 's' || rest[0] == 'S')) rest.remove_prefix(1);
    if (rest.substr(0, kSlashes.size()) == kSlashes) return at;
  }
}

// An anchor at the start of a text: its size, the rest of the text when it is not closed.
std::size_t anchorSize(std::string_view text) {
  const std::size_t close = findOffsetNoCase(text, "</a");
  const std::size_t end = close == kNone ? kNone : text.find('>', close);
  return end == kNone ? text.size() : end + 1;
}

// Hands the pieces of a text with its addresses made links to `put`.
template <class Put>
void linkAddresses(std::string_view text, const Put& put) {
  for (;;) {
    const std::size_t at = findAddress(text);
    put(text.substr(0, at));
    if (at == kNone) return;
    text.remove_prefix(at);
    const std::string_view address =
        text.substr(0, kAddressEnds.findFirstIn(text.data(), text.size()));
    for (const std::string_view piece :
         {std::string_view("<a href=\""), address, std::string_view("\">"), address,
          std::string_view("</a>")})
      put(piece);
    text.remove_prefix(address.size());
  }
}

// The same for a page: its head and its anchors stay as they are.
template <class Put>
void linkPage(std::string_view page, const Put& put) {
  const std::size_t body = findOffsetNoCase(page, "<body");
  if (body != kNone) {
    put(page.substr(0, body));
    page.remove_prefix(body);
  }
  for (;;) {
    const std::size_t anchor = findOffsetNoCase(page, "<a");
    linkAddresses(page.substr(0, anchor), put);
    if (anchor == kNone) return;
    page.remove_prefix(anchor);
    const std::size_t size = anchorSize(page);
    put(page.substr(0, size));
    page.remove_prefix(size);
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): callers name it as a member.
void StringBuffer::autoLinkUrls2(StringBuffer& text) const {
  const std::string_view all = BufferAccess(text).text();
  const auto linked = [all](const auto& put) { linkAddresses(all, put); };
  rewrite(text, sizeOfPieces(linked), linked);
}

void StringBuffer::autoLinkUrls() {
  const std::string_view all = BufferAccess(*this).text();
  const auto linked = [all](const auto& put) { linkPage(all, put); };
  rewrite(*this, sizeOfPieces(linked), linked);
}
