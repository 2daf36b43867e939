#include "Message.h"

#include "Header.h"
#include "shared/Html.h"
#include "shared/Utf8.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/dvParse.h"

namespace {

constexpr int kMaxDepth = 20;
constexpr unsigned int kBinaryShown = 16;

// A text with a header, not yet looked at, and the number of texts around it.
struct Entity {
  StringBuffer text;
  int depth = 0;
};

// ---- Structure ----

// What stands between the boundaries, in lines of their own: the first one may begin the text, and
// what follows the closing one belongs to no part (RFC 2046, section 5.1.1). False when there is
// no boundary or memory is exhausted.
bool splitAtBoundaries(const StringBuffer& body, const StringBuffer& boundary,
                       ExtPtrArraySb& pieces) {
  StringBuffer text("\n");
  text.append(body);
  StringBuffer opening;
  opening.append3("\n--", boundary.getString(), "\n");
  StringBuffer closing;
  closing.append3("\n--", boundary.getString(), "--");
  const int first = text.indexOf(opening.getString());
  if (first < 0) return false;
  // What stands before the first boundary is for programs that know nothing of parts.
  text.removeChunk(0, static_cast<unsigned int>(first));
  text.chopAtSubstr(closing.getString(), false);
  return text.splitUsingBoundary(opening, pieces, 0);
}

void addEntity(StringBuffer& text, int depth, std::deque<Entity>& waiting) {
  waiting.emplace_back();
  waiting.back().text.takeSb(text);
  waiting.back().depth = depth;
}

// Adds the entities of a multipart body, the last one first; false when it is none.
bool openMultipart(const StringBuffer& contentType, const StringBuffer& body, int depth,
                   std::deque<Entity>& waiting) {
  StringBuffer boundary;
  ExtPtrArraySb pieces;
  if (!getParameter(contentType, "boundary", boundary)) return false;
  if (!splitAtBoundaries(body, boundary, pieces)) return false;
  for (int i = pieces.getSize() - 1; i >= 0; --i) addEntity(*pieces.sbAt(i), depth, waiting);
  return true;
}

// Adds the entities inside a body; false when there are none.
bool openBody(const ExtPtrArraySb& headers, StringBuffer& body, int depth,
              std::deque<Entity>& waiting) {
  StringBuffer contentType;
  StringBuffer type;
  if (depth >= kMaxDepth || !findHeader(headers, "Content-Type", contentType)) return false;
  getMainValue(contentType, type);
  if (type.beginsWith("multipart/")) return openMultipart(contentType, body, depth + 1, waiting);
  if (!type.equals("message/rfc822")) return false;
  addEntity(body, depth + 1, waiting);
  return true;
}

// ---- Parts ----

// What the headers say of a part. The name of the file may stand in either of two.
void describe(const ExtPtrArraySb& headers, Part& part) {
  StringBuffer value;
  findHeader(headers, "Content-Transfer-Encoding", value);
  getMainValue(value, part.encoding);
  findHeader(headers, "Content-Disposition", value);
  const bool named = getNameParameter(value, "filename", part.name);
  findHeader(headers, "Content-Type", value);
  if (!named) getNameParameter(value, "name", part.name);
  getMainValue(value, part.type);
  if (part.type.getSize() == 0) part.type.append("text/plain");
  getParameter(value, "charset", part.charset);
  part.charset.toLowerCase();  // before it is UTF-8: folds the letters of Latin-1, too
  makeLine(part.charset, "");
}

bool decodeBody(StringBuffer& body, Part& part) {
  part.size = body.getSize();
  if (!part.encoding.equals("base64") && !part.encoding.equals("quoted-printable")) return true;
  LogBase log;
  DataBuffer bytes;
  // What is damaged is shown as far as it goes.
  if (!body.decode(part.encoding.getString(), bytes, log))
    part.damage = dvUIntValue(log.valueOf("misfits"));
  part.size = bytes.getSize();
  return part.size == 0 ? body.setString("") : body.takeFromDb(bytes);
}

Kind kindOf(const Part& part) {
  if (part.type.equals("text/html")) return Kind::kHtml;
  if (part.type.equals("text/csv") || part.name.endsWithIgnoreCase(".csv")) return Kind::kTable;
  // A multipart body that could not be split is at least readable.
  for (const char* const pattern :
       {"text/*", "multipart/*", "message/*", "application/json", "application/xml"})
    if (part.type.matches(pattern, true)) return Kind::kText;
  return Kind::kBinary;
}

bool readBinary(const StringBuffer& body, Part& part) {
  StringBuffer start(body);
  start.chopAt(kBinaryShown);
  return part.text.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(start.getString()),
                                     start.getSize(), true);
}

bool readText(StringBuffer& body, Part& part) {
  if (part.kind == Kind::kHtml && part.charset.getSize() == 0) getHtmlCharset(body, part.charset);
  makeText(body, part.charset.getString());
  if (part.kind == Kind::kHtml) htmlToText(body);
  body.trimTrailingCRLFs();
  part.text.takeSb(body);
  if (part.kind == Kind::kTable && !readTable(part.text, part.table)) part.kind = Kind::kText;
  return part.text.splitByLineEndings(part.lines, false, false);
}

bool readPart(StringBuffer& body, Part& part) {
  if (!decodeBody(body, part)) return false;
  part.kind = kindOf(part);
  return part.kind == Kind::kBinary ? readBinary(body, part) : readText(body, part);
}

bool readEntity(Entity& entity, std::deque<Entity>& waiting, Message& message) {
  ExtPtrArraySb inner;
  ExtPtrArraySb& headers = entity.depth == 0 ? message.headers : inner;
  if (!takeHeader(entity.text, headers)) return false;
  if (openBody(headers, entity.text, entity.depth, waiting)) return true;
  message.parts.emplace_back();
  describe(headers, message.parts.back());
  return readPart(entity.text, message.parts.back());
}

// Deliberate: a list of what waits instead of a call for each level, which hostile mail could
// make as deep as it likes.
bool readMail(StringBuffer& text, Message& message) {
  std::deque<Entity> waiting(1);
  waiting.back().text.takeSb(text);
  while (!waiting.empty()) {
    Entity entity;
    entity.text.takeSb(waiting.back().text);
    entity.depth = waiting.back().depth;
    waiting.pop_back();
    if (!readEntity(entity, waiting, message)) return false;
  }
  return true;
}

// ---- Other files ----

const char* typeOfFile(const StringBuffer& name) {
  if (name.matches("*.htm", false) || name.matches("*.html", false)) return "text/html";
  return name.matches("*.csv", false) ? "text/csv" : "text/plain";
}

bool readFile(StringBuffer& text, Message& message) {
  message.parts.emplace_back();
  message.parts.back().type.append(typeOfFile(message.name));
  return readPart(text, message.parts.back());
}

}  // namespace

bool readMessage(const StringBuffer& name, const StringBuffer& text, Message& message) {
  message.name.append(name);
  message.size = text.getSize();
  StringBuffer copy;
  if (!copy.append(text)) return false;
  copy.toLF();
  copy.replaceCharAnsi('\r', '\n');
  return beginsWithHeader(copy) ? readMail(copy, message) : readFile(copy, message);
}
