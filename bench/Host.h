#ifndef DORVANE_BENCH_HOST_H
#define DORVANE_BENCH_HOST_H

#include <string>

namespace bench {

/// What the numbers depend on: machine, compiler and options, commit, versions of the peers; one
/// line each.
std::string hostAsText();
std::string hostAsMarkdown();

}  // namespace bench

#endif
