#include "support/_dvMd5.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "support/dvMemory.h"

// The words and their order are those of RFC 1321, section 3.4; they are put together byte by
// byte, so that the order of bytes in the host's own words does not matter.

namespace {

constexpr unsigned int kBlock = 64;
constexpr unsigned int kLengthAt = 56;  // where the last block holds the length of the message

std::uint32_t load(const unsigned char* p) noexcept {
  return p[0] | std::uint32_t{p[1]} << 8U | std::uint32_t{p[2]} << 16U | std::uint32_t{p[3]} << 24U;
}

void store(std::uint32_t word, unsigned char* p) noexcept {
  for (int i = 0; i < 4; ++i, word >>= 8U) p[i] = static_cast<unsigned char>(word);
}

// floor(2^32 * abs(sin(i + 1)))
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

// The four rounds: the function that mixes three words, the order in which the words of the block
// are taken, and the rotations of four consecutive steps.
struct RoundF {
  static constexpr unsigned int kFirstSine = 0, kStart = 0, kStride = 1;
  static constexpr unsigned int kRotations[4] = {7, 12, 17, 22};
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
    return d ^ (b & (c ^ d));
  }
};

struct RoundG {
  static constexpr unsigned int kFirstSine = 16, kStart = 1, kStride = 5;
  static constexpr unsigned int kRotations[4] = {5, 9, 14, 20};
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
    return (b & d) + (c & ~d);
  }
};

struct RoundH {
  static constexpr unsigned int kFirstSine = 32, kStart = 5, kStride = 3;
  static constexpr unsigned int kRotations[4] = {4, 11, 16, 23};
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
    return b ^ c ^ d;
  }
};

struct RoundI {
  static constexpr unsigned int kFirstSine = 48, kStart = 0, kStride = 7;
  static constexpr unsigned int kRotations[4] = {6, 10, 15, 21};
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
    return c ^ (b | ~d);
  }
};

struct State {
  std::uint32_t a = 0x67452301;
  std::uint32_t b = 0xefcdab89;
  std::uint32_t c = 0x98badcfe;
  std::uint32_t d = 0x10325476;

  void addBlock(const unsigned char* block) noexcept {
    const State before = *this;
    run<RoundF>(block);
    run<RoundG>(block);
    run<RoundH>(block);
    run<RoundI>(block);
    a += before.a;
    b += before.b;
    c += before.c;
    d += before.d;
  }

 private:
  template <class Round>
  void run(const unsigned char* block) noexcept {
    fourSteps<Round, 0>(block);
    fourSteps<Round, 4>(block);
    fourSteps<Round, 8>(block);
    fourSteps<Round, 12>(block);
  }

  template <class Round, unsigned int kStep>
  void fourSteps(const unsigned char* block) noexcept {
    step<Round, kStep>(a, b, c, d, block);
    step<Round, kStep + 1>(d, a, b, c, block);
    step<Round, kStep + 2>(c, d, a, b, block);
    step<Round, kStep + 3>(b, c, d, a, block);
  }

  template <class Round, unsigned int kStep>
  static void step(std::uint32_t& w, std::uint32_t x, std::uint32_t y, std::uint32_t z,
                   const unsigned char* block) noexcept {
    constexpr std::size_t kWord = (Round::kStart + Round::kStride * kStep) % 16;
    constexpr unsigned int kBits = Round::kRotations[kStep % 4];
    const std::uint32_t sum =
        w + load(block + 4 * kWord) + kSines[Round::kFirstSine + kStep] + Round::mix(x, y, z);
    w = x + ((sum << kBits) | (sum >> (32U - kBits)));
  }
};

// The end of the message: its last bytes, a 1 bit, 0 bits and the length in bits.
class Tail {
 public:
  Tail(const unsigned char* bytes, unsigned int n, std::uint64_t messageBytes) noexcept
      : m_size(n < kLengthAt ? kBlock : 2 * kBlock) {
    if (n != 0) std::memcpy(m_bytes, bytes, n);
    m_bytes[n] = 0x80;
    const std::uint64_t bits = messageBytes * 8;
    store(static_cast<std::uint32_t>(bits), m_bytes + m_size - 8);
    store(static_cast<std::uint32_t>(bits >> 32U), m_bytes + m_size - 4);
  }
  ~Tail() { dvSecureZero(m_bytes, sizeof(m_bytes)); }
  Tail(const Tail&) = delete;
  Tail& operator=(const Tail&) = delete;

  void addTo(State& state) const noexcept {
    state.addBlock(m_bytes);
    if (m_size > kBlock) state.addBlock(m_bytes + kBlock);
  }

 private:
  unsigned int m_size;
  unsigned char m_bytes[2 * kBlock] = {};
};

}  // namespace

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): used through an object
void _dvMd5::digestBytes(const unsigned char* data, unsigned int n,
                         unsigned char* digest16) noexcept {
  const unsigned int size = data == nullptr ? 0 : n;
  const unsigned int whole = size - size % kBlock;
  State state;
  for (unsigned int at = 0; at < whole; at += kBlock) state.addBlock(data + at);
  Tail(data + whole, size - whole, size).addTo(state);
  store(state.a, digest16);
  store(state.b, digest16 + 4);
  store(state.c, digest16 + 8);
  store(state.d, digest16 + 12);
  dvSecureZero(&state, sizeof(state));
}
