#include <gtest/gtest.h>

#include <string>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ProgramPages.h"
#include "harness/TempDir.h"
#include "limits/Limit.h"
#include "support/ExtPtrArray.h"
#include "support/LogBase.h"
#include "support/XString.h"

// Canonical forms, code pages, encoded words, ISO-2022 runs and files at the longest content, which
// is 1 MiB in this build.

namespace {

using harness::bytesOf;
using harness::holds;
using harness::kMost;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
using harness::ProgramPages;

// The sizes of results just below the limit, at it and just above.
constexpr unsigned int kSizes[] = {kMost - 1, kMost, kMost + 1};

std::string repeated(const std::string& text, std::size_t n) {
  std::string all;
  all.reserve(n * text.size());
  while (n-- > 0) all += text;
  return all;
}

// Expects that the result of `size` bytes replaces the content when it fits.
void expectFits(StringBuffer& buffer, const ModelBuffer& before, const std::string& result) {
  if (result.size() <= kMost) {
    EXPECT_TRUE(holds(buffer, result));
  } else {
    EXPECT_TRUE(matches(buffer, before)) << result.size();
  }
}

TEST(AwsCanonicalAtTheLimit, AFormThatCannotFitChangesNothing) {
  for (const unsigned int size : kSizes) {
    for (const unsigned int spaces : {1U, 1000U, kMost / 3}) {
      const std::string plain(size - 3 * spaces, 'a');
      StringBuffer buffer((plain + std::string(spaces, ' ')).c_str());
      const ModelBuffer before = modelOf(buffer);
      EXPECT_EQ(buffer.awsNormalizeUriUtf8(), size <= kMost) << size << ", " << spaces;
      expectFits(buffer, before, plain + repeated("%20", spaces));
      if (size <= kMost) {
        EXPECT_EQ(buffer.heapUsage(), size + 1);
      }
    }
  }
}

// The added bytes are counted twice as long as that fits.
TEST(AwsCanonicalAtTheLimit, TheBlockIsExactWhereTheAddedBytesDoNotFitTwice) {
  constexpr unsigned int kSpaces = 1000;
  constexpr unsigned int kAdded = 2 * kSpaces;
  for (const unsigned int capacity : {kMost, kMost + 1, kMost + 2}) {
    const unsigned int size = capacity - 4 - kAdded;
    StringBuffer buffer((std::string(size - 3 * kSpaces, 'a') + std::string(kSpaces, ' ')).c_str());
    EXPECT_TRUE(buffer.awsNormalizeQueryParams());
    EXPECT_EQ(buffer.getSize(), size);
    EXPECT_EQ(buffer.heapUsage(), capacity <= kMost + 1 ? capacity : size + 1);
  }
}

TEST(ConvertEncodingAtTheLimit, AResultThatCannotFitLeavesTheOldTextAndLogsNothing) {
  for (const unsigned int size : kSizes) {
    const std::string odd(size % 2, 'x');
    StringBuffer buffer((odd + std::string(size / 2, '\xE9')).c_str());
    const ModelBuffer before = modelOf(buffer);
    LogBase log;
    EXPECT_EQ(buffer.convertEncoding(1252, 65001, log), size <= kMost);
    expectFits(buffer, before, odd + repeated("\xC3\xA9", size / 2));
    EXPECT_EQ(log.errorCount(), 0U);
  }
}

TEST(ReplaceCharUtf8AtTheLimit, AResultThatCannotFitLeavesTheOldText) {
  const ProgramPages western(1252);
  for (const unsigned int size : kSizes) {
    const std::string start = "\xC3\xA9" + std::string(size % 2, 'x');
    const std::size_t slashes = (size - start.size()) / 2;
    StringBuffer buffer((start + std::string(slashes, '/')).c_str());
    const ModelBuffer before = modelOf(buffer);
    buffer.replaceCharUtf8('/', '\xE9');
    expectFits(buffer, before, start + repeated("\xC3\xA9", slashes));
  }
}

TEST(QbDecodeAtTheLimit, WordsThatCannotFitStay) {
  constexpr unsigned int kGroups = 1000;
  const std::string word = "=?windows-1252?B?" + repeated("gICA", kGroups) + "?=";
  for (const unsigned int size : kSizes) {
    const std::string plain(size - 9 * kGroups, 'x');
    StringBuffer buffer((plain + word).c_str());
    const ModelBuffer before = modelOf(buffer);
    LogBase log;
    EXPECT_TRUE(buffer.qbDecode(log));
    expectFits(buffer, before, plain + repeated("\xE2\x82\xAC", 3 * kGroups));
    ASSERT_EQ(log.errorCount(), size <= kMost ? 0U : 1U);
    if (size > kMost) {
      EXPECT_STREQ(log.errorAt(0), "Out of memory");
    }
  }
}

// Room is made for what may be left, not for every placeholder beside every run.
TEST(Iso2022AtTheLimit, RunsAreTakenOutOfTheLongestText) {
  const std::string run = "\x1B$B" + std::string(94, 'r') + "\x1B(B";
  const std::string plain(kMost - 1000 * run.size(), 'x');
  StringBuffer buffer((plain + repeated(run, 1000)).c_str());
  ASSERT_EQ(buffer.getSize(), kMost);
  ExtPtrArray runs;
  buffer.iso2022Replace(runs);
  EXPECT_EQ(runs.getSize(), 1000);
  EXPECT_LT(buffer.getSize(), kMost);
  buffer.iso2022Restore(runs);
  EXPECT_TRUE(holds(buffer, plain + repeated(run, 1000)));
}

TEST(Iso2022AtTheLimit, PlaceholdersThatCannotFitChangeNothing) {
  const std::string run = "\x1B$B\x1B(B";
  const std::string placeholder = "DV_ISO2022_1";
  for (const unsigned int size : kSizes) {
    const std::string plain(size - placeholder.size(), 'x');
    StringBuffer buffer((plain + run).c_str());
    const ModelBuffer before = modelOf(buffer);
    ExtPtrArray runs;
    buffer.iso2022Replace(runs);
    expectFits(buffer, before, plain + placeholder);
    EXPECT_EQ(runs.getSize(), size <= kMost ? 1 : 0);
  }
}

// What does not fit is missing afterwards: the text behind the run, or the run itself.
TEST(Iso2022AtTheLimit, WhatCannotFitIsMissing) {
  const std::string start(10, 'a');
  const std::string end(20, 'b');
  for (const unsigned int size : {kMost - 1, kMost, kMost + 1, kMost + 20, kMost + 21}) {
    const std::string run(size - start.size() - end.size(), 'r');
    ExtPtrArray runs;
    ASSERT_TRUE(runs.appendPtr(StringBuffer::createNewSB(run.c_str())));
    StringBuffer buffer((start + "DV_ISO2022_1" + end).c_str());
    buffer.iso2022Restore(runs);
    std::string left = start;
    if (size <= kMost + 20) left += run;
    if (size <= kMost || size > kMost + 20) left += end;
    EXPECT_TRUE(holds(buffer, left)) << size;
  }
}

// Four bytes more than the file has must fit.
TEST(LoadFromFileAtTheLimit, AFileThatCannotFitIsRefused) {
  const harness::TempDir dir;
  for (const std::string& earlier : {std::string(), std::string(1000, 'e')}) {
    for (const unsigned int size : kSizes) {
      const std::string file(size - 4 - earlier.size(), 'x');
      XString path;
      ASSERT_TRUE(path.setFromUtf8(dir.file("file", file).c_str()));
      StringBuffer buffer(earlier.c_str());
      LogBase log;
      EXPECT_EQ(buffer.loadFromFile(path, &log), size <= kMost);
      EXPECT_TRUE(holds(buffer, size <= kMost ? earlier + file : earlier));
      ASSERT_EQ(log.errorCount(), size <= kMost ? 0U : 1U);
      if (size > kMost) {
        EXPECT_STREQ(log.errorAt(0), "Out of memory reading file into string m_buffer");
        EXPECT_STREQ(log.valueOf("fileSize"), std::to_string(file.size()).c_str());
      }
    }
  }
}

}  // namespace
