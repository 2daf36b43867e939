// Conversions by the C library, which allocates with malloc what operator new does not see.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string_view>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"
#include "harness/ProgramPages.h"
#include "malloc/FailMalloc.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"
#include "support/LogNull.h"
#include "support/XString.h"

namespace {

using harness::bytesOf;
using harness::FailMalloc;
using harness::ProgramPages;

// Counts the errors and keeps the last, without an allocation.
class CountingLog : public LogBase {
 public:
  void LogError(const char* text) override {
    ++m_count;
    std::strncpy(m_last, text, sizeof m_last - 1);
  }
  void LogData(const char*, const char*) override {}

  bool isEmpty() const { return m_count == 0; }
  bool saysOnlyOutOfMemory() const {
    return m_count == 1 && std::string_view(m_last) == "Out of memory";
  }

 private:
  int m_count = 0;
  char m_last[200] = {};
};

enum ExitCode { kFired, kNotFired, kWrong };

// Runs `body` with the k-th allocation failing, then `check`, in a process of its own, in which the
// C library has loaded nothing yet.
ExitCode inNewProcess(long k, FailMalloc::Mode mode, const std::function<void()>& body,
                      const std::function<void()>& check) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    FailMalloc fail(k, mode);
    body();
    const bool fired = fail.stop();
    check();
    std::fflush(nullptr);
    ::_exit(testing::Test::HasFailure() ? kWrong : fired ? kFired : kNotFired);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? static_cast<ExitCode>(WEXITSTATUS(status)) : kWrong;
}

// With each allocation failing in turn, once and from then on, until none fails. Every run begins
// with the objects as they are now.
void expectSurvives(const std::function<void()>& body, const std::function<void()>& check) {
  for (const auto mode : {FailMalloc::kOnce, FailMalloc::kFromThenOn}) {
    ExitCode code = kFired;
    long k = 0;
    while (code == kFired) code = inNewProcess(++k, mode, body, check);
    ASSERT_EQ(code, kNotFired) << "allocation " << k << ", mode " << mode;
    EXPECT_GT(k, 5) << "the C library allocates, too";
  }
}

bool decode(StringBuffer& text, LogBase& log) {
  ContentCoding coding;
  return coding.QB_DecodeToUtf8(text, log);
}

// Each needs other libraries: the loader of glibc 2.36 does not recover when memory is exhausted
// while it needs one a second time.
constexpr struct {
  const char* text;
  const char* decoded;
} kWords[] = {
    {"x =?iso-2022-jp?B?GyRCRnxLXBsoQg==?= y =?utf-8?Q?abc?= =?shift_jis?B?k/qWew==?= z",
     "x \u65e5\u672c y abc\u65e5\u672c z"},
    {"=?gb18030?B?xOO6ww==?= and so on, until it is long enough to stand in a block of the heap",
     "\u4f60\u597d and so on, until it is long enough to stand in a block of the heap"},
};

TEST(EncodedWordsWithoutMalloc, AllAreDecodedOrNothingChanges) {
  for (const auto& words : kWords) {
    StringBuffer text(words.text);
    CountingLog log;
    bool done = false;
    expectSurvives([&] { done = decode(text, log); },
                   [&] {
                     EXPECT_EQ(bytesOf(text), done ? words.decoded : words.text);
                     EXPECT_TRUE(done ? log.isEmpty() : log.saysOnlyOutOfMemory());
                   });
  }
}

TEST(EncodedWordsWithoutMalloc, AFailureIsNotRemembered) {
  StringBuffer text(kWords[0].text);
  LogNull log;
  expectSurvives([&] { decode(text, log); },
                 [&] {
                   decode(text, log);
                   EXPECT_EQ(bytesOf(text), kWords[0].decoded);
                 });
}

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

