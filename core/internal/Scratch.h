#ifndef DORVANE_CORE_INTERNAL_SCRATCH_H
#define DORVANE_CORE_INTERNAL_SCRATCH_H

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"

namespace dorvane::internal {

/// A temporary of a member: it is as secret as the buffer that the member works for.
class Scratch : public StringBuffer {
 public:
  explicit Scratch(const StringBuffer& owner) noexcept {
    setSecureBuf(BufferAccess(owner).isSecure());
  }
};

}  // namespace dorvane::internal

#endif
