// Whole words and templates: replacing a word where no word byte stands beside it, and filling
// placeholders from a map of a thousand names.

#include <cctype>
#include <cstring>
#include <regex>
#include <string_view>
#include <unordered_map>

#include "bench/harness.h"
#include "support/_dvHashMap.h"

#if defined(DORVANE_BENCH_HAVE_QT)
#include <QRegularExpression>
#endif

namespace bench {
namespace {

// ---- Whole words ----

bool isWordByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return std::isalnum(byte) != 0 || c == '_';
}

std::string replaceWordByStd(const std::string& text, const std::string& word,
                             const std::string& replacement) {
  std::string out;
  std::size_t done = 0;
  std::size_t from = 0;
  for (;;) {
    const std::size_t at = text.find(word, from);
    if (at == std::string::npos) break;
    const std::size_t end = at + word.size();
    const bool isWord =
        (at == 0 || !isWordByte(text[at - 1])) && (end == text.size() || !isWordByte(text[end]));
    if (isWord) {
      out.append(text, done, at - done).append(replacement);
      done = end;
    }
    from = isWord ? end : at + 1;
  }
  return out.append(text, done, std::string::npos);
}

void enrollWord(const char* name, std::size_t distance, const std::vector<std::string>& marks) {
  Operation<std::string> replace("Words", name, kSizesOfContent, [=](std::size_t size) {
    return wordsWithMarks(size, distance, marks);
  });
  replace.peerInPlace<StringBuffer>(
      "ours", [](StringBuffer& text) { text.replaceAllWordOccurances("needle", "pin", 0, false); });
  replace.peer("std", [](const std::string& text) {
    return [&text](const auto& use) { use(replaceWordByStd(text, "needle", "pin")); };
  });
  replace.peer("regex", [](const std::string& text) {
    return [&text, word = std::regex("\\bneedle\\b", std::regex::optimize)](const auto& use) {
      use(std::regex_replace(text, word, "pin"));
    };
  });
#if defined(DORVANE_BENCH_HAVE_QT)
  replace.peer("qt", [](const std::string& text) {
    return [source = toQString(text),
            word = QRegularExpression(QStringLiteral("\\bneedle\\b"))](const auto& use) {
      QString out(source);
      out.replace(word, QStringLiteral("pin"));
      use(out);
    };
  });
#endif
  replace.enroll();
}

// ---- Templates ----

constexpr int kVariables = 1000;

std::string nameOf(int i) { return "name" + std::to_string(i); }
std::string valueOf(int i) { return "the value of " + std::to_string(i * 7); }

std::string templateOf(std::size_t size) {
  std::vector<std::string> markers;
  for (int i = 0; i < kVariables; ++i) markers.push_back("{$" + nameOf(i) + "}");
  return wordsWithMarks(size, 40, markers);
}

using Values = std::unordered_map<std::string, std::string>;

std::string fillByStd(const std::string& text, const Values& values) {
  std::string out;
  std::size_t done = 0;
  for (;;) {
    const std::size_t open = text.find("{$", done);
    const std::size_t close = open == std::string::npos ? open : text.find('}', open + 2);
    if (close == std::string::npos) break;
    out.append(text, done, open - done);
    const auto value = values.find(text.substr(open + 2, close - open - 2));
    if (value != values.end()) out.append(value->second);
    done = close + 1;
  }
  return out.append(text, done, std::string::npos);
}

void enrollTemplate() {
  Operation<std::string> fill("Words", "variableSubstitute", kSizesOfTexts, templateOf);
  fill.peer("ours", [](const std::string& text) {
    const auto values = std::make_shared<_dvHashMap>();
    for (int i = 0; i < kVariables; ++i)
      values->hashInsertString(nameOf(i).c_str(), valueOf(i).c_str());
    return [source = StringBuffer(text.c_str()), values](const auto& use) {
      StringBuffer out(source);
      out.variableSubstitute(*values, 0);
      use(out);
    };
  });
  fill.peer("std", [](const std::string& text) {
    Values values;
    for (int i = 0; i < kVariables; ++i) values.emplace(nameOf(i), valueOf(i));
    return [&text, values](const auto& use) { use(fillByStd(text, values)); };
  });
  fill.enroll();
}

void enrollAll() {
  enrollWord("replaceAllWordOccurances", 100, {"needle"});
  enrollWord("replaceAllWordOccurancesRejected", 100, {" needles ", " needle "});
  enrollTemplate();
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
