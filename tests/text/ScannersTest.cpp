// Capture scanners of text/Scanners.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/ScannersReference.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference::scanning;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::ModelBuffer;
using harness::modelOf;
using harness::randomText;
using harness::secondsOf;

std::string shown(const std::string& text) { return testing::PrintToString(text.substr(0, 200)); }

// --- Every method beside its slow reference ----------------------------------------------------

struct Operation {
  std::string name;
  std::function<unsigned int(StringBuffer&, const char*)> real;
  std::function<unsigned int(ModelBuffer&, std::string_view)> told;
};

using Scanner = unsigned int (StringBuffer::*)(const char*);

Operation capturing(const char* name, Scanner scanner, reference::ByteClass contains) {
  return {name, [scanner](StringBuffer& s, const char* text) { return (s.*scanner)(text); },
          [contains](ModelBuffer& s, std::string_view text) {
            return reference::capture(s, text, contains);
          }};
}

std::vector<Operation> appendingScanners() {
  return {
      capturing("captureDecimal", &StringBuffer::captureDecimal, reference::isDigit),
      capturing("captureHex", &StringBuffer::captureHex, reference::isHex),
      capturing("captureWS", &StringBuffer::captureWS, reference::isSpace),
      capturing("captureNonWS", &StringBuffer::captureNonWS, reference::isNoSpace),
      capturing("captureIdentifier", &StringBuffer::captureIdentifier, reference::isIdentifier),
      capturing("captureAlpha", &StringBuffer::captureAlpha, reference::isLetter),
      capturing("captureAlphaNum", &StringBuffer::captureAlphaNum, reference::isLetterOrDigit),
  };
}

Operation capturingLine(bool trim, bool toLower) {
  return {"captureLine"s + (trim ? " trim" : "") + (toLower ? " lower" : ""),
          [=](StringBuffer& s, const char* text) { return s.captureLine(text, trim, toLower); },
          [=](ModelBuffer& s, std::string_view text) {
            return reference::captureLine(s, text, trim, toLower);
          }};
}

std::vector<Operation> lineScanners() {
  return {capturingLine(false, false), capturingLine(true, false), capturingLine(false, true),
          capturingLine(true, true)};
}

std::vector<Operation> allScanners() {
  std::vector<Operation> all = appendingScanners();
  for (const Operation& operation : lineScanners()) all.push_back(operation);
  return all;
}

// Applies the method and compares the result and the whole state.
testing::AssertionResult agrees(const Operation& operation, StringBuffer& buffer,
                                const char* text) {
  const std::string copy(text);
  ModelBuffer model = modelOf(buffer);
  const unsigned int expected = operation.told(model, copy);
  const unsigned int result = operation.real(buffer, text);
  if (result != expected)
    return testing::AssertionFailure() << operation.name << " of " << shown(copy) << " is "
                                       << result << " instead of " << expected;
  const testing::AssertionResult same = matches(buffer, model);
  if (same) return same;
  return testing::AssertionFailure()
         << operation.name << " of " << shown(copy) << ": " << same.message();
}

// The same with a text of its own, which must not change.
testing::AssertionResult agreesOn(const Operation& operation, const std::string& content,
                                  const std::string& text) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  const std::string copy = text;
  const testing::AssertionResult same = agrees(operation, buffer, copy.c_str());
  if (same && copy != text) return testing::AssertionFailure() << "the text has changed";
  return same;
}

TEST(ScannersReference, AgreesOnAllSmallTexts) {
  for (const Operation& operation : allScanners())
    for (const std::string& text : allStrings("aG1_ \n\xC0", 4))
      ASSERT_TRUE(agreesOn(operation, "x", text));
}

TEST(ScannersReference, AgreesOnRandomTexts) {
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    for (const Operation& operation : allScanners()) {
      const std::string content = randomText(seed, seed % 100, "ab \0"s);
      for (const std::string_view alphabet :
           {"0123456789", "0123456789abcdefABCDEF", " \t\r\n", "azAZ09_", "Aa \t\xC0\xDF\xE9!"})
        ASSERT_TRUE(agreesOn(operation, content, randomText(seed, seed, alphabet) + "!\n+"));
    }
  }
}

