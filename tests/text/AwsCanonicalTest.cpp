// The AWS canonical forms of text/AwsCanonical.cpp.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"
#include "harness/Allocations.h"
#include "harness/AwsCanonicalReference.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/Operation.h"
#include "harness/ReleasedBlocks.h"
#include "harness/Stopwatch.h"
#include "harness/StorageLayout.h"

namespace {

using namespace std::string_literals;
namespace reference = harness::reference;
using harness::agreesInBlocks;
using harness::agreesOn;
using harness::allStrings;
using harness::appendRaw;
using harness::bytesOf;
using harness::holds;
using harness::inWords;
using harness::ModelBuffer;
using harness::Operation;
using harness::randomText;
using harness::releasedBy;
using harness::secondsOf;
using harness::Texts;

constexpr std::size_t kMiB = 1048576;

using Method = bool (StringBuffer::*)();

// A form with the bytes that it keeps.
struct Form {
  const char* name;
  Method method;
  std::string_view kept;
};

constexpr Form kUri = {"awsNormalizeUriUtf8", &StringBuffer::awsNormalizeUriUtf8,
                       reference::kUriKept};
constexpr Form kQuery = {"awsNormalizeQueryParams", &StringBuffer::awsNormalizeQueryParams,
                         reference::kQueryKept};
constexpr Form kForms[] = {kUri, kQuery};

Operation encoding(const Form& form) {
  return {form.name, [form](StringBuffer& b, const Texts&) { return inWords((b.*form.method)()); },
          [form](ModelBuffer& b, const Texts&) {
            return inWords(reference::awsNormalize(b, form.kept));
          }};
}

testing::AssertionResult agreesEverywhere(const std::string& content) {
  for (const Form& form : kForms) {
    testing::AssertionResult same = agreesOn(encoding(form), content, {});
    if (same) same = agreesInBlocks(encoding(form), content, {});
    if (!same) return same;
  }
  return testing::AssertionSuccess();
}

struct EncodeCase {
  std::string content;
  std::string encoded;
};

void expectEncodes(const Form& form, const std::vector<EncodeCase>& cases) {
  for (const EncodeCase& c : cases) {
    StringBuffer buffer;
    appendRaw(buffer, c.content);
    EXPECT_TRUE((buffer.*form.method)());
    const std::size_t added = c.encoded.size() - c.content.size();
    ModelBuffer untouched;
    untouched.append(c.content);
    const std::size_t capacity = added == 0 ? untouched.capacity : added + 4 + c.encoded.size();
    EXPECT_TRUE(holds(buffer, c.encoded, static_cast<unsigned int>(capacity), 202))
        << form.name << " of " << testing::PrintToString(c.content);
    EXPECT_TRUE(agreesEverywhere(c.content));
  }
}

// --- What is encoded ---------------------------------------------------------------------------

TEST(AwsCanonical, UriPaths) {
  expectEncodes(kUri, {
                          {"", ""},
                          {"/", "/"},
                          {"/a b/c~d", "/a%20b/c~d"},
                          {"/x%2Fy", "/x%2Fy"},
                          {"100%", "100%"},
                          {"a=b", "a%3Db"},
                          {"a?b&c=d", "a%3Fb%26c%3Dd"},
                          {"a+b:c@d", "a%2Bb%3Ac%40d"},
                          {"/a-b_c.d~e", "/a-b_c.d~e"},
                          {"\\", "%5C"},
                          {"\t\r\n\x7F", "%09%0D%0A%7F"},
                          {"a\0b\0"s, "a%00b%00"},
                      });
}

TEST(AwsCanonical, QueryStrings) {
  expectEncodes(kQuery, {
                            {"", ""},
                            {"a=b c&d=e+f", "a=b%20c&d=e%2Bf"},
                            {"a=b=c==&d", "a=b=c==&d"},
                            {"?a/b=%41", "?a/b=%41"},
                            {"a=x:y@z;w", "a=x%3Ay%40z%3Bw"},
                            {"a='(b)*!'", "a=%27%28b%29%2A%21%27"},
                            {"a=\"<b>\"#c", "a=%22%3Cb%3E%22%23c"},
                            {"\0"s, "%00"},
                        });
}

// The examples of the documentation of Signature Version 4 and of its test suite: what these two
// members do of them.
TEST(AwsCanonical, PublishedExamples) {
  const std::string unreserved =
      "-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  expectEncodes(kUri, {
                          {"/documents and settings/", "/documents%20and%20settings/"},
                          {"/documents%20and%20settings/", "/documents%20and%20settings/"},
                          {"/example space/", "/example%20space/"},
                          {"/\xE1\x88\xB4", "/%E1%88%B4"},
                          {"/" + unreserved, "/" + unreserved},
                          {"/example/", "/example/"},
                          {"/test$file.text", "/test%24file.text"},
                          {"/my-object//example//photo.user", "/my-object//example//photo.user"},
                      });
  expectEncodes(kQuery,
                {
                    {"Param1=value1&Param2=value2", "Param1=value1&Param2=value2"},
                    {"\xE1\x88\xB4=bar", "%E1%88%B4=bar"},
                    {unreserved + "=" + unreserved, unreserved + "=" + unreserved},
                    {"Action=ListUsers&Version=2010-05-08", "Action=ListUsers&Version=2010-05-08"},
                    {"prefix=some prefix&marker=a=b", "prefix=some%20prefix&marker=a=b"},
                    {"X-Amz-Date=2015-08-30T12:36:00Z", "X-Amz-Date=2015-08-30T12%3A36%3A00Z"},
                });
}

