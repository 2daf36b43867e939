#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/SplitReference.h"
#include "harness/Stopwatch.h"
#include "support/ExtPtrArraySb.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::splitting;
using harness::fill;
using harness::holds;
using harness::invariantsHold;
using harness::secondsOf;
using harness::stateOf;
using reference::Honour;
using reference::Pieces;
using Texts = std::vector<std::string>;

constexpr Honour kNeither{false, false};
constexpr Honour kQuotes{true, false};
constexpr Honour kEscapes{false, true};
constexpr Honour kBoth{true, true};
constexpr Honour kAllHonours[] = {kNeither, kQuotes, kEscapes, kBoth};

// One member with its arguments, beside what it has to produce.
struct Cutter {
  std::string name;
  std::function<bool(const StringBuffer&, ExtPtrArraySb&)> run;
  std::function<Pieces(std::string_view)> expected;
};

std::string named(const char* member, Honour honour) {
  return member + (honour.quotes ? " quotes"s : ""s) + (honour.escapes ? " escapes" : "");
}

Cutter splitBy(char delimiter, Honour honour) {
  return {named("split", honour),
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            return buffer.split(out, delimiter, honour.quotes, honour.escapes);
          },
          [=](std::string_view content) { return reference::split(content, delimiter, honour); }};
}

Cutter split2By(const std::string& delimiters, Honour honour) {
  return {named("split2", honour),
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            return buffer.split2(out, delimiters.c_str(), honour.quotes, honour.escapes);
          },
          [=](std::string_view content) { return reference::split2(content, delimiters, honour); }};
}

Cutter splitAndTrimBy(char delimiter, Honour honour) {
  return {named("splitAndTrim", honour),
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            return buffer.splitAndTrim(out, delimiter, honour.quotes, honour.escapes);
          },
          [=](std::string_view content) {
            return reference::splitAndTrim(content, delimiter, honour);
          }};
}

Cutter splitByLineEndings(Honour honour) {
  return {named("splitByLineEndings", honour),
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            return buffer.splitByLineEndings(out, honour.quotes, honour.escapes);
          },
          [=](std::string_view content) { return reference::splitByLineEndings(content, honour); }};
}

Cutter splitIntoLines(unsigned int ignored = 0) {
  return {"splitIntoLines",
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            return buffer.splitIntoLines(out, ignored);
          },
          reference::splitIntoLines};
}

Cutter splitUsing(const std::string& boundary, int maxPieces) {
  return {"splitUsingBoundary '" + boundary + "' " + std::to_string(maxPieces),
          [=](const StringBuffer& buffer, ExtPtrArraySb& out) {
            StringBuffer text(boundary.c_str());
            return buffer.splitUsingBoundary(text, out, maxPieces) && holds(text, boundary.c_str());
          },
          [=](std::string_view content) {
            return reference::splitUsingBoundary(content, boundary, maxPieces);
          }};
}

// Every member, cutting at commas or (the two that know only these) at line ends.
std::vector<Cutter> cuttersAtCommas() {
  std::vector<Cutter> cutters;
  for (const Honour honour : kAllHonours) {
    cutters.push_back(splitBy(',', honour));
    cutters.push_back(split2By(";,", honour));
    cutters.push_back(splitAndTrimBy(',', honour));
  }
  cutters.push_back(splitUsing(",", 0));
  return cutters;
}

std::vector<Cutter> cuttersAtLineEnds() {
  std::vector<Cutter> cutters{splitIntoLines(), splitUsing("\n", 0)};
  for (const Honour honour : kAllHonours) {
    cutters.push_back(splitBy('\n', honour));
    cutters.push_back(split2By("\r\n", honour));
    cutters.push_back(splitByLineEndings(honour));
  }
  return cutters;
}

std::vector<Cutter> allCutters() {
  std::vector<Cutter> cutters = cuttersAtCommas();
  for (const Cutter& cutter : cuttersAtLineEnds()) cutters.push_back(cutter);
  return cutters;
}

Texts contentsOf(const Pieces& pieces) {
  Texts texts;
  for (const auto& piece : pieces) texts.push_back(piece.content);
  return texts;
}

Texts contentsOf(const ExtPtrArraySb& array) {
  Texts texts;
  for (int i = 0; i < array.getSize(); ++i) texts.push_back(harness::bytesOf(*array.sbAt(i)));
  return texts;
}

// Compares the elements of an array from `first` on, with their storage.
testing::AssertionResult arrayHolds(const ExtPtrArraySb& array, int first, const Pieces& pieces) {
  const auto count = static_cast<std::size_t>(array.getSize() - first);
  if (count != pieces.size())
    return testing::AssertionFailure() << count << " pieces instead of " << pieces.size() << ": "
                                       << testing::PrintToString(contentsOf(array));
  for (std::size_t i = 0; i < count; ++i) {
    StringBuffer* piece = array.sbAt(first + static_cast<int>(i));
    if (piece == nullptr) return testing::AssertionFailure() << "piece " << i << " is null";
    const testing::AssertionResult same =
        holds(*piece, pieces[i].content, pieces[i].storage.capacity, pieces[i].storage.extendSize);
    if (!same) return testing::AssertionFailure() << "piece " << i << ": " << same.message();
  }
  return testing::AssertionSuccess();
}

// Cuts content: the buffer stays as it is, what the array held before stays, and behind it come
// the expected pieces.
testing::AssertionResult cuts(const Cutter& cutter, std::string_view content) {
  StringBuffer buffer;
  fill(buffer, content);
  const harness::BufferState before = stateOf(buffer);
  ExtPtrArraySb out;
  StringBuffer* kept = StringBuffer::createNewSB("kept");
  out.appendPtr(kept);
  if (!cutter.run(buffer, out)) return testing::AssertionFailure() << cutter.name << " is false";
  if (!(stateOf(buffer) == before))
    return testing::AssertionFailure() << cutter.name << " changed the buffer";
  if (out.sbAt(0) != kept || !holds(*kept, "kept"))
    return testing::AssertionFailure() << cutter.name << " changed the array";
  const testing::AssertionResult same = arrayHolds(out, 1, cutter.expected(content));
  if (same) return same;
  return testing::AssertionFailure()
         << cutter.name << " of " << testing::PrintToString(std::string(content.substr(0, 200)))
         << ": " << same.message();
}

// As cuts(), with the contents of the pieces written out.
testing::AssertionResult gives(const Cutter& cutter, std::string_view content,
                               const Texts& pieces) {
  if (contentsOf(cutter.expected(content)) != pieces)
    return testing::AssertionFailure()
           << "the reference gives " << testing::PrintToString(cutter.expected(content).size());
  return cuts(cutter, content);
}

