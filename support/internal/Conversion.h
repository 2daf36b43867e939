#ifndef DORVANE_SUPPORT_INTERNAL_CONVERSION_H
#define DORVANE_SUPPORT_INTERNAL_CONVERSION_H

#include <string_view>

class DataBuffer;
class LogBase;

namespace dorvane::internal {

/// How a conversion ended. Only the first is a success of EncodingConvert; the others tell whether
/// `out` holds what became of the whole text.
enum class Converted {
  kExactly,
  kWithFaults,     // substitutes stand for some characters
  kPassedThrough,  // a page is not known or the system lacks it
  kNoMemory        // `out` holds a part, or nothing
};

/// EncodingConvert::EncConvert(), with the reason of a failure.
Converted convertText(int fromCodePage, int toCodePage, std::string_view text, DataBuffer& out,
                      LogBase& log);

}  // namespace dorvane::internal

#endif
