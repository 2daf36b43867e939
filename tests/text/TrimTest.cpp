// Trimming and chopping of text/Trim.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"
#include "harness/TrimReference.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::ModelBuffer;
using harness::modelOf;
using harness::randomText;
using harness::secondsOf;

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kSpace = " \t\n\r";
constexpr std::string_view kMarks = "\"'*-/@";
constexpr std::string_view kLineEnds = "\r\n";

// --- Every method beside its slow reference ----------------------------------------------------

// A method with all its arguments; the result, if any, is a number.
struct Operation {
  std::string name;
  std::function<unsigned int(StringBuffer&)> real;
  std::function<unsigned int(std::string&)> told;
};

using CountMethod = unsigned int (StringBuffer::*)() noexcept;

Operation counting(const char* name, CountMethod method,
                   const std::function<unsigned int(std::string&)>& told) {
  return {name, [method](StringBuffer& s) { return (s.*method)(); }, told};
}

std::vector<Operation> countingOperations() {
  using Bytes = std::string;
  return {
      counting("trim", &StringBuffer::trim,
               [](Bytes& s) { return reference::trimEnds(s, kBlanks); }),
      counting("trim2", &StringBuffer::trim2,
               [](Bytes& s) { return reference::trimEnds(s, kSpace); }),
      counting("trim3", &StringBuffer::trim3,
               [](Bytes& s) { return reference::trimEnds(s, kMarks); }),
      counting("trimRight2", &StringBuffer::trimRight2,
               [](Bytes& s) { return reference::trimEnd(s, kSpace); }),
      counting("trimTrailingCRLFs", &StringBuffer::trimTrailingCRLFs,
               [](Bytes& s) { return reference::trimEnd(s, kLineEnds); }),
      counting("trimInsideSpaces", &StringBuffer::trimInsideSpaces, reference::trimInsideSpaces),
  };
}

Operation trimsBefore(char ch, bool flag) {
  return {"trimBefore " + testing::PrintToString(ch) + (flag ? " true" : " false"),
          [=](StringBuffer& s) { return s.trimBefore(ch, flag), 0U; },
          [=](std::string& s) { return reference::trimBefore(s, ch, flag), 0U; }};
}

Operation trimsAfter(char ch, bool flag) {
  return {"trimAfter " + testing::PrintToString(ch) + (flag ? " true" : " false"),
          [=](StringBuffer& s) { return s.trimAfter(ch, flag), 0U; },
          [=](std::string& s) { return reference::trimAfter(s, ch, flag), 0U; }};
}

Operation chopsAtFirst(char ch) {
  return {"chopAtFirstChar " + testing::PrintToString(ch),
          [=](StringBuffer& s) { return s.chopAtFirstChar(ch) ? 1U : 0U; },
          [=](std::string& s) { return reference::chopAtFirstChar(s, ch) ? 1U : 0U; }};
}

Operation chopsAtLast(char ch) {
  return {"chopAtLastChar " + testing::PrintToString(ch),
          [=](StringBuffer& s) { return s.chopAtLastChar(ch) ? 1U : 0U; },
          [=](std::string& s) { return reference::chopAtLastChar(s, ch) ? 1U : 0U; }};
}

std::vector<Operation> charOperations(char ch) {
  std::vector<Operation> operations;
  for (const bool flag : {false, true}) {
    operations.push_back(trimsBefore(ch, flag));
    operations.push_back(trimsAfter(ch, flag));
  }
  operations.push_back(chopsAtFirst(ch));
  operations.push_back(chopsAtLast(ch));
  return operations;
}

// All methods that work in place.
std::vector<Operation> inPlaceOperations(std::string_view chars) {
  std::vector<Operation> operations = countingOperations();
  for (const char ch : chars)
    for (const Operation& operation : charOperations(ch)) operations.push_back(operation);
  return operations;
}

// Applies the method to a buffer and compares result, content, terminator and storage.
void expectAgrees(const Operation& operation, StringBuffer& buffer, const std::string& content) {
  const char* data = buffer.getString();
  const unsigned int heapUsage = buffer.heapUsage();
  const unsigned int extendSize = buffer.getExtendSize();
  std::string told = content;
  const unsigned int expected = operation.told(told);
  EXPECT_EQ(operation.real(buffer), expected);
  EXPECT_TRUE(holds(buffer, told, heapUsage, extendSize))
      << operation.name << " of " << testing::PrintToString(content.substr(0, 200));
  EXPECT_EQ(buffer.getString(), data);
}

