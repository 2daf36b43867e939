// Questions about a text that no peer changes: searches, equality, byte classes, counts. Each
// input makes the peers look at all of it.

#include <algorithm>
#include <cctype>
#include <cstring>
#include <locale>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/ascii.h>
#include <absl/strings/match.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/find.hpp>
#include <boost/algorithm/string/predicate.hpp>
#endif

namespace bench {
namespace {

constexpr char kNeedle[] = "needle";
constexpr int kNoPosition = -1;

constexpr auto kEqualFolded = [](char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
};

// ---- Inputs ----

std::string endingWith(std::string text, const std::string& end) {
  return text.replace(text.size() - end.size(), end.size(), end);
}

std::string wordsAndNeedle(std::size_t size) { return endingWith(words(size), kNeedle); }

std::string wordsAndUpperNeedle(std::size_t size) { return endingWith(words(size), "NEEDLE"); }

// Many places share the first and the last byte of the needle, and more.
std::string nearMissesAndNeedle(std::size_t size) {
  return endingWith(wordsWithMarks(size, 10, {"neede", "needme", "noodle"}), kNeedle);
}

std::string inUpperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// ---- Searches ----

void enrollContains(const char* name, const char* needle) {
  Operation<std::string> contains("Compare", name, kSizesOfTexts, wordsAndNeedle);
  contains.peerOn<StringBuffer>(
      "ours", [needle](const StringBuffer& text) { return text.containsSubstring(needle); });
  contains.peerOn<std::string>(
      "std", [needle](const std::string& text) { return text.find(needle) != std::string::npos; });
  contains.peerOn<std::string>("libc", [needle](const std::string& text) {
    return std::strstr(text.c_str(), needle) != nullptr;
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  contains.peerOn<std::string>(
      "absl", [needle](const std::string& text) { return absl::StrContains(text, needle); });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  contains.peerOn<std::string>(
      "boost", [needle](const std::string& text) { return boost::contains(text, needle); });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  contains.peerOn<QByteArray>(
      "qt", [needle](const QByteArray& text) { return static_cast<bool>(text.contains(needle)); });
#endif
  contains.enroll();
}

template <class MakeInput>
void enrollIndexOf(const char* name, MakeInput makeInput) {
  Operation<std::string> indexOf("Compare", name, kSizesOfTexts, makeInput);
  indexOf.peerOn<StringBuffer>("ours",
                               [](const StringBuffer& text) { return text.indexOf(kNeedle); });
  indexOf.peerOn<std::string>(
      "std", [](const std::string& text) { return static_cast<int>(text.find(kNeedle)); });
  indexOf.peerOn<std::string>("libc", [](const std::string& text) {
    const char* const match = std::strstr(text.c_str(), kNeedle);
    return match == nullptr ? kNoPosition : static_cast<int>(match - text.c_str());
  });
#if defined(DORVANE_BENCH_HAVE_BOOST)
  indexOf.peerOn<std::string>("boost", [](const std::string& text) {
    const auto match = boost::find_first(text, kNeedle);
    return match.empty() ? kNoPosition : static_cast<int>(match.begin() - text.begin());
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  indexOf.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.indexOf(kNeedle); });
#endif
  indexOf.enroll();
}

void enrollContainsNoCase() {
  Operation<std::string> contains("Compare", "containsSubstringNoCase", kSizesOfTexts,
                                  wordsAndUpperNeedle);
  contains.peerOn<StringBuffer>(
      "ours", [](const StringBuffer& text) { return text.containsSubstringNoCase(kNeedle); });
  contains.peerOn<std::string>("std", [](const std::string& text) {
    const char* const end = kNeedle + std::strlen(kNeedle);
    return std::search(text.begin(), text.end(), kNeedle, end, kEqualFolded) != text.end();
  });
#if defined(DORVANE_BENCH_HAVE_BOOST)
  contains.peerOn<std::string>("boost",
                               [classic = std::locale::classic()](const std::string& text) {
                                 return boost::icontains(text, kNeedle, classic);
                               });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  contains.peerOn<QString>("qt", [](const QString& text) {
    return text.contains(QLatin1String(kNeedle), Qt::CaseInsensitive);
  });
#endif
  contains.enroll();
}

// ---- Equality ----

// A peer that compares a text with the same one in upper case.
template <class Text, class Equal>
void addEqual(Operation<std::string>& equals, const char* name, Equal equal) {
  equals.peer(name, [equal](const std::string& input) {
    return [equal, text = Text(input.c_str()),
            other = Text(inUpperCase(input).c_str())](const auto& use) { use(equal(text, other)); };
  });
}

void enrollEqualsIgnoreCase() {
  Operation<std::string> equals("Compare", "equalsIgnoreCase", kSizesOfTexts, words);
  addEqual<StringBuffer>(equals, "ours", [](const StringBuffer& a, const StringBuffer& b) {
    return a.equalsIgnoreCase(b);
  });
  addEqual<std::string>(equals, "std", [](const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), kEqualFolded);
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  addEqual<std::string>(equals, "absl", [](const std::string& a, const std::string& b) {
    return absl::EqualsIgnoreCase(a, b);
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  addEqual<std::string>(
      equals, "boost",
      [classic = std::locale::classic()](const std::string& a, const std::string& b) {
        return boost::iequals(a, b, classic);
      });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  addEqual<QByteArray>(equals, "qt", [](const QByteArray& a, const QByteArray& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
  });
#endif
  equals.enroll();
}

// ---- Bytes ----

void enrollIs7bit() {
  Operation<std::string> is7bit("Compare", "is7bit", kSizesOfTexts, words);
  is7bit.peerOn<StringBuffer>("ours", [](const StringBuffer& text) { return text.is7bit(0); });
  is7bit.peerOn<std::string>("std", [](const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  is7bit.peerOn<std::string>("absl", [](const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return absl::ascii_isascii(static_cast<unsigned char>(c)); });
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  is7bit.peerOn<std::string>("boost", [](const std::string& text) {
    return boost::all(text, boost::is_from_range('\0', '\x7F'));
  });
#endif
  is7bit.enroll();
}

void enrollCount() {
  Operation<std::string> count("Compare", "countCharOccurances", kSizesOfTexts, words);
  count.peerOn<StringBuffer>(
      "ours", [](const StringBuffer& text) { return text.countCharOccurances(' '); });
  count.peerOn<std::string>(
      "std", [](const std::string& text) { return std::count(text.begin(), text.end(), ' '); });
#if defined(DORVANE_BENCH_HAVE_QT)
  count.peerOn<QByteArray>("qt", [](const QByteArray& text) { return text.count(' '); });
#endif
  count.enroll();
}

void enrollAll() {
  enrollContains("containsSubstring", kNeedle);
  enrollContains("containsSubstringAbsent", "pincushion");
  enrollIndexOf("indexOf", wordsAndNeedle);
  enrollIndexOf("indexOfNearMisses", nearMissesAndNeedle);
  enrollContainsNoCase();
  enrollEqualsIgnoreCase();
  enrollIs7bit();
  enrollCount();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
