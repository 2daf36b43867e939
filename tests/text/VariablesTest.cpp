// Template substitution of text/Variables.cpp.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/OwnStack.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"
#include "harness/VariablesReference.h"
#include "support/_dvHashMap.h"
#include "support/dvEnv.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesOn;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::randomText;
using harness::secondsOf;
using harness::Texts;
using reference::Variables;

constexpr std::size_t kMiB = 1048576;
constexpr int kRaw = 0;
constexpr int kUrl = 4;
constexpr int kJson = 22;

// A map of the library and what it holds.
class Lookup {
 public:
  explicit Lookup(Variables variables) : m_variables(std::move(variables)) {
    for (const auto& [name, value] : m_variables)
      m_map.hashInsertString(name.c_str(), value.c_str());
  }
  _dvHashMap& map() { return m_map; }
  const Variables& variables() const { return m_variables; }

 private:
  Variables m_variables;
  _dvHashMap m_map;
};

Operation substituting(Lookup& lookup, int mode) {
  return {"variableSubstitute " + std::to_string(mode),
          [&lookup, mode](StringBuffer& b, const Texts&) {
            return inWords(b.variableSubstitute(lookup.map(), mode));
          },
          [&lookup, mode](ModelBuffer& b, const Texts&) {
            return inWords(reference::variableSubstitute(b, lookup.variables(), mode));
          }};
}

Operation expanding() {
  return {"envReplace",
          [](StringBuffer& b, const Texts&) {
            b.envReplace();
            return ""s;
          },
          [](ModelBuffer& b, const Texts&) {
            reference::envReplace(b);
            return ""s;
          }};
}

const Variables& someVariables() {
  static const Variables kVariables = {{"name", "Bob"},
                                       {"total", "12"},
                                       {"xy.total", "13"},
                                       {"spaced", "a b"},
                                       {"quoted", "say \"hi\"\n"},
                                       {"long", std::string(500, 'L')},
                                       {"empty", ""},
                                       {"a", "{$name}"},
                                       {"x", "ex"},
                                       {"b{$a", "odd"},
                                       {"$", "dollar"},
                                       {".", "point"}};
  return kVariables;
}

// --- variableSubstitute ------------------------------------------------------------------------

struct Case {
  std::string content;
  std::string left;
};

void expectSubstitutes(Lookup& lookup, int mode, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_FALSE(buffer.variableSubstitute(lookup.map(), mode));
    EXPECT_TRUE(holds(buffer, c.left)) << testing::PrintToString(c.content);
    EXPECT_TRUE(agreesOn(substituting(lookup, mode), c.content, {}));
    EXPECT_TRUE(harness::agreesInBlocks(substituting(lookup, mode), c.content, {}));
  }
}

TEST(Variables, MarkersAreReplacedByTheirValues) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kRaw,
                    {{"", ""},
                     {"plain", "plain"},
                     {"Hi {$name}!", "Hi Bob!"},
                     {"{$name}", "Bob"},
                     {"{$name}{$name}", "BobBob"},
                     {"{$total} of {$name}", "12 of Bob"},
                     {"{$empty}x", "x"},
                     // names mind letter case and blanks
                     {"-{$Name}-{$ name}-", "---"},
                     // an unknown name goes with its marker
                     {"a{$zz}b", "ab"},
                     {"{$zz}", ""},
                     {"{$name}{$zz}{$name}", "BobBob"},
                     // a value is not expanded again
                     {"{$a}", "{$name}"},
                     // up to the next "}", whatever stands between
                     {"{$b{$a}}", "odd}"},
                     {"{$$}", "dollar"},
                     {"a}b", "a}b"}});
}

