#include "bench/Host.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <utility>
#include <vector>

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/base/config.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/version.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
#include <QtGlobal>
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
#include <glib.h>
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
#include <fmt/core.h>
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
#include <openssl/opensslv.h>
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
#include <unicode/uvernum.h>
#endif
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
#include <pugixml.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_LIBXML2)
#include <libxml/xmlversion.h>
#endif

namespace bench {
namespace {

using Facts = std::vector<std::pair<std::string, std::string>>;

std::string processorName() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    const std::size_t colon = line.find(": ");
    if (line.compare(0, 10, "model name") == 0 && colon != std::string::npos)
      return line.substr(colon + 2);
  }
  return "unknown processor";
}

std::string machine() {
  return processorName() + ", " + std::to_string(benchmark::CPUInfo::Get().num_cpus) + " cores";
}

std::string compiler() {
#if defined(__clang__)
  return "clang++ " + std::to_string(__clang_major__) + '.' + std::to_string(__clang_minor__);
#elif defined(__GNUC__)
  return "g++ " __VERSION__;
#else
  return "unknown compiler";
#endif
}

// The commit of the source tree, with "-dirty" when files differ from it.
std::string commit() {
  std::string text;
#if defined(__unix__)
  constexpr char kCommand[] =
      "cd '" DORVANE_BENCH_SOURCE_DIR
      "' 2>/dev/null && git rev-parse --short HEAD 2>/dev/null && "
      "{ git --no-optional-locks diff --quiet HEAD 2>/dev/null || echo -dirty; }";
  std::FILE* const git = popen(kCommand, "r");
  if (git == nullptr) return "unknown";
  for (int c; (c = std::fgetc(git)) != EOF;)
    if (c != '\n') text.push_back(static_cast<char>(c));
  pclose(git);
#endif
  return text.empty() ? "unknown" : text;
}

[[maybe_unused]] std::string version(const char* name, int major, int minor) {
  return std::string(", ") + name + ' ' + std::to_string(major) + '.' + std::to_string(minor);
}

std::string peers() {
  std::string text = "standard library";
#if defined(DORVANE_BENCH_HAVE_ABSL)
  text += ", Abseil " + std::to_string(ABSL_LTS_RELEASE_VERSION);
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  text += version("Boost", BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000);
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  text += version("Qt", QT_VERSION_MAJOR, QT_VERSION_MINOR);
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  text += version("GLib", GLIB_MAJOR_VERSION, GLIB_MINOR_VERSION);
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
  text += version("fmt", FMT_VERSION / 10000, FMT_VERSION / 100 % 100);
#endif
#if defined(DORVANE_BENCH_HAVE_OPENSSL)
  text += version("OpenSSL", OPENSSL_VERSION_NUMBER >> 28, OPENSSL_VERSION_NUMBER >> 20 & 0xFF);
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
  text += version("ICU", U_ICU_VERSION_MAJOR_NUM, U_ICU_VERSION_MINOR_NUM);
#endif
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
  text += version("pugixml", PUGIXML_VERSION / 1000, PUGIXML_VERSION / 10 % 100);
#endif
#if defined(DORVANE_BENCH_HAVE_LIBXML2)
  text += version("libxml2", LIBXML_VERSION / 10000, LIBXML_VERSION / 100 % 100);
#endif
  return text;
}

// Collected once, before anything is measured.
const Facts& facts() {
  static const Facts kFacts = {{"Machine", machine()},
                               {"Compiler", compiler() + ", " DORVANE_BENCH_FLAGS},
                               {"Commit", commit()},
                               {"Peers", peers()}};
  return kFacts;
}

}  // namespace

std::string hostAsText() {
  std::string text;
  for (const auto& [name, value] : facts())
    text += name + ": " + std::string(10 - name.size(), ' ') + value + '\n';
  return text;
}

std::string hostAsMarkdown() {
  std::string text;
  for (const auto& [name, value] : facts()) text += "- " + name + ": " + value + '\n';
  return text;
}

}  // namespace bench
