// The number readers of text/Numbers.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/StaleStorage.h"
#include "harness/Stopwatch.h"

namespace {

using namespace std::string_literals;
using harness::appendRaw;
using harness::secondsOf;
using harness::stateOf;

constexpr long long kMinInt64 = std::numeric_limits<long long>::min();
constexpr long long kMaxInt64 = std::numeric_limits<long long>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// --- The slow references -----------------------------------------------------------------------

struct Decimal {
  bool negative = false;
  std::string digits;  // without leading zeros
};

// Blanks, one sign, digits; the rest does not count.
Decimal decimalIn(std::string_view content) {
  std::size_t i = 0;
  while (i < content.size() && std::string_view(" \t\r\n").find(content[i]) != content.npos) ++i;
  Decimal decimal;
  if (i < content.size() && (content[i] == '+' || content[i] == '-'))
    decimal.negative = content[i++] == '-';
  for (; i < content.size() && content[i] >= '0' && content[i] <= '9'; ++i)
    if (!decimal.digits.empty() || content[i] != '0') decimal.digits += content[i];
  return decimal;
}

// Orders digit strings without leading zeros by their value.
bool exceeds(const std::string& a, const std::string& b) {
  return a.size() != b.size() ? a.size() > b.size() : a > b;
}

long long nearest(std::string_view content, long long low, long long high) {
  const Decimal decimal = decimalIn(content);
  const std::string bound =
      decimal.negative ? std::to_string(low).substr(low < 0 ? 1 : 0) : std::to_string(high);
  if (decimal.digits.empty()) return 0;
  if (decimal.negative && low == 0) return 0;
  if (exceeds(decimal.digits, bound)) return decimal.negative ? low : high;
  return std::stoll((decimal.negative ? "-" : "") + decimal.digits);
}

void expectDecimals(const StringBuffer& buffer, std::string_view content) {
  SCOPED_TRACE(testing::PrintToString(std::string(content.substr(0, 60))));
  EXPECT_EQ(buffer.intValue(), nearest(content, -2147483648LL, 2147483647LL));
  EXPECT_EQ(buffer.uintValue(), nearest(content, 0, 4294967295LL));
  EXPECT_EQ(buffer.int64Value(), nearest(content, kMinInt64, kMaxInt64));
  EXPECT_EQ(buffer.toInt64(), buffer.int64Value());
}

void expectDecimals(std::string_view content) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  expectDecimals(buffer, content);
}

// The steps as they are told: the multiplication comes before the test.
unsigned int hexSteps(const char* text) {
  if (text == nullptr || *text == '\0') return 0;
  unsigned int value = 0;
  for (; *text != '\0'; ++text) {
    const char c = *text >= 'a' && *text <= 'z' ? static_cast<char>(*text - 'a' + 'A') : *text;
    value *= 16;
    if (c >= '0' && c <= '9')
      value += static_cast<unsigned int>(c - '0');
    else if (c >= 'A' && c <= 'F')
      value += static_cast<unsigned int>(c - 55);
    else
      break;
  }
  return value;
}

// --- Decimal readers ---------------------------------------------------------------------------

struct DecimalCase {
  std::string content;
  int intValue;
  unsigned int uintValue;
  long long int64Value;
};

TEST(Numbers, DecimalReaders) {
  const std::vector<DecimalCase> cases = {
      // plain numbers
      {"", 0, 0, 0},
      {"0", 0, 0, 0},
      {"7", 7, 7, 7},
      {"0012", 12, 12, 12},
      {"-5", -5, 0, -5},
      {"+5", 5, 5, 5},
      {"-0", 0, 0, 0},
      // blanks in front, anything behind
      {" \t\r\n 42", 42, 42, 42},
      {" -42 ", -42, 0, -42},
      {"42abc", 42, 42, 42},
      {"1,000", 1, 1, 1},
      {"3.9", 3, 3, 3},
      {"12 34", 12, 12, 12},
      {"12\0"s + "34", 12, 12, 12},
      {"0x1F", 0, 0, 0},
      // no number
      {"abc", 0, 0, 0},
      {" ", 0, 0, 0},
      {"+", 0, 0, 0},
      {"-", 0, 0, 0},
      {"--5", 0, 0, 0},
      {"+-5", 0, 0, 0},
      {"- 5", 0, 0, 0},
      {"\v5", 0, 0, 0},
      {"\f5", 0, 0, 0},
      {"\xA0"
       "5",
       0, 0, 0},
      {"\0"s + "5", 0, 0, 0},
      // the borders of 32 bits
      {"2147483647", 2147483647, 2147483647U, 2147483647LL},
      {"2147483648", 2147483647, 2147483648U, 2147483648LL},
      {"-2147483648", -2147483647 - 1, 0, -2147483648LL},
      {"-2147483649", -2147483647 - 1, 0, -2147483649LL},
      {"4294967295", 2147483647, 4294967295U, 4294967295LL},
      {"4294967296", 2147483647, 4294967295U, 4294967296LL},
      // the borders of 64 bits
      {"9223372036854775807", 2147483647, 4294967295U, kMaxInt64},
      {"9223372036854775808", 2147483647, 4294967295U, kMaxInt64},
      {"-9223372036854775808", -2147483647 - 1, 0, kMinInt64},
      {"-9223372036854775809x", -2147483647 - 1, 0, kMinInt64},
      {"18446744073709551617", 2147483647, 4294967295U, kMaxInt64},
      {"99999999999999999999999999", 2147483647, 4294967295U, kMaxInt64},
      {"-99999999999999999999999999", -2147483647 - 1, 0, kMinInt64},
  };
  for (const DecimalCase& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.content));
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_EQ(buffer.intValue(), c.intValue);
    EXPECT_EQ(buffer.uintValue(), c.uintValue);
    EXPECT_EQ(buffer.int64Value(), c.int64Value);
    EXPECT_EQ(buffer.toInt64(), c.int64Value);
    expectDecimals(c.content);
  }
}

