#include "bench/Table.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <ostream>

#include "bench/harness.h"

namespace bench {
namespace {

using Line = std::vector<std::string>;

constexpr double kUnmeasured = std::numeric_limits<double>::infinity();

Line splitName(const std::string& name) {
  Line parts(1);
  for (const char c : name) {
    if (c == '/')
      parts.emplace_back();
    else
      parts.back().push_back(c);
  }
  return parts;
}

// The columns: ours, the standard library, then the others in the order of this list; a peer that
// is not on it comes last.
constexpr const char* kPeers[] = {"ours", "std", "absl", "boost", "qt", "glib", "fmt"};

std::ptrdiff_t columnOf(const std::string& peer) {
  return std::find(std::begin(kPeers), std::end(kPeers), peer) - std::begin(kPeers);
}

void addPeer(std::vector<std::string>& peers, const std::string& peer) {
  if (std::find(peers.begin(), peers.end(), peer) != peers.end()) return;
  const auto behind = std::upper_bound(
      peers.begin(), peers.end(), peer,
      [](const std::string& a, const std::string& b) { return columnOf(a) < columnOf(b); });
  peers.insert(behind, peer);
}

std::string formatted(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string nanosecondsCell(double value) {
  return formatted(value < 100 ? "%.1f" : "%.0f", value);
}

std::vector<std::size_t> widthsOf(const std::vector<Line>& lines) {
  std::vector<std::size_t> widths(lines.front().size());
  for (const Line& line : lines)
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  return widths;
}

// Names to the left, numbers to the right.
std::string padded(const std::string& cell, std::size_t width, bool isName) {
  const std::string blanks(width - cell.size(), ' ');
  return isName ? cell + blanks : blanks + cell;
}

void printLine(std::ostream& out, const Line& line, const std::vector<std::size_t>& widths,
               const char* before, const char* between, const char* behind) {
  out << before;
  for (std::size_t i = 0; i < line.size(); ++i)
    out << (i == 0 ? "" : between) << padded(line[i], widths[i], i == 0);
  out << behind << '\n';
}

void printRule(std::ostream& out, const std::vector<std::size_t>& widths) {
  for (std::size_t i = 0; i < widths.size(); ++i)
    out << (i == 0 ? "|" : "") << std::string(widths[i] + 1, '-') << (i == 0 ? "-|" : ":|");
  out << '\n';
}

}  // namespace

bool Table::ReportContext(const Context& /*context*/) { return true; }

void Table::ReportRuns(const std::vector<Run>& runs) {
  if (runs.front().run_type != Run::RT_Iteration) return;  // mean, median, ...
  const std::string& name = runs.front().run_name.function_name;
  const Line parts = splitName(name);
  if (!m_families.empty() && m_families.back().name != parts[0]) printLastFamily();
  Family& family = familyNamed(parts[0]);
  if (std::find(failures().begin(), failures().end(), name) != failures().end()) {
    m_screen << "WRONG RESULT: " << name << '\n';
    return;
  }
  addPeer(family.peers, parts[2]);
  auto& nanoseconds = rowOf(family, parts[1], parts[3]).nanoseconds;
  double& best = nanoseconds.try_emplace(parts[2], kUnmeasured).first->second;
  for (const Run& run : runs) best = std::min(best, run.GetAdjustedCPUTime());
}

void Table::Finalize() {
  if (!m_families.empty()) printLastFamily();
}

Table::Family& Table::familyNamed(const std::string& name) {
  for (Family& family : m_families)
    if (family.name == name) return family;
  m_families.push_back({name, {}, {}});
  return m_families.back();
}

Table::Row& Table::rowOf(Family& family, const std::string& operation, const std::string& size) {
  for (Row& row : family.rows)
    if (row.operation == operation && row.size == size) return row;
  family.rows.push_back({operation, size, {}});
  return family.rows.back();
}

Table::Cells Table::cellsOf(const Family& family) {
  Cells cells;
  cells.push_back({family.name, "bytes"});
  cells.back().insert(cells.back().end(), family.peers.begin(), family.peers.end());
  cells.back().emplace_back("ours/std");
  for (const Row& row : family.rows) cells.push_back(cellsOf(family, row));
  return cells;
}

Line Table::cellsOf(const Family& family, const Row& row) {
  double fastest = kUnmeasured;
  for (const auto& [peer, value] : row.nanoseconds) fastest = std::min(fastest, value);
  Line line = {row.operation, row.size};
  for (const std::string& peer : family.peers) {
    const auto found = row.nanoseconds.find(peer);
    const bool measured = found != row.nanoseconds.end();
    const char* const mark = measured && found->second == fastest ? "*" : " ";
    line.push_back((measured ? nanosecondsCell(found->second) : "-") + mark);
  }
  const auto ours = row.nanoseconds.find("ours");
  const auto rival = row.nanoseconds.find("std");
  const bool both = ours != row.nanoseconds.end() && rival != row.nanoseconds.end();
  line.push_back(both ? formatted("%.2f", ours->second / rival->second) : "-");
  return line;
}

void Table::printLastFamily() {
  const Cells cells = cellsOf(m_families.back());
  const auto widths = widthsOf(cells);
  for (const Line& line : cells) printLine(m_screen, line, widths, "", "  ", "");
  m_screen << std::endl;
}

void Table::writeMarkdown(std::ostream& out) const {
  for (const Family& family : m_families) {
    const Cells cells = cellsOf(family);
    const auto widths = widthsOf(cells);
    out << "\n## " << family.name << "\n\n";
    printLine(out, cells.front(), widths, "| ", " | ", " |");
    printRule(out, widths);
    for (std::size_t i = 1; i < cells.size(); ++i)
      printLine(out, cells[i], widths, "| ", " | ", " |");
  }
}

}  // namespace bench
