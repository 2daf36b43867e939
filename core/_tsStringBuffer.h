#ifndef DORVANE_CORE_TSSTRINGBUFFER_H
#define DORVANE_CORE_TSSTRINGBUFFER_H

#include "core/StringBuffer.h"
#include "support/DorvaneCritSec.h"
#include "support/DorvaneObject.h"

/// A StringBuffer that several threads may use at once. Every member holds the wrapper's own
/// critical section for the whole call and does what the StringBuffer member of the same name does.
/// The buffers passed as arguments are not locked: the caller keeps other threads from changing
/// them meanwhile.
class _tsStringBuffer : public DorvaneCritSec, public DorvaneObject {
 public:
  /// An empty buffer.
  _tsStringBuffer();
  _tsStringBuffer(const _tsStringBuffer&) = delete;
  _tsStringBuffer& operator=(const _tsStringBuffer&) = delete;

  /// No other thread may still use the wrapper.
  ~_tsStringBuffer() override;

  /// StringBuffer::setString() of a buffer.
  bool setString(const StringBuffer& other);

  /// StringBuffer::setString() of a text.
  bool setString(const char* text);

  /// StringBuffer::clear().
  void clear();

  /// StringBuffer::append() of a number.
  bool append(int value);

  /// StringBuffer::append() of a number.
  bool append(unsigned int value);

  /// StringBuffer::appendInt64().
  bool appendInt64(long long value);

  /// StringBuffer::append() of a text.
  bool append(const char* text);

  /// StringBuffer::append() of a buffer.
  bool append(const StringBuffer& other);

  /// StringBuffer::appendN().
  bool appendN(const char* bytes, unsigned int n);

  /// StringBuffer::endsWith().
  bool endsWith(const char* text);

  /// StringBuffer::equals() with a text.
  bool equals(const char* text);

  /// StringBuffer::getSize().
  unsigned int getSize();

  /// StringBuffer::shorten().
  void shorten(unsigned int n);

  /// StringBuffer::trim2().
  void trim2();

  /// Appends the content to `destination`, as StringBuffer::append() of a buffer does.
  bool toSb(StringBuffer& destination);

 private:
  StringBuffer m_inner;
};

#endif
