#ifndef DORVANE_SUPPORT_INTERNAL_SYSTEMCONVERTER_H
#define DORVANE_SUPPORT_INTERNAL_SYSTEMCONVERTER_H

#include <cstddef>

namespace dorvane::internal {

enum class Direction { kDecode, kEncode };

enum class PageState { kUnknown, kReady, kNoConverter, kNoMemory };

/// What one call of a converter did.
struct ConverterStep {
  std::size_t taken;
  std::size_t given;
  int error;  // 0, or EINVAL for the beginning of a character, or another
};

/// One of the C library's converters, from or to code points, for as long as a conversion lasts.
///
/// A converter is opened at its first use in a thread, kept for the next and closed when the thread
/// ends. One that is in use is not among those that are kept, so that a conversion inside another
/// has its own. What is kept is in its initial state and holds nothing of any text.
class SystemConverter {
 public:
  /// How many converters a thread keeps at most; their slots are numbered from 0.
  static constexpr unsigned int kSlots = 64;

  SystemConverter() noexcept = default;
  SystemConverter(const SystemConverter&) = delete;
  SystemConverter& operator=(const SystemConverter&) = delete;
  SystemConverter(SystemConverter&& other) noexcept;
  SystemConverter& operator=(SystemConverter&& other) noexcept;
  ~SystemConverter();

  /// Takes the converter of a slot, or opens the first that there is of the encodings that `first`
  /// and what follows it name, up to `end` or null. A slot stands for the same names each time.
  PageState open(unsigned int slot, Direction direction, const char* const* first,
                 const char* const* end) noexcept;

  ConverterStep convert(const void* in, std::size_t inSize, void* out,
                        std::size_t outSize) const noexcept;

  /// Writes what shifts back to the initial state. Returns its size.
  std::size_t finish(void* out, std::size_t outSize) const noexcept;

 private:
  void giveBack() noexcept;

  void* m_handle = nullptr;
  unsigned int m_slot = 0;
};

}  // namespace dorvane::internal

#endif