TEST(ConvertEncodingWithoutMalloc, LeavesWhatTheConverterMade) {
  const struct {
    int from;
    int to;
    const char* text;
    const char* converted;
  } cases[] = {
      {65001, 932, "ab\u65e5cd", "ab\x93\xFA\x63\x64"},
      {932, 65001, "ab\x93\xFA\x63\x64", "ab\u65e5cd"},
      {50221, 65001, "\x1B(I1\x1B(B", "\uFF71"},
      {932, 54936, "\x93\xFA", "\xC8\xD5"},
  };
  for (const auto& c : cases) {
    StringBuffer text(c.text);
    CountingLog log;
    bool done = false;
    expectSurvives([&] { done = text.convertEncoding(c.from, c.to, log); },
                   [&] {
                     EXPECT_TRUE(startsWith(c.converted, bytesOf(text)));
                     EXPECT_EQ(done, bytesOf(text) == c.converted);
                     EXPECT_TRUE(done ? log.isEmpty() : log.saysOnlyOutOfMemory());
                   });
  }
}

TEST(CvAnsiToUtf8WithoutMalloc, LeavesWhatTheConverterMade) {
  const ProgramPages page(932);
  StringBuffer text("ab\x93\xFA");
  LogNull log;
  expectSurvives(
      [&] { text.cvAnsiToUtf8(log); },
      [&] { EXPECT_TRUE(bytesOf(text) == "ab\x93\xFA" || startsWith("ab\u65e5", bytesOf(text))); });
}

TEST(XStringWithoutMalloc, TheAnsiFormIsMadeWhenMemoryIsBack) {
  const ProgramPages page(932);
  XString string;
  ASSERT_TRUE(string.setFromUtf8("/d/\u65e5"));
  const char* first = nullptr;
  expectSurvives([&] { first = string.getAnsi(); },
                 [&] {
                   EXPECT_TRUE(*first == '\0' || std::string_view(first) == "/d/\x93\xFA");
                   EXPECT_STREQ(string.getAnsi(), "/d/\x93\xFA");
                 });
}

TEST(XStringWithoutMalloc, AnAnsiTextIsTakenOrTheContentIsEmpty) {
  const ProgramPages page(932);
  XString string;
  ASSERT_TRUE(string.setFromUtf8("before"));
  bool done = false;
  expectSurvives([&] { done = string.setFromAnsi("/d/\x93\xFA"); },
                 [&] { EXPECT_STREQ(string.getUtf8(), done ? "/d/\u65e5" : ""); });
}

TEST(XStringWithoutMalloc, CharactersAreReplacedOrNothingChanges) {
  const ProgramPages page(932);
  XString string;
  ASSERT_TRUE(string.setFromUtf8("/d/\uff71"));
  bool done = false;
  expectSurvives([&] { done = string.replaceChar('\xB1', '\xB2'); },
                 [&] { EXPECT_STREQ(string.getUtf8(), done ? "/d/\uff72" : "/d/\uff71"); });
}

// ---- Former bugs ----

// A page that has been used once in a thread needs no memory but that of the result.
TEST(EncodingConvertWithoutMalloc, APageIsReadyAfterItsFirstUse) {
  constexpr struct {
    int from;
    int to;
    const char* text;
    const char* converted;
  } kCases[] = {
      {65001, 932, "ab\u65e5cd", "ab\x93\xFA\x63\x64"},
      {932, 65001, "ab\x93\xFA\x63\x64", "ab\u65e5cd"},
      {50221, 65001, "\x1B(I1\x1B(B", "\uFF71"},
      {51932, 54936, "\xC6\xFC", "\xC8\xD5"},
      {949, 950, "\xF9\xD3", "\xBA\x7E"},
  };
  for (const auto& c : kCases) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(c.text);
    const auto n = static_cast<unsigned int>(std::strlen(c.text));
    EncodingConvert converter;
    LogNull log;
    DataBuffer out;
    ASSERT_TRUE(out.ensureBuffer(100));
    ASSERT_TRUE(converter.EncConvert(c.from, c.to, bytes, n, out, log)) << c.from;
    for (const auto mode : {FailMalloc::kOnce, FailMalloc::kFromThenOn}) {
      out.clear();
      FailMalloc fail(1, mode);
      const bool done = converter.EncConvert(c.from, c.to, bytes, n, out, log);
      const bool allocated = fail.stop();
      EXPECT_TRUE(done) << c.from;
      EXPECT_FALSE(allocated) << c.from;
      EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(out.getData2()), out.getSize()),
                c.converted);
    }
  }
}

}  // namespace
