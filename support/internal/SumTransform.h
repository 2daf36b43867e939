#ifndef DORVANE_SUPPORT_INTERNAL_SUMTRANSFORM_H
#define DORVANE_SUPPORT_INTERNAL_SUMTRANSFORM_H

#include <cstddef>
#include <cstdint>

namespace dorvane::internal {

/// The integers modulo the prime 2^64 - 2^32 + 1, each below the prime. It has roots of unity for
/// transforms of up to 2^32 numbers, and 2^64 and 2^96 leave small remainders: 2^32 - 1 and -1.
struct PrimeField {
  static constexpr std::uint64_t kFold = 0xFFFFFFFF;
  static constexpr std::uint64_t kPrime = 0xFFFFFFFF00000001;
  static constexpr std::uint64_t kRoot = 7;  // its powers are all numbers but 0

  static std::uint64_t add(std::uint64_t a, std::uint64_t b) noexcept {
    return subtract(a, kPrime - b);
  }

  static std::uint64_t subtract(std::uint64_t a, std::uint64_t b) noexcept {
    return a - b + when(a < b, kPrime);
  }

  // By halves, for not every target has numbers of 128 bits.
  static std::uint64_t multiply(std::uint64_t a, std::uint64_t b) noexcept {
    const std::uint64_t lowLow = (a & kFold) * (b & kFold);
    const std::uint64_t lowHigh = (a & kFold) * (b >> 32U);
    const std::uint64_t highLow = (a >> 32U) * (b & kFold);
    const std::uint64_t middle = (lowLow >> 32U) + (lowHigh & kFold) + highLow;
    const std::uint64_t high = (a >> 32U) * (b >> 32U) + (lowHigh >> 32U) + (middle >> 32U);
    return reduce(high, (middle << 32U) | (lowLow & kFold));
  }

  static std::uint64_t power(std::uint64_t base, std::uint64_t exponent) noexcept {
    std::uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1U) {
      if ((exponent & 1U) != 0) result = multiply(result, base);
      base = multiply(base, base);
    }
    return result;
  }

 private:
  // No branches: what they depend on is as good as random.
  static std::uint64_t when(bool condition, std::uint64_t number) noexcept {
    return number & (std::uint64_t{0} - static_cast<std::uint64_t>(condition));
  }

  static std::uint64_t reduce(std::uint64_t high, std::uint64_t low) noexcept {
    std::uint64_t rest = low - (high >> 32U);
    rest -= when(low < high >> 32U, kFold);
    const std::uint64_t folded = (high & kFold) * kFold;
    rest += folded;
    rest += when(rest < folded, kFold);
    return rest - when(rest >= kPrime, kPrime);
  }
};

/// The number-theoretic transform: where two sequences of `size` numbers are transformed,
/// multiplied number by number and transformed back, their cyclic convolution comes out, each sum
/// `size` times. `size` is a power of two. The order of the transformed numbers is its own.
template <class Field>
class SumTransform {
 public:
  explicit SumTransform(std::size_t size) noexcept : m_size(size) {}

  void forward(std::uint64_t* numbers) const noexcept {
    for (std::size_t half = m_size / 2; half > 0; half /= 2)
      forEachPair(numbers, half, rootOf(2 * half), [](auto& a, auto& b, std::uint64_t factor) {
        const std::uint64_t difference = Field::subtract(a, b);
        a = Field::add(a, b);
        b = Field::multiply(difference, factor);
      });
  }

  void back(std::uint64_t* numbers) const noexcept {
    for (std::size_t half = 1; half < m_size; half *= 2)
      forEachPair(numbers, half, Field::power(rootOf(2 * half), Field::kPrime - 2),
                  [](auto& a, auto& b, std::uint64_t factor) {
                    const std::uint64_t product = Field::multiply(b, factor);
                    b = Field::subtract(a, product);
                    a = Field::add(a, product);
                  });
  }

 private:
  // Hands the pairs of numbers that are `half` apart, in blocks, with the powers of the root. The
  // powers of four pairs are made beside each other, for each has to wait for the one before.
  template <class Change>
  void forEachPair(std::uint64_t* numbers, std::size_t half, std::uint64_t root,
                   const Change& change) const noexcept {
    const std::size_t lanes = half < 4 ? half : 4;
    const std::uint64_t powers[4] = {1, root, Field::power(root, 2), Field::power(root, 3)};
    const std::uint64_t step = Field::power(root, lanes);
    for (std::uint64_t* block = numbers; block != numbers + m_size; block += 2 * half) {
      std::uint64_t factors[4] = {powers[0], powers[1], powers[2], powers[3]};
      for (std::size_t i = 0; i < half; i += lanes) {
        for (std::size_t k = 0; k < lanes; ++k) {
          change(block[i + k], block[i + k + half], factors[k]);
          factors[k] = Field::multiply(factors[k], step);
        }
      }
    }
  }

  static std::uint64_t rootOf(std::size_t order) noexcept {
    return Field::power(Field::kRoot, (Field::kPrime - 1) / order);
  }

  std::size_t m_size;
};

}  // namespace dorvane::internal

#endif
