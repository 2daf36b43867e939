#ifndef DORVANE_EXAMPLES_DEMO_MARKUP_H
#define DORVANE_EXAMPLES_DEMO_MARKUP_H

struct Part;
class StringBuffer;

// The first records as XML and as HTML. Every function appends to `out`.

/// A part as an XML element, in UTF-8 whatever the encoding of the part.
void appendXml(int number, const Part& part, StringBuffer& out);

/// A part as HTML: table rows, or paragraphs.
void appendHtml(const Part& part, StringBuffer& out);

#endif
