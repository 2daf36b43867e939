#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/RadixReference.h"
#include "harness/RawContent.h"
#include "harness/Stopwatch.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"
#include "support/_clsEncode.h"

namespace {

using namespace std::string_literals;
using harness::Decoded;

constexpr std::size_t kMiB = 1U << 20U;

int idOf(const char* name) { return _clsEncode::parseEncodingName(name); }

std::string allBytes() {
  std::string bytes;
  for (int c = 0; c < 256; ++c) bytes += static_cast<char>(c);
  return bytes;
}

std::string randomBytes(std::size_t length, unsigned long long seed = 1) {
  return harness::randomText(seed, length, allBytes());
}

std::string contentOf(const DataBuffer& buffer) {
  if (buffer.getSize() == 0) return "";
  return {reinterpret_cast<const char*>(buffer.getData2()), buffer.getSize()};
}

std::string valueOf(const LogBase& log, const char* name) {
  const char* const value = log.valueOf(name);
  return value == nullptr ? "(none)" : value;
}

// Decodes a text that lies in a buffer and compares bytes, result and log with what is expected.
testing::AssertionResult decodesTo(const char* name, std::string_view text,
                                   const Decoded& expected) {
  StringBuffer buffer;
  harness::fill(buffer, text);
  const harness::BufferState before = harness::stateOf(buffer);
  DataBuffer out;
  LogBase log;
  const bool result = _clsEncode::decodeBinary(idOf(name), buffer, out, true, log);
  const auto failure = [&] {
    return testing::AssertionFailure() << name << " of " << testing::PrintToString(text) << ": ";
  };
  if (!(harness::stateOf(buffer) == before)) return failure() << "the text has changed";
  if (contentOf(out) != expected.bytes)
    return failure() << testing::PrintToString(contentOf(out)) << " instead of "
                     << testing::PrintToString(expected.bytes);
  if (result != expected.misfits.empty()) return failure() << "result " << result;
  if (log.errorCount() != (result ? 0U : 1U)) return failure() << log.errorCount() << " errors";
  if (result) return testing::AssertionSuccess();
  if (valueOf(log, "misfits") != std::to_string(expected.misfits.size()) ||
      valueOf(log, "firstOffset") != std::to_string(*expected.misfits.begin()))
    return failure() << valueOf(log, "misfits") << " misfits, the first at "
                     << valueOf(log, "firstOffset") << ", instead of "
                     << testing::PrintToString(expected.misfits);
  return testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------------------------
// Names

const std::vector<std::vector<std::string>>& namesOfEncodings() {
  static const std::vector<std::vector<std::string>> names = {
      {"base64"},
      {"base64url", "base64-url", "modBase64"},
      {"base32"},
      {"hex", "hexadecimal", "base16"},
      {"quoted-printable", "quoted_printable", "qp"},
      {"url", "url-encoding", "percent"},
  };
  return names;
}

std::string changedCase(std::string text, unsigned int pattern) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isLetter = (text[i] | 0x20) >= 'a' && (text[i] | 0x20) <= 'z';
    if (isLetter)
      text[i] = static_cast<char>((pattern >> i % 32 & 1U) != 0 ? text[i] & ~0x20 : text[i] | 0x20);
  }
  return text;
}

TEST(ClsEncode, KnowsEveryNameInEveryCase) {
  for (const std::vector<std::string>& names : namesOfEncodings()) {
    const int id = idOf(names[0].c_str());
    EXPECT_NE(id, 0) << names[0];
    for (const std::string& name : names)
      for (const unsigned int pattern : {0U, 0xFFFFFFFFU, 0x55555555U, 0xAAAAAAAAU, 1U})
        EXPECT_EQ(idOf(changedCase(name, pattern).c_str()), id) << name;
  }
}

