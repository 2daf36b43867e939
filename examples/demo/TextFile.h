#ifndef DORVANE_EXAMPLES_DEMO_TEXTFILE_H
#define DORVANE_EXAMPLES_DEMO_TEXTFILE_H

class StringBuffer;

/// Reads a whole text file. A UTF-8 byte-order mark at its start is removed. On failure `error`
/// says why.
bool readTextFile(const char* path, StringBuffer& text, StringBuffer& error);

#endif
