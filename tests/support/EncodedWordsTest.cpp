#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/RadixReference.h"
#include "harness/RawContent.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/LogBase.h"
#include "support/LogNull.h"
#include "support/internal/CharsetNames.h"

namespace {

using namespace std::string_literals;
using dorvane::internal::codePageOfCharset;
using harness::bytesOf;
using harness::holds;

struct Result {
  std::string content;
  bool done;
  std::string words;        // how many were not decoded, as logged
  std::string firstOffset;  // where the first one stands, as logged
};

std::string logged(const LogBase& log, const char* name) {
  const char* const value = log.valueOf(name);
  return value == nullptr ? "" : value;
}

bool decode(StringBuffer& text, LogBase& log) {
  ContentCoding coding;
  return coding.QB_DecodeToUtf8(text, log);
}

Result decode(std::string_view text) {
  StringBuffer buffer;
  harness::fill(buffer, text);
  LogBase log;
  const bool done = decode(buffer, log);
  EXPECT_EQ(log.errorCount(), done ? 0U : 1U) << text;
  EXPECT_TRUE(harness::invariantsHold(buffer));
  return {bytesOf(buffer), done, logged(log, "words"), logged(log, "firstOffset")};
}

void expectDecoded(std::string_view text, std::string_view expected) {
  const Result result = decode(text);
  EXPECT_EQ(result.content, expected) << testing::PrintToString(std::string(text));
  EXPECT_TRUE(result.done) << testing::PrintToString(std::string(text));
}

// Expects that something could not be decoded, first at this offset.
void expectFaults(std::string_view text, std::string_view expected, const char* count,
                  std::string_view offset) {
  const Result result = decode(text);
  EXPECT_EQ(result.content, expected) << testing::PrintToString(std::string(text));
  EXPECT_FALSE(result.done) << testing::PrintToString(std::string(text));
  EXPECT_EQ(result.words, count) << testing::PrintToString(std::string(text));
  EXPECT_EQ(result.firstOffset, offset) << testing::PrintToString(std::string(text));
}

struct Sample {
  std::string_view text;
  std::string_view decoded;
};

// ---- The examples of RFC 2047, section 8 ----

constexpr Sample kRfcExamples[] = {
    {"(=?ISO-8859-1?Q?a?=)", "(a)"},
    {"(=?ISO-8859-1?Q?a?= b)", "(a b)"},
    {"(=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=)", "(ab)"},
    {"(=?ISO-8859-1?Q?a?=  =?ISO-8859-1?Q?b?=)", "(ab)"},
    {"(=?ISO-8859-1?Q?a?=\r\n    =?ISO-8859-1?Q?b?=)", "(ab)"},
    {"(=?ISO-8859-1?Q?a_b?=)", "(a b)"},
    {"(=?ISO-8859-1?Q?a?= =?ISO-8859-2?Q?_b?=)", "(a b)"},
    {"From: =?US-ASCII?Q?Keith_Moore?= <moore@cs.utk.edu>", "From: Keith Moore <moore@cs.utk.edu>"},
    {"To: =?ISO-8859-1?Q?Keld_J=F8rn_Simonsen?= <keld@dkuug.dk>",
     "To: Keld J\u00f8rn Simonsen <keld@dkuug.dk>"},
    {"CC: =?ISO-8859-1?Q?Andr=E9?= Pirard <PIRARD@vm1.ulg.ac.be>",
     "CC: Andr\u00e9 Pirard <PIRARD@vm1.ulg.ac.be>"},
    {"Subject: =?ISO-8859-1?B?SWYgeW91IGNhbiByZWFkIHRoaXMgeW8=?=\r\n"
     " =?ISO-8859-2?B?dSB1bmRlcnN0YW5kIHRoZSBleGFtcGxlLg==?=",
     "Subject: If you can read this you understand the example."},
    {"From: =?ISO-8859-1?Q?Olle_J=E4rnefors?= <ojarnef@admin.kth.se>",
     "From: Olle J\u00e4rnefors <ojarnef@admin.kth.se>"},
    {"From: =?ISO-8859-1?Q?Patrik_F=E4ltstr=F6m?= <paf@nada.kth.se>",
     "From: Patrik F\u00e4ltstr\u00f6m <paf@nada.kth.se>"},
    {"From: Nathaniel Borenstein <nsb@thumper.bellcore.com>\r\n"
     "    (=?iso-8859-8?b?7eXs+SDv4SDp7Oj08A==?=)",
     "From: Nathaniel Borenstein <nsb@thumper.bellcore.com>\r\n"
     "    (\u05dd\u05d5\u05dc\u05e9 \u05df\u05d1 \u05d9\u05dc\u05d8\u05e4\u05e0)"},
    {"=?US-ASCII*EN?Q?Keith_Moore?= <moore@cs.utk.edu>",  // RFC 2231, section 5
     "Keith Moore <moore@cs.utk.edu>"},
};

TEST(EncodedWords, DecodesTheExamplesOfTheStandard) {
  for (const Sample& sample : kRfcExamples) expectDecoded(sample.text, sample.decoded);
}

// ---- Charsets ----

constexpr Sample kCharsets[] = {
    {"=?iso-8859-1?B?UmVu6SDFbmdzdHL2bQ==?=", "Ren\u00e9 \u00c5ngstr\u00f6m"},
    {"=?iso-8859-1?Q?Ren=E9_=C5ngstr=F6m?=", "Ren\u00e9 \u00c5ngstr\u00f6m"},
    {"=?ISO-8859-2?B?WmG/87PmIGfqtmyx?=", "Za\u017c\u00f3\u0142\u0107 g\u0119\u015bl\u0105"},
    {"=?ISO-8859-2?Q?Za=BF=F3=B3=E6_g=EA=B6l=B1?=",
     "Za\u017c\u00f3\u0142\u0107 g\u0119\u015bl\u0105"},
    {"=?iso-8859-5?B?v+DY0tXi?=", "\u041f\u0440\u0438\u0432\u0435\u0442"},
    {"=?iso-8859-5?Q?=BF=E0=D8=D2=D5=E2?=", "\u041f\u0440\u0438\u0432\u0435\u0442"},
    {"=?iso-8859-7?B?yuHr5+zd8eE=?=", "\u039a\u03b1\u03bb\u03b7\u03bc\u03ad\u03c1\u03b1"},
    {"=?iso-8859-7?Q?=CA=E1=EB=E7=EC=DD=F1=E1?=",
     "\u039a\u03b1\u03bb\u03b7\u03bc\u03ad\u03c1\u03b1"},
    {"=?iso-8859-9?B?3XlpIGf8bmxlciDedWxl?=", "\u0130yi g\u00fcnler \u015eule"},
    {"=?iso-8859-9?Q?=DDyi_g=FCnler_=DEule?=", "\u0130yi g\u00fcnler \u015eule"},
    {"=?ISO-8859-15?B?MTAgpCC9dXZyZQ==?=", "10 \u20ac \u0153uvre"},
    {"=?ISO-8859-15?Q?10_=A4_=BDuvre?=", "10 \u20ac \u0153uvre"},
    {"=?windows-1250?B?UPjtbGmaIJ5sdZ1vdehr/Q==?=",
     "P\u0159\u00edli\u0161 \u017elu\u0165ou\u010dk\u00fd"},
    {"=?windows-1250?Q?P=F8=EDli=9A_=9Elu=9Dou=E8k=FD?=",
     "P\u0159\u00edli\u0161 \u017elu\u0165ou\u010dk\u00fd"},
    {"=?Windows-1251?B?xO7h8PvpIOTl7fwguSA1?=",
     "\u0414\u043e\u0431\u0440\u044b\u0439 \u0434\u0435\u043d\u044c \u2116 5"},
    {"=?Windows-1251?Q?=C4=EE=E1=F0=FB=E9_=E4=E5=ED=FC_=B9_5?=",
     "\u0414\u043e\u0431\u0440\u044b\u0439 \u0434\u0435\u043d\u044c \u2116 5"},
    {"=?windows-1252?B?k1F1b3RlZJQgliCANQ==?=", "\u201cQuoted\u201d \u2013 \u20ac5"},
    {"=?windows-1252?Q?=93Quoted=94_=96_=805?=", "\u201cQuoted\u201d \u2013 \u20ac5"},
    {"=?windows-1253?B?ou3o8fnw7/I=?=", "\u0386\u03bd\u03b8\u03c1\u03c9\u03c0\u03bf\u03c2"},
    {"=?windows-1253?Q?=A2=ED=E8=F1=F9=F0=EF=F2?=",
     "\u0386\u03bd\u03b8\u03c1\u03c9\u03c0\u03bf\u03c2"},
    {"=?windows-1254?B?VPxya+dlIPD9/g==?=", "T\u00fcrk\u00e7e \u011f\u0131\u015f"},
    {"=?windows-1254?Q?T=FCrk=E7e_=F0=FD=FE?=", "T\u00fcrk\u00e7e \u011f\u0131\u015f"},
    {"=?windows-1255?B?+ezl7Q==?=", "\u05e9\u05dc\u05d5\u05dd"},
    {"=?windows-1255?Q?=F9=EC=E5=ED?=", "\u05e9\u05dc\u05d5\u05dd"},
    {"=?windows-1256?B?49HNyMc=?=", "\u0645\u0631\u062d\u0628\u0627"},
    {"=?windows-1256?Q?=E3=D1=CD=C8=C7?=", "\u0645\u0631\u062d\u0628\u0627"},
    {"=?windows-1257?B?TGHocGznc2lz?=", "La\u010dpl\u0113sis"},
    {"=?windows-1257?Q?La=E8pl=E7sis?=", "La\u010dpl\u0113sis"},
    {"=?koi8-r?B?8NLP18XSy8E=?=", "\u041f\u0440\u043e\u0432\u0435\u0440\u043a\u0430"},
    {"=?koi8-r?Q?=F0=D2=CF=D7=C5=D2=CB=C1?=", "\u041f\u0440\u043e\u0432\u0435\u0440\u043a\u0430"},
    {"=?KOI8-U?B?t9bByyCk?=", "\u0407\u0436\u0430\u043a \u0454"},
    {"=?KOI8-U?Q?=B7=D6=C1=CB_=A4?=", "\u0407\u0436\u0430\u043a \u0454"},
    {"=?ibm850?B?mmJlcmdylOFl?=", "\u00dcbergr\u00f6\u00dfe"},
    {"=?ibm850?Q?=9Abergr=94=E1e?=", "\u00dcbergr\u00f6\u00dfe"},
    {"=?utf-8?B?5pel5pysIPCfmIAgbmHDr3Zl?=", "\u65e5\u672c \U0001f600 na\u00efve"},
    {"=?utf-8?Q?=E6=97=A5=E6=9C=AC_=F0=9F=98=80_na=C3=AFve?=",
     "\u65e5\u672c \U0001f600 na\u00efve"},
    {"=?utf-16be?B?AOkgrA==?=", "\u00e9\u20ac"},
    {"=?utf-16be?Q?=00=E9_=AC?=", "\u00e9\u20ac"},
    {"=?Shift_JIS?B?k/qWe4zqg2WDWINn?=", "\u65e5\u672c\u8a9e\u30c6\u30b9\u30c8"},
    {"=?Shift_JIS?Q?=93=FA=96=7B=8C=EA=83e=83X=83g?=", "\u65e5\u672c\u8a9e\u30c6\u30b9\u30c8"},
    {"=?euc-jp?B?xvzL3LjspcaluaXI?=", "\u65e5\u672c\u8a9e\u30c6\u30b9\u30c8"},
    {"=?euc-jp?Q?=C6=FC=CB=DC=B8=EC=A5=C6=A5=B9=A5=C8?=", "\u65e5\u672c\u8a9e\u30c6\u30b9\u30c8"},
    {"=?iso-2022-jp?B?GyRCRnxLXDhsGyhCIGFiYyAbJEIlRiU5JUgbKEI=?=",
     "\u65e5\u672c\u8a9e abc \u30c6\u30b9\u30c8"},
    {"=?iso-2022-jp?Q?=1B=24BF=7CK=5C8l=1B=28B_abc_=1B=24B=25F=259=25H=1B=28B?=",
     "\u65e5\u672c\u8a9e abc \u30c6\u30b9\u30c8"},
    {"=?gb2312?B?xOO6w8rAvec=?=", "\u4f60\u597d\u4e16\u754c"},
    {"=?gb2312?Q?=C4=E3=BA=C3=CA=C0=BD=E7?=", "\u4f60\u597d\u4e16\u754c"},
    {"=?GBK?B?xOO6w6OsysC95w==?=", "\u4f60\u597d\uff0c\u4e16\u754c"},
    {"=?GBK?Q?=C4=E3=BA=C3=A3=AC=CA=C0=BD=E7?=", "\u4f60\u597d\uff0c\u4e16\u754c"},
    {"=?gb18030?B?xOO6wyCi4w==?=", "\u4f60\u597d \u20ac"},
    {"=?gb18030?Q?=C4=E3=BA=C3_=A2=E3?=", "\u4f60\u597d \u20ac"},
    {"=?big5?B?p0GmbqVArMk=?=", "\u4f60\u597d\u4e16\u754c"},
    {"=?big5?Q?=A7A=A6n=A5=40=AC=C9?=", "\u4f60\u597d\u4e16\u754c"},
    {"=?euc-kr?B?vsiz58fPvLy/5A==?=", "\uc548\ub155\ud558\uc138\uc694"},
    {"=?euc-kr?Q?=BE=C8=B3=E7=C7=CF=BC=BC=BF=E4?=", "\uc548\ub155\ud558\uc138\uc694"},
};

TEST(EncodedWords, DecodesManyCharsets) {
  for (const Sample& sample : kCharsets) expectDecoded(sample.text, sample.decoded);
}

// ---- The form of a word ----

constexpr Sample kWords[] = {
    {"", ""},
    {"no word", "no word"},
    {"=?utf-8?q?a?=", "a"},
    {"=?UTF-8?b?YQ==?=", "a"},
    {"=?utf-8?Q?=c3=a9=C3=a9?=", "\u00e9\u00e9"},
    {"=?utf-8?Q?a=5F=3F=3D_b?=", "a_?= b"},
    {"=?utf-8?Q?!\"#$%&'()*+,-./:;<>@[\\]^`{|}~?=", "!\"#$%&'()*+,-./:;<>@[\\]^`{|}~"},
    {"x=?utf-8?Q?a?=y", "xay"},
    {"\xE9\xFF=?utf-8?Q?a?=\x80",
     "\xE9\xFF"
     "a\x80"},
    // Accepted beyond the standard.
    {"=?utf-8?Q?\?=|=?utf-8?B?\?=", "|"},
    {"=?utf-8?Q?a b\tc?=", "a b\tc"},
    {"=?utf-8?B?Y W\tI=?=", "ab"},
    {"=?utf-8?B?YQ?=|=?utf-8?B?YQ=?=|=?utf-8?B?YWI?=", "a|a|ab"},
    {"=?utf-8?B?YWJj=?=|=?utf-8?B?YQ====?=", "abc|a"},
    {"=?utf-8?B?YR==?=", "a"},
    {"=?us-ascii*en-us?Q?a?=|=?us-ascii*?Q?b?=", "a|b"},
    // No words.
    {"=?utf-8?Q?a", "=?utf-8?Q?a"},
    {"=?utf-8?Q?a?", "=?utf-8?Q?a?"},
    {"=?utf-8?Q?a\x7F?=", "=?utf-8?Q?a\x7F?="},
    {"=?utf-8 ?Q?a?=", "=?utf-8 ?Q?a?="},
    {"=?utf-8? Q?a?=", "=?utf-8? Q?a?="},
    {"=? ?Q?a?=", "=? ?Q?a?="},
    {"=??Q?a?=", "=??Q?a?="},
    {"=?utf-8??a?=", "=?utf-8??a?="},
    {"=?", "=?"},
    {"=?=", "=?="},
    {"=?=?", "=?=?"},
    {"?==?", "?==?"},
    // A word begins inside or behind what is none.
    {"=?=?utf-8?Q?a?=", "=?a"},
    {"=?utf-8?Q?=?utf-8?Q?a?=", "=?utf-8?Q?a"},
    {"=?utf-8?=?utf-8?Q?a?=", "=?utf-8?a"},
    {"=?utf-8 =?utf-8?Q?a?=", "=?utf-8 a"},
    {"=?utf-8?Q?a?=?utf-8?Q?b?=", "a?utf-8?Q?b?="},
};

TEST(EncodedWords, RecognisesWords) {
  for (const Sample& sample : kWords) expectDecoded(sample.text, sample.decoded);
}

TEST(EncodedWords, AcceptsWordsOfAnyLength) {
  for (const std::size_t n : {60U, 80U, 1000U, 3071U, 3072U, 3073U, 200000U}) {
    const std::string text(n, 'x');
    expectDecoded("=?utf-8?Q?" + text + "?=", text);
    expectDecoded("=?utf-8?B?" + harness::encoded(harness::base64Radix(), text) + "?=", text);
  }
}

TEST(EncodedWords, LeavesWhatItCannotDecode) {
  for (const std::string_view word :
       {"=?unknown?Q?a?=", "=?*en?Q?a?=", "=?utf-8?X?a?=", "=?utf-8?QQ?a?=", "=?utf-8?Q?=4?=",
        "=?utf-8?Q?=4G?=", "=?utf-8?Q?=G4?=", "=?utf-8?Q?=?=", "=?utf-8?Q?==41?=",
        "=?utf-8?B?YWJ*?=", "=?utf-8?B?Y?=", "=?utf-8?B?YWJjZ?=", "=?utf-8?B?YQ==YQ==?=",
        "=?utf-8?B?YW-_?="}) {
    expectFaults(word, word, "1", "0");
    const std::string text(word);
    expectFaults("=?utf-8?Q?a?= " + text + " =?utf-8?Q?b?=", "a " + text + " b", "1", "14");
  }
}

TEST(EncodedWords, CountsWhatItCannotDecode) {
  expectFaults("ab =?x?Q?a?= =?utf-8?Q?=ff?= =?utf-8?Q?ok?= =?y?Q?b?=",
               "ab =?x?Q?a?= \uFFFDok =?y?Q?b?=", "3", "3");
}

TEST(EncodedWords, MalformedCharactersAreReplaced) {
  expectFaults("=?utf-8?Q?a=C3z?=", "a\uFFFDz", "1", "0");
  expectFaults("x =?us-ascii?Q?=E9?=", "x \uFFFD", "1", "2");
  expectFaults("=?utf-16be?B?AGE=?= =?utf-16be?Q?=D8=3D?=", "a\uFFFD", "1", "0");
}

// ---- Adjacent words ----

constexpr Sample kAdjacent[] = {
    {"=?utf-8?Q?a?==?utf-8?Q?b?=", "ab"},
    {"=?utf-8?Q?a?=\t \t=?utf-8?Q?b?=", "ab"},
    {"=?utf-8?Q?a?=\n =?utf-8?Q?b?=", "ab"},
    {"=?utf-8?Q?a?=\r\t=?utf-8?Q?b?=", "ab"},
    {"=?utf-8?Q?a?= \r\n \r\n =?utf-8?Q?b?=", "ab"},
    {"=?utf-8?Q?a?= =?utf-8?B?Yg==?= =?us-ascii?q?c?= =?iso-8859-1?b?ZA==?=", "abcd"},
    {"=?utf-8?Q?a?= =?utf-8?Q?\?= =?utf-8?Q?b?=", "ab"},
    {" =?utf-8?Q?a?=  x  =?utf-8?Q?b?= ", " a  x  b "},
    // A line end without a space or TAB behind it begins another header.
    {"=?utf-8?Q?a?=\r\n=?utf-8?Q?b?=", "a\r\nb"},
    {"=?utf-8?Q?a?= \n=?utf-8?Q?b?=", "a \nb"},
    {"=?utf-8?Q?a?=\r\n\r\n =?utf-8?Q?b?=", "a\r\n\r\n b"},
    {"=?utf-8?Q?a?=\v=?utf-8?Q?b?=", "a\vb"},
    {"=?utf-8?Q?a?= =?utf-8?Q?b", "a =?utf-8?Q?b"},
    // Characters that are split between words.
    {"=?utf-8?Q?=E6=97?= =?utf-8?Q?=A5?=", "\u65e5"},
    {"=?utf-8?B?5pc=?=\r\n =?UTF8*ja?Q?=A5?=", "\u65e5"},
    {"=?utf-8?Q?=F0?= =?utf-8?Q?=9F?= =?utf-8?Q?=98?= =?utf-8?Q?=80?=", "\U0001F600"},
    {"=?shift_jis?B?kw==?= =?shift_jis?B?+g==?=", "\u65e5"},
    {"=?iso-2022-jp?B?GyRCRnw=?= =?iso-2022-jp?B?S1wbKEI=?=", "\u65e5\u672c"},
    {"=?iso-2022-jp?B?GyRCRnwbKEI=?= =?iso-2022-jp?B?GyRCS1wbKEI=?=", "\u65e5\u672c"},
};

TEST(EncodedWords, JoinsAdjacentWords) {
  for (const Sample& sample : kAdjacent) expectDecoded(sample.text, sample.decoded);
}

// Byte-order marks (RFC 2781, section 4.3).
constexpr Sample kByteOrders[] = {
    {"=?utf-16?B?//5BAA==?=|=?utf-16?B?/v8AQQ==?=|=?utf-16?B?QQA=?=", "A|A|A"},
    {"=?UTF-16*en?Q?=FF=FEA=00?=|=?utf-16?Q?=FE=FF=00A?=|=?utf-16?Q?A=00?=", "A|A|A"},
    {"=?ucs-2?B?//5BAA==?=|=?ucs-2?B?/v8AQQ==?=|=?ucs-2?B?QQA=?=", "A|A|A"},
    {"=?utf-32?B?//4AAEEAAAA=?=|=?utf-32?B?AAD+/wAAAEE=?=|=?utf-32?B?QQAAAA==?=", "A|A|A"},
    // One mark for all words that are joined, wherever it is split.
    {"=?utf-16?B?/v8AQQ==?= =?utf-16?B?AEI=?=", "AB"},
    {"=?utf-16?Q?=FE?= =?utf-16?Q?=FF=00A?=", "A"},
    // A mark of its own for each word.
    {"=?utf-16?B?/v8AQQ==?= =?utf-16?B?/v8AQg==?=", "AB"},
    {"=?utf-16?B?/v8AQQ==?= =?utf-16?B?//5CAA==?=\t=?utf-16?B?QwA=?=", "ABC"},
    {"=?utf-32?B?AAD+/wAAAEE=?= =?utf-32?B?//4AAEIAAAA=?=", "AB"},
    {"=?utf-16?B?/v8=?= =?utf-16?B?/v8AQQ==?=", "A"},
    // Bytes that are no mark, for they complete a character.
    {"=?utf-16?Q?=FE=FF=00?= =?utf-16?Q?=FE=FF=41?=", "\u00fe\uff41"},
    {"=?utf-16?B?/v8AQQ==?= x =?utf-16?B?QQA=?=", "A x A"},
    {"=?utf-16?B?/v8AQQ==?= =?utf-16le?B?QQA=?=", "AA"},
    {"=?utf-16le?B?QQA=?= =?utf-16?B?/v8AQQ==?=", "AA"},
    {"=?utf-16?B?/v8=?=|=?utf-16?B?//4=?=", "|"},
    // A mark that is none: behind the first character, and where the name tells the order.
    {"=?utf-16?B?/v8AQf7/?=", "A\uFEFF"},
    {"=?utf-16be?B?/v8AQQ==?=|=?utf-16le?B?//5BAA==?=", "\uFEFFA|\uFEFFA"},
    {"=?utf-32be?B?AAD+/wAAAEE=?=|=?utf-8?Q?=EF=BB=BFA?=", "\uFEFFA|\uFEFFA"},
};

TEST(EncodedWords, ObeysAByteOrderMarkWhereTheNameLeavesItOpen) {
  for (const Sample& sample : kByteOrders) expectDecoded(sample.text, sample.decoded);
}

TEST(EncodedWords, CharactersAreNotJoinedAcrossCharsetsOrText) {
  expectFaults("=?utf-8?Q?=C3?= =?iso-8859-1?Q?=A9?=", "\uFFFD\u00a9", "1", "0");
  expectFaults("=?utf-8?Q?=C3?= x =?utf-8?Q?=A9?=", "\uFFFD x \uFFFD", "2", "0");
}

// ---- The buffer ----

TEST(EncodedWords, KeepsNuls) {
  expectDecoded("a\0=?utf-8?Q?b?=\0"s, "a\0b\0"s);
  expectDecoded("\0=?utf-8?Q?=00x=00?= =?utf-8?Q?=00?="s, "\0\0x\0\0"s);
  expectDecoded("=?utf-8?Q?\0?="s, "=?utf-8?Q?\0?="s);
}

TEST(EncodedWords, TouchesTheBufferOnlyForAWord) {
  for (const std::string_view text : {"=?utf-8?Q?a", "=?x?Q?a?=", "plain\0"}) {
    for (const bool withBlock : {false, true}) {
      StringBuffer buffer;
      ASSERT_TRUE(buffer.expectNumBytes(withBlock ? 200 : 0));
      harness::fill(buffer, text);
      buffer.setExtendSize(7);
      const harness::BufferState before = harness::stateOf(buffer);
      const char* const address = buffer.getString();
      LogNull log;
      decode(buffer, log);
      EXPECT_EQ(harness::stateOf(buffer), before) << text;
      EXPECT_EQ(buffer.getString(), address);
    }
  }
}

TEST(EncodedWords, KeepsTheBlock) {
  StringBuffer buffer(
      "=?utf-8?Q?a?= and much more text, so that all of this is too long to stand in "
      "the object itself");
  const unsigned int heapUsage = buffer.heapUsage();
  ASSERT_NE(heapUsage, 0U);
  LogNull log;
  EXPECT_TRUE(decode(buffer, log));
  EXPECT_TRUE(holds(buffer,
                    "a and much more text, so that all of this is too long to stand in the "
                    "object itself",
                    heapUsage, 202));
}

TEST(EncodedWords, LogsInAContextOfItsOwn) {
  StringBuffer buffer("=?x?Q?a?=");
  LogBase log;
  EXPECT_FALSE(decode(buffer, log));
  EXPECT_TRUE(log.hasContext("QB_DecodeToUtf8"));
  EXPECT_STREQ(log.errorAt(0), "Encoded words are malformed or in an unknown charset or encoding");
}

// 57 bytes of 0x80, which are "\u20ac" in Windows-1252: three bytes each in UTF-8.
std::string growingWord() {
  return "=?windows-1252?B?" + harness::encoded(harness::base64Radix(), std::string(57, '\x80')) +
         "?=";
}

std::string repeated(std::string_view piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

TEST(EncodedWords, TheResultMayBeLonger) {
  expectDecoded(growingWord(), repeated("\u20ac", 57));
  expectDecoded(repeated(growingWord() + " ", 30), repeated("\u20ac", 57 * 30) + " ");
}

TEST(EncodedWords, SurvivesEveryFailedAllocation) {
  const std::string text = "=?utf-8?Q?a=C3?= =?utf-8?Q?=A9?= " + growingWord() + "\t" +
                           growingWord() + " plain =?x?Q?\?= =?shift_jis?B?k/o=?= end";
  const std::string left = " plain =?x?Q?\?= \u65e5 end";
  const std::string expected = "a\u00e9" + repeated("\u20ac", 114) + left;
  const long live = harness::liveBlocks();
  {
    StringBuffer buffer;
    LogBase log;
    const long failures = harness::failEveryAllocation(
        [&] {
          log.clear();
          buffer.clear();
          ASSERT_TRUE(buffer.append(text.c_str()));
        },
        [&] { decode(buffer, log); },
        [&] {
          EXPECT_TRUE(bytesOf(buffer) == text || bytesOf(buffer) == expected) << buffer.getString();
          EXPECT_TRUE(harness::invariantsHold(buffer));
        });
    EXPECT_GT(failures, 20);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(EncodedWords, ReportsThatMemoryIsExhausted) {
  StringBuffer buffer("=?utf-8?Q?a?=");
  LogBase log;
  bool done = true;
  {
    const harness::FailAllocation none(2);  // the first one is the log's
    done = decode(buffer, log);
  }
  EXPECT_FALSE(done);
  EXPECT_STREQ(log.errorAt(0), "Out of memory");
  EXPECT_TRUE(holds(buffer, "=?utf-8?Q?a?="));
}

TEST(EncodedWords, WipesAllTemporaries) {
  const std::string text = "secret =?utf-8?Q?secret=C3=A9?= =?utf-8?B?c2VjcmV0?= " + growingWord() +
                           " =?koi8-r?Q?secret?= secret";
  StringBuffer buffer;
  ASSERT_TRUE(buffer.expectNumBytes(2000));
  ASSERT_TRUE(buffer.append(text.c_str()));
  LogNull log;
  bool done = false;
  const auto blocks = harness::releasedBy([&] { done = decode(buffer, log); });
  EXPECT_TRUE(done);
  EXPECT_GE(blocks.size(), 6U);
  EXPECT_TRUE(harness::allWiped(blocks));
}

// ---- Former bugs ----

// What mail programs write against RFC 2047. Two other decoders (Python's header parser, Perl's
// Encode) read these in the same way.
constexpr Sample kAgainstTheRules[] = {
    // Raw bytes in a Q word stand for themselves.
    {"=?utf-8?Q?caf\xC3\xA9?=", "caf\u00e9"},
    {"=?iso-8859-1?Q?\xE9t\xE9?=", "\u00e9t\u00e9"},
    {"=?utf-8?Q?\xC3?= =?utf-8?Q?=A9?=", "\u00e9"},
    {"=?shift_jis?Q?\x93\xFA?=", "\u65e5"},
    // A fold loses its line end.
    {"=?utf-8?Q?a\r\n b?=", "a b"},
    {"=?utf-8?Q?a\n\tb?=", "a\tb"},
    {"=?utf-8?Q?a\r b?=", "a b"},
    {"=?utf-8?Q?a \r\n \r\n b?=", "a   b"},
    {"=?utf-8?Q?\r\n a\r\n ?=", " a "},
    {"=?utf-8?B?YW\r\n Jj?=", "abc"},
    {"=?utf-8?B?YW\n\tJj\r\n ?=", "abc"},
};

TEST(EncodedWords, ReadsRawBytesAndFolds) {
  for (const Sample& sample : kAgainstTheRules) expectDecoded(sample.text, sample.decoded);
}

TEST(EncodedWords, CountsWordsWithQuestionMarksAndRawBytesInBase64) {
  for (const std::string_view word :
       {"=?utf-8?Q?a?b?=", "=?utf-8?q?really?\?=", "=?utf-8?Q?what?_now?=", "=?utf-8?Q?\?a?=",
        "=?utf-8?Q?\?\?=", "=?utf-8?B?YW?Jj?=", "=?utf-8?b?YW\xC3Jj?=", "=?utf-8?Q?a=\r\n b?=",
        "=?utf-8?Q?a? b\r\n ?c?=", "=?utf-8?Q?a?b=?="}) {
    expectFaults(word, word, "1", "0");
    const std::string text(word);
    expectFaults("=?utf-8?Q?a?= " + text + " =?utf-8?Q?b?=", "a " + text + " b", "1", "14");
  }
  expectFaults("=?utf-8?Q?\xE9?=", "\uFFFD", "1", "0");
}

// A "?=" that is not of the same header, or after the beginning of another word, ends no word.
TEST(EncodedWords, EndsNoWordElsewhere) {
  const std::string withNul = "=?utf-8?Q?a?\0?="s;
  const Sample noWords[] = {
      {"=?utf-8?Q?a\r\nb?=", "=?utf-8?Q?a\r\nb?="},
      {"=?utf-8?Q?a?b\r\nSubject: c?=", "=?utf-8?Q?a?b\r\nSubject: c?="},
      {"=?utf-8?Q?a?b =?utf-8?Q?c?=", "=?utf-8?Q?a?b c"},
      {"=?utf-8?Q?a =?utf-8?Q?c?=", "=?utf-8?Q?a c"},
      {"=?utf-8?X?a?b?=", "=?utf-8?X?a?b?="},
      {"=?utf-8?Q?a?b", "=?utf-8?Q?a?b"},
      {withNul, withNul},
  };
  for (const Sample& sample : noWords) expectDecoded(sample.text, sample.decoded);
}

TEST(EncodedWords, ReadsUtf7) {
  expectDecoded("=?utf-7?Q?caf+AOk-?=", "caf\u00e9");
  expectDecoded("=?UTF-7?B?K1plVm5MSXFlLQ==?=", "\u65e5\u672c\u8a9e");
  expectDecoded("=?unicode-1-1-utf-7?Q?1+-1=3D2?=", "1+1=2");
  expectFaults("=?utf-7?Q?a+!?=", "a\uFFFD!", "1", "0");
}

// ---- Hostile texts ----

TEST(EncodedWords, IsLinear) {
  constexpr std::size_t kMiB = 1U << 20U;
  for (const std::string_view piece : {"=?",
                                       "=?a?",
                                       "=?a?Q?",
                                       "=?a?Q?b?",
                                       "=?a?Q?\n ",
                                       "=?=?Q?Q?",
                                       "=?a?Q?b",
                                       "=?a?Q?=",
                                       "=?a?=",
                                       "?=",
                                       "?",
                                       "=",
                                       "a",
                                       " ",
                                       "\r\n ",
                                       "=?utf-8?Q?=C3?=",
                                       "=?utf-8?Q?=C3?= ",
                                       "=?utf-8?Q?\?=",
                                       "=?utf-8?B?5pel?= =?koi8-r?Q?a?= ",
                                       "=?utf-8?Q?a?= =?x?Q?a?= ",
                                       "=?iso-2022-jp?Q?a?=x",
                                       "=?x?Q?a?="}) {
    for (const std::string_view start : {"", "=?utf-8?Q?x?= "}) {
      StringBuffer buffer;
      harness::fill(buffer, std::string(start) + repeated(piece, kMiB / 16 / piece.size()));
      LogNull log;
      EXPECT_LT(harness::secondsOf([&] { decode(buffer, log); }), 8.0) << start << piece;
    }
  }
}

TEST(EncodedWords, ManyWordsBehindAHugeOneAreLinear) {
  const std::string text =
      "=?utf-8?Q?" + std::string(1U << 20U, 'x') + "?=" + repeated(" y =?koi8-r?Q?z?=", 20000);
  StringBuffer buffer(text.c_str());
  LogNull log;
  EXPECT_LT(harness::secondsOf([&] { decode(buffer, log); }), 8.0);
  EXPECT_EQ(buffer.getSize(), (1U << 20U) + 20000 * 4);
}

// ---- Comparison with a slow reference ----

struct ReferenceWord {
  std::size_t begin;
  std::size_t end;
  int page;  // 0: not decodable
  std::string bytes;
};

bool decodeReferenceQ(const std::string& encoded, std::string& bytes) {
  static const std::regex kWellFormed("([^=]|=[0-9A-Fa-f][0-9A-Fa-f])*");
  if (!std::regex_match(encoded, kWellFormed)) return false;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] == '\r' || encoded[i] == '\n') continue;
    if (encoded[i] != '=') {
      bytes += encoded[i] == '_' ? ' ' : encoded[i];
      continue;
    }
    bytes += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
    i += 2;
  }
  return true;
}

bool decodeReferenceB(const std::string& encoded, std::string& bytes) {
  static const std::regex kWellFormed("([A-Za-z0-9+/]*)=*");
  static const std::regex kBlank("[ \t\r\n]");
  const std::string symbols = std::regex_replace(encoded, kBlank, "");
  std::smatch parts;
  if (!std::regex_match(symbols, parts, kWellFormed) || parts[1].length() % 4 == 1) return false;
  std::string bits;
  for (const char c : parts[1].str())
    bits += harness::bitsOf(harness::symbolValue(harness::base64Radix(), c), 6);
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8)
    bytes += static_cast<char>(harness::valueOf(std::string_view(bits).substr(i, 8)));
  return true;
}

