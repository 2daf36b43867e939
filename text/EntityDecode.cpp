// Decoding of entity references. What they stand for is one table, replaced stage by stage, each
// stage a range of its rows. Within a stage no row writes a byte that its references are made of,
// so one walk over the text does what replacing row after row would do; the stages stay apart, for
// "&amp;" makes new references. Tested in tests/text/EntityDecodeTest.cpp against the plain
// replacement of row after row.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/CharTables.h"
#include "support/dvParse.h"
#include "support/internal/ByteClasses.h"
#include "text/internal/Entities.h"

using dorvane::internal::BufferAccess;
using dorvane::internal::kDigits;
using dorvane::internal::kHexDigits;
using dorvane::internal::kNamedCharacters;
using dorvane::internal::Scratch;

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// ---- The table ----

// A reference, packed into a number: none is longer than eight bytes.
using Key = std::uint64_t;

constexpr std::size_t kLongestReference = 8;

constexpr Key withByte(Key key, char c) { return key << 8U | static_cast<unsigned char>(c); }

// The reference at the start of `text`, which begins with "&"; 0 when it is none.
constexpr Key keyOf(std::string_view text) {
  Key key = 0;
  for (const char c : text.substr(0, kLongestReference)) {
    key = withByte(key, c);
    if (c == ';') return key;
  }
  return 0;
}

// "&#...;" with the decimal form of a code point.
constexpr Key decimalKey(unsigned int codePoint) {
  Key key = keyOf("&#;") >> 8U;
  for (unsigned int unit = 10000; unit != 0; unit /= 10)
    if (codePoint >= unit) key = withByte(key, static_cast<char>('0' + codePoint / unit % 10));
  return withByte(key, ';');
}

struct Row {
  Key key = 0;
  unsigned char ansi = 0;  // the Windows-1252 byte that it stands for
};

constexpr unsigned int kRowCount = 163;

// Some rows of the table.
struct RowRange {
  unsigned int first;
  unsigned int end;
};

constexpr RowRange kQuotesAndAmpersand = {0, 3};  // " ' &
constexpr RowRange kAmpersand = {2, 3};
constexpr RowRange kXmlSpecial = {2, 5};  // & < >
constexpr RowRange kAnglesAndSpace = {3, 6};
constexpr RowRange kNamed = {6, 149};
constexpr RowRange kNamedAndSpaces = {6, kRowCount};

struct ByteRange {
  unsigned char first;
  unsigned char last;
};

// The order of the named characters. It decides which row of a text is the last, and the
// replacement of that one makes the block that callers see through heapUsage().
constexpr ByteRange kOrderOfNamed[] = {
    {0xA1, 0xA1}, {0xA4, 0xA4}, {0xA2, 0xA3}, {0xA5, 0xAE}, {0x99, 0x99}, {0xAF, 0xBF},
    {0xD7, 0xD7}, {0xF7, 0xF7}, {0xC0, 0xD6}, {0xD8, 0xDF}, {0xE0, 0xE8}, {0x95, 0x95},
    {0xE9, 0xF6}, {0xF8, 0xFF}, {0x8C, 0x8C}, {0x9C, 0x9C}, {0x8A, 0x8A}, {0x9A, 0x9A},
    {0x9F, 0x9F}, {0x88, 0x88}, {0x98, 0x98}, {0x96, 0x97}, {0x91, 0x92}, {0x82, 0x82},
    {0x93, 0x94}, {0x84, 0x84}, {0x86, 0x87}, {0x85, 0x85}, {0x89, 0x89}, {0x8B, 0x8B},
    {0x9B, 0x9B}, {0x80, 0x80}};

// Spaces, joiners and marks that Windows-1252 does not have.
struct Space {
  std::string_view reference;
  unsigned int codePoint;
};

constexpr Space kSpaces[] = {{"&ensp;", 8194}, {"&emsp;", 8195}, {"&thinsp;", 8201},
                             {"&zwnj;", 8204}, {"&zwj;", 8205},  {"&lrm;", 8206},
                             {"&rlm;", 8207}};

class Table {
 public:
  constexpr Table() {
    for (const char c : std::string_view("\"'&<>")) addNamed(static_cast<unsigned char>(c));
    add(keyOf("&nbsp;"), ' ');
    for (const ByteRange& range : kOrderOfNamed)
      for (unsigned int c = range.first; c <= range.last; ++c)
        addNamed(static_cast<unsigned char>(c));
    add(keyOf("&#x20AC;"), 0x80);
    for (const Space& space : kSpaces) {
      add(keyOf(space.reference), ' ');
      add(decimalKey(space.codePoint), ' ');
    }
  }

  constexpr unsigned int size() const { return m_size; }
  constexpr const Row& operator[](unsigned int i) const { return m_rows[i]; }

  // Number of the row of a key; size() when there is none.
  constexpr unsigned int find(Key key) const {
    for (std::size_t slot = slotOf(key);; slot = (slot + 1) % kSlots)
      if (m_slots[slot] == kFree || m_rows[m_slots[slot]].key == key)
        return std::min<unsigned int>(m_slots[slot], m_size);
  }

