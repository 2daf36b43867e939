#ifndef DORVANE_SUPPORT_EXTPTRARRAYSB_H
#define DORVANE_SUPPORT_EXTPTRARRAYSB_H

#include "support/ExtPtrArray.h"

class StringBuffer;

/// An ExtPtrArray whose elements are all StringBuffer objects (or null).
class ExtPtrArraySb : public ExtPtrArray {
 public:
  /// The buffer at `index`, or null when there is none. The array keeps owning it.
  StringBuffer* sbAt(int index) const noexcept;
};

#endif