ReferenceWord referenceWord(const std::smatch& match) {
  const std::string charset = match[1];
  ReferenceWord word{static_cast<std::size_t>(match.position()),
                     static_cast<std::size_t>(match.position() + match.length()),
                     codePageOfCharset(charset.substr(0, charset.find('*'))), ""};
  const std::string encoding = match[2];
  const std::string encoded = match[3];
  const bool decoded = encoding == "Q" || encoding == "q"   ? decodeReferenceQ(encoded, word.bytes)
                       : encoding == "B" || encoding == "b" ? decodeReferenceB(encoded, word.bytes)
                                                            : false;
  if (!decoded) word.page = 0;
  return word;
}

// Every word and every gap is found by a regular expression.
class Reference {
 public:
  explicit Reference(const std::string& text) {
    static const std::regex kWord(
        R"(=\?([!->@-~]+)\?([!->@-~]+)\?((?:[^?\x01-\x08\x0A-\x1F\x7F\x00]|(?:\r\n|\r|\n)[ \t])*)\?=)"
        R"(|=\?[!->@-~]+\?[QqBb]\?(?:(?!=\?(?!=)|\?=)[^\x01-\x08\x0A-\x1F\x7F\x00]|(?:\r\n|\r|\n)[ \t])*\?=)");
    static const std::regex kGap("((\r\n|\r|\n)?[ \t])*");
    std::size_t copied = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), kWord), end; it != end; ++it) {
      const ReferenceWord word = referenceWord(*it);
      if (word.page == 0) {
        ++m_faults;
        continue;
      }
      const std::string gap = text.substr(copied, word.begin - copied);
      const bool adjacent = m_page != 0 && std::regex_match(gap, kGap);
      if (!adjacent || word.page != m_page) flush();
      if (!adjacent) m_result += gap;
      m_page = word.page;
      m_bytes += word.bytes;
      copied = word.end;
    }
    flush();
    m_result += text.substr(copied);
  }

  const std::string& result() const { return m_result; }
  int faults() const { return m_faults; }

 private:
  void flush() {
    EncodingConvert converter;
    DataBuffer utf8;
    LogNull log;
    if (m_page != 0 &&
        !converter.EncConvert(m_page, 65001, reinterpret_cast<const unsigned char*>(m_bytes.data()),
                              static_cast<unsigned int>(m_bytes.size()), utf8, log))
      ++m_faults;
    m_result.append(reinterpret_cast<const char*>(utf8.getData2()), utf8.getSize());
    m_bytes.clear();
  }

  std::string m_result;
  std::string m_bytes;
  int m_page = 0;
  int m_faults = 0;
};