void expectAgrees(const Operation& operation, const std::string& content) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  expectAgrees(operation, buffer, content);
}

void expectAgreesInExactBlock(const Operation& operation, const std::string& content) {
  StringBuffer buffer;
  harness::fillHeap(buffer, content, 0);
  expectAgrees(operation, buffer, content);
}

TEST(TrimReference, AgreesOnAllSmallContents) {
  const std::vector<std::string> contents = allStrings(" \n/x\0"s, 4);
  for (const Operation& operation : inPlaceOperations(" x\0"s)) {
    for (const std::string& content : contents) expectAgrees(operation, content);
    if (HasFailure()) return;
  }
}

TEST(TrimReference, AgreesOnRandomContents) {
  const std::vector<Operation> operations = inPlaceOperations("x \xE9\0"s);
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    const std::string content = randomText(seed, seed % 150, " \t\r\n-x\xE9\0"s);
    for (const Operation& operation : operations) expectAgrees(operation, content);
    if (HasFailure()) return;
  }
}

// Removed bytes on both sides of a content that is inline, just inline, just on the heap.
TEST(TrimReference, AgreesAtTheStorageBorders) {
  for (const std::size_t size : {79U, 80U, 81U, 82U, 83U, 84U, 300U}) {
    for (const std::size_t blanks : {0U, 1U, 2U, 40U}) {
      for (const char blank : {' ', '\n', '"'}) {
        const std::string edge(blanks / 2, blank);
        const std::string content = edge + std::string(size - blanks, 'x') + edge;
        for (const Operation& operation : inPlaceOperations("x\""))
          expectAgrees(operation, content);
      }
    }
  }
}

TEST(TrimReference, AgreesInABlockWithoutAByteToSpare) {
  for (const Operation& operation : inPlaceOperations("x q")) {
    for (const char blank : {' ', '\n', '-', 'x'}) {
      expectAgreesInExactBlock(operation, std::string(100, blank));
      expectAgreesInExactBlock(operation, std::string(50, blank) + "x" + std::string(50, blank));
    }
  }
}

// Only the bytes are compared: nothing says that a terminator a caller has overwritten comes back
// when nothing is removed.
TEST(TrimReference, TheLengthBoundsWhatIsReadWhenTheTerminatorIsOverwritten) {
  for (const Operation& operation : inPlaceOperations("x\0"s)) {
    for (const std::string& content : allStrings(" x\0"s, 3)) {
      for (const char stale : {' ', 'x'}) {
        StringBuffer buffer;
        harness::fillUnterminated(buffer, content, stale);
        std::string told = content;
        const unsigned int expected = operation.told(told);
        EXPECT_EQ(operation.real(buffer), expected) << operation.name;
        EXPECT_EQ(bytesOf(buffer), told) << operation.name << testing::PrintToString(content);
      }
    }
  }
}

// --- The counting trims ------------------------------------------------------------------------

struct TrimCase {
  CountMethod method;
  std::string content;
  unsigned int removed;
  std::string left;
};

void expectTrims(const std::vector<TrimCase>& cases) {
  for (const TrimCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ((buffer.*c.method)(), c.removed) << testing::PrintToString(c.content);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202));
  }
}

TEST(Trim, BothEnds) {
  expectTrims({
      {&StringBuffer::trim, "\t a b \t", 4, "a b"},
      {&StringBuffer::trim, " \n x", 1, "\n x"},
      {&StringBuffer::trim, "x \r", 0, "x \r"},
      {&StringBuffer::trim, " \t ", 3, ""},
      {&StringBuffer::trim2, " \n x", 3, "x"},
      {&StringBuffer::trim2, "\r\n\t x y\r\n\t ", 8, "x y"},
      {&StringBuffer::trim2, " \t\r\n", 4, ""},
      {&StringBuffer::trim2, "\vx\f", 0, "\vx\f"},
      {&StringBuffer::trim3, "\"'x-@", 4, "x"},
      {&StringBuffer::trim3, " x ", 0, " x "},
      {&StringBuffer::trim3, "/*-'\"@", 6, ""},
      {&StringBuffer::trim3, "- x -", 2, " x "},
      {&StringBuffer::trim3, "\\x\\", 0, "\\x\\"},
  });
}

