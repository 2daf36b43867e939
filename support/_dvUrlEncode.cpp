#include "support/_dvUrlEncode.h"

#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "support/ByteSet.h"
#include "support/dvFormat.h"
#include "support/internal/ContentOf.h"

using dorvane::internal::ByteSet;
using dorvane::internal::contentOf;

namespace {

constexpr ByteSet kUnreserved = ByteSet::range('A', 'Z') | ByteSet::range('a', 'z') |
                                ByteSet::range('0', '9') | ByteSet::of("-._~");
static_assert(kUnreserved.size() == 66);

std::uint64_t encodedSize(std::string_view text) noexcept {
  std::uint64_t size = text.size();
  for (const char c : text) size += kUnreserved.contains(c) ? 0U : 2U;
  return size;
}

// `out` has room for all of it.
void appendEncoded(std::string_view text, StringBuffer& out) {
  while (!text.empty()) {
    const std::size_t run = kUnreserved.findFirstNotIn(text.data(), text.size());
    out.appendN(text.data(), static_cast<unsigned int>(run));
    text.remove_prefix(run);
    if (text.empty()) return;
    char code[4] = {'%'};
    dv_02X(static_cast<unsigned char>(text.front()), code + 1);
    out.appendN(code, 3);
    text.remove_prefix(1);
  }
}

}  // namespace

bool _dvUrlEncode::urlEncodeSb(StringBuffer& text) {
  constexpr std::uint64_t kMostBytes = 0xFFFFFFFFU;
  const std::string_view content = contentOf(text);
  const std::uint64_t size = encodedSize(content);
  if (size == content.size()) return true;
  // The text may be secret, whether or not its buffer is marked secure.
  StringBuffer encoded;
  encoded.setSecureBuf(true);
  if (size > kMostBytes || !encoded.expectNumBytes(static_cast<unsigned int>(size))) return false;
  appendEncoded(content, encoded);
  text.takeSb(encoded);
  return true;
}
