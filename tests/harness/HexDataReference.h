#ifndef DORVANE_TESTS_HARNESS_HEXDATAREFERENCE_H
#define DORVANE_TESTS_HARNESS_HEXDATAREFERENCE_H

#include <string>
#include <string_view>
#include <vector>

// The hexadecimal renderings and their reverse, told plainly.
namespace harness::reference {

inline std::string hexDigits(char c) {
  const int code = static_cast<unsigned char>(c);
  const char* const digits = "0123456789ABCDEF";
  return {digits[code / 16], digits[code % 16]};
}

// The characters that each byte adds to a dump of 16 bytes a line.
inline std::vector<std::string> dumpPieces(std::string_view data) {
  std::vector<std::string> pieces;
  int column = 0;
  bool second = false;
  for (const char c : data) {
    std::string piece = hexDigits(c);
    if (second && column == 15) {
      piece += '\n';
      column = 0;
    } else {
      if (second) piece += ' ';
      ++column;
    }
    second = !second;
    pieces.push_back(piece);
  }
  return pieces;
}

// The same with a fixed text around the digits of each byte.
inline std::vector<std::string> hexPieces(std::string_view data, const std::string& before,
                                          const std::string& behind) {
  std::vector<std::string> pieces;
  for (const char c : data) pieces.push_back(before + hexDigits(c) + behind);
  return pieces;
}

// What is appended at a time: as many whole pieces as fit into `size` characters.
inline std::vector<std::string> batches(const std::vector<std::string>& pieces, std::size_t size) {
  std::vector<std::string> all;
  std::string batch;
  for (const std::string& piece : pieces) {
    if (batch.size() + piece.size() > size) {
      all.push_back(batch);
      batch.clear();
    }
    batch += piece;
  }
  if (!batch.empty()) all.push_back(batch);
  return all;
}

inline std::string joined(const std::vector<std::string>& pieces) {
  std::string all;
  for (const std::string& piece : pieces) all += piece;
  return all;
}

// The value of a character, 0 to 255; as a signed 8-bit number, one below ':' counts from '0'.
inline int nibbleOf(char c) {
  const int code = static_cast<unsigned char>(c);
  const int value = code > 127 ? code - 256 : code;
  if (value < ':') return (value - '0' + 256) % 256;
  const int upper = value >= 'a' && value <= 'f' ? value - 32 : value;
  return (upper - 55 + 256) % 256;
}

// The bytes that hexadecimal characters spell.
inline std::string unhex(std::string_view hex) {
  std::string bytes;
  if (hex.empty() || hex[0] == '\0') return bytes;
  std::size_t i = 0;
  if (hex.size() % 2 == 1) {
    if (hex.size() == 1 || hex[1] == '\0') return bytes;
    bytes += static_cast<char>(static_cast<unsigned char>(nibbleOf(hex[0])));
    i = 1;
  }
  for (; i < hex.size(); i += 2) {
    const int value = (nibbleOf(hex[i]) * 16 + nibbleOf(hex[i + 1])) % 256;
    bytes += static_cast<char>(static_cast<unsigned char>(value));
  }
  return bytes;
}

}  // namespace harness::reference

#endif