void expectCuts(const std::vector<Cutter>& cutters, const Texts& contents) {
  for (const Cutter& cutter : cutters)
    for (const std::string& content : contents) ASSERT_TRUE(cuts(cutter, content));
}

// ---- What holds for every member ----------------------------------------------------------------

TEST(SplitTest, EmptyBufferAddsNothing) {
  for (const Cutter& cutter : allCutters()) EXPECT_TRUE(gives(cutter, "", {}));
}

TEST(SplitTest, EmptiedBufferOnTheHeapAddsNothing) {
  for (const Cutter& cutter : allCutters()) {
    StringBuffer buffer(std::string(100, ',').c_str());
    buffer.weakClear();
    ExtPtrArraySb out;
    EXPECT_TRUE(cutter.run(buffer, out)) << cutter.name;
    EXPECT_EQ(out.getSize(), 0) << cutter.name;
  }
}

TEST(SplitTest, ContentThatBeginsWithNulGivesOneEmptyPiece) {
  for (const std::string& content :
       {"\0"s, "\0\0"s, "\0a,b"s, "\0,"s, "\0"s + std::string(300, ',')})
    for (const Honour honour : kAllHonours) {
      EXPECT_TRUE(gives(splitBy(',', honour), content, {""}));
      EXPECT_TRUE(gives(split2By(",", honour), content, {""}));
      EXPECT_TRUE(gives(splitAndTrimBy(',', honour), content, {""}));
      EXPECT_TRUE(gives(splitByLineEndings(honour), content, {""}));
    }
}

TEST(SplitTest, ContentThatBeginsWithNulGivesNoLineAndNoBoundaryPiece) {
  for (const std::string& content : {"\0"s, "\0\0"s, "\0a,b"s, "\0\n"s, "\0\r\n-"s}) {
    EXPECT_TRUE(gives(splitIntoLines(), content, {}));
    for (const int maxPieces : {0, 1, -1}) {
      EXPECT_TRUE(gives(splitUsing("-", maxPieces), content, {}));
      EXPECT_TRUE(gives(splitUsing("", maxPieces), content, {}));
    }
  }
}

TEST(SplitTest, TextEndsAtTheFirstNul) {
  for (const Cutter& cutter : cuttersAtCommas())
    EXPECT_TRUE(gives(cutter, "a,b\0c,d"s, {"a", "b"}));
  for (const Cutter& cutter : cuttersAtLineEnds())
    EXPECT_TRUE(gives(cutter, "a\nb\0c\nd"s, {"a", "b"}));
  EXPECT_TRUE(gives(splitBy(',', kNeither), "a,\0b"s, {"a", ""}));
  EXPECT_TRUE(gives(splitUsing(",", 0), "a,\0,b"s, {"a"}));
  EXPECT_TRUE(gives(splitIntoLines(), "a\r\0\nb"s, {"a", ""}));
  EXPECT_TRUE(gives(splitByLineEndings(kNeither), "a\r\0\nb"s, {"a", ""}));
}

TEST(SplitTest, NulsAtTheEndDoNotCount) {
  for (const Cutter& cutter : cuttersAtCommas()) EXPECT_TRUE(gives(cutter, "a\0\0"s, {"a"}));
  for (const Cutter& cutter : cuttersAtLineEnds()) EXPECT_TRUE(gives(cutter, "a\0\0"s, {"a"}));
}

TEST(SplitTest, NewPiecesFollowTheEarlierElements) {
  StringBuffer buffer("a,b");
  ExtPtrArraySb out;
  for (int round = 0; round < 3; ++round) EXPECT_TRUE(buffer.split(out, ',', false, false));
  EXPECT_TRUE(buffer.split2(out, ",", false, false));
  EXPECT_EQ(contentsOf(out), (Texts{"a", "b", "a", "b", "a", "b", "a", "b"}));
}

TEST(SplitTest, BufferMayStandInTheArray) {
  for (const Cutter& cutter : allCutters()) {
    ExtPtrArraySb out;
    StringBuffer* buffer = StringBuffer::createNewSB("a,b\nc,d");
    out.appendPtr(buffer);
    ASSERT_TRUE(cutter.run(*buffer, out));
    EXPECT_EQ(out.sbAt(0), buffer);
    EXPECT_TRUE(holds(*buffer, "a,b\nc,d"));
    EXPECT_TRUE(arrayHolds(out, 1, cutter.expected("a,b\nc,d"))) << cutter.name;
  }
}

// Bytes reach a piece in blocks of 255, which shows in its storage; a piece moves to the heap at
// 82 bytes, and minimising acts on a slack of more than 256.
TEST(SplitTest, PieceSizesAtEveryBorder) {
  const std::size_t sizes[] = {0,    1,    79,   80,   81,   82,   83,   84,   254,  255,
                               256,  257,  457,  458,  459,  509,  510,  511,  512,  713,
                               714,  764,  765,  766,  767,  863,  864,  865,  866,  1019,
                               1020, 1021, 1122, 1274, 1275, 1276, 1277, 1529, 1530, 1531,
                               1580, 1581, 1582, 1784, 1785, 1786, 5000};
  const auto expectAll = [&](const std::vector<Cutter>& cutters, const std::string& delimiter) {
    for (const std::size_t size : sizes) {
      const std::string piece(size, 'x');
      expectCuts(cutters, {piece, piece + delimiter, delimiter + piece + delimiter + "y",
                           piece + delimiter + piece});
    }
  };
  expectAll(cuttersAtCommas(), ",");
  expectAll(cuttersAtLineEnds(), "\n");
  expectAll({splitUsing("--", 0), splitUsing("--", 2)}, "--");
  expectAll({splitIntoLines(), splitByLineEndings(kBoth)}, "\r\n");
}

TEST(SplitTest, SpecialBytesAroundAFullBlock) {
  std::vector<Cutter> cutters = allCutters();
  cutters.push_back(splitUsing("--", 0));
  for (const char* special : {"\\,\"a,b\",\r\nc", "\"\r\n,\",\r\n", "--,\\", "\r\n\\\r\n\"\n,"})
    for (std::size_t size = 248; size < 260; ++size)
      expectCuts(cutters, {std::string(size, 'x') + special + std::string(size, 'y')});
}

TEST(SplitTest, AllShortTextsAgreeWithTheReference) {
  expectCuts(cuttersAtCommas(), harness::allStrings("a,\"\\", 5));
  expectCuts(cuttersAtLineEnds(), harness::allStrings("a\r\n\"\\", 4));
  expectCuts({splitByLineEndings(kNeither), splitIntoLines()}, harness::allStrings("a\r\n", 7));
  expectCuts({splitAndTrimBy(',', kNeither), splitAndTrimBy(',', kBoth)},
             harness::allStrings("a, \"\n", 5));
}

