// Building a text from nothing: byte by byte, of short texts, of 4 KiB texts, of numbers. The
// growth of the storage is part of what is measured; nobody reserves.

#include <algorithm>
#include <charconv>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_ABSL)
#include <absl/strings/str_cat.h>
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
#include <fmt/format.h>
#endif

namespace bench {
namespace {

using Texts = std::vector<std::string>;
using Numbers = std::vector<int>;

// Words cut into texts of `step` bytes; the last one is shorter.
template <std::size_t step>
Texts cutWords(std::size_t size) {
  const std::string all = words(size);
  Texts texts;
  for (std::size_t i = 0; i < size; i += step) texts.push_back(all.substr(i, step));
  return texts;
}

// Numbers of one to nine digits that have `size` digits together.
Numbers numbers(std::size_t size) {
  constexpr unsigned int kGoldenRatio = 0x9E3779B9U;
  constexpr std::size_t kMostDigits = 9;
  Numbers numbers;
  unsigned int state = 1;
  while (size > 0) {
    state = state * kGoldenRatio + 1;
    const std::size_t digits = std::min(size, 1 + (state >> 16) % kMostDigits);
    int value = 1;
    for (std::size_t i = 1; i < digits; ++i) value = value * 10 + static_cast<int>(i);
    numbers.push_back(value);
    size -= digits;
  }
  return numbers;
}

void enrollChars() {
  Operation<std::string> chars("Append", "chars", kSizes, words);
  chars.peer("ours", [](const std::string& input) {
    return [&input](const auto& use) {
      StringBuffer out;
      for (const char c : input) out.appendChar(c);
      use(out);
    };
  });
  chars.peer("std", [](const std::string& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const char c : input) out.push_back(c);
      use(out);
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  chars.peer("qt", [](const std::string& input) {
    return [&input](const auto& use) {
      QByteArray out;
      for (const char c : input) out.append(c);
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  chars.peer("glib", [](const std::string& input) {
    return [&input](const auto& use) {
      const OwnedGString out = newGString();
      for (const char c : input) g_string_append_c(out.get(), c);
      use(out);
    };
  });
#endif
  chars.enroll();
}

template <class MakeTexts>
void enrollTexts(const char* name, const Sizes& sizes, MakeTexts makeTexts) {
  Operation<Texts> texts("Append", name, sizes, makeTexts);
  texts.peer("ours", [](const Texts& input) {
    return [&input](const auto& use) {
      StringBuffer out;
      for (const std::string& text : input) out.append(text.c_str());
      use(out);
    };
  });
  texts.peer("std", [](const Texts& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const std::string& text : input) out.append(text.c_str());
      use(out);
    };
  });
#if defined(DORVANE_BENCH_HAVE_ABSL)
  texts.peer("absl", [](const Texts& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const std::string& text : input) absl::StrAppend(&out, text.c_str());
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  texts.peer("qt", [](const Texts& input) {
    return [&input](const auto& use) {
      QByteArray out;
      for (const std::string& text : input) out.append(text.c_str());
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  texts.peer("glib", [](const Texts& input) {
    return [&input](const auto& use) {
      const OwnedGString out = newGString();
      for (const std::string& text : input) g_string_append(out.get(), text.c_str());
      use(out);
    };
  });
#endif
  texts.enroll();
}

void enrollNumbersOfOthers([[maybe_unused]] Operation<Numbers>& append) {
#if defined(DORVANE_BENCH_HAVE_ABSL)
  append.peer("absl", [](const Numbers& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const int value : input) absl::StrAppend(&out, value);
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_QT)
  append.peer("qt", [](const Numbers& input) {
    return [&input](const auto& use) {
      QByteArray out;
      for (const int value : input) out.append(QByteArray::number(value));
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
  append.peer("glib", [](const Numbers& input) {
    return [&input](const auto& use) {
      const OwnedGString out = newGString();
      for (const int value : input) g_string_append_printf(out.get(), "%d", value);
      use(out);
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_FMT)
  append.peer("fmt", [](const Numbers& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const int value : input) {
        const fmt::format_int digits(value);
        out.append(digits.data(), digits.size());
      }
      use(out);
    };
  });
#endif
}

void enrollNumbers() {
  Operation<Numbers> append("Append", "numbers", kSizes, numbers);
  append.peer("ours", [](const Numbers& input) {
    return [&input](const auto& use) {
      StringBuffer out;
      for (const int value : input) out.append(value);
      use(out);
    };
  });
  append.peer("std", [](const Numbers& input) {
    return [&input](const auto& use) {
      std::string out;
      for (const int value : input) {
        char digits[12];
        const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        out.append(digits, static_cast<std::size_t>(end - digits));
      }
      use(out);
    };
  });
  enrollNumbersOfOthers(append);
  append.enroll();
}

void enrollAll() {
  enrollChars();
  enrollTexts("shortTexts", kSizes, cutWords<10>);
  enrollTexts("4KiBTexts", {4096, 1 << 16, 1 << 20}, cutWords<4096>);
  enrollNumbers();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
