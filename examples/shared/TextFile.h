#ifndef DORVANE_EXAMPLES_SHARED_TEXTFILE_H
#define DORVANE_EXAMPLES_SHARED_TEXTFILE_H

class StringBuffer;

// What the example programs read and print.

/// Loads a whole text file as StringBuffer::loadFromFile() does; NULs become spaces. False when it
/// cannot be read or is not text; `reason` then says why.
bool loadTextFile(const char* path, StringBuffer& text, StringBuffer& reason);

/// The name of a file without its directories, fit to be shown.
StringBuffer shownName(const char* path);

/// Writes a text to the standard output; false when that fails.
bool print(const StringBuffer& text);

/// Writes "PROGRAM: FILE WHAT", fit to be shown, to the standard error; always false.
bool complain(const char* program, const char* path, const char* what);

#endif
