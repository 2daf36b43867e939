#include "support/Psdk.h"

#include <gtest/gtest.h>

namespace {

TEST(Psdk, HasTheWesternPagesByDefault) {
  EXPECT_EQ(Psdk::getAnsiCodePage(), 1252);
  EXPECT_EQ(Psdk::getOemCodePage(), 437);
}

TEST(Psdk, KeepsThePagesThatAreSet) {
  Psdk::setAnsiCodePage(1250);
  EXPECT_EQ(Psdk::getAnsiCodePage(), 1250);
  EXPECT_EQ(Psdk::getOemCodePage(), 437);
  Psdk::setOemCodePage(850);
  EXPECT_EQ(Psdk::getAnsiCodePage(), 1250);
  EXPECT_EQ(Psdk::getOemCodePage(), 850);
  Psdk::setAnsiCodePage(0);
  Psdk::setOemCodePage(0);
  EXPECT_EQ(Psdk::getAnsiCodePage(), 1252);
  EXPECT_EQ(Psdk::getOemCodePage(), 437);
}

}  // namespace
