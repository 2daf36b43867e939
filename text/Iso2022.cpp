// Lifts the two-byte runs of ISO-2022-JP text (RFC 1468) out of a text and puts them back. Tested
// in tests/text/Iso2022Test.cpp.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "core/internal/Scratch.h"
#include "support/ExtPtrArray.h"
#include "support/internal/Search.h"
#include "text/internal/Pieces.h"
#include "text/internal/PlaceholderIndex.h"
#include "text/internal/SavedTail.h"
#include "text/internal/Texts.h"

using dorvane::internal::appendTo;
using dorvane::internal::BufferAccess;
using dorvane::internal::findBytes;
using dorvane::internal::PieceList;
using dorvane::internal::PlaceholderIndex;
using dorvane::internal::SavedTail;
using dorvane::internal::Scratch;
using Put = PlaceholderIndex::Put;

namespace {

// JIS X 0208 begins, and ASCII again.
constexpr std::string_view kOpen = "\x1B$B";
constexpr std::string_view kClose = "\x1B(B";

std::size_t offsetIn(std::string_view text, const char* match) {
  return match == nullptr ? text.size() : static_cast<std::size_t>(match - text.data());
}

// Size of the run at the start of `text`: through the closing escape, or all of it.
std::size_t runSize(std::string_view text) {
  const char* const close = findBytes(text, kClose);
  return close == nullptr ? text.size() : offsetIn(text, close) + kClose.size();
}

// The longest that the result is when it stops at some run, which then stays with what is behind
// it.
std::uint64_t longestResult(std::string_view text) {
  std::uint64_t size = text.size();
  std::uint64_t longest = size;
  unsigned int number = 0;
  while (const char* const open = findBytes(text, kOpen)) {
    text.remove_prefix(offsetIn(text, open));
    const std::size_t run = runSize(text);
    text.remove_prefix(run);
    size = size - run + PlaceholderIndex::sizeOf(++number);
    longest = std::max(longest, size);
  }
  return longest;
}

bool addRun(PieceList& runs, std::string_view bytes) {
  StringBuffer* const run = runs.make(bytes);
  if (run == nullptr) return false;
  if (!PieceList::isShort(bytes) && !appendTo(*run, bytes)) {
    StringBuffer::deleteSb(run);
    return false;
  }
  return runs.add(run);
}

// The elements are buffers; only they are cast, for the array may be of another class.
const StringBuffer* runAt(const ExtPtrArray& runs, int index) {
  return static_cast<const StringBuffer*>(runs.elementAt(index));
}

// The placeholder of the run at an index; it needs no memory from the heap.
StringBuffer placeholderAt(int index) {
  StringBuffer placeholder(PlaceholderIndex::kMarker);
  placeholder.append(index + 1);
  return placeholder;
}

bool hasPlaceholder(std::string_view text, int index) {
  const StringBuffer placeholder = placeholderAt(index);
  return findBytes(text, BufferAccess(placeholder).content()) != nullptr;
}

// Puts the runs from `next` on in place of their placeholders, all at once; `next` becomes the
// first that the storage is too small for, or that makes new placeholders, or their number. False
// if memory is exhausted.
bool restoreInPlace(StringBuffer& buffer, const ExtPtrArray& runs, int& next) {
  const BufferAccess access(buffer);
  const StringBuffer* run = runAt(runs, next);
  // A run that has a place and would be refused needs no index.
  if (run != nullptr && !PlaceholderIndex::isSealed(BufferAccess(*run).text()) &&
      hasPlaceholder(access.text(), next))
    return true;
  const SavedTail before(access.text(), buffer);
  if (!before.ok()) return false;
  const int count = runs.getSize();
  PlaceholderIndex index({before.data(), before.size()}, static_cast<unsigned int>(next) + 1,
                         static_cast<unsigned int>(count));
  if (!index.ok()) return false;

  const std::string_view behind = access.content().substr(before.size());
  // The first replacement drops the NULs at the end, which still count when it looks for room.
  const bool dropsNuls = !behind.empty() && behind.back() == '\0';
  const std::size_t room = dropsNuls ? 0 : access.longestWithoutGrowth() + 1 - behind.size();
  Put put = Put::kDone;
  for (; next < count; ++next) {
    run = runAt(runs, next);
    const auto number = static_cast<unsigned int>(next) + 1;
    if (run == nullptr)
      index.skip(number);
    else
      put =
          index.put(number, run == &buffer ? std::string_view() : BufferAccess(*run).text(), room);
    if (put != Put::kDone) break;
  }
  if (index.isChanged()) {
    std::memmove(access.data() + index.size(), behind.data(), behind.size());
    index.write(access.data());
    access.terminateAt(index.size() + behind.size());
  }
  return put != Put::kNoMemory;
}

}  // namespace

void StringBuffer::iso2022Replace(ExtPtrArray& runs) {
  std::string_view rest = BufferAccess(*this).text();
  PieceList list(runs, rest, BufferAccess(*this).isSecure());
  Scratch result(*this);
  const BufferAccess out(result);
  // With room for every placeholder no text is lost when memory is exhausted later.
  if (!out.makeRoom(longestResult(rest))) return;
  for (int number = 1; !rest.empty(); ++number) {
    const std::size_t before = offsetIn(rest, findBytes(rest, kOpen));
    out.append(rest.substr(0, before));
    rest.remove_prefix(before);
    if (rest.empty()) break;
    const std::size_t run = runSize(rest);
    if (!addRun(list, rest.substr(0, run))) {
      out.append(rest);
      break;
    }
    result.append(PlaceholderIndex::kMarker);
    result.append(number);
    rest.remove_prefix(run);
  }
  BufferAccess(*this).replaceKeepingBlock(out.content());
}

void StringBuffer::iso2022Restore(ExtPtrArray& runs) {
  if (findBytes(BufferAccess(*this).text(), PlaceholderIndex::kMarker) == nullptr) return;
  bool hasMemory = true;
  for (int i = 0; i < runs.getSize(); ++i) {
    if (hasMemory) hasMemory = restoreInPlace(*this, runs, i);
    // What cannot be done in place: the buffer grows, or the run makes new placeholders.
    if (const StringBuffer* const run = runAt(runs, i))
      BufferAccess(*run).withTerminatedText([&](const char* bytes) {
        return replaceFirstOccurance(placeholderAt(i).getString(), bytes);
      });
  }
}
