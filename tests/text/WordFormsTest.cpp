#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/WordFormsReference.h"

namespace {

using harness::appendRaw;
using harness::bytesOf;
using harness::fillHeap;
using harness::holds;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;
using namespace std::string_literals;

// ---- Helpers ----

struct Form {
  const char* name;
  void (*convert)(StringBuffer&);
  void (*rule)(ModelBuffer&);
};

const Form kPlural = {"pluralize", [](StringBuffer& word) { word.pluralize(); },
                      harness::reference::pluralize};
const Form kSingulars[] = {
    {"unpluralize", [](StringBuffer& word) { word.unpluralize(); },
     harness::reference::unpluralize},
    {"unpluralizeFrozen1", [](StringBuffer& word) { word.unpluralizeFrozen1(); },
     harness::reference::unpluralize},
};
const Form kForms[] = {kPlural, kSingulars[0], kSingulars[1]};

struct Word {
  std::string before;
  std::string after;
};

void expectForms(const Form& form, const std::vector<Word>& words) {
  for (const Word& word : words) {
    StringBuffer buffer(word.before.c_str());
    form.convert(buffer);
    EXPECT_TRUE(holds(buffer, word.after, 0, 202)) << form.name << ", " << word.before;
  }
}

void expectSingulars(const std::vector<Word>& words) {
  for (const Form& form : kSingulars) expectForms(form, words);
}

// Compares with the rules; quickly, as there are millions of words.
bool agrees(const Form& form, const std::string& word) {
  static StringBuffer buffer;
  ModelBuffer model;
  model.bytes = word;
  form.rule(model);
  buffer.weakClear();
  appendRaw(buffer, word);
  form.convert(buffer);
  const bool same =
      buffer.getSize() == model.bytes.size() &&
      std::memcmp(buffer.getString(), model.bytes.c_str(), model.bytes.size() + 1) == 0;
  EXPECT_TRUE(same) << form.name << " of " << testing::PrintToString(word) << " gives "
                    << testing::PrintToString(bytesOf(buffer)) << " instead of "
                    << testing::PrintToString(model.bytes);
  return same;
}

char byteOf(int code) { return static_cast<char>(static_cast<unsigned char>(code)); }

// ---- Plural: each rule, with words that an earlier or a later rule nearly takes ----

TEST(Pluralize, FeBecomesVes) {
  expectForms(kPlural, {{"knife", "knives"}, {"fe", "ves"}, {"cafe", "caves"}, {"life", "lives"}});
}

TEST(Pluralize, AnyOtherELastGetsS) {
  expectForms(kPlural, {{"e", "es"},
                        {"page", "pages"},
                        {"shoe", "shoes"},
                        {"Fe", "Fes"},
                        {"fE", "fEs"},
                        {"FE", "FEs"},
                        {"ye", "yes"}});
}

TEST(Pluralize, FBecomesVesEvenWhereEnglishDiffers) {
  expectForms(kPlural, {{"leaf", "leaves"},
                        {"roof", "rooves"},
                        {"f", "ves"},
                        {"cliff", "clifves"},
                        {"F", "Fs"},
                        {"leaF", "leaFs"}});
}

TEST(Pluralize, ChAndShGetEs) {
  expectForms(kPlural, {{"church", "churches"},
                        {"dish", "dishes"},
                        {"ch", "ches"},
                        {"sh", "shes"},
                        {"stomach", "stomaches"}});
}

TEST(Pluralize, AnyOtherHGetsS) {
  expectForms(kPlural, {{"path", "paths"},
                        {"h", "hs"},
                        {"hh", "hhs"},
                        {"Ch", "Chs"},
                        {"Sh", "Shs"},
                        {"cH", "cHs"},
                        {"high", "highs"}});
}

TEST(Pluralize, WhatEndsInSIsAPluralAlready) {
  expectForms(kPlural, {{"bus", "bus"}, {"s", "s"}, {"cars", "cars"}, {"glass", "glass"}});
}

TEST(Pluralize, XAndZGetEs) {
  expectForms(
      kPlural,
      {{"box", "boxes"}, {"buzz", "buzzes"}, {"x", "xes"}, {"z", "zes"}, {"X", "Xs"}, {"Z", "Zs"}});
}

TEST(Pluralize, YAfterAnyByteButAVowelBecomesIes) {
  expectForms(kPlural, {{"city", "cities"},
                        {"yy", "yies"},
                        {"fly", "flies"},
                        {"Ay", "Aies"},
                        {"1y", "1ies"},
                        {"\xFFy", "\xFFies"},
                        {"soliloquy", "soliloquys"}});
}

TEST(Pluralize, YAfterAVowelAndALoneYGetS) {
  expectForms(kPlural, {{"boy", "boys"},
                        {"toy", "toys"},
                        {"day", "days"},
                        {"key", "keys"},
                        {"iy", "iys"},
                        {"guy", "guys"},
                        {"y", "ys"},
                        {"Y", "Ys"},
                        {"citY", "citYs"}});
}

TEST(Pluralize, EverythingElseGetsS) {
  expectForms(kPlural, {{"car", "cars"},
                        {"BOX", "BOXs"},
                        {"BUS", "BUSs"},
                        {"7", "7s"},
                        {"a ", "a s"},
                        {"\x80", "\x80s"}});
}

// ---- Singular: each rule, with words that an earlier or a later rule nearly takes ----

TEST(Unpluralize, WhatDoesNotEndInSIsUnchanged) {
  expectSingulars({{"", ""}, {"car", "car"}, {"CARS", "CARS"}, {"S", "S"}, {"s ", "s "}});
}

TEST(Unpluralize, ALoneSVanishes) { expectSingulars({{"s", ""}}); }

TEST(Unpluralize, SAfterADigitStays) {
  expectSingulars({{"1990s", "1990s"},
                   {"0s", "0s"},
                   {"9s", "9s"},
                   {"a5s", "a5s"},
                   {"/s", "/"},
                   {":s", ":"},
                   {"abc/s", "abc/"},
                   {"abc:s", "abc:"}});
  for (char digit = '0'; digit <= '9'; ++digit)
    expectSingulars({{"abc"s + digit + "s", "abc"s + digit + "s"}});
}

TEST(Unpluralize, SAfterAIOrOrUStays) {
  expectSingulars({{"gas", "gas"},
                   {"this", "this"},
                   {"bus", "bus"},
                   {"photos", "photos"},
                   {"bias", "bias"},
                   {"as", "as"},
                   {"us", "us"},
                   {"taxas", "taxas"},
                   {"gAs", "gA"},
                   {"bUs", "bU"}});
}

TEST(Unpluralize, TwoOrThreeBytesLoseTheS) {
  expectSingulars({{"yes", "ye"},
                   {"es", "e"},
                   {"ss", "s"},
                   {"ass", "as"},
                   {"ess", "es"},
                   {"ies", "ie"},
                   {"ves", "ve"},
                   {"xes", "xe"},
                   {"zes", "ze"},
                   {"oes", "oe"},
                   {"hes", "he"},
                   {"uss", "us"}});
}

TEST(Unpluralize, AfterAnAOnlySAndAlwaysStay) {
  expectSingulars({{"glass", "glass"},
                   {"bass", "bass"},
                   {"cars", "car"},
                   {"days", "day"},
                   {"aaes", "aae"},
                   {"maps", "map"},
                   {"baYs", "baY"}});
}

TEST(Unpluralize, AlwaysIsTheOneException) {
  expectSingulars({{"always", "always"},
                   {"ALWays", "ALWays"},
                   {"AlWays", "AlWays"},
                   {"ALWAYS", "ALWAYS"},  // an upper-case S
                   {"ALWAYs", "ALWAY"},   // after an upper-case A
                   {"alwaYs", "alwaY"},
                   {"sideways", "sideway"},
                   {"aalways", "aalway"},
                   {"lways", "lway"},
                   {"alweys", "alwey"},
                   {"alvays", "alvay"}});
}

TEST(Unpluralize, EssIssAndOssStay) {
  expectSingulars({{"dress", "dress"},
                   {"kiss", "kiss"},
                   {"cross", "cross"},
                   {"less", "less"},
                   {"bySs", "byS"},
                   {"bEss", "bEs"}});
}

TEST(Unpluralize, VesBecomesVeAfterEIO) {
  expectSingulars({{"sleeves", "sleeve"},
                   {"knives", "knive"},
                   {"moves", "move"},
                   {"eeves", "eeve"},
                   {"xoves", "xove"}});
}

TEST(Unpluralize, VesBecomesFOtherwise) {
  expectSingulars({{"wolves", "wolf"},
                   {"leaves", "leaf"},
                   {"halves", "half"},
                   {"eves", "ef"},  // too short for the letter before to count
                   {"ives", "if"},
                   {"oves", "of"},
                   {"aves", "af"},
                   {"curves", "curf"},
                   {"xEves", "xEf"}});
}

TEST(Unpluralize, UssStays) {
  expectSingulars({{"fuss", "fuss"}, {"truss", "truss"}, {"bUss", "bUs"}, {"vuls", "vul"}});
}

TEST(Unpluralize, IesBecomesY) {
  expectSingulars(
      {{"cities", "city"}, {"xies", "xy"}, {"movies", "movy"}, {"bIes", "bIe"}, {"skis", "skis"}});
}

TEST(Unpluralize, HesAndXesLoseEs) {
  expectSingulars({{"churches", "church"},
                   {"boxes", "box"},
                   {"taxes", "tax"},
                   {"paths", "path"},
                   {"axes", "ax"},
                   {"ahes", "ah"},
                   {"taxas", "taxas"},
                   {"bXes", "bXe"}});
}

TEST(Unpluralize, ZesLosesEsAndAfterAnIOnlyS) {
  expectSingulars({{"buzzes", "buzz"},
                   {"sizes", "size"},
                   {"prizes", "prize"},
                   {"izes", "ize"},
                   {"azes", "az"},
                   {"bIzes", "bIz"},
                   {"buzzs", "buzz"}});
}

TEST(Unpluralize, OesStays) {
  expectSingulars(
      {{"potatoes", "potatoes"}, {"heroes", "heroes"}, {"toes", "toes"}, {"bOes", "bOe"}});
}

TEST(Unpluralize, AnyOtherLosesTheS) {
  expectSingulars({{"pages", "page"},
                   {"boys", "boy"},
                   {"keys", "key"},
                   {"axxs", "axx"},
                   {"sses", "sse"},
                   {"buses", "buse"},
                   {"bcs\xE9s", "bcs\xE9"}});
}

// ---- Every word against the rules ----

TEST(WordForms, AgreeForAllShortWords) {
  for (const std::string& word : harness::allStrings("seyaivxzhofc1", 4))
    for (const Form& form : kForms) ASSERT_TRUE(agrees(form, word));
  // Longer words: a singular is looked for only before an "s".
  for (std::string word : harness::allStrings("seyaivxzhofc1", 4)) {
    word += 's';
    for (const Form& form : kSingulars) ASSERT_TRUE(agrees(form, word));
  }
}

TEST(WordForms, AgreeForAllBytesNextToTheLast) {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const std::string two{byteOf(a), byteOf(b)};
      for (const std::string& word : {two, "w" + two}) ASSERT_TRUE(agrees(kPlural, word));
      for (const std::string& word : {"w" + two + "s", "ww" + two + "s", two + "es"})
        for (const Form& form : kSingulars) ASSERT_TRUE(agrees(form, word));
    }
  }
}

