#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/JisRows.h"
#include "harness/Stopwatch.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"

// Each page beside the C library's converter. The built-in tables have another source, so this
// compares two; for the pages that the C library itself converts, it compares the blocks, offsets
// and substitutes with a conversion that goes character by character.

namespace {

constexpr int kUtf8 = 65001;
constexpr int kUtf32Le = 12000;

struct Result {
  std::string bytes;
  bool done;
  unsigned int errors;
  long characters;   // how many were replaced, as logged
  long firstOffset;  // where the first one stands, as logged
};

long logged(const LogBase& log, const char* name) {
  const char* const value = log.valueOf(name);
  return value == nullptr ? 0 : std::stol(value);
}

std::string contentOf(const DataBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.getData2()), buffer.getSize()};
}

bool convertInto(int from, int to, std::string_view text, DataBuffer& out, LogBase& log) {
  EncodingConvert converter;
  return converter.EncConvert(from, to, reinterpret_cast<const unsigned char*>(text.data()),
                              static_cast<unsigned int>(text.size()), out, log);
}

Result convert(int from, int to, std::string_view text) {
  DataBuffer out;
  LogBase log;
  const bool done = convertInto(from, to, text, out, log);
  return {contentOf(out), done, log.errorCount(), logged(log, "characters"),
          logged(log, "firstOffset")};
}

void expectExact(int from, int to, std::string_view text, std::string_view expected) {
  const Result result = convert(from, to, text);
  EXPECT_TRUE(result.done) << from << " to " << to << ", first at " << result.firstOffset;
  EXPECT_EQ(result.errors, 0U);
  EXPECT_TRUE(result.bytes == expected)
      << from << " to " << to << ": " << testing::PrintToString(result.bytes.substr(0, 200));
}

void expectFaults(int from, int to, std::string_view text, std::string_view expected, long count,
                  long offset) {
  const Result result = convert(from, to, text);
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.errors, 1U);
  const std::string shown = testing::PrintToString(std::string(text.substr(0, 200)));
  EXPECT_TRUE(result.bytes == expected)
      << from << " to " << to << ": " << testing::PrintToString(result.bytes.substr(0, 200));
  EXPECT_EQ(result.characters, count) << from << " to " << to << ": " << shown;
  EXPECT_EQ(result.firstOffset, offset) << from << " to " << to << ": " << shown;
}

// One of the C library's converters.
class System {
 public:
  System(const char* to, const char* from) : m_converter(iconv_open(to, from)) {
    EXPECT_TRUE(exists()) << "The C library has no converter from " << from << " to " << to;
  }
  ~System() {
    if (exists()) iconv_close(m_converter);
  }
  System(const System&) = delete;
  System& operator=(const System&) = delete;

  bool exists() const { return m_converter != reinterpret_cast<iconv_t>(-1); }

