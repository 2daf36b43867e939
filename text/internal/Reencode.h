#ifndef DORVANE_TEXT_INTERNAL_REENCODE_H
#define DORVANE_TEXT_INTERNAL_REENCODE_H

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "support/DataBuffer.h"
#include "support/internal/Conversion.h"

namespace dorvane::internal {

/// Replaces the content by its form in another code page, as far as the converter made it. False
/// if a character could not be converted, or the content stays as it was for lack of memory.
inline bool reencode(StringBuffer& buffer, int from, int to, LogBase& log) {
  const BufferAccess access(buffer);
  DataBuffer out;
  out.setSecure(access.isSecure());
  const Converted converted = convertText(from, to, access.content(), out, log);
  return access.replaceKeepingBlock(
             {reinterpret_cast<const char*>(out.getData2()), out.getSize()}) &&
         converted == Converted::kExactly;
}

}  // namespace dorvane::internal

#endif
