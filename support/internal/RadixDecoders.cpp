// Base64, base32 and hexadecimal: each symbol stands for a number of bits, and a group of symbols
// for whole bytes. Groups without a break are decoded in one loop, the rest symbol by symbol.
// Tested in tests/support/ContentCodingTest.cpp and tests/support/ClsEncodeTest.cpp.

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>

#include "support/internal/Ascii.h"
#include "support/internal/BinaryDecoders.h"
#include "support/internal/DecodedBytes.h"

namespace dorvane::internal {
namespace {

// What a byte of the text is: the value of a symbol, or one of these.
constexpr unsigned char kOther = 0x80;
constexpr unsigned char kBlank = 0x81;
constexpr unsigned char kPad = 0x82;

// Set in the look-up of a part that holds anything but symbols.
constexpr unsigned int kBroken = 0x80000000U;

template <unsigned int kBitsPerSymbol>
struct Alphabet {
  static constexpr unsigned int kGroupBits = std::lcm(8U, kBitsPerSymbol);
  static constexpr unsigned int kSymbols = kGroupBits / kBitsPerSymbol;
  static constexpr unsigned int kPartSymbols = std::min(kSymbols, 4U);
  static constexpr unsigned int kPartBits = kPartSymbols * kBitsPerSymbol;

  unsigned char meaning[256] = {};

  // Groups are read in parts of up to four symbols: what each byte contributes in each place.
  unsigned int bitsAt[kPartSymbols][256] = {};

  constexpr explicit Alphabet(std::string_view symbols) noexcept {
    for (unsigned int c = 0; c < 256; ++c)
      meaning[c] = isBlank(static_cast<unsigned char>(c)) ? kBlank : kOther;
    for (std::size_t value = 0; value < symbols.size(); ++value)
      meaning[static_cast<unsigned char>(symbols[value])] = static_cast<unsigned char>(value);
  }

  constexpr Alphabet padded() const noexcept {
    Alphabet result(*this);
    result.meaning[static_cast<unsigned char>('=')] = kPad;
    return result;
  }

  constexpr Alphabet inEitherCase() const noexcept {
    Alphabet result(*this);
    for (unsigned char c = 'A'; c <= 'Z'; ++c) result.meaning[asciiLower(c)] = meaning[c];
    return result;
  }

  constexpr Alphabet withParts() const noexcept {
    Alphabet result(*this);
    for (unsigned int place = 0; place < kPartSymbols; ++place) {
      const unsigned int shift = kPartBits - (place + 1) * kBitsPerSymbol;
      for (unsigned int c = 0; c < 256; ++c)
        result.bitsAt[place][c] = meaning[c] < kOther ? unsigned{meaning[c]} << shift : kBroken;
    }
    return result;
  }

  constexpr unsigned char operator[](char c) const noexcept {
    return meaning[static_cast<unsigned char>(c)];
  }
};

constexpr std::string_view kBase32Symbols = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr std::string_view kBase64Symbols =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBase64UrlSymbols =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr auto kHexadecimal = Alphabet<4>("0123456789ABCDEF").inEitherCase().withParts();
constexpr auto kBase32 = Alphabet<5>(kBase32Symbols).inEitherCase().padded().withParts();
constexpr auto kBase64 = Alphabet<6>(kBase64Symbols).padded().withParts();
constexpr auto kBase64Url = Alphabet<6>(kBase64UrlSymbols).padded().withParts();

template <unsigned int kBitsPerSymbol>
class RadixDecoder {
  using Symbols = Alphabet<kBitsPerSymbol>;

 public:
  RadixDecoder(const Symbols& symbols, std::string_view text, DataBuffer& out,
               Misfits& misfits) noexcept
      : m_symbols(symbols), m_text(text), m_out(out), m_misfits(misfits) {}

  bool run() {
    const std::uint64_t mostBytes = (std::uint64_t{m_text.size()} * kBitsPerSymbol + 7) / 8;
    if (!m_out.reserve(mostBytes)) return false;
    do {
      if (!m_out.makeRoom(kBytes)) return false;
      decodeWholeGroups();
    } while (m_out.room() < kBytes || collectGroup());
    decodeLastGroup();
    checkPadding();
    return m_out.flush();
  }

 private:
  static constexpr unsigned int kGroupBits = Symbols::kGroupBits;
  static constexpr unsigned int kSymbols = Symbols::kSymbols;
  static constexpr unsigned int kBytes = kGroupBits / 8;