TEST(ClsEncode, GivesEachEncodingAnIdentifierOfItsOwn) {
  std::set<int> ids;
  for (const std::vector<std::string>& names : namesOfEncodings())
    ids.insert(idOf(names[0].c_str()));
  EXPECT_EQ(ids.size(), namesOfEncodings().size());
}

TEST(ClsEncode, KnowsNoOtherNames) {
  std::set<std::string> known;
  for (const std::vector<std::string>& names : namesOfEncodings())
    for (const std::string& name : names) known.insert(changedCase(name, 0));
  for (const std::string& name : known) {
    for (const std::string& other :
         {name.substr(1), name.substr(0, name.size() - 1), name + ' ', ' ' + name, name + 'x',
          name.substr(0, 2) + '\x80' + name.substr(2)}) {
      if (known.count(other) != 0) continue;
      EXPECT_EQ(idOf(other.c_str()), 0) << other;
    }
  }
  for (const char* other : {"", "none", "binary", "ansi", "utf-8", "base6", "base-64", "uu", "%"})
    EXPECT_EQ(idOf(other), 0) << other;
  EXPECT_EQ(idOf(nullptr), 0);
}

TEST(ClsEncode, FoldsOnlyTheLettersOfNames) {
  EXPECT_EQ(idOf("base64\rurl"), 0);
  EXPECT_EQ(idOf("quoted\x7Fprintable"), 0);
  EXPECT_EQ(idOf("base\x16\x14"), 0);
}

// ---------------------------------------------------------------------------------------------
// Base64, base64url, base32, hexadecimal

struct RadixCase {
  const char* name;
  harness::Radix radix;
  std::string alphabet;  // for all short texts: symbols, padding, white space, others
};

const std::vector<RadixCase>& radixes() {
  static const std::vector<RadixCase> all = {
      {"base64", harness::base64Radix(), "Qg/= _"},
      {"base64url", harness::base64UrlRadix(), "Qg_=\n/"},
      {"base32", harness::base32Radix(), "Ay7=\t1"},
      {"hex", harness::hexRadix(), "0Af= \r"},
  };
  return all;
}

TEST(ClsEncode, DecodesTheStandardVectors) {
  // RFC 4648, section 10.
  const struct {
    const char* name;
    const char* text;
    const char* bytes;
  } cases[] = {
      {"base64", "", ""},
      {"base64", "Zg==", "f"},
      {"base64", "Zm8=", "fo"},
      {"base64", "Zm9v", "foo"},
      {"base64", "Zm9vYg==", "foob"},
      {"base64", "Zm9vYmE=", "fooba"},
      {"base64", "Zm9vYmFy", "foobar"},
      {"base64url", "Zm9vYmE=", "fooba"},
      {"base32", "", ""},
      {"base32", "MY======", "f"},
      {"base32", "MZXQ====", "fo"},
      {"base32", "MZXW6===", "foo"},
      {"base32", "MZXW6YQ=", "foob"},
      {"base32", "MZXW6YTB", "fooba"},
      {"base32", "MZXW6YTBOI======", "foobar"},
      {"hex", "", ""},
      {"hex", "66", "f"},
      {"hex", "666F", "fo"},
      {"hex", "666F6F", "foo"},
      {"hex", "666F6F62", "foob"},
      {"hex", "666F6F6261", "fooba"},
      {"hex", "666F6F626172", "foobar"},
      {"base64", "+/+/", "\xFB\xFF\xBF"},
      {"base64url", "-_-_", "\xFB\xFF\xBF"},
      {"base32", "mzxw6ytb", "fooba"},
      {"hex", "aBcDeF", "\xAB\xCD\xEF"},
  };
  for (const auto& c : cases) EXPECT_TRUE(decodesTo(c.name, c.text, {c.bytes, {}}));
}

