// Tokens of source text, and every field of a file of records.

#include <cstring>
#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_BOOST)
#include <boost/tokenizer.hpp>
#endif

namespace bench {

namespace {

using Strings = std::vector<std::string>;

// ---- Tokens ----

constexpr char kPunctuation[] = "*;(){}&+=[],!~";

std::string sourceText(std::size_t size) {
  return wordsWithMarks(size, 12, {"(", ")", ";\n", " = ", ", ", "{\n  ", "}\n", " \"a b\" "}) +
         "x";
}

Strings tokensByStd(const std::string& text) {
  Strings tokens;
  std::string token;
  const auto finish = [&] {
    if (!token.empty()) tokens.push_back(token);
    token.clear();
  };
  bool inside = false;
  for (const char c : text) {
    if (c == '"') inside = !inside;
    if (inside || c == '"') {
      token.push_back(c);
    } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      finish();
    } else if (std::strchr(kPunctuation, c) != nullptr) {
      finish();
      tokens.emplace_back(1, c);
    } else {
      token.push_back(c);
    }
  }
  finish();
  return tokens;
}

void enrollTokens() {
  Operation<std::string> tokenize("Fields", "tokenizeCPP", kSizesOfTexts, sourceText);
  tokenize.peer("ours", [](const std::string& text) {
    return [source = StringBuffer(text.c_str())](const auto& use) {
      ExtPtrArraySb tokens;
      source.tokenizeCPP(tokens);
      use(tokens);
    };
  });
  tokenize.peer("std", [](const std::string& text) {
    return [&text](const auto& use) { use(tokensByStd(text)); };
  });
  tokenize.enroll();
}

// ---- Records ----

std::string records(std::size_t size) {
  return wordsWithMarks(size, 10, {",", ",", ",\"a, b\",", ",", ",", "\n"});
}

// All fields of all records, one after the other, without their quotes.
template <class Use>
void forEachRecord(std::string_view file, const Use& use) {
  while (!file.empty()) {
    const std::size_t size = std::min(file.find('\n'), file.size());
    use(file.substr(0, size));
    file.remove_prefix(std::min(size + 1, file.size()));
  }
}

Strings fieldsByStd(std::string_view record) {
  Strings fields(1);
  bool inside = false;
  for (const char c : record) {
    if (c == '"')
      inside = !inside;
    else if (c == ',' && !inside)
      fields.emplace_back();
    else
      fields.back().push_back(c);
  }
  return fields;
}

void enrollRecords() {
  Operation<std::string> read("Fields", "getNthDelimited", kSizesOfTexts, records);
  read.peer("ours", [](const std::string& text) {
    return [&text](const auto& use) {
      std::size_t bytes = 0;
      StringBuffer record;
      StringBuffer field;
      forEachRecord(text, [&](std::string_view line) {
        record.weakClear();
        record.appendN(line.data(), static_cast<unsigned int>(line.size()));
        for (unsigned int i = 0; record.getNthDelimited(i, ',', true, false, field); ++i)
          bytes += field.getSize();
      });
      use(bytes);
    };
  });
  read.peer("std", [](const std::string& text) {
    return [&text](const auto& use) {
      std::size_t bytes = 0;
      forEachRecord(text, [&](std::string_view line) {
        for (const std::string& field : fieldsByStd(line)) bytes += field.size();
      });
      use(bytes);
    };
  });
#if defined(DORVANE_BENCH_HAVE_BOOST)
  read.peer("boost", [](const std::string& text) {
    return [&text](const auto& use) {
      std::size_t bytes = 0;
      forEachRecord(text, [&](std::string_view line) {
        using Separator = boost::escaped_list_separator<char>;
        const std::string record(line);
        for (const std::string& field : boost::tokenizer<Separator>(record)) bytes += field.size();
      });
      use(bytes);
    };
  });
#endif
  read.enroll();
}

[[maybe_unused]] const bool kEnrolled = (enrollTokens(), enrollRecords(), true);

}  // namespace
}  // namespace bench
