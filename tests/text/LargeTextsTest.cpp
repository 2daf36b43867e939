// Rewrites of texts of 1 KiB to 256 MiB: the number of allocations does not depend on the size, and
// the bytes asked for are a small multiple of what goes in and comes out. A byte is copied at most
// as often as memory is asked for it.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "core/StringBuffer.h"
#include "harness/AllocationHook.h"

namespace {

struct Rewrite {
  const char* name;
  long long mostBlocks;
  std::function<void(StringBuffer&)> run;
};

// What each does to a text that has "word&" once in 64 bytes, otherwise letters and spaces.
const Rewrite kRewrites[] = {
    {"replaceAllOccurances, longer", 1,
     [](StringBuffer& b) { b.replaceAllOccurances("word", "something longer"); }},
    {"replaceAllOccurances, shorter", 1,
     [](StringBuffer& b) { b.replaceAllOccurances("word", "w"); }},
    {"encodeXMLSpecial", 2, [](StringBuffer& b) { b.encodeXMLSpecial(); }},
    {"jsonEscape", 1, [](StringBuffer& b) { b.jsonEscape(); }},
    {"toCRLF", 1, [](StringBuffer& b) { b.toCRLF(); }},
    {"removeCharOccurances", 0, [](StringBuffer& b) { b.removeCharOccurances('e'); }},
    {"appendXmlNoCdataN of a copy", 2,
     [](StringBuffer& b) {
       StringBuffer out;
       out.appendXmlNoCdataN(b.getString(), b.getSize());
       b.takeSb(out);
     }},
    {"appendHexDataNoWS of a quarter", 2,
     [](StringBuffer& b) {
       StringBuffer out;
       out.appendHexDataNoWS(reinterpret_cast<const unsigned char*>(b.getString()), b.getSize() / 4,
                             false);
       b.takeSb(out);
     }},
    {"jsonDecode", 2,
     [](StringBuffer& b) {
       StringBuffer out;
       StringBuffer::jsonDecode(b.getString(), b.getSize(), out);
       b.takeSb(out);
     }},
};

std::string sample(std::size_t size) {
  std::string text(size, 'x');
  for (std::size_t i = 0; i < size; ++i) text[i] = "the eye\nof a reader\\"[i % 20];
  for (std::size_t i = 0; i + 5 <= size; i += 64) text.replace(i, 5, "word&");
  return text;
}

void expectAFewAllocations(std::size_t size) {
  const std::string text = sample(size);
  for (const Rewrite& rewrite : kRewrites) {
    StringBuffer buffer;
    buffer.appendN(text.data(), static_cast<unsigned int>(size));
    const harness::AllocationCount before = harness::allocationsMade();
    rewrite.run(buffer);
    const harness::AllocationCount after = harness::allocationsMade();
    EXPECT_LE(after.blocks - before.blocks, rewrite.mostBlocks) << rewrite.name << ", " << size;
    EXPECT_LE(after.bytes - before.bytes,
              4 * (static_cast<long long>(size) + buffer.getSize()) + 1000)
        << rewrite.name << ", " << size;
  }
}

TEST(LargeTexts, RewritesOfAKibibyteTakeAFewAllocations) { expectAFewAllocations(1024); }

TEST(LargeTexts, RewritesOfAMebibyteTakeAFewAllocations) { expectAFewAllocations(1U << 20U); }

// A sanitizer keeps released blocks for a while and works several times as long.
#ifdef DORVANE_CHECK_INVARIANTS
constexpr std::size_t kLargest = std::size_t{1} << 25U;
#else
constexpr std::size_t kLargest = std::size_t{1} << 28U;
#endif

TEST(LargeTexts, RewritesOfTheLargestTakeAFewAllocations) { expectAFewAllocations(kLargest); }

}  // namespace