// A run and a content before it at every border of the storage and of the staging.
TEST(ScannersReference, AgreesAtTheStorageBorders) {
  const std::size_t sizes[] = {1,   80,  81,  82,  83,  254, 255, 256, 257, 283,
                               284, 285, 457, 458, 459, 511, 512, 513, 768, 3000};
  for (const Operation& operation : allScanners()) {
    for (const std::size_t size : sizes) {
      for (const char c : {'1', 'A', ' ', '\xD7'}) {
        for (const std::size_t before : {0U, 1U, 80U, 81U, 300U})
          ASSERT_TRUE(agreesOn(operation, std::string(before, 'x'), std::string(size, c)));
        ASSERT_TRUE(agreesOn(operation, "", std::string(size - 1, c) + "\ny"));
      }
      ASSERT_TRUE(agreesOn(operation, "", std::string(size, ' ') + "A" + std::string(size, '\t')));
    }
  }
}

// Each byte value alone, first, inside and last.
TEST(ScannersReference, TheClassesAreExact) {
  for (const Operation& operation : allScanners()) {
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      for (const std::string& text : {byte, byte + byte, byte + "x", "1" + byte + "1",
                                      " " + byte + "\t", "a" + byte + "Z" + byte})
        ASSERT_TRUE(agreesOn(operation, "q", text)) << b;
    }
  }
}

// --- The rules of the appending scanners -------------------------------------------------------

struct CaptureCase {
  Scanner scanner;
  std::string text;
  std::string run;
};

TEST(Scanners, TheRunAtTheStartIsAppended) {
  const std::vector<CaptureCase> cases = {
      {&StringBuffer::captureDecimal, "123abc", "123"},
      {&StringBuffer::captureDecimal, "abc", ""},
      {&StringBuffer::captureDecimal, "-1", ""},
      {&StringBuffer::captureDecimal, "1.5", "1"},
      {&StringBuffer::captureHex, "0fA9g", "0fA9"},
      {&StringBuffer::captureHex, "0x1", "0"},
      {&StringBuffer::captureWS, "\tx", "\t"},
      {&StringBuffer::captureWS, " \t\r\n\v", " \t\r\n"},
      {&StringBuffer::captureNonWS, "abc def", "abc"},
      {&StringBuffer::captureNonWS, "\xE9\v\f\x80\n", "\xE9\v\f\x80"},
      {&StringBuffer::captureIdentifier, "9lives!", "9lives"},
      {&StringBuffer::captureIdentifier, "_a1-b", "_a1"},
      {&StringBuffer::captureAlpha, "abXY1", "abXY"},
      {&StringBuffer::captureAlpha, "a_b", "a"},
      {&StringBuffer::captureAlphaNum, "a1B2_", "a1B2"},
      {&StringBuffer::captureAlphaNum, "a\xE9", "a"},
      {&StringBuffer::captureAlphaNum, "ab\0cd"s, "ab"},
  };
  for (const CaptureCase& c : cases) {
    StringBuffer buffer("x");
    EXPECT_EQ((buffer.*c.scanner)(c.text.c_str()), c.run.size()) << shown(c.text);
    EXPECT_TRUE(holds(buffer, "x" + c.run, 0, 202)) << shown(c.text);
  }
}

TEST(Scanners, CapturesInARowConcatenate) {
  StringBuffer buffer;
  EXPECT_EQ(buffer.captureAlpha("ab"), 2U);
  EXPECT_EQ(buffer.captureDecimal("12"), 2U);
  EXPECT_EQ(buffer.captureWS(" z"), 1U);
  EXPECT_TRUE(holds(buffer, "ab12 ", 0, 202));
}

TEST(Scanners, ACaptureDropsNoBytesWhenNothingIsTaken) {
  for (const Operation& operation : appendingScanners()) {
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
      StringBuffer buffer;
      appendRaw(buffer, "ab\0\0"s);
      buffer.setExtendSize(7);
      EXPECT_EQ(operation.real(buffer, text), 0U);
      EXPECT_TRUE(holds(buffer, "ab\0\0"s, 0, 7)) << operation.name;
    }
  }
  StringBuffer buffer;
  appendRaw(buffer, "ab\0\0"s);
  EXPECT_EQ(buffer.captureDecimal("x"), 0U);
  EXPECT_TRUE(holds(buffer, "ab\0\0"s, 0, 202));
}

