#include "support/dvParse.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <chrono>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(DvIntValue, ReadsTheLeadingNumber) {
  const struct {
    const char* text;
    int expected;
    unsigned int expectedUnsigned;
  } cases[] = {
      {nullptr, 0, 0},
      {"", 0, 0},
      {"0", 0, 0},
      {"42", 42, 42},
      {"+42", 42, 42},
      {"-42", -42, 0},
      {" \t\r\n7 8", 7, 7},
      {"12abc", 12, 12},
      {"12.9", 12, 12},
      {"1e3", 1, 1},
      {"0x10", 0, 0},
      {"007", 7, 7},
      {"abc", 0, 0},
      {"-", 0, 0},
      {"+-5", 0, 0},
      {"--5", 0, 0},
      {"- 5", 0, 0},
      {"+ 5", 0, 0},
      {"\v5", 0, 0},
      {"\f5", 0, 0},
      {"\xA0"
       "5",
       0, 0},
      {"-0", 0, 0},
      {"2147483646", INT_MAX - 1, 2147483646U},
      {"2147483647", INT_MAX, 2147483647U},
      {"2147483648", INT_MAX, 2147483648U},
      {"-2147483647", INT_MIN + 1, 0},
      {"-2147483648", INT_MIN, 0},
      {"-2147483649", INT_MIN, 0},
      {"4294967295", INT_MAX, UINT_MAX},
      {"4294967296", INT_MAX, UINT_MAX},
      {"18446744073709551615", INT_MAX, UINT_MAX},
      {"18446744073709551616", INT_MAX, UINT_MAX},
      {"-18446744073709551616", INT_MIN, 0},
      {"99999999999999999999999999", INT_MAX, UINT_MAX},
      {"00000000000000000000000000000000012", 12, 12},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(dvIntValue(c.text), c.expected) << (c.text ? c.text : "null");
    EXPECT_EQ(dvUIntValue(c.text), c.expectedUnsigned) << (c.text ? c.text : "null");
  }
}

TEST(DvIntValue, SkipsExactlyTheFourBlanks) {
  for (int c = 1; c < 256; ++c) {
    const char text[] = {static_cast<char>(c), '5', 0};
    int expected = std::strchr(" \t\r\n+", c) != nullptr ? 5 : 0;
    if (c == '-') expected = -5;
    if (c >= '0' && c <= '9') expected = (c - '0') * 10 + 5;
    EXPECT_EQ(dvIntValue(text), expected) << c;
  }
}

TEST(DvParseDecimalInt64, ReadsAWholeNumber) {
  const struct {
    std::string text;
    long long expected;
    bool whole;
  } cases[] = {
      {"0", 0, true},
      {"-0", 0, true},
      {" \t\r\n-17\n\r\t ", -17, true},
      {"+17", 17, true},
      {"17x", 17, false},
      {"17 x", 17, false},
      {"1 7", 1, false},
      {"x17", 0, false},
      {" ", 0, false},
      {"-", 0, false},
      {"--1", 0, false},
      {"- 1", 0, false},
      {std::string("5\0", 2), 5, false},
      {std::string("\0005", 2), 0, false},
      {"9223372036854775806", LLONG_MAX - 1, true},
      {"9223372036854775807", LLONG_MAX, true},
      {"9223372036854775808", LLONG_MAX, false},
      {"-9223372036854775807", LLONG_MIN + 1, true},
      {"-9223372036854775808", LLONG_MIN, true},
      {"-9223372036854775809", LLONG_MIN, false},
      {"18446744073709551615", LLONG_MAX, false},
      {"18446744073709551616", LLONG_MAX, false},
      {"-18446744073709551616", LLONG_MIN, false},
  };
  for (const auto& c : cases) {
    const std::vector<char> exact(c.text.begin(), c.text.end());  // no NUL behind it
    long long value = 99;
    EXPECT_EQ(dvParseDecimalInt64(exact.data(), exact.data() + exact.size() - 1, value), c.whole)
        << c.text;
    EXPECT_EQ(value, c.expected) << c.text;
  }
}

