#include "support/dvString.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "support/internal/Ascii.h"
#include "support/internal/MarkedPiece.h"
#include "support/internal/Search.h"
#include "support/internal/TwoWay.h"

using dorvane::internal::asciiLower;
using dorvane::internal::Exact;
using dorvane::internal::findBytes;
using dorvane::internal::findBytesNoCase;
using dorvane::internal::MarkedPiece;
using dorvane::internal::NoCase;

namespace {

const char* orEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

unsigned char lower(char c) noexcept { return asciiLower(static_cast<unsigned char>(c)); }

using Finder = const char*(std::string_view hay, std::string_view needle) noexcept;

// Searches in windows that double in size, so that a near match in a long text costs little: the
// text is never measured as a whole.
const char* findInText(const char* hay, std::string_view needle, Finder* find) noexcept {
  if (hay == nullptr) return nullptr;
  constexpr std::size_t kFirstWindow = 256;
  for (std::size_t window = kFirstWindow + needle.size();; window *= 2) {
    const void* nul = std::memchr(hay, '\0', window);
    const std::size_t size =
        nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - hay) : window;
    const char* hit = find({hay, size}, needle);
    if (hit != nullptr || nul != nullptr) return hit;
    hay += size - needle.size() + 1;
  }
}

// The rules of wildcardMatch(): the pattern is cut at its stars. The first piece is tied to the
// start of the text, the last one to its end, and those between are found one after the other,
// each at its first place: a later place could only leave less text for the rest.
template <class Rule>
class Wildcard {
 public:
  static bool matches(std::string_view text, std::string_view pattern) noexcept {
    const std::size_t firstStar = pattern.find('*');
    if (firstStar == std::string_view::npos)
      return text.size() == pattern.size() && fits(text, pattern);
    const std::size_t lastStar = pattern.rfind('*');
    const std::string_view head = pattern.substr(0, firstStar);
    const std::string_view tail = pattern.substr(lastStar + 1);
    if (text.size() < head.size() + tail.size()) return false;
    if (!fits(text, head) || !fits(text.substr(text.size() - tail.size()), tail)) return false;
    text = text.substr(head.size(), text.size() - head.size() - tail.size());
    return holdsInOrder(text, pattern.substr(firstStar, lastStar - firstStar));
  }

 private:
  // True when the pieces, each with a star before it, occur in the text one behind the other.
  static bool holdsInOrder(std::string_view text, std::string_view pieces) noexcept {
    while (!pieces.empty()) {
      pieces.remove_prefix(1);
      const std::string_view piece = pieces.substr(0, pieces.find('*'));
      pieces.remove_prefix(piece.size());
      const std::size_t at = find(text, piece);
      if (at == std::string_view::npos) return false;
      text.remove_prefix(at + piece.size());
    }
    return true;
  }

  static std::size_t find(std::string_view text, std::string_view piece) noexcept {
    if (piece.find('?') != std::string_view::npos) return MarkedPiece<Rule>(piece).find(text);
    constexpr bool kExact = std::is_same_v<Rule, Exact>;
    const char* const hit = kExact ? findBytes(text, piece) : findBytesNoCase(text, piece);
    return hit == nullptr ? std::string_view::npos : static_cast<std::size_t>(hit - text.data());
  }

  // True when a text that is no shorter than the piece begins with it.
  static bool fits(std::string_view text, std::string_view piece) noexcept {
    return MarkedPiece<Rule>(piece).fits(text);
  }
};

}  // namespace

unsigned int dvStrLen(const char* text) noexcept {
  return static_cast<unsigned int>(std::min<std::uint64_t>(std::strlen(orEmpty(text)), UINT32_MAX));
}

void dvStrCpy(char* destination, const char* source) noexcept {
  source = orEmpty(source);
  std::memmove(destination, source, std::strlen(source) + 1);
}

void dvStrNCpy(char* destination, const char* source, unsigned int n) noexcept {
  if (n == 0) return;
  source = orEmpty(source);
  const void* nul = std::memchr(source, '\0', n);
  const std::size_t size =
      nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - source) + 1 : n;
  std::memmove(destination, source, size);
}

int dvStrCmp(const char* a, const char* b) noexcept { return std::strcmp(orEmpty(a), orEmpty(b)); }

int dvStrICmp(const char* a, const char* b) noexcept {
  a = orEmpty(a);
  b = orEmpty(b);
  while (*a != '\0' && lower(*a) == lower(*b)) {
    ++a;
    ++b;
  }
  return lower(*a) - lower(*b);
}

const char* dvStrChr(const char* text, int c) noexcept { return std::strchr(orEmpty(text), c); }

const char* dvStrrChr(const char* text, int c) noexcept { return std::strrchr(orEmpty(text), c); }

const char* dvStrStr(const char* hay, const char* needle) noexcept {
  return findInText(hay, orEmpty(needle), findBytes);
}

const char* stristr(const char* hay, const char* needle) noexcept {
  return findInText(hay, orEmpty(needle), findBytesNoCase);
}

bool wildcardMatch(const char* text, const char* pattern, bool caseSensitive) noexcept {
  const auto matches = caseSensitive ? Wildcard<Exact>::matches : Wildcard<NoCase>::matches;
  return matches(orEmpty(text), orEmpty(pattern));
}

void dvReverseString(char* text, int n) noexcept {
  if (text != nullptr && n > 0) std::reverse(text, text + n);
}