TEST(Scanners, TheCountIsReturnedAlsoWhenTheBufferCannotGrow) {
  for (const char c : {'1', ' '}) {
    for (const Operation& operation : appendingScanners()) {
      const std::string text(90, c);
      ModelBuffer model;
      const unsigned int expected = operation.told(model, text);
      StringBuffer buffer("earlier");
      unsigned int result = 0;
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        result = operation.real(buffer, text.c_str());
      }
      EXPECT_EQ(result, expected) << operation.name;
      EXPECT_TRUE(holds(buffer, "earlier", 0, 202)) << operation.name;
    }
  }
}

// --- captureLine -------------------------------------------------------------------------------

struct LineCase {
  bool trim;
  bool toLower;
  std::string text;
  unsigned int count;
  std::string line;
};

TEST(Scanners, CaptureLine) {
  const std::vector<LineCase> cases = {
      {true, true, " Hello \r\n", 7, "hello"},
      {false, false, " Hello \r\n", 7, " Hello "},
      {true, false, " Hello \r\n", 7, "Hello"},
      {false, true, " Hello \r\n", 7, " hello "},
      {false, false, "a\nb", 1, "a"},
      {false, false, "a\rb", 1, "a"},
      {false, false, "ab", 2, "ab"},
      {false, false, "a\0b\n"s, 1, "a"},
      {false, false, "\na", 0, ""},
      {false, false, "\r\na", 0, ""},
      {true, true, "", 0, ""},
      {true, true, " \t \n", 3, ""},
      {true, false, "\v a \f", 5, "\v a \f"},
      {false, true, "AZaz@[\x80\xBF\xC0\xD6\xD7\xDE\xDF\xE0\xFF", 15,
       "azaz@[\x80\xBF\xE0\xF6\xF7\xFE\xFF\xE0\xFF"},
  };
  for (const LineCase& c : cases) {
    StringBuffer buffer("earlier");
    EXPECT_EQ(buffer.captureLine(c.text.c_str(), c.trim, c.toLower), c.count) << shown(c.text);
    EXPECT_TRUE(holds(buffer, c.line, 0, 202)) << shown(c.text);
  }
}

TEST(Scanners, CaptureLineEmptiesTheBufferAsClearDoesInEveryCase) {
  for (const char* text : {static_cast<const char*>(nullptr), "", "\nx", "line"}) {
    StringBuffer buffer(std::string(300, 'o').c_str());
    buffer.setExtendSize(7);
    const std::string line = text == nullptr || *text == '\n' ? "" : text;
    EXPECT_EQ(buffer.captureLine(text, true, true), line.size());
    EXPECT_TRUE(holds(buffer, line, 0, 202));
  }
}

TEST(Scanners, TheCountIsTakenBeforeTrimming) {
  const std::string text = std::string(300, ' ') + "x" + std::string(300, '\t');
  StringBuffer buffer;
  EXPECT_EQ(buffer.captureLine((text + "\nrest").c_str(), true, false), 601U);
  EXPECT_EQ(bytesOf(buffer), "x");
  EXPECT_NE(buffer.heapUsage(), 0U);
}

TEST(Scanners, TheLineIsAppendedInBlocksOf256) {
  StringBuffer buffer;
  EXPECT_EQ(buffer.captureLine(std::string(460, 'x').c_str(), false, false), 460U);
  // 256 bytes: a block of 459; 460 bytes: one of 663, and an extend size of its half.
  EXPECT_TRUE(holds(buffer, std::string(460, 'x'), 663, 331));
}

