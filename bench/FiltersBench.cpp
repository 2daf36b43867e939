// Letter case, removed bytes, replaced bytes and line endings: each peer changes a copy of a text
// of its own type. The inputs are ASCII, where all peers agree about letters.

#include <algorithm>
#include <cctype>
#include <locale>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/ascii.h>
#include <absl/strings/str_replace.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/range/algorithm/replace.hpp>
#include <boost/range/algorithm_ext/erase.hpp>
#endif

namespace bench {
namespace {

// ---- What a user writes with the standard library ----

template <class Convert>
void convertByStd(std::string& text, Convert convert) {
  std::transform(text.begin(), text.end(), text.begin(), [convert](char c) {
    return static_cast<char>(convert(static_cast<unsigned char>(c)));
  });
}

std::string toCrLfByStd(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool endsLine = text[i] == '\r' || text[i] == '\n';
    if (endsLine)
      out.append("\r\n");
    else
      out.push_back(text[i]);
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
  }
  return out;
}

// ---- Inputs ----

std::string titles(std::size_t size) {
  return wordsWithMarks(size, 12, {" The", " Next", " OF", " IT"});
}

std::string phoneNumbers(std::size_t size) {
  return wordsWithMarks(size, 10, {"0123 456", "78 90", "(24)"});
}

std::string lines(std::size_t size, const char* ending) {
  return wordsWithMarks(size, 60, {ending});
}

std::string linesOfLf(std::size_t size) { return lines(size, "\n"); }

std::string linesOfCrLf(std::size_t size) { return lines(size, "\r\n"); }

// ---- Letter case ----

void enrollLowerCase() {
  Operation<std::string> lower("Filters", "toLowerCase", kSizesOfTexts, titles);
  lower.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.toLowerCase(); });
  lower.peerInPlace<std::string>("std", [](std::string& text) {
    convertByStd(text, [](unsigned char c) { return std::tolower(c); });
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  lower.peerInPlace<std::string>("absl", [](std::string& text) { absl::AsciiStrToLower(&text); });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  lower.peerInPlace<std::string>("boost", [classic = std::locale::classic()](std::string& text) {
    boost::to_lower(text, classic);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  lower.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.toLower(); });
#endif
  lower.enroll();
}

void enrollUpperCase() {
  Operation<std::string> upper("Filters", "toUpperCase", kSizesOfTexts, titles);
  upper.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.toUpperCase(); });
  upper.peerInPlace<std::string>("std", [](std::string& text) {
    convertByStd(text, [](unsigned char c) { return std::toupper(c); });
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  upper.peerInPlace<std::string>("absl", [](std::string& text) { absl::AsciiStrToUpper(&text); });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  upper.peerInPlace<std::string>("boost", [classic = std::locale::classic()](std::string& text) {
    boost::to_upper(text, classic);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  upper.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.toUpper(); });
#endif
  upper.enroll();
}

// ---- Removed bytes ----

template <class MakeInput, class RemoveOurs, class IsRemoved>
void enrollRemoval(const char* name, MakeInput makeInput, RemoveOurs removeOurs,
                   IsRemoved isRemoved) {
  Operation<std::string> removal("Filters", name, kSizesOfTexts, makeInput);
  removal.peerInPlace<StringBuffer>("ours", removeOurs);
  removal.peerInPlace<std::string>("std", [isRemoved](std::string& text) {
    text.erase(std::remove_if(text.begin(), text.end(), isRemoved), text.end());
  });
#if defined(DORVANE_BENCH_HAVE_BOOST)
  removal.peerInPlace<std::string>(
      "boost", [isRemoved](std::string& text) { boost::remove_erase_if(text, isRemoved); });
#endif
  removal.enroll();
}

void enrollRemovals() {
  enrollRemoval(
      "dropNonNumeric", phoneNumbers, [](StringBuffer& text) { text.dropNonNumeric(); },
      [](char c) { return (c < '0' || c > '9') && c != ' '; });
  enrollRemoval(
      "removeFws", linesOfCrLf, [](StringBuffer& text) { text.removeFws(); },
      [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; });
}

// ---- Replaced bytes ----

void enrollReplaceChar() {
  Operation<std::string> replace("Filters", "replaceCharAnsi", kSizesOfTexts, words);
  replace.peerInPlace<StringBuffer>("ours",
                                    [](StringBuffer& text) { text.replaceCharAnsi(' ', '_'); });
  replace.peerInPlace<std::string>(
      "std", [](std::string& text) { std::replace(text.begin(), text.end(), ' ', '_'); });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  replace.peerOn<std::string>("absl", [](const std::string& text) {
    return absl::StrReplaceAll(text, {{" ", "_"}});
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  replace.peerInPlace<std::string>("boost",
                                   [](std::string& text) { boost::replace(text, ' ', '_'); });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  replace.peerInPlace<QByteArray>("qt", [](QByteArray& text) { text.replace(' ', '_'); });
#endif
  replace.enroll();
}

// ---- Line endings ----

template <class MakeInput>
Operation<std::string> toCrLf(const char* name, MakeInput makeInput) {
  Operation<std::string> convert("Filters", name, kSizesOfTexts, makeInput);
  convert.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.toCRLF(); });
  convert.peerOn<std::string>("std", toCrLfByStd);
  return convert;
}

void enrollToCrLf() {
  auto convert = toCrLf("toCRLF", linesOfLf);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  convert.peerOn<std::string>("absl", [](const std::string& text) {
    return absl::StrReplaceAll(text, {{"\n", "\r\n"}});
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  convert.peerInPlace<std::string>(
      "boost", [](std::string& text) { boost::replace_all(text, "\n", "\r\n"); });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  convert.peerInPlace<QByteArray>("qt", [](QByteArray& text) { text.replace('\n', "\r\n"); });
#endif
  convert.enroll();
  // A mere replacement would double the CRs here.
  toCrLf("toCRLFClean", linesOfCrLf).enroll();
}

void enrollAll() {
  enrollLowerCase();
  enrollUpperCase();
  enrollRemovals();
  enrollReplaceChar();
  enrollToCrLf();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