TEST(WordForms, AgreeForEveryByteBeforeAnEnding) {
  for (int a = 0; a < 256; ++a) {
    for (const char* ending : {"", "s", "es", "ves", "zes", "ies", "oes", "xes", "hes", "ss", "ays",
                               "ass", "y", "f", "fe", "h"}) {
      for (const char* start : {"", "w", "wi", "alw", "ALW"}) {
        const std::string word = start + std::string(1, byteOf(a)) + ending;
        for (const Form& form : kForms) ASSERT_TRUE(agrees(form, word));
      }
    }
  }
}

// Every way to write "always" with capitals.
TEST(WordForms, AgreeForAlwaysInEveryCase) {
  for (unsigned int capitals = 0; capitals < 64; ++capitals) {
    std::string word = "always";
    for (unsigned int i = 0; i < 6; ++i)
      if ((capitals >> i & 1U) != 0) word[i] = static_cast<char>(word[i] - 'a' + 'A');
    for (const Form& form : kForms) ASSERT_TRUE(agrees(form, word));
    for (const Form& form : kSingulars) ASSERT_TRUE(agrees(form, "x" + word));
  }
}

TEST(WordForms, LookAtTheEndOfTheContentAndNotAtANul) {
  const struct {
    const Form& form;
    std::string before;
    std::string after;
  } cases[] = {
      {kPlural, "a\0y"s, "a\0ies"s},        {kPlural, "a\0f"s, "a\0ves"s},
      {kPlural, "box\0car"s, "box\0cars"s}, {kPlural, "box\0"s, "box\0s"s},
      {kSingulars[0], "a\0s"s, "a\0"s},     {kSingulars[0], "a\0ies"s, "a\0y"s},
      {kSingulars[0], "a\0ves"s, "a\0f"s},  {kSingulars[0], "cars\0"s, "cars\0"s},
      {kSingulars[1], "a\0s"s, "a\0"s},     {kSingulars[1], "cars\0box"s, "cars\0box"s},
  };
  for (const auto& c : cases) {
    StringBuffer word;
    appendRaw(word, c.before);
    c.form.convert(word);
    EXPECT_TRUE(holds(word, c.after, 0, 202)) << testing::PrintToString(c.before);
  }
}