TEST(Trim, OneEnd) {
  expectTrims({
      {&StringBuffer::trimRight2, " x \t\r\n", 4, " x"},
      {&StringBuffer::trimRight2, "\n \t", 3, ""},
      {&StringBuffer::trimTrailingCRLFs, "\r\nx \r\n\n", 3, "\r\nx "},
      {&StringBuffer::trimTrailingCRLFs, "x\n ", 0, "x\n "},
      {&StringBuffer::trimTrailingCRLFs, "\n\r", 2, ""},
  });
}

TEST(Trim, InsideSpaces) {
  expectTrims({
      {&StringBuffer::trimInsideSpaces, "a \t\r\n b", 4, "a b"},
      {&StringBuffer::trimInsideSpaces, "  a", 1, " a"},
      {&StringBuffer::trimInsideSpaces, "a\n\n", 1, "a "},
      {&StringBuffer::trimInsideSpaces, "\ta\tb\t", 0, " a b "},
      {&StringBuffer::trimInsideSpaces, "\r\n\t ", 3, " "},
      {&StringBuffer::trimInsideSpaces, "a\v\fb", 0, "a\v\fb"},
      {&StringBuffer::trimInsideSpaces, "a b c", 0, "a b c"},
  });
}

TEST(Trim, TheShiftMovesWhatLiesBehindANulToo) {
  expectTrims({
      {&StringBuffer::trim, "  a\0b\0c "s, 3, "a\0b\0c"s},
      {&StringBuffer::trim2, "\n\0a\r"s, 2, "\0a"s},
      {&StringBuffer::trim3, "--\0x\0\0y--"s, 4, "\0x\0\0y"s},
  });
}

TEST(Trim, ANulIsInNoSet) {
  expectTrims({
      {&StringBuffer::trim, "\0 a \0"s, 0, "\0 a \0"s},
      {&StringBuffer::trim2, "a \0"s, 0, "a \0"s},
      {&StringBuffer::trim2, " \0 "s, 2, "\0"s},
      {&StringBuffer::trim3, "-\0-"s, 2, "\0"s},
      {&StringBuffer::trimRight2, "a\0 "s, 1, "a\0"s},
      {&StringBuffer::trimTrailingCRLFs, "a\n\0"s, 0, "a\n\0"s},
      {&StringBuffer::trimInsideSpaces, "a  \0  b"s, 2, "a \0 b"s},
  });
}

// Each byte value alone, and at the start, inside and at the end of a content.
TEST(Trim, TheSetsAreExact) {
  for (const Operation& operation : countingOperations()) {
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      for (const std::string& content : {byte, byte + "x" + byte, "x" + byte + byte + "x",
                                         byte + byte + "x" + byte + byte + "x" + byte + byte})
        expectAgrees(operation, content);
    }
  }
}

TEST(Trim, TheRemovedEndIsOverwrittenWithNul) {
  const CountMethod methods[] = {&StringBuffer::trim2, &StringBuffer::trimRight2};
  for (const CountMethod method : methods) {
    StringBuffer buffer("x \t\r\n");
    EXPECT_EQ((buffer.*method)(), 4U);
    EXPECT_EQ(std::string(buffer.getString(), 6), "x\0\0\0\0\0"s);
  }
  StringBuffer lines("x\r\n\r\n");
  EXPECT_EQ(lines.trimTrailingCRLFs(), 4U);
  EXPECT_EQ(std::string(lines.getString(), 6), "x\0\0\0\0\0"s);
}

// --- Trimming and chopping at a character ------------------------------------------------------

struct CutCase {
  char ch;
  bool alsoRemoveChar;
  std::string content;
  std::string left;
};

TEST(Trim, TrimBeforeKeepsTheTextFromTheFirstCharacter) {
  const std::vector<CutCase> cases = {
      {'=', true, "key=value", "value"},
      {'=', false, "key=value", "=value"},
      {'=', true, "a=b=c", "b=c"},
      {'=', true, "=", ""},
      {'=', false, "=", "="},
      {'=', true, "abc=", ""},
      {'=', false, "=abc", "=abc"},
      {'=', true, "abc", "abc"},
      {'=', false, "abc", "abc"},
      {'=', true, "", ""},
      // the copy ends at the first NUL, and so does the search
      {'=', true, "a=b\0c"s, "b"},
      {'=', false, "=ab\0c"s, "=ab"},
      {'=', true, "a\0b=c"s, "a\0b=c"s},
      {'\0', true, "ab", "ab"},
      {'\0', false, "ab\0c"s, "ab\0c"s},
      {'\xE9', true, "a\xE9z", "z"},
  };
  for (const CutCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    buffer.trimBefore(c.ch, c.alsoRemoveChar);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << testing::PrintToString(c.content);
  }
}

