#include "text/internal/Permutation.h"

#include <cstdint>
#include <numeric>
#include <utility>

#include "support/_dvMd5.h"
#include "support/dvMemory.h"

namespace dorvane::internal {
namespace {

constexpr unsigned int kDigestSize = 16;

std::uint64_t sumOf(std::string_view bytes) {
  return std::accumulate(
      bytes.begin(), bytes.end(), std::uint64_t{0},
      [](std::uint64_t sum, char c) { return sum + static_cast<unsigned char>(c); });
}

void digestSeed(std::uint64_t seed, bool bigEndian, unsigned char* digest) {
  unsigned char bytes[8];
  for (unsigned int i = 0; i < 8; ++i)
    bytes[bigEndian ? 7 - i : i] = static_cast<unsigned char>(seed >> (8 * i));
  _dvMd5().digestBytes(bytes, sizeof bytes, digest);
}

}  // namespace

Permutation::Permutation(std::string_view bytes, bool bigEndian)
    : m_size(static_cast<unsigned int>(bytes.size())) {
  if (m_size < 2) return;
  m_targets = dvNewUint32(m_size);
  if (m_targets == nullptr) return;
  unsigned char digest[kDigestSize];
  digestSeed(sumOf(bytes) * m_size, bigEndian, digest);
  shuffle(digest);
}

Permutation::~Permutation() {
  if (m_targets == nullptr) return;
  dvSecureZero(m_targets, std::size_t{m_size} * sizeof *m_targets);
  delete[] m_targets;
}

void Permutation::shuffle(const unsigned char* digest) {
  std::iota(m_targets, m_targets + m_size, 0U);
  unsigned int j = 0;
  for (unsigned int i = 0; i < m_size; ++i) {
    // Unsigned 32-bit arithmetic on purpose: the scrambled form of a huge text depends on it.
    j += m_targets[i] + digest[i % kDigestSize];
    if (j >= m_size) j -= m_size;
    if (j >= m_size) j %= m_size;
    std::swap(m_targets[i], m_targets[j]);
  }
}

void Permutation::scramble(char* bytes) const {
  if (m_targets == nullptr) return;
  for (unsigned int i = 0; i < m_size; ++i) std::swap(bytes[i], bytes[m_targets[i]]);
}

void Permutation::unscramble(char* bytes) const {
  if (m_targets == nullptr) return;
  for (unsigned int i = m_size; i-- > 0;) std::swap(bytes[i], bytes[m_targets[i]]);
}

}  // namespace dorvane::internal
