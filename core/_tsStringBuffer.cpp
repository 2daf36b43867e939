// Each member is a StringBuffer member under the lock. Tested with real threads in
// tests/core/TsStringBufferTest.cpp.

#include "core/_tsStringBuffer.h"

#include "support/CritSecExitor.h"

_tsStringBuffer::_tsStringBuffer() = default;

_tsStringBuffer::~_tsStringBuffer() = default;

bool _tsStringBuffer::setString(const StringBuffer& other) {
  const CritSecExitor lock(this);
  return m_inner.setString(other);
}

bool _tsStringBuffer::setString(const char* text) {
  const CritSecExitor lock(this);
  return m_inner.setString(text);
}

void _tsStringBuffer::clear() {
  const CritSecExitor lock(this);
  m_inner.clear();
}

bool _tsStringBuffer::append(int value) {
  const CritSecExitor lock(this);
  return m_inner.append(value);
}

bool _tsStringBuffer::append(unsigned int value) {
  const CritSecExitor lock(this);
  return m_inner.append(value);
}

bool _tsStringBuffer::appendInt64(long long value) {
  const CritSecExitor lock(this);
  return m_inner.appendInt64(value);
}

bool _tsStringBuffer::append(const char* text) {
  const CritSecExitor lock(this);
  return m_inner.append(text);
}

bool _tsStringBuffer::append(const StringBuffer& other) {
  const CritSecExitor lock(this);
  return m_inner.append(other);
}

bool _tsStringBuffer::appendN(const char* bytes, unsigned int n) {
  const CritSecExitor lock(this);
  return m_inner.appendN(bytes, n);
}

bool _tsStringBuffer::endsWith(const char* text) {
  const CritSecExitor lock(this);
  return m_inner.endsWith(text);
}

bool _tsStringBuffer::equals(const char* text) {
  const CritSecExitor lock(this);
  return m_inner.equals(text);
}

unsigned int _tsStringBuffer::getSize() {
  const CritSecExitor lock(this);
  return m_inner.getSize();
}

void _tsStringBuffer::shorten(unsigned int n) {
  const CritSecExitor lock(this);
  m_inner.shorten(n);
}

void _tsStringBuffer::trim2() {
  const CritSecExitor lock(this);
  m_inner.trim2();
}

bool _tsStringBuffer::toSb(StringBuffer& destination) {
  const CritSecExitor lock(this);
  return destination.append(m_inner);
}
