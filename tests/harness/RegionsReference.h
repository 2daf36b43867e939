#ifndef DORVANE_TESTS_HARNESS_REGIONSREFERENCE_H
#define DORVANE_TESTS_HARNESS_REGIONSREFERENCE_H

#include <string>

#include "harness/ModelBuffer.h"
#include "harness/ReplaceReference.h"

// The members for delimited regions, one step after the other and without any care for speed.
namespace harness::reference {

// Position of the first marker at or behind `from`, or npos. An empty one is found at once.
inline std::size_t seek(const std::string& text, std::size_t from, const std::string& marker,
                        bool foldCase = false) {
  if (from > text.size()) return std::string::npos;
  return marker.empty() ? from : search(text, from, marker, foldCase);
}

inline bool getBetween(const ModelBuffer& buffer, const char* begin, const char* end,
                       ModelBuffer& out) {
  if (nothingToFind(begin) || nothingToFind(end)) return false;
  const std::string text = buffer.text();
  const std::size_t first = seek(text, 0, begin);
  if (first == std::string::npos) return false;
  const std::size_t from = first + std::string(begin).size();
  const std::size_t to = seek(text, from, end);
  if (to == std::string::npos) return false;
  out.append(text.substr(from, to - from));
  return true;
}

inline void getDelimited(const ModelBuffer& buffer, const char* begin, const char* end,
                         bool includeMarkers, ModelBuffer& out) {
  if (!includeMarkers) {
    getBetween(buffer, begin, end, out);
    return;
  }
  if (nothingToFind(begin) || nothingToFind(end)) return;
  const std::string text = buffer.text();
  const std::size_t first = seek(text, 0, begin);
  if (first == std::string::npos) return;
  const std::size_t last = seek(text, first + 1, end);
  if (last == std::string::npos) return;
  out.append(text.substr(first, last + std::string(end).size() - first));
}

// The text begins at `start`, which may lie behind a NUL.
inline bool copyUntil(const ModelBuffer& buffer, const char* marker, unsigned int start,
                      unsigned int& count, ModelBuffer& out) {
  count = 0;
  if (marker == nullptr || start >= buffer.bytes.size()) return false;
  const std::string text = buffer.bytes.substr(start).c_str();
  const std::size_t at = seek(text, 0, marker);
  if (at == std::string::npos) return false;
  count = static_cast<unsigned int>(at);
  out.append(text.substr(0, count));
  return true;
}

inline bool chopAtSubstr(ModelBuffer& buffer, const char* marker, bool keepMarker) {
  if (nothingToFind(marker)) return false;
  const std::size_t at = seek(buffer.text(), 0, marker);
  if (at == std::string::npos) return false;
  buffer.bytes.resize(keepMarker ? at + std::string(marker).size() : at);
  return true;
}

// Empties the buffer as clear() does and appends the output.
inline void refill(ModelBuffer& buffer, const ModelBuffer& output) {
  buffer = ModelBuffer();
  buffer.appendN(output.bytes);
}

inline bool replaceAllBetween(ModelBuffer& buffer, const char* begin, const char* end,
                              const char* replacement, bool dropMarkers) {
  if (begin == nullptr || end == nullptr || replacement == nullptr || buffer.bytes.empty())
    return false;
  const std::string text = buffer.text();
  const std::size_t first = seek(text, 0, begin);
  if (first == std::string::npos) return false;
  ModelBuffer output;
  output.append(text.substr(0, first));
  if (!dropMarkers) output.append(begin);
  const std::size_t last = seek(text, first + std::string(begin).size(), end);
  if (last == std::string::npos) return false;
  output.append(replacement);
  if (!dropMarkers) output.append(end);
  output.append(text.substr(last + std::string(end).size()));
  refill(buffer, output);
  return true;
}

inline unsigned int replaceInRegions(ModelBuffer& buffer, const std::string& begin,
                                     const std::string& end, const char* find,
                                     const char* replacement) {
  const std::string text = buffer.text();
  const std::size_t stored = buffer.bytes.size();
  std::size_t at = seek(text, 0, begin);
  if (at == std::string::npos) return 0;
  ModelBuffer output;
  output.append(text.substr(0, at));
  unsigned int count = 0;
  for (;;) {
    output.append(begin);
    std::size_t position = at + begin.size();
    const std::size_t last = position >= stored ? std::string::npos : seek(text, position, end);
    if (last == std::string::npos) {
      output.append(text.substr(position));
      break;
    }
    ModelBuffer region;
    region.append(text.substr(position, last - position));
    replaceAll(region, find, replacement);
    output.append(region.bytes);
    output.append(end);
    ++count;
    position = last + end.size();
    at = position >= stored ? std::string::npos : seek(text, position, begin);
    if (at == std::string::npos) {
      output.append(text.substr(position));
      break;
    }
    output.append(text.substr(position, at - position));
  }
  if (count != 0) refill(buffer, output);
  return count;
}

inline unsigned int replaceAllOccurancesBetween(ModelBuffer& buffer, const char* begin,
                                                const char* end, const char* find,
                                                const char* replacement) {
  if (begin == nullptr || end == nullptr || find == nullptr || replacement == nullptr) return 0;
  if (*begin == '\0' && *end == '\0') return 0;
  return replaceInRegions(buffer, begin, end, find, replacement);
}

inline bool removeDelimited(ModelBuffer& buffer, const char* begin, const char* end,
                            bool caseSensitive) {
  if (nothingToFind(begin) || nothingToFind(end)) return true;
  const std::string text = buffer.text();
  const bool fold = !caseSensitive;
  std::size_t first = seek(text, 0, begin, fold);
  std::size_t last = first == std::string::npos ? first : seek(text, first, end, fold);
  if (last == std::string::npos) return true;
  ModelBuffer output;
  std::size_t position = 0;
  while (last != std::string::npos) {
    output.append(text.substr(position, first - position));
    position = last + std::string(end).size();
    if (position == text.size()) break;
    first = seek(text, position, begin, fold);
    last = first == std::string::npos ? first : seek(text, first, end, fold);
    if (last == std::string::npos) output.append(text.substr(position));
  }
  buffer = output;
  return true;
}

}  // namespace harness::reference

#endif
