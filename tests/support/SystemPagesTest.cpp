// How the C library's converters are opened and kept. What they convert is tested in
// CodePagesTest.cpp, and without memory in tests/malloc.

#include "support/internal/SystemPages.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <iconv.h>

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"
#include "support/LogNull.h"

namespace {

std::atomic<long> g_opened{0};
std::atomic<long> g_closed{0};

}  // namespace

// This program counts the converters that are opened and closed.
extern "C" {

iconv_t iconv_open(const char* to, const char* from) {
  using Open = iconv_t (*)(const char*, const char*);
  static const auto kOpen = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "iconv_open"));
  const iconv_t opened = kOpen(to, from);
  if (opened != reinterpret_cast<iconv_t>(-1)) ++g_opened;
  return opened;
}

int iconv_close(iconv_t converter) {
  using Close = int (*)(iconv_t);
  static const auto kClose = reinterpret_cast<Close>(dlsym(RTLD_NEXT, "iconv_close"));
  ++g_closed;
  return kClose(converter);
}
}

namespace {

using harness::bytesOf;

constexpr int kUtf8 = 65001;

struct Counted {
  long opened;
  long closed;      // before the thread ends
  long leftClosed;  // when it has ended
};

// Runs `body` in a thread of its own, which has opened nothing yet.
Counted inNewThread(const std::function<void()>& body) {
  const long openedBefore = g_opened;
  const long closedBefore = g_closed;
  Counted counted{};
  std::thread thread([&] {
    body();
    counted.opened = g_opened - openedBefore;
    counted.closed = g_closed - closedBefore;
  });
  thread.join();
  counted.leftClosed = g_closed - closedBefore;
  EXPECT_EQ(g_opened - openedBefore, counted.opened);
  return counted;
}

void convert(int from, int to, std::string_view text, DataBuffer& out) {
  EncodingConvert converter;
  LogNull log;
  converter.EncConvert(from, to, reinterpret_cast<const unsigned char*>(text.data()),
                       static_cast<unsigned int>(text.size()), out, log);
}

std::string converted(int from, int to, std::string_view text) {
  DataBuffer out;
  convert(from, to, text, out);
  return {reinterpret_cast<const char*>(out.getData2()), out.getSize()};
}

constexpr struct {
  int page;
  const char* bytes;
  const char* utf8;
} kTexts[] = {
    {932, "\x93\xFA\x96\x7B", "\u65e5\u672c"},    {936, "\xC4\xE3\xBA\xC3", "\u4f60\u597d"},
    {949, "\xC7\xD1\xB1\xB9", "\ud55c\uad6d"},    {950, "\xA7\x41\xA6\x6E", "\u4f60\u597d"},
    {50220, "\x1B$BF|K\\\x1B(B", "\u65e5\u672c"}, {51932, "\xC6\xFC\xCB\xDC", "\u65e5\u672c"},
};

void convertAllTexts() {
  for (const auto& text : kTexts) {
    EXPECT_EQ(converted(text.page, kUtf8, text.bytes), text.utf8) << text.page;
    EXPECT_EQ(converted(kUtf8, text.page, text.utf8), text.bytes) << text.page;
  }
}

// ---- Former bugs ----

TEST(SystemPages, AConverterIsOpenedOncePerThread) {
  long first = 0;
  const Counted counted = inNewThread([&] {
    const long before = g_opened;
    convertAllTexts();
    first = g_opened - before;
    for (int i = 0; i < 50; ++i) convertAllTexts();
  });
  EXPECT_GE(first, 10);
  EXPECT_EQ(counted.opened, first);
  EXPECT_EQ(counted.closed, 0);
  EXPECT_EQ(counted.leftClosed, first);
}

TEST(SystemPages, WordsThatAlternateBetweenCharsetsOpenNothingAnew) {
  constexpr const char* kWords[] = {"=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=",
                                    "=?shift_jis?B?k/qWew==?=",
                                    "=?euc-jp?B?xvzL3A==?=",
                                    "=?gb2312?B?xOO6ww==?=",
                                    "=?big5?B?p0GmbQ==?=",
                                    "=?euc-kr?B?x9Gxuw==?="};
  const auto decodeAll = [&] {
    for (const char* const word : kWords) {
      StringBuffer text(word);
      ContentCoding coding;
      LogNull log;
      EXPECT_TRUE(coding.QB_DecodeToUtf8(text, log)) << word;
    }
  };
  long first = 0;
  const Counted counted = inNewThread([&] {
    const long before = g_opened;
    decodeAll();
    first = g_opened - before;
    for (int i = 0; i < 50; ++i) decodeAll();
  });
  EXPECT_EQ(counted.opened, first);
  EXPECT_EQ(counted.leftClosed, first);
}

// A log that converts between the same two pages while the outer conversion has not ended.
class ConvertingLog : public LogBase {
 public:
  void LogError(const char*) override {
    m_inner = converted(kUtf8, 932, "\u65e5");
    m_back = converted(932, kUtf8, "\x93\xFA");
  }
  void LogData(const char*, const char*) override {}

  std::string m_inner;
  std::string m_back;
};

TEST(SystemPages, AConversionInsideAnotherHasConvertersOfItsOwn) {
  const Counted counted = inNewThread([] {
    for (int i = 0; i < 5; ++i) {
      ConvertingLog log;
      StringBuffer text("\x93\xFA\xFF");
      EXPECT_FALSE(text.convertEncoding(932, kUtf8, log));
      EXPECT_EQ(bytesOf(text), "\u65e5\uFFFD");
      EXPECT_EQ(log.m_inner, "\x93\xFA");
      EXPECT_EQ(log.m_back, "\u65e5");
    }
    convertAllTexts();
  });
  EXPECT_EQ(counted.leftClosed, counted.opened);
}

TEST(SystemPages, AConversionThatEndsEarlyLeavesNothingBehind) {
  const std::string utf8 = "\u65e5\u672c";
  for (const int page : {50220, 50221, 50225}) {
    const std::string expected = converted(kUtf8, page, utf8);
    // Texts that end shifted, or inside a character or a shift sequence.
    for (const std::string_view end : {"\x1B$B", "\x1B$BF", "\x1B$)C\x0E", "\x1B$)C\x0Ey", "\x1B$"})
      converted(page, kUtf8, end);
    EXPECT_EQ(converted(page, kUtf8, "F|K"), "F|K") << page;
    EXPECT_EQ(converted(kUtf8, page, utf8), expected) << page;
    // No memory for the result while the converter is shifted.
    std::string text;
    for (int i = 0; i < 500; ++i) text += utf8;
    for (long k = 1; k < 8; ++k) {
      const harness::FailAllocation fail(k);
      DataBuffer out;
      convert(kUtf8, page, text, out);
    }
    EXPECT_EQ(converted(kUtf8, page, utf8), expected) << page;
  }
}

TEST(SystemPages, KeepABoundedNumberOfConverters) {
  constexpr int kPages[] = {932,   936,   949,   950,   1361,  20932, 20936, 20949, 50220,
                            50221, 50222, 50225, 51932, 51936, 51949, 51950, 52936, 54936};
  const auto convertBoth = [&] {
    for (const int page : kPages) {
      converted(page, kUtf8, "a");
      converted(kUtf8, page, "a");
    }
  };
  const Counted counted = inNewThread([&] {
    for (int i = 0; i < 20; ++i) convertBoth();
  });
  EXPECT_LE(counted.opened, 36);
  EXPECT_EQ(counted.closed, 0);
  EXPECT_EQ(counted.leftClosed, counted.opened);
}

}  // namespace
