// The rows of the families Storage, Lifecycle, Append and HexData.

#include <iterator>
#include <utility>

#include "harness/EveryMember.h"

namespace harness {

namespace {

constexpr unsigned short kUnits[] = {'a', 0xE9, 0x20AC, 0xD83D, 0xDE00, 0};

constexpr Member kRows[] = {
    // ---- Storage ----
    {"getString", "abc", "", [](Call& c) { c.tell(c.buffer.getString()); }},
    {"getSize", "abc", "", [](Call& c) { c.tell(c.buffer.getSize()); }},
    {"pCharAt", "abc", "", [](Call& c) { c.tell(c.buffer.pCharAt(1)); }},
    {"isValidObject", "abc", "", [](Call& c) { c.tell(c.buffer.isValidObject()); }},
    {"checkValidity", "abc", "", [](Call& c) { c.buffer.checkValidity(); }},
    {"setSecureBuf", "abc", "", [](Call& c) { c.buffer.setSecureBuf(true); }},
    {"getExtendSize", "abc", "", [](Call& c) { c.tell(c.buffer.getExtendSize()); }},
    {"setExtendSize", "abc", "d",
     [](Call& c) {
       c.buffer.setExtendSize(3);
       c.tell(c.buffer.append(c.text));
     }},
    {"isNonTerminated", "abc", "", [](Call& c) { c.tell(c.buffer.isNonTerminated()); }},
    {"expectNumBytes", "abc", "", [](Call& c) { c.tell(c.buffer.expectNumBytes(100)); }},
    {"appendN", "abc", "de", [](Call& c) { c.tell(c.buffer.appendN(c.text, c.textSize())); }},
    {"append(const char*)", "abc", "de", [](Call& c) { c.tell(c.buffer.append(c.text)); }},
    {"append(const StringBuffer&)", "abc", "de", [](Call& c) { c.tell(c.buffer.append(c.other)); }},
    {"setString(const char*)", "abc", "de", [](Call& c) { c.tell(c.buffer.setString(c.text)); }},
    {"setString(const StringBuffer&)", "abc", "de",
     [](Call& c) { c.tell(c.buffer.setString(c.other)); }},
    {"clear", "abc", "", [](Call& c) { c.buffer.clear(); }},
    {"strongClear", "abc", "", [](Call& c) { c.buffer.strongClear(); }},
    {"secureClear", "abc", "", [](Call& c) { c.buffer.secureClear(); }},
    {"weakClear", "abc", "", [](Call& c) { c.buffer.weakClear(); }},
    {"allocBuffer", "abc", "", [](Call& c) { c.keep(StringBuffer::allocBuffer(100)); }},
    {"releaseBuffer", "abc", "",
     [](Call& c) {
       c.buffer.releaseBuffer();
       c.buffer.weakClear();
     }},
    {"shorten", "abc", "", [](Call& c) { c.buffer.shorten(2); }},
    {"chopAt", "abc", "", [](Call& c) { c.buffer.chopAt(1); }},
    {"rollback", "abc", "", [](Call& c) { c.tell(c.buffer.rollback(1)); }},
    {"removeChunk", "abc", "", [](Call& c) { c.tell(c.buffer.removeChunk(1, 1)); }},

    // ---- Lifecycle ----
    {"StringBuffer()", "abc", "", [](Call& c) { c.tell(StringBuffer()); }},
    {"StringBuffer(const char*)", "abc", "de", [](Call& c) { c.tell(StringBuffer(c.text)); }},
    {"StringBuffer(const StringBuffer&)", "abc", "",
     [](Call& c) { c.tell(StringBuffer(c.buffer)); }},
    {"StringBuffer(StringBuffer&&)", "abc", "",
     [](Call& c) { c.tell(StringBuffer(std::move(c.buffer))); }},
    {"operator=(const char*)", "abc", "de", [](Call& c) { c.buffer = c.text; }},
    {"operator=(const StringBuffer&)", "abc", "de", [](Call& c) { c.buffer = c.other; }},
    {"~StringBuffer", "abc", "", [](Call& c) { const StringBuffer gone(c.buffer); }},
    {"createNewSB()", "abc", "", [](Call& c) { c.tell(c.keep(StringBuffer::createNewSB())); }},
    {"createNewSB(const char*)", "abc", "de",
     [](Call& c) { c.tell(c.keep(StringBuffer::createNewSB(c.text))); }},
    {"createNewSB(const StringBuffer&)", "abc", "",
     [](Call& c) { c.tell(c.keep(StringBuffer::createNewSB(c.buffer))); }},
    {"createNewSB(unsigned int)", "abc", "",
     [](Call& c) { c.tell(c.keep(StringBuffer::createNewSB(500U))); }},
    {"deleteSb", "abc", "",
     [](Call&) {
       StringBuffer::deleteSb(StringBuffer::createNewSB());
       StringBuffer::deleteSb(nullptr);
     }},
    {"createCopy", "abc", "", [](Call& c) { c.tell(c.keep(c.buffer.createCopy())); }},
    {"copyString", "abc", "",
     [](Call& c) { c.tell(c.keep(c.buffer.copyString(&c.number)), c.number); }},
    {"copyToBuffer", "abc", "",
     [](Call& c) {
       c.tell(c.buffer.copyToBuffer(c.characters, sizeof c.characters), c.characters);
     }},
    {"extractString", "abc", "",
     [](Call& c) { c.tell(c.keep(c.buffer.extractString(&c.number)), c.number); }},
    {"extractString2", "abc", "",
     [](Call& c) {
       c.tell(c.keep(c.buffer.extractString2(c.number, c.number2)), c.number, c.number2);
     }},
    {"takeSb", "abc", "de", [](Call& c) { c.buffer.takeSb(c.other); }},
    {"takeFromDb", "abc", "de",
     [](Call& c) {
       c.data.append(c.text, c.textSize());
       c.tell(c.buffer.takeFromDb(c.data), c.data);
     }},
    {"append(const DataBuffer&)", "abc", "de",
     [](Call& c) {
       c.data.append(c.text, c.textSize());
       c.tell(c.buffer.append(c.data));
     }},
    {"minimizeMemoryUsage", "abc", "",
     [](Call& c) {
       c.buffer.expectNumBytes(1000);
       c.buffer.minimizeMemoryUsage();
     }},
    {"memoryUsage", "abc", "", [](Call& c) { c.tell(c.buffer.memoryUsage()); }},
    {"heapUsage", "abc", "", [](Call& c) { c.tell(c.buffer.heapUsage()); }},
    {"logSbMemUsage", "abc", "",
     [](Call& c) {
       c.buffer.logSbMemUsage(c.log);
       c.tell(c.log);
     }},

    // ---- Append ----
    {"append(int)", "abc", "", [](Call& c) { c.tell(c.buffer.append(-12)); }},
    {"append(unsigned int)", "abc", "", [](Call& c) { c.tell(c.buffer.append(12U)); }},
    {"appendInt64", "abc", "", [](Call& c) { c.tell(c.buffer.appendInt64(-12)); }},
    {"appendHex", "abc", "", [](Call& c) { c.tell(c.buffer.appendHex(0xABCU, true, 8)); }},
    {"appendChar", "abc", "", [](Call& c) { c.tell(c.buffer.appendChar('d')); }},
    {"appendUChar", "abc", "", [](Call& c) { c.tell(c.buffer.appendUChar(0xE9)); }},
    {"appendChar2", "abc", "", [](Call& c) { c.tell(c.buffer.appendChar2('d', 'e')); }},
    {"appendChar3", "abc", "", [](Call& c) { c.tell(c.buffer.appendChar3('d', 'e', 'f')); }},
    {"appendCharN", "abc", "", [](Call& c) { c.tell(c.buffer.appendCharN('d', 300)); }},
    {"appendLineEnding", "abc", "", [](Call& c) { c.tell(c.buffer.appendLineEnding()); }},
    {"append2", "abc", "de", [](Call& c) { c.tell(c.buffer.append2(c.text, c.text)); }},
    {"append3", "abc", "de", [](Call& c) { c.tell(c.buffer.append3(c.text, c.text, c.text)); }},
    {"appendMinSize(const char*)", "abc", "de",
     [](Call& c) { c.tell(c.buffer.appendMinSize(c.text)); }},
    {"appendMinSize(const StringBuffer&)", "abc", "de",
     [](Call& c) { c.tell(c.buffer.appendMinSize(c.other)); }},
    {"append_s", "%sabc", "%sde", [](Call& c) { c.tell(c.buffer.append_s(c.text, c.text)); }},
    {"append_s", "%sabc", "de", [](Call& c) { c.tell(c.buffer.append_s("<%s>", c.text)); }},
    {"append_d", "%dabc", "%dde", [](Call& c) { c.tell(c.buffer.append_d(c.text, 12)); }},
    {"appendNameValue", "\"abc", "d\"e",
     [](Call& c) { c.tell(c.buffer.appendNameValue(c.text, c.text)); }},
    {"appendNameIntValue", "abc", "de",
     [](Call& c) { c.tell(c.buffer.appendNameIntValue(c.text, 12)); }},
    {"appendNullTerminatedUnicodeAsUtf8", "abc", "",
     [](Call& c) { c.tell(c.buffer.appendNullTerminatedUnicodeAsUtf8(kUnits)); }},
    {"appendNullTerminatedUnicodeAsUtf8", "abc", "",
     [](Call& c) { c.tell(c.buffer.appendNullTerminatedUnicodeAsUtf8(nullptr)); }},
    {"prepend", "abc", "de", [](Call& c) { c.tell(c.buffer.prepend(c.text)); }},
    {"insertAt", "abc", "de", [](Call& c) { c.tell(c.buffer.insertAt(c.other, 1)); }},
    {"insertAt", "abc", "de", [](Call& c) { c.tell(c.buffer.insertAt(c.other, 0)); }},

    // ---- HexData ----
    {"appendHexData", "abc", "0123456789abcdefg",
     [](Call& c) { c.tell(c.buffer.appendHexData(c.textBytes(), c.textSize())); }},
    {"appendHexDataNoWS", "abc", "de",
     [](Call& c) { c.tell(c.buffer.appendHexDataNoWS(c.textBytes(), c.textSize(), true)); }},
    {"appendSmallDataAsSpacedHexString", "abc", "de",
     [](Call& c) { c.buffer.appendSmallDataAsSpacedHexString(c.textBytes(), c.textSize()); }},
    {"appendBase64", "abc", "de",
     [](Call& c) { c.tell(c.buffer.appendBase64(c.textBytes(), c.textSize())); }},
    {"hexStringToBinary2", "4142", "4344",
     [](Call& c) {
       c.tell(StringBuffer::hexStringToBinary2(c.text, c.textSize(), c.data), c.data);
     }},
    {"hexStringToBinary", "4142", "",
     [](Call& c) { c.tell(c.buffer.hexStringToBinary(c.data), c.data); }},
    {"canonicalizeHexString", "414", "", [](Call& c) { c.buffer.canonicalizeHexString(); }},
    {"decode", "YWJj", "base64",
     [](Call& c) { c.tell(c.buffer.decode(c.text, c.data, c.log), c.data, c.log); }},
    {"decode", "4142", "",
     [](Call& c) { c.tell(c.buffer.decode("hex", c.data, c.log), c.data, c.log); }},
    {"decode", "a=3Db_", "",
     [](Call& c) { c.tell(c.buffer.decode("quoted-printable", c.data, c.log), c.data, c.log); }},
};

}  // namespace

Rows storageRows() { return {std::begin(kRows), std::end(kRows)}; }

}  // namespace harness