TEST(AwsCanonical, MultiByteSequencesAreEncodedInBothForms) {
  const std::vector<EncodeCase> cases = {
      {"\xC3\xA9", "%C3%A9"},
      {"x\xE2\x82\xACy", "x%E2%82%ACy"},
      {"\xF0\x9F\x98\x80", "%F0%9F%98%80"},
      // what a lead byte claims is encoded unseen
      {"\xC3"
       "ab",
       "%C3%61b"},
      {"\xE2"
       "abc",
       "%E2%61%62c"},
      {"\xF7/%-~", "%F7%2F%25%2D~"},
      {"\xFB"
       "abcde",
       "%FB%61%62%63%64e"},
      {"\xFC"
       "abcdef",
       "%FC%61%62%63%64%65f"},
      {"\xFF"
       "abcdef",
       "%FF%61%62%63%64%65f"},
      {"\xC3\xC3"
       "a",
       "%C3%C3a"},
      {"\xC3\0a"s, "%C3%00a"},
      // a stray continuation byte stands alone
      {"\x80"
       "a",
       "%80a"},
      {"\xBF"
       "a",
       "%BFa"},
      // a lead byte at the end claims no more than there is
      {"a\xC3", "a%C3"},
      {"a\xE2\x82", "a%E2%82"},
      {"a\xFF", "a%FF"},
      {"\xFD"
       "abc",
       "%FD%61%62%63"},
  };
  expectEncodes(kUri, cases);
  expectEncodes(kQuery, cases);
}

TEST(AwsCanonical, EveryByteValue) {
  for (const Form& form : kForms) {
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      StringBuffer buffer;
      appendRaw(buffer, byte);
      EXPECT_TRUE((buffer.*form.method)());
      const bool kept = form.kept.find(byte) != std::string_view::npos;
      EXPECT_EQ(bytesOf(buffer), kept ? byte : reference::percentEncodedByte(byte[0]));
      for (const std::string& content :
           {byte, byte + byte, "x" + byte, byte + "abcdefgh", " " + byte + "  ", byte + "\xC3"})
        ASSERT_TRUE(agreesEverywhere(content)) << b;
    }
  }
}

TEST(AwsCanonical, EveryShortContentAgreesWithTheReference) {
  for (const std::string& content : allStrings("a =%\xA9\xC3\xE2\xFD\0"s, 4)) {
    for (const Form& form : kForms) {
      ASSERT_TRUE(agreesOn(encoding(form), content, {}));
      ASSERT_TRUE(harness::agreesUnterminated(encoding(form), content, {}, ' '));
    }
  }
}

TEST(AwsCanonical, RandomContentsAgreeWithTheReference) {
  for (unsigned int seed = 1; seed <= 300; ++seed)
    ASSERT_TRUE(agreesEverywhere(
        randomText(seed, seed * 5 % 700, "abcXYZ09%/-._~&=? +:@\n\x7F\x80\xC3\xE2\xF0\0"s)))
        << "seed " << seed;
}

TEST(AwsCanonical, EverySizeAtTheStorageBorders) {
  for (std::size_t size = 70; size < 90; ++size) {
    for (const char* last : {" ", "\x01", "\xFF", " \xFF", "\xC3\xA9"})
      EXPECT_TRUE(agreesEverywhere(std::string(size, 'x') + last));
    EXPECT_TRUE(agreesEverywhere(std::string(size / 3, ' ')));
    EXPECT_TRUE(agreesEverywhere(std::string(size, ' ')));
  }
}

TEST(AwsCanonical, EncodingTwiceChangesNothingMore) {
  for (const Form& form : kForms) {
    StringBuffer buffer("/a b\xC3\xA9?c=d+e");
    EXPECT_TRUE((buffer.*form.method)());
    const harness::BufferState once = harness::stateOf(buffer);
    EXPECT_TRUE((buffer.*form.method)());
    EXPECT_EQ(harness::stateOf(buffer), once);
  }
}

// --- The storage -------------------------------------------------------------------------------

