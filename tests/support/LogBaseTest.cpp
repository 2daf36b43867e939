#include "support/LogBase.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ReleasedBlocks.h"
#include "support/LogContextExitor.h"
#include "support/LogNull.h"

namespace {

std::string textOf(const LogBase& log) {
  StringBuffer text;
  EXPECT_TRUE(log.toText(text));
  return harness::bytesOf(text);
}

TEST(LogBase, StartsEmpty) {
  const LogBase log;
  EXPECT_EQ(log.errorCount(), 0U);
  EXPECT_EQ(log.valueCount(), 0U);
  EXPECT_EQ(log.contextCount(), 0U);
  EXPECT_EQ(log.errorAt(0), nullptr);
  EXPECT_EQ(log.valueOf("name"), nullptr);
  EXPECT_FALSE(log.hasContext("name"));
  EXPECT_EQ(textOf(log), "");
}

TEST(LogBase, RecordsATreeInOrder) {
  LogBase log;
  log.LogError("first");
  {
    const LogContextExitor outer(log, "outer");
    log.LogData("name", "value");
    {
      const LogContextExitor inner(log, "inner");
      log.LogError("second");
    }
    log.LogDataLong("size", -17);
  }
  log.LogDataLong("last", 5);
  EXPECT_EQ(textOf(log),
            "error: first\n"
            "outer:\n"
            "  name: value\n"
            "  inner:\n"
            "    error: second\n"
            "  size: -17\n"
            "last: 5\n");
  EXPECT_EQ(log.errorCount(), 2U);
  EXPECT_EQ(log.valueCount(), 3U);
  EXPECT_EQ(log.contextCount(), 2U);
  EXPECT_STREQ(log.errorAt(0), "first");
  EXPECT_STREQ(log.errorAt(1), "second");
  EXPECT_EQ(log.errorAt(2), nullptr);
  EXPECT_TRUE(log.hasContext("inner"));
  EXPECT_FALSE(log.hasContext("name"));
}

TEST(LogBase, LooksUpTheLastValueOfAName) {
  LogBase log;
  log.LogData("a", "1");
  log.LogData("b", "2");
  log.LogData("a", "3");
  log.LogError("a");
  EXPECT_STREQ(log.valueOf("a"), "3");
  EXPECT_STREQ(log.valueOf("b"), "2");
  EXPECT_EQ(log.valueOf("c"), nullptr);
  EXPECT_EQ(log.valueOf(nullptr), nullptr);
}

TEST(LogBase, TakesNullAsTheEmptyText) {
  LogBase log;
  const LogContextExitor context(log, nullptr);
  log.LogError(nullptr);
  log.LogData(nullptr, nullptr);
  EXPECT_EQ(textOf(log), ":\n  error: \n  : \n");
  EXPECT_STREQ(log.valueOf(nullptr), "");
  EXPECT_STREQ(log.valueOf(""), "");
  EXPECT_TRUE(log.hasContext(nullptr));
}

TEST(LogBase, WritesTheBordersOfLong) {
  LogBase log;
  for (const long value : {LONG_MIN, LONG_MAX, 0L}) {
    log.LogDataLong("n", value);
    EXPECT_EQ(log.valueOf("n"), std::to_string(value));
  }
}

TEST(LogBase, KeepsCopiesOfItsTexts) {
  LogBase log;
  std::string name = "name";
  std::string value = "value";
  log.LogData(name.c_str(), value.c_str());
  name = "xxxx";
  value = "yyyyy";
  EXPECT_STREQ(log.valueOf("name"), "value");
}

TEST(LogBase, LetsNoTextImitateALine) {
  LogBase log;
  log.LogError("a\nerror: b\r\tc\\d\x01\x7F\xC3\xA9");
  log.LogData("x\ny", "\n");
  EXPECT_EQ(textOf(log),
            "error: a\\nerror: b\\r\\tc\\\\d\\x01\\x7F\xC3\xA9\n"
            "x\\ny: \\n\n");
}

TEST(LogBase, EscapesExactlyControlsAndBackslashes) {
  for (int c = 1; c < 256; ++c) {
    LogBase log;
    const char text[] = {static_cast<char>(c), 0};
    log.LogError(text);
    const bool escaped = c < 0x20 || c == 0x7F || c == '\\';
    EXPECT_EQ(textOf(log) == std::string("error: ") + text + "\n", !escaped) << c;
  }
}

TEST(LogBase, ForgetsContextsThatRecordedNothing) {
  LogBase log;
  {
    const LogContextExitor outer(log, "outer");
    { const LogContextExitor inner(log, "inner"); }
    EXPECT_EQ(log.contextCount(), 1U);
    EXPECT_FALSE(log.hasContext("inner"));
    EXPECT_EQ(textOf(log), "outer:\n");
  }
  EXPECT_EQ(log.contextCount(), 0U);
  EXPECT_EQ(textOf(log), "");
}

TEST(LogBase, ForgetsEverythingWhenCleared) {
  LogBase log;
  {
    const LogContextExitor context(log, "context");
    log.LogError("error");
    log.LogData("name", "value");
    log.clear();
    EXPECT_EQ(textOf(log), "");
    EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
    EXPECT_EQ(log.valueOf("name"), nullptr);
    log.LogError("inside");
  }
  log.LogError("outside");
  EXPECT_EQ(textOf(log), "  error: inside\nerror: outside\n");
}

TEST(LogBase, ToTextAppends) {
  LogBase log;
  log.LogError("e");
  StringBuffer out("before: ");
  EXPECT_TRUE(log.toText(out));
  EXPECT_TRUE(harness::holds(out, "before: error: e\n"));
}

class Collector : public LogBase {
 public:
  void LogError(const char* text) override { lines.push_back(text); }
  void LogData(const char* name, const char* value) override {
    lines.push_back(std::string(name) + "=" + value);
  }
  std::vector<std::string> lines;
};

TEST(LogBase, SendsEntriesToADerivedLogAndKeepsNone) {
  Collector log;
  const long before = harness::liveBlocks();
  {
    const LogContextExitor context(log, "context");
    static_cast<LogBase&>(log).LogError("error");
    log.LogDataLong("n", 42);
  }
  EXPECT_EQ(log.lines, (std::vector<std::string>{"error", "n=42"}));
  std::vector<std::string>().swap(log.lines);
  EXPECT_EQ(harness::liveBlocks(), before);
}

class Tracer : public LogBase {
 public:
  std::string trace;

