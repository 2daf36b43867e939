#include "support/internal/CharsetNames.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "support/internal/Ascii.h"
#include "support/internal/CodePageNumbers.h"

namespace dorvane::internal {
namespace {

struct CharsetName {
  std::string_view name;  // in lower case
  int codePage;
};

// clang-format off

// The registry of IANA, the aliases that mail programs and browsers write, and the names that
// Windows gives its pages, in the order of their bytes. A name whose texts are in practice written
// in a superset means the superset: 932 for Shift_JIS, 936 for GB 2312, 949 for EUC-KR, 874 for
// TIS-620.
constexpr CharsetName kNames[] = {
    {"1250", 1250}, {"1251", 1251}, {"1252", 1252}, {"1253", 1253}, {"1254", 1254}, {"1255", 1255},
    {"1256", 1256}, {"1257", 1257}, {"1258", 1258}, {"437", 437}, {"646", 20127}, {"775", 775},
    {"819", 28591}, {"850", 850}, {"852", 852}, {"855", 855}, {"857", 857}, {"860", 860},
    {"861", 861}, {"862", 862}, {"863", 863}, {"864", 864}, {"865", 865}, {"866", 866},
    {"869", 869}, {"8859-1", 28591}, {"8859-10", 28600}, {"8859-11", 28601}, {"8859-13", 28603},
    {"8859-14", 28604}, {"8859-15", 28605}, {"8859-16", 28606}, {"8859-2", 28592},
    {"8859-3", 28593}, {"8859-4", 28594}, {"8859-5", 28595}, {"8859-6", 28596}, {"8859-7", 28597},
    {"8859-8", 28598}, {"8859-9", 28599}, {"936", 936}, {"949", 949}, {"950", 950},
    {"ansi_x3.4-1968", 20127}, {"ansi_x3.4-1986", 20127}, {"arabic", 28596}, {"ascii", 20127},
    {"asmo-708", 28596}, {"big-5", 950}, {"big-five", 950}, {"big5", 950}, {"big5-hkscs", 950},
    {"big5_hkscs", 950}, {"big5_tw", 950}, {"big5hkscs", 950}, {"bigfive", 950},
    {"ccsid00858", 858}, {"chinese", 936}, {"cn-big5", 950}, {"cn-gb", 936}, {"cp-gr", 869},
    {"cp-is", 861}, {"cp00858", 858}, {"cp1250", 1250}, {"cp1251", 1251}, {"cp1252", 1252},
    {"cp1253", 1253}, {"cp1254", 1254}, {"cp1255", 1255}, {"cp1256", 1256}, {"cp1257", 1257},
    {"cp1258", 1258}, {"cp1361", 1361}, {"cp367", 20127}, {"cp437", 437}, {"cp50220", 50220},
    {"cp50221", 50221}, {"cp50222", 50222}, {"cp51932", 51932}, {"cp737", 737}, {"cp775", 775},
    {"cp819", 28591}, {"cp850", 850}, {"cp852", 852}, {"cp855", 855}, {"cp857", 857},
    {"cp858", 858}, {"cp860", 860}, {"cp861", 861}, {"cp862", 862}, {"cp863", 863}, {"cp864", 864},
    {"cp865", 865}, {"cp866", 866}, {"cp869", 869}, {"cp874", 874}, {"cp932", 932}, {"cp936", 936},
    {"cp949", 949}, {"cp950", 950}, {"csascii", 20127}, {"csbig5", 950}, {"cseuckr", 949},
    {"cseucpkdfmtjapanese", 51932}, {"csgb18030", 54936}, {"csgb2312", 936}, {"csgbk", 936},
    {"csibm00858", 858}, {"csibm855", 855}, {"csibm857", 857}, {"csibm860", 860}, {"csibm861", 861},
    {"csibm863", 863}, {"csibm864", 864}, {"csibm865", 865}, {"csibm866", 866}, {"csibm869", 869},
    {"csiso2022jp", 50220}, {"csiso2022kr", 50225}, {"csiso58gb231280", 936},
    {"csiso885913", 28603}, {"csiso885914", 28604}, {"csiso885915", 28605}, {"csiso885916", 28606},
    {"csiso88596e", 28596}, {"csiso88596i", 28596}, {"csiso88598e", 28598}, {"csiso88598i", 28598},
    {"csisolatin1", 28591}, {"csisolatin2", 28592}, {"csisolatin3", 28593}, {"csisolatin4", 28594},
    {"csisolatin5", 28599}, {"csisolatin6", 28600}, {"csisolatin9", 28605},
    {"csisolatinarabic", 28596}, {"csisolatincyrillic", 28595}, {"csisolatingreek", 28597},
    {"csisolatinhebrew", 28598}, {"cskoi8r", 20866}, {"cskoi8u", 21866}, {"csksc56011987", 949},
    {"csmacintosh", 10000}, {"csmskanji", 932}, {"cspc775baltic", 775},
    {"cspc850multilingual", 850}, {"cspc862latinhebrew", 862}, {"cspc8codepage437", 437},
    {"cspcp852", 852}, {"csshiftjis", 932}, {"cstis620", 874}, {"csucs4", 12000},
    {"csunicode", 1200}, {"csunicode11utf7", 65000}, {"csutf16", 1200}, {"csutf16be", 1201},
    {"csutf16le", 1200}, {"csutf32", 12000}, {"csutf32be", 12001}, {"csutf32le", 12000},
    {"csutf7", 65000}, {"csutf8", 65001}, {"cswindows1250", 1250}, {"cswindows1251", 1251},
    {"cswindows1252", 1252}, {"cswindows1253", 1253}, {"cswindows1254", 1254},
    {"cswindows1255", 1255}, {"cswindows1256", 1256}, {"cswindows1257", 1257},
    {"cswindows1258", 1258}, {"cswindows31j", 932}, {"cswindows874", 874}, {"cswindows949", 949},
    {"cyrillic", 28595}, {"dos-437", 437}, {"dos-737", 737}, {"dos-775", 775}, {"dos-850", 850},
    {"dos-852", 852}, {"dos-855", 855}, {"dos-857", 857}, {"dos-858", 858}, {"dos-860", 860},
    {"dos-861", 861}, {"dos-862", 862}, {"dos-863", 863}, {"dos-864", 864}, {"dos-865", 865},
    {"dos-866", 866}, {"dos-869", 869}, {"dos-874", 874}, {"ecma-114", 28596}, {"ecma-118", 28597},
    {"elot_928", 28597}, {"euc-cn", 936}, {"euc-jp", 51932}, {"euc-jp-ms", 51932}, {"euc-kr", 949},
    {"euc-tw", 51950}, {"euc_jp", 51932}, {"euccn", 936}, {"eucgb2312_cn", 936}, {"eucjp", 51932},
    {"eucjp-ms", 51932}, {"eucjp-win", 51932}, {"euckr", 949}, {"euctw", 51950},
    {"extended_unix_code_packed_format_for_japanese", 51932}, {"gb-18030", 54936},
    {"gb18030", 54936}, {"gb18030-2000", 54936}, {"gb18030-2005", 54936}, {"gb2312", 936},
    {"gb2312-80", 936}, {"gb_18030", 54936}, {"gb_2312", 936}, {"gb_2312-80", 936}, {"gbk", 936},
    {"greek", 28597}, {"greek8", 28597}, {"hebrew", 28598}, {"hz", 52936}, {"hz-gb-2312", 52936},
    {"ibm-437", 437}, {"ibm-737", 737}, {"ibm-775", 775}, {"ibm-850", 850}, {"ibm-852", 852},
    {"ibm-855", 855}, {"ibm-857", 857}, {"ibm-858", 858}, {"ibm-860", 860}, {"ibm-861", 861},
    {"ibm-862", 862}, {"ibm-863", 863}, {"ibm-864", 864}, {"ibm-865", 865}, {"ibm-866", 866},
    {"ibm-869", 869}, {"ibm00858", 858}, {"ibm367", 20127}, {"ibm437", 437}, {"ibm737", 737},
    {"ibm775", 775}, {"ibm819", 28591}, {"ibm850", 850}, {"ibm852", 852}, {"ibm855", 855},
    {"ibm857", 857}, {"ibm858", 858}, {"ibm860", 860}, {"ibm861", 861}, {"ibm862", 862},
    {"ibm863", 863}, {"ibm864", 864}, {"ibm865", 865}, {"ibm866", 866}, {"ibm869", 869},
    {"ibm874", 874}, {"iso-10646-ucs-2", 1200}, {"iso-10646-ucs-4", 12000}, {"iso-2022-jp", 50220},
    {"iso-2022-jp-ms", 50221}, {"iso-2022-kr", 50225}, {"iso-8859-1", 28591},
    {"iso-8859-10", 28600}, {"iso-8859-11", 28601}, {"iso-8859-13", 28603}, {"iso-8859-14", 28604},
    {"iso-8859-15", 28605}, {"iso-8859-16", 28606}, {"iso-8859-2", 28592}, {"iso-8859-3", 28593},
    {"iso-8859-4", 28594}, {"iso-8859-5", 28595}, {"iso-8859-6", 28596}, {"iso-8859-6-e", 28596},
    {"iso-8859-6-i", 28596}, {"iso-8859-7", 28597}, {"iso-8859-8", 28598}, {"iso-8859-8-e", 28598},
    {"iso-8859-8-i", 28598}, {"iso-8859-9", 28599}, {"iso-celtic", 28604}, {"iso-ir-100", 28591},
    {"iso-ir-101", 28592}, {"iso-ir-109", 28593}, {"iso-ir-110", 28594}, {"iso-ir-126", 28597},
    {"iso-ir-127", 28596}, {"iso-ir-138", 28598}, {"iso-ir-144", 28595}, {"iso-ir-148", 28599},
    {"iso-ir-149", 949}, {"iso-ir-157", 28600}, {"iso-ir-179", 28603}, {"iso-ir-199", 28604},
    {"iso-ir-226", 28606}, {"iso-ir-58", 936}, {"iso-ir-6", 20127}, {"iso2022-jp", 50220},
    {"iso2022jp", 50220}, {"iso646-us", 20127}, {"iso8859-1", 28591}, {"iso8859-10", 28600},
    {"iso8859-11", 28601}, {"iso8859-11:2001", 28601}, {"iso8859-13", 28603}, {"iso8859-14", 28604},
    {"iso8859-15", 28605}, {"iso8859-16", 28606}, {"iso8859-2", 28592}, {"iso8859-3", 28593},
    {"iso8859-4", 28594}, {"iso8859-5", 28595}, {"iso8859-6", 28596}, {"iso8859-7", 28597},
    {"iso8859-8", 28598}, {"iso8859-9", 28599}, {"iso88591", 28591}, {"iso885910", 28600},
    {"iso885911", 28601}, {"iso885913", 28603}, {"iso885914", 28604}, {"iso885915", 28605},
    {"iso885916", 28606}, {"iso88592", 28592}, {"iso88593", 28593}, {"iso88594", 28594},
    {"iso88595", 28595}, {"iso88596", 28596}, {"iso88597", 28597}, {"iso88598", 28598},
    {"iso88599", 28599}, {"iso8859_1", 28591}, {"iso8859_10", 28600}, {"iso8859_11", 28601},
    {"iso8859_13", 28603}, {"iso8859_14", 28604}, {"iso8859_15", 28605}, {"iso8859_16", 28606},
    {"iso8859_2", 28592}, {"iso8859_3", 28593}, {"iso8859_4", 28594}, {"iso8859_5", 28595},
    {"iso8859_6", 28596}, {"iso8859_7", 28597}, {"iso8859_8", 28598}, {"iso8859_9", 28599},
    {"iso_646.irv:1991", 20127}, {"iso_8859-1", 28591}, {"iso_8859-10", 28600},
    {"iso_8859-10:1992", 28600}, {"iso_8859-11", 28601}, {"iso_8859-13", 28603},
    {"iso_8859-14", 28604}, {"iso_8859-14:1998", 28604}, {"iso_8859-15", 28605},
    {"iso_8859-16", 28606}, {"iso_8859-16:2001", 28606}, {"iso_8859-1:1987", 28591},
    {"iso_8859-2", 28592}, {"iso_8859-2:1987", 28592}, {"iso_8859-3", 28593},
    {"iso_8859-3:1988", 28593}, {"iso_8859-4", 28594}, {"iso_8859-4:1988", 28594},
    {"iso_8859-5", 28595}, {"iso_8859-5:1988", 28595}, {"iso_8859-6", 28596},
    {"iso_8859-6-e", 28596}, {"iso_8859-6-i", 28596}, {"iso_8859-6:1987", 28596},
    {"iso_8859-7", 28597}, {"iso_8859-7:1987", 28597}, {"iso_8859-8", 28598},
    {"iso_8859-8-e", 28598}, {"iso_8859-8-i", 28598}, {"iso_8859-8:1988", 28598},
    {"iso_8859-9", 28599}, {"iso_8859-9:1989", 28599}, {"iso_8859_1", 28591},
    {"iso_8859_10", 28600}, {"iso_8859_11", 28601}, {"iso_8859_13", 28603}, {"iso_8859_14", 28604},
    {"iso_8859_15", 28605}, {"iso_8859_16", 28606}, {"iso_8859_2", 28592}, {"iso_8859_3", 28593},
    {"iso_8859_4", 28594}, {"iso_8859_5", 28595}, {"iso_8859_6", 28596}, {"iso_8859_7", 28597},
    {"iso_8859_8", 28598}, {"iso_8859_9", 28599}, {"johab", 1361}, {"koi", 20866}, {"koi8", 20866},
    {"koi8-r", 20866}, {"koi8-ru", 21866}, {"koi8-u", 21866}, {"koi8_r", 20866}, {"koi8_u", 21866},
    {"koi8r", 20866}, {"koi8u", 21866}, {"korean", 949}, {"ks_c-5601-1987", 949},
    {"ks_c_5601", 949}, {"ks_c_5601-1987", 949}, {"ks_c_5601-1989", 949}, {"ksc5601", 949},
    {"ksc_5601", 949}, {"l1", 28591}, {"l10", 28606}, {"l2", 28592}, {"l3", 28593}, {"l4", 28594},
    {"l5", 28599}, {"l6", 28600}, {"l7", 28603}, {"l8", 28604}, {"l9", 28605}, {"latin-1", 28591},
    {"latin-10", 28606}, {"latin-2", 28592}, {"latin-3", 28593}, {"latin-4", 28594},
    {"latin-5", 28599}, {"latin-6", 28600}, {"latin-7", 28603}, {"latin-8", 28604},
    {"latin-9", 28605}, {"latin1", 28591}, {"latin10", 28606}, {"latin2", 28592}, {"latin3", 28593},
    {"latin4", 28594}, {"latin5", 28599}, {"latin6", 28600}, {"latin7", 28603}, {"latin8", 28604},
    {"latin9", 28605}, {"logical", 28598}, {"mac", 10000}, {"macintosh", 10000}, {"ms-ansi", 1252},
    {"ms-arab", 1256}, {"ms-cyrl", 1251}, {"ms-ee", 1250}, {"ms-greek", 1253}, {"ms-hebr", 1255},
    {"ms-turk", 1254}, {"ms1361", 1361}, {"ms874", 874}, {"ms932", 932}, {"ms936", 936},
    {"ms949", 949}, {"ms950", 950}, {"ms_kanji", 932}, {"pc-multilingual-850+euro", 858},
    {"shift-jis", 932}, {"shift_jis", 932}, {"shiftjis", 932}, {"sjis", 932},
    {"sun_eu_greek", 28597}, {"tis-620", 874}, {"tis620", 874}, {"tis620-0", 874},
    {"tis620.2529-1", 874}, {"tis620.2533-0", 874}, {"ucs-2", 1200}, {"ucs-2be", 1201},
    {"ucs-2le", 1200}, {"ucs-4", 12000}, {"ucs-4be", 12001}, {"ucs-4le", 12000}, {"uhc", 949},
    {"ujis", 51932}, {"unicode", 1200}, {"unicode-1-1-utf-7", 65000}, {"unicode-1-1-utf-8", 65001},
    {"unicode-2-0-utf-7", 65000}, {"unicode11utf8", 65001}, {"unicode20utf8", 65001},
    {"unicodefeff", 1200}, {"unicodefffe", 1201}, {"us", 20127}, {"us-ascii", 20127},
    {"us_ascii", 20127}, {"usascii", 20127}, {"utf-16", 1200}, {"utf-16be", 1201},
    {"utf-16le", 1200}, {"utf-32", 12000}, {"utf-32be", 12001}, {"utf-32le", 12000},
    {"utf-7", 65000}, {"utf-8", 65001}, {"utf16", 1200}, {"utf16be", 1201}, {"utf16le", 1200},
    {"utf32", 12000}, {"utf32be", 12001}, {"utf32le", 12000}, {"utf7", 65000}, {"utf8", 65001},
    {"utf_16", 1200}, {"utf_16be", 1201}, {"utf_16le", 1200}, {"utf_32", 12000},
    {"utf_32be", 12001}, {"utf_32le", 12000}, {"utf_7", 65000}, {"utf_8", 65001}, {"visual", 28598},
    {"win-1250", 1250}, {"win-1251", 1251}, {"win-1252", 1252}, {"win-1253", 1253},
    {"win-1254", 1254}, {"win-1255", 1255}, {"win-1256", 1256}, {"win-1257", 1257},
    {"win-1258", 1258}, {"winbaltrim", 1257}, {"windows-1250", 1250}, {"windows-1251", 1251},
    {"windows-1252", 1252}, {"windows-1253", 1253}, {"windows-1254", 1254}, {"windows-1255", 1255},
    {"windows-1256", 1256}, {"windows-1257", 1257}, {"windows-1258", 1258}, {"windows-31j", 932},
    {"windows-874", 874}, {"windows-932", 932}, {"windows-936", 936}, {"windows-949", 949},
    {"windows-950", 950}, {"windows1250", 1250}, {"windows1251", 1251}, {"windows1252", 1252},
    {"windows1253", 1253}, {"windows1254", 1254}, {"windows1255", 1255}, {"windows1256", 1256},
    {"windows1257", 1257}, {"windows1258", 1258}, {"windows_1250", 1250}, {"windows_1251", 1251},
    {"windows_1252", 1252}, {"windows_1253", 1253}, {"windows_1254", 1254}, {"windows_1255", 1255},
    {"windows_1256", 1256}, {"windows_1257", 1257}, {"windows_1258", 1258}, {"x-ascii", 20127},
    {"x-big5", 950}, {"x-cp1250", 1250}, {"x-cp1251", 1251}, {"x-cp1252", 1252}, {"x-cp1253", 1253},
    {"x-cp1254", 1254}, {"x-cp1255", 1255}, {"x-cp1256", 1256}, {"x-cp1257", 1257},
    {"x-cp1258", 1258}, {"x-cp874", 874}, {"x-cp936", 936}, {"x-cp949", 949}, {"x-cp950", 950},
    {"x-euc", 51932}, {"x-euc-cn", 936}, {"x-euc-jp", 51932}, {"x-euc-kr", 949},
    {"x-euc-tw", 51950}, {"x-eucjp", 51932}, {"x-gbk", 936}, {"x-johab", 1361},
    {"x-mac-cyrillic", 10017}, {"x-mac-roman", 10000}, {"x-mac-ukrainian", 10017},
    {"x-ms-cp932", 932}, {"x-shift-jis", 932}, {"x-sjis", 932}, {"x-unicode-2-0-utf-7", 65000},
    {"x-unicode20utf8", 65001}, {"x-windows-874", 874}, {"x-windows-949", 949}, {"x-x-big5", 950},
};

// clang-format on

constexpr bool isInOrder() noexcept {
  for (std::size_t i = 1; i < std::size(kNames); ++i)
    if (kNames[i - 1].name >= kNames[i].name) return false;
  return true;
}
static_assert(isInOrder());

// Compares `name` with a text in another case, byte by byte.
bool isBefore(std::string_view name, std::string_view anyCase) noexcept {
  return std::lexicographical_compare(name.begin(), name.end(), anyCase.begin(), anyCase.end(),
                                      [](char a, char b) {
                                        return asciiLower(static_cast<unsigned char>(a)) <
                                               asciiLower(static_cast<unsigned char>(b));
                                      });
}

}  // namespace

int codePageOfCharset(std::string_view name) noexcept {
  const auto* const found = std::lower_bound(std::begin(kNames), std::end(kNames), name,
                                             [](const CharsetName& entry, std::string_view wanted) {
                                               return isBefore(entry.name, wanted);
                                             });
  if (found == std::end(kNames) || isBefore(name, found->name)) return 0;
  return found->codePage;
}

bool leavesByteOrderOpen(std::string_view name, int page) noexcept {
  if (page != kUtf16LePage && page != kUtf32LePage) return false;
  const std::string_view end = name.substr(name.size() - 2);
  return isBefore(end, "le") || isBefore("le", end);
}

}  // namespace dorvane::internal