TEST(SplitTest, AllShortContentsWithNulsAgreeWithTheReference) {
  expectCuts(cuttersAtCommas(), harness::allStrings("a,\0"s, 5));
  expectCuts(cuttersAtLineEnds(), harness::allStrings("a\r\n\0"s, 4));
}

TEST(SplitTest, RandomTextsAgreeWithTheReference) {
  const std::string mostlyText = std::string(150, 'x') + ",;\r\n\"\\ \t-";
  const std::string mixed = "x,,;\r\r\n\n\"\\ \t-" + std::string(1, '\xE9');
  std::vector<Cutter> cutters = allCutters();
  cutters.push_back(splitUsing("--", 3));
  for (unsigned long long seed = 1; seed <= 12; ++seed) {
    expectCuts(cutters, {harness::randomText(seed, 400 * seed, mostlyText),
                         harness::randomText(seed, 40 * seed, mixed)});
  }
}

// ---- split --------------------------------------------------------------------------------------

TEST(SplitTest, ListedCases) {
  const Cutter plain = splitBy(',', kNeither);
  EXPECT_TRUE(gives(plain, "a,,b", {"a", "", "b"}));
  EXPECT_TRUE(gives(plain, "a,", {"a", ""}));
  EXPECT_TRUE(gives(plain, ",", {"", ""}));
  EXPECT_TRUE(gives(plain, ",a", {"", "a"}));
  EXPECT_TRUE(gives(plain, "a", {"a"}));
  EXPECT_TRUE(gives(plain, " a , b ", {" a ", " b "}));
}

TEST(SplitTest, EachDelimiterGivesOnePieceMore) {
  for (const std::size_t delimiters : {1u, 2u, 3u, 10u, 254u, 255u, 256u, 1000u})
    EXPECT_TRUE(gives(splitBy(',', kBoth), std::string(delimiters, ','), Texts(delimiters + 1)));
}

TEST(SplitTest, DelimiterInsideQuotesIsText) {
  const char* text = "x,\"y,z\",w";
  EXPECT_TRUE(gives(splitBy(',', kQuotes), text, {"x", "\"y,z\"", "w"}));
  EXPECT_TRUE(gives(splitBy(',', kNeither), text, {"x", "\"y", "z\"", "w"}));
  EXPECT_TRUE(gives(splitBy(',', kEscapes), text, {"x", "\"y", "z\"", "w"}));
}

TEST(SplitTest, QuotesToggleAndAreKept) {
  const Cutter quotes = splitBy(',', kQuotes);
  EXPECT_TRUE(gives(quotes, "a\"b,c\"d,e", {"a\"b,c\"d", "e"}));
  EXPECT_TRUE(gives(quotes, "\"\",\"\"", {"\"\"", "\"\""}));
  EXPECT_TRUE(gives(quotes, "\"a\"\",b\",c", {"\"a\"\",b\"", "c"}));
  EXPECT_TRUE(gives(quotes, "'a,b'", {"'a", "b'"}));
}

TEST(SplitTest, UnterminatedQuoteRunsToTheEnd) {
  EXPECT_TRUE(gives(splitBy(',', kQuotes), "a,\"b,c,", {"a", "\"b,c,"}));
  EXPECT_TRUE(gives(splitBy(',', kQuotes), "a,b\"", {"a", "b\""}));
}

TEST(SplitTest, EscapedByteIsTextAndTheBackslashIsKept) {
  const Cutter escapes = splitBy(',', kEscapes);
  EXPECT_TRUE(gives(escapes, "a\\,b,c", {"a\\,b", "c"}));
  EXPECT_TRUE(gives(escapes, "a\\\\,b", {"a\\\\", "b"}));
  EXPECT_TRUE(gives(escapes, "a\\\\\\,b", {"a\\\\\\,b"}));
  EXPECT_TRUE(gives(escapes, "\\a,b", {"\\a", "b"}));
  EXPECT_TRUE(gives(escapes, "a,b\\", {"a", "b\\"}));
}

TEST(SplitTest, BackslashIsTextWithoutHonourEscapes) {
  EXPECT_TRUE(gives(splitBy(',', kNeither), "a\\,b", {"a\\", "b"}));
  EXPECT_TRUE(gives(splitBy(',', kQuotes), "\"a\\\",b", {"\"a\\\"", "b"}));
}

TEST(SplitTest, EscapedQuoteDoesNotToggle) {
  EXPECT_TRUE(gives(splitBy(',', kBoth), "\"a\\\",b\",c", {"\"a\\\",b\"", "c"}));
  EXPECT_TRUE(gives(splitBy(',', kBoth), "\\\"a,b", {"\\\"a", "b"}));
  EXPECT_TRUE(gives(splitBy(',', kEscapes), "\"a\\\",b\",c", {"\"a\\\"", "b\"", "c"}));
}

TEST(SplitTest, EscapesWorkInsideQuotes) {
  EXPECT_TRUE(gives(splitBy(',', kBoth), "\"a\\\\\",b", {"\"a\\\\\"", "b"}));
  EXPECT_TRUE(gives(splitBy(',', kBoth), "\"\\,\",b", {"\"\\,\"", "b"}));
}

TEST(SplitTest, HonouredQuoteAsDelimiterNeverCuts) {
  EXPECT_TRUE(gives(splitBy('"', kQuotes), "a\"b\"c", {"a\"b\"c"}));
  EXPECT_TRUE(gives(splitBy('"', kNeither), "a\"b\"c", {"a", "b", "c"}));
  EXPECT_TRUE(gives(splitBy('"', kEscapes), "a\\\"b\"c", {"a\\\"b", "c"}));
}

TEST(SplitTest, HonouredBackslashAsDelimiterNeverCuts) {
  EXPECT_TRUE(gives(splitBy('\\', kEscapes), "a\\b\\\\c", {"a\\b\\\\c"}));
  EXPECT_TRUE(gives(splitBy('\\', kNeither), "a\\b\\\\c", {"a", "b", "", "c"}));
  EXPECT_TRUE(gives(splitBy('\\', kQuotes), "a\\\"b\\c\"", {"a", "\"b\\c\""}));
}

TEST(SplitTest, NulAsDelimiterNeverCuts) {
  EXPECT_TRUE(gives(splitBy('\0', kNeither), "a,b", {"a,b"}));
  EXPECT_TRUE(gives(splitBy('\0', kBoth), "a\0b"s, {"a"}));
}

