#ifndef DORVANE_EXAMPLES_DEMO_SHOWN_H
#define DORVANE_EXAMPLES_DEMO_SHOWN_H

class StringBuffer;

// How a piece of a foreign file is made fit to be shown.

/// The two encodings told apart here: text that is not well-formed UTF-8 is taken as Windows-1252.
enum class Encoding { kUtf8, kWindows1252 };

Encoding encodingOf(const StringBuffer& text);

/// Removes the quotes around a field and reads the doubled ones inside it as one.
void unquote(StringBuffer& field);

/// Makes a text safe to print: UTF-8, one line, no character that controls a terminal, and at
/// most `maxCharacters` characters, the last three of a longer text being "...".
void makePrintable(StringBuffer& text, Encoding encoding, unsigned int maxCharacters);

/// Number of characters of a UTF-8 text.
unsigned int countCharacters(const StringBuffer& text);

#endif
