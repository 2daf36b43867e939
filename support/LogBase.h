#ifndef DORVANE_SUPPORT_LOGBASE_H
#define DORVANE_SUPPORT_LOGBASE_H

class StringBuffer;

/// A log that records errors and named values, in order, inside a tree of named contexts.
///
/// It is usable as it is; to send the entries elsewhere, derive from it and override LogError()
/// and LogData(). A null text is recorded as the empty one. An entry for which memory is
/// exhausted is left out. A log is used by one thread at a time.
class LogBase {
 public:
  LogBase() noexcept = default;
  LogBase(const LogBase&) = delete;
  LogBase& operator=(const LogBase&) = delete;
  virtual ~LogBase();

  /// Records an error.
  virtual void LogError(const char* text);

  /// Records a named text.
  virtual void LogData(const char* name, const char* value);

  /// Records a named integer in decimal, through LogData().
  void LogDataLong(const char* name, long value);

  /// Number of errors that are recorded.
  unsigned int errorCount() const noexcept { return m_errors; }

  /// Number of values that are recorded.
  unsigned int valueCount() const noexcept { return m_values; }

  /// Number of contexts that are recorded.
  unsigned int contextCount() const noexcept { return m_contexts; }

  /// The text of the error at `index`, in the order of recording; null when there is none. The
  /// pointer is valid until clear(). Linear in the number of entries, as are the next two.
  const char* errorAt(unsigned int index) const noexcept;

  /// The value that was last recorded under `name`; null when there is none.
  const char* valueOf(const char* name) const noexcept;

  /// True when a context of this name was recorded.
  bool hasContext(const char* name) const noexcept;

  /// Appends one line per entry to `out`: a context as "name:", an error as "error: text", a
  /// value as "name: value", each indented by two spaces for every context around it. In names
  /// and texts a backslash is written twice, and control characters as "\n", "\r", "\t" or
  /// "\x" with two digits, so that no text can imitate another line. False when `out` cannot
  /// grow; it may hold a part then. Secrets are shown like all else: `out` should be secure.
  bool toText(StringBuffer& out) const;

  /// True inside a context that was opened as a secret one. What is recorded then is overwritten
  /// with zeros when the log forgets it; a derived log that keeps entries elsewhere can do the
  /// same.
  bool isSecret() const noexcept { return m_secretContexts != 0; }

  /// Forgets all entries. Contexts that are open stay open, though no longer recorded.
  void clear() noexcept;

 protected:
  /// Called when a LogContextExitor opens a context.
  virtual void enterContext(const char* name);

  /// Called when a LogContextExitor closes the innermost context. A context that recorded
  /// nothing is forgotten then, so that a long-lived log of a derived class, which keeps its
  /// entries elsewhere, does not grow.
  virtual void leaveContext();

 private:
  friend class LogContextExitor;

  enum class Kind : unsigned char { kContext, kError, kValue };
  struct Entry;

  bool record(Kind kind, const char* name, const char* value) noexcept;
  void dropLast() noexcept;

  Entry* m_first = nullptr;
  Entry* m_last = nullptr;
  unsigned int m_depth = 0;
  unsigned int m_secretContexts = 0;
  unsigned int m_errors = 0;
  unsigned int m_values = 0;
  unsigned int m_contexts = 0;
};

#endif
