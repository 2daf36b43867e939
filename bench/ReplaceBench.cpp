// Replacing all matches: each peer turns a text of its own type into the replaced one.
// "few" is a match about every 1000 bytes, "many" one about every 10.

#include <algorithm>
#include <cctype>
#include <locale>
#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/str_replace.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/replace.hpp>
#endif

namespace bench {
namespace {

struct Task {
  std::size_t distance;
  std::vector<std::string> marks;  // what the matches look like
  const char* find;
  const char* replacement;
};

// A find function answers the position of the first match from a position on, or npos.
template <class Find>
std::string replacedByStd(const std::string& input, std::size_t size, std::string_view replacement,
                          const Find& find) {
  std::string out;
  std::size_t done = 0;
  for (std::size_t at; (at = find(input, done)) != std::string::npos; done = at + size) {
    out.append(input, done, at - done);
    out.append(replacement);
  }
  out.append(input, done);
  return out;
}

std::size_t findNoCase(const std::string& text, std::size_t from, std::string_view needle) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  const auto begin = text.begin() + static_cast<std::ptrdiff_t>(from);
  const auto match = std::search(begin, text.end(), needle.begin(), needle.end(),
                                 [lower](char a, char b) { return lower(a) == lower(b); });
  return match == text.end() ? std::string::npos : static_cast<std::size_t>(match - text.begin());
}

std::string inputOf(const Task& task, std::size_t size) {
  return wordsWithMarks(size, task.distance, task.marks);
}

void addLibraries([[maybe_unused]] Operation<std::string>& replace,
                  [[maybe_unused]] const Task& task) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  replace.peer("absl", [task](const std::string& text) {
    return [task, &text](const auto& use) {
      use(absl::StrReplaceAll(text, {{task.find, task.replacement}}));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  replace.peer("boost", [task](const std::string& text) {
    return [task, &text](const auto& use) {
      use(boost::replace_all_copy(text, task.find, task.replacement));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  replace.peer("qt", [task](const std::string& text) {
    return [task, source = toQByteArray(text)](const auto& use) {
      QByteArray out = source;
      out.replace(task.find, task.replacement);
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  replace.peer("glib", [task](const std::string& text) {
    return [task, &text](const auto& use) {
      const OwnedGStrv pieces(g_strsplit(text.c_str(), task.find, -1));
      use(OwnedGchars(g_strjoinv(task.replacement, pieces.get())));
    };
  });
#endif
}

void enroll(const char* name, const Task& task) {
  const auto input = [task](std::size_t size) { return inputOf(task, size); };
  Operation<std::string> replace("Replace", name, kSizes, input);
  replace.peer("ours", [task](const std::string& text) {
    return [task, source = StringBuffer(text.c_str())](const auto& use) {
      StringBuffer out(source);
      out.replaceAllOccurances(task.find, task.replacement);
      use(out);
    };
  });
  replace.peer("std", [task](const std::string& text) {
    return [task, &text](const auto& use) {
      const std::string_view needle = task.find;
      const auto find = [needle](const std::string& all, std::size_t from) {
        return all.find(needle, from);
      };
      use(replacedByStd(text, needle.size(), task.replacement, find));
    };
  });
  addLibraries(replace, task);
  replace.enroll();
}

void enrollNoCase(const char* name, const Task& task) {
  const auto input = [task](std::size_t size) { return inputOf(task, size); };
  Operation<std::string> replace("Replace", name, kSizes, input);
  replace.peer("ours", [task](const std::string& text) {
    return [task, source = StringBuffer(text.c_str())](const auto& use) {
      StringBuffer out(source);
      out.replaceAllOccurancesNoCase(task.find, task.replacement);
      use(out);
    };
  });
  replace.peer("std", [task](const std::string& text) {
    return [task, &text](const auto& use) {
      const std::string_view needle = task.find;
      const auto find = [needle](const std::string& all, std::size_t from) {
        return findNoCase(all, from, needle);
      };
      use(replacedByStd(text, needle.size(), task.replacement, find));
    };
  });
#if defined(DORVANE_BENCH_HAVE_BOOST)
  replace.peer("boost", [task](const std::string& text) {
    return [task, &text, classic = std::locale::classic()](const auto& use) {
      use(boost::ireplace_all_copy(text, task.find, task.replacement, classic));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  replace.peer("qt", [task](const std::string& text) {
    return [task, source = toQString(text)](const auto& use) {
      QString out = source;
      out.replace(QLatin1String(task.find), QLatin1String(task.replacement), Qt::CaseInsensitive);
      use(out);
    };
  });
#endif
  replace.enroll();
}

void enrollAll() {
  constexpr std::size_t kFew = 1000;
  constexpr std::size_t kMany = 10;
  enroll("none", {kFew, {"another"}, "needle", "pin"});
  enroll("fewShorter", {kFew, {"needle"}, "needle", "pin"});
  enroll("fewLonger", {kFew, {"needle"}, "needle", "knitting needle"});
  enroll("manyShorter", {kMany, {"%20"}, "%20", " "});
  enroll("manyLonger", {kMany, {"+"}, "+", "%20"});
  enrollNoCase("fewNoCase", {kFew, {"Needle", "NEEDLE", "needle"}, "needle", "pin"});
  enrollNoCase("manyNoCase", {kMany, {"The", "the", "THE"}, "the", "that"});
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
