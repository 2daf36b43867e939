// Decoding of entity references: each peer turns a text of its own type into
// the decoded one. The XML libraries decode while they parse, so they are given
// the text as an element. The inputs hold only what all peers of an operation
// decode alike.

#include <functional>
#include <string_view>
#include <unordered_map>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/str_replace.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/algorithm/string/replace.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
#include <pugixml.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
#include <QXmlStreamReader>
#endif

namespace bench {
namespace {

const std::vector<std::string> kMarkup = {"&lt;", "&gt;", "&amp; "};
const std::vector<std::string> kHtml = {"&lt;",   "&eacute;", "&amp; ", "&copy;",
                                        "&euro;", "&#233;",   "&nbsp;", "&uuml;"};

constexpr std::size_t kDense = 10;
constexpr std::size_t kSparse = 1000;

// ---- What a user writes with the standard library ----

using Names = std::unordered_map<std::string_view, std::string_view>;

const Names& markupNames() {
  static const Names names = {{"lt", "<"}, {"gt", ">"}, {"amp", "&"}};
  return names;
}

const Names& htmlNames() {
  static const Names names = {{"lt", "<"},          {"amp", "&"},
                              {"nbsp", " "},        {"eacute", "\xC3\xA9"},
                              {"copy", "\xC2\xA9"}, {"euro", "\xE2\x82\xAC"},
                              {"uuml", "\xC3\xBC"}, {"#233", "\xC3\xA9"}};
  return names;
}

std::string decodedByStd(std::string_view text, const Names& names) {
  constexpr std::size_t kLongest = 10;
  std::string out;
  out.reserve(text.size());
  for (;;) {
    const std::size_t at = text.find('&');
    out.append(text.substr(0, at));
    if (at == std::string_view::npos) return out;
    text.remove_prefix(at);
    const std::size_t end = text.substr(0, kLongest).find(';');
    const auto name =
        end == std::string_view::npos ? names.end() : names.find(text.substr(1, end - 1));
    out.append(name == names.end() ? text.substr(0, 1) : name->second);
    text.remove_prefix(name == names.end() ? 1 : end + 1);
  }
}

// ---- The operations ----

void addStd(Operation<std::string>& decode, const Names& names) {
  decode.peer("std", [&names](const std::string& text) {
    return [&names, &text](const auto& use) { use(decodedByStd(text, names)); };
  });
}

// Libraries that replace texts.
void addReplacers([[maybe_unused]] Operation<std::string>& decode) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  decode.peer("absl", [](const std::string& text) {
    return [&text](const auto& use) {
      use(absl::StrReplaceAll(text, {{"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}}));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  decode.peerInPlace<std::string>("boost", [](std::string& text) {
    boost::replace_all(text, "&lt;", "<");
    boost::replace_all(text, "&gt;", ">");
    boost::replace_all(text, "&amp;", "&");
  });
#endif
}

[[maybe_unused]] std::string asElement(const std::string& text) { return "<a>" + text + "</a>"; }

#if defined(DORVANE_BENCH_HAVE_GLIB)
void appendText(GMarkupParseContext* /*context*/, const gchar* text, gsize size, gpointer out,
                GError** /*error*/) {
  static_cast<std::string*>(out)->append(text, size);
}

std::string decodedByGlib(const std::string& element) {
  std::string out;
  const GMarkupParser parser = {nullptr, nullptr, appendText, nullptr, nullptr};
  GMarkupParseContext* const context =
      g_markup_parse_context_new(&parser, GMarkupParseFlags(), &out, nullptr);
  g_markup_parse_context_parse(context, element.data(), static_cast<gssize>(element.size()),
                               nullptr);
  g_markup_parse_context_free(context);
  return out;
}
#endif

// Libraries that parse XML.
void addParsers([[maybe_unused]] Operation<std::string>& decode) {
#if defined(DORVANE_BENCH_HAVE_PUGIXML)
  decode.peer("pugixml", [](const std::string& text) {
    return [element = asElement(text)](const auto& use) {
      pugi::xml_document document;
      document.load_buffer(element.data(), element.size(), pugi::parse_escapes);
      use(std::string(document.first_child().child_value()));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  decode.peer("qt", [](const std::string& text) {
    return [element = QByteArray::fromStdString(asElement(text))](const auto& use) {
      QXmlStreamReader reader(element);
      reader.readNextStartElement();
      use(reader.readElementText());
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  decode.peer("glib", [](const std::string& text) {
    return [element = asElement(text)](const auto& use) { use(decodedByGlib(element)); };
  });
#endif
}

std::function<std::string(std::size_t)> input(std::size_t distance,
                                              const std::vector<std::string>& marks) {
  return [distance, marks](std::size_t size) { return wordsWithMarks(size, distance, marks); };
}

void enrollXml(const char* name, std::size_t distance, const std::vector<std::string>& marks) {
  Operation<std::string> decode("EntityDecode", name, kSizesOfContent, input(distance, marks));
  decode.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.decodeXMLSpecial(); });
  addStd(decode, markupNames());
  addReplacers(decode);
  addParsers(decode);
  decode.enroll();
}

void enrollHtml(const char* name, std::size_t distance, const std::vector<std::string>& marks) {
  Operation<std::string> decode("EntityDecode", name, kSizesOfContent, input(distance, marks));
  decode.peerInPlace<StringBuffer>("ours",
                                   [](StringBuffer& text) { text.decodeAllXmlSpecialUtf8(); });
  addStd(decode, htmlNames());
  decode.enroll();
}

void enrollAll() {
  enrollXml("decodeXMLSpecial", kSparse, kMarkup);
  enrollXml("decodeXMLSpecialDense", kDense, kMarkup);
  enrollXml("decodeXMLSpecialClean", kSparse, {"plain"});
  enrollHtml("decodeAllXmlSpecialUtf8", kSparse, kHtml);
  enrollHtml("decodeAllXmlSpecialUtf8Dense", kDense, kHtml);
  enrollHtml("decodeAllXmlSpecialUtf8Clean", kSparse, {"plain"});
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