TEST(ClsEncode, DecodesDataOfEveryLength) {
  for (const RadixCase& c : radixes()) {
    for (std::size_t n = 0; n <= 70; ++n) {
      for (unsigned long long seed = 0; seed < 5; ++seed) {
        const std::string data = randomBytes(n, n * 5 + seed);
        std::string text = harness::encoded(c.radix, data);
        ASSERT_TRUE(decodesTo(c.name, text, {data, {}}));
        while (!text.empty() && text.back() == '=') {
          text.pop_back();
          ASSERT_TRUE(decodesTo(c.name, text, {data, {}}));
        }
      }
    }
  }
}

TEST(ClsEncode, DecodesDataAroundTheSizesOfItsBlocks) {
  for (const RadixCase& c : radixes()) {
    for (const std::size_t block : {3070U, 3072U, 6140U, 6144U}) {
      for (std::size_t n = block - 6; n <= block + 6; ++n) {
        const std::string data = randomBytes(n, n);
        const std::string text = harness::encoded(c.radix, data);
        ASSERT_TRUE(decodesTo(c.name, text, {data, {}}));
        ASSERT_TRUE(decodesTo(c.name, '\n' + text, {data, {}}));
        ASSERT_TRUE(decodesTo(c.name, text.substr(0, 100) + "\r\n" + text.substr(100), {data, {}}));
      }
    }
  }
}

TEST(ClsEncode, DecodesEverySymbolInEitherCaseWhereItMay) {
  for (const RadixCase& c : radixes()) {
    for (const char first : c.radix.symbols) {
      std::string text;
      for (const char second : c.radix.symbols) text.append({first, second, second, first});
      ASSERT_TRUE(decodesTo(c.name, text, harness::decoded(c.radix, text)));
      text = changedCase(text, 0);
      ASSERT_TRUE(
          decodesTo(c.name, text.substr(0, 32), harness::decoded(c.radix, text.substr(0, 32))));
    }
  }
}

TEST(ClsEncode, DecodesEveryByteValueInEveryPlace) {
  for (const RadixCase& c : radixes()) {
    const std::string text = harness::encoded(c.radix, "ten bytes!");
    for (std::size_t at = 0; at <= text.size(); ++at) {
      for (const char byte : allBytes()) {
        std::string changed = text;
        changed.insert(at, 1, byte);
        ASSERT_TRUE(decodesTo(c.name, changed, harness::decoded(c.radix, changed))) << at;
        if (at == text.size()) continue;
        changed = text;
        changed[at] = byte;
        ASSERT_TRUE(decodesTo(c.name, changed, harness::decoded(c.radix, changed))) << at;
      }
    }
  }
}

TEST(ClsEncode, DecodesAllShortTexts) {
  for (const RadixCase& c : radixes()) {
    for (const std::string& text : harness::allStrings(c.alphabet, 5))
      ASSERT_TRUE(decodesTo(c.name, text, harness::decoded(c.radix, text)));
    for (const std::string& text : harness::allStrings(c.alphabet.substr(1, 3), 9))
      ASSERT_TRUE(decodesTo(c.name, text, harness::decoded(c.radix, text)));
  }
}

TEST(ClsEncode, DecodesRandomMalformedText) {
  for (const RadixCase& c : radixes()) {
    const std::string symbols = c.radix.symbols + c.radix.symbols + c.radix.symbols;
    for (unsigned long long seed = 0; seed < 400; ++seed) {
      const std::string odd = seed % 3 == 0 ? " " : seed % 3 == 1 ? "\r\n\t !" : "\0\x80\xFF "s;
      const std::string text = harness::randomText(seed, seed * 11 % 5000, symbols + odd) +
                               harness::randomText(seed, seed % 9, "== Q\n");
      ASSERT_TRUE(decodesTo(c.name, text, harness::decoded(c.radix, text))) << seed;
    }
  }
}