TEST(Trim, TrimAfterKeepsTheContentUpToTheLastCharacter) {
  const std::vector<CutCase> cases = {
      {'.', true, "a.b.c", "a.b"},
      {'.', false, "a.b.c", "a.b."},
      {'.', true, ".", ""},
      {'.', false, ".", "."},
      {'.', false, "abc.", "abc."},
      {'.', true, "abc", "abc"},
      {'.', false, "abc", "abc"},
      {'.', true, "", ""},
      // the whole content is searched
      {'.', true, "a.b\0c.d"s, "a.b\0c"s},
      {'.', false, "a\0b.c"s, "a\0b."s},
      {'\0', true, "ab\0c\0d"s, "ab\0c"s},
      {'\0', false, "ab\0c"s, "ab\0"s},
      {'\0', false, "abc", "abc"},
      {'\0', true, "", ""},
      {'\xE9', true, "a\xE9z", "a"},
  };
  for (const CutCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    buffer.trimAfter(c.ch, c.alsoRemoveChar);
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << testing::PrintToString(c.content);
  }
}

struct ChopCase {
  char ch;
  std::string content;
  bool found;
  std::string atFirst;
  std::string atLast;
};

TEST(Trim, ChoppingRemovesTheCharacterAndWhatFollows) {
  const std::vector<ChopCase> cases = {
      {';', "abc", false, "abc", "abc"},
      {';', "", false, "", ""},
      {';', "a;b;c", true, "a", "a;b"},
      {';', ";", true, "", ""},
      {';', ";abc", true, "", ""},
      {';', "abc;", true, "abc", "abc"},
      {';', "a\0b;c;d"s, true, "a\0b"s, "a\0b;c"s},
      {'\0', "a\0b\0c"s, true, "a", "a\0b"s},
      {'\0', "abc", false, "abc", "abc"},
      {'\xE9', "a\xE9z", true, "a", "a"},
  };
  for (const ChopCase& c : cases) {
    StringBuffer first;
    StringBuffer last;
    appendRaw(first, c.content);
    appendRaw(last, c.content);
    EXPECT_EQ(first.chopAtFirstChar(c.ch), c.found) << testing::PrintToString(c.content);
    EXPECT_EQ(last.chopAtLastChar(c.ch), c.found) << testing::PrintToString(c.content);
    EXPECT_TRUE(holds(first, c.atFirst, 0, 202));
    EXPECT_TRUE(holds(last, c.atLast, 0, 202));
  }
}

TEST(Trim, EveryByteCanBeTheCharacter) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const Operation& operation : charOperations(static_cast<char>(b))) {
      expectAgrees(operation, "p" + byte + "q" + byte + "r");
      expectAgrees(operation, "pqr");
    }
  }
}

// --- stripDirectory ----------------------------------------------------------------------------

void expectStrips(const std::string& content, unsigned int room = 202) {
  StringBuffer buffer;
  buffer.setExtendSize(room);
  appendRaw(buffer, content);
  ModelBuffer model = modelOf(buffer);
  reference::stripDirectory(model);
  buffer.stripDirectory();
  EXPECT_TRUE(matches(buffer, model)) << testing::PrintToString(content.substr(0, 100));
}

struct PathCase {
  std::string path;
  std::string left;
};

TEST(Trim, StripDirectoryKeepsWhatFollowsTheLastSeparator) {
  const std::vector<PathCase> cases = {
      {"dir/sub\\file.txt", "file.txt"},
      {"dir\\sub/file.txt", "file.txt"},
      {"C:\\dir\\file", "file"},
      {"C:file", "C:file"},
      {"file.txt", "file.txt"},
      {"/file", "file"},
      {"dir/", ""},
      {"/", ""},
      {"", ""},
      {"\xE9/\xE9", "\xE9"},
      // the text ends at its first NUL
      {"dir/ab\0c"s, "ab"},
      {"dir/ab\0c/d"s, "ab"},
      {"ab\0c/d"s, "ab\0c/d"s},
      {"dir/\0x"s, ""},
  };
  for (const PathCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.path);
    buffer.stripDirectory();
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << testing::PrintToString(c.path);
    expectStrips(c.path);
  }
}

