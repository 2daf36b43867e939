#include "support/ParseEngine.h"

#include <cstdint>
#include <cstring>

#include "core/StringBuffer.h"
#include "support/internal/NewArray.h"
#include "support/internal/Search.h"

using dorvane::internal::findBytes;
using dorvane::internal::newArray;

namespace {

const char* findMarker(std::string_view text, std::string_view marker) noexcept {
  return marker.empty() ? nullptr : findBytes(text, marker);
}

std::string_view orEmpty(const char* text) noexcept {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

}  // namespace

bool ParseEngine::setString(const char* text) {
  constexpr std::uint64_t kLongest = 0xFFFFFFFEU;
  const std::string_view source = orEmpty(text);
  std::unique_ptr<char[]> copy;
  if (source.size() <= kLongest) copy.reset(newArray<char>(std::uint64_t{source.size()} + 1));
  const bool done = copy != nullptr;
  if (done) {
    source.copy(copy.get(), source.size());
    copy[source.size()] = '\0';
  }
  m_size = done ? static_cast<unsigned int>(source.size()) : 0;
  m_position = 0;
  m_text = std::move(copy);
  return done;
}

bool ParseEngine::captureToNext(const char* marker, StringBuffer& out) {
  const char* const hit = findMarker(rest(), orEmpty(marker));
  if (hit == nullptr) return false;
  moveAndCopy(static_cast<std::size_t>(hit - getRest()), out);
  return true;
}

bool ParseEngine::seekAndCopy(const char* marker, StringBuffer& out) {
  const std::string_view wanted = orEmpty(marker);
  const char* const hit = findMarker(rest(), wanted);
  const std::size_t n =
      hit == nullptr ? rest().size() : static_cast<std::size_t>(hit - getRest()) + wanted.size();
  return moveAndCopy(n, out);
}

bool ParseEngine::moveAndCopy(std::size_t n, StringBuffer& out) {
  const char* const piece = getRest();
  const auto size = static_cast<unsigned int>(n);
  m_position += size;
  return out.appendN(piece, size);
}