  // Converts a short text from the initial state on. False when a part of it has no form; errno
  // says why.
  bool convert(std::string_view text, std::string& out) {
    char buffer[256];
    iconv(m_converter, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(text.data());
    std::size_t left = text.size();
    char* to = buffer;
    std::size_t room = sizeof(buffer);
    constexpr auto kFailed = static_cast<std::size_t>(-1);
    const bool done = iconv(m_converter, &in, &left, &to, &room) != kFailed &&
                      iconv(m_converter, nullptr, nullptr, &to, &room) != kFailed;
    out.assign(buffer, to);
    return done;
  }

 private:
  iconv_t m_converter;
};

std::string utf32(unsigned int codePoint) {
  std::string text;
  for (unsigned int shift = 0; shift < 32; shift += 8)
    text += static_cast<char>((codePoint >> shift) & 0xFFU);
  return text;
}

// All scalar values below 0x10000.
std::string basicPlane() {
  std::string text;
  for (unsigned int c = 0; c < 0x10000; ++c)
    if (c < 0xD800 || c > 0xDFFF) text += utf32(c);
  return text;
}

std::size_t placeInBasicPlane(std::string_view character) {
  const unsigned int codePoint = static_cast<unsigned char>(character[0]) |
                                 static_cast<unsigned int>(static_cast<unsigned char>(character[1]))
                                     << 8U;
  return codePoint < 0xD800 ? codePoint : codePoint - 0x800;
}

std::string repeated(std::string_view piece, long times) {
  std::string text;
  for (long i = 0; i < times; ++i) text += piece;
  return text;
}

// ---- Single bytes -------------------------------------------------------------------------------

struct Page {
  int number;
  const char* name;  // for the C library
};

constexpr Page kSingleBytePages[] = {
    {437, "CP437"},         {737, "CP737"},         {775, "CP775"},         {850, "CP850"},
    {852, "CP852"},         {855, "CP855"},         {857, "CP857"},         {858, "CP858"},
    {860, "CP860"},         {861, "CP861"},         {862, "CP862"},         {863, "CP863"},
    {864, "CP864"},         {865, "CP865"},         {866, "CP866"},         {869, "CP869"},
    {874, "CP874"},         {1250, "CP1250"},       {1251, "CP1251"},       {1252, "CP1252"},
    {1253, "CP1253"},       {1254, "CP1254"},       {1255, "CP1255"},       {1256, "CP1256"},
    {1257, "CP1257"},       {1258, "CP1258"},       {10000, "MACINTOSH"},   {10017, "MAC-UK"},
    {20866, "KOI8-R"},      {21866, "KOI8-U"},      {28591, "ISO-8859-1"},  {28592, "ISO-8859-2"},
    {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},  {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},
    {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},  {28599, "ISO-8859-9"},  {28600, "ISO-8859-10"},
    {28601, "ISO-8859-11"}, {28603, "ISO-8859-13"}, {28604, "ISO-8859-14"}, {28605, "ISO-8859-15"},
    {28606, "ISO-8859-16"},
};

// Where a page differs from the C library's on purpose.
constexpr struct {
  int page;
  unsigned char byte;
  unsigned int codePoint;
} kDifferences[] = {
    // The shared table of Windows-1252 gives the C1 controls to the bytes without a character.
    {1252, 0x81, 0x81},
    {1252, 0x8D, 0x8D},
    {1252, 0x8F, 0x8F},
    {1252, 0x90, 0x90},
    {1252, 0x9D, 0x9D},
    // The newer tables of Apple, as in the Encoding Standard of the WHATWG.
    {10000, 0xC6, 0x2206},
    {10000, 0xF0, 0xF8FF},
    {10017, 0xFF, 0x20AC},
};

// The character of a byte, in UTF-32; empty for none.
std::string expectedCharacter(const Page& page, System& decoder, unsigned char byte) {
  for (const auto& d : kDifferences)
    if (d.page == page.number && d.byte == byte) return utf32(d.codePoint);
  const char source = static_cast<char>(byte);
  std::string character;
  return decoder.convert({&source, 1}, character) ? character : "";
}

TEST(CodePages, DecodeEachByteAsTheSystemDoes) {
  int checked = 0;
  for (const Page& page : kSingleBytePages) {
    System decoder("UTF-32LE", page.name);
    ASSERT_TRUE(decoder.exists());
    std::string bytes;
    std::string characters;
    for (unsigned int byte = 0; byte < 256; ++byte, ++checked) {
      const std::string source(1, static_cast<char>(byte));
      const std::string expected =
          expectedCharacter(page, decoder, static_cast<unsigned char>(byte));
      if (expected.empty()) {
        expectFaults(page.number, kUtf32Le, source, utf32(0xFFFD), 1, 0);
        continue;
      }
      expectExact(page.number, kUtf32Le, source, expected);
      bytes += source;
      characters += expected;
    }
    expectExact(page.number, kUtf32Le, bytes, characters);
    expectExact(kUtf32Le, page.number, characters, bytes);
  }
  EXPECT_EQ(checked, 45 * 256);
}

// The C library also writes a base and a mark for what 1255 and 1258 have in no other way; here
// only the character of a byte has a form.
TEST(CodePages, EncodeTheCharactersOfTheirBytesAndNoOthers) {
  const std::string text = basicPlane();
  for (const Page& page : kSingleBytePages) {
    System decoder("UTF-32LE", page.name);
    ASSERT_TRUE(decoder.exists());
    std::string expected(text.size() / 4, '?');
    for (unsigned int byte = 0; byte < 256; ++byte) {
      const std::string character =
          expectedCharacter(page, decoder, static_cast<unsigned char>(byte));
      if (!character.empty()) expected[placeInBasicPlane(character)] = static_cast<char>(byte);
    }
    expected['?'] = '!';  // the question mark itself is no substitute
    const long missing = std::count(expected.begin(), expected.end(), '?');
    const std::size_t first = 4 * expected.find('?');
    expected['?'] = '?';
    expectFaults(kUtf32Le, page.number, text, expected, missing, static_cast<long>(first));
  }
}

TEST(CodePages, HaveOnlyTheArabicPercentSignIn864) {
  expectExact(864, kUtf8, "5% of a text with more than a few bytes",
              "5\xD9\xAA of a text with more than a few bytes");
  expectExact(kUtf8, 864, "5\xD9\xAA", "5%");
  expectFaults(kUtf8, 864, "50% of a text with more than a few bytes",
               "50? of a text with more than a few bytes", 1, 2);
}

TEST(CodePages, HaveNoCharacterBeyondTheBasicPlaneInOneByte) {
  // U+100E9 and U+10451 end in 16 bits that many pages have.
  for (const Page& page : kSingleBytePages)
    expectFaults(kUtf8, page.number, "\xF0\x90\x83\xA9\xF0\x90\x91\x91", "??", 2, 0);
}

TEST(CodePages, EndWhereTheirNeighboursBegin) {
  for (const int page : {436, 438, 738, 859, 867, 931, 933, 1249, 1259, 1360, 20865, 21867, 28590,
                         28602, 28607, 50219, 54935, 54937}) {
    LogBase log;
    DataBuffer out;
    EXPECT_FALSE(convertInto(page, kUtf8, "", out, log)) << page;
    EXPECT_STREQ(log.errorAt(0), "Unknown code page; the bytes are passed through");
  }
}

// ---- East Asia ----------------------------------------------------------------------------------

// The pages without shift sequences that the C library has as they are.
constexpr Page kMultiBytePages[] = {
    {932, "CP932"},    {936, "CP936"},    {949, "CP949"},    {950, "CP950"},
    {1361, "JOHAB"},   {20932, "EUC-JP"}, {20936, "EUC-CN"}, {20949, "EUC-KR"},
    {51936, "EUC-CN"}, {51949, "EUC-KR"}, {51950, "EUC-TW"}, {54936, "GB18030"},
};

std::string fromHex(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2)
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
  return bytes;
}