  template <unsigned int... kPlace>
  static unsigned int part(const Symbols& symbols, const char* from,
                           std::integer_sequence<unsigned int, kPlace...>) noexcept {
    return (symbols.bitsAt[kPlace][static_cast<unsigned char>(from[kPlace])] | ...);
  }

  template <unsigned int... kByte>
  static void store(std::uint64_t group, unsigned char* to,
                    std::integer_sequence<unsigned int, kByte...>) noexcept {
    ((to[kByte] = static_cast<unsigned char>(group >> (kGroupBits - 8 * (kByte + 1)))), ...);
  }

  static void store(std::uint64_t group, unsigned char* to) noexcept {
    store(group, to, std::make_integer_sequence<unsigned int, kBytes>());
  }

  // Decodes up to `groups` groups, as long as they hold nothing but symbols; returns how many.
  static std::size_t decodeGroups(const Symbols& symbols, const char* from, std::size_t groups,
                                  unsigned char* to) noexcept {
    constexpr std::make_integer_sequence<unsigned int, Symbols::kPartSymbols> kPlaces;
    for (std::size_t done = 0; done < groups; ++done, from += kSymbols, to += kBytes) {
      const unsigned int first = part(symbols, from, kPlaces);
      unsigned int second = 0;
      if constexpr (kSymbols > Symbols::kPartSymbols)
        second = part(symbols, from + Symbols::kPartSymbols, kPlaces);
      if (((first | second) & kBroken) != 0) return done;
      store(std::uint64_t{first} << (kGroupBits - Symbols::kPartBits) | second, to);
    }
    return groups;
  }

  void decodeWholeGroups() noexcept {
    const std::size_t groups = std::min((m_text.size() - m_at) / kSymbols, m_out.room() / kBytes);
    const std::size_t done = decodeGroups(m_symbols, m_text.data() + m_at, groups, m_out.next());
    m_at += done * kSymbols;
    m_out.advance(done * kBytes);
  }

  // Decodes the next group, which may be interrupted; false when the data ends inside it.
  bool collectGroup() noexcept {
    while (m_at < m_text.size() && m_symbols[m_text[m_at]] != kPad) {
      take(m_at++);
      if (m_collected < kSymbols) continue;
      store(m_group, m_out.next());
      m_out.advance(kBytes);
      m_collected = 0;
      m_group = 0;
      return true;
    }
    return false;
  }

  void take(std::size_t at) noexcept {
    const unsigned char meaning = m_symbols[m_text[at]];
    if (meaning == kOther) m_misfits.note(at);
    if (meaning >= kOther) return;
    m_group = m_group << kBitsPerSymbol | meaning;
    m_lastSymbolAt = at;
    ++m_collected;
  }

  void decodeLastGroup() noexcept {
    if (m_collected == 0) return;
    const unsigned int bits = m_collected * kBitsPerSymbol;
    const unsigned int unused = bits % 8;
    const bool isWhole = unused < kBitsPerSymbol && (m_group & ((1U << unused) - 1)) == 0;
    if (!isWhole) m_misfits.note(m_lastSymbolAt);
    store(m_group >> unused << (unused + kGroupBits - bits), m_out.next());
    m_out.advance(bits / 8);
  }

  void checkPadding() noexcept {
    unsigned int padsLeft = m_collected == 0 ? 0 : kSymbols - m_collected;
    for (; m_at < m_text.size(); ++m_at) {
      const unsigned char meaning = m_symbols[m_text[m_at]];
      if (meaning == kPad && padsLeft > 0)
        --padsLeft;
      else if (meaning != kBlank)
        m_misfits.note(m_at);
    }
  }

  const Symbols& m_symbols;
  const std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_lastSymbolAt = 0;
  std::uint64_t m_group = 0;
  unsigned int m_collected = 0;  // symbols in m_group
  DecodedBytes m_out;
  Misfits& m_misfits;
};

}  // namespace

bool decodeBase64(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return RadixDecoder(kBase64, text, out, misfits).run();
}

bool decodeBase64Url(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return RadixDecoder(kBase64Url, text, out, misfits).run();
}

bool decodeBase32(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return RadixDecoder(kBase32, text, out, misfits).run();
}

bool decodeHexadecimal(std::string_view text, DataBuffer& out, Misfits& misfits) {
  return RadixDecoder(kHexadecimal, text, out, misfits).run();
}

}  // namespace dorvane::internal
