#include "support/_dvHashMap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "core/StringBuffer.h"
#include "support/internal/NewArray.h"

using dorvane::internal::newArray;

namespace {

constexpr unsigned int kFirstBuckets = 16;
constexpr unsigned int kMostBuckets = 0x80000000U;

const char* orEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

// SipHash with one round per word and three at the end. Nobody sees the hash, so the words are
// taken in the byte order of the host.
class SipHash {
 public:
  SipHash(std::uint64_t k0, std::uint64_t k1) noexcept
      : m_v{k0 ^ 0x736F6D6570736575U, k1 ^ 0x646F72616E646F6DU, k0 ^ 0x6C7967656E657261U,
            k1 ^ 0x7465646279746573U} {}

  std::uint64_t hash(const char* bytes, std::size_t n) noexcept {
    const std::uint64_t size = n;
    for (; n >= sizeof(std::uint64_t); n -= sizeof(std::uint64_t)) {
      absorb(load(bytes, sizeof(std::uint64_t)));
      bytes += sizeof(std::uint64_t);
    }
    absorb(load(bytes, n));
    absorb(size);
    m_v[2] ^= 0xFFU;
    for (int i = 0; i < 3; ++i) round();
    return m_v[0] ^ m_v[1] ^ m_v[2] ^ m_v[3];
  }

 private:
  static std::uint64_t load(const char* bytes, std::size_t n) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, n);
    return word;
  }

  static std::uint64_t rotate(std::uint64_t word, unsigned int bits) noexcept {
    return (word << bits) | (word >> (64U - bits));
  }

  void absorb(std::uint64_t word) noexcept {
    m_v[3] ^= word;
    round();
    m_v[0] ^= word;
  }

  // Adds b to a and mixes the sum into b.
  static void mix(std::uint64_t& a, std::uint64_t& b, unsigned int bits) noexcept {
    a += b;
    b = rotate(b, bits) ^ a;
  }

  void round() noexcept {
    mix(m_v[0], m_v[1], 13);
    m_v[0] = rotate(m_v[0], 32);
    mix(m_v[2], m_v[3], 16);
    mix(m_v[0], m_v[3], 21);
    mix(m_v[2], m_v[1], 17);
    m_v[2] = rotate(m_v[2], 32);
  }

  std::uint64_t m_v[4];
};

// A word that an attacker who does not see this process cannot tell: addresses vary from run to
// run and from map to map.
std::uint64_t secretFrom(const void* address) noexcept {
  return SipHash(0, 0).hash(reinterpret_cast<const char*>(&address), sizeof(address));
}

}  // namespace

// One block holds the entry and, behind it, the key and the value.
struct _dvHashMap::Entry {
  Entry* next;
  unsigned long long hash;
  const char* key;
  const char* value;

  static Entry* create(unsigned long long hash, const char* key, const char* value) noexcept {
    const std::size_t keySize = std::strlen(key) + 1;
    const std::size_t valueSize = std::strlen(value) + 1;
    auto* block = newArray<char>(std::uint64_t{sizeof(Entry)} + keySize + valueSize);
    if (block == nullptr) return nullptr;
    char* const texts = block + sizeof(Entry);
    std::memcpy(texts, key, keySize);
    std::memcpy(texts + keySize, value, valueSize);
    return new (block) Entry{nullptr, hash, texts, texts + keySize};
  }

  static void destroy(Entry* entry) noexcept { delete[] reinterpret_cast<char*>(entry); }
};

_dvHashMap::_dvHashMap() noexcept : m_secret{secretFrom(this), secretFrom(&kFirstBuckets)} {}

_dvHashMap::~_dvHashMap() {
  clear();
  delete[] m_buckets;
}

bool _dvHashMap::hashInsertString(const char* key, const char* value) {
  key = orEmpty(key);
  const unsigned long long hash = hashOf(key);
  Entry* const fresh = Entry::create(hash, key, orEmpty(value));
  if (fresh == nullptr) return false;
  if (Entry** link = findLink(key, hash)) {
    Entry* const old = std::exchange(*link, fresh);
    fresh->next = old->next;
    Entry::destroy(old);
    return true;
  }
  if (!makeRoom()) {
    Entry::destroy(fresh);
    return false;
  }
  Entry*& chain = m_buckets[hash & (m_bucketCount - 1)];
  fresh->next = std::exchange(chain, fresh);
  ++m_size;
  return true;
}

bool _dvHashMap::hashLookupString(const char* key, StringBuffer& out) const {
  key = orEmpty(key);
  Entry* const* const link = findLink(key, hashOf(key));
  return link != nullptr && out.setString((*link)->value);
}

bool _dvHashMap::hashRemove(const char* key) noexcept {
  key = orEmpty(key);
  Entry** const link = findLink(key, hashOf(key));
  if (link == nullptr) return false;
  Entry* const entry = std::exchange(*link, (*link)->next);
  Entry::destroy(entry);
  --m_size;
  return true;
}

void _dvHashMap::clear() noexcept {
  for (unsigned int i = 0; i < m_bucketCount; ++i) {
    while (m_buckets[i] != nullptr) {
      Entry* const entry = std::exchange(m_buckets[i], m_buckets[i]->next);
      Entry::destroy(entry);
    }
  }
  m_size = 0;
}

// The pointer that leads to the key's entry, or null.
_dvHashMap::Entry** _dvHashMap::findLink(const char* key, unsigned long long hash) const noexcept {
  if (m_bucketCount == 0) return nullptr;
  for (Entry** link = &m_buckets[hash & (m_bucketCount - 1)]; *link != nullptr;
       link = &(*link)->next)
    if ((*link)->hash == hash && std::strcmp((*link)->key, key) == 0) return link;
  return nullptr;
}

unsigned long long _dvHashMap::hashOf(const char* key) const noexcept {
  return SipHash(m_secret[0], m_secret[1]).hash(key, std::strlen(key));
}

// Room for one more key. A map that cannot grow goes on with longer chains.
bool _dvHashMap::makeRoom() noexcept {
  if (m_size >= m_bucketCount && m_bucketCount != kMostBuckets)
    resize(m_bucketCount == 0 ? kFirstBuckets : m_bucketCount * 2);
  return m_bucketCount != 0;
}

// Changes nothing when memory is exhausted.
void _dvHashMap::resize(unsigned int buckets) noexcept {
  auto** const fresh = newArray<Entry*>(buckets);
  if (fresh == nullptr) return;
  std::fill_n(fresh, buckets, nullptr);
  for (unsigned int i = 0; i < m_bucketCount; ++i) {
    while (Entry* const entry = m_buckets[i]) {
      m_buckets[i] = entry->next;
      entry->next = std::exchange(fresh[entry->hash & (buckets - 1)], entry);
    }
  }
  delete[] std::exchange(m_buckets, fresh);
  m_bucketCount = buckets;
}
