#include "support/ExtPtrArraySb.h"

#include "core/StringBuffer.h"

StringBuffer* ExtPtrArraySb::sbAt(int index) const noexcept {
  return static_cast<StringBuffer*>(elementAt(index));
}