TEST(AwsCanonical, TextThatNeedsNoEncodingIsLeftUntouched) {
  for (const Form& form : kForms) {
    for (const std::string& content : {""s, "/a/b%20c-._~"s, std::string(300, 'x')}) {
      StringBuffer buffer;
      appendRaw(buffer, content);
      buffer.setExtendSize(9);
      const char* data = buffer.getString();
      const unsigned int heapUsage = buffer.heapUsage();
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        EXPECT_TRUE((buffer.*form.method)());
        EXPECT_EQ(fail.seen(), 0);
      }
      EXPECT_TRUE(holds(buffer, content, heapUsage, 9)) << form.name;
      EXPECT_EQ(buffer.getString(), data);
    }
  }
}

// The added bytes count twice in the capacity, and the block is as large as that.
TEST(AwsCanonical, TheBlockIsAsLargeAsItsCapacityAndLaterTextStaysInside) {
  for (const Form& form : kForms) {
    for (const std::string& content : {" "s, "a b"s, std::string(500, '\x02'), "\xE2\x82\xAC"s}) {
      const std::string encoded = reference::percentEncoded(content, form.kept);
      const std::size_t capacity = 2 * encoded.size() - content.size() + 4;
      StringBuffer buffer(content.c_str());
      EXPECT_TRUE((buffer.*form.method)());
      const std::string more(capacity - encoded.size() - 1, 'm');
      EXPECT_TRUE(buffer.append(more.c_str()));
      EXPECT_TRUE(holds(buffer, encoded + more, static_cast<unsigned int>(capacity), 202));
      const std::vector<std::string> blocks = releasedBy([&] { buffer.clear(); });
      ASSERT_EQ(blocks.size(), 1U);
      EXPECT_GE(blocks[0].size(), capacity);
    }
  }
}

TEST(AwsCanonical, TheExtendSizeIsKept) {
  StringBuffer buffer(" ");
  buffer.setExtendSize(17);
  EXPECT_TRUE(buffer.awsNormalizeUriUtf8());
  EXPECT_TRUE(holds(buffer, "%20", 9, 17));
}

TEST(AwsCanonical, AsManyAllocationsAsBlocks) {
  StringBuffer buffer(std::string(300, ' ').c_str());
  const long live = harness::liveBlocks();
  {
    const harness::FailAllocation count(0);
    EXPECT_TRUE(buffer.awsNormalizeQueryParams());
    EXPECT_EQ(count.seen(), 1);
  }
  EXPECT_EQ(harness::liveBlocks(), live);
}

TEST(AwsCanonical, ExhaustedMemoryChangesNothing) {
  for (const Form& form : kForms) {
    for (const std::string& content : {std::string(200, ' '), "short \xC3"s}) {
      harness::expectSurvivesFailures(
          encoding(form), content, {}, [&](const std::string& result, const std::string& left) {
            return left ==
                   (result == "true" ? reference::percentEncoded(content, form.kept) : content);
          });
      StringBuffer buffer(content.c_str());
      buffer.setExtendSize(9);
      const harness::BufferState before = harness::stateOf(buffer);
      {
        const harness::FailAllocation fail(1, harness::FailAllocation::kFromThenOn);
        EXPECT_FALSE((buffer.*form.method)());
      }
      EXPECT_EQ(harness::stateOf(buffer), before);
    }
  }
}

// The old storage is wiped as far as it goes, not only as far as the new text would.
TEST(AwsCanonical, ASecureBufferWipesItsOldStorage) {
  for (const Form& form : kForms) {
    harness::expectWipes(encoding(form), std::string(300, 's') + " ", {});
    StringBuffer stale;
    stale.setSecureBuf(true);
    stale.append(std::string(4000, 's').c_str());
    stale.chopAt(90);
    stale.append(" ");
    const std::vector<std::string> blocks =
        releasedBy([&] { EXPECT_TRUE((stale.*form.method)()); });
    EXPECT_EQ(blocks.size(), 1U);
    EXPECT_TRUE(harness::allWiped(blocks));
    StringBuffer small("secret ");
    small.setSecureBuf(true);
    EXPECT_TRUE((small.*form.method)());
    EXPECT_EQ(harness::peekInlineBytes(&small), std::string(82, '\0'));
    EXPECT_TRUE(harness::wipesItsBlocks(small));
  }
}

// --- Allocations -------------------------------------------------------------------------------

TEST(AwsCanonical, AllocatesOnceWhateverTheSize) {
  for (const Form& form : kForms)
    EXPECT_TRUE(harness::allocates(
        1, 2, harness::repeating("a=b c&d=e+f"),
        [&](StringBuffer& text) { return (text.*form.method)(), text.getSize(); }));
}

// --- Hostile sizes -----------------------------------------------------------------------------

TEST(AwsCanonical, LargeTextsTakeLinearTime) {
  const double seconds = secondsOf([] {
    for (const char byte : {' ', '\xC3', '\xFF'}) {
      StringBuffer buffer(std::string(kMiB, byte).c_str());
      EXPECT_TRUE(buffer.awsNormalizeUriUtf8());
      EXPECT_EQ(buffer.getSize(), 3 * kMiB);
    }
  });
  EXPECT_LT(seconds, 8.0);
}

}  // namespace