 protected:
  void enterContext(const char* name) override { trace += std::string("<") + name; }
  void leaveContext() override { trace += ">"; }
};

TEST(LogBase, LetsADerivedLogFollowContexts) {
  Tracer log;
  {
    const LogContextExitor outer(log, "a");
    const LogContextExitor inner(log, "b");
  }
  EXPECT_EQ(log.trace, "<a<b>>");
}

TEST(LogBase, LeavesOutWhatFindsNoMemory) {
  const long before = harness::liveBlocks();
  {
    LogBase log;
    const long failed =
        harness::failEveryAllocation([&] { log.clear(); },
                                     [&] {
                                       const LogContextExitor context(log, "context");
                                       log.LogError("error");
                                       log.LogData("name", "value");
                                     },
                                     [&] {
                                       std::string expected;
                                       if (log.hasContext("context")) expected += "context:\n";
                                       if (log.errorCount() == 1) expected += "  error: error\n";
                                       if (log.valueCount() == 1) expected += "  name: value\n";
                                       EXPECT_EQ(textOf(log), expected);
                                     });
    EXPECT_EQ(failed, 6);
  }
  EXPECT_EQ(harness::liveBlocks(), before);
}

TEST(LogBase, ReportsThatTheTextFindsNoMemory) {
  LogBase log;
  const LogContextExitor outer(log, "outer");
  const LogContextExitor inner(log, std::string(90, 'c').c_str());
  for (int i = 0; i < 30; ++i) log.LogError(std::string(200, i % 2 == 0 ? 'e' : '\n').c_str());
  const std::string expected = textOf(log);
  StringBuffer out;
  bool done = false;
  const long failed = harness::failEveryAllocation(
      [&] { out.clear(); }, [&] { done = log.toText(out); },
      [&] {
        EXPECT_EQ(done, harness::bytesOf(out) == expected);
        EXPECT_EQ(harness::bytesOf(out), expected.substr(0, out.getSize()));
        EXPECT_TRUE(harness::invariantsHold(out));
      });
  EXPECT_GT(failed, 3);
}

TEST(LogNull, DiscardsEverything) {
  LogNull log;
  const harness::FailAllocation count(0);
  {
    const LogContextExitor context(log, "context");
    log.LogError("error");
    log.LogData("name", "value");
    log.LogDataLong("n", 1);
  }
  EXPECT_EQ(count.seen(), 0);
  EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
  EXPECT_EQ(log.valueOf("n"), nullptr);
}

// ---- Former bugs ----

// The texts that a log holds of secrets are gone before their memory is.
TEST(LogBase, WipesWhatWasRecordedInASecretContext) {
  LogBase log;
  {
    const LogContextExitor plain(log, "plain");
    log.LogData("plain", "plain");
    EXPECT_FALSE(log.isSecret());
    const LogContextExitor hidden(log, "hidden", true);
    EXPECT_TRUE(log.isSecret());
    log.LogError("secret");
    log.LogDataLong("secret", 7);
    const LogContextExitor inner(log, "secret");
    EXPECT_TRUE(log.isSecret());
    log.LogData("", "secret");
  }
  EXPECT_FALSE(log.isSecret());
  log.LogError("plain");
  EXPECT_EQ(textOf(log),
            "plain:\n  plain: plain\n  hidden:\n    error: secret\n    secret: 7\n"
            "    secret:\n      : secret\nerror: plain\n");
  int wiped = 0;
  int plain = 0;
  for (const std::string& block : harness::releasedBy([&] { log.clear(); })) {
    EXPECT_EQ(block.find("secret"), std::string::npos);
    wiped += harness::isZero(block) ? 1 : 0;
    plain += block.find("plain") == std::string::npos ? 0 : 1;
  }
  EXPECT_EQ(wiped, 4) << "the error, two values and the inner context";
  EXPECT_EQ(plain, 3);
}

TEST(LogBase, WipesWhatAnEmptySecretContextLeaves) {
  LogBase log;
  const LogContextExitor outer(log, "outer", true);
  for (const std::string& block :
       harness::releasedBy([&] { const LogContextExitor empty(log, "secret"); }))
    EXPECT_TRUE(harness::isZero(block));
}

}  // namespace
