// Compiled, not run: sets that are large enough, and one that must not compile.

#include "core/StringBuffer.h"

void replaceBySets(StringBuffer& buffer, const char* pointer, char* writable) {
  const char exact[] = {'a', 'b', 'c', 'd', 'e'};
  buffer.replaceChar5(exact, 'x');
  buffer.replaceChar5("abcde", 'x');
  buffer.replaceChar10("abcdefghij", 'x');
  buffer.replaceChar20("abcdefghijklmnopqrst", 'x');
  buffer.replaceChar5(pointer, 'x');
  buffer.replaceChar20(writable, 'x');
#ifdef TOO_SHORT
  buffer.replaceChar10("abcdefgh", 'x');
#endif
}
