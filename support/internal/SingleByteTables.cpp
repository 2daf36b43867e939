#include "support/internal/SingleByteTables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "support/internal/SingleByteData.h"

namespace dorvane::internal {
namespace {

struct NumberedTable {
  int number;
  SingleByteTable table;
};

constexpr NumberedTable makeTable(const CodePagePoints& page) noexcept {
  NumberedTable made{page.number, {}};
  SingleByteTable& table = made.table;
  for (unsigned int i = 0; i < 128; ++i) {
    const unsigned int codePoint = page.of[i];
    table.codePoints[i] = page.of[i];
    if (codePoint == 0) continue;
    unsigned int slot = SingleByteTable::slotOf(codePoint);
    while (table.slots[slot] != 0) slot = (slot + 1) & 0xFFU;
    table.slots[slot] = static_cast<unsigned char>(0x80 + i);
  }
  return made;
}

using Tables = std::array<NumberedTable, std::size(kCodePagePoints)>;

constexpr Tables makeTables() noexcept {
  Tables tables{};
  for (std::size_t i = 0; i < tables.size(); ++i) tables[i] = makeTable(kCodePagePoints[i]);
  return tables;
}

constexpr Tables kTables = makeTables();

}  // namespace

const SingleByteTable* findSingleByteTable(int number) noexcept {
  const auto* const found = std::lower_bound(
      kTables.begin(), kTables.end(), number,
      [](const NumberedTable& table, int wanted) { return table.number < wanted; });
  return found != kTables.end() && found->number == number ? &found->table : nullptr;
}

}  // namespace dorvane::internal
