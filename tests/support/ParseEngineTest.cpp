#include "support/ParseEngine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"

namespace {

using harness::holds;

TEST(ParseEngine, IsEmptyAtFirst) {
  ParseEngine engine;
  StringBuffer out;
  EXPECT_TRUE(engine.atEnd());
  EXPECT_STREQ(engine.getText(), "");
  EXPECT_EQ(engine.getSize(), 0U);
  EXPECT_FALSE(engine.captureToNext("x", out));
  EXPECT_TRUE(engine.seekAndCopy("x", out));
  EXPECT_TRUE(holds(out, ""));
}

TEST(ParseEngine, CopiesItsText) {
  ParseEngine engine;
  std::string text = "abc";
  EXPECT_TRUE(engine.setString(text.c_str()));
  text = "xyz";
  EXPECT_STREQ(engine.getText(), "abc");
  EXPECT_EQ(engine.getSize(), 3U);
  EXPECT_EQ(engine.getPosition(), 0U);
  EXPECT_FALSE(engine.atEnd());
  EXPECT_TRUE(engine.setString(engine.getText() + 1));
  EXPECT_STREQ(engine.getText(), "bc");
  EXPECT_TRUE(engine.setString(nullptr));
  EXPECT_STREQ(engine.getText(), "");
  EXPECT_TRUE(engine.atEnd());
}

TEST(ParseEngine, StartsAgainWithANewText) {
  ParseEngine engine;
  StringBuffer out;
  ASSERT_TRUE(engine.setString("ab;cd"));
  EXPECT_TRUE(engine.seekAndCopy(";", out));
  ASSERT_TRUE(engine.setString("ef;gh"));
  EXPECT_EQ(engine.getPosition(), 0U);
  EXPECT_TRUE(engine.captureToNext(";", out));
  EXPECT_TRUE(holds(out, "ab;ef"));
}

TEST(ParseEngine, CapturesUpToTheMarker) {
  ParseEngine engine;
  ASSERT_TRUE(engine.setString("one--two--three"));
  StringBuffer out(">");
  EXPECT_TRUE(engine.captureToNext("--", out));
  EXPECT_TRUE(holds(out, ">one"));
  EXPECT_EQ(engine.getPosition(), 3U);
  EXPECT_TRUE(engine.captureToNext("--", out)) << "an occurrence at the cursor is the next one";
  EXPECT_TRUE(holds(out, ">one"));
  EXPECT_EQ(engine.getPosition(), 3U);
  EXPECT_FALSE(engine.captureToNext("==", out));
  EXPECT_TRUE(holds(out, ">one"));
  EXPECT_STREQ(engine.getRest(), "--two--three");
}

TEST(ParseEngine, CopiesThroughTheMarker) {
  ParseEngine engine;
  ASSERT_TRUE(engine.setString("one--two--three"));
  StringBuffer out(">");
  EXPECT_TRUE(engine.seekAndCopy("--", out));
  EXPECT_TRUE(holds(out, ">one--"));
  EXPECT_EQ(engine.getPosition(), 5U);
  EXPECT_TRUE(engine.seekAndCopy("--", out));
  EXPECT_TRUE(holds(out, ">one--two--"));
  EXPECT_TRUE(engine.seekAndCopy("--", out));
  EXPECT_TRUE(holds(out, ">one--two--three"));
  EXPECT_TRUE(engine.atEnd());
}

TEST(ParseEngine, EndsBehindAMarkerAtTheEnd) {
  ParseEngine engine;
  ASSERT_TRUE(engine.setString("a;"));
  StringBuffer out;
  EXPECT_TRUE(engine.seekAndCopy(";", out));
  EXPECT_TRUE(engine.atEnd());
  EXPECT_TRUE(holds(out, "a;"));
}

TEST(ParseEngine, FindsNoEmptyMarker) {
  for (const char* marker : {"", static_cast<const char*>(nullptr)}) {
    ParseEngine engine;
    ASSERT_TRUE(engine.setString("abc"));
    StringBuffer out;
    EXPECT_FALSE(engine.captureToNext(marker, out));
    EXPECT_EQ(engine.getPosition(), 0U);
    EXPECT_TRUE(engine.seekAndCopy(marker, out));
    EXPECT_TRUE(holds(out, "abc"));
    EXPECT_TRUE(engine.atEnd());
  }
}

TEST(ParseEngine, TakesTheMarkerFromTheOutputOrItsOwnText) {
  ParseEngine engine;
  ASSERT_TRUE(engine.setString((std::string(300, '.') + "--x").c_str()));
  StringBuffer out("--");
  EXPECT_TRUE(engine.captureToNext(out.getString(), out));
  EXPECT_TRUE(holds(out, "--" + std::string(300, '.')));
  EXPECT_TRUE(engine.seekAndCopy(engine.getText() + 302, out));
  EXPECT_TRUE(holds(out, "--" + std::string(300, '.') + "--x"));
}

TEST(ParseEngine, MovesOnWhenTheOutputCannotGrow) {
  const std::string piece(300, 'p');
  ParseEngine engine;
  ASSERT_TRUE(engine.setString((piece + ";" + piece + ";").c_str()));
  StringBuffer out;
  bool captured = false;
  bool copied = true;
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    captured = engine.captureToNext(";", out);
    copied = engine.seekAndCopy(";", out) && engine.seekAndCopy(";", out);
  }
  EXPECT_TRUE(captured);
  EXPECT_FALSE(copied);
  EXPECT_TRUE(engine.atEnd());
  EXPECT_TRUE(holds(out, ";"));
}

TEST(ParseEngine, IsEmptyWhenItsTextFindsNoMemory) {
  ParseEngine engine;
  ASSERT_TRUE(engine.setString("old"));
  bool set = true;
  {
    const harness::FailAllocation fail(1);
    set = engine.setString("new");
  }
  EXPECT_FALSE(set);
  EXPECT_STREQ(engine.getText(), "");
  EXPECT_TRUE(engine.atEnd());
}

TEST(ParseEngine, StaysLinearOverManyMarkers) {
  std::string text;
  for (int i = 0; i < 300000; ++i) text += "ab;";
  ParseEngine engine;
  ASSERT_TRUE(engine.setString(text.c_str()));
  StringBuffer out;
  const auto start = std::chrono::steady_clock::now();
  while (!engine.atEnd()) ASSERT_TRUE(engine.seekAndCopy(";", out));
  EXPECT_TRUE(holds(out, text));
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10);
}

}  // namespace
