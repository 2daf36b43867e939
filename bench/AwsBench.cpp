// Percent-encoding a path as AWS request signing takes it, of UTF-8 text with few and with many
// bytes to encode. The path holds nothing that is encoded already.

#include <algorithm>
#include <string_view>

#include "bench/harness.h"

namespace bench {
namespace {

const std::vector<std::string> kMarks = {"+", "=", "\xC3\xA9"};

constexpr std::size_t kDense = 6;
constexpr std::size_t kSparse = 60;

// ---- What a user writes with the standard library ----

bool isKept(char c) {
  constexpr std::string_view kPunctuation = "%-./_~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

std::string encodedByStd(const std::string& text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (isKept(c)) {
      out.push_back(c);
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    out.push_back('%');
    out.push_back(kDigits[byte >> 4U]);
    out.push_back(kDigits[byte & 0xFU]);
  }
  return out;
}

// ---- The operations ----

// The words are the segments.
std::string path(std::size_t size, std::size_t distance) {
  std::string text = wordsWithMarks(size, distance, kMarks);
  std::replace(text.begin(), text.end(), ' ', '/');
  return text;
}

void enroll(const char* name, std::size_t distance) {
  Operation<std::string> encode("Aws", name, kSizesOfTexts,
                                [distance](std::size_t size) { return path(size, distance); });
  encode.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.awsNormalizeUriUtf8(); });
  encode.peerOn<std::string>("std", encodedByStd);
#if defined(DORVANE_BENCH_HAVE_QT)
  encode.peerOn<QByteArray>("qt",
                            [](const QByteArray& text) { return text.toPercentEncoding("%/"); });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  encode.peerOn<std::string>("glib", [](const std::string& text) {
    return OwnedGchars(g_uri_escape_string(text.c_str(), "%/", FALSE));
  });
#endif
  encode.enroll();
}

void enrollAll() {
  enroll("awsNormalizeUriUtf8", kSparse);
  enroll("awsNormalizeUriUtf8Dense", kDense);
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
