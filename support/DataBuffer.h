#ifndef DORVANE_SUPPORT_DATABUFFER_H
#define DORVANE_SUPPORT_DATABUFFER_H

/// Growable byte buffer that owns one heap block, allocated with dvNewUnsignedChar().
class DataBuffer {
 public:
  DataBuffer() noexcept = default;
  DataBuffer(const DataBuffer&) = delete;
  DataBuffer& operator=(const DataBuffer&) = delete;
  ~DataBuffer();

  /// A secure buffer overwrites its whole block with zeros before it releases it. The flag
  /// itself wipes nothing.
  void setSecure(bool secure) noexcept { m_secure = secure; }

  /// Appends `n` bytes; they may lie inside this buffer. Null or 0 bytes: true, nothing to do.
  /// False, with nothing changed, when the buffer cannot grow. Amortised linear in `n`.
  bool append(const void* bytes, unsigned int n);

  /// Appends one byte; false when the buffer cannot grow.
  bool appendChar(unsigned char byte);

  /// Makes room for `n` bytes in total; false, with nothing changed, when that fails.
  bool ensureBuffer(unsigned int n);

  /// Drops the content and keeps the block. A secure buffer wipes the block.
  void clear();

  /// Number of bytes held.
  unsigned int getSize() const noexcept { return m_size; }

  /// Capacity of the block in bytes.
  unsigned int getBufSize() const noexcept { return m_capacity; }

  /// The first byte; null while there is no block.
  unsigned char* getData2() const noexcept { return m_block; }

  /// Readies the block for adoption by a StringBuffer: when the last byte is not 0, one 0 byte
  /// is appended and counted. An empty buffer stays empty. False when memory is exhausted. A block
  /// that is outgrown is wiped when this buffer is secure or `wipes` is set.
  bool prepForSbTake(bool wipes = false);

  /// Forgets the block without releasing it; the caller has become its owner.
  void dropData() noexcept;

 private:
  bool growAndAppend(const void* bytes, unsigned int n);
  void adoptBlock(unsigned char* block, unsigned int capacity);
  void release();

  unsigned char* m_block = nullptr;
  unsigned int m_size = 0;
  unsigned int m_capacity = 0;
  bool m_secure = false;
};

#endif
