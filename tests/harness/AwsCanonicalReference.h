#ifndef DORVANE_TESTS_HARNESS_AWSCANONICALREFERENCE_H
#define DORVANE_TESTS_HARNESS_AWSCANONICALREFERENCE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "harness/JsonReference.h"
#include "harness/ModelBuffer.h"

// The AWS canonical forms, one step after the other and without any care for speed.
namespace harness::reference {

constexpr std::string_view kUriKept =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz%-./_~";
constexpr std::string_view kQueryKept =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz%&-./=?_~";

inline std::string percentEncodedByte(char c) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const unsigned int b = static_cast<unsigned char>(c);
  return std::string("%") + kDigits[b >> 4] + kDigits[b & 15U];
}

// A lead byte is encoded with all the bytes that it claims, as far as there are any.
inline std::string percentEncoded(const std::string& bytes, std::string_view kept) {
  std::string encoded;
  std::size_t claimed = 0;
  for (const char c : bytes) {
    if (claimed != 0)
      --claimed;
    else if (static_cast<unsigned char>(c) >= 0xC0)
      claimed = continuationBytes(c);
    else if (kept.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    encoded += percentEncodedByte(c);
  }
  return encoded;
}

// The added bytes count twice in the capacity; the extend size stays.
inline bool awsNormalize(ModelBuffer& buffer, std::string_view kept) {
  const std::string encoded = percentEncoded(buffer.bytes, kept);
  const std::size_t added = encoded.size() - buffer.bytes.size();
  if (added == 0) return true;
  buffer.bytes = encoded;
  buffer.capacity = static_cast<unsigned int>(added + 4 + encoded.size());
  return true;
}

}  // namespace harness::reference

#endif
