#ifndef DORVANE_SUPPORT_LOGNULL_H
#define DORVANE_SUPPORT_LOGNULL_H

#include "support/LogBase.h"

/// A log that discards everything.
class LogNull : public LogBase {
 public:
  LogNull() noexcept = default;
  void LogError(const char* /*text*/) override {}
  void LogData(const char* /*name*/, const char* /*value*/) override {}

 protected:
  void enterContext(const char* /*name*/) override {}
  void leaveContext() override {}
};

#endif
