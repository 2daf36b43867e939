// Conversions between code pages: each peer makes the converted text of its own type. A converter
// that can be kept is opened once, outside of what is measured. The standard library converts
// nothing (std::codecvt is deprecated): its peer is what a user writes for just the pages and
// characters of the input.

#include <string_view>

#include "bench/harness.h"
#include "support/LogNull.h"

#if defined(DORVANE_BENCH_HAVE_ICONV)
#include <iconv.h>
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#endif

namespace bench {
namespace {

constexpr int kUtf8 = 65001;
constexpr int kWestern = 1252;
constexpr std::size_t kDistance = 20;

// ---- What a user writes with the standard library ----

unsigned int byteOf(char c) { return static_cast<unsigned char>(c); }

std::string utf8OfWesternByStd(const std::string& text) {
  std::string out;
  out.reserve(text.size() + text.size() / 2);
  for (const char c : text) {
    if (byteOf(c) < 0x80) {
      out.push_back(c);
    } else {
      out.push_back(static_cast<char>(0xC0U | byteOf(c) >> 6U));
      out.push_back(static_cast<char>(0x80U | (byteOf(c) & 0x3FU)));
    }
  }
  return out;
}

// Reads the character at `at` and moves there; of up to three bytes.
char16_t nextOfUtf8(std::string_view text, std::size_t& at) {
  const unsigned int lead = byteOf(text[at++]);
  if (lead < 0x80) return static_cast<char16_t>(lead);
  unsigned int codePoint = lead < 0xE0 ? lead & 0x1FU : lead & 0xFU;
  for (int left = lead < 0xE0 ? 1 : 2; left > 0; --left)
    codePoint = codePoint << 6U | (byteOf(text[at++]) & 0x3FU);
  return static_cast<char16_t>(codePoint);
}

template <class Out>
Out charactersOfUtf8ByStd(const std::string& text) {
  Out out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();)
    out.push_back(static_cast<typename Out::value_type>(nextOfUtf8(text, at)));
  return out;
}

// ---- Other peers ----

#if defined(DORVANE_BENCH_HAVE_ICONV)
// A peer whose result has at most `most` bytes for one of the input.
void addIconv(Operation<std::string>& conversion, const char* from, const char* to,
              std::size_t most) {
  conversion.peer("iconv", [from, to, most](const std::string& input) {
    const std::shared_ptr<void> converter(iconv_open(to, from), iconv_close);
    return [converter, most, &input](const auto& use) {
      std::string out(most * input.size(), '\0');
      char* source = const_cast<char*>(input.data());  // which is not written to
      char* target = out.data();
      std::size_t left = input.size();
      std::size_t room = out.size();
      iconv(converter.get(), &source, &left, &target, &room);
      out.resize(out.size() - room);
      use(out);
    };
  });
}
#endif

#if defined(DORVANE_BENCH_HAVE_ICU)
using Convert = int32_t (*)(UConverterType, UConverter*, char*, int32_t, const char*, int32_t,
                            UErrorCode*);

// ucnv_fromAlgorithmic() with the parameters of ucnv_toAlgorithmic().
int32_t fromAlgorithmic(UConverterType type, UConverter* converter, char* out, int32_t room,
                        const char* source, int32_t size, UErrorCode* error) {
  return ucnv_fromAlgorithmic(converter, type, out, room, source, size, error);
}

// A peer that converts between a page and UTF-8.
void addIcu(Operation<std::string>& conversion, const char* page, Convert convert) {
  conversion.peer("icu", [page, convert](const std::string& input) {
    UErrorCode error = U_ZERO_ERROR;
    const std::shared_ptr<UConverter> converter(ucnv_open(page, &error), ucnv_close);
    return [converter, convert, &input](const auto& use) {
      UErrorCode status = U_ZERO_ERROR;
      std::string out(2 * input.size(), '\0');
      const int32_t size =
          convert(UCNV_UTF8, converter.get(), out.data(), static_cast<int32_t>(out.size()),
                  input.data(), static_cast<int32_t>(input.size()), &status);
      out.resize(static_cast<std::size_t>(size));
      use(out);
    };
  });
}
#endif

#if defined(DORVANE_BENCH_HAVE_QT)
// QString holds UTF-16.
struct QtUtf16 {
  QString text;
};

std::string toText(const QtUtf16& result) { return bench::toText(result.text.toStdU16String()); }
#endif

// ---- The operations ----

void addOurs(Operation<std::string>& conversion, int from, int to) {
  conversion.peerInPlace<StringBuffer>("ours", [from, to](StringBuffer& text) {
    LogNull log;
    text.convertEncoding(from, to, log);
  });
}

void enrollUtf8OfWestern(const char* name, const std::vector<std::string>& marks) {
  Operation<std::string> conversion("CodePages", name, kSizesOfTexts, [marks](std::size_t size) {
    return wordsWithMarks(size, kDistance, marks);
  });
  addOurs(conversion, kWestern, kUtf8);
  conversion.peerOn<std::string>("std", utf8OfWesternByStd);
#if defined(DORVANE_BENCH_HAVE_QT)
  conversion.peerOn<QByteArray>(
      "qt", [](const QByteArray& text) { return QString::fromLatin1(text).toUtf8(); });
#endif
#if defined(DORVANE_BENCH_HAVE_ICONV)
  addIconv(conversion, "CP1252", "UTF-8", 2);
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
  addIcu(conversion, "windows-1252", ucnv_toAlgorithmic);
#endif
  conversion.enroll();
}

std::string accentedUtf8(std::size_t size) {
  return wordsWithMarks(size, kDistance, {"\xC3\xA9", "\xC3\xBC", "\xC3\x9F"});
}

void enrollWesternOfUtf8() {
  Operation<std::string> conversion("CodePages", "utf8To1252", kSizesOfTexts, accentedUtf8);
  addOurs(conversion, kUtf8, kWestern);
  conversion.peerOn<std::string>("std", charactersOfUtf8ByStd<std::string>);
#if defined(DORVANE_BENCH_HAVE_QT)
  conversion.peerOn<QByteArray>(
      "qt", [](const QByteArray& text) { return QString::fromUtf8(text).toLatin1(); });
#endif
#if defined(DORVANE_BENCH_HAVE_ICONV)
  addIconv(conversion, "UTF-8", "CP1252", 1);
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
  addIcu(conversion, "windows-1252", fromAlgorithmic);
#endif
  conversion.enroll();
}

void enrollUtf16OfUtf8() {
  Operation<std::string> conversion("CodePages", "cvUtf8ToUnicode", kSizesOfTexts, accentedUtf8);
  conversion.peer("ours", [](const std::string& text) {
    return [source = StringBuffer(text.c_str())](const auto& use) {
      DataBuffer out;
      source.cvUtf8ToUnicode(out);
      use(out);
    };
  });
  conversion.peerOn<std::string>("std", charactersOfUtf8ByStd<std::u16string>);
#if defined(DORVANE_BENCH_HAVE_QT)
  conversion.peerOn<QByteArray>(
      "qt", [](const QByteArray& text) { return QtUtf16{QString::fromUtf8(text)}; });
#endif
#if defined(DORVANE_BENCH_HAVE_ICONV)
  addIconv(conversion, "UTF-8", "UTF-16LE", 2);
#endif
#if defined(DORVANE_BENCH_HAVE_ICU)
  conversion.peerOn<std::string>("icu", [](const std::string& text) {
    UErrorCode error = U_ZERO_ERROR;
    std::u16string out(text.size(), u'\0');
    int32_t size = 0;
    u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &size, text.data(),
                  static_cast<int32_t>(text.size()), &error);
    out.resize(static_cast<std::size_t>(size));
    return out;
  });
#endif
  conversion.enroll();
}

// What we convert through iconv ourselves.
#if defined(DORVANE_BENCH_HAVE_ICONV)
void enrollUtf8OfJapanese() {
  const auto input = [](std::size_t size) {
    return wordsWithMarks(size, kDistance, {"\x82\xA0\x82\xA2", "\x93\xFA\x96\x7B", "\xB1"});
  };
  Operation<std::string> conversion("CodePages", "932ToUtf8", kSizesOfTexts, input);
  addOurs(conversion, 932, kUtf8);
  addIconv(conversion, "CP932", "UTF-8", 3);
#if defined(DORVANE_BENCH_HAVE_ICU)
  addIcu(conversion, "windows-932", ucnv_toAlgorithmic);
#endif
  conversion.enroll();
}
#endif

void enrollAll() {
  enrollUtf8OfWestern("1252ToUtf8", {"\xE9", "\xFC", "\xDF"});
  enrollUtf8OfWestern("1252ToUtf8Ascii", {"plain"});
  enrollWesternOfUtf8();
  enrollUtf16OfUtf8();
#if defined(DORVANE_BENCH_HAVE_ICONV)
  enrollUtf8OfJapanese();
#endif
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
