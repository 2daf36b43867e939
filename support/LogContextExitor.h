#ifndef DORVANE_SUPPORT_LOGCONTEXTEXITOR_H
#define DORVANE_SUPPORT_LOGCONTEXTEXITOR_H

class LogBase;

/// Opens a named context in a log and closes it at the end of the scope. The log outlives it;
/// contexts of one log close in the reverse order of opening.
class LogContextExitor {
 public:
  /// Opens the context; a null name is the empty one.
  LogContextExitor(LogBase& log, const char* contextName);

  /// Closes the context.
  ~LogContextExitor();

  LogContextExitor(const LogContextExitor&) = delete;
  LogContextExitor& operator=(const LogContextExitor&) = delete;

 private:
  LogBase& m_log;
};

#endif