TEST(SplitTest, EveryByteCanBeTheDelimiter) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    ASSERT_TRUE(
        gives(splitBy(bytes[i], kNeither), bytes, {bytes.substr(0, i), bytes.substr(i + 1)}));
    for (const Honour honour : kAllHonours) ASSERT_TRUE(cuts(splitBy(bytes[i], honour), bytes));
  }
}

TEST(SplitTest, OnlyTheQuoteQuotesAndOnlyTheBackslashEscapes) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string special(1, static_cast<char>(byte));
    const std::string text = "a" + special + ",b" + special + ",c";
    for (const Honour honour : kAllHonours) ASSERT_TRUE(cuts(splitBy(',', honour), text));
  }
}

TEST(SplitTest, PiecesAreMinimised) {
  StringBuffer buffer((std::string(1275, 'x') + "," + std::string(600, 'y')).c_str());
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.split(out, ',', false, false));
  EXPECT_TRUE(holds(*out.sbAt(0), std::string(1275, 'x'), 1276, 918));
  EXPECT_TRUE(holds(*out.sbAt(1), std::string(600, 'y'), 713, 356));
}

// ---- split2 -------------------------------------------------------------------------------------

TEST(Split2Test, AnyByteOfTheSetCuts) {
  EXPECT_TRUE(gives(split2By(",;", kNeither), "a,b;c", {"a", "b", "c"}));
  EXPECT_TRUE(gives(split2By(",;", kNeither), ";,", {"", "", ""}));
  EXPECT_TRUE(gives(split2By(";;,,", kNeither), "a;b,", {"a", "b", ""}));
  EXPECT_TRUE(gives(split2By("\r\n", kNeither), "a\r\nb", {"a", "", "b"}));
}

TEST(Split2Test, QuotesAndEscapesAreHonoured) {
  EXPECT_TRUE(gives(split2By(",;", kQuotes), "a;\"b,c;d\",e", {"a", "\"b,c;d\"", "e"}));
  EXPECT_TRUE(gives(split2By(",;", kEscapes), "a\\;b;c\\,d", {"a\\;b", "c\\,d"}));
  EXPECT_TRUE(gives(split2By("\",", kQuotes), "a\"b,\"c,d", {"a\"b,\"c", "d"}));
  EXPECT_TRUE(gives(split2By("\\,", kEscapes), "a\\b,c", {"a\\b", "c"}));
  EXPECT_TRUE(gives(split2By("\\\"", kNeither), "a\\b\"c", {"a", "b", "c"}));
}

TEST(Split2Test, EmptySetGivesOnePiece) {
  for (const Honour honour : kAllHonours)
    EXPECT_TRUE(gives(split2By("", honour), "a,b\r\n", {"a,b\r\n"}));
}

TEST(Split2Test, NullSetIsTheEmptySet) {
  StringBuffer buffer("a,b");
  ExtPtrArraySb out;
  EXPECT_TRUE(buffer.split2(out, nullptr, true, true));
  EXPECT_EQ(contentsOf(out), Texts{"a,b"});
  StringBuffer empty;
  EXPECT_TRUE(empty.split2(out, nullptr, false, false));
  EXPECT_EQ(out.getSize(), 1);
}

TEST(Split2Test, EveryByteCanStandInTheSet) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::string one(1, bytes[i]);
    const Texts around{bytes.substr(0, i), bytes.substr(i + 1)};
    ASSERT_TRUE(gives(split2By(one, kNeither), bytes, around));
    ASSERT_TRUE(cuts(split2By(bytes.substr(i), kNeither), bytes));
    ASSERT_TRUE(cuts(split2By(bytes.substr(0, i) + bytes.substr(i + 1), kNeither), bytes));
  }
  EXPECT_TRUE(gives(split2By(bytes, kNeither), bytes, Texts(256)));
  for (const Honour honour : kAllHonours) EXPECT_TRUE(cuts(split2By(bytes, honour), bytes + bytes));
}

TEST(Split2Test, PiecesAreNotMinimised) {
  StringBuffer buffer((std::string(1275, 'x') + "," + std::string(82, 'y')).c_str());
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.split2(out, ",", false, false));
  EXPECT_TRUE(holds(*out.sbAt(0), std::string(1275, 'x'), 1837, 918));
  EXPECT_TRUE(holds(*out.sbAt(1), std::string(82, 'y'), 285, 202));
}

// A delimiter set may point anywhere into the storage of the buffer.
testing::AssertionResult cutsAtOwnBytes(StringBuffer& buffer, const char* set) {
  const std::string content = harness::bytesOf(buffer);
  const Pieces expected = reference::split2(content, std::string(set), kNeither);
  const harness::BufferState before = stateOf(buffer);
  ExtPtrArraySb out;
  if (!buffer.split2(out, set, false, false)) return testing::AssertionFailure() << "false";
  if (!(stateOf(buffer) == before)) return testing::AssertionFailure() << "changed";
  return arrayHolds(out, 0, expected);
}

TEST(Split2Test, SetMayPointIntoTheContent) {
  for (const std::string& content : {"a,b;c,;"s, "a,b;c,;" + std::string(100, 'x') + ";"}) {
    StringBuffer buffer(content.c_str());
    for (unsigned int i = 0; i <= buffer.getSize(); ++i)
      ASSERT_TRUE(cutsAtOwnBytes(buffer, buffer.getString() + i)) << i;
  }
}

TEST(Split2Test, SetMayPointBehindTheContent) {
  for (const std::size_t filler : {0u, 300u}) {
    StringBuffer buffer(("a,b;c" + std::string(filler, 'x') + "|,;").c_str());
    const unsigned int end = buffer.getSize() - 3;
    buffer.chopAt(end);
    EXPECT_TRUE(cutsAtOwnBytes(buffer, buffer.getString() + end + 1));
    EXPECT_EQ(reference::split2(harness::bytesOf(buffer), buffer.getString() + end + 1, {}).size(),
              3u);
  }
}

TEST(Split2Test, SetMayPointIntoTheUnusedInlineArray) {
  StringBuffer buffer(",;");
  const char* set = buffer.getString();
  ASSERT_TRUE(buffer.append((std::string(100, 'x') + ",y;z").c_str()));
  ASSERT_NE(buffer.getString(), set);
  EXPECT_TRUE(cutsAtOwnBytes(buffer, set));
}

// ---- splitAndTrim -------------------------------------------------------------------------------

TEST(SplitAndTrimTest, ListedCases) {
  const Cutter trims = splitAndTrimBy(',', kNeither);
  EXPECT_TRUE(gives(trims, " a ,  ", {"a", ""}));
  EXPECT_TRUE(gives(trims, "\t\r\n a b \n\r\t, ,c", {"a b", "", "c"}));
  EXPECT_TRUE(gives(trims, " ", {""}));
  EXPECT_TRUE(gives(trims, ",", {"", ""}));
}

