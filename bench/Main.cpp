// Runs the benchmarks and prints their tables.
//
//   dorvane-bench [--markdown=FILE] [options of Google Benchmark]
//
// For example --benchmark_filter=Append/ or --benchmark_min_time=0.2. The exit status is 1 when
// a result is wrong.

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "bench/Host.h"
#include "bench/Table.h"
#include "bench/harness.h"

namespace {

// The fastest of several short runs says more than one long run on a machine that is shared.
char minTime[] = "--benchmark_min_time=0.01";

// Takes "--markdown=FILE" out of the arguments; empty when it is not among them.
std::string takeMarkdownFile(std::vector<char*>& arguments) {
  const std::string flag = "--markdown=";
  std::string file;
  for (auto it = arguments.begin(); it != arguments.end();) {
    if (std::string(*it).compare(0, flag.size(), flag) == 0) {
      file = std::string(*it).substr(flag.size());
      it = arguments.erase(it);
    } else {
      ++it;
    }
  }
  return file;
}

bool writeMarkdownFile(const std::string& file, const bench::Table& table) {
  std::ofstream out(file);
  out << "# Benchmarks\n\n"
         "Nanoseconds of CPU time for one operation, the fastest of several runs; the star marks\n"
         "the fastest peer. *bytes* is the size of the text that the operation works on or makes.\n"
         "The last column divides our time by that of `std::string` with the standard library:\n"
         "below 1 we are faster. Every result is compared before it is measured.\n"
         "Written by `./dev bench --markdown=docs/benchmarks.md`.\n\n"
      << bench::hostAsMarkdown();
  table.writeMarkdown(out);
  out.close();
  if (!out) std::cerr << "cannot write " << file << '\n';
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  const std::string markdownFile = takeMarkdownFile(arguments);
  arguments.insert(arguments.begin() + 1, minTime);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  std::cout << bench::hostAsText() << std::endl;
  bench::Table table(std::cout);
  benchmark::RunSpecifiedBenchmarks(&table);
  const bool written = markdownFile.empty() || writeMarkdownFile(markdownFile, table);
  return written && bench::failures().empty() ? 0 : 1;
}
