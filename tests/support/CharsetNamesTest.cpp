#include "support/internal/CharsetNames.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"

namespace {

using dorvane::internal::codePageOfCharset;
using dorvane::internal::leavesByteOrderOpen;

constexpr struct {
  const char* name;
  int page;
} kCharsets[] = {
    {"utf-8", 65001},
    {"utf8", 65001},
    {"unicode-1-1-utf-8", 65001},
    {"utf-16", 1200},
    {"utf-16le", 1200},
    {"utf-16be", 1201},
    {"utf-32", 12000},
    {"utf-32le", 12000},
    {"utf-32be", 12001},
    {"us-ascii", 20127},
    {"ascii", 20127},
    {"ansi_x3.4-1968", 20127},
    {"646", 20127},
    {"iso-8859-1", 28591},
    {"iso_8859-1", 28591},
    {"iso_8859-1:1987", 28591},
    {"iso8859-1", 28591},
    {"iso88591", 28591},
    {"latin1", 28591},
    {"l1", 28591},
    {"ibm819", 28591},
    {"iso-8859-2", 28592},
    {"latin2", 28592},
    {"iso-8859-3", 28593},
    {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},
    {"cyrillic", 28595},
    {"iso-8859-6", 28596},
    {"asmo-708", 28596},
    {"iso-8859-7", 28597},
    {"greek8", 28597},
    {"iso-8859-8", 28598},
    {"iso-8859-8-i", 28598},
    {"hebrew", 28598},
    {"iso-8859-9", 28599},
    {"latin5", 28599},
    {"iso-8859-10", 28600},
    {"latin6", 28600},
    {"iso-8859-11", 28601},
    {"iso-8859-13", 28603},
    {"latin7", 28603},
    {"iso-8859-14", 28604},
    {"latin8", 28604},
    {"iso-8859-15", 28605},
    {"latin-9", 28605},
    {"iso-8859-16", 28606},
    {"latin10", 28606},
    {"ibm437", 437},
    {"cp437", 437},
    {"437", 437},
    {"cp737", 737},
    {"ibm775", 775},
    {"ibm850", 850},
    {"cp850", 850},
    {"ibm852", 852},
    {"ibm855", 855},
    {"ibm857", 857},
    {"ibm00858", 858},
    {"ibm860", 860},
    {"ibm861", 861},
    {"cp-is", 861},
    {"ibm862", 862},
    {"dos-862", 862},
    {"ibm863", 863},
    {"ibm864", 864},
    {"ibm865", 865},
    {"ibm866", 866},
    {"cp866", 866},
    {"ibm869", 869},
    {"cp-gr", 869},
    {"windows-874", 874},
    {"tis-620", 874},
    {"windows-1250", 1250},
    {"cp1250", 1250},
    {"x-cp1250", 1250},
    {"windows-1251", 1251},
    {"cp1251", 1251},
    {"windows-1252", 1252},
    {"x-cp1252", 1252},
    {"windows-1253", 1253},
    {"windows-1254", 1254},
    {"windows-1255", 1255},
    {"windows-1256", 1256},
    {"windows-1257", 1257},
    {"windows-1258", 1258},
    {"koi8-r", 20866},
    {"koi8-u", 21866},
    {"shift_jis", 932},
    {"x-sjis", 932},
    {"sjis", 932},
    {"windows-31j", 932},
    {"cp932", 932},
    {"ms932", 932},
    {"euc-jp", 51932},
    {"iso-2022-jp", 50220},
    {"gb2312", 936},
    {"gbk", 936},
    {"cp936", 936},
    {"gb18030", 54936},
    {"hz-gb-2312", 52936},
    {"big5", 950},
    {"cp950", 950},
    {"euc-tw", 51950},
    {"euc-kr", 949},
    {"ks_c_5601-1987", 949},
    {"windows-949", 949},
    {"cp949", 949},
    {"iso-2022-kr", 50225},
    {"johab", 1361},
};

std::string upperCase(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

TEST(CharsetNames, GiveTheirCodePageInAnyCase) {
  for (const auto& charset : kCharsets) {
    std::string mixed = charset.name;
    mixed.back() = upperCase(mixed).back();
    EXPECT_EQ(codePageOfCharset(charset.name), charset.page) << charset.name;
    EXPECT_EQ(codePageOfCharset(upperCase(charset.name)), charset.page) << charset.name;
    EXPECT_EQ(codePageOfCharset(mixed), charset.page) << mixed;
  }
}

TEST(CharsetNames, AreKnownOnlyAsAWhole) {
  for (const auto& charset : kCharsets) {
    const std::string name = charset.name;
    for (const std::string& other :
         {" " + name, name + " ", name + "?", name + '\0', "x" + name + "x", name + "\xE9"})
      EXPECT_EQ(codePageOfCharset(other), 0) << other;
  }
  for (const std::string_view name :
       {"", "-", "utf", "utf-", "utf-77", "utf-88", "iso-8859-", "iso-8859-12", "iso-8859-17", "cp",
        "windows-1259", "\xFF\xFF", "zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz", "unknown-8bit", "0"})
    EXPECT_EQ(codePageOfCharset(name), 0) << name;
  EXPECT_EQ(codePageOfCharset({}), 0);
  EXPECT_EQ(codePageOfCharset(std::string(1U << 20U, 'u')), 0);
}

TEST(CharsetNames, LeaveTheByteOrderOpenOrTellIt) {
  for (const char* const name : {"utf-16", "UTF-16", "utf16", "utf_16", "csutf16", "ucs-2",
                                 "iso-10646-ucs-2", "unicode", "utf-32", "utf32", "ucs-4"})
    EXPECT_TRUE(leavesByteOrderOpen(name, codePageOfCharset(name))) << name;
  for (const char* const name :
       {"utf-16le", "UTF-16LE", "utf-16be", "UTF-16Be", "ucs-2le", "ucs-2be", "utf-32le",
        "utf-32be", "csutf16le", "utf-8", "iso-8859-1", "utf-16x", "le", ""})
    EXPECT_FALSE(leavesByteOrderOpen(name, codePageOfCharset(name))) << name;
}

TEST(CharsetNames, GivePagesThatTheConverterKnows) {
  for (const auto& charset : kCharsets) {
    EncodingConvert converter;
    DataBuffer out;
    LogBase log;
    if (!converter.EncConvert(charset.page, 65001, nullptr, 0, out, log)) {
      EXPECT_STRNE(log.errorAt(0), "Unknown code page; the bytes are passed through")
          << charset.name;
    }
  }
}

// The meaning of every byte under a name, for the C library and for the page; the names that stand
// for a superset are left out, since there the page means more.
TEST(CharsetNames, MeanWhatTheSystemMeans) {
  int compared = 0;
  for (const auto& charset : kCharsets) {
    const bool isSingleByte = charset.page < 932 ||
                              (charset.page >= 1250 && charset.page <= 1258) ||
                              (charset.page >= 20127 && charset.page < 30000);
    const iconv_t system = iconv_open("UTF-8", charset.name);
    if (system == reinterpret_cast<iconv_t>(-1)) continue;
    for (int byte = 0; isSingleByte && byte < 256; ++byte) {
      char source = static_cast<char>(byte);
      char utf8[8];
      char* in = &source;
      char* to = utf8;
      std::size_t left = 1;
      std::size_t room = sizeof(utf8);
      constexpr auto kFailed = static_cast<std::size_t>(-1);
      if (iconv(system, &in, &left, &to, &room) == kFailed) continue;
      iconv(system, nullptr, nullptr, &to, &room);
      EncodingConvert converter;
      DataBuffer out;
      LogBase log;
      EXPECT_TRUE(converter.EncConvert(
          charset.page, 65001, reinterpret_cast<const unsigned char*>(&source), 1, out, log))
          << charset.name << " " << byte;
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.getData2()), out.getSize()),
                std::string(utf8, to))
          << charset.name << " " << byte;
      ++compared;
    }
    iconv_close(system);
  }
  EXPECT_GT(compared, 10000);
}