TEST(Variables, AOneByteQualifierIsSkipped) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kRaw,
                    {{"{$x.total}", "12"},
                     {"{$..total}", "12"},
                     {"{$xy.total}", "13"},
                     {"{$.total}", ""},
                     {"{$x.y.total}", ""},
                     {"{$x.xy.total}", "13"},
                     {"{$x}", "ex"},
                     {"{$.}", "point"},
                     {"{$x..}", "point"},
                     // names without a second byte
                     {"{$}.", "."},
                     {"{$}.name}", ".name}"},
                     {"{$q}.name}", ".name}"},
                     {"{$x}.total}", "ex.total}"}});
}

TEST(Variables, TheEmptyNameIsANameToo) {
  Lookup lookup(Variables{{"", "nothing"}});
  expectSubstitutes(lookup, kRaw, {{"{$}", "nothing"}, {"{$x.}", "nothing"}, {"{$x}", ""}});
}

TEST(Variables, AMarkerWithoutAnEndStaysWithTheRest) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kRaw,
                    {{"a{$b", "a{$b"},
                     {"{$", "{$"},
                     {"{$name", "{$name"},
                     {"{$name}{$name", "Bob{$name"},
                     {"{$a {$name {x", "{$a {$name {x"}});
}

// The byte behind a "{" that begins no marker is copied unseen.
TEST(Variables, AnotherBraceTakesTheNextByteWithIt) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kRaw,
                    {{"{{$name}", "{{$name}"},
                     {"{{{$name}", "{{Bob"},
                     {"{x{$name}", "{xBob"},
                     {"{}{$name}", "{}Bob"},
                     {"{ $name}", "{ $name}"},
                     {"{name}", "{name}"},
                     // as the last byte it stays
                     {"{", "{"},
                     {"a{", "a{"},
                     {"{$name}{", "Bob{"},
                     {"{{{", "{{{"},
                     {"$name}", "$name}"}});
}

TEST(Variables, TheTextEndsAtItsFirstNul) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kRaw,
                    {{"a\0b"s, "a"},
                     {"{$name}\0{$name}"s, "Bob"},
                     {"a{$name\0}"s, "a{$name"},
                     {"\0{$name}"s, ""}});
}

TEST(Variables, ValuesAreEncodedByTheMode) {
  Lookup lookup(someVariables());
  expectSubstitutes(lookup, kUrl,
                    {{"{$spaced} {$name}", "a%20b Bob"},
                     {"{$quoted}", "say%20%22hi%22%0A"},
                     {"\"{$a}\"", "\"%7B%24name%7D\""}});
  expectSubstitutes(lookup, kJson,
                    {{"\"{$quoted}\" {$name}", "\"say \\\"hi\\\"\\n\" Bob"},
                     {"{$spaced}\n", "a b\n"},
                     {"{$quoted}{$name}{$quoted}", R"(say \"hi\"\nBobsay \"hi\"\n)"}});
  for (const int mode : {-22, -4, -1, 1, 2, 3, 5, 21, 23, 260, 278, 2147483647})
    expectSubstitutes(lookup, mode, {{"{$spaced}{$quoted}", "a bsay \"hi\"\n"}});
}

TEST(Variables, EveryByteOfAValueIsTreatedByTheMode) {
  Variables variables;
  std::string all;
  for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
  for (int b = 1; b < 256; ++b) variables[std::to_string(b)] = std::string(1, static_cast<char>(b));
  variables["all"] = all;
  Lookup lookup(variables);
  for (const int mode : {kRaw, kUrl, kJson}) {
    EXPECT_TRUE(agreesOn(substituting(lookup, mode), "-{$all}{$all}-", {}));
    for (int b = 1; b < 256; ++b)
      ASSERT_TRUE(agreesOn(substituting(lookup, mode), "{$" + std::to_string(b) + "}", {}));
  }
}

TEST(Variables, EveryByteValueOfATemplate) {
  Lookup lookup(someVariables());
  for (int b = 1; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    for (const std::string& content :
         {byte, "{" + byte + "{$name}", "{$" + byte + "}", "{$" + byte + ".name}",
          "{$name" + byte + "}", "{$name}" + byte})
      ASSERT_TRUE(agreesOn(substituting(lookup, kRaw), content, {}));
  }
}

