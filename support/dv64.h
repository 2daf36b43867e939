#ifndef DORVANE_SUPPORT_DV64_H
#define DORVANE_SUPPORT_DV64_H

/// 64-bit helpers.
class dv64 {
 public:
  /// True when the value does not fit in an unsigned 32-bit integer; negative ones do not.
  static constexpr bool TooBigForUnsigned32(long long value) noexcept {
    return value < 0 || value > 0xFFFFFFFFLL;
  }
};

#endif