// Characters of all kinds that a page has, in UTF-8 and in the page, by Python's codecs. (One is
// corrected: of the two places of U+9AD9 in 932, Windows writes the one among IBM's extensions.)
constexpr struct {
  int page;
  const char* utf8;
  const char* bytes;
} kSamples[] = {
    {932,
     "E697A5E69CACE8AA9EE381AEE38386E382ADE382B9E38388E38081E6BCA2E5AD97E3818BE381AAE4BAA4E38198"
     "E3828AE69687E38082EFBE8AEFBE9DEFBDB6EFBDB8E291A0E388B1E9AB99EFBD9EE288A5EFBC8DEFBFA0EFBFA1"
     "EFBFA2E382BDE8A1A8",
     "93FA967B8CEA82CC8365834C8358836781418ABF8E9A82A982C88CF082B682E895B68142CADDB6B88740878AFB"
     "FC81608161817C8191819281CA835C955C"},
    {936,
     "E7AE80E4BD93E4B8ADE69687E6B58BE8AF95EFBC8CE6B189E5AD97E4B88EE6A087E782B9E38082E7B981E9AB94"
     "E4BAA6E58FAFEFBC9AE9BE8DE9ACB1",
     "BCF2CCE5D6D0CEC4B2E2CAD4A3ACBABAD7D6D3EBB1EAB5E3A1A3B7B1F377D2E0BFC9A3BAFD88F464"},
    {949,
     "ED959CEAB5ADEC96B420EBACB8EC9EA5EAB3BC20E6BCA2E5AD972C20EAB082EB98A0ECAB9320E389A020E291A0",
     "C7D1B1B9BEEE20B9AEC0E5B0FA20F9D3EDAE2C2081418C63C2D120A8B120A8E7"},
    {950,
     "E7B981E9AB94E4B8ADE69687E6B8ACE8A9A6EFBC8CE58A9FE8A8B1E8938BE6A899E9BB9EE38082E3808CE3808D"
     "E4BA94",
     "C163C5E9A4A4A4E5B4FAB8D5A141A55CB35CBB5CBCD0C249A143A175A176A4AD"},
    {1361, "ED959CEAB5ADEC96B420EBACB8EC9EA5EAB3BC20E6BCA2E5AD9720EB98A0",
     "D0658A82B4E120A285B87789C120F7D3F1AE2099B1"},
    {20932,
     "E697A5E69CACE8AA9EE381AEE38386E382ADE382B9E38388E38081E6BCA2E5AD97E38082EFBE8AEFBE9DE4B882"
     "E4BEAE",
     "C6FCCBDCB8ECA4CEA5C6A5ADA5B9A5C8A1A2B4C1BBFAA1A38ECA8EDD8FB0A1C9EE"},
    {20936, "E7AE80E4BD93E4B8ADE69687E6B58BE8AF95EFBC8CE6B189E5AD97E4B88EE6A087E782B9E38082",
     "BCF2CCE5D6D0CEC4B2E2CAD4A3ACBABAD7D6D3EBB1EAB5E3A1A3"},
    {20949, "ED959CEAB5ADEC96B420EBACB8EC9EA5EAB3BC20E6BCA2E5AD972C20E291A0",
     "C7D1B1B9BEEE20B9AEC0E5B0FA20F9D3EDAE2C20A8E7"},
    {50220, "E697A5E69CACE8AA9E20616E6420415343494920E381AEE38386E382ADE382B9E38388E38082",
     "1B2442467C4B5C386C1B284220616E64204153434949201B2442244E2546252D2539254821231B2842"},
    {50225, "ED959CEAB5ADEC96B4204120E6BCA2E5AD97", "1B2429430E475131393E6E0F2041200E79536D2E0F"},
    {51932,
     "E697A5E69CACE8AA9EE381AEE38386E382ADE382B9E38388E38081E6BCA2E5AD97E38082EFBE8AEFBE9DE4B882"
     "E4BEAE",
     "C6FCCBDCB8ECA4CEA5C6A5ADA5B9A5C8A1A2B4C1BBFAA1A38ECA8EDD8FB0A1C9EE"},
    {51936, "E7AE80E4BD93E4B8ADE69687E6B58BE8AF95EFBC8CE6B189E5AD97E4B88EE6A087E782B9E38082",
     "BCF2CCE5D6D0CEC4B2E2CAD4A3ACBABAD7D6D3EBB1EAB5E3A1A3"},
    {51949, "ED959CEAB5ADEC96B420EBACB8EC9EA5EAB3BC20E6BCA2E5AD972C20E291A0",
     "C7D1B1B9BEEE20B9AEC0E5B0FA20F9D3EDAE2C20A8E7"},
    {54936, "E7AE80E4BD93E4B8ADE69687EFBC8CC3A9E282AC20C480E9BE8DF09F9880ED959C",
     "BCF2CCE5D6D0CEC4A3ACA8A6A2E32081308B38FD889439FC3683368433"},
};

TEST(CodePages, ConvertSamplesOfEastAsia) {
  for (const auto& sample : kSamples) {
    expectExact(sample.page, kUtf8, fromHex(sample.bytes), fromHex(sample.utf8));
    expectExact(kUtf8, sample.page, fromHex(sample.utf8), fromHex(sample.bytes));
  }
}

TEST(CodePages, KeepAsciiAsItIs) {
  std::string ascii;
  for (unsigned int c = 0; c < 0x80; ++c) ascii += static_cast<char>(c);
  for (const Page& page : kMultiBytePages) {
    if (page.number == 1361) continue;  // has the won sign, see below
    for (const char& c : ascii) {
      expectExact(page.number, kUtf8, {&c, 1}, {&c, 1});
      expectExact(kUtf8, page.number, {&c, 1}, {&c, 1});
    }
    expectExact(page.number, kUtf8, ascii, ascii);
    expectExact(kUtf8, page.number, ascii, ascii);
  }
}

// In long texts as in short ones.
TEST(CodePages, HaveTheWonSignForTheBackslashInJohab) {
  const std::string a(40, 'a');
  expectExact(1361, kUtf8, "\\", "\xE2\x82\xA9");
  expectExact(1361, kUtf8, a + "\\" + a, a + "\xE2\x82\xA9" + a);
  expectExact(kUtf8, 1361, "\xE2\x82\xA9", "\\");
  expectFaults(kUtf8, 1361, a + "\\" + a, a + "?" + a, 1, 40);
}

// What a page has of the basic plane and some characters beyond, as one text.
TEST(CodePages, ConvertAllCharactersOfTheMultiBytePages) {
  for (const Page& page : kMultiBytePages) {
    System encoder(page.name, "UTF-32LE");
    System decoder("UTF-32LE", page.name);
    ASSERT_TRUE(encoder.exists() && decoder.exists());
    std::string text;
    std::string bytes;
    std::string characters;  // what the bytes mean; two characters may share a form
    std::string one;
    for (unsigned int c = 0; c < 0x30000; c += c < 0x10000 ? 1 : 7) {
      if ((c >= 0xD800 && c <= 0xDFFF) || !encoder.convert(utf32(c), one)) continue;
      text += utf32(c);
      bytes += one;
      const std::string form = one;
      ASSERT_TRUE(decoder.convert(form, one)) << page.name << c;
      characters += one;
    }
    EXPECT_GT(text.size() / 4, 6000U);
    expectExact(kUtf32Le, page.number, text, bytes);
    expectExact(page.number, kUtf32Le, bytes, characters);
  }
}