TEST(Variables, TheBufferHoldsOnlyTheLatestValue) {
  Lookup lookup(Variables{{"long", std::string(300, 'L')}, {"short", "s"}});
  expectSubstitutes(lookup, kJson,
                    {{"{$long}{$short}{$zz}{$short}", std::string(300, 'L') + "ss"}});
}

TEST(Variables, TheTextIsRewrittenEvenWithoutAMarker) {
  Lookup lookup(someVariables());
  StringBuffer buffer;
  harness::fillHeap(buffer, std::string(100, 'p'), 900);
  EXPECT_FALSE(buffer.variableSubstitute(lookup.map(), kRaw));
  EXPECT_TRUE(holds(buffer, std::string(100, 'p'), 303, 202));
  buffer.weakClear();
  EXPECT_FALSE(buffer.variableSubstitute(lookup.map(), kRaw));
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

// Plain bytes go to the output 252 at a time and before each value; the storage shows it.
TEST(Variables, PlainBytesAreStaged) {
  Lookup lookup(someVariables());
  const std::string plain(100, 'p');
  StringBuffer unknown((plain + "{$zz}" + plain).c_str());
  unknown.variableSubstitute(lookup.map(), kRaw);
  EXPECT_TRUE(holds(unknown, plain + plain, 200 + 203, 202));
  StringBuffer known((plain + "{$empty}" + plain + plain).c_str());
  known.variableSubstitute(lookup.map(), kRaw);
  EXPECT_TRUE(holds(known, plain + plain + plain, 100 + 203, 202));
  for (std::size_t size = 248; size <= 256; ++size) {
    StringBuffer buffer(std::string(size, 'p').c_str());
    buffer.variableSubstitute(lookup.map(), kRaw);
    EXPECT_TRUE(holds(buffer, std::string(size, 'p'),
                      static_cast<unsigned int>(size < 252 ? size : 252) + 203, 202));
  }
  for (const std::size_t size : {79U, 80U, 81U, 250U, 251U, 252U, 253U, 503U, 504U, 505U, 2000U}) {
    for (const char* tail : {"", "{$name}", "{$zz}", "{$long}p", "{$name", "{$", "{$n", "{"})
      EXPECT_TRUE(agreesOn(substituting(lookup, kRaw), std::string(size, 'p') + tail, {})) << size;
  }
}

// A pair that does not fit whole makes room first: 251 bytes go out, then the pair and the rest.
TEST(Variables, APairOfBytesIsNotCutAtTheStagingLimit) {
  Lookup lookup(someVariables());
  const std::string content = std::string(251, 'p') + "{x" + std::string(100, 'p');
  StringBuffer buffer(content.c_str());
  buffer.variableSubstitute(lookup.map(), kRaw);
  EXPECT_TRUE(holds(buffer, content, 251 + 203, 202));
}

TEST(Variables, PairsOfBytesAtTheStagingLimit) {
  Lookup lookup(someVariables());
  for (std::size_t size = 246; size <= 256; ++size) {
    for (const char* tail :
         {"{x", "{xp", "{x{x", "{{$name}", "{x{$name}", "{x{", "{x{$", "{{{{{{{{"}) {
      const std::string plain(size, 'p');
      EXPECT_TRUE(agreesOn(substituting(lookup, kRaw), plain + tail, {}));
      EXPECT_TRUE(agreesOn(substituting(lookup, kRaw), plain + tail + plain + plain, {}));
    }
  }
  for (std::size_t size = 120; size < 135; ++size) {
    std::string pairs;
    for (std::size_t i = 0; i < size; ++i) pairs += "{x";
    EXPECT_TRUE(agreesOn(substituting(lookup, kRaw), pairs, {}));
    EXPECT_TRUE(agreesOn(substituting(lookup, kRaw), "p" + pairs + "p", {}));
  }
}

TEST(Variables, EveryShortTemplateAgreesWithTheReference) {
  Lookup lookup(
      Variables{{"", "E"}, {"a", "AA"}, {"$", "D"}, {".", "P"}, {"a.a", "no"}, {"{", "B"}});
  for (const std::string& content : allStrings("{$}.a", 6))
    ASSERT_TRUE(agreesOn(substituting(lookup, kRaw), content, {}));
  for (const std::string& content : allStrings("{$}.a", 4)) {
    ASSERT_TRUE(agreesOn(substituting(lookup, kRaw), "{$" + content + "}a", {}));
    for (const char stale : {'}', '$', '{'})
      ASSERT_TRUE(harness::agreesUnterminated(substituting(lookup, kRaw), content, {}, stale));
  }
}

TEST(Variables, RandomTemplatesAgreeWithTheReference) {
  Lookup lookup(someVariables());
  const std::vector<std::string> parts = {"{$name}", "{$zz}",     "{$x.total}", "{$long}",
                                          "{{",      "{$quoted}", "{$spaced}",  "p",
                                          "}",       "$",         "{ "};
  for (unsigned int seed = 1; seed <= 300; ++seed) {
    std::string content;
    for (const char c : randomText(seed, seed % 40, "abcdefghijk")) {
      content += parts[static_cast<std::size_t>(c - 'a')];
      content += randomText(seed + content.size(), content.size() % 130, "xyz\xE9\n");
    }
    for (const int mode : {kRaw, kUrl, kJson})
      ASSERT_TRUE(agreesOn(substituting(lookup, mode), content, {})) << "seed " << seed;
  }
}

TEST(Variables, NothingIsReadBehindAnExactBlock) {
  Lookup lookup(someVariables());
  for (const char* tail : {"{$name", "{", "{$", "{$x", "{$}", "{$x}", "p"}) {
    for (const char stale : {'}', '$', '.', 'x'}) {
      StringBuffer exact;
      harness::fillExactUnterminated(exact, std::string(100, 'p') + tail, stale);
      EXPECT_TRUE(harness::agrees(substituting(lookup, kRaw), exact, {}, false));
    }
  }
}

// --- envReplace --------------------------------------------------------------------------------

// Sets an environment variable as long as it lives.
class Environment {
 public:
  Environment(const char* name, const std::string& value) : m_name(name) {
    EXPECT_EQ(setenv(name, value.c_str(), 1), 0);
  }
  ~Environment() { unsetenv(m_name); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* m_name;
};

void expectExpands(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    buffer.envReplace();
    EXPECT_TRUE(holds(buffer, c.left, 0, 202)) << testing::PrintToString(c.content);
    EXPECT_TRUE(agreesOn(expanding(), c.content, {}));
    EXPECT_TRUE(harness::agreesInBlocks(expanding(), c.content, {}));
  }
}

TEST(EnvReplace, PairsOfPercentSignsAreReplaced) {
  const Environment a("DORVANE_A", "one");
  const Environment b("DORVANE_B", "two");
  const Environment nested("DORVANE_N", "%DORVANE_A%");
  const Environment empty("DORVANE_E", "");
  unsetenv("DORVANE_U");
  expectExpands({{"", ""},
                 {"plain", "plain"},
                 {"100% sure", "100% sure"},
                 {"%", "%"},
                 {"%DORVANE_A%", "one"},
                 {"%DORVANE_A%-%DORVANE_B%", "one-two"},
                 {"%DORVANE_U%-%DORVANE_B%", "-two"},
                 {"x%DORVANE_E%y", "xy"},
                 {"%%", ""},
                 {"a%%b", "ab"},
                 {"%%%", "%"},
                 {"%%DORVANE_A%", "DORVANE_A%"},
                 {"%%%DORVANE_A%", "one"},
                 {"% DORVANE_A%", ""},
                 {"100% of %DORVANE_A%", "100DORVANE_A%"},
                 {"%DORVANE_A%%DORVANE_B%", "onetwo"},
                 {"%DORVANE_A%DORVANE_B%", "oneDORVANE_B%"},
                 {"%DORVANE_A%x%y", "onex%y"},
                 {"%dorvane_a%", ""},
                 // a value is not expanded again
                 {"%DORVANE_N%", "%DORVANE_A%"},
                 // the text ends at its first NUL
                 {"%DORVANE_A%x\0%DORVANE_B%"s, "onex"},
                 {"%DORVANE_A\0%"s, "%DORVANE_A\0%"s},
                 {"\0%DORVANE_A%"s, "\0%DORVANE_A%"s}});
}

TEST(EnvReplace, WithoutAPairNothingIsTouched) {
  for (const std::string& content : {std::string(300, 'x'), "50% " + std::string(300, 'x')}) {
    StringBuffer buffer;
    harness::fillHeap(buffer, content, 5);
    buffer.setExtendSize(7);
    const char* data = buffer.getString();
    buffer.envReplace();
    EXPECT_TRUE(holds(buffer, content, static_cast<unsigned int>(content.size()) + 6, 7));
    EXPECT_EQ(buffer.getString(), data);
  }
}

TEST(EnvReplace, TheResultGoesToClearedStorage) {
  const Environment a("DORVANE_A", std::string(200, 'v'));
  StringBuffer buffer;
  harness::fillHeap(buffer, std::string(500, 'x') + "%DORVANE_A%%DORVANE_A%", 900);
  buffer.setExtendSize(7);
  buffer.envReplace();
  EXPECT_TRUE(holds(buffer, std::string(500, 'x') + std::string(400, 'v'), 900 + 203, 202));
  buffer.setString("%DORVANE_U%");
  buffer.envReplace();
  EXPECT_TRUE(holds(buffer, "", 0, 202));
}

TEST(EnvReplace, ShortAndRandomTextsAgreeWithTheReference) {
  const Environment a("a", "%b");
  const Environment b("b", std::string(80, 'B'));
  for (const std::string& content : allStrings("%ab\0"s, 6))
    ASSERT_TRUE(agreesOn(expanding(), content, {}));
  for (const std::string& content : allStrings("%ab", 5))
    ASSERT_TRUE(harness::agreesUnterminated(expanding(), content, {}, '%'));
  for (unsigned int seed = 1; seed <= 200; ++seed) {
    const std::string content = randomText(seed, seed * 3 % 500, "%%abxyz ");
    ASSERT_TRUE(agreesOn(expanding(), content, {})) << "seed " << seed;
    ASSERT_TRUE(harness::agreesInBlocks(expanding(), content, {})) << "seed " << seed;
  }
}

TEST(EnvReplace, EverySizeAtTheStorageBorders) {
  for (std::size_t size = 60; size <= 90; ++size) {
    const Environment a("DORVANE_A", std::string(size, 'v'));
    EXPECT_TRUE(agreesOn(expanding(), "%DORVANE_A%", {}));
    EXPECT_TRUE(agreesOn(expanding(), "x%DORVANE_A%yy", {}));
    EXPECT_TRUE(agreesOn(expanding(), std::string(size, 'x') + "%%", {}));
  }
}

TEST(EnvReplace, NothingIsReadBehindAnExactBlock) {
  const Environment a("DORVANE_A", "one");
  StringBuffer exact;
  harness::fillExactUnterminated(exact, std::string(100, 'p') + "%DORVANE_A", '%');
  EXPECT_TRUE(harness::agrees(expanding(), exact, {}, false));
}

TEST(EnvReplace, LongNamesAreNamesToo) {
  const std::string name(5000, 'N');
  const Environment a(name.c_str(), "value");
  EXPECT_TRUE(agreesOn(expanding(), "-%" + name + "%-%" + name + "N%-", {}));
  StringBuffer buffer(("%" + name + "%").c_str());
  buffer.envReplace();
  EXPECT_TRUE(holds(buffer, "value", 0, 202));
}

TEST(EnvReplace, TheNameOfAVariableMayLieInTheOutput) {
  const Environment a("DORVANE_A", std::string(1000, 'v'));
  for (const std::string& content : {"DORVANE_A"s, std::string(100, 'x') + "DORVANE_A"}) {
    StringBuffer out(content.c_str());
    EXPECT_TRUE(dvGetEnv(out.getString() + content.size() - 9, out));
    EXPECT_TRUE(holds(out, content + std::string(1000, 'v')));
  }
}

// --- Exhausted memory, secrets -----------------------------------------------------------------

// Whole pieces only; where a value cannot be looked up, the bytes around it go out together.
TEST(Variables, ExhaustedMemoryLosesPiecesOnly) {
  Lookup lookup(Variables{{"v", std::string(100, '"')}, {"w", std::string(90, ' ')}});
  const std::string content =
      std::string(90, 'a') + "{$v}" + std::string(80, 'b') + "{$w}" + std::string(70, 'c') + "{$";
  for (const int mode : {kRaw, kUrl, kJson}) {
    const std::vector<std::string> pieces = {std::string(90, 'a'),
                                             reference::encodedValue(std::string(100, '"'), mode),
                                             std::string(80, 'b'),
                                             reference::encodedValue(std::string(90, ' '), mode),
                                             std::string(70, 'c'),
                                             "{$",
                                             "{"};
    harness::expectSurvivesFailures(substituting(lookup, mode), content, {},
                                    [&](const std::string& result, const std::string& left) {
                                      return result == "false" &&
                                             (harness::isMadeOf(left, pieces) || left == content);
                                    });
  }
}

TEST(EnvReplace, ExhaustedMemoryCorruptsNothing) {
  const Environment a("DORVANE_A", std::string(400, 'v'));
  const std::string content = std::string(200, 'x') + "%DORVANE_A%" + std::string(300, 'y') + "%z";
  const std::vector<std::string> pieces = {std::string(200, 'x'), std::string(400, 'v'),
                                           std::string(300, 'y') + "%z"};
  harness::expectSurvivesFailures(expanding(), content, {},
                                  [&](const std::string&, const std::string& left) {
                                    return left == content || harness::isMadeOf(left, pieces);
                                  });
}

TEST(Variables, ASecureBufferWipesWhatItReleases) {
  Lookup lookup(
      Variables{{"v", std::string(300, '"')}, {"w", std::string(400, 'w')}, {"s", "short"}});
  const Environment a("DORVANE_A", std::string(400, 'v'));
  const std::string secret(300, 's');
  const std::string content = secret + "{$v}" + secret + "{$w}{$s}{$v}" + secret + "{$" +
                              std::string(200, 'n') + "}%DORVANE_A%x%" + std::string(200, 'n') +
                              "%" + secret + "{$";
  for (const int mode : {kRaw, kUrl, kJson})
    harness::expectWipes(substituting(lookup, mode), content, {});
  harness::expectWipes(expanding(), content, {});
}

TEST(Variables, TheInlineBytesOfASecureBufferAreWiped) {
  Lookup lookup(Variables{{"secret-name", "v"}});
  StringBuffer buffer("{$secret-name}");
  buffer.setSecureBuf(true);
  buffer.variableSubstitute(lookup.map(), kRaw);
  EXPECT_EQ(harness::peekInlineBytes(&buffer), "v" + std::string(81, '\0'));
  StringBuffer environment("%no-such-secret-name%v");
  environment.setSecureBuf(true);
  environment.envReplace();
  EXPECT_EQ(harness::peekInlineBytes(&environment), "v" + std::string(81, '\0'));
}

TEST(Variables, NothingOfASecretStaysOnTheStack) {
  const std::string secret = harness::secretText(600);
  const std::string part = secret.substr(0, 70);
  const Environment a("DORVANE_A", part);
  Lookup lookup(Variables{{"v", part}, {part, "name"}});
  const std::vector<Operation> members = {substituting(lookup, kRaw), substituting(lookup, kUrl),
                                          substituting(lookup, kJson), expanding()};
  for (const std::size_t size : {60U, 251U, 252U, 253U, 600U}) {
    const std::string head = secret.substr(0, size);
    for (const std::string& content :
         {head, head + "{$v}%DORVANE_A%", "{$" + part + "}%" + part + "%"}) {
      for (const Operation& member : members) {
        StringBuffer buffer;
        buffer.setSecureBuf(true);
        EXPECT_FALSE(harness::leavesOnStack(secret,
                                            [&] {
                                              buffer.setString(content.c_str());
                                              member.real(buffer, {});
                                            }))
            << member.name << ", " << size;
      }
    }
  }
}

// --- Hostile sizes -----------------------------------------------------------------------------

std::string repeated(std::string_view part, std::size_t size) {
  std::string text;
  while (text.size() < size) text += part;
  return text;
}

TEST(Variables, LargeTemplatesTakeLinearTime) {
  Lookup lookup(Variables{{"a", "value"}});
  const std::string name(kMiB, 'n');
  const double seconds = secondsOf([&] {
    for (const std::string& content :
         {repeated("{$a}", kMiB), repeated("{$", kMiB), repeated("{$", kMiB) + "}",
          repeated("{", kMiB), repeated("{$zz}", kMiB), "{$" + name + "}", "{$" + name,
          repeated("%a%", kMiB), repeated("%", kMiB), "%" + name + "%", "%" + name}) {
      StringBuffer buffer(content.c_str());
      buffer.variableSubstitute(lookup.map(), kRaw);
      buffer.envReplace();
      EXPECT_TRUE(harness::invariantsHold(buffer));
    }
  });
  EXPECT_LT(seconds, 8.0);
}

TEST(Variables, LargeValuesAreInsertedWhole) {
  const std::string value(2 * kMiB, '"');
  Lookup lookup(Variables{{"v", value}});
  const Environment a("DORVANE_A", value);
  double seconds = 0;
  for (const int mode : {kRaw, kUrl, kJson}) {
    StringBuffer buffer("x{$v}y");
    seconds += secondsOf([&] { buffer.variableSubstitute(lookup.map(), mode); });
    EXPECT_EQ(bytesOf(buffer), "x" + reference::encodedValue(value, mode) + "y");
  }
  StringBuffer buffer("x%DORVANE_A%y");
  seconds += secondsOf([&] { buffer.envReplace(); });
  EXPECT_EQ(bytesOf(buffer), "x" + value + "y");
  EXPECT_LT(seconds, 8.0);
}

// ---- Allocations ----

TEST(Variables, SubstitutingAllocatesOnceWhateverTheSize) {
  _dvHashMap variables;
  variables.hashInsertString("name", "value");
  const auto text = [](std::size_t size) { return harness::textWithMarks(size, 50, "{$name}"); };
  EXPECT_TRUE(harness::allocatesAtAnySize(1, text, [&](StringBuffer& buffer) {
    buffer.variableSubstitute(variables, 0);
    return buffer.getSize();
  }));
}

TEST(Variables, TheEnvironmentIsPutInWithTwoAllocationsWhateverTheSize) {
  const auto text = [](std::size_t size) { return harness::textWithMarks(size, 50, "%NO_SUCH%"); };
  EXPECT_TRUE(harness::allocatesAtAnySize(2, text, [](StringBuffer& buffer) {
    buffer.envReplace();
    return buffer.getSize();
  }));
}

}  // namespace
