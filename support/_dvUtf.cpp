#include "support/_dvUtf.h"

namespace {

constexpr unsigned int kReplacement = 0xFFFD;
constexpr unsigned int kLastCodePoint = 0x10FFFF;

unsigned int utf8Size(unsigned int codePoint) noexcept {
  if (codePoint < 0x80) return 1;
  if (codePoint < 0x800) return 2;
  return codePoint < 0x10000 ? 3 : 4;
}

}  // namespace

void _dvUtf::oneUtf32ToUtf8(unsigned int codePoint, char* out, unsigned int& nOut) noexcept {
  constexpr unsigned int kLeadMark[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
  if (codePoint > kLastCodePoint) codePoint = kReplacement;
  nOut = utf8Size(codePoint);
  for (unsigned int i = nOut; i-- > 1; codePoint >>= 6U)
    out[i] = static_cast<char>(0x80U | (codePoint & 0x3FU));
  out[0] = static_cast<char>(kLeadMark[nOut] | codePoint);
}
