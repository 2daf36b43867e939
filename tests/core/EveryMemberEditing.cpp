// The rows of the families Replace, WordReplace, Regions, Variables, Split, Tokenize, Fields,
// Scanners and NamedValues.

#include <iterator>

#include "harness/EveryMember.h"

namespace harness {

namespace {

constexpr Member kRows[] = {
    // ---- Replace ----
    {"replaceFirstOccurance", "abcb", "b",
     [](Call& c) { c.tell(c.buffer.replaceFirstOccurance(c.text, "xyz")); }},
    {"replaceFirstOccurance", "abcb", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceFirstOccurance("b", c.text)); }},
    {"replaceLastOccurance", "abcb", "b",
     [](Call& c) { c.tell(c.buffer.replaceLastOccurance(c.text, "xyz")); }},
    {"replaceLastOccurance", "abcb", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceLastOccurance("b", c.text)); }},
    {"replaceAllOccurances", "abcb", "b",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurances(c.text, "xyz")); }},
    {"replaceAllOccurances", "abcb", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurances("b", c.text)); }},
    {"replaceAllOccurances", "abcb", "bc",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurances(c.text, c.text)); }},
    {"replaceAllOccurancesNoCase", "abcb", "B",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesNoCase(c.text, "xyz")); }},
    {"replaceAllOccurancesNoCase", "abcb", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesNoCase("B", c.text)); }},
    {"replaceCharInOccurances", "abcb", "bc",
     [](Call& c) { c.tell(c.buffer.replaceCharInOccurances(c.text, 'b', 'x')); }},
    {"replaceAllWithUchar", "abcb", "bc",
     [](Call& c) { c.tell(c.buffer.replaceAllWithUchar(c.text, 'x')); }},
    {"replaceAllWithUcharUtf8", "abcb", "b",
     [](Call& c) { c.tell(c.buffer.replaceAllWithUcharUtf8(c.text, 0x80)); }},

    // ---- WordReplace ----
    {"findWordOnly", "ab cd", "cd",
     [](Call& c) {
       c.tell(StringBuffer::findWordOnly(c.buffer.getString(), c.text, 0, true, false),
              StringBuffer::findWordOnly(c.text, "cd", 0, false, true),
              StringBuffer::findWordOnly(c.text, c.text, 0, false, true));
     }},
    {"replaceFirstWordOccurance", "ab cd", "cd",
     [](Call& c) { c.tell(c.buffer.replaceFirstWordOccurance(c.text, "xyz", 0, false)); }},
    {"replaceFirstWordOccurance", "ab cd", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceFirstWordOccurance("cd", c.text, 0, true)); }},
    {"replaceAllWordOccurances", "ab cd ab ", "ab",
     [](Call& c) { c.tell(c.buffer.replaceAllWordOccurances(c.text, "xyz", 0, false)); }},
    {"replaceAllWordOccurances", "ab cd ab ", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllWordOccurances("ab", c.text, 0, true)); }},
    {"replaceAllWordOccurancesNoCase", "ab cd ab ", "AB",
     [](Call& c) { c.tell(c.buffer.replaceAllWordOccurancesNoCase(c.text, "xyz", 0)); }},
    {"replaceAllWordOccurancesNoCase", "ab cd ab ", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllWordOccurancesNoCase("AB", c.text, 0)); }},

    // ---- Regions ----
    {"getBetween", "a<b>c", "<",
     [](Call& c) { c.tell(c.buffer.getBetween(c.text, ">", c.out), c.out); }},
    {"getBetween", "a<b>c", ">",
     [](Call& c) { c.tell(c.buffer.getBetween("<", c.text, c.out), c.out); }},
    {"getDelimited", "a<b>c", "<",
     [](Call& c) {
       c.buffer.getDelimited(c.text, ">", true, c.out);
       c.tell(c.out);
     }},
    {"getDelimited", "a<b>c", ">",
     [](Call& c) {
       c.buffer.getDelimited("<", c.text, false, c.out);
       c.tell(c.out);
     }},
    {"copyUntil", "a<b>c", ">",
     [](Call& c) { c.tell(c.buffer.copyUntil(c.text, 1, c.number, c.out), c.number, c.out); }},
    {"chopAtSubstr", "a<b>c", ">", [](Call& c) { c.tell(c.buffer.chopAtSubstr(c.text, true)); }},
    {"replaceAllBetween", "a<b>c", "<",
     [](Call& c) { c.tell(c.buffer.replaceAllBetween(c.text, ">", "xyz", false)); }},
    {"replaceAllBetween", "a<b>c", ">",
     [](Call& c) { c.tell(c.buffer.replaceAllBetween("<", c.text, "xyz", true)); }},
    {"replaceAllBetween", "a<b>c", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllBetween("<", ">", c.text, false)); }},
    {"replaceAllOccurancesBetween", "b<b>c", "<",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesBetween(c.text, ">", "b", "xyz")); }},
    {"replaceAllOccurancesBetween", "b<b>c", ">",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesBetween("<", c.text, "b", "xyz")); }},
    {"replaceAllOccurancesBetween", "b<b>c", "b",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesBetween("<", ">", c.text, "xyz")); }},
    {"replaceAllOccurancesBetween", "b<b>c", "xyz",
     [](Call& c) { c.tell(c.buffer.replaceAllOccurancesBetween("<", ">", "b", c.text)); }},
    {"removeDelimited", "a<b>cdefgh", "<",
     [](Call& c) { c.tell(c.buffer.removeDelimited(c.text, ">", true)); }},
    {"removeDelimited", "aXbYc", "y",
     [](Call& c) { c.tell(c.buffer.removeDelimited("x", c.text, false)); }},

    // ---- Variables ----
    {"variableSubstitute", "a{$name}{$none}", "",
     [](Call& c) { c.tell(c.buffer.variableSubstitute(c.variables, 4)); }},
    {"variableSubstitute", "a{$name}{$x.name}", "",
     [](Call& c) { c.tell(c.buffer.variableSubstitute(c.variables, 22)); }},
    {"envReplace", "a%EVERY_MEMBER%b%NO_SUCH_VARIABLE%", "",
     [](Call& c) { c.buffer.envReplace(); }},

    // ---- Split ----
    {"split", "a,\"b,c\",d", "",
     [](Call& c) { c.tell(c.buffer.split(c.pieces, ',', true, true), c.pieces); }},
    {"split", "abcdefghij", "",
     [](Call& c) { c.tell(c.buffer.split(c.pieces, ',', false, false), c.pieces); }},
    {"split2", "a,b;c", ",;",
     [](Call& c) { c.tell(c.buffer.split2(c.pieces, c.text, true, true), c.pieces); }},
    {"split2", "abcdefghij", ",;",
     [](Call& c) { c.tell(c.buffer.split2(c.pieces, c.text, false, false), c.pieces); }},
    {"splitAndTrim", "a , b", "",
     [](Call& c) { c.tell(c.buffer.splitAndTrim(c.pieces, ',', true, true), c.pieces); }},
    {"splitAndTrim", " abcdefghi", "",
     [](Call& c) { c.tell(c.buffer.splitAndTrim(c.pieces, ',', false, false), c.pieces); }},
    {"splitByLineEndings", "a\r\nb\n", "",
     [](Call& c) { c.tell(c.buffer.splitByLineEndings(c.pieces, true, true), c.pieces); }},
    {"splitByLineEndings", "abcdefghij", "",
     [](Call& c) { c.tell(c.buffer.splitByLineEndings(c.pieces, false, false), c.pieces); }},
    {"splitIntoLines", "a\r\nb\n", "",
     [](Call& c) { c.tell(c.buffer.splitIntoLines(c.pieces, 0), c.pieces); }},
    {"splitIntoLines", "abcdefghij", "",
     [](Call& c) { c.tell(c.buffer.splitIntoLines(c.pieces, 0), c.pieces); }},
    {"splitUsingBoundary", "a--b--c", "--",
     [](Call& c) { c.tell(c.buffer.splitUsingBoundary(c.other, c.pieces, 2), c.pieces); }},
    {"splitUsingBoundary", "abcdefghij", "--",
     [](Call& c) { c.tell(c.buffer.splitUsingBoundary(c.other, c.pieces, 0), c.pieces); }},

    // ---- Tokenize ----
    {"tokenize", "a (b) \"c d\"", "()",
     [](Call& c) {
       c.buffer.tokenize(c.pieces, c.text);
       c.tell(c.pieces);
     }},
    {"tokenize", "abcdefghij", "()",
     [](Call& c) {
       c.buffer.tokenize(c.pieces, c.text);
       c.tell(c.pieces);
     }},
    {"tokenizeCPP", "a = b;", "",
     [](Call& c) {
       c.buffer.tokenizeCPP(c.pieces);
       c.tell(c.pieces);
     }},
    {"tokenizeCPP", "abcdefghij", "",
     [](Call& c) {
       c.buffer.tokenizeCPP(c.pieces);
       c.tell(c.pieces);
     }},
    {"tokenCount", "a (b) \"c d\"", "()", [](Call& c) { c.tell(c.buffer.tokenCount(c.text)); }},

    // ---- Fields ----
    {"countColumns", "a,\"b,c\",d", "",
     [](Call& c) { c.tell(c.buffer.countColumns(',', true, true)); }},
    {"getNthDelimited", "a,\"b,c\",d", "",
     [](Call& c) { c.tell(c.buffer.getNthDelimited(1, ',', true, true, c.out), c.out); }},
    {"setNthDelimited", "a,b,c", "xyz",
     [](Call& c) { c.tell(c.buffer.setNthDelimited(1, ',', true, true, c.other)); }},
    {"setNthDelimited", "a,b,c", "xyz",
     [](Call& c) { c.tell(c.buffer.setNthDelimited(200, ',', true, true, c.other)); }},
    {"removeNthDelimited", "a,b,c", "",
     [](Call& c) { c.tell(c.buffer.removeNthDelimited(1, ',', true, true)); }},
    {"pop", "a,b,c", "", [](Call& c) { c.tell(c.buffer.pop(',', c.out), c.out); }},
    {"separate", "a,b,c", "",
     [](Call& c) { c.tell(c.buffer.separate(',', c.out, c.out2), c.out, c.out2); }},

    // ---- Scanners ----
    {"captureDecimal", "12ab", "34", [](Call& c) { c.tell(c.buffer.captureDecimal(c.text)); }},
    {"captureHex", "12ab", "34", [](Call& c) { c.tell(c.buffer.captureHex(c.text)); }},
    {"captureWS", " \t\r\n", "  x", [](Call& c) { c.tell(c.buffer.captureWS(c.text)); }},
    {"captureNonWS", "12ab", "34", [](Call& c) { c.tell(c.buffer.captureNonWS(c.text)); }},
    {"captureIdentifier", "12ab", "3_",
     [](Call& c) { c.tell(c.buffer.captureIdentifier(c.text)); }},
    {"captureAlpha", "abcd", "ef", [](Call& c) { c.tell(c.buffer.captureAlpha(c.text)); }},
    {"captureAlphaNum", "12ab", "34", [](Call& c) { c.tell(c.buffer.captureAlphaNum(c.text)); }},
    {"captureLine", " aB ", " Cd \n",
     [](Call& c) { c.tell(c.buffer.captureLine(c.text, true, true)); }},

    // ---- NamedValues ----
    {"splitAttrValue", "a = \"b\"", "",
     [](Call& c) {
       c.buffer.splitAttrValue(c.out, c.out2, true);
       c.tell(c.out, c.out2);
     }},
    {"splitAttrValue", "a = \"b\"", "",
     [](Call& c) {
       c.buffer.splitAttrValue(c.out2, c.out, false);
       c.tell(c.out, c.out2);
     }},
    {"getNamedValue", "ab=c; d=e;", "ab",
     [](Call& c) { c.tell(c.buffer.getNamedValue(c.text, c.out), c.out); }},
};

}  // namespace

Rows editingRows() { return {std::begin(kRows), std::end(kRows)}; }

}  // namespace harness
