#ifndef DORVANE_EXAMPLES_SHARED_UTF8_H
#define DORVANE_EXAMPLES_SHARED_UTF8_H

class StringBuffer;

// Foreign text is made clean UTF-8 before anything else is done with it.

/// True when the charset, named as in mail and web pages, can be converted, or is empty.
bool isKnownCharset(const char* charset);

/// Converts a text from a charset to UTF-8 and makes it fit to be shown: LF is its only line
/// ending, a TAB is a space, and "?" stands for every character that controls a terminal or the
/// direction of writing. A text in a charset that is empty, not known or said to be UTF-8 or ASCII
/// is taken as Windows-1252 when it is no UTF-8; say so where the charset is not known.
void makeText(StringBuffer& text, const char* charset);

/// As makeText(), the line endings becoming spaces.
void makeLine(StringBuffer& text, const char* charset);

/// Number of characters of a UTF-8 text.
unsigned int countCharacters(const StringBuffer& text);

/// Cuts a UTF-8 text to at most `maxCharacters` characters; the last three of a text that was cut
/// are "...".
void cutText(StringBuffer& text, unsigned int maxCharacters);

/// Appends a text and the spaces that fill it up to `width` characters.
void appendPadded(const StringBuffer& text, unsigned int width, StringBuffer& out);

#endif
