// Numbers as text and back: the size is that of all their texts. Reading gives the sum.

#include <charconv>
#include <cstdlib>
#include <random>
#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/lexical_cast.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
#include <fmt/format.h>
#endif

namespace bench {
namespace {

using Numbers = std::vector<long long>;
using Texts = std::vector<std::string>;

const Sizes kSizesOfNumbers = {20, 200, 4096};

// ---- Inputs ----

// Calls `add` with a number of 2 to 18 digits until `size` bytes are there.
template <class Add>
void forEachNumber(std::size_t size, Add add) {
  std::mt19937_64 generator{20260103};
  std::size_t used = 0;
  while (used < size) {
    long long value = static_cast<long long>(generator() % 1000000000000000000U);
    for (auto shorter = generator() % 17; shorter > 0; --shorter) value /= 10;
    used += std::to_string(value).size();
    add(value);
  }
}

Numbers numbers(std::size_t size) {
  Numbers all;
  forEachNumber(size, [&all](long long value) { all.push_back(value); });
  return all;
}

Texts integers(std::size_t size) {
  Texts all;
  forEachNumber(size, [&all](long long value) { all.push_back(std::to_string(value)); });
  return all;
}

// Numbers with three decimals.
Texts decimals(std::size_t size) {
  Texts all = integers(size);
  for (std::string& text : all) {
    if (text.size() > 12) text.resize(12);
    if (text.size() > 3) text.insert(text.size() - 3, ".");
  }
  return all;
}

// ---- Formatting ----

template <class Out, class Append>
void addFormat(Operation<Numbers>& format, const char* name, Append append) {
  format.peer(name, [append](const Numbers& input) {
    return [append, &input](const auto& use) {
      Out out;
      for (const long long value : input) append(out, value);
      use(out);
    };
  });
}

void enrollFormat() {
  Operation<Numbers> format("Numbers", "appendInt64", kSizesOfNumbers, numbers);
  addFormat<StringBuffer>(format, "ours",
                          [](StringBuffer& out, long long value) { out.appendInt64(value); });
  addFormat<std::string>(format, "std", [](std::string& out, long long value) {
    char digits[24];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, static_cast<std::size_t>(end - digits));
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  addFormat<std::string>(format, "absl",
                         [](std::string& out, long long value) { absl::StrAppend(&out, value); });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  addFormat<QByteArray>(format, "qt", [](QByteArray& out, long long value) {
    out.append(QByteArray::number(value));
  });
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
  addFormat<std::string>(format, "fmt", [](std::string& out, long long value) {
    const fmt::format_int digits(value);
    out.append(digits.data(), digits.size());
  });
#endif
  format.enroll();
}

// ---- Reading ----

template <class Text, class Read>
void addRead(Operation<Texts>& sum, const char* name, Read read) {
  sum.peer(name, [read](const Texts& input) {
    std::vector<Text> texts;
    for (const std::string& text : input) texts.emplace_back(text.c_str());
    return [read, texts](const auto& use) {
      decltype(read(texts.front())) total = 0;
      for (const Text& text : texts) total += read(text);
      use(total);
    };
  });
}

template <class Number>
Number readByStd(const std::string& text) {
  Number value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

void enrollReadIntegers() {
  Operation<Texts> sum("Numbers", "int64Value", kSizesOfNumbers, integers);
  addRead<StringBuffer>(sum, "ours", [](const StringBuffer& text) { return text.int64Value(); });
  addRead<std::string>(sum, "std", readByStd<long long>);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  addRead<std::string>(sum, "absl", [](const std::string& text) {
    std::int64_t value = 0;
    return absl::SimpleAtoi(text, &value) ? value : 0;
  });
#endif
#if defined(DORVANE_BENCH_HAVE_BOOST)
  addRead<std::string>(
      sum, "boost", [](const std::string& text) { return boost::lexical_cast<long long>(text); });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  addRead<QByteArray>(sum, "qt", [](const QByteArray& text) { return text.toLongLong(); });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  addRead<std::string>(sum, "glib", [](const std::string& text) {
    return g_ascii_strtoll(text.c_str(), nullptr, 10);
  });
#endif
  sum.enroll();
}

void enrollReadDecimals() {
  Operation<Texts> sum("Numbers", "doubleValue", kSizesOfNumbers, decimals);
  addRead<StringBuffer>(sum, "ours", [](const StringBuffer& text) { return text.doubleValue(); });
  addRead<std::string>(sum, "std", readByStd<double>);
#if defined(DORVANE_BENCH_HAVE_ABSL)
  addRead<std::string>(sum, "absl", [](const std::string& text) {
    double value = 0;
    return absl::SimpleAtod(text, &value) ? value : 0;
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  addRead<QByteArray>(sum, "qt", [](const QByteArray& text) { return text.toDouble(); });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  addRead<std::string>(
      sum, "glib", [](const std::string& text) { return g_ascii_strtod(text.c_str(), nullptr); });
#endif
  addRead<std::string>(sum, "libc",
                       [](const std::string& text) { return std::strtod(text.c_str(), nullptr); });
  sum.enroll();
}

void enrollAll() {
  enrollFormat();
  enrollReadIntegers();
  enrollReadDecimals();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
