// The rows of the families Compare, Numbers, Trim and Filters.

#include <iterator>

#include "harness/EveryMember.h"

namespace harness {

namespace {

constexpr Member kRows[] = {
    // ---- Compare ----
    {"equals(const char*)", "abc", "abc", [](Call& c) { c.tell(c.buffer.equals(c.text)); }},
    {"equals(const StringBuffer&)", "abc", "abc",
     [](Call& c) { c.tell(c.buffer.equals(c.other)); }},
    {"equalsIgnoreCase(const char*)", "abc", "ABC",
     [](Call& c) { c.tell(c.buffer.equalsIgnoreCase(c.text)); }},
    {"equalsIgnoreCase(const StringBuffer&)", "abc", "ABC",
     [](Call& c) { c.tell(c.buffer.equalsIgnoreCase(c.other)); }},
    {"equalsIgnoreCase2", "abc", "ABC",
     [](Call& c) { c.tell(c.buffer.equalsIgnoreCase2(c.text, c.textSize())); }},
    {"compare", "abc", "abd", [](Call& c) { c.tell(c.buffer.compare(c.text) < 0); }},
    {"compareNoCase", "abc", "ABD", [](Call& c) { c.tell(c.buffer.compareNoCase(c.text) < 0); }},
    {"beginsWith", "abc", "ab", [](Call& c) { c.tell(c.buffer.beginsWith(c.text)); }},
    {"beginsWithN", "abc", "ab",
     [](Call& c) { c.tell(c.buffer.beginsWithN(c.text, c.textSize())); }},
    {"beginsWithIgnoreCase", "abc", "AB",
     [](Call& c) { c.tell(c.buffer.beginsWithIgnoreCase(c.text)); }},
    {"beginsWithIgnoreCaseN", "abc", "AB",
     [](Call& c) { c.tell(c.buffer.beginsWithIgnoreCaseN(c.text, c.textSize())); }},
    {"endsWith", "abc", "bc", [](Call& c) { c.tell(c.buffer.endsWith(c.text)); }},
    {"endsWithIgnoreCase", "abc", "BC",
     [](Call& c) { c.tell(c.buffer.endsWithIgnoreCase(c.text)); }},
    {"containsSubstring", "abc", "b", [](Call& c) { c.tell(c.buffer.containsSubstring(c.text)); }},
    {"containsSubstringNoCase", "abc", "B",
     [](Call& c) { c.tell(c.buffer.containsSubstringNoCase(c.text)); }},
    {"indexOf", "abc", "b", [](Call& c) { c.tell(c.buffer.indexOf(c.text)); }},
    {"indexOfNoCase", "abc", "B", [](Call& c) { c.tell(c.buffer.indexOfNoCase(c.text)); }},
    {"findSubstr", "abc", "b", [](Call& c) { c.tell(c.buffer.findSubstr(c.text)); }},
    {"containsChar", "abc", "", [](Call& c) { c.tell(c.buffer.containsChar('b')); }},
    {"findLastChar", "abc", "", [](Call& c) { c.tell(c.buffer.findLastChar('b')); }},
    {"charAt", "abc", "", [](Call& c) { c.tell(c.buffer.charAt(1)); }},
    {"lastChar", "abc", "", [](Call& c) { c.tell(c.buffer.lastChar()); }},
    {"matches", "a*b", "a*b", [](Call& c) { c.tell(c.buffer.matches(c.text, true)); }},
    {"matches", "a*b", "?*B", [](Call& c) { c.tell(c.buffer.matches(c.text, false)); }},
    {"countCharOccurances", "abcb", "", [](Call& c) { c.tell(c.buffer.countCharOccurances('b')); }},
    {"is7bit", "abc\xE9", "", [](Call& c) { c.tell(c.buffer.is7bit(0), c.buffer.is7bit(3)); }},
    {"is7bitAlpha", "abc\xE9", "",
     [](Call& c) { c.tell(c.buffer.is7bitAlpha(0), c.buffer.is7bitAlpha(3)); }},
    {"allWhitespace", " \t\r\n", "", [](Call& c) { c.tell(c.buffer.allWhitespace()); }},
    {"containsAnyOf", "abc", "xb", [](Call& c) { c.tell(c.buffer.containsAnyOf(c.text)); }},
    {"containsCharInRange", "abc", "",
     [](Call& c) { c.tell(c.buffer.containsCharInRange('b', 'd')); }},
    {"isDecimalNumber", "123", "", [](Call& c) { c.tell(c.buffer.isDecimalNumber()); }},
    {"isAllCaps", "ABC", "", [](Call& c) { c.tell(c.buffer.isAllCaps()); }},
    {"countImprobableAnsiChars", "a\xE9\x81", "",
     [](Call& c) {
       c.buffer.countImprobableAnsiChars(c.number, c.number2);
       c.tell(c.number, c.number2);
     }},
    {"isAlphaNumeric", "", "", [](Call& c) { c.tell(StringBuffer::isAlphaNumeric(0, 'a')); }},
    {"isCidChar", "", "", [](Call& c) { c.tell(StringBuffer::isCidChar('@')); }},

    // ---- Numbers ----
    {"intValue", "-12", "", [](Call& c) { c.tell(c.buffer.intValue()); }},
    {"uintValue", "12", "", [](Call& c) { c.tell(c.buffer.uintValue()); }},
    {"int64Value", "-12", "", [](Call& c) { c.tell(c.buffer.int64Value()); }},
    {"toInt64", "-12", "", [](Call& c) { c.tell(c.buffer.toInt64()); }},
    {"doubleValue", "1.25", "", [](Call& c) { c.tell(c.buffer.doubleValue()); }},
    {"hexValueUint32", "1a", "2b", [](Call& c) { c.tell(StringBuffer::hexValueUint32(c.text)); }},
    {"isHexidecimal", "1a", "", [](Call& c) { c.tell(c.buffer.isHexidecimal()); }},

    // ---- Trim ----
    {"trim", " a ", "", [](Call& c) { c.tell(c.buffer.trim()); }},
    {"trim2", " a\r\n", "", [](Call& c) { c.tell(c.buffer.trim2()); }},
    {"trim3", "\"a*", "", [](Call& c) { c.tell(c.buffer.trim3()); }},
    {"trimRight2", " a\r\n", "", [](Call& c) { c.tell(c.buffer.trimRight2()); }},
    {"trimTrailingCRLFs", " a\r\n", "", [](Call& c) { c.tell(c.buffer.trimTrailingCRLFs()); }},
    {"trimInsideSpaces", " a \t b ", "", [](Call& c) { c.tell(c.buffer.trimInsideSpaces()); }},
    {"trimBefore", "a=b=c", "", [](Call& c) { c.buffer.trimBefore('=', true); }},
    {"trimAfter", "a=b=c", "", [](Call& c) { c.buffer.trimAfter('=', false); }},
    {"chopAtFirstChar", "a=b=c", "", [](Call& c) { c.tell(c.buffer.chopAtFirstChar('=')); }},
    {"chopAtLastChar", "a=b=c", "", [](Call& c) { c.tell(c.buffer.chopAtLastChar('=')); }},
    {"stripDirectory", "/a/b\\c", "", [](Call& c) { c.buffer.stripDirectory(); }},
    {"stripDirectory", "a", "",
     [](Call& c) {
       c.buffer.prepend("dir/");
       c.buffer.stripDirectory();
     }},

    // ---- Filters ----
    {"eliminateChar", "abcb", "", [](Call& c) { c.buffer.eliminateChar('b', 2); }},
    {"removeCharOccurances", "abcb", "",
     [](Call& c) { c.tell(c.buffer.removeCharOccurances('b')); }},
    {"drop8bitChars", "a\xE9", "", [](Call& c) { c.tell(c.buffer.drop8bitChars()); }},
    {"dropNonNumeric", "a1 2", "", [](Call& c) { c.tell(c.buffer.dropNonNumeric()); }},
    {"removeFws", "a b\r\n", "", [](Call& c) { c.tell(c.buffer.removeFws()); }},
    {"removeInvalidXmlTagChars", "a<b>", "",
     [](Call& c) { c.tell(c.buffer.removeInvalidXmlTagChars()); }},
    {"removeInvalidFilenameChars", "a\\b?", "",
     [](Call& c) { c.tell(c.buffer.removeInvalidFilenameChars()); }},
    {"unescape", R"(a\b\\)", "", [](Call& c) { c.tell(c.buffer.unescape()); }},
    {"replaceCharAnsi", "abc", "", [](Call& c) { c.tell(c.buffer.replaceCharAnsi('b', 'x')); }},
    {"replaceNullsWithSpaces", "abc", "",
     [](Call& c) {
       c.buffer.appendChar2('\0', 'd');
       c.tell(c.buffer.replaceNullsWithSpaces());
     }},
    {"replaceModBase64Chars", "a_b-", "", [](Call& c) { c.buffer.replaceModBase64Chars(); }},
    {"replaceChar5", "abcde", "", [](Call& c) { c.buffer.replaceChar5("aeiou", 'x'); }},
    {"replaceChar10", "abcde", "", [](Call& c) { c.buffer.replaceChar10("aeiouAEIOU", 'x'); }},
    {"replaceChar20", "abcde", "",
     [](Call& c) { c.buffer.replaceChar20("aeiouAEIOU0123456789", 'x'); }},
    {"toAlphaNumUsAscii", "a-\xE9", "", [](Call& c) { c.buffer.toAlphaNumUsAscii(); }},
    {"toLowerCase", "aB\xC9", "", [](Call& c) { c.buffer.toLowerCase(); }},
    {"toUpperCase", "aB\xE9", "", [](Call& c) { c.buffer.toUpperCase(); }},
    {"toLowerFirstChar", "Abc", "", [](Call& c) { c.buffer.toLowerFirstChar(); }},
    {"toProperCase", "ab cd", "", [](Call& c) { c.tell(c.buffer.toProperCase()); }},
    {"toCRLF", "a\nb\rc", "", [](Call& c) { c.tell(c.buffer.toCRLF()); }},
    {"toLF", "a\r\nb", "", [](Call& c) { c.tell(c.buffer.toLF()); }},
    {"indent", "a\nb", "", [](Call& c) { c.buffer.indent(' ', 4); }},
    {"indent", "a\nb", "", [](Call& c) { c.buffer.indent(' ', 500); }},
};

}  // namespace

Rows readingRows() { return {std::begin(kRows), std::end(kRows)}; }

}  // namespace harness
