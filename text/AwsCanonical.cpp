// The percent-encoded forms that AWS request signing takes (Signature Version 4). Tested in
// tests/text/AwsCanonicalTest.cpp.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/CharTables.h"
#include "support/dvFormat.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/EscapedBlock.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::ByteSet;
using dorvane::internal::kLettersAndDigits;
using dorvane::internal::replaceByEscaped;

namespace {

constexpr ByteSet kPathBytes = kLettersAndDigits | ByteSet::of("%-./_~");
constexpr ByteSet kQueryBytes = kPathBytes | ByteSet::of("&=?");
static_assert(kPathBytes.size() == 68 && kQueryBytes.size() == 71);

// The bytes at the start of `text` that are encoded together: one, or all that a UTF-8 lead byte
// claims as its sequence, whatever they are, as far as they exist.
std::string_view encodedUnit(std::string_view text) {
  return text.substr(0, 1U + trailingBytesForUTF8[static_cast<unsigned char>(text.front())]);
}

// Calls `keep` and `encode` with the runs of a text in turn; the runs may be empty.
template <class Keep, class Encode>
void forEachRun(std::string_view text, const ByteSet& kept, const Keep& keep,
                const Encode& encode) {
  while (!text.empty()) {
    const std::size_t run = kept.findFirstNotIn(text.data(), text.size());
    keep(text.substr(0, run));
    text.remove_prefix(run);
    if (text.empty()) return;
    const std::string_view unit = encodedUnit(text);
    encode(unit);
    text.remove_prefix(unit.size());
  }
}

std::uint64_t countEncoded(std::string_view text, const ByteSet& kept) {
  std::uint64_t count = 0;
  forEachRun(
      text, kept, [](std::string_view) {},
      [&count](std::string_view unit) { count += unit.size(); });
  return count;
}

void writeEncoded(std::string_view text, const ByteSet& kept, char* out) {
  forEachRun(
      text, kept,
      [&out](std::string_view run) {
        std::memcpy(out, run.data(), run.size());
        out += run.size();
      },
      [&out](std::string_view unit) {
        for (const char c : unit) {
          *out++ = '%';
          out += dv_02X(static_cast<unsigned char>(c), out);
        }
      });
}

bool percentEncodeBut(StringBuffer& buffer, const ByteSet& kept) {
  const std::uint64_t encoded = countEncoded(BufferAccess(buffer).content(), kept);
  return replaceByEscaped(buffer, 2 * encoded, [&kept](std::string_view plain, char* out) {
    writeEncoded(plain, kept, out);
  });
}

}  // namespace

bool StringBuffer::awsNormalizeUriUtf8() { return percentEncodeBut(*this, kPathBytes); }

bool StringBuffer::awsNormalizeQueryParams() { return percentEncodeBut(*this, kQueryBytes); }