TEST(Numbers, DecimalReadersAgreeOnAllSmallContents) {
  for (const std::string& content : harness::allStrings("09+- \n.\0"s, 4)) {
    expectDecimals(content);
    if (HasFailure()) return;
  }
}

TEST(Numbers, DecimalReadersAgreeOnEveryFirstAndLastByte) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    expectDecimals(byte);
    expectDecimals(byte + "7");
    expectDecimals("7" + byte);
    expectDecimals("-" + byte + "7");
    expectDecimals("7" + byte + "7");
  }
}

TEST(Numbers, DecimalReadersAgreeOnRandomDigits) {
  for (unsigned int seed = 1; seed <= 1000; ++seed) {
    const char* const fronts[] = {"", "-", " ", "\r\n+", " -000"};
    expectDecimals(fronts[seed % 5] + harness::randomText(seed, seed % 23, "0123456789"));
  }
}

TEST(Numbers, TheLengthBoundsADecimalWhoseTerminatorIsOverwritten) {
  for (const std::string& content : {""s, "1"s, "-"s, "-12"s, " "s, "x"s}) {
    StringBuffer buffer;
    harness::fillUnterminated(buffer, content, '3');
    expectDecimals(buffer, content);
  }
  StringBuffer exact;
  const std::string zeros = std::string(99, '0') + "8";
  harness::fillExactUnterminated(exact, zeros, '3');
  expectDecimals(exact, zeros);
}

TEST(Numbers, AnyNumberOfDigitsIsRead) {
  const double seconds = secondsOf([] {
    expectDecimals(std::string(1 << 20, '9'));
    expectDecimals("-" + std::string(1 << 20, '0') + "5");
    expectDecimals(std::string(1 << 20, ' ') + "6");
  });
  EXPECT_LT(seconds, 8.0);
}

// --- Floating point ----------------------------------------------------------------------------

double doubleOf(std::string_view content) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return buffer.doubleValue();
}

struct DoubleCase {
  std::string content;
  double value;
};

TEST(Numbers, DoubleValue) {
  const std::vector<DoubleCase> cases = {
      {"", 0.0},
      {"0", 0.0},
      {"1.5", 1.5},
      {"-1.5", -1.5},
      {"+1.5", 1.5},
      {".5", 0.5},
      {"5.", 5.0},
      {"-.25", -0.25},
      {" \t\r\n2.5 ", 2.5},
      {"2.5xyz", 2.5},
      {"1,5", 1.0},
      {"1.2.3", 1.2},
      {"1\0"s + "5", 1.0},
      // exponents
      {"1e3", 1000.0},
      {"1E3", 1000.0},
      {"1e+3", 1000.0},
      {"25e-2", 0.25},
      {"1.5e2x", 150.0},
      {"1e", 1.0},
      {"1e+", 1.0},
      {"1e-x", 1.0},
      {".5e1", 5.0},
      // no number
      {"abc", 0.0},
      {".", 0.0},
      {"-", 0.0},
      {"e5", 0.0},
      {".e5", 0.0},
      {"- 1", 0.0},
      {"--1", 0.0},
      {"\v1", 0.0},
      {"\0"s + "1", 0.0},
      {"inf", 0.0},
      {"nan", 0.0},
      {"-infinity", 0.0},
      {"0x10", 0.0},
      // the borders
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"1e309", kInfinity},
      {"-1e309", -kInfinity},
      {"1e99999999999999999999", kInfinity},
      {"4.9406564584124654e-324", 4.9406564584124654e-324},
      {"1e-400", 0.0},
      {"1e-99999999999999999999", 0.0},
      {"0e99999999999999999999", 0.0},
      // correctly rounded
      {"9007199254740993", 9007199254740992.0},
      {"9007199254740993.00000000000000000001", 9007199254740994.0},
      {"0.1", 0.1},
      {"123456789012345678901234567890", 123456789012345678901234567890.0},
  };
  for (const DoubleCase& c : cases)
    EXPECT_EQ(doubleOf(c.content), c.value) << testing::PrintToString(c.content);
}

