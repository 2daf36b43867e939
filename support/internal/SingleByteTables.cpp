#include "support/internal/SingleByteTables.h"

#include <algorithm>
#include <iterator>

#include "support/CharTables.h"

namespace dorvane::internal {
namespace {

struct CodePoints {
  unsigned short of[128];
};

// Inserts the pairs one by one into the ordered part of the array.
constexpr SingleByteTable makeTable(const CodePoints& points) noexcept {
  SingleByteTable table{};
  for (unsigned int i = 0; i < 128; ++i) {
    const unsigned short codePoint = points.of[i];
    table.codePoints[i] = codePoint;
    unsigned int place = i;
    for (; place > 0 && table.inverse[place - 1].codePoint > codePoint; --place)
      table.inverse[place] = table.inverse[place - 1];
    table.inverse[place] = {codePoint, static_cast<unsigned char>(0x80 + i)};
  }
  return table;
}

constexpr unsigned short decodeUtf8(const unsigned int (&bytes)[3]) noexcept {
  const unsigned int two = (bytes[0] & 0x1FU) << 6U | (bytes[1] & 0x3FU);
  const unsigned int three =
      (bytes[0] & 0x0FU) << 12U | (bytes[1] & 0x3FU) << 6U | (bytes[2] & 0x3FU);
  return static_cast<unsigned short>(bytes[2] == 0 ? two : three);
}

constexpr CodePoints windows1252() noexcept {
  CodePoints points{};
  for (unsigned int i = 0; i < 128; ++i) points.of[i] = decodeUtf8(_ansi_to_utf8[i]);
  return points;
}

constexpr CodePoints latin1() noexcept {
  CodePoints points{};
  for (unsigned int i = 0; i < 128; ++i) points.of[i] = static_cast<unsigned short>(0x80 + i);
  return points;
}

constexpr CodePoints kOem437 = {{0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,  //
                                 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,  //
                                 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,  //
                                 0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192,  //
                                 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,  //
                                 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,  //
                                 0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,  //
                                 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,  //
                                 0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,  //
                                 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,  //
                                 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,  //
                                 0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,  //
                                 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,  //
                                 0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229,  //
                                 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248,  //
                                 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0}};

struct NumberedTable {
  int number;
  SingleByteTable table;
};

// In ascending order of the numbers.
constexpr NumberedTable kTables[] = {
    {437, makeTable(kOem437)},
    {1252, makeTable(windows1252())},
    {28591, makeTable(latin1())},
};

}  // namespace

unsigned int SingleByteTable::byteOf(unsigned int codePoint) const noexcept {
  const Inverse* const found = std::lower_bound(
      std::begin(inverse), std::end(inverse), codePoint,
      [](const Inverse& pair, unsigned int wanted) { return pair.codePoint < wanted; });
  return found != std::end(inverse) && found->codePoint == codePoint ? found->byte : 0U;
}

const SingleByteTable* findSingleByteTable(int number) noexcept {
  const NumberedTable* const found = std::lower_bound(
      std::begin(kTables), std::end(kTables), number,
      [](const NumberedTable& table, int wanted) { return table.number < wanted; });
  return found != std::end(kTables) && found->number == number ? &found->table : nullptr;
}

}  // namespace dorvane::internal