TEST(ClsEncode, TellsWhereMalformedTextBegins) {
  const struct {
    const char* name;
    std::string text;
    std::string bytes;
    std::set<std::size_t> misfits;
  } cases[] = {
      {"base64", "Zm9!v", "foo", {3}},
      {"base64", "Zm9vY", "foo", {4}},
      {"base64", "Zm9=", "fo", {2}},
      {"base64", "Z!h==", "f", {1, 2}},
      {"base64", "Zh!==", "f", {1, 2}},
      {"base64", "Zg===", "f", {4}},
      {"base64", "Zm9v=", "foo", {4}},
      {"base64", "Zg==Zg==", "f", {4, 5, 6, 7}},
      {"base64", "Zg==\0"s, "f", {4}},
      {"base64", "Zg = =\r\n", "f", {}},
      {"base64", "=", "", {0}},
      {"base64url", "+", "", {0}},
      {"base32", "MZX", "f", {2}},
      {"base32", "MZXW6Y", "foo", {5}},
      {"base32", "MZXW61", "foo", {5}},
      {"hex", "ABC", "\xAB", {2}},
      {"hex", "A B\nC D", "\xAB\xCD", {}},
      {"hex", "A-B", "\xAB", {1}},
      {"hex", "0x41", "\x04", {1, 3}},
      {"hex", "41=", "A", {2}},
  };
  for (const auto& c : cases) EXPECT_TRUE(decodesTo(c.name, c.text, {c.bytes, c.misfits}));
}

// ---------------------------------------------------------------------------------------------
// Quoted-printable and URL encoding

int digitValue(char c) {
  const std::string digits = "0123456789abcdef";
  const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  const std::size_t value = lower == '\0' ? std::string::npos : digits.find(lower);
  return value == std::string::npos ? -1 : static_cast<int>(value);
}

// Replaces the escapes of a text that begins at `offset` of the whole one.
void appendUnescaped(std::string_view text, char sign, std::size_t offset, Decoded& result) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscape = text[i] == sign && i + 2 < text.size() && digitValue(text[i + 1]) >= 0 &&
                          digitValue(text[i + 2]) >= 0;
    if (isEscape) {
      result.bytes += static_cast<char>(digitValue(text[i + 1]) * 16 + digitValue(text[i + 2]));
      i += 2;
    } else {
      if (text[i] == sign) result.misfits.insert(offset + i);
      result.bytes += text[i];
    }
  }
}

Decoded referenceUrl(std::string_view text) {
  Decoded result;
  appendUnescaped(text, '%', 0, result);
  return result;
}

// Line by line: white space at the end goes, then a "=" at the end takes the line end with it.
Decoded referenceQuotedPrintable(std::string_view text) {
  Decoded result;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    std::string_view lineEnd = text.substr(end, text.substr(end, 2) == "\r\n" ? 2 : 1);
    std::string_view line = text.substr(at, end - at);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    const bool goesOn = !line.empty() && line.back() == '=';
    if (goesOn) line.remove_suffix(1);
    appendUnescaped(line, '=', at, result);
    at = end + lineEnd.size();
    if (!goesOn) result.bytes += lineEnd;
  }
  return result;
}

TEST(ClsEncode, DecodesQuotedPrintable) {
  const struct {
    std::string text;
    std::string bytes;
    std::set<std::size_t> misfits;
  } cases[] = {
      {"", "", {}},
      {"plain text", "plain text", {}},
      {"a=3Db", "a=b", {}},
      {"=e4=C3=9c", "\xE4\xC3\x9C", {}},
      {"=00=FF", "\0\xFF"s, {}},
      {"one =\r\nline", "one line", {}},
      {"one=\nline", "oneline", {}},
      {"one=\rline", "oneline", {}},
      {"one= \t\r\nline", "oneline", {}},
      {"one=\r\n=\r\nline", "oneline", {}},
      {"ends softly=", "ends softly", {}},
      {"ends softly= \t", "ends softly", {}},
      {"white \t\r\nspace \nat \rends \t", "white\r\nspace\nat\rends", {}},
      {"kept=20\r\nand=09 \r\n", "kept \r\nand\t\r\n", {}},
      {"=20 ", " ", {}},
      {" \r\n \r\n", "\r\n\r\n", {}},
      {"a=\r\n \r\nb", "a\r\nb", {}},
      {"\n\r\r\n", "\n\r\r\n", {}},
      {"8-bit \xE4 and \x01 stay", "8-bit \xE4 and \x01 stay", {}},
      {"=", "", {}},
      {"==", "=", {0}},
      {"=3", "=3", {0}},
      {"=3G and =G3", "=3G and =G3", {0, 8}},
      {"=4\n1", "=4\n1", {0}},
      {"= x", "= x", {0}},
      {"a=\t=41", "a=\tA", {1}},
      {"=\0"s, "=\0"s, {0}},
      {"==41", "=A", {0}},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(decodesTo("qp", c.text, {c.bytes, c.misfits}));
    EXPECT_EQ(referenceQuotedPrintable(c.text).bytes, c.bytes) << c.text;
  }
}

