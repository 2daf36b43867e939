#ifndef DORVANE_SUPPORT_LOGCONTEXTEXITOR_H
#define DORVANE_SUPPORT_LOGCONTEXTEXITOR_H

class LogBase;

/// Opens a named context in a log and closes it at the end of the scope. The log outlives it;
/// contexts of one log close in the reverse order of opening.
class LogContextExitor {
 public:
  /// Opens the context; a null name is the empty one. What is recorded inside a secret context is
  /// wiped when the log forgets it.
  LogContextExitor(LogBase& log, const char* contextName, bool isSecret = false);

  /// Closes the context.
  ~LogContextExitor();

  LogContextExitor(const LogContextExitor&) = delete;
  LogContextExitor& operator=(const LogContextExitor&) = delete;

 private:
  LogBase& m_log;
  bool m_isSecret;
};

#endif
