#include "steps/CountedSearch.h"

#include <algorithm>
#include <string_view>

#include "support/internal/Ascii.h"
#include "support/internal/Search.h"

namespace {

unsigned long long searched = 0;

template <class Equal>
const char* find(std::string_view hay, std::string_view needle, const Equal& equal) {
  const auto* const match =
      std::search(hay.data(), hay.data() + hay.size(), needle.begin(), needle.end(), equal);
  searched += static_cast<unsigned long long>(match - hay.data()) + needle.size();
  return match == hay.data() + hay.size() && !needle.empty() ? nullptr : match;
}

unsigned char lower(char c) { return dorvane::internal::asciiLower(static_cast<unsigned char>(c)); }

}  // namespace

namespace dorvane::internal {

const char* findBytes(std::string_view hay, std::string_view needle) noexcept {
  return find(hay, needle, [](char a, char b) { return a == b; });
}

const char* findBytesNoCase(std::string_view hay, std::string_view needle) noexcept {
  return find(hay, needle, [](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace dorvane::internal

namespace steps {

unsigned long long bytesSearchedBy(const std::function<void()>& body) {
  searched = 0;
  body();
  return searched;
}

}  // namespace steps