// Every character that a page lacks becomes a question mark in its place.
TEST(CodePages, ReplaceWhatAMultiBytePageLacks) {
  const std::string text = basicPlane();
  for (const Page& page : kMultiBytePages) {
    System encoder(page.name, "UTF-32LE");
    ASSERT_TRUE(encoder.exists());
    std::string expected;
    long missing = 0;
    long first = 0;
    std::string one;
    for (std::size_t at = 0; at < text.size(); at += 4) {
      const bool hasForm = encoder.convert(std::string_view(text).substr(at, 4), one);
      expected += hasForm ? one : "?";
      if (!hasForm && missing++ == 0) first = static_cast<long>(at);
    }
    const Result result = convert(kUtf32Le, page.number, text);
    EXPECT_TRUE(result.bytes == expected) << page.name;
    EXPECT_EQ(result.characters, missing) << page.name;
    EXPECT_EQ(result.firstOffset, first) << page.name;
  }
}

struct Decoded {
  std::string utf32;
  long malformed = 0;
  long first = 0;
};

// The rule of malformed characters told once more: the shortest beginning with which no character
// begins, but without the first ASCII byte in it and what follows.
template <class Decoder>
Decoded decodeOneByOne(Decoder& decoder, std::string_view text) {
  Decoded result;
  std::string one;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t size = 1;
    bool done = false;
    for (; at + size <= text.size(); ++size) {
      done = decoder.convert(text.substr(at, size), one);
      if (done || errno != EINVAL) break;
    }
    if (done) {
      result.utf32 += one;
      at += size;
      continue;
    }
    if (result.malformed++ == 0) result.first = static_cast<long>(at);
    result.utf32 += utf32(0xFFFD);
    const std::size_t end = std::min(at + size, text.size());
    for (++at; at < end && static_cast<unsigned char>(text[at]) >= 0x80;) ++at;
  }
  return result;
}

template <class Decoder>
void expectLikeSlowDecoder(int page, Decoder& decoder) {
  std::string alphabet = "\\~A\n0123";
  for (int byte = 0x80; byte < 0x100; byte += 3) alphabet += static_cast<char>(byte);
  alphabet += "\x81\x8E\x8F\xA1\xFE\xFF\x80\xFD";
  for (unsigned int seed = 0; seed < 60; ++seed) {
    const std::string text = harness::randomText(seed, seed < 50 ? seed : 1500, alphabet);
    const Decoded expected = decodeOneByOne(decoder, text);
    const Result result = convert(page, kUtf32Le, text);
    EXPECT_TRUE(result.bytes == expected.utf32) << page << testing::PrintToString(text);
    EXPECT_EQ(result.done, expected.malformed == 0);
    EXPECT_EQ(result.characters, expected.malformed) << page;
    EXPECT_EQ(result.firstOffset, expected.first) << page;
  }
}

TEST(CodePages, AgreeWithASlowDecoderOnHostileBytes) {
  for (const Page& page : kMultiBytePages) {
    System decoder("UTF-32LE", page.name);
    ASSERT_TRUE(decoder.exists());
    expectLikeSlowDecoder(page.number, decoder);
  }
}

TEST(CodePages, ReplaceMalformedCharacters) {
  const std::string r = "\xEF\xBF\xBD";
  const struct {
    int page;
    std::string text;
    std::string expected;
    long count;
    long offset;
  } cases[] = {
      {932, "\x83", r, 1, 0},
      {932, "ab\x83", "ab" + r, 1, 2},
      {932, "\x81\x39<", r + "9<", 1, 0},  // a lead byte swallows no ASCII
      {932, "\x81\xAD<", r + "<", 1, 0},   // a place without a character
      {932, "\x80\xA0\xFD\xFF", r + r + r + r, 4, 0},
      {932, "\x83\x5C\x80\x83\x5C", "\xE3\x82\xBD" + r + "\xE3\x82\xBD", 1, 2},
      {936, "\xFF", r, 1, 0},
      {936, "\xB0\"", r + "\"", 1, 0},
      {949, "\xA2\xFE", r, 1, 0},
      {949, "\xC9\xA1", r + r, 2, 0},  // no such lead byte
      {950, "\xFF\xFF", r + r, 2, 0},
      {51932, "\x8F\xA1\x41", r + "A", 1, 0},
      {51932, "\x8F\xB0", r, 1, 0},
      {51932, "\x8E", r, 1, 0},
      {54936, "\x81\x30\x81", r + "0" + r, 2, 0},
      {54936, "\x80", r, 1, 0},
      {50220, "\x1B$B$\"\x1B(B\xE3z", "\xE3\x81\x82" + r + "z", 1, 8},
      {50220, "\x1B$B)!$\"", r + "\xE3\x81\x82", 1, 3},  // no such row
      {50220, "\x1B$B$", r, 1, 3},
      {50220, "\x1B$B$\x1B(Bz", r + "z", 1, 3},
      {50220, "\x1B$", r + "$", 1, 0},
      {50225, "\x1B$)CA\x0E\x2E\x21\x0Fz", "A" + r + "z", 1, 6},
  };
  for (const auto& c : cases) expectFaults(c.page, kUtf8, c.text, c.expected, c.count, c.offset);
}

