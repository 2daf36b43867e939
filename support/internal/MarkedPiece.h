#ifndef DORVANE_SUPPORT_INTERNAL_MARKEDPIECE_H
#define DORVANE_SUPPORT_INTERNAL_MARKEDPIECE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include "support/dvMemory.h"
#include "support/internal/SumTransform.h"
#include "support/internal/TwoWay.h"

namespace dorvane::internal {

/// For each of some neighbouring positions in a text, the sum of the squared differences between
/// the bytes of a piece, without its marks, and those of the text: 0 exactly where the piece
/// matches (P. Clifford and R. Clifford, "Simple deterministic wildcard matching", 2007). The
/// squares are multiplied out, (a - b)^2 = a^2 - 2ab + b^2, so that the sums of all positions are
/// two convolutions. Every sum stays below the prime.
template <class Rule, class Field>
class DifferenceSums {
 public:
  /// For pieces that are added in parts of at most `partSize` bytes, which is not 0.
  explicit DifferenceSums(std::size_t partSize) noexcept : m_partSize(partSize) {
    while (m_size < 2 * partSize) m_size *= 2;
    m_numbers.reset(new (std::nothrow) std::uint64_t[kArrays * m_size]);
  }
  DifferenceSums(const DifferenceSums&) = delete;
  DifferenceSums& operator=(const DifferenceSums&) = delete;
  /// The numbers would give a secret away.
  ~DifferenceSums() {
    if (ok()) dvSecureZero(m_numbers.get(), kArrays * m_size * sizeof(std::uint64_t));
  }

  /// False when memory was exhausted.
  bool ok() const noexcept { return m_numbers != nullptr; }

  /// How many positions are summed up at once.
  std::size_t positions() const noexcept { return m_size - m_partSize + 1; }

  void clear() noexcept {
    std::fill_n(sums(), m_size, 0);
    m_squares = 0;
  }

  /// Adds a part of the piece; `text` begins where the part does at the first position.
  void addPart(std::string_view part, std::string_view text) noexcept {
    text = text.substr(0, m_size);
    for (const char c : part) m_squares += isMark(c) ? 0 : square(c);
    addProducts(
        part, text, [](char c) { return isMark(c) ? 0 : Field::kPrime - 2 * value(c); }, value);
    addProducts(
        part, text, [](char c) { return std::uint64_t{isMark(c) ? 0U : 1U}; }, square);
  }

  /// The first of `n` positions whose sum is 0, or n. Nothing is added any more before clear().
  std::size_t firstZero(std::size_t n) noexcept {
    transform().back(sums());
    // Every sum is there m_size times.
    const std::uint64_t zero = Field::multiply(Field::subtract(0, m_squares), m_size);
    const std::uint64_t* const first = sums() + m_partSize - 1;
    return static_cast<std::size_t>(std::find(first, first + n, zero) - first);
  }

 private:
  static constexpr std::size_t kArrays = 3;

  static bool isMark(char c) noexcept { return c == '?'; }
  static std::uint64_t value(char c) noexcept { return folded<Rule>(c); }
  static std::uint64_t square(char c) noexcept { return value(c) * value(c); }

  SumTransform<Field> transform() const noexcept { return SumTransform<Field>(m_size); }

  std::uint64_t* sums() noexcept { return m_numbers.get(); }

  // Adds the sums of the products of what two rules make of the bytes. Backwards, as a convolution
  // takes it, the part ends at the same place whatever its size is.
  template <class OfPart, class OfText>
  void addProducts(std::string_view part, std::string_view text, const OfPart& ofPart,
                   const OfText& ofText) noexcept {
    std::uint64_t* const a = sums() + m_size;
    std::uint64_t* const b = a + m_size;
    std::fill_n(a, 2 * m_size, 0);
    for (std::size_t i = 0; i < part.size(); ++i) a[m_partSize - 1 - i] = ofPart(part[i]);
    std::transform(text.begin(), text.end(), b, ofText);
    transform().forward(a);
    transform().forward(b);
    for (std::size_t i = 0; i < m_size; ++i)
      sums()[i] = Field::add(sums()[i], Field::multiply(a[i], b[i]));
  }

  std::size_t m_partSize;
  std::size_t m_size = 2;
  std::unique_ptr<std::uint64_t[]> m_numbers;
  std::uint64_t m_squares = 0;
};

/// A piece of a pattern in which "?" stands for any byte; it is not empty. No search that skips by
/// what it has seen knows such marks, and trying every position costs the product of the lengths.
/// So a long piece that nearly fits again and again is searched with sums of differences: some
/// hundred steps for a byte of the text, and at most 12 MiB. A piece of more than 256 KiB is added
/// in parts of that size, so that its search takes these steps once for each part.
template <class Rule, class Field = PrimeField, std::size_t kLongestPart = std::size_t{1} << 18U>
class MarkedPiece {
 public:
  static constexpr std::size_t kNone = std::string_view::npos;
  /// Below this size trying every position costs less.
  static constexpr std::size_t kShort = 512;

  explicit MarkedPiece(std::string_view piece) noexcept : m_piece(piece) {}

  /// True when a text that is no shorter begins with the piece.
  bool fits(std::string_view text) const noexcept {
    return fittingBytes(text.data()) == m_piece.size();
  }

  /// The first place of the piece, or kNone.
  std::size_t find(std::string_view text) const noexcept {
    constexpr std::size_t kFreeComparisons = 1U << 16U;
    bool maySum = m_piece.size() >= kShort;
    std::size_t compared = 0;
    for (std::size_t at = 0; at + m_piece.size() <= text.size(); ++at) {
      const std::size_t fitting = fittingBytes(text.data() + at);
      if (fitting == m_piece.size()) return at;
      compared += fitting;
      if (!maySum || compared <= kFreeComparisons + 16 * at) continue;
      std::size_t found = kNone;
      if (findBySums(text.substr(at + 1), found)) return found == kNone ? kNone : at + 1 + found;
      maySum = false;  // exhausted memory costs time only
    }
    return kNone;
  }

  /// Stores the first place, or kNone; false when memory is exhausted.
  bool findBySums(std::string_view text, std::size_t& found) const noexcept {
    DifferenceSums<Rule, Field> sums(std::min(m_piece.size(), kLongestPart));
    if (!sums.ok()) return false;
    found = kNone;
    for (std::size_t at = 0; at + m_piece.size() <= text.size(); at += sums.positions()) {
      sums.clear();
      for (std::size_t i = 0; i < m_piece.size(); i += kLongestPart)
        sums.addPart(m_piece.substr(i, kLongestPart), text.substr(at + i));
      const std::size_t n = std::min(sums.positions(), text.size() - m_piece.size() - at + 1);
      const std::size_t zero = sums.firstZero(n);
      if (zero == n) continue;
      found = at + zero;
      break;
    }
    return true;
  }

 private:
  std::size_t fittingBytes(const char* text) const noexcept {
    std::size_t i = 0;
    while (i < m_piece.size() &&
           (m_piece[i] == '?' || folded<Rule>(m_piece[i]) == folded<Rule>(text[i])))
      ++i;
    return i;
  }

  std::string_view m_piece;
};

}  // namespace dorvane::internal

#endif