// ---- Short words, whatever lies before them in memory ----

static_assert(alignof(std::max_align_t) > sizeof(std::size_t) || sizeof(std::size_t) > 4,
              "the allocation hook keeps a byte free before a block");

// Makes the buffer hold a word in a heap block, and writes the bytes before the block, which the
// allocation hook leaves unused.
class BytesBeforeTheWord {
 public:
  BytesBeforeTheWord(StringBuffer& buffer, const std::string& word, std::string_view bytes)
      : m_end(holdOnHeap(buffer, word)), m_n(bytes.size()) {
    for (std::size_t i = 0; i < m_n; ++i) {
      m_saved += static_cast<char>(m_end[-1 - static_cast<std::ptrdiff_t>(i)]);
      m_end[-1 - static_cast<std::ptrdiff_t>(i)] = static_cast<unsigned char>(bytes[m_n - 1 - i]);
    }
  }
  ~BytesBeforeTheWord() {
    for (std::size_t i = 0; i < m_n; ++i)
      m_end[-1 - static_cast<std::ptrdiff_t>(i)] = static_cast<unsigned char>(m_saved[i]);
  }
  BytesBeforeTheWord(const BytesBeforeTheWord&) = delete;
  BytesBeforeTheWord& operator=(const BytesBeforeTheWord&) = delete;

