// The rows of the families EntityEncode, EntityDecode, XmlEmit, XmlElement, Links, Json,
// AwsCanonical, CodePages, Iso2022, Files, Obfuscate and WordForms.

#include <cstdio>
#include <iterator>

#include "harness/EveryMember.h"

namespace harness {

namespace {

constexpr Member kRows[] = {
    // ---- EntityEncode ----
    {"encodeXMLSpecial", "<a>&amp;&", "", [](Call& c) { c.tell(c.buffer.encodeXMLSpecial()); }},
    {"encodeAllXmlSpecial", "<a>&\xE9", "", [](Call& c) { c.buffer.encodeAllXmlSpecial(); }},
    {"replaceHTMLSpecial", "<a>&\"", "", [](Call& c) { c.tell(c.buffer.replaceHTMLSpecial()); }},
    {"replacePreDefinedXmlEntities", "&lt;a&amp;", "",
     [](Call& c) { c.tell(c.buffer.replacePreDefinedXmlEntities(0)); }},

    // ---- EntityDecode ----
    {"decodeXMLSpecial", "&lt;a&amp;", "", [](Call& c) { c.tell(c.buffer.decodeXMLSpecial()); }},
    {"decodeAllXmlSpecialUtf8", "some plain text &eacute;&#128;&#x41;&amp;lt;", "",
     [](Call& c) { c.buffer.decodeAllXmlSpecialUtf8(); }},
    {"decodeAllXmlSpecialIso", "some plain text that stays as it is &eacute;&#128;&#x41;&ensp;", "",
     [](Call& c) { c.buffer.decodeAllXmlSpecialIso(); }},

    // ---- XmlEmit ----
    {"appendXml(const char*)", "a<b>&", "<c>\"'&", [](Call& c) { c.buffer.appendXml(c.text); }},
    {"appendXml(const char*)", "a<\tb", "<c>\n", [](Call& c) { c.buffer.appendXml(c.text); }},
    {"appendXmlNoCdata", "a<b>&", "<c>\n", [](Call& c) { c.buffer.appendXmlNoCdata(c.text); }},
    {"appendXmlNoCdataN", "a<b>&", "<c>\n",
     [](Call& c) { c.buffer.appendXmlNoCdataN(c.text, c.textSize()); }},
    {"appendXmlOpenTag", "abc", "tag",
     [](Call& c) { c.tell(c.buffer.appendXmlOpenTag(c.text, &c.attributes)); }},
    {"appendXmlOpenTag", "abc", "tag",
     [](Call& c) { c.tell(c.buffer.appendXmlOpenTag(c.text, nullptr)); }},
    {"appendXmlCloseTag", "abc", "tag",
     [](Call& c) { c.tell(c.buffer.appendXmlCloseTag(c.text)); }},
    {"appendXml(const char*, const ExtPtrArray&, const char*)", "abc", "tag",
     [](Call& c) { c.tell(c.buffer.appendXml(c.text, c.attributes, "<x>")); }},
    {"appendXml(const char*, const ExtPtrArray&, const char*)", "a<b>c", "<x>",
     [](Call& c) { c.tell(c.buffer.appendXml(c.text, c.attributes, c.text)); }},

    // ---- XmlElement ----
    {"simpleXml", "a<b>&", "<c>&",
     [](Call& c) {
       const char* const names[] = {"n", c.text};
       const char* const values[] = {c.text, c.text};
       c.tell(c.buffer.simpleXml(c.text, c.text, 2, names, values));
     }},
    {"simpleXml", "a<b>&", "<c>&",
     [](Call& c) { c.tell(c.buffer.simpleXml("tag", c.text, 0, nullptr, nullptr)); }},

    // ---- Links ----
    {"autoLinkUrls2", "a http://b c", "x https://y z",
     [](Call& c) {
       c.out.append(c.text);
       c.buffer.autoLinkUrls2(c.out);
       c.tell(c.out);
     }},
    {"autoLinkUrls", "<body>http://b <a x>http://c</a> HTTPS://d ", "",
     [](Call& c) { c.buffer.autoLinkUrls(); }},

    // ---- Json ----
    {"jsonEscape", "a\"b\\\n", "", [](Call& c) { c.tell(c.buffer.jsonEscape()); }},
    {"jsonDecode", R"(a\"b\u00e9)", "c\\n\\u20ac",
     [](Call& c) { c.tell(StringBuffer::jsonDecode(c.text, c.textSize(), c.out), c.out); }},

    // ---- AwsCanonical ----
    {"awsNormalizeUriUtf8", "/a b\xC3\xA9", "",
     [](Call& c) { c.tell(c.buffer.awsNormalizeUriUtf8()); }},
    {"awsNormalizeQueryParams", "a=b c&d", "",
     [](Call& c) { c.tell(c.buffer.awsNormalizeQueryParams()); }},

    // ---- CodePages ----
    {"convertEncoding", "a\xC3\xA9\xE2\x82\xAC", "",
     [](Call& c) { c.tell(c.buffer.convertEncoding(65001, 1252, c.log), c.log); }},
    {"convertEncoding", "a\xE9\x80", "",
     [](Call& c) { c.tell(c.buffer.convertEncoding(1252, 65001, c.log), c.log); }},
    {"convertEncoding", "\x93\xFA\x96{", "",
     [](Call& c) { c.tell(c.buffer.convertEncoding(932, 65001, c.log), c.log); }},
    {"convertEncoding", "a\xE9\x80", "",
     [](Call& c) { c.tell(c.buffer.convertEncoding(1252, 4711, c.log), c.log); }},
    {"cvAnsiToUtf8", "a\xE9\x80", "",
     [](Call& c) {
       c.buffer.cvAnsiToUtf8(c.log);
       c.tell(c.log);
     }},
    {"cvUtf8ToAnsi", "a\xC3\xA9", "", [](Call& c) { c.buffer.cvUtf8ToAnsi(); }},
    {"convertToAnsi", "a\xC3\xA9", "", [](Call& c) { c.buffer.convertToAnsi(65001); }},
    {"convertFromAnsi", "a\xE9", "", [](Call& c) { c.buffer.convertFromAnsi(65001); }},
    {"convertToOem", "a\xC3\xA9", "", [](Call& c) { c.buffer.convertToOem(65001); }},
    {"convertFromOem", "a\x82", "", [](Call& c) { c.buffer.convertFromOem(65001); }},
    {"cvAnsiToUnicode", "a\xE9", "",
     [](Call& c) {
       c.buffer.cvAnsiToUnicode(c.data);
       c.tell(c.data);
     }},
    {"cvUtf8ToUnicode", "a\xC3\xA9", "",
     [](Call& c) {
       c.buffer.cvUtf8ToUnicode(c.data);
       c.tell(c.data);
     }},
    {"replaceCharUtf8", "ab\xC3\xA9", "", [](Call& c) { c.buffer.replaceCharUtf8('b', '\xE9'); }},
    {"qbDecode", "=?utf-8?Q?a=C3=A9?= x =?iso-8859-1?B?6Q==?= ", "",
     [](Call& c) { c.tell(c.buffer.qbDecode(c.log), c.log); }},

    // ---- Iso2022 ----
    {"iso2022Replace", "a\033$B0l0l0l0", "",
     [](Call& c) {
       c.buffer.iso2022Replace(c.pieces);
       c.tell(c.pieces);
     }},
    {"iso2022Replace", "a\033$B0l\033(Bb", "",
     [](Call& c) {
       c.buffer.iso2022Replace(c.pieces);
       c.tell(c.pieces);
     }},
    {"iso2022Restore", "a\033$B0l\033(Bb", "",
     [](Call& c) {
       c.buffer.iso2022Replace(c.pieces);
       c.buffer.iso2022Restore(c.pieces);
     }},

    // ---- Files ----
    {"loadFromFile", "abc", "",
     [](Call& c) {
       c.path.setFromUtf8("file.txt");
       c.tell(c.buffer.loadFromFile(c.path, &c.log), c.log);
     }},
    {"loadFromFile", "", "",
     [](Call& c) {
       c.path.setFromUtf8("utf16.txt");
       c.tell(c.buffer.loadFromFile(c.path, &c.log), c.log);
     }},
    {"loadFromFileAnsi", "file.txt", "file.txt",
     [](Call& c) { c.tell(c.buffer.loadFromFileAnsi(c.text, &c.log), c.log); }},
    {"createFromFile", "abc", "",
     [](Call& c) {
       c.path.setFromUtf8("file.txt");
       c.tell(c.keep(StringBuffer::createFromFile(c.path, nullptr)));
     }},
    {"createFromFileUtf8", "file.txt", "utf16.txt",
     [](Call& c) { c.tell(c.keep(StringBuffer::createFromFileUtf8(c.text, &c.log)), c.log); }},
    {"saveToFileUtf8", "saved", "saved",
     [](Call& c) {
       c.tell(c.buffer.saveToFileUtf8(c.text, &c.log), c.log);
       c.tellFile();
     }},
    {"appendToFileUtf8", "saved", "saved",
     [](Call& c) {
       if (c.text != nullptr) static_cast<void>(std::remove(c.text));
       c.tell(c.buffer.appendToFileUtf8(c.text, nullptr));
       c.tellFile();
     }},
    {"equalsFileContents", "file.txt", "file.txt",
     [](Call& c) { c.tell(c.buffer.equalsFileContents(c.text)); }},
    {"equalsFileContents", "saved", "saved",
     [](Call& c) {
       c.buffer.saveToFileUtf8(c.text, nullptr);
       c.tell(c.buffer.equalsFileContents(c.text));
     }},

    // ---- Obfuscate ----
    {"scramble", "abc", "", [](Call& c) { c.buffer.scramble(); }},
    {"unscramble", "abc", "", [](Call& c) { c.buffer.unscramble(); }},
    {"obfus", "abc", "", [](Call& c) { c.buffer.obfus(); }},
    {"unobfus", "abc", "",
     [](Call& c) {
       c.buffer.obfus();
       c.buffer.unobfus();
     }},
    {"appendObfus", "=IWY", "=IWY", [](Call& c) { c.tell(c.buffer.appendObfus(c.text)); }},

    // ---- WordForms ----
    {"pluralize", "city", "", [](Call& c) { c.buffer.pluralize(); }},
    {"unpluralize", "cities", "", [](Call& c) { c.buffer.unpluralize(); }},
    {"unpluralizeFrozen1", "cities", "", [](Call& c) { c.buffer.unpluralizeFrozen1(); }},
};

}  // namespace

Rows markupRows() { return {std::begin(kRows), std::end(kRows)}; }

}  // namespace harness
