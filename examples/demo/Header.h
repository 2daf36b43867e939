#ifndef DORVANE_EXAMPLES_DEMO_HEADER_H
#define DORVANE_EXAMPLES_DEMO_HEADER_H

class ExtPtrArraySb;
class StringBuffer;

// Header lines, "Name: value" each. Every text that is an output is emptied first.

/// True when a text begins with the header of a mail message.
bool beginsWithHeader(const StringBuffer& text);

/// Moves the header, everything up to the first empty line, from the text to `lines`, the folded
/// lines unfolded; nothing when what stands there is no header. False when memory is exhausted.
bool takeHeader(StringBuffer& text, ExtPtrArraySb& lines);

/// The value of the first header of a name, as it came; false when there is none.
bool findHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value);

/// The value of the first header of a name, its encoded words decoded, fit to be shown.
void getHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value);

/// What stands before the parameters of a value, in lower case: "text/plain".
void getMainValue(const StringBuffer& value, StringBuffer& main);

/// A parameter of a value: "boundary" of "multipart/mixed; boundary=x". False when there is none.
bool getParameter(const StringBuffer& value, const char* name, StringBuffer& parameter);

/// A name for a file out of the parameters `name`, decoded (RFC 2047 and RFC 2231) and fit to be
/// shown; false when there is none.
bool getNameParameter(const StringBuffer& value, const char* name, StringBuffer& parameter);

#endif