TEST(ClsEncode, DecodesUrlEncoding) {
  const struct {
    std::string text;
    std::string bytes;
    std::set<std::size_t> misfits;
  } cases[] = {
      {"", "", {}},
      {"plain", "plain", {}},
      {"a%20b%2Bc%2fd", "a b+c/d", {}},
      {"a+b &c=d", "a+b &c=d", {}},
      {"%00%fF", "\0\xFF"s, {}},
      {"100%", "100%", {3}},
      {"%4", "%4", {0}},
      {"%4G%G4%41", "%4G%G4A", {0, 3}},
      {"%%41", "%A", {0}},
      {"%\0001"s, "%\0001"s, {0}},
      {" %41\r\n", " A\r\n", {}},
  };
  for (const auto& c : cases) EXPECT_TRUE(decodesTo("url", c.text, {c.bytes, c.misfits}));
}

TEST(ClsEncode, DecodesEveryEscape) {
  for (const char high : "0123456789abcdefABCDEF@G`g/:\x80"s) {
    for (const char low : allBytes()) {
      const std::string qp = std::string("x=") + high + low + "y";
      ASSERT_TRUE(decodesTo("qp", qp, referenceQuotedPrintable(qp)));
      const std::string url = std::string("x%") + high + low + "y";
      ASSERT_TRUE(decodesTo("url", url, referenceUrl(url)));
    }
  }
}

TEST(ClsEncode, DecodesAllShortTextsWithEscapes) {
  for (const std::string& text : harness::allStrings("=4a \r\n", 6))
    ASSERT_TRUE(decodesTo("quoted-printable", text, referenceQuotedPrintable(text)));
  for (const std::string& text : harness::allStrings("%4aG+", 6))
    ASSERT_TRUE(decodesTo("url", text, referenceUrl(text)));
}

TEST(ClsEncode, DecodesLongTextsWithEscapes) {
  const std::string words = "abcdefghijklmnopqrstuvwxyz0123456789\t  ";
  for (unsigned long long seed = 0; seed < 200; ++seed) {
    const std::string odd = seed % 2 == 0 ? "=%" : "====%%%%\r\n\n";
    const std::string text = harness::randomText(seed, seed * 67 % 9000, words + odd);
    ASSERT_TRUE(decodesTo("qp", text, referenceQuotedPrintable(text))) << seed;
    ASSERT_TRUE(decodesTo("url", text, referenceUrl(text))) << seed;
  }
}

TEST(ClsEncode, CopiesRunsOfEverySize) {
  for (const std::size_t size : {3070U, 3071U, 3072U, 3073U, 6145U, 100000U}) {
    for (const std::size_t before : {0U, 1U, 3071U}) {
      const std::string run = harness::randomText(size, size, "abc");
      std::string bytes(before, 'A');
      bytes += run + 'A';
      std::string escapes;
      for (std::size_t i = 0; i < before; ++i) escapes += "%41";
      ASSERT_TRUE(decodesTo("url", escapes + run + "%41", {bytes, {}}));
      for (char& c : escapes) c = c == '%' ? '=' : c;
      ASSERT_TRUE(decodesTo("qp", escapes + run + "=41", {bytes, {}}));
    }
  }
}

