// Cutting a text into pieces that own their bytes: by commas, by commas outside quotes, into
// lines. Empty texts are left out: the peers differ on how many pieces they give.

#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/str_split.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/finder.hpp>
#include <boost/algorithm/string/iter_find.hpp>
#include <boost/algorithm/string/split.hpp>
#endif

namespace bench {
namespace {

using Strings = std::vector<std::string>;

// ---- What a user writes with the standard library ----

Strings splitByStd(std::string_view text, char delimiter) {
  Strings pieces;
  for (;;) {
    const std::size_t end = text.find(delimiter);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

Strings splitOutsideQuotesByStd(std::string_view text, char delimiter) {
  Strings pieces(1);
  bool inside = false;
  for (const char c : text) {
    if (c == '"') inside = !inside;
    if (c == delimiter && !inside)
      pieces.emplace_back();
    else
      pieces.back().push_back(c);
  }
  return pieces;
}

Strings splitIntoLinesByStd(std::string_view text) {
  Strings lines;
  for (;;) {
    const std::size_t end = text.find_first_of("\r\n");
    lines.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return lines;
    text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
  }
}

// ---- Inputs ----

std::string fields(std::size_t size) { return wordsWithMarks(size, 10, {","}); }

std::string quotedFields(std::size_t size) {
  return wordsWithMarks(size, 10, {",", ",", ",", ",", ",\"a, b\","});
}

std::string lines(std::size_t size) {
  return wordsWithMarks(size, 60, {"\r\n", "\r\n", "\r\n\r\n"});
}

// ---- Commas ----

void enrollComma() {
  Operation<std::string> split("Split", "comma", kSizesOfContent, fields);
  split.peer("ours", [](const std::string& input) {
    return [source = StringBuffer(input.c_str())](const auto& use) {
      ExtPtrArraySb out;
      source.split(out, ',', false, false);
      use(out);
    };
  });
  split.peer("std", [](const std::string& input) {
    return [&input](const auto& use) { use(splitByStd(input, ',')); };
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  split.peer("absl", [](const std::string& input) {
    return [&input](const auto& use) {
      const Strings out = absl::StrSplit(input, ',');
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  split.peer("boost", [](const std::string& input) {
    return [&input](const auto& use) {
      Strings out;
      boost::split(out, input, [](char c) { return c == ','; });
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  split.peer("qt", [](const std::string& input) {
    return [source = toQByteArray(input)](const auto& use) { use(source.split(',')); };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  split.peer("glib", [](const std::string& input) {
    return [&input](const auto& use) { use(OwnedGStrv(g_strsplit(input.c_str(), ",", -1))); };
  });
#endif
  split.enroll();
}

void enrollQuotes() {
  Operation<std::string>("Split", "commaOutsideQuotes", kSizesOfContent, quotedFields)
      .peer("ours",
            [](const std::string& input) {
              return [source = StringBuffer(input.c_str())](const auto& use) {
                ExtPtrArraySb out;
                source.split(out, ',', true, false);
                use(out);
              };
            })
      .peer("std",
            [](const std::string& input) {
              return [&input](const auto& use) { use(splitOutsideQuotesByStd(input, ',')); };
            })
      .enroll();
}

// ---- Lines ----

template <class SplitOurs>
void enrollLines(const char* name, SplitOurs splitOurs) {
  Operation<std::string> split("Split", name, kSizesOfContent, lines);
  split.peer("ours", [splitOurs](const std::string& input) {
    return [splitOurs, source = StringBuffer(input.c_str())](const auto& use) {
      ExtPtrArraySb out;
      splitOurs(source, out);
      use(out);
    };
  });
  split.peer("std", [](const std::string& input) {
    return [&input](const auto& use) { use(splitIntoLinesByStd(input)); };
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  split.peer("absl", [](const std::string& input) {
    return [&input](const auto& use) {
      const Strings out = absl::StrSplit(input, absl::ByString("\r\n"));
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  split.peer("boost", [](const std::string& input) {
    return [&input](const auto& use) {
      Strings out;
      boost::iter_split(out, input, boost::first_finder("\r\n"));
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  split.peer("glib", [](const std::string& input) {
    return [&input](const auto& use) { use(OwnedGStrv(g_strsplit(input.c_str(), "\r\n", -1))); };
  });
#endif
  split.enroll();
}

void enrollAll() {
  enrollComma();
  enrollQuotes();
  enrollLines("splitByLineEndings", [](const StringBuffer& source, ExtPtrArraySb& out) {
    source.splitByLineEndings(out, false, false);
  });
  enrollLines("splitIntoLines", [](const StringBuffer& source, ExtPtrArraySb& out) {
    source.splitIntoLines(out, 0);
  });
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