 private:
  static volatile unsigned char* holdOnHeap(StringBuffer& buffer, const std::string& word) {
    buffer.append(std::string(100, 'w').c_str());
    buffer.setString(word.c_str());
    return reinterpret_cast<volatile unsigned char*>(buffer.pCharAt(0));
  }

  volatile unsigned char* m_end;
  std::size_t m_n;
  std::string m_saved;
};

TEST(WordForms, ReadNothingBeforeTheWord) {
  for (const char* word : {"e", "f", "h", "s", "x", "y", "es", "ss", "ys", "ays", "ves", "zes",
                           "ees", "ess", "ies", "eves", "ives"}) {
    for (const std::string& before : harness::allStrings("acefsiuo1", 2)) {
      for (const Form& form : kForms) {
        StringBuffer buffer;
        const BytesBeforeTheWord planted(buffer, word, before);
        ModelBuffer model = modelOf(buffer);
        form.rule(model);
        form.convert(buffer);
        ASSERT_TRUE(matches(buffer, model)) << form.name << " of " << word << " after " << before;
      }
    }
  }
}

// ---- Storage ----

const char* const kEndings[] = {"e",   "fe",   "f",   "ch",  "sh",  "s",   "x",
                                "z",   "y",    "ay",  "w",   "ves", "ies", "hes",
                                "zes", "izes", "oes", "ass", "ows", "eves"};