// ---------------------------------------------------------------------------------------------
// All encodings

// An encoding, and what encodes data in it.
struct Codec {
  const char* name;
  std::function<std::string(std::string_view)> encode;
};

std::string escaped(char sign, std::string_view data) {
  std::string text;
  for (const char c : data) text += sign + harness::encoded(harness::hexRadix(), {&c, 1});
  return text;
}

std::vector<Codec> codecs() {
  std::vector<Codec> all;
  for (const RadixCase& c : radixes())
    all.push_back({c.name, [&c](std::string_view data) { return encoded(c.radix, data); }});
  all.push_back({"qp", [](std::string_view data) { return escaped('=', data); }});
  all.push_back({"url", [](std::string_view data) { return escaped('%', data); }});
  return all;
}

TEST(ClsEncode, AppendsToTheOutputOrReplacesIt) {
  for (const Codec& codec : codecs()) {
    StringBuffer text(codec.encode("data").c_str());
    DataBuffer out;
    LogBase log;
    ASSERT_TRUE(out.append("kept ", 5));
    EXPECT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), text, out, true, log));
    EXPECT_EQ(contentOf(out), "kept data");
    EXPECT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), text, out, false, log));
    EXPECT_EQ(contentOf(out), "data");
    EXPECT_EQ(log.errorCount() + log.valueCount() + log.contextCount(), 0U);
  }
}

TEST(ClsEncode, DecodesAnEmptyTextToNothing) {
  for (const Codec& codec : codecs()) {
    DataBuffer out;
    LogBase log;
    EXPECT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), StringBuffer(), out, true, log));
    EXPECT_EQ(out.getSize(), 0U);
    ASSERT_TRUE(out.append("old", 3));
    EXPECT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), StringBuffer(), out, false, log));
    EXPECT_EQ(out.getSize(), 0U);
  }
}

TEST(ClsEncode, DecodesNothingOfABufferWhoseStorageWasReleased) {
  for (const Codec& codec : codecs()) {
    StringBuffer text;
    harness::fill(text, codec.encode(std::string(5000, 'x')));
    text.releaseBuffer();
    DataBuffer out;
    LogBase log;
    EXPECT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), text, out, true, log));
    EXPECT_EQ(out.getSize(), 0U);
    text.clear();
  }
}

TEST(ClsEncode, RefusesUnknownIdentifiers) {
  const StringBuffer text("41");
  for (const int id : {0, -1, 7, 1000000, -2147483647 - 1, 2147483647}) {
    DataBuffer out;
    LogBase log;
    ASSERT_TRUE(out.append("kept", 4));
    EXPECT_FALSE(_clsEncode::decodeBinary(id, text, out, true, log));
    EXPECT_EQ(contentOf(out), "kept");
    EXPECT_EQ(log.errorCount(), 1U);
    EXPECT_STREQ(log.errorAt(0), "Unknown binary encoding");
    EXPECT_EQ(valueOf(log, "encoding"), std::to_string(id));
    EXPECT_FALSE(_clsEncode::decodeBinary(id, text, out, false, log));
    EXPECT_EQ(out.getSize(), 0U);
  }
}

TEST(ClsEncode, LogsMalformedTextInAContext) {
  for (const char* name : {"base64", "BASE64"}) {
    const StringBuffer text("Z*g?==");
    DataBuffer out;
    LogBase log;
    EXPECT_FALSE(_clsEncode::decodeBinary(idOf(name), text, out, true, log));
    StringBuffer lines;
    ASSERT_TRUE(log.toText(lines));
    EXPECT_STREQ(lines.getString(),
                 "decodeBinary:\n"
                 "  error: The text is malformed\n"
                 "  encoding: base64\n"
                 "  misfits: 2\n"
                 "  firstOffset: 1\n");
  }
}

