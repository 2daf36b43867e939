// Lifts the two-byte runs of ISO-2022-JP text (RFC 1468) out of a text and puts them back. Tested
// in tests/text/Iso2022Test.cpp.

#include <memory>
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

std::size_t offsetIn(std::string_view text, const char* match) {
  return match == nullptr ? text.size() : static_cast<std::size_t>(match - text.data());
}

// Size of the run at the start of `text`: through the closing escape, or all of it.
std::size_t runSize(std::string_view text) {
  const char* const close = findBytes(text, kClose);
  return close == nullptr ? text.size() : offsetIn(text, close) + kClose.size();
}

void append(StringBuffer& out, std::string_view bytes) {
  out.appendN(bytes.data(), static_cast<unsigned int>(bytes.size()));
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
  StringBuffer out;
  out.m_secure = m_secure;
  std::string_view rest = text();
  for (int number = 1; !rest.empty(); ++number) {
    const std::size_t before = offsetIn(rest, findBytes(rest, kOpen));
    ::append(out, rest.substr(0, before));
    rest.remove_prefix(before);
    if (rest.empty()) break;
    const std::size_t run = runSize(rest);
    if (!addRun(runs, rest.substr(0, run))) {
      ::append(out, rest);
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
