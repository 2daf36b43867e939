#ifndef DORVANE_SUPPORT_EXTPTRARRAY_H
#define DORVANE_SUPPORT_EXTPTRARRAY_H

class DorvaneObject;

/// Growable array that owns the objects whose pointers it holds.
class ExtPtrArray {
 public:
  ExtPtrArray() noexcept = default;
  ExtPtrArray(const ExtPtrArray&) = delete;
  ExtPtrArray& operator=(const ExtPtrArray&) = delete;

  /// Destroys the elements, first to last.
  ~ExtPtrArray();

  /// Takes ownership of `object` and appends it; a null pointer is kept as a null element.
  /// When the array cannot grow, the object is destroyed (never leaked) and the result is
  /// false. Amortised constant time.
  bool appendPtr(DorvaneObject* object) {
    if (m_size == m_capacity) return growAndAppend(object);
    m_elements[m_size++] = object;
    return true;
  }

  /// Makes sure that the next `n` calls of appendPtr() succeed. False when memory is exhausted
  /// or the array would hold more than 2^31 - 1 elements; nothing changes then. An `n` above 1 is
  /// taken for what is to come: the array grows by that much and no more, but by an eighth at
  /// least, so that appending stays of amortised constant time.
  bool reserveMore(int n) { return n <= m_capacity - m_size || grow(n); }

  /// Number of elements.
  int getSize() const noexcept { return m_size; }

  /// The element at `index`, or null when there is none.
  DorvaneObject* elementAt(int index) const noexcept {
    return index >= 0 && index < m_size ? m_elements[index] : nullptr;
  }

  /// Destroys all elements and leaves the array empty.
  void removeAll();

 private:
  bool grow(int n);
  bool growAndAppend(DorvaneObject* object);

  DorvaneObject** m_elements = nullptr;
  int m_size = 0;
  int m_capacity = 0;
};

#endif