TEST(Numbers, DoubleValueKeepsTheSignOfAZero) {
  EXPECT_TRUE(std::signbit(doubleOf("-1e-400")));
  EXPECT_FALSE(std::signbit(doubleOf("1e-400")));
  EXPECT_FALSE(std::signbit(doubleOf("")));
}

TEST(Numbers, DoubleValueReadsBackEveryPrintedDouble) {
  std::mt19937_64 random(20240607);
  for (int i = 0; i < 2000; ++i) {
    const auto mantissa = static_cast<double>(static_cast<long long>(random()));
    const double value = std::ldexp(mantissa, static_cast<int>(random() % 1800) - 950);
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    EXPECT_EQ(doubleOf(text), value) << text;
    EXPECT_EQ(doubleOf(text + " 7"s), value) << text;
  }
}

TEST(Numbers, DoubleValueTakesAPointInEveryLocale) {
  const char* const locales[] = {"C", "C.UTF-8", "de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", ""};
  for (const char* name : locales) {
    std::setlocale(LC_ALL, name);
    EXPECT_EQ(doubleOf("1.5"), 1.5) << name;
    EXPECT_EQ(doubleOf("1,5"), 1.0) << name;
  }
  std::setlocale(LC_ALL, "C");
}

TEST(Numbers, TheLengthBoundsADoubleWhoseTerminatorIsOverwritten) {
  for (const std::string& content : {""s, "1"s, "-"s, "1."s, "1.5"s, "1e"s, "x"s}) {
    StringBuffer buffer;
    harness::fillUnterminated(buffer, content, '3');
    EXPECT_EQ(buffer.doubleValue(), std::strtod(content.c_str(), nullptr)) << content;
  }
  StringBuffer exact;
  harness::fillExactUnterminated(exact, std::string(99, '0') + "8", '3');
  EXPECT_EQ(exact.doubleValue(), 8.0);
}

TEST(Numbers, DoubleValueIsLinearInItsDigits) {
  const double seconds = secondsOf([] {
    EXPECT_EQ(doubleOf(std::string(1 << 20, '9')), kInfinity);
    EXPECT_EQ(doubleOf("0." + std::string(1 << 20, '0') + "5"), 0.0);
    EXPECT_EQ(doubleOf("0.5" + std::string(1 << 20, '0')), 0.5);
  });
  EXPECT_LT(seconds, 8.0);
}

// --- Hexadecimal -------------------------------------------------------------------------------

struct HexCase {
  const char* text;
  unsigned int value;
};

TEST(Numbers, HexValueUint32) {
  const std::vector<HexCase> cases = {
      {nullptr, 0},
      {"", 0},
      {"ff", 255},
      {"FF", 255},
      {"fF", 255},
      {"0", 0},
      {"7fffffff", 0x7FFFFFFF},
      {"DEADbeef", 0xDEADBEEF},
      // the first byte that is no digit multiplies once more
      {"1G", 16},
      {"FFZ", 4080},
      {"FFZ1", 4080},
      {"G", 0},
      {"G1", 0},
      {"1 ", 16},
      {"1\xE9", 16},
      {"12345678G", 0x23456780},
      // no prefix, no sign, no blanks
      {"0x1F", 0},
      {"x1F", 0},
      {"+1F", 0},
      {"-1F", 0},
      {" 1F", 0},
      // more than eight digits wrap
      {"100000000", 0},
      {"123456789", 0x23456789},
      {"ffffffffff", 0xFFFFFFFF},
  };
  for (const HexCase& c : cases)
    EXPECT_EQ(StringBuffer::hexValueUint32(c.text), c.value) << testing::PrintToString(c.text);
}

TEST(Numbers, HexValueUint32FollowsTheStepsForEveryByte) {
  for (int b = 1; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const std::string& text : {byte, byte + "1", "1" + byte, "1" + byte + "2"})
      EXPECT_EQ(StringBuffer::hexValueUint32(text.c_str()), hexSteps(text.c_str())) << b;
  }
}

