#include "support/dvString.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "support/internal/Ascii.h"
#include "support/internal/Search.h"

using dorvane::internal::asciiLower;
using dorvane::internal::findBytes;
using dorvane::internal::findBytesNoCase;

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
class Wildcard {
 public:
  explicit Wildcard(bool caseSensitive) noexcept : m_caseSensitive(caseSensitive) {}

  bool matches(std::string_view text, std::string_view pattern) const noexcept {
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
  bool holdsInOrder(std::string_view text, std::string_view pieces) const noexcept {
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

  std::size_t find(std::string_view text, std::string_view piece) const noexcept {
    if (piece.find('?') != std::string_view::npos) return findWithMarks(text, piece);
    const char* hit = m_caseSensitive ? findBytes(text, piece) : findBytesNoCase(text, piece);
    return hit == nullptr ? std::string_view::npos : static_cast<std::size_t>(hit - text.data());
  }

  std::size_t findWithMarks(std::string_view text, std::string_view piece) const noexcept {
    for (std::size_t at = 0; at + piece.size() <= text.size(); ++at)
      if (fits(text.substr(at), piece)) return at;
    return std::string_view::npos;
  }

  // True when a text that is no shorter than the piece begins with it.
  bool fits(std::string_view text, std::string_view piece) const noexcept {
    return std::equal(piece.begin(), piece.end(), text.begin(), [this](char p, char t) {
      return p == '?' || p == t || (!m_caseSensitive && lower(p) == lower(t));
    });
  }

  bool m_caseSensitive;
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
  return Wildcard(caseSensitive).matches(orEmpty(text), orEmpty(pattern));
}

void dvReverseString(char* text, int n) noexcept {
  if (text != nullptr && n > 0) std::reverse(text, text + n);
}
