#include "support/LogContextExitor.h"

#include "support/LogBase.h"

LogContextExitor::LogContextExitor(LogBase& log, const char* contextName) : m_log(log) {
  m_log.enterContext(contextName);
}

LogContextExitor::~LogContextExitor() { m_log.leaveContext(); }