TEST(DvParseDecimalInt64, TakesNoBytesAsAnEmptyText) {
  const char text[] = "12";
  for (const auto& [first, last] : {std::pair<const char*, const char*>(nullptr, nullptr),
                                    {text, nullptr},
                                    {nullptr, text},
                                    {text + 1, text}}) {
    long long value = 99;
    EXPECT_FALSE(dvParseDecimalInt64(first, last, value));
    EXPECT_EQ(value, 0);
  }
}

TEST(DvValHex, ReadsTheLeadingDigits) {
  const struct {
    const char* text;
    unsigned int expected;
  } cases[] = {
      {nullptr, 0},
      {"", 0},
      {"0", 0},
      {"ff", 255},
      {"FF", 255},
      {"fFg", 255},
      {"g", 0},
      {" 1", 0},
      {"-1", 0},
      {"0x1", 0},
      {"12345678", 0x12345678U},
      {"ffffffff", UINT_MAX},
      {"123456789", 0x23456789U},
      {"100000000", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(dv_valHex(c.text), c.expected) << (c.text ? c.text : "");
}

TEST(DvValHex, KnowsEveryByte) {
  for (int c = 0; c < 256; ++c) {
    const char text[] = {'1', static_cast<char>(c), 0};
    unsigned int expected = 1;
    if (c >= '0' && c <= '9') expected = 16U + static_cast<unsigned int>(c - '0');
    if (c >= 'a' && c <= 'f') expected = 26U + static_cast<unsigned int>(c - 'a');
    if (c >= 'A' && c <= 'F') expected = 26U + static_cast<unsigned int>(c - 'A');
    EXPECT_EQ(dv_valHex(text), expected) << c;
  }
}

TEST(DvValHexN, ReadsNoMoreThanTheCount) {
  EXPECT_EQ(dv_valHexN("12ab", 0), 0U);
  EXPECT_EQ(dv_valHexN("12ab", 1), 1U);
  EXPECT_EQ(dv_valHexN("12ab", 4), 0x12ABU);
  EXPECT_EQ(dv_valHexN("12ab", 9), 0x12ABU);
  EXPECT_EQ(dv_valHexN("1g2a", 4), 1U);
  EXPECT_EQ(dv_valHexN(nullptr, 4), 0U);
  const std::vector<char> unterminated(4, 'f');
  EXPECT_EQ(dv_valHexN(unterminated.data(), 4), 0xFFFFU);
}

TEST(DvAtof, ReadsTheLeadingNumber) {
  const struct {
    const char* text;
    double expected;
  } cases[] = {
      {nullptr, 0},
      {"", 0},
      {"0", 0},
      {"1", 1},
      {"+1", 1},
      {"-1", -1},
      {"1.5", 1.5},
      {" \t\r\n1.5", 1.5},
      {".5", 0.5},
      {"-.5", -0.5},
      {"5.", 5},
      {".", 0},
      {"-", 0},
      {"+-1", 0},
      {"--1", 0},
      {"- 1", 0},
      {"1e3", 1000},
      {"1E3", 1000},
      {"1e+3", 1000},
      {"1e-3", 0.001},
      {"1e", 1},
      {"1e+", 1},
      {"1e 3", 1},
      {"1.5.5", 1.5},
      {"1,5", 1},
      {"1.5x", 1.5},
      {"x1", 0},
      {"inf", 0},
      {"-inf", 0},
      {"nan", 0},
      {"infinity", 0},
      {"NAN(1)", 0},
      {"0x10", 0},
      {"0x1p3", 0},
      {"\v1", 0},
      {"1 2", 1},
      {"1-2", 1},
      {"1+2", 1},
      {"e5", 0},
      {".e5", 0},
      {"0.1", 0.1},
      {"123456789012345678901234567890", 123456789012345678901234567890.0},
      {"1.7976931348623157e308", DBL_MAX},
      {"2.2250738585072014e-308", DBL_MIN},
      {"4.9406564584124654e-324", 4.9406564584124654e-324},
      {"9007199254740993", 9007199254740992.0},  // a tie goes to the even neighbour
      {"9007199254740993.00000000000000000000000000000001", 9007199254740994.0},
  };
  for (const auto& c : cases) EXPECT_EQ(dv_atof(c.text), c.expected) << (c.text ? c.text : "null");
}

TEST(DvAtof, GoesToInfinityOrZeroBeyondItsRange) {
  const std::string zeros(400, '0');
  const struct {
    std::string text;
    double expected;
  } cases[] = {
      {"1e309", kInfinity},
      {"1e400", kInfinity},
      {"-1e400", -kInfinity},
      {"1e99999999999999999999", kInfinity},
      {"1" + zeros, kInfinity},
      {"1" + zeros + ".5", kInfinity},
      {"-1" + zeros, -kInfinity},
      {"0.001e400", kInfinity},
      {"1e-400", 0},
      {"1e-99999999999999999999", 0},
      {"1000e-400", 0},
      {"0." + zeros + "1", 0},
      {"." + zeros + "1", 0},
      {"0e99999999999999999999", 0},
      {"1" + zeros + "e-400", 1},
      {"0." + zeros + "1e401", 1},
  };
  for (const auto& c : cases) EXPECT_EQ(dv_atof(c.text.c_str()), c.expected) << c.text;
  EXPECT_TRUE(std::signbit(dv_atof("-1e-400")));
  EXPECT_TRUE(std::signbit(dv_atof("-0")));
  EXPECT_FALSE(std::signbit(dv_atof("1e-400")));
}

TEST(DvAtof, AgreesWithTheStandardLibraryOnRandomNumbers) {
  std::mt19937_64 random(7);
  for (int round = 0; round < 100000; ++round) {
    const unsigned long long bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    if (!std::isfinite(value)) continue;
    char text[64];
    std::snprintf(text, sizeof(text), "%.17g", value);
    ASSERT_EQ(dv_atof(text), value) << text;
  }
}

TEST(DvAtof, DoesNotDependOnTheLocale) {
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8"})
    if (std::setlocale(LC_ALL, name) != nullptr) break;
  EXPECT_EQ(dv_atof("1.5"), 1.5);
  EXPECT_EQ(dv_atof("1,5"), 1);
  std::setlocale(LC_ALL, "C");
}

TEST(DvParse, ReadsLongTextsQuickly) {
  const std::string zeros(1U << 20U, '0');
  const std::string blanks(1U << 20U, ' ');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dvIntValue((zeros + "7").c_str()), 7);
  EXPECT_EQ(dvUIntValue((blanks + "7").c_str()), 7U);
  EXPECT_EQ(dv_atof(("0." + zeros + "1").c_str()), 0);
  EXPECT_EQ(dv_atof((blanks + "1.5").c_str()), 1.5);
  EXPECT_EQ(dv_atof((std::string(1U << 20U, '9') + "e-1048576").c_str()), 1);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10);
}

// --- Former bugs ---------------------------------------------------------------------------------

// A minus without a number gave a zero with a sign.
TEST(DvAtof, AMinusAloneIsNoNumber) {
  for (const char* text : {"-", "-.", "- 5", "-e5", "-.e5", "-x", " \t-", "--1", "-+1", "-inf"}) {
    EXPECT_EQ(dv_atof(text), 0) << text;
    EXPECT_FALSE(std::signbit(dv_atof(text))) << text;
  }
  for (const char* text : {"-0", "-0.", "-.0", "-0e5", "-1e-400", "-0x"}) {
    EXPECT_EQ(dv_atof(text), 0) << text;
    EXPECT_TRUE(std::signbit(dv_atof(text))) << text;
  }
}

}  // namespace
