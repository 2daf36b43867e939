#include "harness/BufferState.h"

#include <ostream>
#include <random>

namespace harness {

BufferState stateOf(StringBuffer& buffer) {
  return {bytesOf(buffer), buffer.heapUsage(), buffer.getExtendSize(), !buffer.isNonTerminated(),
          buffer.isValidObject()};
}

bool operator==(const BufferState& a, const BufferState& b) {
  return a.content == b.content && a.heapUsage == b.heapUsage && a.extendSize == b.extendSize &&
         a.terminated == b.terminated && a.valid == b.valid;
}

std::ostream& operator<<(std::ostream& out, const BufferState& state) {
  return out << "{length " << state.content.size() << ", heap " << state.heapUsage << ", extend "
             << state.extendSize << ", content "
             << testing::PrintToString(state.content.substr(0, 200)) << "}";
}

std::string bytesOf(const StringBuffer& buffer) { return {buffer.getString(), buffer.getSize()}; }

testing::AssertionResult invariantsHold(StringBuffer& buffer) {
  if (!buffer.isValidObject()) return testing::AssertionFailure() << "not a valid object";
  if (buffer.getString() == nullptr) return testing::AssertionFailure() << "null content";
  const auto* object = reinterpret_cast<const char*>(&buffer);
  const char* data = buffer.getString();
  const bool inside = data >= object && data < object + sizeof(StringBuffer);
  if (inside != (buffer.heapUsage() == 0))
    return testing::AssertionFailure() << "storage and heap usage disagree";
  if (inside && buffer.getSize() > 81)
    return testing::AssertionFailure() << buffer.getSize() << " bytes inline";
  if (!inside && buffer.getSize() >= buffer.heapUsage())
    return testing::AssertionFailure()
           << buffer.getSize() << " bytes in a block of " << buffer.heapUsage();
  if (buffer.isNonTerminated() || data[buffer.getSize()] != '\0')
    return testing::AssertionFailure() << "no terminator";
  return testing::AssertionSuccess();
}

testing::AssertionResult holds(StringBuffer& buffer, std::string_view content) {
  const testing::AssertionResult sound = invariantsHold(buffer);
  if (!sound) return sound;
  if (bytesOf(buffer) != content)
    return testing::AssertionFailure()
           << "holds " << testing::PrintToString(bytesOf(buffer).substr(0, 300)) << " ("
           << buffer.getSize() << " bytes) instead of "
           << testing::PrintToString(std::string(content.substr(0, 300))) << " (" << content.size()
           << " bytes)";
  return testing::AssertionSuccess();
}

testing::AssertionResult holds(StringBuffer& buffer, std::string_view content,
                               unsigned int heapUsage, unsigned int extendSize) {
  const testing::AssertionResult same = holds(buffer, content);
  if (!same) return same;
  if (buffer.heapUsage() != heapUsage || buffer.getExtendSize() != extendSize)
    return testing::AssertionFailure()
           << "heap " << buffer.heapUsage() << ", extend " << buffer.getExtendSize()
           << " instead of " << heapUsage << ", " << extendSize;
  return testing::AssertionSuccess();
}

void GrowthModel::append(unsigned int n) {
  const unsigned int total = length + n;
  if (capacity == 0 && total > 81) {
    capacity = total + extendSize + 1;
  } else if (capacity != 0 && total >= capacity) {
    capacity = total + extendSize + 1;
    if (extendSize <= 499999 && extendSize < capacity)
      extendSize = capacity > 1000001 ? 500000 : capacity / 2;
  }
  length = total;
}

std::string randomText(unsigned long long seed, std::size_t length, std::string_view alphabet) {
  std::mt19937_64 random(seed);
  std::string text(length, '\0');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

std::vector<std::string> allStrings(std::string_view alphabet, std::size_t maxLength) {
  std::vector<std::string> all{""};
  std::size_t first = 0;
  for (std::size_t length = 1; length <= maxLength; ++length) {
    const std::size_t end = all.size();
    for (std::size_t i = first; i < end; ++i)
      for (char c : alphabet) all.push_back(all[i] + c);
    first = end;
  }
  return all;
}

}  // namespace harness
