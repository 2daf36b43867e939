#include "support/dvEnv.h"

#include <cstdlib>

#include "core/StringBuffer.h"

bool dvGetEnv(const char* name, StringBuffer& out) {
  if (name == nullptr) return false;
  const char* const value = std::getenv(name);
  return value != nullptr && out.append(value);
}
