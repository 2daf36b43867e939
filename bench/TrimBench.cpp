// Trimming: each peer trims a copy of a text of its own type. The inputs hold only what all peers
// trim alike: runs of spaces inside, or no spaces at the ends.

#include <algorithm>
#include <locale>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/ascii.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/trim.hpp>
#include <boost/algorithm/string/trim_all.hpp>
#endif

namespace bench {
namespace {

// ---- What a user writes with the standard library ----

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

void trimByStd(std::string& text) {
  constexpr char kBlanks[] = " \t\n\r";
  text.erase(text.find_last_not_of(kBlanks) + 1);
  text.erase(0, text.find_first_not_of(kBlanks));
}

void trimInsideByStd(std::string& text) {
  std::replace_if(text.begin(), text.end(), isBlank, ' ');
  const auto bothSpaces = [](char a, char b) { return a == ' ' && b == ' '; };
  text.erase(std::unique(text.begin(), text.end(), bothSpaces), text.end());
}

// ---- Inputs ----

std::string between(const std::string& begin, std::size_t size, const std::string& end) {
  return begin + "a" + words(size - begin.size() - end.size() - 2) + "z" + end;
}

std::string fewAtTheEnds(std::size_t size) { return between(" \t", size, " \r\n"); }

std::string manyAtTheEnds(std::size_t size) {
  return between(std::string(size / 4, ' '), size, std::string(size / 4, '\n'));
}

std::string runsOfSpaces(std::size_t size) {
  return "a" + wordsWithMarks(size - 2, 20, {"   ", "  "}) + "z";
}

std::string foldedLines(std::size_t size) {
  return "a" + wordsWithMarks(size - 2, 70, {"\r\n\t", "\r\n "}) + "z";
}

// ---- The operations ----

template <class MakeInput>
void enrollTrim(const char* name, MakeInput makeInput) {
  Operation<std::string> trim("Trim", name, kSizesOfTexts, makeInput);
  trim.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.trim2(); });
  trim.peerInPlace<std::string>("std", trimByStd);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  trim.peerInPlace<std::string>("absl",
                                [](std::string& text) { absl::StripAsciiWhitespace(&text); });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  trim.peerInPlace<std::string>("boost", [classic = std::locale::classic()](std::string& text) {
    boost::trim(text, classic);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  trim.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.trimmed(); });
#endif
  trim.enroll();
}

template <class MakeInput>
Operation<std::string> trimInside(const char* name, MakeInput makeInput) {
  Operation<std::string> trim("Trim", name, kSizesOfTexts, makeInput);
  trim.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.trimInsideSpaces(); });
  trim.peerInPlace<std::string>("std", trimInsideByStd);
#if defined(DORVANE_BENCH_HAVE_QT)
  trim.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.simplified(); });
#endif
  return trim;
}

void enrollTrimInside() {
  auto trim = trimInside("trimInsideSpaces", runsOfSpaces);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  trim.peerInPlace<std::string>("absl",
                                [](std::string& text) { absl::RemoveExtraAsciiWhitespace(&text); });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  trim.peerInPlace<std::string>("boost", [classic = std::locale::classic()](std::string& text) {
    boost::trim_all(text, classic);
  });
#endif
  trim.enroll();
  // Abseil and Boost keep a byte of each run as it is.
  trimInside("trimInsideSpacesFolded", foldedLines).enroll();
}

void enrollAll() {
  enrollTrim("trim2", fewAtTheEnds);
  enrollTrim("trim2Wide", manyAtTheEnds);
  enrollTrimInside();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
