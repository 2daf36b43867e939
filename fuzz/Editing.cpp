// A sequence of members applied to one buffer, chosen by the input. A twin gets the same calls
// with copies of all arguments that lie in the buffer: the results are the same.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "fuzz/Input.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogNull.h"
#include "support/_dvHashMap.h"

namespace {

constexpr unsigned int kLongestContent = 512;
constexpr unsigned int kMostSteps = 100;

// One call: the member and all that it may want to know.
struct Step {
  unsigned int member = 0;
  unsigned int n = 0;
  char c = '\0';
  char d = '\0';
  std::string x;  // "@" at the start: the buffer's own text; "~" at the start: null
  std::string y;
};

// The arguments of a call on one buffer. They are resolved before the call.
struct Arguments {
  const char* x;
  const char* y;
  unsigned int n;
  char c;
  char d;
  bool p;
  bool q;
};

using Member = void (*)(StringBuffer& b, const Arguments& a);

unsigned int sizeOf(const char* text) {
  return text == nullptr ? 0 : static_cast<unsigned int>(std::strlen(text));
}

// As many bytes of a text as the call asks for.
unsigned int someOf(const Arguments& a) { return std::min(a.n, sizeOf(a.x)); }

void takeData(StringBuffer& b, const Arguments& a) {
  DataBuffer data;
  data.append(a.x, sizeOf(a.x));
  b.takeFromDb(data);
}

void takeBuffer(StringBuffer& b, const Arguments& a) {
  StringBuffer other(a.x);
  if (a.p) other.append(b);
  b.takeSb(other);
  fuzz::requireSound(other);
}

void extract(StringBuffer& b) {
  unsigned int length = 0;
  const unsigned char* const bytes = b.extractString(&length);
  b.appendN(reinterpret_cast<const char*>(bytes), length);
  delete[] bytes;
}

void substitute(StringBuffer& b, const Arguments& a) {
  _dvHashMap variables;
  variables.hashInsertString("x", a.x);
  b.variableSubstitute(variables, a.p ? 4 : 22);
}

void protect(StringBuffer& b) {
  ExtPtrArraySb runs;
  const StringBuffer before(b);
  b.iso2022Replace(runs);
  b.iso2022Restore(runs);
  if (!before.containsSubstring("DV_ISO2022_"))
    fuzz::require(std::strcmp(before.getString(), b.getString()) == 0, "the runs are put back");
}

constexpr Member kMembers[] = {
    // Storage
    [](StringBuffer& b, const Arguments& a) { b.append(a.x); },
    [](StringBuffer& b, const Arguments& a) { b.appendN(a.x, someOf(a)); },
    [](StringBuffer& b, const Arguments& a) { b.setString(a.x); },
    [](StringBuffer& b, const Arguments&) { b.append(b); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.clear() : b.weakClear(); },
    [](StringBuffer& b, const Arguments&) { b.secureClear(); },
    [](StringBuffer& b, const Arguments& a) { b.setSecureBuf(a.p); },
    [](StringBuffer& b, const Arguments& a) { b.setExtendSize(a.n); },
    [](StringBuffer& b, const Arguments& a) { b.expectNumBytes(a.n); },
    [](StringBuffer& b, const Arguments& a) { b.shorten(a.n); },
    [](StringBuffer& b, const Arguments& a) { b.chopAt(a.n); },
    [](StringBuffer& b, const Arguments& a) { b.rollback(a.n); },
    [](StringBuffer& b, const Arguments& a) {
      b.removeChunk(a.n, static_cast<unsigned char>(a.c));
    },
    // Lifecycle
    [](StringBuffer& b, const Arguments& a) { b = a.x; },
    [](StringBuffer& b, const Arguments& a) { b = a.p ? b : StringBuffer(a.x); },
    takeBuffer,
    takeData,
    [](StringBuffer& b, const Arguments&) { extract(b); },
    [](StringBuffer& b, const Arguments&) { b.minimizeMemoryUsage(); },
    // Appending
    [](StringBuffer& b, const Arguments& a) { b.append(static_cast<int>(a.n) - 128); },
    [](StringBuffer& b, const Arguments& a) { b.appendHex(a.n, a.p, a.n % 10); },
    [](StringBuffer& b, const Arguments& a) { b.appendChar(a.c); },
    [](StringBuffer& b, const Arguments& a) { b.appendChar3(a.c, a.d, a.c); },
    [](StringBuffer& b, const Arguments& a) { b.appendCharN(a.c, a.n); },
    [](StringBuffer& b, const Arguments& a) { b.append3(a.x, a.y, a.x); },
    [](StringBuffer& b, const Arguments& a) { b.appendMinSize(a.x); },
    [](StringBuffer& b, const Arguments& a) { b.append_s(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.append_d(a.x, static_cast<int>(a.n)); },
    [](StringBuffer& b, const Arguments& a) { b.appendNameValue(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.prepend(a.x); },
    [](StringBuffer& b, const Arguments& a) { b.insertAt(StringBuffer(a.x), a.n); },
    [](StringBuffer& b, const Arguments& a) { b.insertAt(b, a.n); },
    // Hexadecimal and base64 data
    [](StringBuffer& b, const Arguments& a) {
      b.appendHexData(reinterpret_cast<const unsigned char*>(a.x), someOf(a));
    },
    [](StringBuffer& b, const Arguments& a) {
      b.appendBase64(reinterpret_cast<const unsigned char*>(a.x), someOf(a));
    },
    [](StringBuffer& b, const Arguments&) { b.canonicalizeHexString(); },
    // Trimming
    [](StringBuffer& b, const Arguments& a) { a.p ? b.trim() : b.trim2(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.trim3() : b.trimInsideSpaces(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.trimRight2() : b.trimTrailingCRLFs(); },
    [](StringBuffer& b, const Arguments& a) { b.trimBefore(a.c, a.p); },
    [](StringBuffer& b, const Arguments& a) { b.trimAfter(a.c, a.p); },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.chopAtFirstChar(a.c) : b.chopAtLastChar(a.c);
    },
    [](StringBuffer& b, const Arguments&) { b.stripDirectory(); },
    // Filters
    [](StringBuffer& b, const Arguments& a) { b.eliminateChar(a.c, a.n); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.drop8bitChars() : b.dropNonNumeric(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.removeFws() : b.unescape(); },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.removeInvalidXmlTagChars() : b.removeInvalidFilenameChars();
    },
    [](StringBuffer& b, const Arguments& a) { b.replaceCharAnsi(a.c, a.d); },
    [](StringBuffer& b, const Arguments&) { b.replaceNullsWithSpaces(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.toLowerCase() : b.toUpperCase(); },
    [](StringBuffer& b, const Arguments&) { b.toProperCase(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.toCRLF() : b.toLF(); },
    [](StringBuffer& b, const Arguments& a) { b.indent(a.c, a.n % 8); },
    // Replacement
    [](StringBuffer& b, const Arguments& a) { b.replaceFirstOccurance(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.replaceLastOccurance(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllOccurances(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllOccurancesNoCase(a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.replaceCharInOccurances(a.x, a.c, a.d); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllWithUchar(a.x, a.n); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllWithUcharUtf8(a.x, a.n); },
    [](StringBuffer& b, const Arguments& a) { b.replaceFirstWordOccurance(a.x, a.y, 0, a.p); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllWordOccurances(a.x, a.y, 0, a.p); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllWordOccurancesNoCase(a.x, a.y, 0); },
    // Regions and variables
    [](StringBuffer& b, const Arguments& a) { b.getBetween(a.x, a.y, b); },
    [](StringBuffer& b, const Arguments& a) { b.getDelimited(a.x, a.y, a.p, b); },
    [](StringBuffer& b, const Arguments& a) { b.chopAtSubstr(a.x, a.p); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllBetween(a.x, a.y, a.x, a.p); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllOccurancesBetween("<", ">", a.x, a.y); },
    [](StringBuffer& b, const Arguments& a) { b.replaceAllOccurancesBetween(a.x, a.y, "a", a.x); },
    [](StringBuffer& b, const Arguments& a) { b.removeDelimited(a.x, a.y, a.p); },
    substitute,
    [](StringBuffer& b, const Arguments&) { b.envReplace(); },
    // Fields and scanners
    [](StringBuffer& b, const Arguments& a) {
      b.setNthDelimited(a.n % 8, a.c, a.p, a.q, StringBuffer(a.x));
    },
    [](StringBuffer& b, const Arguments& a) { b.removeNthDelimited(a.n % 8, a.c, a.p, a.q); },
    [](StringBuffer& b, const Arguments& a) { b.pop(a.c, b); },
    [](StringBuffer& b, const Arguments& a) { b.separate(a.c, b, b); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.captureNonWS(a.x) : b.captureAlpha(a.x); },
    [](StringBuffer& b, const Arguments& a) { b.captureLine(a.x, a.p, a.q); },
    // Entities, XML and links
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.encodeAllXmlSpecial() : static_cast<void>(b.encodeXMLSpecial());
    },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.replaceHTMLSpecial() : b.replacePreDefinedXmlEntities(a.n);
    },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.decodeAllXmlSpecialUtf8() : b.decodeAllXmlSpecialIso();
    },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.appendXml(a.x) : b.appendXmlNoCdata(a.x); },
    [](StringBuffer& b, const Arguments& a) { b.appendXmlNoCdataN(a.x, someOf(a)); },
    [](StringBuffer& b, const Arguments& a) { b.appendXml(a.x, ExtPtrArray(), a.y); },
    [](StringBuffer& b, const Arguments& a) { b.simpleXml(a.x, a.y, 1, &a.x, &a.y); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.autoLinkUrls() : b.autoLinkUrls2(b); },
    // JSON, AWS, code pages
    [](StringBuffer& b, const Arguments&) { b.jsonEscape(); },
    [](StringBuffer& b, const Arguments& a) { StringBuffer::jsonDecode(a.x, someOf(a), b); },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.awsNormalizeUriUtf8() : b.awsNormalizeQueryParams();
    },
    [](StringBuffer& b, const Arguments& a) {
      LogNull log;
      a.p ? b.cvUtf8ToAnsi() : b.cvAnsiToUtf8(log);
    },
    [](StringBuffer& b, const Arguments& a) { b.replaceCharUtf8(a.c, a.d); },
    [](StringBuffer& b, const Arguments&) { protect(b); },
    // Obfuscation and word forms
    [](StringBuffer& b, const Arguments& a) { a.p ? b.scramble() : b.unscramble(); },
    [](StringBuffer& b, const Arguments& a) { a.p ? b.obfus() : b.unobfus(); },
    [](StringBuffer& b, const Arguments& a) { b.appendObfus(a.x); },
    [](StringBuffer& b, const Arguments& a) {
      a.p ? b.pluralize() : static_cast<void>(b.unpluralize());
    },
};

Step readStep(fuzz::Input& input) {
  Step step;
  step.member = input.number() % static_cast<unsigned int>(std::size(kMembers));
  step.n = input.number();
  step.c = input.character();
  step.d = input.character();
  step.x = input.line();
  step.y = input.line();
  return step;
}

const char* textArgument(const std::string& text, const StringBuffer& buffer, unsigned int offset) {
  if (text[0] == '~') return nullptr;
  if (text[0] == '@') return buffer.getString() + offset % (buffer.getSize() + 1);
  return text.c_str();
}

// A buffer and the storage of its copied arguments.
class Subject {
 public:
  explicit Subject(bool copiesArguments) : m_copies(copiesArguments) {}

  void run(const Step& step) {
    Arguments a{textArgument(step.x, m_buffer, step.n),
                textArgument(step.y, m_buffer, static_cast<unsigned char>(step.c)),
                step.n,
                step.c,
                step.d,
                (step.n & 1U) != 0,
                (step.n & 2U) != 0};
    if (m_copies) {
      a.x = copyOf(a.x, m_x);
      a.y = copyOf(a.y, m_y);
    }
    kMembers[step.member](m_buffer, a);
    fuzz::requireSound(m_buffer);
    m_buffer.chopAt(kLongestContent);
  }

  std::string_view content() const { return fuzz::contentOf(m_buffer); }

 private:
  static const char* copyOf(const char* text, std::string& copy) {
    if (text == nullptr) return nullptr;
    copy = text;
    return copy.c_str();
  }

  StringBuffer m_buffer;
  bool m_copies;
  std::string m_x;
  std::string m_y;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Subject subject(false);
  Subject twin(true);
  for (unsigned int i = 0; i < kMostSteps && !input.atEnd(); ++i) {
    const Step step = readStep(input);
    subject.run(step);
    twin.run(step);
    fuzz::require(subject.content() == twin.content(), "arguments may lie in the buffer");
  }
  return 0;
}