TEST(SplitAndTrimTest, QuotesAndEscapesAreHonoured) {
  EXPECT_TRUE(gives(splitAndTrimBy(',', kQuotes), " \" a , b \" , c ", {"\" a , b \"", "c"}));
  EXPECT_TRUE(gives(splitAndTrimBy(',', kEscapes), " a \\, b , c ", {"a \\, b", "c"}));
}

TEST(SplitAndTrimTest, BlankDelimiterCutsBeforeTheTrimming) {
  EXPECT_TRUE(gives(splitAndTrimBy(' ', kNeither), "a  b ", {"a", "", "b", ""}));
}

TEST(SplitAndTrimTest, ExactlySpaceTabLfAndCrAreTrimmed) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == ',') continue;
    const std::string c(1, static_cast<char>(byte));
    const bool blank = byte == 9 || byte == 10 || byte == 13 || byte == 32;
    const std::string around = c + c + "x" + c + "y" + c;
    ASSERT_TRUE(gives(splitAndTrimBy(',', kNeither), around, {blank ? "x" + c + "y" : around}));
  }
}

TEST(SplitAndTrimTest, EarlierElementsAreTrimmedToo) {
  StringBuffer buffer(" a , b ");
  ExtPtrArraySb out;
  out.appendPtr(StringBuffer::createNewSB(" \tearlier\r\n "));
  out.appendPtr(StringBuffer::createNewSB(" \t\r\n"));
  out.appendPtr(StringBuffer::createNewSB(""));
  EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
  EXPECT_EQ(contentsOf(out), (Texts{"earlier", "", "", "a", "b"}));
  for (int i = 0; i < out.getSize(); ++i) EXPECT_TRUE(invariantsHold(*out.sbAt(i)));
}

TEST(SplitAndTrimTest, EmptyBufferStillTrimsTheArray) {
  StringBuffer buffer;
  ExtPtrArraySb out;
  out.appendPtr(StringBuffer::createNewSB(" a "));
  EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
  EXPECT_EQ(contentsOf(out), Texts{"a"});
}

TEST(SplitAndTrimTest, BufferInTheArrayIsTrimmedToo) {
  ExtPtrArraySb out;
  StringBuffer* buffer = StringBuffer::createNewSB(" a , b ");
  out.appendPtr(buffer);
  EXPECT_TRUE(buffer->splitAndTrim(out, ',', false, false));
  EXPECT_EQ(contentsOf(out), (Texts{"a , b", "a", "b"}));
}

TEST(SplitAndTrimTest, NullEntriesAreSkipped) {
  StringBuffer buffer(" a ");
  ExtPtrArraySb out;
  out.appendPtr(nullptr);
  out.appendPtr(StringBuffer::createNewSB(" x "));
  out.appendPtr(nullptr);
  EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
  ASSERT_EQ(out.getSize(), 4);
  EXPECT_EQ(out.sbAt(0), nullptr);
  EXPECT_TRUE(holds(*out.sbAt(1), "x"));
  EXPECT_EQ(out.sbAt(2), nullptr);
  EXPECT_TRUE(holds(*out.sbAt(3), "a"));
}

TEST(SplitAndTrimTest, TrimmingKeepsTheStorage) {
  ExtPtrArraySb out;
  auto* earlier = StringBuffer::createNewSB((std::string(200, ' ') + "a").c_str());
  out.appendPtr(earlier);
  const unsigned int heap = earlier->heapUsage();
  StringBuffer buffer((std::string(300, '\t') + "b" + std::string(100, ' ')).c_str());
  EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
  EXPECT_TRUE(holds(*earlier, "a", heap, 202));
  EXPECT_TRUE(holds(*out.sbAt(1), "b", 458, 202));
}

TEST(SplitAndTrimTest, TrailingBlanksBecomeNuls) {
  StringBuffer buffer("ab \t\r\n,   ");
  ExtPtrArraySb out;
  EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
  EXPECT_EQ(std::string(out.sbAt(0)->getString(), 6), "ab\0\0\0\0"s);
}

TEST(SplitAndTrimTest, ElementsWithNulsStaySound) {
  for (const std::string& content : {" a\0b "s, "\0 "s, " \0"s, " \0 "s, "a \0 b"s, "\0"s}) {
    StringBuffer buffer("x");
    ExtPtrArraySb out;
    StringBuffer* earlier = StringBuffer::createNewSB();
    out.appendPtr(earlier);
    fill(*earlier, content);
    EXPECT_TRUE(buffer.splitAndTrim(out, ',', false, false));
    EXPECT_TRUE(invariantsHold(*earlier));
    EXPECT_LE(earlier->getSize(), content.size());
    EXPECT_TRUE(holds(*out.sbAt(1), "x"));
  }
}

// ---- splitByLineEndings and splitIntoLines ------------------------------------------------------

TEST(SplitByLineEndingsTest, ListedCases) {
  const Cutter lines = splitByLineEndings(kNeither);
  EXPECT_TRUE(gives(lines, "a\r\nb\n", {"a", "b", ""}));
  EXPECT_TRUE(gives(lines, "a\n\rb", {"a", "", "b"}));
  EXPECT_TRUE(gives(lines, "a\rb", {"a", "b"}));
  EXPECT_TRUE(gives(lines, "a\r\r\nb", {"a", "", "b"}));
  EXPECT_TRUE(gives(lines, "\r\n\r\n", {"", "", ""}));
  EXPECT_TRUE(gives(lines, "\r", {"", ""}));
  EXPECT_TRUE(gives(lines, "a", {"a"}));
}

TEST(SplitByLineEndingsTest, QuotedEndingsAreText) {
  EXPECT_TRUE(gives(splitByLineEndings(kQuotes), "a\"\r\n\r\n\"b\nc", {"a\"\r\n\r\n\"b", "c"}));
  EXPECT_TRUE(gives(splitByLineEndings(kNeither), "\"\n\"", {"\"", "\""}));
  EXPECT_TRUE(gives(splitByLineEndings(kQuotes), "a\r\"\nb\"", {"a", "\"\nb\""}));
  EXPECT_TRUE(gives(splitByLineEndings(kQuotes), "\"a\nb", {"\"a\nb"}));
}

TEST(SplitByLineEndingsTest, EscapedEndingIsText) {
  EXPECT_TRUE(gives(splitByLineEndings(kEscapes), "a\\\nb\nc", {"a\\\nb", "c"}));
  EXPECT_TRUE(gives(splitByLineEndings(kEscapes), "a\\\r\nb", {"a\\\r", "b"}));
  EXPECT_TRUE(gives(splitByLineEndings(kNeither), "a\\\r\nb", {"a\\", "b"}));
  EXPECT_TRUE(gives(splitByLineEndings(kEscapes), "a\r\\\nb", {"a", "\\\nb"}));
}

