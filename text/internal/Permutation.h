#ifndef DORVANE_TEXT_INTERNAL_PERMUTATION_H
#define DORVANE_TEXT_INTERNAL_PERMUTATION_H

#include <string_view>

namespace dorvane::internal {

/// The swaps that scramble a text. They follow from the sum of its bytes and their number, which
/// scrambling leaves as they are; so the same swaps, in reverse order, undo it.
class Permutation {
 public:
  /// `bigEndian` tells in which order the bytes of the seed are digested: that of the host.
  Permutation(std::string_view bytes, bool bigEndian);
  Permutation(const Permutation&) = delete;
  Permutation& operator=(const Permutation&) = delete;
  ~Permutation();

  /// False when memory was exhausted.
  bool ok() const { return m_size < 2 || m_targets != nullptr; }

  /// Applied to as many bytes as it was made from.
  void scramble(char* bytes) const;
  void unscramble(char* bytes) const;

 private:
  void shuffle(const unsigned char* digest);

  unsigned int m_size;
  unsigned int* m_targets = nullptr;
};

}  // namespace dorvane::internal

#endif