TEST(WordForms, GrowAsEveryAppendDoes) {
  for (const Form& form : kForms) {
    for (const char* ending : kEndings) {
      for (std::size_t length = 75; length <= 90; ++length) {
        for (const unsigned int room : {0U, 1U, 2U, 3U, 202U}) {
          const std::string word = std::string(length - std::strlen(ending), 'w') + ending;
          StringBuffer buffer;
          if (length > 81)
            fillHeap(buffer, word, room);
          else
            buffer.append(word.c_str());
          ModelBuffer model = modelOf(buffer);
          form.rule(model);
          form.convert(buffer);
          ASSERT_TRUE(matches(buffer, model)) << form.name << " of " << word << ", " << room;
        }
      }
    }
  }
}

// What was removed stays removed, and nothing is added.
TEST(Pluralize, StopsWhereMemoryEnds) {
  const struct {
    const char* ending;
    const char* kept;
  } cases[] = {{"fe", ""}, {"f", ""}, {"ch", "ch"}, {"x", "x"}, {"y", ""}, {"w", "w"}};
  const long blocks = harness::liveBlocks();
  for (const auto& c : cases) {
    for (const std::size_t length : {81U, 100U}) {
      const std::string stem(length - std::strlen(c.ending), 'w');
      StringBuffer buffer;
      buffer.setExtendSize(0);
      buffer.append((stem + c.ending).c_str());
      bool failed = false;
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        buffer.pluralize();
        failed = fail.fired();
      }
      EXPECT_TRUE(failed) << c.ending;
      EXPECT_TRUE(holds(buffer, stem + c.kept, length == 81 ? 0U : 101U, 0)) << c.ending;
    }
  }
  EXPECT_EQ(harness::liveBlocks(), blocks);
}

TEST(Unpluralize, NeverAllocates) {
  for (const Form& form : kSingulars) {
    for (const char* ending : kEndings) {
      for (const std::size_t length : {10U, 81U, 82U, 100U}) {
        StringBuffer buffer;
        buffer.setExtendSize(0);
        buffer.append((std::string(length - std::strlen(ending), 'w') + ending).c_str());
        const unsigned int usage = buffer.heapUsage();
        const harness::FailAllocation count(0);
        form.convert(buffer);
        EXPECT_EQ(count.seen(), 0) << form.name << ", " << ending;
        EXPECT_EQ(buffer.heapUsage(), usage);
      }
    }
  }
}

TEST(WordForms, LeaveAnEmptyBufferAsItIs) {
  for (const Form& form : kForms) {
    StringBuffer fresh;
    form.convert(fresh);
    EXPECT_TRUE(holds(fresh, "", 0, 202)) << form.name;
    StringBuffer emptied(std::string(100, 'w').c_str());
    emptied.setExtendSize(5);
    emptied.chopAt(0);
    const harness::BufferState before = harness::stateOf(emptied);
    form.convert(emptied);
    EXPECT_EQ(harness::stateOf(emptied), before) << form.name;
  }
}

TEST(WordForms, SecureBuffersReleaseNothingReadable) {
  for (const char* ending : kEndings) {
    StringBuffer buffer;
    buffer.setSecureBuf(true);
    buffer.setExtendSize(0);
    buffer.append((std::string(100, 'w') + ending).c_str());
    EXPECT_TRUE(harness::allWiped(harness::releasedBy([&] {
      buffer.pluralize();
      buffer.unpluralize();
      buffer.clear();
    }))) << ending;
  }
}

}  // namespace
