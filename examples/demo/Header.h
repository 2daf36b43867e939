#ifndef DORVANE_EXAMPLES_DEMO_HEADER_H
#define DORVANE_EXAMPLES_DEMO_HEADER_H

class ExtPtrArraySb;
class StringBuffer;

// Header lines, "Name: value" each. Every text that is an output is emptied first.

/// True when a text begins with the header of a mail message.
bool beginsWithHeader(const StringBuffer& text);

/// Moves the header from the text to `lines`, the folded lines unfolded; nothing if there
/// is no header. It ends at the first empty line, which goes too, or before the first line
/// that is no field. False when memory is exhausted.
bool takeHeader(StringBuffer& text, ExtPtrArraySb& lines);

/// The value of the first header of a name, as it came; false when there is none.
bool findHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value);

/// The value of the first header of a name, its encoded words decoded, fit to be shown.
void getHeader(const ExtPtrArraySb& lines, const char* name, StringBuffer& value);

/// What stands before the parameters of a value, in lower case: "text/plain".
void getMainValue(const StringBuffer& value, StringBuffer& main);

/// A parameter of a value: "boundary" of "multipart/mixed; boundary=x". What RFC 2231 makes of it,
/// "boundary*0=...; boundary*1=...", is joined and decoded. False when there is none.
bool getParameter(const StringBuffer& value, const char* name, StringBuffer& parameter);

/// As getParameter(), for the name of a file: encoded words are decoded too (RFC 2047), and it is
/// fit to be shown.
bool getNameParameter(const StringBuffer& value, const char* name, StringBuffer& parameter);

#endif