TEST(SplitByLineEndingsTest, OnlyCrAndLfEndALine) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const bool ending = byte == 10 || byte == 13;
    const Texts pieces = ending ? Texts{"a", "b"} : Texts{"a" + c + "b"};
    ASSERT_TRUE(gives(splitByLineEndings(kNeither), "a" + c + "b", pieces));
    ASSERT_TRUE(gives(splitIntoLines(), "a" + c + "b", pieces));
  }
}

TEST(SplitByLineEndingsTest, PiecesAreMinimised) {
  StringBuffer buffer((std::string(1275, 'x') + "\r\n").c_str());
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.splitByLineEndings(out, true, true));
  EXPECT_TRUE(holds(*out.sbAt(0), std::string(1275, 'x'), 1276, 918));
}

TEST(SplitIntoLinesTest, ListedCases) {
  EXPECT_TRUE(gives(splitIntoLines(), "a\r\n\r\nb", {"a", "", "b"}));
  EXPECT_TRUE(gives(splitIntoLines(), "a\r\r\nb", {"a", "", "b"}));
  EXPECT_TRUE(gives(splitIntoLines(), "a\n\rb", {"a", "", "b"}));
  EXPECT_TRUE(gives(splitIntoLines(), "a\r\n", {"a", ""}));
  EXPECT_TRUE(gives(splitIntoLines(), "\r", {"", ""}));
}

TEST(SplitIntoLinesTest, NumberHasNoEffect) {
  for (const unsigned int number : {0u, 1u, 2u, 81u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    EXPECT_TRUE(gives(splitIntoLines(number), "a\nb\r\nc", {"a", "b", "c"}));
}

TEST(SplitIntoLinesTest, QuotesAndEscapesMeanNothing) {
  EXPECT_TRUE(gives(splitIntoLines(), "\"a\nb\"\\\nc", {"\"a", "b\"\\", "c"}));
}

TEST(SplitIntoLinesTest, PiecesAreNotMinimised) {
  StringBuffer buffer((std::string(1275, 'x') + "\r\n").c_str());
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.splitIntoLines(out, 0));
  EXPECT_TRUE(holds(*out.sbAt(0), std::string(1275, 'x'), 1837, 918));
}

// ---- splitUsingBoundary -------------------------------------------------------------------------

TEST(SplitUsingBoundaryTest, ListedCases) {
  EXPECT_TRUE(gives(splitUsing("--", 0), "--a----b--", {"a", "b"}));
  EXPECT_TRUE(gives(splitUsing("--", 1), "--a----b--", {"a"}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "a--b--c", {"a", "b", "c"}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "----", {}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "a", {"a"}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "-a-", {"-a-"}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "---", {"-"}));
  EXPECT_TRUE(gives(splitUsing("--", 0), "a---b", {"a", "-b"}));
}

TEST(SplitUsingBoundaryTest, OccurrencesAreFoundFromTheLeft) {
  EXPECT_TRUE(gives(splitUsing("aa", 0), "xaaay", {"x", "ay"}));
  EXPECT_TRUE(gives(splitUsing("aa", 0), "aaay", {"ay"}));
  EXPECT_TRUE(gives(splitUsing("aba", 0), "xababay", {"x", "bay"}));
}

TEST(SplitUsingBoundaryTest, RestBehindTheLastPieceIsDropped) {
  EXPECT_TRUE(gives(splitUsing("-", 2), "a-b-c-d", {"a", "b"}));
  EXPECT_TRUE(gives(splitUsing("-", 4), "a-b-c-d", {"a", "b", "c", "d"}));
  EXPECT_TRUE(gives(splitUsing("-", 5), "a-b-c-d", {"a", "b", "c", "d"}));
  EXPECT_TRUE(gives(splitUsing("-", INT_MAX), "a-b-c-d", {"a", "b", "c", "d"}));
  EXPECT_TRUE(gives(splitUsing("-", 1), "abc", {"abc"}));
}

TEST(SplitUsingBoundaryTest, BoundariesDoNotCountAsPieces) {
  EXPECT_TRUE(gives(splitUsing("-", 2), "---a----b--c", {"a", "b"}));
}

TEST(SplitUsingBoundaryTest, NegativeLimitIsNoLimit) {
  for (const int limit : {-1, -2, INT_MIN})
    EXPECT_TRUE(gives(splitUsing("-", limit), "a-b-c", {"a", "b", "c"}));
}

TEST(SplitUsingBoundaryTest, LimitCountsOnlyThisCall) {
  StringBuffer buffer("a-b-c");
  StringBuffer boundary("-");
  ExtPtrArraySb out;
  EXPECT_TRUE(buffer.splitUsingBoundary(boundary, out, 2));
  EXPECT_TRUE(buffer.splitUsingBoundary(boundary, out, 2));
  EXPECT_EQ(contentsOf(out), (Texts{"a", "b", "a", "b"}));
}

TEST(SplitUsingBoundaryTest, EmptyBoundaryMakesTheWholeTextOnePiece) {
  for (const int limit : {0, 1, 2, -1}) {
    EXPECT_TRUE(gives(splitUsing("", limit), "a-b", {"a-b"}));
    EXPECT_TRUE(gives(splitUsing("", limit), std::string(500, 'x'), {std::string(500, 'x')}));
    EXPECT_TRUE(gives(splitUsing("", limit), "a\0b"s, {"a"}));
    EXPECT_TRUE(gives(splitUsing("", limit), "", {}));
  }
}

TEST(SplitUsingBoundaryTest, BoundaryLongerThanTheTextIsNotFound) {
  EXPECT_TRUE(gives(splitUsing("abcd", 0), "abc", {"abc"}));
  EXPECT_TRUE(gives(splitUsing(std::string(300, 'a'), 0), "aaa", {"aaa"}));
}

TEST(SplitUsingBoundaryTest, LettersAreMatchedWithTheirCase) {
  EXPECT_TRUE(gives(splitUsing("and", 0), "aANDbandc", {"aANDb", "c"}));
}

TEST(SplitUsingBoundaryTest, EveryByteCanBeTheBoundary) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    ASSERT_TRUE(cuts(splitUsing(bytes.substr(i, 1), 0), bytes));
    ASSERT_TRUE(cuts(splitUsing(bytes.substr(i, 2), 0), bytes + bytes));
  }
}

