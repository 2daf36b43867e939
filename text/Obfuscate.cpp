// Reversible obfuscation of values that should not be readable at a glance. Every temporary is
// secure: what is obfuscated is usually a secret. Tested in tests/text/ObfuscateTest.cpp.

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/dvPlatform.h"
#include "text/internal/Permutation.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::Permutation;

namespace {

class Secret : public StringBuffer {
 public:
  Secret() { setSecureBuf(true); }
};

// Unscrambles a text in place, decodes it and appends the bytes to `out`. False when memory is
// exhausted; `out` is then as before.
bool appendPlain(StringBuffer& text, StringBuffer& out) {
  const Permutation permutation({text.getString(), text.getSize()}, dvIsBigEndian());
  if (!permutation.ok()) return false;
  permutation.unscramble(text.pCharAt(0));
  DataBuffer plain;
  plain.setSecure(true);
  ContentCoding coding;
  return coding.decodeBase64ToDb(text.getString(), text.getSize(), plain) && out.append(plain);
}

}  // namespace

void StringBuffer::scramble() {
  const BufferAccess self(*this);
  const Permutation permutation(self.content(), dvIsBigEndian());
  permutation.scramble(self.data());
}

void StringBuffer::unscramble() {
  const BufferAccess self(*this);
  const Permutation permutation(self.content(), dvIsBigEndian());
  permutation.unscramble(self.data());
}

void StringBuffer::obfus() {
  const BufferAccess self(*this);
  Secret encoded;
  ContentCoding coding;
  if (!coding.encodeBase64_noCrLf(self.data(), self.size(), encoded)) return;
  const BufferAccess code(encoded);
  const Permutation permutation(code.content(), dvIsBigEndian());
  if (!permutation.ok()) return;
  permutation.scramble(code.data());
  self.replaceKeepingBlock(code.content());
}

void StringBuffer::unobfus() {
  Secret scrambled;
  Secret plain;
  // With the NULs at its end: the permutation follows from the whole length.
  const bool copied = BufferAccess(scrambled).append(BufferAccess(*this).content());
  if (copied && appendPlain(scrambled, plain)) takeSb(plain);
}

bool StringBuffer::appendObfus(const char* text) {
  Secret scrambled;
  return scrambled.append(text) && appendPlain(scrambled, *this);
}
