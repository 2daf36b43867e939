#include <gtest/gtest.h>

#include <string>

#include "core/StringBuffer.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "limits/Limit.h"

// Filters and hexadecimal data at the longest content, which is 1 MiB in this build.

namespace {

using harness::holds;
using harness::invariantsHold;
using harness::kMost;
using harness::matches;
using harness::ModelBuffer;
using harness::modelOf;

const unsigned char* bytesAt(const std::string& data) {
  return reinterpret_cast<const unsigned char*>(data.data());
}

TEST(FiltersAtTheLimit, AnIndentThatCannotFitLeavesTheTextUnchanged) {
  for (const std::string& content :
       {std::string(100, '\n'), std::string(kMost - 1, 'x'), std::string(kMost - 9, 'x') + "\n"}) {
    StringBuffer buffer(content.c_str());
    buffer.indent('x', 12000);
    EXPECT_TRUE(holds(buffer, content)) << content.size();
  }
}

TEST(FiltersAtTheLimit, AnIndentThatJustFitsIsDone) {
  StringBuffer buffer((std::string(kMost - 9, 'x') + "\n").c_str());
  buffer.indent('-', 4);
  EXPECT_TRUE(holds(buffer, "----" + std::string(kMost - 9, 'x') + "\n----"));
}

TEST(FiltersAtTheLimit, ToCrlfFitsOrChangesNothing) {
  StringBuffer fits(std::string(kMost / 2, '\n').c_str());
  EXPECT_EQ(fits.toCRLF(), kMost / 2);
  EXPECT_EQ(fits.getSize(), kMost);
  EXPECT_TRUE(invariantsHold(fits));
  StringBuffer tooLong(std::string(kMost / 2 + 1, '\n').c_str());
  const ModelBuffer before = modelOf(tooLong);
  EXPECT_EQ(tooLong.toCRLF(), 0U);
  EXPECT_TRUE(matches(tooLong, before));
}

TEST(HexDataAtTheLimit, ADumpKeepsTheBatchesThatFit) {
  const std::string data(kMost / 2, 'A');
  StringBuffer dump;
  EXPECT_FALSE(dump.appendHexData(bytesAt(data), kMost / 2));
  EXPECT_TRUE(invariantsHold(dump));
  EXPECT_GT(dump.getSize(), kMost - 128);
  EXPECT_LE(dump.getSize(), kMost);
  StringBuffer plain;
  EXPECT_TRUE(plain.appendHexDataNoWS(bytesAt(data), kMost / 2, false));
  EXPECT_EQ(plain.getSize(), kMost);
  plain.chopAt(kMost - 1);
  plain.canonicalizeHexString();
  EXPECT_EQ(plain.getSize(), kMost);
  EXPECT_FALSE(plain.appendHexDataNoWS(bytesAt(data), 1, true));
  EXPECT_EQ(plain.getSize(), kMost);
}

TEST(HexDataAtTheLimit, Base64AppendsAllOrNothing) {
  const std::string data(kMost / 4 * 3, 'A');
  StringBuffer fits;
  EXPECT_TRUE(fits.appendBase64(bytesAt(data), kMost / 4 * 3));
  EXPECT_EQ(fits.getSize(), kMost);
  StringBuffer full("abc");
  EXPECT_FALSE(full.appendBase64(bytesAt(data), kMost / 4 * 3));
  EXPECT_TRUE(holds(full, "abc"));
}

}  // namespace