TEST(SplitUsingBoundaryTest, PiecesAreAppendedAtOnceAndNotMinimised) {
  StringBuffer buffer((std::string(1275, 'x') + "--" + std::string(81, 'y')).c_str());
  StringBuffer boundary("--");
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.splitUsingBoundary(boundary, out, 0));
  EXPECT_TRUE(holds(*out.sbAt(0), std::string(1275, 'x'), 1478, 202));
  EXPECT_TRUE(holds(*out.sbAt(1), std::string(81, 'y'), 0, 202));
}

TEST(SplitUsingBoundaryTest, AllShortTextsAgreeWithTheReference) {
  std::vector<Cutter> cutters;
  for (const char* boundary : {"", "-", "--", "a", "-a", "a-", "--a", "a-a", "-a-a"})
    for (const int limit : {0, 1, 2, 3}) cutters.push_back(splitUsing(boundary, limit));
  expectCuts(cutters, harness::allStrings("-a", 8));
}

TEST(SplitUsingBoundaryTest, BufferMayBeItsOwnBoundary) {
  for (const std::string& content : {"ab"s, std::string(300, 'x')}) {
    StringBuffer buffer(content.c_str());
    ExtPtrArraySb out;
    EXPECT_TRUE(buffer.splitUsingBoundary(buffer, out, 0));
    EXPECT_EQ(out.getSize(), 0);
    EXPECT_TRUE(holds(buffer, content));
  }
  StringBuffer empty;
  ExtPtrArraySb out;
  EXPECT_TRUE(empty.splitUsingBoundary(empty, out, 0));
  EXPECT_EQ(out.getSize(), 0);
}

TEST(SplitUsingBoundaryTest, BoundaryMayStandInTheArray) {
  StringBuffer buffer("a--b");
  ExtPtrArraySb out;
  out.appendPtr(StringBuffer::createNewSB("--"));
  EXPECT_TRUE(buffer.splitUsingBoundary(*out.sbAt(0), out, 0));
  EXPECT_EQ(contentsOf(out), (Texts{"--", "a", "b"}));
}

TEST(SplitUsingBoundaryTest, BoundaryWithNulIsSafe) {
  for (const std::string& bytes : {"\0"s, "-\0"s, "-\0-"s, "\0-"s, "b\0xxxxxxxx"s})
    for (const std::string& content : {"a-b"s, "-"s, "a-\0-b"s, std::string(300, '-'), ""s}) {
      StringBuffer buffer;
      fill(buffer, content);
      StringBuffer boundary;
      fill(boundary, bytes);
      ExtPtrArraySb out;
      EXPECT_TRUE(buffer.splitUsingBoundary(boundary, out, 0));
      EXPECT_TRUE(holds(buffer, content));
      EXPECT_TRUE(holds(boundary, bytes));
      for (int i = 0; i < out.getSize(); ++i) EXPECT_TRUE(invariantsHold(*out.sbAt(i)));
    }
}

// ---- Exhausted memory ---------------------------------------------------------------------------

// A text whose blocks of 255 bytes all differ.
std::string blocks(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + i / 255);
  return text;
}

std::string textForFailures(const std::string& delimiter) {
  return blocks(1275) + delimiter + blocks(30) + delimiter + delimiter + blocks(600) + delimiter +
         delimiter + blocks(82);
}

// Whether `content` is what is left of such a text when some of its blocks have been dropped.
bool isLeftOf(std::string_view content, std::string_view whole) {
  for (std::size_t i = 0; i < whole.size(); i += 255) {
    const std::string_view block = whole.substr(i, 255);
    if (content.substr(0, block.size()) == block) content.remove_prefix(block.size());
  }
  return content.empty();
}

// False means that a piece is missing; the ones before it are there, as far as they could grow.
void expectFailuresAreReported(const Cutter& cutter, const std::string& content) {
  StringBuffer buffer;
  fill(buffer, content);
  const Pieces expected = cutter.expected(content);
  std::optional<ExtPtrArraySb> out;
  bool result = false;
  long live = 0;
  const long failures = harness::failEveryAllocation(
      [&] {
        live = harness::liveBlocks();
        out.emplace();
      },
      [&] { result = cutter.run(buffer, *out); },
      [&] {
        const auto count = static_cast<std::size_t>(out->getSize());
        EXPECT_EQ(result, count == expected.size()) << cutter.name;
        ASSERT_LE(count, expected.size());
        for (std::size_t i = 0; i < count; ++i) {
          StringBuffer* piece = out->sbAt(static_cast<int>(i));
          ASSERT_NE(piece, nullptr);
          EXPECT_TRUE(invariantsHold(*piece));
          EXPECT_TRUE(isLeftOf(harness::bytesOf(*piece), expected[i].content)) << cutter.name;
        }
        EXPECT_TRUE(holds(buffer, content)) << cutter.name;
        out.reset();
        EXPECT_EQ(harness::liveBlocks(), live) << cutter.name;
      });
  EXPECT_GT(failures, 0);
}

TEST(SplitTest, ExhaustedMemoryIsReportedAndPiecesBeforeItStay) {
  for (const Cutter& cutter : cuttersAtCommas())
    expectFailuresAreReported(cutter, textForFailures(","));
  for (const Cutter& cutter : cuttersAtLineEnds())
    expectFailuresAreReported(cutter, textForFailures("\n"));
  expectFailuresAreReported(splitIntoLines(), textForFailures("\r\n"));
  expectFailuresAreReported(splitByLineEndings(kBoth), textForFailures("\r\n"));
  expectFailuresAreReported(splitUsing("--", 2), textForFailures("--"));
  expectFailuresAreReported(splitUsing("", 0), textForFailures("--"));
}

TEST(SplitTest, ExhaustedMemoryWithManyPieces) {
  expectFailuresAreReported(splitBy(',', kNeither), std::string(100, ','));
  expectFailuresAreReported(splitUsing("-", 0), "a-b-c-d-e-f-g-h-i-j-k-l-m-n-o-p-q-r-s-t-u-v-w");
  expectFailuresAreReported(splitBy(',', kNeither), "\0a"s);
}

TEST(SplitTest, ExhaustedMemoryKeepsTheEarlierElements) {
  for (const Cutter& cutter : allCutters()) {
    StringBuffer buffer("a,b\nc,d");
    std::optional<ExtPtrArraySb> out;
    StringBuffer* kept = nullptr;
    harness::failEveryAllocation(
        [&] {
          out.emplace();
          kept = StringBuffer::createNewSB("kept");
          out->appendPtr(kept);
        },
        [&] { cutter.run(buffer, *out); },
        [&] {
          ASSERT_GE(out->getSize(), 1);
          EXPECT_EQ(out->sbAt(0), kept);
          EXPECT_TRUE(holds(*kept, "kept"));
          out.reset();
        });
  }
}