void expectLikeReference(const std::string& text) {
  const Reference reference(text);
  const Result result = decode(text);
  ASSERT_EQ(result.content, reference.result()) << testing::PrintToString(text);
  ASSERT_EQ(result.done, reference.faults() == 0) << testing::PrintToString(text);
  if (!result.done) {
    ASSERT_EQ(result.words, std::to_string(reference.faults())) << testing::PrintToString(text);
  }
}

std::string assembled(std::string_view choice, const std::vector<std::string>& pieces) {
  std::string text;
  for (const char c : choice) text += pieces[static_cast<std::size_t>(c - 'A')];
  return text;
}

TEST(EncodedWords, AgreesWithTheReferenceOnShortTexts) {
  const std::vector<std::string> pieces = {"=?", "?", "=", "utf-8?Q", "a", " "};
  for (const std::string& choice : harness::allStrings("ABCDEF", 5))
    expectLikeReference(assembled(choice, pieces));
}

TEST(EncodedWords, AgreesWithTheReferenceOnRandomTexts) {
  const std::vector<std::string> pieces = {"=?",
                                           "?=",
                                           "?",
                                           "=",
                                           "utf-8",
                                           "Q",
                                           "b",
                                           "_",
                                           "=c3",
                                           "w6k=",
                                           " ",
                                           "\r\n ",
                                           "\n",
                                           "\0"s,
                                           "\xC3",
                                           "=?utf-8?Q?=C3?=",
                                           "=?utf-8?B?qQ==?=",
                                           "=?utf-8*en?b?w6k?=",
                                           "=?koi8-r?q?=C1_?=",
                                           "=?x?Q?a?=",
                                           "=?us-ascii?Q?\?=",
                                           "=?utf-8?Q?=?=",
                                           "=?utf-8?Q?",
                                           "=?utf-8?B?",
                                           "=?utf-8?Q?a?b?=",
                                           "\xE9"};
  for (unsigned int seed = 0; seed < 600; ++seed)
    expectLikeReference(
        assembled(harness::randomText(seed, seed % 25, "ABCDEFGHIJKLMNOPQRSTUVWXYZ"), pieces));
}

TEST(EncodedWords, AgreesWithTheReferenceOnEveryByte) {
  const std::string word = "=?utf-8?Q?ab?= =?koi8-r?B?YWJj?=";
  for (std::size_t at = 0; at < word.size(); ++at) {
    for (int c = 0; c < 256; c += c < 0x80 ? 1 : 0x1F) {
      std::string text = word;
      text[at] = static_cast<char>(c);
      expectLikeReference(text);
    }
    for (const char c : {'=', '?', ' ', '\n', '_', 'A', '\0', '\xC3'}) {
      std::string text = word;
      expectLikeReference(text.insert(at, 1, c));
    }
  }
}

}  // namespace