// A fault at every distance from the start of the text and of the blocks.
TEST(CodePages, FindTheFirstFaultAtEveryOffset) {
  for (long n = 0; n < 300; ++n) {
    const std::string sjis = repeated("\x83\x5C", n);
    const std::string utf8 = repeated("\xE3\x82\xBD", n);
    const std::string jis = n == 0 ? "" : "\x1B$B" + repeated("%=", n) + "\x1B(B";
    const std::string lost(static_cast<std::size_t>(n), '?');
    expectFaults(932, kUtf8, sjis + "\xFF\xFF", utf8 + "\xEF\xBF\xBD\xEF\xBF\xBD", 2, 2 * n);
    expectFaults(932, 1252, "\xFF" + sjis, "?" + lost, n + 1, 0);
    expectFaults(932, 51932, sjis + "x\x83", repeated("\xA5\xBD", n) + "x?", 1, 2 * n + 1);
    expectFaults(kUtf8, 932, utf8 + "\xE2\x82\xAC", sjis + "?", 1, 3 * n);
    expectFaults(kUtf8, 50220, utf8 + "\xE2\x82\xAC", jis + "?", 1, 3 * n);
    expectExact(kUtf8, 50220, utf8, jis);
    expectExact(50220, kUtf8, jis, utf8);
    if (n > 0) expectFaults(50220, 1252, "e" + jis, "e" + lost, n, 4);
  }
}

TEST(CodePages, ShiftBackAndForth) {
  const std::string so = "\xE3\x82\xBD";
  const std::string shifted = "\x1B$B%=\x1B(B";
  expectExact(kUtf8, 50220, "a" + so + "b" + so + "\n", "a" + shifted + "b" + shifted + "\n");
  expectExact(kUtf8, 50220, "ASCII of some length", "ASCII of some length");
  expectFaults(kUtf8, 50220, so + "\xE2\x82\xAC" + so, shifted + "?" + shifted, 1, 3);
  expectFaults(kUtf8, 50220, so + "\xFF" + so, shifted + "?" + shifted, 1, 3);
  expectExact(50220, kUtf8, "\x1B$B%=" + shifted + "\x1B(B", so + so);
  expectExact(50220, 932, shifted + "\\", "\x83\x5C\\");
  expectExact(932, 50220, "\x83\x5C\\", shifted + "\\");
  expectExact(50220, 50221, shifted + shifted, "\x1B$B%=%=\x1B(B");
  for (const int page : {50220, 50221, 50222, 50225}) {
    expectExact(kUtf8, page, "", "");
    expectExact(page, kUtf8, "", "");
  }
}

TEST(CodePages, ReadHalfWidthKatakanaInIso2022) {
  for (const int page : {50220, 50221, 50222}) {
    expectExact(page, kUtf8, "\x1B(I1\x1B(B", "\xEF\xBD\xB1");
    expectExact(page, kUtf8, "a\x1B(I1\x1B$B%=\x1B(Bz", "a\xEF\xBD\xB1\xE3\x82\xBDz");
    expectExact(page, kUtf8, "\x1B$(D0!\x1B(B", "\xE4\xB8\x82");    // JIS X 0212
    expectFaults(kUtf8, page, "\xC3\xA9\xE4\xB8\x82", "??", 2, 0);  // no other sets are written
  }
}

// No bytes of an unknown shift sequence pass as text without a word.
TEST(CodePages, TakeStrayShiftsInIso2022ForMalformed) {
  const std::string r = "\xEF\xBF\xBD";
  for (const int page : {50220, 50221, 50222, 50225}) {
    expectFaults(page, kUtf8, "a\x1B(X1", "a" + r + "(X1", 1, 1);
    expectFaults(page, kUtf8, "\x1B$Z1", r + "$Z1", 1, 0);
    expectFaults(page, kUtf8, "\x1B.X1", r + ".X1", 1, 0);
    expectFaults(page, kUtf8, "\x1Bxyz", r + "xyz", 1, 0);
    expectFaults(page, kUtf8, "x\x1B", "x" + r, 1, 1);
  }
  for (const int page : {50220, 50221})
    expectFaults(page, kUtf8, "\x0E\x31\x0F", r + "1" + r, 2, 0);
  expectFaults(50222, kUtf8, "\x0F\x31\x0E", r + "1", 1, 0);
  for (const int page : {50220, 50221, 50222}) {
    expectFaults(kUtf8, page, "a\x1B$B\x0E\x0F", "a?$B??", 3, 1);
    expectFaults(page, 1252, "\x1B(Z", "?(Z", 1, 0);
  }
  expectFaults(50225, kUtf8, "\x1B(I1", r + "(I1", 1, 0);
}

// U+E0041: a character that most pages lack, like any other.
TEST(CodePages, DropNoTagCharacter) {
  const std::string tag = "\xF3\xA0\x81\x81";
  for (const int page : {932, 936, 949, 950, 1361, 50220, 51932, 51949, 1252})
    expectFaults(kUtf8, page, "a" + tag + tag, "a??", 2, 1);
  expectFaults(kUtf8, 50225, tag + "a", "\x1B$)C?a", 1, 0);
  const std::string chinese = convert(kUtf8, 54936, tag).bytes;
  EXPECT_EQ(chinese.size(), 4U);
  expectExact(54936, kUtf8, chinese, tag);
}

TEST(CodePages, WriteTheReplacementCharacterWhereThePageHasIt) {
  expectFaults(kUtf8, 54936, "a\xFFz", "a\x84\x31\xA4\x37z", 1, 1);
  expectExact(kUtf8, 54936, "\xEF\xBF\xBD", "\x84\x31\xA4\x37");
  expectFaults(932, 949, "a\xFFz", "a?z", 1, 1);
}

// HZ is not in every C library.
TEST(CodePages, SayThatTheSystemLacksAPage) {
  const std::string text("a\0~{VPND~}", 11);
  const iconv_t hz = iconv_open("UTF-8", "HZ");
  if (hz != reinterpret_cast<iconv_t>(-1)) {
    iconv_close(hz);
    expectExact(52936, kUtf8, text, std::string("a\0\xE4\xB8\xAD\xE6\x96\x87", 8));
    return;
  }
  for (const bool from : {true, false}) {
    DataBuffer out;
    LogBase log;
    EXPECT_FALSE(convertInto(from ? 52936 : 1252, from ? 1252 : 52936, text, out, log));
    EXPECT_EQ(contentOf(out), text);
    EXPECT_EQ(log.errorCount(), 1U);
    EXPECT_STREQ(log.errorAt(0),
                 "The system has no converter for code page 52936; the bytes are passed through");
    EXPECT_EQ(logged(log, from ? "fromCodePage" : "toCodePage"), 52936);
  }
}