TEST(Scanners, CaptureLineEndsAtTheBlockThatCannotBeAppended) {
  const std::string line = randomText(5, 3000, "ABC abc");
  const long blocks = harness::liveBlocks();
  for (const std::size_t size : {82U, 256U, 257U, 3000U}) {
    const std::string text = line.substr(0, size);
    StringBuffer buffer;
    unsigned int result = 0;
    const auto setUp = [&] {
      buffer.clear();
      buffer.append(std::string(200, 'o').c_str());
    };
    const long points = harness::failEveryAllocation(
        setUp, [&] { result = buffer.captureLine(text.c_str(), true, true); },
        [&] {
          EXPECT_TRUE(harness::invariantsHold(buffer));
          if (result == size) return;
          EXPECT_EQ(result, 0U);
          EXPECT_EQ(buffer.getSize() % 256, 0U);
          EXPECT_TRUE(holds(buffer, text.substr(0, buffer.getSize())));
        });
    EXPECT_GE(points, 2);
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(Scanners, CaptureLineOfItsOwnTextWithoutMemoryForTheCopyIsEmpty) {
  StringBuffer buffer(std::string(200, 'o').c_str());
  unsigned int result = 1;
  {
    const harness::FailAllocation fail(1);
    result = buffer.captureLine(buffer.getString(), true, true);
  }
  EXPECT_EQ(result, 0U);
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(Scanners, CaptureLineKeepsTheBlocksBeforeTheFailure) {
  const std::string text(1000, 'X');
  StringBuffer buffer;
  unsigned int result = 1;
  {
    // A second block of storage is needed for the second 256 bytes.
    const harness::FailLargeAllocations fail(500);
    result = buffer.captureLine(text.c_str(), true, true);
  }
  EXPECT_EQ(result, 0U);
  EXPECT_TRUE(holds(buffer, text.substr(0, 256), 459, 202));
}

// --- Texts inside this buffer ------------------------------------------------------------------

// Makes a content and returns a text that lies in the same buffer.
struct Inside {
  const char* name;
  std::function<const char*(StringBuffer&)> make;
};

const char* at(StringBuffer& buffer, unsigned int index) { return buffer.getString() + index; }

std::string manyBytes(std::size_t size, char c) {
  return "7f" + std::string(size - 6, c) + " A\tB";
}

// In the storage behind the content, which has been cut.
const char* behind(StringBuffer& buffer, const std::string& content, unsigned int cut) {
  buffer.append(content.c_str());
  buffer.chopAt(cut);
  return buffer.getString() + cut + 1;
}

// In the inline array of a buffer whose content has moved to the heap.
const char* inUnusedInlineArray(StringBuffer& buffer, const std::string& first, std::size_t more) {
  buffer.append(first.c_str());
  const char* inlineArray = buffer.getString();
  buffer.append(std::string(more, '3').c_str());
  EXPECT_NE(buffer.heapUsage(), 0U);
  return inlineArray;
}

std::vector<Inside> textsInside() {
  std::vector<Inside> all;
  for (const char c : {'5', 'E', ' ', '\xD7'}) {
    for (const unsigned int size : {10U, 50U, 81U, 150U, 700U}) {
      for (const unsigned int index : {0U, 1U, 4U, size - 1, size}) {
        all.push_back({"content", [=](StringBuffer& s) {
                         s.append(manyBytes(size, c).c_str());
                         return at(s, index);
                       }});
      }
      all.push_back({"full block", [=](StringBuffer& s) {
                       harness::fillHeap(s, manyBytes(size + 80, c), 0);
                       return at(s, 3);
                     }});
      for (const unsigned int cut : {0U, 2U, 5U})
        all.push_back({"behind the end",
                       [=](StringBuffer& s) { return behind(s, manyBytes(size, c), cut); }});
    }
    for (const std::size_t more : {82U, 290U})
      all.push_back({"unused inline array", [=](StringBuffer& s) {
                       return inUnusedInlineArray(s, manyBytes(60, c), more);
                     }});
  }
  return all;
}

TEST(Scanners, TheTextMayLieInThisBuffer) {
  for (const Operation& operation : allScanners()) {
    for (const Inside& inside : textsInside()) {
      StringBuffer buffer;
      const char* text = inside.make(buffer);
      ASSERT_TRUE(agrees(operation, buffer, text)) << inside.name;
    }
  }
}

TEST(Scanners, LinesInsideThisBufferStayLines) {
  for (const std::size_t size : {3U, 81U, 82U, 256U, 600U}) {
    for (const Operation& operation : lineScanners()) {
      for (const unsigned int index : {0U, 3U, 5U}) {
        StringBuffer buffer(("one\r\n" + std::string(size, 'T') + "\r\nthree").c_str());
        ASSERT_TRUE(agrees(operation, buffer, at(buffer, index)));
        StringBuffer secure(("one\r\n" + std::string(size, 'T') + "\r\nthree").c_str());
        secure.setSecureBuf(true);
        ASSERT_TRUE(agrees(operation, secure, at(secure, index)));
      }
    }
  }
}

TEST(Scanners, TextsInThisBufferOnExhaustedMemoryCorruptNothing) {
  const long blocks = harness::liveBlocks();
  {
    for (const Operation& operation : allScanners()) {
      for (const unsigned int index : {0U, 2U, 90U}) {
        StringBuffer buffer;
        const char* text = nullptr;
        harness::failEveryAllocation(
            [&] {
              buffer.clear();
              harness::fillHeap(buffer, std::string(500, index == 0 ? 'a' : '1'), 0);
              text = at(buffer, index);
            },
            [&] { operation.real(buffer, text); },
            [&] { EXPECT_TRUE(harness::invariantsHold(buffer)) << operation.name; });
      }
    }
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

// --- Secure buffers ----------------------------------------------------------------------------

TEST(Scanners, SecureBuffersReleaseNothingReadable) {
  for (const Operation& operation : allScanners()) {
    for (const std::size_t size : {10U, 90U, 700U}) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      harness::fillHeap(buffer, std::string(200, 's'), 0);
      const std::string text(size, operation.name == "captureWS" ? ' ' : '1');
      const std::vector<std::string> blocks =
          harness::releasedBy([&] { operation.real(buffer, text.c_str()); });
      // captureAlpha takes none of the digits and releases nothing.
      EXPECT_EQ(blocks.empty(), operation.name == "captureAlpha") << operation.name;
      EXPECT_TRUE(harness::allWiped(blocks)) << operation.name;
      EXPECT_TRUE(harness::wipesItsBlocks(buffer));
    }
  }
}

TEST(Scanners, CopiesOfTextsInsideASecureBufferAreWiped) {
  for (const Operation& operation : allScanners()) {
    for (const Inside& inside : textsInside()) {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      const char* text = inside.make(buffer);
      const std::vector<std::string> blocks =
          harness::releasedBy([&] { operation.real(buffer, text); });
      EXPECT_TRUE(harness::allWiped(blocks)) << operation.name << " " << inside.name;
    }
  }
}

TEST(Scanners, CaptureLineWipesTheInlineArrayOfASecureBuffer) {
  StringBuffer buffer("a longer secret");
  buffer.setSecureBuf(true);
  EXPECT_EQ(buffer.captureLine("line", false, false), 4U);
  EXPECT_EQ(harness::peekInlineBytes(&buffer), "line" + std::string(78, '\0'));
  EXPECT_EQ(buffer.captureLine(nullptr, false, false), 0U);
  EXPECT_EQ(harness::peekInlineBytes(&buffer), std::string(82, '\0'));
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(Scanners, HostileTextsTakeLinearTime) {
  const std::size_t size = 1 << 20;
  const double seconds = secondsOf([&] {
    for (const char c : {'1', ' '}) {
      const std::string text(size, c);
      for (const Operation& operation : allScanners()) {
        StringBuffer buffer;
        const unsigned int count = operation.real(buffer, text.c_str());
        EXPECT_TRUE(count == 0 || count == size) << operation.name;
        if (count != 0) operation.real(buffer, buffer.getString());
      }
    }
  });
  EXPECT_LT(seconds, 8.0);
}

// A cursor that moves through a text looks at each run only, not at the rest of the text.
TEST(Scanners, ManySmallCapturesTakeTheTimeOfTheText) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "ab 12\n";
  StringBuffer buffer;
  const char* cursor = text.c_str();
  const double seconds = secondsOf([&] {
    for (int i = 0; i < 100000; ++i) {
      cursor += buffer.captureAlpha(cursor);
      cursor += buffer.captureWS(cursor);
      cursor += buffer.captureDecimal(cursor);
      cursor += StringBuffer().captureLine(cursor, true, true) + 1;
    }
  });
  EXPECT_EQ(*cursor, '\0');
  EXPECT_EQ(buffer.getSize(), 500000U);
  EXPECT_LT(seconds, 8.0);
}

// ---- Allocations ----

TEST(Scanners, ALineAllocatesOnceWhateverTheSize) {
  const auto text = [](std::size_t size) { return std::string(size, 'x') + "\nrest"; };
  EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [](StringBuffer& buffer) {
    StringBuffer line;
    return line.captureLine(buffer.getString(), true, false);
  }));
}

}  // namespace
