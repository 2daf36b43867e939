// Uses the installed library as a user does; the exit status tells whether it works.

#include <core/StringBuffer.h>
#include <support/DataBuffer.h>

#include <cstdio>
#include <cstring>

int main() {
  StringBuffer text("a<b");
  text.append(" & c");
  if (text.replaceHTMLSpecial() != 0) return 1;  // the number of double quotes
  if (std::strcmp(text.getString(), "a&lt;b &amp; c") != 0) return 1;

  DataBuffer data;
  StringBuffer copy;
  if (!copy.append(data) || copy.getSize() != 0) return 1;

  std::puts(text.getString());
  return 0;
}
