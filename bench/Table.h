#ifndef DORVANE_BENCH_TABLE_H
#define DORVANE_BENCH_TABLE_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// Turns the runs of "family/operation/peer/size" into one table per family: a row for each
/// operation and size, a column of nanoseconds for each peer, and the ratio of ours to
/// std::string. Of several runs the fastest counts; the fastest peer carries a star.
class Table : public benchmark::BenchmarkReporter {
 public:
  /// Prints each family when it is complete.
  explicit Table(std::ostream& screen) : m_screen(screen) {}

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

  /// All tables as Markdown, under a heading for each family.
  void writeMarkdown(std::ostream& out) const;

 private:
  struct Row {
    std::string operation;
    std::string size;
    std::map<std::string, double> nanoseconds;  // by peer
  };
  struct Family {
    std::string name;
    std::vector<std::string> peers;  // in the order of their columns
    std::vector<Row> rows;
  };
  using Cells = std::vector<std::vector<std::string>>;

  Family& familyNamed(const std::string& name);
  static Row& rowOf(Family& family, const std::string& operation, const std::string& size);
  static Cells cellsOf(const Family& family);
  static std::vector<std::string> cellsOf(const Family& family, const Row& row);
  void printLastFamily();

  std::ostream& m_screen;
  std::vector<Family> m_families;
};

}  // namespace bench

#endif
