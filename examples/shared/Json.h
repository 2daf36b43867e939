#ifndef DORVANE_EXAMPLES_SHARED_JSON_H
#define DORVANE_EXAMPLES_SHARED_JSON_H

class StringBuffer;

/// Appends `"name":"value"` to a JSON object, a comma before it unless the object is still empty.
/// Both are UTF-8 and are escaped.
void appendMember(const char* name, const StringBuffer& value, StringBuffer& out);

#endif