TEST(Trim, StripDirectoryAgreesOnAllSmallPaths) {
  for (const std::string& path : allStrings("/\\x\0"s, 5)) expectStrips(path);
}

TEST(Trim, StripDirectoryEmptiesAsClearDoes) {
  StringBuffer buffer;
  buffer.setExtendSize(7);
  buffer.append((std::string(300, 'd') + "/file").c_str());
  EXPECT_NE(buffer.heapUsage(), 0U);
  buffer.stripDirectory();
  EXPECT_TRUE(holds(buffer, "file", 0, 202));
}

TEST(Trim, StripDirectoryChangesNothingWithoutASeparator) {
  StringBuffer buffer;
  const std::string path(300, 'd');
  harness::fillHeap(buffer, path, 0);
  buffer.setExtendSize(7);
  const char* data = buffer.getString();
  buffer.stripDirectory();
  EXPECT_TRUE(holds(buffer, path, 301, 7));
  EXPECT_EQ(buffer.getString(), data);
}

TEST(Trim, StripDirectoryAppendsTheNameToClearedStorage) {
  for (const std::size_t size : {80U, 81U, 82U, 83U, 284U, 285U, 2000U}) {
    expectStrips("dir/" + std::string(size, 'n'));
    expectStrips(std::string(500, 'd') + "\\" + std::string(size, 'n'), 0);
  }
}

TEST(Trim, StripDirectorySeesASeparatorUpToIndex2047Only) {
  for (const std::size_t at : {2046U, 2047U, 2048U, 2049U}) {
    const std::string path = std::string(at, 'd') + "/file";
    StringBuffer buffer(path.c_str());
    buffer.stripDirectory();
    if (at == 2046)
      EXPECT_TRUE(holds(buffer, "f", 0, 202));
    else if (at == 2047)
      EXPECT_TRUE(holds(buffer, "", 0, 202));
    else
      EXPECT_TRUE(holds(buffer, path));
    expectStrips(path);
  }
}

TEST(Trim, StripDirectoryUsesOnlyTheFirst2048Bytes) {
  StringBuffer buffer(("d/" + std::string(5000, 'n')).c_str());
  buffer.stripDirectory();
  EXPECT_TRUE(holds(buffer, std::string(2046, 'n'), 2046 + 202 + 1, 202));
  for (const std::size_t size : {2047U, 2048U, 2049U, 2050U, 5000U}) {
    expectStrips("/" + std::string(size - 1, 'n'));
    expectStrips(std::string(1000, 'd') + "/" + std::string(size - 1001, 'n'));
    expectStrips("d/" + std::string(size, 'n') + "/file");
  }
}

TEST(Trim, StripDirectoryReadsNoFurtherThanTheContent) {
  for (const std::string& path : {std::string(100, 'd'), "d/"s + std::string(100, 'n')}) {
    StringBuffer buffer;
    harness::fillExactUnterminated(buffer, path, '/');
    buffer.stripDirectory();
    EXPECT_EQ(bytesOf(buffer), path[1] == '/' ? path.substr(2) : path);
  }
}

TEST(Trim, StripDirectoryOnExhaustedMemoryCorruptsNothing) {
  const std::string path = std::string(300, 'd') + "/" + std::string(200, 'n');
  const long blocks = harness::liveBlocks();
  {
    StringBuffer buffer;
    const auto setUp = [&] {
      buffer.clear();
      buffer.append(path.c_str());
    };
    const long points = harness::failEveryAllocation(
        setUp, [&] { buffer.stripDirectory(); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(buffer));
          const std::string left = bytesOf(buffer);
          EXPECT_TRUE(left.empty() || left == path || left == path.substr(301)) << left;
        });
    EXPECT_GE(points, 1);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(Trim, StripDirectoryNeedsNoMemoryForAShortName) {
  StringBuffer buffer((std::string(300, 'd') + "/" + std::string(81, 'n')).c_str());
  {
    const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
    buffer.stripDirectory();
  }
  EXPECT_TRUE(holds(buffer, std::string(81, 'n'), 0, 202));
}

TEST(Trim, StripDirectoryWipesTheReleasedBlockOfASecureBuffer) {
  for (const std::size_t size : {4U, 81U, 82U, 1000U}) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    const std::string name(size, 'n');
    buffer.append((std::string(300, 'd') + "/" + name).c_str());
    const std::vector<std::string> blocks = harness::releasedBy([&] { buffer.stripDirectory(); });
    EXPECT_FALSE(blocks.empty());
    EXPECT_TRUE(harness::allWiped(blocks));
    EXPECT_TRUE(holds(buffer, name));
    EXPECT_TRUE(harness::wipesItsBlocks(buffer));
  }
}

