// The body of a JSON string, escaped and decoded, with few and with many escapes. The JSON
// libraries work on whole documents: theirs is one string, and the quotes are theirs too.

#include <string_view>

#include "bench/harness.h"

#if defined(DORVANE_BENCH_HAVE_NLOHMANN)
#include <nlohmann/json.hpp>
#endif
#if defined(DORVANE_BENCH_HAVE_RAPIDJSON)
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#if defined(DORVANE_BENCH_HAVE_SIMDJSON)
#include <simdjson.h>
#endif

namespace bench {
namespace {

const std::vector<std::string> kMarks = {"\"", "\\", "\n", "\xC3\xA9"};
const std::vector<std::string> kEscapes = {"\\\"", "\\\\", "\\n", "\xC3\xA9"};

constexpr std::size_t kDense = 10;
constexpr std::size_t kSparse = 200;

// ---- What a user writes with the standard library ----

std::string escapedByStd(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '"':
        out.append("\\\"");
        break;
      case '\\':
        out.append("\\\\");
        break;
      case '\n':
        out.append("\\n");
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

std::string decodedByStd(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out.push_back(text[i]);
      continue;
    }
    ++i;
    out.push_back(text[i] == 'n' ? '\n' : text[i]);
  }
  return out;
}

std::string quoted(const std::string& body) { return '"' + body + '"'; }

// ---- Escaping ----

void enrollEscape(const char* name, std::size_t distance) {
  Operation<std::string> escape("Json", name, kSizesOfTexts, [distance](std::size_t size) {
    return wordsWithMarks(size, distance, kMarks);
  });
  escape.peerInPlace<StringBuffer>("ours", [](StringBuffer& text) { text.jsonEscape(); });
  escape.peer("std", [](const std::string& text) {
    return [&text](const auto& use) { use(escapedByStd(text)); };
  });
#if defined(DORVANE_BENCH_HAVE_NLOHMANN)
  escape.peer("nlohmann", [](const std::string& text) {
    return [value = nlohmann::json(text)](const auto& use) {
      const std::string document = value.dump();
      use(std::string(document, 1, document.size() - 2));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_RAPIDJSON)
  escape.peer("rapidjson", [](const std::string& text) {
    return [&text](const auto& use) {
      rapidjson::StringBuffer document;
      rapidjson::Writer<rapidjson::StringBuffer> writer(document);
      writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
      use(std::string(document.GetString() + 1, document.GetSize() - 2));
    };
  });
#endif
  escape.enroll();
}

// ---- Decoding ----

void enrollDecode(const char* name, std::size_t distance) {
  Operation<std::string> decode("Json", name, kSizesOfTexts, [distance](std::size_t size) {
    return wordsWithMarks(size, distance, kEscapes);
  });
  decode.peer("ours", [](const std::string& text) {
    return [&text](const auto& use) {
      StringBuffer out;
      StringBuffer::jsonDecode(text.data(), static_cast<unsigned int>(text.size()), out);
      use(out);
    };
  });
  decode.peer("std", [](const std::string& text) {
    return [&text](const auto& use) { use(decodedByStd(text)); };
  });
#if defined(DORVANE_BENCH_HAVE_NLOHMANN)
  decode.peer("nlohmann", [](const std::string& text) {
    return [document = quoted(text)](const auto& use) {
      use(nlohmann::json::parse(document).get<std::string>());
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_RAPIDJSON)
  decode.peer("rapidjson", [](const std::string& text) {
    return [source = quoted(text)](const auto& use) {
      rapidjson::Document document;
      document.Parse(source.data(), source.size());
      use(std::string(document.GetString(), document.GetStringLength()));
    };
  });
#endif
#if defined(DORVANE_BENCH_HAVE_SIMDJSON)
  decode.peer("simdjson", [](const std::string& text) {
    const auto parser = std::make_shared<simdjson::ondemand::parser>();
    return [parser, source = simdjson::padded_string('[' + quoted(text) + ']')](const auto& use) {
      auto document = parser->iterate(source);
      const std::string_view value = document.at(0).get_string();
      use(std::string(value));
    };
  });
#endif
  decode.enroll();
}

void enrollAll() {
  enrollEscape("jsonEscape", kSparse);
  enrollEscape("jsonEscapeDense", kDense);
  enrollEscape("jsonEscapeClean", 1U << 30U);
  enrollDecode("jsonDecode", kSparse);
  enrollDecode("jsonDecodeDense", kDense);
}

[[maybe_unused]] const bool kEnrolled = (enrollAll(), true);

}  // namespace
}  // namespace bench
