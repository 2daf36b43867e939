#include "bench/harness.h"

#include <algorithm>
#include <random>

namespace bench {
namespace {

// Uniform enough, and the same with every standard library (the distributions are not).
class Dice {
 public:
  std::size_t between(std::size_t low, std::size_t high) {
    return low + m_generator() % (high - low + 1);
  }

 private:
  std::mt19937 m_generator{20260101};
};

}  // namespace

std::vector<std::string>& failures() {
  static std::vector<std::string> names;
  return names;
}

std::string words(std::size_t size) {
  Dice dice;
  std::string text;
  while (text.size() < size) {
    for (std::size_t n = dice.between(2, 9); n > 0; --n)
      text.push_back(static_cast<char>('a' + dice.between(0, 25)));
    text.push_back(' ');
  }
  text.resize(size);
  return text;
}

std::string wordsWithMarks(std::size_t size, std::size_t distance,
                           const std::vector<std::string>& marks) {
  Dice dice;
  std::string text = words(size);
  std::size_t turn = 0;
  for (std::size_t at = std::min(size, distance) / 2;;) {
    const std::string& mark = marks[turn++ % marks.size()];
    if (at + mark.size() > size) return text;
    text.replace(at, mark.size(), mark);
    at += mark.size() + dice.between(distance / 2, distance + distance / 2);
  }
}

}  // namespace bench
