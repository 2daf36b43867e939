#include "support/LogContextExitor.h"

#include "support/LogBase.h"

LogContextExitor::LogContextExitor(LogBase& log, const char* contextName, bool isSecret)
    : m_log(log), m_isSecret(isSecret) {
  m_log.enterContext(contextName);
  if (m_isSecret) ++m_log.m_secretContexts;
}

LogContextExitor::~LogContextExitor() {
  if (m_isSecret) --m_log.m_secretContexts;
  m_log.leaveContext();
}
