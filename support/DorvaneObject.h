#ifndef DORVANE_SUPPORT_DORVANEOBJECT_H
#define DORVANE_SUPPORT_DORVANEOBJECT_H

/// Base of every library object that an ExtPtrArray can own.
///
/// The virtual table holds the destructor and then heapUsage(), in that order, in every
/// derived class.
class DorvaneObject {
 public:
  DorvaneObject() = default;

  /// Nothing is copied: the base has no state.
  DorvaneObject(const DorvaneObject&) = default;

  /// Nothing is assigned: the base has no state.
  DorvaneObject& operator=(const DorvaneObject&) = default;

  virtual ~DorvaneObject() = default;

  /// Bytes of heap storage that the object owns; 0 unless a class overrides it.
  virtual unsigned int heapUsage();

  /// Destroys `object` through its virtual destructor and frees it. Null does nothing.
  static void deleteObject(DorvaneObject* object);
};

#endif
