// Making links of the web addresses in a text. The addresses of the input are in lower case.

#include <algorithm>
#include <regex>
#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_QT)
#include <QRegularExpression>
#endif

namespace bench {
namespace {

// What begins an address, and what belongs to it.
constexpr const char* kAddress = R"(https?://[^\t\n\r ()<>\[\]{}]*)";

std::string linkedByStd(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  std::size_t done = 0;
  for (std::size_t at = 0; (at = text.find("http", at)) != std::string::npos;) {
    const std::size_t slashes = text.compare(at + 4, 1, "s") == 0 ? at + 5 : at + 4;
    if (text.compare(slashes, 3, "://") != 0) {
      ++at;
      continue;
    }
    const std::size_t end = std::min(text.find_first_of("\t\n\r ()<>[]{}", at), text.size());
    const std::string_view address = std::string_view(text).substr(at, end - at);
    out.append(text, done, at - done);
    out.append("<a href=\"").append(address).append("\">").append(address).append("</a>");
    at = done = end;
  }
  return out.append(text, done);
}

void addExpressions(Operation<std::string>& link) {
  link.peer("regex", [](const std::string& text) {
    return [&text, address = std::regex(kAddress)](const auto& use) {
      use(std::regex_replace(text, address, "<a href=\"$&\">$&</a>"));
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  link.peer("qt", [](const std::string& text) {
    return [source = toQString(text),
            address = QRegularExpression('(' + QString(kAddress) + ')')](const auto& use) {
      QString out = source;
      use(out.replace(address, QLatin1String("<a href=\"\\1\">\\1</a>")));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  link.peer("glib", [](const std::string& text) {
    const std::shared_ptr<GRegex> address(
        g_regex_new(kAddress, G_REGEX_OPTIMIZE, GRegexMatchFlags(), nullptr), g_regex_unref);
    return [&text, address](const auto& use) {
      use(OwnedGchars(g_regex_replace(address.get(), text.data(), static_cast<gssize>(text.size()),
                                      0, R"(<a href="\0">\0</a>)", GRegexMatchFlags(), nullptr)));
    };
  });
#endif
}

void enroll(const char* name, std::size_t distance) {
  const auto input = [distance](std::size_t size) {
    return wordsWithMarks(
        size, distance, {" http://a.example/ ", " https://www.example.org/path?name=1 ", "https"});
  };
  Operation<std::string> link("Links", name, kSizesOfTexts, input);
  link.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.autoLinkUrls2(text); });
  link.peerOn<std::string>("std", linkedByStd);
  addExpressions(link);
  link.enroll();
}

void enrollAll() {
  enroll("autoLinkUrls2", 1000);
  enroll("autoLinkUrls2Dense", 40);
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