TEST(SplitAndTrimTest, NothingIsTrimmedWhenTheSplitFails) {
  StringBuffer buffer(" a , b , c ");
  std::optional<ExtPtrArraySb> out;
  bool result = false;
  const long failures = harness::failEveryAllocation(
      [&] {
        out.emplace();
        out->appendPtr(StringBuffer::createNewSB(" kept "));
      },
      [&] { result = buffer.splitAndTrim(*out, ',', false, false); },
      [&] {
        const Texts all =
            result ? Texts{"kept", "a", "b", "c"} : Texts{" kept ", " a ", " b ", " c "};
        const Texts held = contentsOf(*out);
        ASSERT_LE(held.size(), all.size());
        EXPECT_EQ(held, Texts(all.begin(), all.begin() + static_cast<long>(held.size())));
        EXPECT_EQ(result, held.size() == all.size());
        out.reset();
      });
  EXPECT_GT(failures, 0);
}

// ---- Secure buffers -----------------------------------------------------------------------------

// Whether a block that `body` releases holds a part of a secret, which is made of Zs.
bool leaks(const std::function<void()>& body) {
  bool leaked = false;
  const harness::WatchReleases watch([&leaked](const unsigned char* block, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(block), size);
    leaked = leaked || bytes.find("ZZ") != std::string_view::npos;
  });
  body();
  return leaked;
}

TEST(SplitTest, SecretsDoNotStayInReleasedMemory) {
  const std::string line(60, 'Z');
  for (const Cutter& cutter : allCutters()) {
    for (const char* delimiter : {",", "\n", "\r\n"}) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      for (int i = 0; i < 9; ++i) buffer.append((line + delimiter).c_str());
      ExtPtrArraySb out;
      EXPECT_FALSE(leaks([&] { ASSERT_TRUE(cutter.run(buffer, out)); })) << cutter.name;
      for (int i = 0; i < out.getSize(); ++i) out.sbAt(i)->secureClear();
    }
  }
}

// ---- Hostile sizes ------------------------------------------------------------------------------

TEST(SplitTest, ManyDelimitersTakeLinearTime) {
  StringBuffer buffer;
  ASSERT_TRUE(buffer.append(std::string(1 << 20, ',').c_str()));
  ExtPtrArraySb out;
  EXPECT_LT(secondsOf([&] {
              ASSERT_TRUE(buffer.split(out, ',', false, false));
              EXPECT_EQ(out.getSize(), (1 << 20) + 1);
            }),
            5);
}

// Cuts many equal bytes; returns the number of pieces.
int piecesOfMany(char c, const Cutter& cutter) {
  StringBuffer buffer(std::string(1 << 16, c).c_str());
  ExtPtrArraySb out;
  EXPECT_LT(secondsOf([&] { EXPECT_TRUE(cutter.run(buffer, out)); }), 8.0) << cutter.name;
  return out.getSize();
}

TEST(SplitTest, HostileTextsTakeLinearTime) {
  constexpr int kSize = 1 << 16;
  EXPECT_EQ(piecesOfMany('"', splitBy(',', kBoth)), 1);
  EXPECT_EQ(piecesOfMany('\\', split2By(",", kBoth)), 1);
  EXPECT_EQ(piecesOfMany(' ', splitAndTrimBy(',', kBoth)), 1);
  EXPECT_EQ(piecesOfMany(';', split2By(",;", kNeither)), kSize + 1);
  EXPECT_EQ(piecesOfMany('\r', splitByLineEndings(kNeither)), kSize + 1);
  EXPECT_EQ(piecesOfMany('\n', splitIntoLines()), kSize + 1);
  EXPECT_EQ(piecesOfMany('-', splitUsing("-", 0)), 0);
  EXPECT_EQ(piecesOfMany('-', splitUsing("--------", 1)), 0);
}

TEST(SplitUsingBoundaryTest, NearMissesTakeLinearTime) {
  constexpr unsigned int kSize = 1 << 20;
  StringBuffer buffer;
  ASSERT_TRUE(buffer.append(std::string(kSize, 'a').c_str()));
  StringBuffer behind;
  ASSERT_TRUE(behind.append(std::string(kSize / 2, 'a').c_str()));
  ASSERT_TRUE(behind.appendChar('b'));
  StringBuffer before;
  ASSERT_TRUE(before.appendChar('b'));
  ASSERT_TRUE(before.append(std::string(kSize / 2, 'a').c_str()));
  for (StringBuffer* boundary : {&behind, &before}) {
    ExtPtrArraySb out;
    EXPECT_LT(secondsOf([&] { ASSERT_TRUE(buffer.splitUsingBoundary(*boundary, out, 0)); }), 8.0);
    ASSERT_EQ(out.getSize(), 1);
    EXPECT_EQ(out.sbAt(0)->getSize(), kSize);
  }
}

TEST(SplitUsingBoundaryTest, ManyPiecesTakeLinearTime) {
  StringBuffer buffer;
  for (int i = 0; i < 1 << 16; ++i) ASSERT_TRUE(buffer.append("x--"));
  StringBuffer boundary("--");
  ExtPtrArraySb out;
  EXPECT_LT(secondsOf([&] { ASSERT_TRUE(buffer.splitUsingBoundary(boundary, out, 0)); }), 8.0);
  EXPECT_EQ(out.getSize(), 1 << 16);
}

// ---- Former bugs ----

// Long pieces left what they had outgrown, and what they gave back, in released memory.
TEST(SplitTest, LongPiecesOfASecretLeaveNothingBehind) {
  std::string content;
  for (const std::size_t size : {70U, 82U, 255U, 256U, 300U, 511U, 900U, 3000U})
    content += std::string(size, 'Z') + ",\n";
  for (const Cutter& cutter : allCutters()) {
    for (long k = 0; k <= 12; ++k) {
      StringBuffer buffer;
      fill(buffer, content);
      buffer.setSecureBuf(true);
      ExtPtrArraySb out;
      EXPECT_FALSE(leaks([&] {
        const harness::FailAllocation fail(k);
        cutter.run(buffer, out);
      })) << cutter.name
          << ", allocation " << k;
      if (k == 0) {
        EXPECT_TRUE(arrayHolds(out, 0, cutter.expected(content))) << cutter.name;
      }
    }
  }
}

TEST(SplitTest, ThePiecesOfASecretAreOrdinaryBuffers) {
  StringBuffer buffer;
  fill(buffer, std::string(300, 'Z') + "," + std::string(50, 'Z'));
  buffer.setSecureBuf(true);
  ExtPtrArraySb out;
  ASSERT_TRUE(buffer.split(out, ',', false, false));
  ASSERT_EQ(out.getSize(), 2);
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(harness::wipesItsBlocks(*out.sbAt(i)));
}

}  // namespace
