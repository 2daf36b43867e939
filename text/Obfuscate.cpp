// Reversible obfuscation of values that should not be readable at a glance. Every temporary is
// secure: what is obfuscated is usually a secret. Tested in tests/text/ObfuscateTest.cpp.

#include "core/StringBuffer.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/dvPlatform.h"
#include "text/internal/Permutation.h"

using dorvane::internal::Permutation;

namespace {

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
  const Permutation permutation(content(), dvIsBigEndian());
  permutation.scramble(m_data);
}

void StringBuffer::unscramble() {
  const Permutation permutation(content(), dvIsBigEndian());
  permutation.unscramble(m_data);
}

void StringBuffer::obfus() {
  StringBuffer encoded;
  encoded.setSecureBuf(true);
  ContentCoding coding;
  if (!coding.encodeBase64_noCrLf(m_data, contentSize(), encoded)) return;
  const Permutation permutation(encoded.content(), dvIsBigEndian());
  if (!permutation.ok()) return;
  permutation.scramble(encoded.m_data);
  replaceKeepingBlock(encoded.content());
}

void StringBuffer::unobfus() {
  StringBuffer scrambled;
  StringBuffer plain;
  scrambled.setSecureBuf(true);
  plain.setSecureBuf(true);
  // With the NULs at its end: the permutation follows from the whole length.
  if (scrambled.appendBytes(content()) && appendPlain(scrambled, plain)) takeSb(plain);
}

bool StringBuffer::appendObfus(const char* text) {
  StringBuffer scrambled;
  scrambled.setSecureBuf(true);
  return scrambled.append(text) && appendPlain(scrambled, *this);
}