// ---- Former bugs --------------------------------------------------------------------------------

// The character of a double byte of JIS X 0208 as Windows reads it; 0 for none. Rows and cells
// count from 1.
unsigned int jisCharacter(int row, int cell) {
  for (const harness::JisRow& jis : harness::kJisRows)
    if (jis.number == row) return jis.of[cell - 1];
  return 0;
}

// A double byte, with `base` added to its row and cell.
std::string doubleByte(int row, int cell, int base) {
  return {static_cast<char>(row + base), static_cast<char>(cell + base)};
}

std::string inEuc(int row, int cell) { return doubleByte(row, cell, 0xA0); }
std::string inIso2022(int row, int cell) {
  return "\x1B$B" + doubleByte(row, cell, 0x20) + "\x1B(B";
}

bool isReadOnly(int row, int cell) {
  return std::any_of(std::begin(harness::kJisReadOnly), std::end(harness::kJisReadOnly),
                     [=](const int(&place)[2]) { return place[0] == row && place[1] == cell; });
}

constexpr int kIso2022Japan[] = {50220, 50221, 50222};

TEST(CodePages, ReadTheDoubleBytesOfJapanAsWindowsDoes) {
  std::string euc;
  std::string characters;
  for (int row = 1; row <= 94; ++row) {
    for (int cell = 1; cell <= 94; ++cell) {
      const unsigned int character = jisCharacter(row, cell);
      if (character == 0) {
        expectFaults(51932, kUtf32Le, inEuc(row, cell), utf32(0xFFFD), 1, 0);
        for (const int page : kIso2022Japan)
          expectFaults(page, kUtf32Le, inIso2022(row, cell), utf32(0xFFFD), 1, 3);
        continue;
      }
      euc += inEuc(row, cell);
      characters += utf32(character);
      expectExact(51932, kUtf32Le, inEuc(row, cell), utf32(character));
      for (const int page : kIso2022Japan)
        expectExact(page, kUtf32Le, inIso2022(row, cell), utf32(character));
    }
  }
  expectExact(51932, kUtf32Le, euc, characters);
  std::string jis = "\x1B$B";
  for (const char c : euc) jis += static_cast<char>(c & 0x7F);
  for (const int page : kIso2022Japan) expectExact(page, kUtf32Le, jis + "\x1B(B", characters);
}

TEST(CodePages, WriteTheDoubleBytesOfJapanAsWindowsDoes) {
  int written = 0;
  for (const harness::JisRow& row : harness::kJisRows) {
    for (int cell = 1; cell <= 94; ++cell) {
      const unsigned int character = row.of[cell - 1];
      if (character == 0 || isReadOnly(row.number, cell)) continue;
      ++written;
      expectExact(kUtf32Le, 51932, utf32(character), inEuc(row.number, cell));
      for (const int page : kIso2022Japan)
        expectExact(kUtf32Le, page, utf32(character), inIso2022(row.number, cell));
    }
  }
  EXPECT_EQ(written, 7326);
}

// The characters that these pages share with JIS X 0208 keep their place under both names.
TEST(CodePages, WriteBothNamesOfTheSignsOfJapan) {
  constexpr struct {
    unsigned int windows;
    unsigned int jis;
    int row;
    int cell;
  } signs[] = {{0xFF5E, 0x301C, 1, 33}, {0x2225, 0x2016, 1, 34}, {0xFF0D, 0x2212, 1, 61},
               {0xFFE0, 0xA2, 1, 81},   {0xFFE1, 0xA3, 1, 82},   {0xFFE2, 0xAC, 2, 44},
               {0x2015, 0x2014, 1, 29}};
  for (const auto& sign : signs) {
    for (const unsigned int character : {sign.windows, sign.jis}) {
      expectExact(kUtf32Le, 51932, utf32(character), inEuc(sign.row, sign.cell));
      for (const int page : kIso2022Japan)
        expectExact(kUtf32Le, page, utf32(character), inIso2022(sign.row, sign.cell));
    }
  }
}

// 51932 character by character: the double bytes by the table, the rest by the C library.
class WindowsEuc {
 public:
  bool convert(std::string_view text, std::string& out) {
    if (!isDoubleByte(text[0])) {
      if (!m_system.convert(text, out)) return false;
      return !isPrivateUse(out) || isMalformed();
    }
    if (text.size() == 1) errno = EINVAL;
    if (text.size() == 1) return false;
    const unsigned int character = isDoubleByte(text[1])
                                       ? jisCharacter(static_cast<unsigned char>(text[0]) - 0xA0,
                                                      static_cast<unsigned char>(text[1]) - 0xA0)
                                       : 0;
    out = utf32(character);
    return character != 0 || isMalformed();
  }

 private:
  static bool isDoubleByte(char c) { return static_cast<unsigned char>(c) > 0xA0 && c != '\xFF'; }
  static bool isPrivateUse(std::string_view character) {
    const auto high = static_cast<unsigned char>(character[1]);
    return high >= 0xE0 && high <= 0xF8 && character[2] == 0;
  }
  static bool isMalformed() {
    errno = EILSEQ;
    return false;
  }

  System m_system{"UTF-32LE", "EUC-JP-MS"};
};

TEST(CodePages, AgreeWithASlowDecoderOnHostileBytesIn51932) {
  WindowsEuc decoder;
  expectLikeSlowDecoder(51932, decoder);
  std::string ascii;
  for (unsigned int c = 0; c < 0x80; ++c) ascii += static_cast<char>(c);
  expectExact(51932, kUtf8, ascii, ascii);
  expectExact(kUtf8, 51932, ascii, ascii);
}

