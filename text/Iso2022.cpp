// Lifts the two-byte runs of ISO-2022-JP text (RFC 1468) out of a text and puts them back. Tested
// in tests/text/Iso2022Test.cpp.

#include <string_view>

#include "core/StringBuffer.h"
#include "support/ExtPtrArray.h"
#include "support/internal/Search.h"

using dorvane::internal::findBytes;

namespace {

// JIS X 0208 begins, and ASCII again.
constexpr std::string_view kOpen = "\x1B$B";
constexpr std::string_view kClose = "\x1B(B";
constexpr char kPlaceholder[] = "DV_ISO2022_";
constexpr std::size_t kLongestPlaceholder = sizeof kPlaceholder + 10;

std::size_t offsetIn(std::string_view text, const char* match) {
  return match == nullptr ? text.size() : static_cast<std::size_t>(match - text.data());
}

// Size of the run at the start of `text`: through the closing escape, or all of it.
std::size_t runSize(std::string_view text) {
  const char* const close = findBytes(text, kClose);
  return close == nullptr ? text.size() : offsetIn(text, close) + kClose.size();
}

std::size_t countRuns(std::string_view text) {
  std::size_t count = 0;
  while (const char* const open = findBytes(text, kOpen)) {
    text.remove_prefix(offsetIn(text, open));
    text.remove_prefix(runSize(text));
    ++count;
  }
  return count;
}

// The slot is reserved first, so that a run is never taken out of the text and then lost.
bool addRun(ExtPtrArray& runs, std::string_view bytes) {
  if (!runs.reserveMore(1)) return false;
  StringBuffer* const run = StringBuffer::createNewSB();
  if (run == nullptr) return false;
  if (!run->appendN(bytes.data(), static_cast<unsigned int>(bytes.size()))) {
    StringBuffer::deleteSb(run);
    return false;
  }
  return runs.appendPtr(run);
}

}  // namespace

void StringBuffer::iso2022Replace(ExtPtrArray& runs) {
  std::string_view rest = text();
  StringBuffer out;
  out.m_secure = m_secure;
  // With room for every placeholder no text is lost when memory is exhausted later.
  if (!out.makeRoom(rest.size() + countRuns(rest) * kLongestPlaceholder)) return;
  for (int number = 1; !rest.empty(); ++number) {
    const std::size_t before = offsetIn(rest, findBytes(rest, kOpen));
    out.appendBytes(rest.substr(0, before));
    rest.remove_prefix(before);
    if (rest.empty()) break;
    const std::size_t run = runSize(rest);
    if (!addRun(runs, rest.substr(0, run))) {
      out.appendBytes(rest);
      break;
    }
    out.append(kPlaceholder);
    out.append(number);
    rest.remove_prefix(run);
  }
  replaceKeepingBlock(out.content());
}

void StringBuffer::iso2022Restore(ExtPtrArray& runs) {
  for (int i = 0; i < runs.getSize(); ++i) {
    // The elements are buffers; only they are cast, for the array may be of another class.
    const auto* const run = static_cast<const StringBuffer*>(runs.elementAt(i));
    StringBuffer placeholder(kPlaceholder);
    if (run != nullptr && placeholder.append(i + 1))
      replaceFirstOccurance(placeholder.getString(), run->getString());
  }
}
