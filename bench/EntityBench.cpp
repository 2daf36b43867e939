// Escaping for XML and HTML: each peer turns a text of its own type into the escaped one. The
// inputs hold only what all peers escape alike: no apostrophe, no reference, and double quotes
// only where they are escaped.

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

const std::vector<std::string> kMarkup = {"<", ">", "& "};
const std::vector<std::string> kMarkupAndQuote = {"<", ">", "& ", "\""};
const std::vector<std::string> kNamed = {"<", ">", "&", "\xE9", "\xFC", "\xDF", "\x80", "\x96"};

constexpr std::size_t kDense = 10;
constexpr std::size_t kSparse = 100;

// ---- What a user writes with the standard library ----

template <class EscapeOf>
std::string escapedByStd(const std::string& text, const EscapeOf& escapeOf) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const char* const escape = escapeOf(c);
    if (escape == nullptr)
      out.push_back(c);
    else
      out.append(escape);
  }
  return out;
}

const char* escapeOfMarkup(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return nullptr;
  }
}

const char* escapeOfMarkupAndQuote(char c) { return c == '"' ? "&quot;" : escapeOfMarkup(c); }

const char* escapeOfNamed(char c) {
  switch (c) {
    case '\xE9':
      return "&eacute;";
    case '\xFC':
      return "&uuml;";
    case '\xDF':
      return "&szlig;";
    case '\x80':
      return "&euro;";
    case '\x96':
      return "&ndash;";
    default:
      return escapeOfMarkupAndQuote(c);
  }
}

// ---- The operations ----

template <class EscapeOf>
void addStd(Operation<std::string>& escape, EscapeOf escapeOf) {
  escape.peer("std", [escapeOf](const std::string& text) {
    return [escapeOf, &text](const auto& use) { use(escapedByStd(text, escapeOf)); };
  });
}

template <class EscapeOurs>
void addOurs(Operation<std::string>& escape, EscapeOurs escapeOurs) {
  escape.peer("ours", [escapeOurs](const std::string& text) {
    return [escapeOurs, source = StringBuffer(text.c_str())](const auto& use) {
      StringBuffer out(source);
      escapeOurs(out);
      use(out);
    };
  });
}

// Libraries that escape "&", "<", ">" and, if there are any, double quotes.
void addLibraries([[maybe_unused]] Operation<std::string>& escape) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  escape.peer("absl", [](const std::string& text) {
    return [&text](const auto& use) {
      use(absl::StrReplaceAll(text,
                              {{"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}, {"\"", "&quot;"}}));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  escape.peer("boost", [](const std::string& text) {
    return [&text](const auto& use) {
      std::string out(text);
      boost::replace_all(out, "&", "&amp;");
      boost::replace_all(out, "<", "&lt;");
      boost::replace_all(out, ">", "&gt;");
      boost::replace_all(out, "\"", "&quot;");
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  escape.peer("qt", [](const std::string& text) {
    return [source = toQString(text)](const auto& use) { use(source.toHtmlEscaped()); };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  escape.peer("glib", [](const std::string& text) {
    return [&text](const auto& use) {
      use(OwnedGchars(g_markup_escape_text(text.data(), static_cast<gssize>(text.size()))));
    };
  });
#endif
}

void enrollXml(const char* name, std::size_t distance, const std::vector<std::string>& marks) {
  const auto input = [distance, marks](std::size_t size) {
    return wordsWithMarks(size, distance, marks);
  };
  Operation<std::string> escape("Entity", name, kSizes, input);
  addOurs(escape, [](StringBuffer& text) { text.encodeXMLSpecial(); });
  addStd(escape, escapeOfMarkup);
  addLibraries(escape);
  escape.enroll();
}

void enrollHtml(const char* name, std::size_t distance) {
  const auto input = [distance](std::size_t size) {
    return wordsWithMarks(size, distance, kMarkupAndQuote);
  };
  Operation<std::string> escape("Entity", name, kSizes, input);
  addOurs(escape, [](StringBuffer& text) { text.replaceHTMLSpecial(); });
  addStd(escape, escapeOfMarkupAndQuote);
  addLibraries(escape);
  escape.enroll();
}

void enrollNamed(const char* name, std::size_t distance) {
  const auto input = [distance](std::size_t size) {
    return wordsWithMarks(size, distance, kNamed);
  };
  Operation<std::string> escape("Entity", name, kSizes, input);
  addOurs(escape, [](StringBuffer& text) { text.encodeAllXmlSpecial(); });
  addStd(escape, escapeOfNamed);
  escape.enroll();
}

void enrollAll() {
  enrollXml("encodeXMLSpecial", kSparse, kMarkup);
  enrollXml("encodeXMLSpecialDense", kDense, kMarkup);
  enrollXml("encodeXMLSpecialClean", kSparse, {"plain"});
  enrollHtml("replaceHTMLSpecial", kSparse);
  enrollHtml("replaceHTMLSpecialDense", kDense);
  enrollNamed("encodeAllXmlSpecial", kSparse);
  enrollNamed("encodeAllXmlSpecialDense", kDense);
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