TEST(CodePages, HaveNoPrivateUseInTheJapanesePages) {
  for (unsigned int c = 0xE000; c <= 0xF8FF; ++c) {
    expectFaults(kUtf32Le, 51932, utf32(c), "?", 1, 0);
    for (const int page : kIso2022Japan) expectFaults(kUtf32Le, page, utf32(c), "?", 1, 0);
  }
  for (int row = 85; row <= 94; ++row)
    for (int cell = 1; cell <= 94; ++cell)
      expectFaults(51932, kUtf32Le, '\x8F' + inEuc(row, cell), utf32(0xFFFD), 1, 0);
}

// What 51932 has besides: half-width katakana, JIS X 0212 and the C1 controls.
TEST(CodePages, KeepWhatElse51932Has) {
  System encoder("EUC-JP-MS", "UTF-32LE");
  System decoder("UTF-32LE", "EUC-JP-MS");
  ASSERT_TRUE(encoder.exists() && decoder.exists());
  int more = 0;
  std::string bytes;
  for (unsigned int c = 0x80; c < 0x10000; ++c) {
    if (c >= 0xD800 && c <= 0xF8FF) continue;
    if (!encoder.convert(utf32(c), bytes)) continue;
    const bool isDouble = static_cast<unsigned char>(bytes[0]) > 0xA0;
    if (isDouble || convert(kUtf32Le, 932, utf32(c)).bytes != "?") continue;
    expectExact(kUtf32Le, 51932, utf32(c), bytes);
    std::string read;  // two characters may share a form
    ASSERT_TRUE(decoder.convert(bytes, read));
    expectExact(51932, kUtf32Le, bytes, read);
    ++more;
  }
  EXPECT_GT(more, 5700);
  for (unsigned int c = 0xFF61; c <= 0xFF9F; ++c) {
    const std::string katakana = {'\x8E', static_cast<char>(c - 0xFEC0)};
    expectExact(kUtf32Le, 51932, utf32(c), katakana);
    expectExact(51932, kUtf32Le, katakana, utf32(c));
  }
  expectExact(51932, 932, "a\x8E\xB1\xA5\xBD\x8E\xB2z", "a\xB1\x83\x5C\xB2z");
  expectExact(932, 51932, "a\xB1\x83\x5C\xB2z", "a\x8E\xB1\xA5\xBD\x8E\xB2z");
}

// 50220 has no half-width katakana, 50221 shifts to them with an escape and 50222 with SO.
TEST(CodePages, WriteHalfWidthKatakanaInIso2022) {
  for (unsigned int c = 0xFF61; c <= 0xFF9F; ++c) {
    const std::string byte(1, static_cast<char>(c - 0xFF40));
    expectFaults(kUtf32Le, 50220, utf32(c), "?", 1, 0);
    expectExact(kUtf32Le, 50221, utf32(c), "\x1B(I" + byte + "\x1B(B");
    expectExact(kUtf32Le, 50222, utf32(c), "\x0E" + byte + "\x0F");
    expectExact(50222, kUtf32Le, "\x0E" + byte + "\x0F", utf32(c));
    for (const int page : kIso2022Japan)
      expectExact(page, kUtf32Le, "\x1B(I" + byte + "\x1B(B", utf32(c));
  }
  const std::string mixed = "a\uFF71\uFF72\u30BD\uFF73b\u30BD";
  const std::string escaped = "a\x1B(I12\x1B$B%=\x1B(I3\x1B(Bb\x1B$B%=\x1B(B";
  const std::string shifted = "a\x0E\x31\x32\x0F\x1B$B%=\x0E\x33\x0F\x1B(Bb\x1B$B%=\x1B(B";
  expectExact(kUtf8, 50221, mixed, escaped);
  expectExact(50221, kUtf8, escaped, mixed);
  expectExact(kUtf8, 50222, mixed, shifted);
  expectExact(50222, kUtf8, shifted, mixed);
  expectFaults(50222, kUtf8, "\x0E\x60\xB1\x0Fz", "\uFFFD\uFFFDz", 2, 1);
}

TEST(CodePages, WriteTheYenAndOverlineOfJisRoman) {
  for (const int page : kIso2022Japan) {
    const std::string text = "a\u00A5\u203E\u30BD\u00A5";
    const std::string bytes = "a\x1B(J\\~\x1B$B%=\x1B(J\\\x1B(B";
    expectExact(kUtf8, page, text, bytes);
    expectExact(page, kUtf8, bytes, text);
  }
}

// ---- UTF-7

constexpr int kUtf7 = 65000;

TEST(CodePages, ReadUtf7) {
  constexpr struct {
    const char* text;
    const char* utf8;
  } kCases[] = {
      // RFC 2152
      {"A+ImIDkQ.", "A\u2262\u0391."},
      {"Hi Mom -+Jjo--!", "Hi Mom -\u263A-!"},
      {"+ZeVnLIqe-", "\u65e5\u672c\u8a9e"},
      {"Item 3 is +AKM-1.", "Item 3 is \u00a31."},
      {"+-", "+"},
      {"+--", "+-"},
      {"a+-b+AOk-c+AOk", "a+b\u00e9c\u00e9"},
      {"+AOkA6A", "\u00e9\u00e8"},
      {"+2D3eAA", "\U0001F600"},
      {"+AGEAYgBj.", "abc."},
      {"~\\", "~\\"},
  };
  for (const auto& c : kCases) expectExact(kUtf7, kUtf8, c.text, c.utf8);
}