std::string repeated(const std::string& piece, int times) {
  std::string all;
  while (times-- > 0) all += piece;
  return all;
}

TEST(ClsEncode, CopiesBackSeveralMegabytes) {
  const std::string piece = randomBytes(30000);  // whole groups of every encoding
  const std::string data = repeated(piece, 100) + piece.substr(0, 7);
  for (const Codec& codec : codecs()) {
    StringBuffer text;
    harness::fill(text, repeated(codec.encode(piece), 100) + codec.encode(piece.substr(0, 7)));
    DataBuffer out;
    LogBase log;
    ASSERT_TRUE(_clsEncode::decodeBinary(idOf(codec.name), text, out, true, log)) << codec.name;
    EXPECT_TRUE(contentOf(out) == data) << codec.name;
  }
}

TEST(ClsEncode, DecodesWithASingleAllocation) {
  for (const Codec& codec : codecs()) {
    StringBuffer text;
    harness::fill(text, codec.encode(randomBytes(50000)));
    DataBuffer out;
    LogBase log;
    const int id = idOf(codec.name);
    const harness::FailAllocation count(0);
    ASSERT_TRUE(_clsEncode::decodeBinary(id, text, out, true, log));
    EXPECT_EQ(count.seen(), 2) << codec.name;  // the block and the context of the log
  }
}

// Counts errors without needing memory for them.
class ErrorCount : public LogBase {
 public:
  void LogError(const char* text) override {
    ++errors;
    outOfMemory = outOfMemory || std::string_view(text) == "Out of memory";
  }
  void LogData(const char* /*name*/, const char* /*value*/) override {}

  int errors = 0;
  bool outOfMemory = false;
};

TEST(ClsEncode, ReportsExhaustedMemoryAndKeepsTheOutput) {
  for (const Codec& codec : codecs()) {
    const std::string data = randomBytes(20000);
    StringBuffer text;
    harness::fill(text, codec.encode(data));
    const int id = idOf(codec.name);
    std::vector<DataBuffer> out(1);
    std::vector<ErrorCount> log(1);
    bool result = false;
    const long failures = harness::failEveryAllocation(
        [&] {
          std::vector<DataBuffer>(1).swap(out);
          std::vector<ErrorCount>(1).swap(log);
          ASSERT_TRUE(out[0].append("kept", 4));
        },
        [&] { result = _clsEncode::decodeBinary(id, text, out[0], true, log[0]); },
        [&] {
          ASSERT_EQ(contentOf(out[0]), result ? "kept" + data : "kept");
          ASSERT_EQ(log[0].errors, result ? 0 : 1);
          ASSERT_EQ(log[0].outOfMemory, !result);
        });
    EXPECT_TRUE(result);
    EXPECT_GE(failures, 2) << codec.name;
  }
}

TEST(ClsEncode, DecodesHostileTextInLinearTime) {
  const std::size_t size = 4 * kMiB;
  std::string blanksBetweenSigns;
  while (blanksBetweenSigns.size() < size) blanksBetweenSigns += "=" + std::string(1000, ' ') + "x";
  const std::string texts[] = {std::string(size, ' '),        std::string(size, '='),
                               std::string(size, '%'),        "=" + std::string(size, ' ') + "x",
                               std::string(size, ' ') + "\n", blanksBetweenSigns,
                               std::string(size, '!')};
  const double seconds = harness::secondsOf([&texts] {
    for (const std::string& text : texts) {
      StringBuffer buffer;
      harness::fill(buffer, text);
      for (const Codec& codec : codecs()) {
        DataBuffer out;
        LogBase log;
        const bool result = _clsEncode::decodeBinary(idOf(codec.name), buffer, out, true, log);
        EXPECT_EQ(result, log.errorCount() == 0);
      }
    }
  });
  EXPECT_LT(seconds, 30);
}

}  // namespace
