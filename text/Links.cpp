// Making links of web addresses. Tested in tests/text/LinksTest.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/ByteSet.h"
#include "support/internal/Search.h"
#include "text/internal/Texts.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::findOffsetNoCase;
using dorvane::internal::makeRoomForTwice;
using dorvane::internal::Scratch;

namespace {

using Room = BufferAccess<StringBuffer>;

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

// Appends a text, its addresses made links; false when the buffer cannot grow.
bool appendWithLinks(const Room& out, std::string_view text) {
  for (;;) {
    const std::size_t at = findAddress(text);
    if (!out.append(text.substr(0, at))) return false;
    if (at == kNone) return true;
    text.remove_prefix(at);
    const std::string_view address =
        text.substr(0, kAddressEnds.findFirstIn(text.data(), text.size()));
    for (const std::string_view piece :
         {std::string_view("<a href=\""), address, std::string_view("\">"), address,
          std::string_view("</a>")})
      if (!out.append(piece)) return false;
    text.remove_prefix(address.size());
  }
}

// The same for a page: its head and its anchors stay as they are.
bool appendPageWithLinks(const Room& out, std::string_view page) {
  const std::size_t body = findOffsetNoCase(page, "<body");
  if (body != kNone) {
    if (!out.append(page.substr(0, body))) return false;
    page.remove_prefix(body);
  }
  for (;;) {
    const std::size_t anchor = findOffsetNoCase(page, "<a");
    if (!appendWithLinks(out, page.substr(0, anchor))) return false;
    if (anchor == kNone) return true;
    page.remove_prefix(anchor);
    const std::size_t size = anchorSize(page);
    if (!out.append(page.substr(0, size))) return false;
    page.remove_prefix(size);
  }
}

// Replaces a text by what `appendTo(out, text)` makes of it.
template <class AppendTo>
void rewrite(StringBuffer& buffer, const AppendTo& appendTo) {
  const Room self(buffer);
  const std::string_view all = self.text();
  Scratch out(buffer);
  const Room room(out);
  makeRoomForTwice(out, all.size());
  if (appendTo(room, all)) self.replaceByPieces({room.content()});
}

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): callers name it as a member.
void StringBuffer::autoLinkUrls2(StringBuffer& text) const { rewrite(text, appendWithLinks); }

void StringBuffer::autoLinkUrls() { rewrite(*this, appendPageWithLinks); }
