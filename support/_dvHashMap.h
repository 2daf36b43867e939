#ifndef DORVANE_SUPPORT_DVHASHMAP_H
#define DORVANE_SUPPORT_DVHASHMAP_H

class StringBuffer;

/// A map from texts to texts. A null key or value is the empty text.
///
/// Keys are hashed with SipHash-1-3 (Aumasson and Bernstein, 2012) under a secret that differs
/// from map to map, so that hostile keys cannot be chosen to collide. Inserting, looking up and
/// removing take constant time on average, besides the length of the key.
class _dvHashMap {
 public:
  _dvHashMap() noexcept;
  _dvHashMap(const _dvHashMap&) = delete;
  _dvHashMap& operator=(const _dvHashMap&) = delete;
  ~_dvHashMap();

  /// Inserts the key with the value, or replaces the key's value. The texts are copied; the value
  /// may be one that lives in this map. False, with nothing changed, when memory is exhausted.
  bool hashInsertString(const char* key, const char* value);

  /// On a hit replaces the content of `out` by the value, true. On a miss `out` is unchanged,
  /// false. The key may be the content of `out`. False also when `out` cannot grow; it is empty
  /// then.
  bool hashLookupString(const char* key, StringBuffer& out) const;

  /// Removes a key; false when it is not in the map.
  bool hashRemove(const char* key) noexcept;

  /// Number of keys.
  unsigned int getSize() const noexcept { return m_size; }

  /// Removes all keys.
  void clear() noexcept;

 private:
  struct Entry;

  Entry** findLink(const char* key, unsigned long long hash) const noexcept;
  unsigned long long hashOf(const char* key) const noexcept;
  bool makeRoom() noexcept;
  void resize(unsigned int buckets) noexcept;

  Entry** m_buckets = nullptr;     // chains of entries
  unsigned int m_bucketCount = 0;  // 0 or a power of two
  unsigned int m_size = 0;
  unsigned long long m_secret[2];
};

#endif