TEST(CodePages, FindWhatIsMalformedInUtf7) {
  const std::string r = "\xEF\xBF\xBD";
  const struct {
    std::string text;
    std::string expected;
    long count;
    long offset;
  } cases[] = {
      {"a+", "a" + r, 1, 1},
      {"+!", r + "!", 1, 0},
      {"a\xE9z", "a" + r + "z", 1, 1},
      {"+A", r, 1, 1},
      {"+AG-x", r + "x", 1, 2},
      {"+AGF-x", r + "x", 1, 3},        // the bits that are left are not 0
      {"+AGEA.", "a" + r + ".", 1, 4},  // six of them
      {"+2D0-x", r + "x", 1, 3},        // half a pair
      {"+2D0AYQ-x", r + "ax", 1, 6},
      {"+3gA-x", r + "x", 1, 3},
      {"+2D3YPd4A-", r + "\U0001F600", 1, 6},
      {"+AG\xE9", r + r, 2, 2},
  };
  for (const auto& c : cases) expectFaults(kUtf7, kUtf8, c.text, c.expected, c.count, c.offset);
}

TEST(CodePages, ReadInUtf7WhatTheSystemWrites) {
  System encoder("UTF-7", "UTF-32LE");
  ASSERT_TRUE(encoder.exists());
  for (unsigned int c = 0; c < 0x110000; c += c < 0x3000 ? 1 : 61) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string text = utf32('x') + utf32(c) + utf32(c) + utf32('1') + utf32(c);
    std::string bytes;
    ASSERT_TRUE(encoder.convert(text, bytes)) << c;
    expectExact(kUtf7, kUtf32Le, bytes, text);
  }
}

TEST(CodePages, WriteNoUtf7) {
  DataBuffer out;
  LogBase log;
  EXPECT_FALSE(convertInto(kUtf8, kUtf7, "a+b", out, log));
  EXPECT_STREQ(log.errorAt(0), "Unknown code page; the bytes are passed through");
  EXPECT_EQ(contentOf(out), "a+b");
}

// A pair that the C library takes and gives nothing for.
TEST(CodePages, LoseNoPairInSilence) {
  const std::string r = "\xEF\xBF\xBD";
  expectFaults(949, kUtf8, "\xA2\xE8", r, 1, 0);
  expectFaults(949, kUtf8, "ab\xA2\xE8\xC7\xD1", "ab" + r + "\xED\x95\x9C", 1, 2);
  expectExact(949, kUtf8, "\xB0\xA2\xE8\xB3",
              convert(949, kUtf8, "\xB0\xA2").bytes + convert(949, kUtf8, "\xE8\xB3").bytes);
  for (const Page& page : kMultiBytePages) {
    for (int lead = 0x80; lead < 0x100; ++lead) {
      for (int trail = 0; trail < 0x100; ++trail) {
        const std::string pair = {static_cast<char>(lead), static_cast<char>(trail)};
        const Result alone = convert(page.number, kUtf32Le, pair);
        EXPECT_FALSE(alone.bytes.empty()) << page.name << testing::PrintToString(pair);
        const Result inside = convert(page.number, kUtf32Le, "a" + pair + "z");
        EXPECT_GE(inside.bytes.size(), alone.done ? 12U : 8U) << testing::PrintToString(pair);
      }
    }
  }
}

// ---- Memory and time ----------------------------------------------------------------------------

TEST(CodePages, ReadTheirSourceFromTheOutput) {
  const std::string text = repeated("\x83\x5C\x81\x60 and some ASCII text; ", 40);
  for (const int to : {kUtf8, 50220, 54936, 932}) {
    DataBuffer out;
    LogBase log;
    ASSERT_TRUE(out.append(text.data(), static_cast<unsigned int>(text.size())));
    EncodingConvert converter;
    converter.EncConvert(932, to, out.getData2(), out.getSize(), out, log);
    EXPECT_EQ(contentOf(out), text + convert(932, to, text).bytes) << to;
  }
}

TEST(CodePages, ReportThatMemoryIsExhausted) {
  const struct {
    int from;
    int to;
    std::string text;
  } cases[] = {
      {932, kUtf8, repeated("\x83\x5C", 800)},     {kUtf8, 50220, repeated("\xE3\x82\xBD", 800)},
      {kUtf8, 50220, repeated("\xE3\x82\xBD", 4)}, {866, 1251, repeated("\x80", 800)},
      {866, 28602, repeated("\x80", 800)},
  };
  for (const auto& c : cases) {
    const std::string expected = convert(c.from, c.to, c.text).bytes;
    const bool whole = c.to != 28602;
    const long live = harness::liveBlocks();
    DataBuffer* out = nullptr;
    LogBase* log = nullptr;
    bool done = false;
    const long failed = harness::failEveryAllocation(
        [&] {
          delete out;
          delete log;
          out = new DataBuffer;
          log = new LogBase;
        },
        [&] { done = convertInto(c.from, c.to, c.text, *out, *log); },
        [&] {
          EXPECT_EQ(done, whole && out->getSize() == expected.size());
          EXPECT_EQ(contentOf(*out), expected.substr(0, out->getSize()));
        });
    EXPECT_GT(failed, 1);
    EXPECT_EQ(done, whole) << "the last run has all the memory it needs";
    delete out;
    delete log;
    EXPECT_EQ(harness::liveBlocks(), live);
  }
}

TEST(CodePages, TakeLinearTime) {
  constexpr long kTimes = 1 << 16;
  const struct {
    int from;
    int to;
    std::string text;
  } cases[] = {
      {932, kUtf8, repeated("\x83\x5C\x81\x60", 4 * kTimes)},
      {932, kUtf8, repeated("\xFF", kTimes)},
      {932, 1252, repeated("\x83\x5C", kTimes)},
      {54936, 1256, repeated("\x81\x30", kTimes)},
      {kUtf8, 949, repeated("\xE2\x88\x80\xC3\xBF", kTimes)},
      {kUtf8, 50220, repeated("\xE3\x82\xBD.", kTimes)},
      {50220, kUtf8, repeated("\x1B$B%=\x1B(B.", kTimes)},
      {50220, kUtf8, repeated("\x1B$B\x1B(B", kTimes)},
      {866, 1251, repeated("\x80", 16 * kTimes)},
  };
  for (const auto& c : cases) {
    const double seconds = harness::secondsOf([&] { convert(c.from, c.to, c.text); });
    EXPECT_LT(seconds, 10) << c.from << " to " << c.to;
  }
}

}  // namespace