TEST(Trim, StripDirectoryWipesTheInlineArrayOfASecureBuffer) {
  StringBuffer buffer("directory of secrets/file");
  buffer.setSecureBuf(true);
  buffer.stripDirectory();
  EXPECT_EQ(harness::peekInlineBytes(&buffer), "file" + std::string(78, '\0'));
  buffer.append("/");
  buffer.stripDirectory();
  EXPECT_EQ(harness::peekInlineBytes(&buffer), std::string(82, '\0'));
}

// --- What holds for all of them ----------------------------------------------------------------

TEST(Trim, AnEmptyBufferStaysEmpty) {
  for (const Operation& operation : inPlaceOperations("x \0"s)) {
    expectAgrees(operation, "");
    StringBuffer emptied(std::string(200, 'x').c_str());
    emptied.weakClear();
    expectAgrees(operation, emptied, "");
  }
  expectStrips("");
}

TEST(Trim, NothingIsAllocatedAndTheExtendSizeIsKept) {
  const std::string content = "  -- " + std::string(300, 'x') + " = \r\n  " + std::string(99, ' ');
  for (const Operation& operation : inPlaceOperations("x=")) {
    StringBuffer buffer(content.c_str());
    buffer.setExtendSize(7);
    std::string told = content;
    const unsigned int expected = operation.told(told);
    unsigned int result = 0;
    {
      const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
      result = operation.real(buffer);
      EXPECT_EQ(fail.seen(), 0);
    }
    EXPECT_EQ(result, expected) << operation.name;
    EXPECT_TRUE(holds(buffer, told, static_cast<unsigned int>(content.size()) + 203, 7));
  }
}

TEST(Trim, AfterReleaseBufferOnlyTheInlineArrayIsTouched) {
  for (const char kept : {'x', ' ', '\n', '-', '/'}) {
    for (const Operation& operation : inPlaceOperations("x q")) {
      StringBuffer buffer;
      harness::releaseWithStaleLength(buffer, kept);
      operation.real(buffer);
      EXPECT_EQ(buffer.heapUsage(), 0U) << operation.name;
      buffer.clear();
      EXPECT_TRUE(holds(buffer, "", 0, 202));
    }
    StringBuffer buffer;
    harness::releaseWithStaleLength(buffer, kept);
    buffer.stripDirectory();
    EXPECT_TRUE(buffer.isValidObject());
    buffer.clear();
  }
}

TEST(Trim, HostileContentsTakeLinearTime) {
  const std::string big(1 << 20, ' ');
  const double seconds = secondsOf([&] {
    expectAgrees(countingOperations()[5], big);
    for (const CountMethod method :
         {&StringBuffer::trim, &StringBuffer::trim2, &StringBuffer::trimRight2}) {
      StringBuffer buffer((big + "x" + big).c_str());
      EXPECT_GE((buffer.*method)(), 1U << 20);
    }
    StringBuffer marks((std::string(1 << 20, '-') + " " + std::string(1 << 20, '-')).c_str());
    EXPECT_EQ(marks.trim3(), 2U << 20);
    StringBuffer cut((big + "=" + big).c_str());
    cut.trimBefore('=', true);
    EXPECT_EQ(cut.getSize(), 1U << 20);
    EXPECT_FALSE(cut.chopAtFirstChar('='));
    EXPECT_FALSE(cut.chopAtLastChar('='));
  });
  EXPECT_LT(seconds, 8.0);
}

// ---- Former bugs ----

// The content was gone when memory ran out between its end and the name's way back.
TEST(Trim, StripDirectoryKeepsTheContentWhenMemoryIsExhausted) {
  const std::string name(200, 'n');
  const std::string path = std::string(300, 'd') + "/" + name;
  StringBuffer buffer;
  const long points = harness::failEveryAllocation(
      [&] {
        buffer.clear();
        buffer.append(path.c_str());
      },
      [&] { buffer.stripDirectory(); },
      [&] { EXPECT_TRUE(holds(buffer, path) || holds(buffer, name)); });
  EXPECT_EQ(points, 2) << "one allocation, failing once and for good";
}

}  // namespace
