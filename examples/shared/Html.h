#ifndef DORVANE_EXAMPLES_SHARED_HTML_H
#define DORVANE_EXAMPLES_SHARED_HTML_H

class StringBuffer;

/// Appends the charset that a web page names in its first 1024 bytes; false when it names none.
bool getHtmlCharset(const StringBuffer& page, StringBuffer& charset);

/// Appends what the title of a web page encloses; false when it has none.
bool getHtmlTitle(const StringBuffer& page, StringBuffer& title);

/// Makes the text of a web page, in UTF-8, out of the page: no tags, comments, scripts and
/// styles; the references decoded, also where they were encoded twice; one line per paragraph,
/// and the web address of a link in parentheses behind its text.
void htmlToText(StringBuffer& page);

/// Appends every line of a text as a paragraph of HTML, escaped: whatever the text holds, only its
/// characters are shown.
void appendParagraphs(const StringBuffer& text, StringBuffer& out);

/// Makes links of the addresses in a page, or a part of one, that appendParagraphs() wrote.
void linkAddresses(StringBuffer& html);

#endif