// ---- Former bugs ----

// The labels of the Encoding Standard of the WHATWG and the pages that they give; 0 for the
// encodings that the library does not have. It reads iso-8859-1 and its kin as what they say.
constexpr struct {
  int page;
  std::string_view labels;
} kLabels[] = {
    {0, "iso-2022-cn iso-2022-cn-ext replacement x-user-defined"},
    {866, "866 cp866 csibm866 ibm866"},
    {874, "dos-874 tis-620 windows-874"},
    {932, "csshiftjis ms932 ms_kanji shift-jis shift_jis sjis windows-31j x-sjis"},
    {936, "chinese csgb2312 csiso58gb231280 gb2312 gb_2312 gb_2312-80 gbk iso-ir-58 x-gbk"},
    {949,
     "cseuckr csksc56011987 euc-kr iso-ir-149 korean ks_c_5601-1987 ks_c_5601-1989 "
     "ksc5601 ksc_5601 windows-949"},
    {950, "big5 big5-hkscs cn-big5 csbig5 x-x-big5"},
    {1200, "csunicode iso-10646-ucs-2 ucs-2 unicode unicodefeff utf-16 utf-16le"},
    {1201, "unicodefffe utf-16be"},
    {1250, "cp1250 windows-1250 x-cp1250"},
    {1251, "cp1251 windows-1251 x-cp1251"},
    {1252, "cp1252 windows-1252 x-cp1252"},
    {1253, "cp1253 windows-1253 x-cp1253"},
    {1254, "cp1254 windows-1254 x-cp1254"},
    {1255, "cp1255 windows-1255 x-cp1255"},
    {1256, "cp1256 windows-1256 x-cp1256"},
    {1257, "cp1257 windows-1257 x-cp1257"},
    {1258, "cp1258 windows-1258 x-cp1258"},
    {10000, "csmacintosh mac macintosh x-mac-roman"},
    {10017, "x-mac-cyrillic x-mac-ukrainian"},
    {20127, "ansi_x3.4-1968 ascii us-ascii"},
    {20866, "cskoi8r koi koi8 koi8-r koi8_r"},
    {21866, "koi8-ru koi8-u"},
    {28591,
     "cp819 csisolatin1 ibm819 iso-8859-1 iso-ir-100 iso8859-1 iso88591 iso_8859-1 "
     "iso_8859-1:1987 l1 latin1"},
    {28592,
     "csisolatin2 iso-8859-2 iso-ir-101 iso8859-2 iso88592 iso_8859-2 iso_8859-2:1987 "
     "l2 latin2"},
    {28593,
     "csisolatin3 iso-8859-3 iso-ir-109 iso8859-3 iso88593 iso_8859-3 iso_8859-3:1988 "
     "l3 latin3"},
    {28594,
     "csisolatin4 iso-8859-4 iso-ir-110 iso8859-4 iso88594 iso_8859-4 iso_8859-4:1988 "
     "l4 latin4"},
    {28595,
     "csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso8859-5 iso88595 iso_8859-5 "
     "iso_8859-5:1988"},
    {28596,
     "arabic asmo-708 csiso88596e csiso88596i csisolatinarabic ecma-114 iso-8859-6 "
     "iso-8859-6-e iso-8859-6-i iso-ir-127 iso8859-6 iso88596 iso_8859-6 "
     "iso_8859-6:1987"},
    {28597,
     "csisolatingreek ecma-118 elot_928 greek greek8 iso-8859-7 iso-ir-126 iso8859-7 "
     "iso88597 iso_8859-7 iso_8859-7:1987 sun_eu_greek"},
    {28598,
     "csiso88598e csisolatinhebrew hebrew iso-8859-8 iso-8859-8-e iso-ir-138 iso8859-8 "
     "iso88598 iso_8859-8 iso_8859-8:1988 visual csiso88598i iso-8859-8-i logical"},
    {28599,
     "csisolatin5 iso-8859-9 iso-ir-148 iso8859-9 iso88599 iso_8859-9 iso_8859-9:1989 "
     "l5 latin5"},
    {28600, "csisolatin6 iso-8859-10 iso-ir-157 iso8859-10 iso885910 l6 latin6"},
    {28601, "iso-8859-11 iso8859-11 iso885911"},
    {28603, "iso-8859-13 iso8859-13 iso885913"},
    {28604, "iso-8859-14 iso8859-14 iso885914"},
    {28605, "csisolatin9 iso-8859-15 iso8859-15 iso885915 iso_8859-15 l9"},
    {28606, "iso-8859-16"},
    {50220, "csiso2022jp iso-2022-jp"},
    {50225, "csiso2022kr iso-2022-kr"},
    {51932, "cseucpkdfmtjapanese euc-jp x-euc-jp"},
    {52936, "hz-gb-2312"},
    {54936, "gb18030"},
    {65001, "unicode-1-1-utf-8 unicode11utf8 unicode20utf8 utf-8 utf8 x-unicode20utf8"},
};

TEST(CharsetNames, KnowTheLabelsOfTheEncodingStandard) {
  int known = 0;
  for (const auto& entry : kLabels) {
    for (std::size_t at = 0; at < entry.labels.size(); ++known) {
      const std::size_t end = std::min(entry.labels.find(' ', at), entry.labels.size());
      const std::string_view label = entry.labels.substr(at, end - at);
      EXPECT_EQ(codePageOfCharset(label), entry.page) << label;
      at = end + 1;
    }
  }
  EXPECT_EQ(known, 228);
}

TEST(CharsetNames, KnowTheNamesThatMailUses) {
  constexpr struct {
    const char* name;
    int page;
  } kNames[] = {
      {"eucgb2312_cn", 936},
      {"big5_tw", 950},
      {"big5-hkscs", 950},
      {"big5hkscs", 950},
      {"utf-7", 65000},
      {"UTF7", 65000},
      {"csUTF7", 65000},
      {"unicode-1-1-utf-7", 65000},
      {"x-unicode-2-0-utf-7", 65000},
  };
  for (const auto& name : kNames) EXPECT_EQ(codePageOfCharset(name.name), name.page) << name.name;
}

}  // namespace