TEST(Numbers, HexValueUint32FollowsTheStepsForRandomTexts) {
  for (unsigned int seed = 1; seed <= 2000; ++seed) {
    const std::string text = harness::randomText(seed, seed % 13, "0123456789abcdefABCDEF019afG ");
    EXPECT_EQ(StringBuffer::hexValueUint32(text.c_str()), hexSteps(text.c_str())) << text;
  }
}

bool isHex(std::string_view content) {
  StringBuffer buffer;
  appendRaw(buffer, content);
  return buffer.isHexidecimal();
}

TEST(Numbers, IsHexidecimal) {
  EXPECT_TRUE(isHex(""));
  EXPECT_TRUE(isHex("09afAF"));
  EXPECT_FALSE(isHex("0x1F"));
  EXPECT_FALSE(isHex("12 34"));
  EXPECT_FALSE(isHex("-1"));
  EXPECT_FALSE(isHex("12\0"s));
  EXPECT_FALSE(isHex("12\0"s + "34"));
}

TEST(Numbers, IsHexidecimalTestsEveryByteOfTheContent) {
  const std::string digits = "0123456789abcdefABCDEF";
  for (int b = 0; b < 256; ++b) {
    const bool expected = digits.find(static_cast<char>(b)) != std::string::npos;
    for (const std::size_t at : {0U, 1U, 45U, 89U}) {
      std::string content(90, '7');
      content[at] = static_cast<char>(b);
      EXPECT_EQ(isHex(content), expected) << b << " at " << at;
    }
  }
}

// --- What holds for all of them ----------------------------------------------------------------

TEST(Numbers, EveryReaderGivesZeroForAnEmptyBuffer) {
  const StringBuffer fresh;
  StringBuffer emptied(std::string(200, '7').c_str());
  emptied.weakClear();
  for (const StringBuffer* buffer : {&fresh, static_cast<const StringBuffer*>(&emptied)}) {
    EXPECT_EQ(buffer->intValue(), 0);
    EXPECT_EQ(buffer->uintValue(), 0U);
    EXPECT_EQ(buffer->int64Value(), 0);
    EXPECT_EQ(buffer->toInt64(), 0);
    EXPECT_EQ(buffer->doubleValue(), 0.0);
    EXPECT_TRUE(buffer->isHexidecimal());
  }
}

void expectSevens(const StringBuffer& buffer) {
  EXPECT_EQ(buffer.intValue(), 2147483647);
  EXPECT_EQ(buffer.uintValue(), 4294967295U);
  EXPECT_EQ(buffer.int64Value(), kMaxInt64);
  EXPECT_EQ(buffer.toInt64(), kMaxInt64);
  EXPECT_GT(buffer.doubleValue(), 1e80);
  EXPECT_TRUE(buffer.isHexidecimal());
}

TEST(Numbers, NothingChanges) {
  for (const std::size_t size : {81U, 82U, 3000U}) {
    StringBuffer buffer(std::string(size, '7').c_str());
    const harness::BufferState before = stateOf(buffer);
    const char* data = buffer.getString();
    const long blocks = harness::liveBlocks();
    expectSevens(buffer);
    EXPECT_EQ(harness::liveBlocks(), blocks);
    EXPECT_EQ(stateOf(buffer), before);
    EXPECT_EQ(buffer.getString(), data);
  }
}

TEST(Numbers, NoReaderNeedsMemory) {
  const StringBuffer buffer(std::string(3000, '7').c_str());
  const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
  expectSevens(buffer);
  EXPECT_EQ(fail.seen(), 0);
}

TEST(Numbers, AHexTextMayPointIntoABuffer) {
  const StringBuffer buffer("12ab");
  EXPECT_EQ(StringBuffer::hexValueUint32(buffer.getString() + 2), 0xABU);
  EXPECT_EQ(StringBuffer::hexValueUint32(buffer.getString() + 4), 0U);
}

TEST(Numbers, AfterReleaseBufferOnlyTheInlineArrayIsRead) {
  StringBuffer buffer;
  harness::releaseWithStaleLength(buffer, '7');
  expectSevens(buffer);
  EXPECT_LT(buffer.doubleValue(), 1e82);
  buffer.clear();
}

// --- Former bugs -------------------------------------------------------------------------------

// A minus without a number gave a zero with a sign.
TEST(Numbers, AMinusAloneIsNoDouble) {
  for (const char* text : {"-", "-.", "- 5", "-e5"}) {
    EXPECT_EQ(doubleOf(text), 0.0) << text;
    EXPECT_FALSE(std::signbit(doubleOf(text))) << text;
  }
  EXPECT_TRUE(std::signbit(doubleOf("-0")));
}

}  // namespace