 private:
  static constexpr unsigned int kSlotBits = 9;
  static constexpr std::size_t kSlots = std::size_t{1} << kSlotBits;
  static constexpr unsigned char kFree = 0xFF;

  static constexpr std::size_t slotOf(Key key) {
    return static_cast<std::size_t>(key * 0x9E3779B97F4A7C15U >> (64U - kSlotBits));
  }

  static constexpr std::array<unsigned char, kSlots> freeSlots() {
    std::array<unsigned char, kSlots> slots{};
    for (std::size_t i = 0; i < kSlots; ++i) slots[i] = kFree;
    return slots;
  }

  constexpr void add(Key key, unsigned char ansi) {
    std::size_t slot = slotOf(key);
    while (m_slots[slot] != kFree) slot = (slot + 1) % kSlots;
    m_slots[slot] = static_cast<unsigned char>(m_size);
    m_rows[m_size].key = key;
    m_rows[m_size].ansi = ansi;
    ++m_size;
  }

  // The name of a character and, for the punctuation of 0x80 to 0x9F, also its number. Deliberate:
  // the number of the bullet is not known.
  constexpr void addNamed(unsigned char ansi) {
    for (const auto& character : kNamedCharacters) {
      if (character.ansi != ansi) continue;
      add(keyOf(character.reference), ansi);
      if (ansi >= 0x80 && ansi < 0xA0 && ansi != 0x95) add(decimalKey(character.codePoint), ansi);
    }
  }

  std::array<Row, kRowCount> m_rows{};
  std::array<unsigned char, kSlots> m_slots = freeSlots();
  unsigned int m_size = 0;
};

constexpr Table kTable;
static_assert(kTable.size() == kRowCount);
static_assert(kTable[kAmpersand.first].ansi == '&' && kTable[kAmpersand.end].ansi == '<');
static_assert(kTable[kNamed.end - 1].key == keyOf("&#x20AC;"));
static_assert(kTable.find(keyOf("&nbsp;")) == kNamed.first - 1);

// Number of the row whose reference `text` begins with; `rows.end` when it is none of these.
unsigned int rowAt(std::string_view text, const RowRange& rows) {
  const unsigned int row = kTable.find(keyOf(text));
  return row >= rows.first && row < rows.end ? row : rows.end;
}

// A reference in a text: where it begins and the number of its row. Without one, the size of the
// text and the end of the rows.
struct Match {
  std::size_t at;
  unsigned int row;
};

// The first reference of one of the rows.
Match findRow(std::string_view text, const RowRange& rows) {
  for (std::size_t at = text.find('&'); at != kNone; at = text.find('&', at + 1)) {
    const unsigned int row = rowAt(text.substr(at), rows);
    if (row != rows.end) return {at, row};
  }
  return {text.size(), rows.end};
}

// Number of the last of the rows that occur in the text; `rows.end` when none does.
unsigned int lastRowIn(std::string_view text, RowRange rows) {
  unsigned int last = rows.end;
  for (;;) {
    const Match match = findRow(text, rows);
    if (match.row == rows.end) return last;
    last = match.row;
    rows.first = last + 1;
    text.remove_prefix(match.at);
  }
}

// The reference of a row as a text.
struct Spelling {
  explicit Spelling(Key key) {
    for (; key != 0; key >>= 8U) bytes[--first] = static_cast<char>(key & 0xFFU);
  }
  const char* begin() const { return bytes + first; }

  std::size_t first = kLongestReference;
  char bytes[kLongestReference + 1] = {};
};

// ---- Where to look ----

// The first "&" of a content. One behind a NUL is not in the text: only numeric references, which
// are looked for in the content, can begin there.
enum class Ampersand { kNowhere, kInText, kBehindNul };

Ampersand ampersandIn(std::string_view content) {
  const std::size_t at = content.find('&');
  if (at == kNone) return Ampersand::kNowhere;
  const bool isInText = content.substr(0, at).find('\0') == kNone;
  return isInText ? Ampersand::kInText : Ampersand::kBehindNul;
}

// ---- Output ----

struct Character {
  std::size_t size;
  char bytes[4];  // a text
};

Character asAnsi(unsigned char ansi) { return {1, {static_cast<char>(ansi)}}; }

Character asUtf8(unsigned char ansi) {
  if (ansi < 0x80) return asAnsi(ansi);
  Character character = {0, {}};
  for (const unsigned int byte : _ansi_to_utf8[ansi - 0x80])
    if (byte != 0) character.bytes[character.size++] = static_cast<char>(byte);
  return character;
}

// ---- Numeric references ----

// A numeric reference: its size, the byte behind its digits included, and the Windows-1252 byte
// that it stands for; 0 when there is none.
struct Number {
  std::size_t size = 0;
  unsigned char ansi = 0;
};

// Each looks at the start of `text`, which begins with "&" and ends with a NUL behind it. The whole
// number decides whether there is a reference. Deliberate: only its first digits are taken, and the
// byte behind them belongs to the reference, whatever it is.

