#include "Message.h"

#include <algorithm>

#include "Header.h"
#include "shared/Html.h"
#include "shared/Utf8.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/dvParse.h"
#include "support/dvString.h"

namespace {

constexpr int kMaxDepth = 20;
constexpr unsigned int kBinaryShown = 16;
constexpr char kDefaultType[] = "text/plain";
constexpr char kMessage[] = "message/rfc822";

// A text with a header, not yet looked at.
struct Entity {
  StringBuffer text;
  int depth = 0;  // the number of texts around it
  const char* defaultType = kDefaultType;
};

// ---- Structure ----

enum class Boundary { kNone, kOpening, kClosing };

// What kind of line it is whose text after "--" and the boundary is given; blanks may follow (RFC
// 2046, section 5.1.1). `next` becomes the beginning of the next line.
Boundary readBoundary(const char* text, const char*& next) {
  const bool closes = text[0] == '-' && text[1] == '-';
  if (closes) text += 2;
  while (*text == ' ' || *text == '\t') ++text;
  if (*text != '\n' && *text != '\0') return Boundary::kNone;
  next = *text == '\n' ? text + 1 : text;
  return closes ? Boundary::kClosing : Boundary::kOpening;
}

bool addPiece(const char* begin, const char* end, ExtPtrArraySb& pieces) {
  StringBuffer* const piece = StringBuffer::createNewSB();
  if (piece == nullptr || !pieces.appendPtr(piece)) return false;
  return piece->appendN(begin, static_cast<unsigned int>(end - begin));
}

// Adds what is between the boundaries of a text that begins with a line ending. Boundaries in a row
// count as one; what is before the first and after the closing one belongs to no part.
// False when memory is exhausted.
bool splitAtBoundaries(const StringBuffer& text, const StringBuffer& marker,
                       ExtPtrArraySb& pieces) {
  const char* const end = text.getString() + text.getSize();
  const char* piece = end;
  const char* from = text.getString();
  while (const char* const at = dvStrStr(from, marker.getString())) {
    const char* next = nullptr;
    const Boundary found = readBoundary(at + marker.getSize(), next);
    from = at + 1;
    if (found == Boundary::kNone) continue;
    if (at >= piece && !addPiece(piece, at, pieces)) return false;
    if (found == Boundary::kClosing) return true;
    piece = next;
    from = next - 1;  // the line ending before the next boundary
  }
  return piece == end || addPiece(piece, end, pieces);
}

void addEntity(StringBuffer& text, int depth, const char* defaultType,
               std::deque<Entity>& waiting) {
  waiting.emplace_back();
  waiting.back().text.takeSb(text);
  waiting.back().depth = depth;
  waiting.back().defaultType = defaultType;
}

// Adds the entities of a multipart body, the last one first; false when it is none.
bool openMultipart(const StringBuffer& contentType, const char* defaultType,
                   const StringBuffer& body, int depth, std::deque<Entity>& waiting) {
  StringBuffer boundary;
  if (!getParameter(contentType, "boundary", boundary)) return false;
  boundary.trimRight2();
  if (boundary.getSize() == 0) return false;
  StringBuffer marker;
  marker.append2("\n--", boundary.getString());
  StringBuffer text;
  ExtPtrArraySb pieces;
  if (!text.append2("\n", body.getString())) return false;
  if (!splitAtBoundaries(text, marker, pieces) || pieces.getSize() == 0) return false;
  for (int i = pieces.getSize() - 1; i >= 0; --i)
    addEntity(*pieces.sbAt(i), depth, defaultType, waiting);
  return true;
}

// The type that the headers tell, or the default one when that is none (RFC 2045, section 5.2).
void getType(const StringBuffer& contentType, const char* defaultType, StringBuffer& type) {
  getMainValue(contentType, type);
  if (!type.containsChar('/')) type.setString(defaultType);
}

// Adds the entities inside the body of one; false when there are none. The parts of a digest are
// messages when they do not say otherwise (RFC 2046, section 5.1.5).
bool openBody(const ExtPtrArraySb& headers, Entity& entity, std::deque<Entity>& waiting) {
  StringBuffer contentType;
  StringBuffer type;
  if (entity.depth >= kMaxDepth) return false;
  findHeader(headers, "Content-Type", contentType);
  getType(contentType, entity.defaultType, type);
  const int depth = entity.depth + 1;
  if (type.beginsWith("multipart/"))
    return openMultipart(contentType, type.equals("multipart/digest") ? kMessage : kDefaultType,
                         entity.text, depth, waiting);
  if (!type.equals(kMessage)) return false;
  addEntity(entity.text, depth, kDefaultType, waiting);
  return true;
}

// ---- Parts ----

// What the headers say of a part. The name of the file may be in either of two. A comment may
// follow the charset (RFC 2045, section 5.1).
void describe(const ExtPtrArraySb& headers, const char* defaultType, Part& part) {
  StringBuffer value;
  findHeader(headers, "Content-Transfer-Encoding", value);
  getMainValue(value, part.encoding);
  findHeader(headers, "Content-Disposition", value);
  const bool named = getNameParameter(value, "filename", part.name);
  findHeader(headers, "Content-Type", value);
  if (!named) getNameParameter(value, "name", part.name);
  getType(value, defaultType, part.type);
  getParameter(value, "charset", part.charset);
  part.charset.chopAtFirstChar('(');
  part.charset.trim2();
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
  // A 0 byte at the end of the block is no part of the content.
  return part.size == 0 ? body.setString("") : bytes.appendChar(0) && body.takeFromDb(bytes);
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
  return part.text.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(body.getString()),
                                     std::min(body.getSize(), kBinaryShown), true);
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
  if (openBody(headers, entity, waiting)) return true;
  message.parts.emplace_back();
  describe(headers, entity.defaultType, message.parts.back());
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
    entity.defaultType = waiting.back().defaultType;
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