Number hexadecimalAt(std::string_view text) {
  constexpr std::string_view kMark = "&#x";
  if (text.size() < 5 || text.substr(0, kMark.size()) != kMark) return {};
  const char* const digits = text.data() + kMark.size();
  const unsigned int whole = dv_valHex(digits);
  if (whole == 0 || whole > 0xFF) return {};
  const std::size_t taken = kHexDigits.contains(digits[1]) ? 2 : 1;
  return {kMark.size() + taken + 1, static_cast<unsigned char>(dv_valHexN(digits, 2))};
}

// Deliberate: 255 is no reference, and the first byte behind "&#" is taken without a look, so that
// it can be a blank or a sign.
Number decimalAt(std::string_view text) {
  constexpr std::string_view kMark = "&#";
  if (text.size() < 4 || text.substr(0, kMark.size()) != kMark) return {};
  const int whole = dvIntValue(text.data() + kMark.size());
  if (whole < 1 || whole > 254) return {};
  const std::string_view most = text.substr(kMark.size(), 3);
  const std::size_t taken = 1 + kDigits.findFirstNotIn(most.data() + 1, most.size() - 1);
  char digits[4] = {};
  std::copy_n(most.data(), taken, digits);
  return {kMark.size() + taken + 1, static_cast<unsigned char>(dvIntValue(digits))};
}

// ---- The passes ----

// Decodes the references of some rows in place; returns how many.
template <class Encode>
unsigned int decodeNamed(StringBuffer& buffer, const RowRange& rows, const Encode& encode) {
  const BufferAccess self(buffer);
  unsigned int count = 0;
  char* write = self.data();
  std::string_view rest = self.text();
  for (;;) {
    const Match match = findRow(rest, rows);
    if (write != rest.data()) std::memmove(write, rest.data(), match.at);
    write += match.at;
    rest.remove_prefix(match.at);
    if (rest.empty()) break;
    const Character character = encode(kTable[match.row].ansi);
    write = std::copy_n(character.bytes, character.size, write);
    rest.remove_prefix(rest.find(';') + 1);
    ++count;
  }
  self.terminateAt(static_cast<std::size_t>(write - self.data()));
  return count;
}

// Decodes the numeric references that `numberAt` recognises.
template <class NumberAt, class Encode>
void decodeNumeric(StringBuffer& buffer, const NumberAt& numberAt, const Encode& encode) {
  constexpr std::size_t kLongestNumber = 6;
  const BufferAccess self(buffer);
  // A caller may have overwritten the terminator, at which the readers of numbers stop.
  self.terminateAt(self.size());
  const std::string_view all = self.content();
  Scratch out(buffer);
  const BufferAccess room(out);
  std::size_t done = 0;
  for (std::size_t at = all.find('&'); at != kNone;) {
    const Number number = numberAt(all.substr(at));
    if (number.ansi != 0) {
      // The result is never longer than the source, and never so short that it belongs inline.
      if (done == 0 && all.size() / kLongestNumber > room.longestWithoutGrowth() &&
          !room.makeRoom(all.size()))
        return;
      const Character character = encode(number.ansi);
      if (!room.append(all.substr(done, at - done)) ||
          !room.append({character.bytes, character.size}))
        return;
      done = std::min(at + number.size, all.size());
    }
    at = all.find('&', number.ansi != 0 ? done : at + 1);
  }
  if (done != 0 && room.append(all.substr(done))) buffer.takeSb(out);
}

}  // namespace

unsigned int StringBuffer::decodeXMLSpecial() {
  return ampersandIn(BufferAccess(*this).content()) == Ampersand::kInText
             ? decodeNamed(*this, kXmlSpecial, asAnsi)
             : 0;
}

void StringBuffer::decodeAllXmlSpecialUtf8() {
  const Ampersand ampersand = ampersandIn(BufferAccess(*this).content());
  if (ampersand == Ampersand::kNowhere) return;
  if (ampersand == Ampersand::kInText) {
    decodeNamed(*this, kQuotesAndAmpersand, asAnsi);
    decodeNamed(*this, kAnglesAndSpace, asAnsi);
    const unsigned int last = lastRowIn(BufferAccess(*this).text(), kNamed);
    if (last != kNamed.end) {
      decodeNamed(*this, RowRange{kNamed.first, last}, asUtf8);
      replaceAllOccurances(Spelling(kTable[last].key).begin(), asUtf8(kTable[last].ansi).bytes);
    }
    decodeNamed(*this, kAmpersand, asAnsi);
  }
  decodeNumeric(*this, hexadecimalAt, asUtf8);
  decodeNumeric(*this, decimalAt, asUtf8);
}

void StringBuffer::decodeAllXmlSpecialIso() {
  const Ampersand ampersand = ampersandIn(BufferAccess(*this).content());
  if (ampersand == Ampersand::kNowhere) return;
  if (ampersand == Ampersand::kInText) {
    decodeNamed(*this, kQuotesAndAmpersand, asAnsi);
    decodeNamed(*this, kAnglesAndSpace, asAnsi);
    decodeNamed(*this, kNamedAndSpaces, asAnsi);
    decodeNamed(*this, kAmpersand, asAnsi);
  }
  decodeNumeric(*this, hexadecimalAt, asAnsi);
  decodeNumeric(*this, decimalAt, asAnsi);
}
