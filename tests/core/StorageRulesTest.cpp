#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/StringBuffer.h"
#include "core/internal/BufferAccess.h"
#include "harness/AllocationHook.h"
#include "harness/BufferState.h"
#include "harness/ModelBuffer.h"
#include "harness/ReleasedBlocks.h"
#include "harness/StorageLayout.h"
#include "harness/StorageScenes.h"
#include "support/DataBuffer.h"
#include "support/LogBase.h"

// The rules of the storage, told by a model of their own and tried in long random walks. Nothing
// here knows how the storage is managed: it looks at what a user can see, at the fields of the
// object, and at the blocks that are allocated and released.
namespace {

using dorvane::internal::BufferAccess;
using harness::allocationsMade;
using harness::allWiped;
using harness::FailAllocation;
using harness::holds;
using harness::isZero;
using harness::liveBlocks;
using harness::releasedBy;
using harness::WatchReleases;
using namespace std::string_literals;

constexpr unsigned int kInlineRoom = 81;
constexpr unsigned int kFirstExtendSize = 202;
constexpr unsigned int kMost = 0xFFFFFFFFU;

// ---- The model ----

// The storage as it is recorded: what it holds, how large its block is said to be, and the slack of
// the next one. With `memory` false no block can be had.
class PlainStorage {
 public:
  std::string content;
  bool onHeap = false;
  unsigned int capacity = 0;
  unsigned int extendSize = kFirstExtendSize;
  bool secure = false;

  unsigned int size() const { return static_cast<unsigned int>(content.size()); }
  std::string text() const { return content.substr(0, content.find('\0')); }

  bool expectNumBytes(std::uint64_t n, bool memory) {
    const std::uint64_t total = content.size() + n;
    if (total < (onHeap ? capacity : kInlineRoom + 1)) return true;
    if (total >= kMost || !memory) return false;
    const std::uint64_t withSlack = total + extendSize + 1;
    capacity = static_cast<unsigned int>(withSlack <= kMost ? withSlack : total + 1);
    if (onHeap) adjustExtendSize();
    onHeap = true;
    return true;
  }

  bool appendN(std::string_view bytes, bool memory) {
    if (bytes.empty()) return true;
    if (!append(bytes, memory)) return false;
    content.resize(content.find_last_not_of('\0') + 1);
    return true;
  }

  bool append(std::string_view text, bool memory) {
    if (text.empty()) return true;
    if (!makeRoom(text.size(), memory)) return false;
    content += text;
    return true;
  }

  template <class Append>
  bool exactly(const Append& appendIt) {
    const unsigned int saved = std::exchange(extendSize, 0);
    const bool done = appendIt();
    extendSize = saved;
    return done;
  }

  void weakClear() {
    content.clear();
    extendSize = kFirstExtendSize;
  }

  void clear() {
    weakClear();
    onHeap = false;
    capacity = 0;
  }

  // Moves all but the flag.
  void take(PlainStorage& source) {
    PlainStorage taken = source;
    source.clear();
    taken.secure = secure;
    *this = std::move(taken);
  }

  void adopt(std::string bytes, unsigned int blockSize) {
    content = std::move(bytes);
    onHeap = true;
    capacity = blockSize;
  }

  unsigned int removeChunk(unsigned int start, unsigned int count) {
    if (start >= size() || std::uint64_t{start} + count > size()) return size();
    const std::string rest(content, start + count);
    content.resize(start);
    content += rest.substr(0, rest.find('\0'));
    return size();
  }

  void minimize(bool memory) {
    if (!onHeap) return;
    if (size() <= kInlineRoom) {
      onHeap = false;
      capacity = 0;
    } else if (capacity > size() + 256 && memory) {
      capacity = size() + 1;
    }
  }

 private:
  bool makeRoom(std::size_t n, bool memory) {
    const std::uint64_t need = std::uint64_t{content.size()} + n + 1;
    const bool grows = onHeap ? need > capacity : need >= 83;
    return !grows || expectNumBytes(n, memory);
  }

  void adjustExtendSize() {
    if (extendSize > 499999 || extendSize >= capacity) return;
    extendSize = capacity > 1000001 ? 500000 : capacity / 2;
  }
};

// ---- Looking at a buffer ----

const harness::StorageLayout& layout() {
  static const harness::StorageLayout at;
  return at;
}

unsigned int heldSize(const StringBuffer& buffer) {
  return harness::peek<unsigned int>(&buffer, layout().offsetOf(layout().heldSize));
}

bool isSecure(const StringBuffer& buffer) {
  return harness::peek<unsigned char>(&buffer, layout().offsetOf(layout().secure)) != 0;
}

const void* heapBlock(const StringBuffer& buffer) {
  return harness::peek<const void*>(&buffer, layout().offsetOf(layout().heap));
}

std::string_view bytesIn(const StringBuffer& buffer) {
  return {buffer.getString(), buffer.getSize()};
}

template <class Number>
testing::AssertionResult differs(const char* what, Number got, Number expected) {
  return testing::AssertionFailure() << what << " is " << got << ", not " << expected;
}

testing::AssertionResult figuresAgree(StringBuffer& buffer, const PlainStorage& model) {
  if (buffer.getSize() != model.size()) return differs("size", buffer.getSize(), model.size());
  if (buffer.heapUsage() != model.capacity)
    return differs("heap usage", buffer.heapUsage(), model.capacity);
  if (buffer.getExtendSize() != model.extendSize)
    return differs("extend size", buffer.getExtendSize(), model.extendSize);
  if (const std::size_t used = sizeof(StringBuffer) + model.capacity; buffer.memoryUsage() != used)
    return differs("memory usage", std::size_t{buffer.memoryUsage()}, used);
  if (isSecure(buffer) != model.secure)
    return differs("secure flag", isSecure(buffer), model.secure);
  if (heldSize(buffer) < model.capacity)
    return differs("held size", heldSize(buffer), model.capacity);
  return testing::AssertionSuccess();
}

testing::AssertionResult contentAgrees(StringBuffer& buffer, const PlainStorage& model) {
  buffer.checkValidity();
  if (!buffer.isValidObject()) return testing::AssertionFailure() << "not valid";
  if (buffer.isNonTerminated()) return testing::AssertionFailure() << "not terminated";
  if (bytesIn(buffer) != model.content) return testing::AssertionFailure() << "content differs";
  if (buffer.pCharAt(buffer.getSize()) != buffer.getString() + buffer.getSize())
    return testing::AssertionFailure() << "the terminator is not in its place";
  if (buffer.pCharAt(buffer.getSize() + 1) != nullptr)
    return testing::AssertionFailure() << "there is a byte past the terminator";
  return testing::AssertionSuccess();
}

testing::AssertionResult agrees(StringBuffer& buffer, const PlainStorage& model) {
  const testing::AssertionResult figures = figuresAgree(buffer, model);
  return figures ? contentAgrees(buffer, model) : figures;
}

testing::AssertionResult logAgrees(const StringBuffer& buffer, const PlainStorage& model) {
  LogBase log;
  buffer.logSbMemUsage(log);
  if (!log.hasContext("sbMemUsage")) return testing::AssertionFailure() << "no context";
  if (log.valueOf("bufSize") != std::to_string(model.capacity))
    return testing::AssertionFailure() << "bufSize is " << log.valueOf("bufSize");
  if (log.valueOf("dataSize") != std::to_string(model.size()))
    return testing::AssertionFailure() << "dataSize is " << log.valueOf("dataSize");
  if (log.valueOf("str") != model.text()) return testing::AssertionFailure() << "str differs";
  return testing::AssertionSuccess();
}

// ---- Buffers that die in view ----

// Room for a buffer that is made in place or comes from a factory.
class Slot {
 public:
  Slot() { m_buffer = new (m_memory) StringBuffer(); }
  ~Slot() { destroy(); }
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  StringBuffer& operator*() const { return *m_buffer; }
  StringBuffer* operator->() const { return m_buffer; }
  bool isFromFactory() const { return m_buffer != at(); }

  // Destroys the buffer; true if its own memory then holds none of its bytes.
  bool destroy() {
    StringBuffer* const buffer = std::exchange(m_buffer, nullptr);
    if (buffer == nullptr) return true;
    if (buffer != at()) {
      StringBuffer::deleteSb(buffer);
      return true;
    }
    buffer->~StringBuffer();
    char bytes[sizeof layout().inlineArray];  // nothing is allocated here
    harness::peekBytes(m_memory + layout().offsetOf(layout().inlineArray), bytes, sizeof bytes);
    return isZero({bytes, sizeof bytes});
  }

  template <class... Args>
  void make(Args&&... args) {
    m_buffer = new (m_memory) StringBuffer(std::forward<Args>(args)...);
  }
  void adopt(StringBuffer* buffer) { m_buffer = buffer; }

 private:
  const void* at() const { return m_memory; }

  alignas(StringBuffer) unsigned char m_memory[sizeof(StringBuffer)];
  StringBuffer* m_buffer;
};

// ---- Random walks ----

// What an operation gives: its result and what it stores.
struct Outcome {
  unsigned int result = 0;
  unsigned int first = 0;
  unsigned int second = 0;
};

bool operator==(const Outcome& a, const Outcome& b) {
  return a.result == b.result && a.first == b.first && a.second == b.second;
}

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << outcome.result << " (" << outcome.first << ", " << outcome.second << ")";
}

Outcome gives(unsigned int result, unsigned int first = 0, unsigned int second = 0) {
  return {result, first, second};
}

// An operation on the buffers of a walk, and the same told on their models.
struct Deed {
  std::string name;
  std::function<Outcome()> real;
  std::function<Outcome(bool memory)> told;
  std::function<bool()> after;  // what else must hold; may be empty
  bool judged = true;           // whether the blocks that it releases are only content
};

// Bytes without and with NULs, from which arguments are cut.
std::string makePool(unsigned long long seed, bool nuls) {
  std::mt19937_64 random(seed);
  std::string pool(std::size_t{3} << 20, '\0');
  for (char& c : pool) {
    const auto drawn = random();
    c = nuls && drawn % 4 == 0 ? '\0' : static_cast<char>(1 + (drawn >> 8) % 255);
  }
  return pool;
}

const std::string& plainPool() {
  static const std::string pool = makePool(1, false);
  return pool;
}

const std::string& nulPool() {
  static const std::string pool = makePool(2, true);
  return pool;
}

struct WalkRules {
  unsigned int largestPiece = 6000;
  unsigned int largestContent = 20000;
  bool growing = false;    // most operations append, so that content becomes large
  bool allSecure = false;  // and then every released block is looked at
};

WalkRules megabytes() {
  WalkRules rules;
  rules.largestPiece = 400000;
  rules.largestContent = 3000000;
  rules.growing = true;
  return rules;
}

// Several buffers, changed by operations drawn at random, beside their models.
class Walk {
 public:
  Walk(unsigned long long seed, const WalkRules& rules) : m_random(seed), m_rules(rules) {
    plainPool();
    nulPool();
    for (std::size_t i = 0; i < kBuffers; ++i) {
      m_models[i].secure = rules.allSecure;
      m_slots[i]->setSecureBuf(rules.allSecure);
    }
  }

  ~Walk() { delete[] m_block; }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  // From now on the k-th allocation fails, of those that the operations make.
  void failAt(long k, FailAllocation::Mode mode) {
    m_failAt = k;
    m_mode = mode;
  }
  bool hasFailed() const { return m_failed; }

  testing::AssertionResult step();
  testing::AssertionResult walk(int steps);

 private:
  static constexpr std::size_t kBuffers = 4;
  using Maker = Deed (Walk::*)();

  StringBuffer& buffer() const { return *m_slots[m_target]; }
  StringBuffer& other() const { return *m_slots[m_source]; }
  PlainStorage& model() { return m_models[m_target]; }
  PlainStorage& otherModel() { return m_models[m_source]; }

  unsigned int below(std::uint64_t n) { return static_cast<unsigned int>(m_random() % n); }
  bool oneIn(unsigned int n) { return below(n) == 0; }
  void drawOther() { m_source = (m_target + 1 + below(kBuffers - 1)) % kBuffers; }

  unsigned int drawSize();
  unsigned int sizeUpToAStep();
  unsigned int drawPosition() { return oneIn(16) ? kMost - below(3) : below(model().size() + 3); }
  unsigned int drawExtendSize();
  const char* drawText();
  std::string_view drawBytes();
  void handOut(void* block) { m_block = static_cast<char*>(block); }

  Deed draw();
  Deed makeSmaller();
  Deed change(std::string name, std::function<void(StringBuffer&)> real,
              std::function<void(PlainStorage&)> told);

  Deed expectNumBytes();
  Deed appendN();
  Deed appendText();
  Deed appendOther();
  Deed appendChar();
  Deed appendMinSizeText();
  Deed appendMinSizeOther();
  Deed appendData();
  Deed setStringText();
  Deed setStringOther();
  Deed clear();
  Deed strongClear();
  Deed secureClear();
  Deed weakClear();
  Deed releaseBuffer();
  Deed shorten();
  Deed chopAt();
  Deed rollback();
  Deed removeChunk();
  Deed setExtendSize();
  Deed setSecureBuf();
  Deed allocBuffer();
  Deed construct();
  Deed constructFromText();
  Deed constructCopy();
  Deed constructByMove();
  Deed assignText();
  Deed assignOther();
  Deed makeNew();
  Deed makeNewFromText();
  Deed makeNewCopy();
  Deed makeNewWithExtendSize();
  Deed made(std::string name, std::function<StringBuffer*()> real,
            std::function<bool(PlainStorage&, bool memory)> told);
  Deed createCopy();
  Deed copyString();
  Deed copyToBuffer();
  Deed extractString();
  Deed extractString2();
  Deed takeSb();
  Deed takeFromDb();
  Deed takeFullDb();
  Deed minimizeMemoryUsage();
  Deed reserve();
  Deed dropReserve();

  void emptyTarget();
  void markSecure() {
    if (m_rules.allSecure) buffer().setSecureBuf(true);
  }
  PlainStorage freshModel() const {
    PlainStorage fresh;
    fresh.secure = m_rules.allSecure;
    return fresh;
  }

  Outcome run(const Deed& deed);
  Outcome runWatched(const Deed& deed);
  testing::AssertionResult compare(const Deed& deed, const Outcome& got, bool memory);
  testing::AssertionResult statesAgree();
  bool blockIs(std::string_view bytes);

  std::mt19937_64 m_random;
  WalkRules m_rules;
  std::array<Slot, kBuffers> m_slots;
  std::array<PlainStorage, kBuffers> m_models;
  std::size_t m_target = 0;
  std::size_t m_source = 0;
  std::string m_text;       // an argument
  char* m_block = nullptr;  // what an operation has handed out
  long m_failAt = 0;
  FailAllocation::Mode m_mode = FailAllocation::kOnce;
  bool m_failed = false;     // whether an allocation has failed
  bool m_failedNow = false;  // whether one has in this step
  int m_dirty = 0;           // storage released with bytes in it
};

// -- Arguments --

// How many bytes bring the content to the next step of the capacity, or one or two off it.
unsigned int Walk::sizeUpToAStep() {
  const unsigned int room = model().onHeap ? model().capacity - 1 : kInlineRoom;
  const unsigned int left = room - std::min(room, model().size());
  return std::min(left + below(4), m_rules.largestPiece) - std::min(left, below(2));
}

unsigned int Walk::drawSize() {
  switch (below(8)) {
    case 0:
      return below(3);
    case 1:
      return 78 + below(8);
    case 2:
      return below(90);
    case 3:
      return below(400);
    case 4:
    case 5:
      return sizeUpToAStep();
    case 6:
      return below(2000);
    default:
      return below(m_rules.largestPiece);
  }
}

unsigned int Walk::drawExtendSize() {
  constexpr unsigned int kSizes[] = {0, 0, 1, 17, 202, 5000, 499999, 500000, 500001, kMost};
  return kSizes[below(std::size(kSizes))];
}

// Often a new text, at times one in the buffer itself, at times null.
const char* Walk::drawText() {
  if (oneIn(40)) return nullptr;
  if (oneIn(8)) return buffer().getString() + below(buffer().getSize() + 1);
  const unsigned int n = drawSize();
  m_text = plainPool().substr(below(plainPool().size() - n), n);
  return m_text.c_str();
}

std::string_view Walk::drawBytes() {
  if (oneIn(8)) {
    const unsigned int from = below(buffer().getSize() + 1);
    return bytesIn(buffer()).substr(from, below(buffer().getSize() - from + 1));
  }
  const std::string& pool = oneIn(3) ? nulPool() : plainPool();
  const unsigned int n = drawSize();
  return std::string_view(pool).substr(below(pool.size() - n), n);
}

std::string copyOf(const char* text) { return text == nullptr ? ""s : std::string(text); }

// -- Growing --

Deed Walk::expectNumBytes() {
  const unsigned int n = oneIn(20) ? kMost - below(model().size() + 1) : drawSize();
  return {"expectNumBytes " + std::to_string(n),
          [this, n] { return gives(buffer().expectNumBytes(n)); },
          [this, n](bool memory) { return gives(model().expectNumBytes(n, memory)); },
          {}};
}

Deed Walk::appendN() {
  const std::string_view bytes = drawBytes();
  return {"appendN " + std::to_string(bytes.size()),
          [this, bytes] {
            return gives(buffer().appendN(bytes.data(), static_cast<unsigned int>(bytes.size())));
          },
          [this, copy = std::string(bytes)](bool memory) {
            return gives(model().appendN(copy, memory));
          },
          {}};
}

Deed Walk::appendText() {
  const char* text = drawText();
  return {"append a text",
          [this, text] { return gives(buffer().append(text)); },
          [this, copy = copyOf(text)](bool memory) { return gives(model().append(copy, memory)); },
          {}};
}

Deed Walk::appendOther() {
  if (oneIn(4)) m_source = m_target;
  return {"append a buffer",
          [this] { return gives(buffer().append(other())); },
          [this](bool memory) {
            if (m_source == m_target) return gives(false);
            return gives(model().appendN(otherModel().content, memory));
          },
          {}};
}

Deed Walk::appendChar() {
  const char c = oneIn(3) ? '\0' : 'x';
  return {"appendChar",
          [this, c] { return gives(buffer().appendChar(c)); },
          [this, c](bool memory) {
            return gives(model().append({&c, 1}, memory));
          },
          {}};
}

Deed Walk::appendMinSizeText() {
  const char* text = drawText();
  return {"appendMinSize of a text",
          [this, text] { return gives(buffer().appendMinSize(text)); },
          [this, copy = copyOf(text)](bool memory) {
            return gives(model().exactly([&] { return model().append(copy, memory); }));
          },
          {}};
}

Deed Walk::appendMinSizeOther() {
  return {"appendMinSize of a buffer",
          [this] { return gives(buffer().appendMinSize(other())); },
          [this](bool memory) {
            return gives(
                model().exactly([&] { return model().appendN(otherModel().content, memory); }));
          },
          {}};
}

Deed Walk::appendData() {
  auto data = std::make_shared<DataBuffer>();
  data->setSecure(m_rules.allSecure);
  const std::string bytes(drawBytes());
  data->append(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return {"append a DataBuffer",
          [this, data] { return gives(buffer().append(*data)); },
          [this, bytes](bool memory) { return gives(model().appendN(bytes, memory)); },
          {}};
}

// -- Replacing and emptying --

Deed Walk::setStringText() {
  const char* text = drawText();
  const bool own = text != nullptr && text >= buffer().getString() &&
                   text < buffer().getString() + buffer().getSize() && *text != '\0';
  return {own ? "setString of its own text" : "setString of a text",
          [this, text] { return gives(buffer().setString(text)); },
          [this, own, copy = copyOf(text)](bool memory) {
            if (own && copy.size() > kInlineRoom && !memory) return gives(false);
            model().weakClear();
            return gives(model().append(copy, memory));
          },
          {}};
}

Deed Walk::setStringOther() {
  if (oneIn(4)) m_source = m_target;
  return {"setString of a buffer",
          [this] { return gives(buffer().setString(other())); },
          [this](bool memory) {
            if (m_source == m_target) return gives(true);
            model().weakClear();
            return gives(model().appendN(otherModel().content, memory));
          },
          {}};
}

Deed Walk::change(std::string name, std::function<void(StringBuffer&)> real,
                  std::function<void(PlainStorage&)> told) {
  return {std::move(name),
          [this, real = std::move(real)] {
            real(buffer());
            return gives(0);
          },
          [this, told = std::move(told)](bool) {
            told(model());
            return gives(0);
          },
          {}};
}

Deed Walk::clear() {
  return change(
      "clear", [](StringBuffer& b) { b.clear(); }, [](PlainStorage& m) { m.clear(); });
}

Deed Walk::strongClear() {
  return change(
      "strongClear", [](StringBuffer& b) { b.strongClear(); }, [](PlainStorage& m) { m.clear(); });
}

Deed Walk::secureClear() {
  return change(
      "secureClear", [](StringBuffer& b) { b.secureClear(); }, [](PlainStorage& m) { m.clear(); });
}

// The block stays where it is.
Deed Walk::weakClear() {
  const char* const kept = buffer().getString();
  Deed deed = change(
      "weakClear", [](StringBuffer& b) { b.weakClear(); }, [](PlainStorage& m) { m.weakClear(); });
  deed.after = [this, kept] { return buffer().getString() == kept; };
  return deed;
}

// Its length is stale until the buffer is emptied.
Deed Walk::releaseBuffer() {
  return {"releaseBuffer",
          [this, how = below(3)] {
            const unsigned int size = buffer().getSize();
            buffer().releaseBuffer();
            const Outcome outcome = gives(buffer().heapUsage() == 0, buffer().getSize() == size);
            if (how == 0) buffer().clear();
            if (how == 1) buffer().weakClear();
            if (how == 2) buffer().setString("");
            return outcome;
          },
          [this](bool) {
            model().clear();
            return gives(1, 1);
          },
          {}};
}

// -- Truncations --

Deed Walk::shorten() {
  const unsigned int n = oneIn(20) ? kMost : below(model().size() / (oneIn(4) ? 1 : 8) + 2);
  const unsigned int before = model().size();
  Deed deed = change(
      "shorten " + std::to_string(n), [n](StringBuffer& b) { b.shorten(n); },
      [n](PlainStorage& m) { m.content.resize(m.size() - std::min(n, m.size())); });
  deed.after = [this, before] {
    return isZero({buffer().getString() + buffer().getSize(), before - buffer().getSize()});
  };
  return deed;
}

// The bytes after the new end stay.
Deed Walk::chopAt() {
  const unsigned int index = drawPosition();
  const std::string before(bytesIn(buffer()));
  Deed deed = change(
      "chopAt " + std::to_string(index), [index](StringBuffer& b) { b.chopAt(index); },
      [index](PlainStorage& m) {
        if (index < m.size()) m.content.resize(index);
      });
  deed.after = [this, before] {
    const std::size_t from = std::min<std::size_t>(buffer().getSize() + 1U, before.size());
    return std::string_view(buffer().getString() + from, before.size() - from) ==
           std::string_view(before).substr(from);
  };
  return deed;
}

Deed Walk::rollback() {
  const unsigned int n = drawPosition();
  const unsigned int before = model().size();
  return {"rollback " + std::to_string(n), [this, n] { return gives(buffer().rollback(n)); },
          [this, n](bool) {
            if (n < model().size()) model().content.resize(n);
            return gives(model().size());
          },
          [this, before] {
            return isZero({buffer().getString() + buffer().getSize(), before - buffer().getSize()});
          }};
}

Deed Walk::removeChunk() {
  const unsigned int start = drawPosition();
  const unsigned int count = oneIn(3) ? drawPosition() : below(20);
  return {"removeChunk " + std::to_string(start) + ", " + std::to_string(count),
          [this, start, count] { return gives(buffer().removeChunk(start, count)); },
          [this, start, count](bool) { return gives(model().removeChunk(start, count)); },
          {}};
}

// -- Settings --

Deed Walk::setExtendSize() {
  const unsigned int size = drawExtendSize();
  return change(
      "setExtendSize " + std::to_string(size), [size](StringBuffer& b) { b.setExtendSize(size); },
      [size](PlainStorage& m) { m.extendSize = size; });
}

Deed Walk::setSecureBuf() {
  const bool secure = m_rules.allSecure || oneIn(2);
  return change(
      "setSecureBuf", [secure](StringBuffer& b) { b.setSecureBuf(secure); },
      [secure](PlainStorage& m) { m.secure = secure; });
}

Deed Walk::allocBuffer() {
  const unsigned int n = drawSize();
  return {"allocBuffer",
          [this, n] {
            handOut(StringBuffer::allocBuffer(n));
            return gives(m_block != nullptr);
          },
          [](bool memory) { return gives(memory); },
          [this, n] {
            if (m_block != nullptr) std::memset(m_block, 'x', n);
            return true;
          }};
}

// -- Construction --

void Walk::emptyTarget() {
  if (!m_slots[m_target].destroy() && m_rules.allSecure) ++m_dirty;
}

Deed Walk::construct() {
  return {"construct",
          [this] {
            emptyTarget();
            m_slots[m_target].make();
            markSecure();
            return gives(0);
          },
          [this](bool) {
            model() = freshModel();
            return gives(0);
          },
          {},
          !m_slots[m_target].isFromFactory()};
}

Deed Walk::constructFromText() {
  const std::string copy = copyOf(drawText());
  m_text = copy;
  return {"construct from a text",
          [this] {
            emptyTarget();
            m_slots[m_target].make(m_text.c_str());
            markSecure();
            return gives(0);
          },
          [this, copy](bool memory) {
            model() = freshModel();
            model().append(copy, memory);
            return gives(0);
          },
          {},
          !m_slots[m_target].isFromFactory()};
}

// The flag is copied, so nothing needs to mark it.
Deed Walk::constructCopy() {
  drawOther();
  return {"construct a copy",
          [this] {
            emptyTarget();
            m_slots[m_target].make(std::as_const(other()));
            return gives(0);
          },
          [this](bool memory) {
            model() = PlainStorage();
            model().secure = otherModel().secure;
            model().appendN(otherModel().content, memory);
            return gives(0);
          },
          {},
          !m_slots[m_target].isFromFactory()};
}

// Content, block and extend size come as with takeSb(), and the flag, which the source keeps.
Deed Walk::constructByMove() {
  drawOther();
  const void* const block = otherModel().onHeap ? heapBlock(other()) : nullptr;
  return {"construct by a move",
          [this] {
            emptyTarget();
            m_slots[m_target].make(std::move(other()));
            return gives(0);
          },
          [this](bool) {
            model().secure = otherModel().secure;
            model().take(otherModel());
            return gives(0);
          },
          [this, block] { return block == nullptr || buffer().getString() == block; },
          !m_slots[m_target].isFromFactory()};
}

Deed Walk::assignText() {
  const char* text = drawText();
  return {"assign a text",
          [this, text] { return gives(&(buffer() = text) == &buffer()); },
          [this, copy = copyOf(text)](bool memory) {
            model().append(copy, memory);
            return gives(true);
          },
          {}};
}

Deed Walk::assignOther() {
  if (oneIn(8)) m_source = m_target;
  return {"assign a buffer",
          [this] { return gives(&(buffer() = other()) == &buffer()); },
          [this](bool memory) {
            model().clear();
            if (m_source != m_target) model().appendN(otherModel().content, memory);
            return gives(true);
          },
          {}};
}

// Without a result of the factory, the slot gets an empty buffer.
Deed Walk::made(std::string name, std::function<StringBuffer*()> real,
                std::function<bool(PlainStorage&, bool memory)> told) {
  return {std::move(name),
          [this, real = std::move(real)] {
            StringBuffer* const result = real();
            emptyTarget();
            if (result == nullptr)
              m_slots[m_target].make();
            else
              m_slots[m_target].adopt(result);
            markSecure();
            return gives(result != nullptr);
          },
          [this, told = std::move(told)](bool memory) {
            PlainStorage fresh = freshModel();
            const bool done = memory && told(fresh, memory);
            model() = done ? fresh : freshModel();
            return gives(done);
          },
          {},
          false};
}

Deed Walk::makeNew() {
  return made(
      "createNewSB", [] { return StringBuffer::createNewSB(); },
      [](PlainStorage&, bool) { return true; });
}

Deed Walk::makeNewFromText() {
  const std::string copy = copyOf(drawText());
  m_text = copy;
  return made(
      "createNewSB of a text", [this] { return StringBuffer::createNewSB(m_text.c_str()); },
      [copy](PlainStorage& m, bool memory) { return m.append(copy, memory); });
}

Deed Walk::makeNewCopy() {
  return made(
      "createNewSB of a buffer", [this] { return StringBuffer::createNewSB(other()); },
      [copy = otherModel().content](PlainStorage& m, bool memory) {
        return m.exactly([&] { return m.appendN(copy, memory); });
      });
}

Deed Walk::makeNewWithExtendSize() {
  const unsigned int size = drawExtendSize();
  return made(
      "createNewSB of an extend size", [size] { return StringBuffer::createNewSB(size); },
      [size](PlainStorage& m, bool) {
        m.extendSize = size;
        return true;
      });
}

// -- Copies and transfers --

// What was handed out has these bytes and a NUL; also if nothing was.
bool Walk::blockIs(std::string_view bytes) {
  return m_block == nullptr ||
         (std::string_view(m_block, bytes.size()) == bytes && m_block[bytes.size()] == '\0');
}

Deed Walk::createCopy() {
  return {"createCopy",
          [this] {
            handOut(buffer().createCopy());
            return gives(m_block != nullptr);
          },
          [](bool memory) { return gives(memory); },
          [this, content = model().content] { return blockIs(content); }};
}

Deed Walk::copyString() {
  const bool tells = !oneIn(4);
  return {"copyString",
          [this, tells] {
            unsigned int length = 7;
            handOut(buffer().copyString(tells ? &length : nullptr));
            return gives(m_block != nullptr, length);
          },
          [this, tells](bool memory) { return gives(memory, tells ? model().size() : 7); },
          [this, text = model().text(), n = model().size()] {
            return blockIs(text) && (m_block == nullptr || m_block[n] == '\0');
          }};
}

Deed Walk::copyToBuffer() {
  const auto target = std::make_shared<std::string>(model().size() + 4, '#');
  const unsigned int size = below(target->size() + 1);
  const unsigned int n = size == 0 ? 0 : std::min(model().size(), size - 1);
  std::string expected(*target);
  if (size != 0) {
    const std::string text = model().text().substr(0, n);
    std::copy(text.begin(), text.end(), expected.begin());
    if (text.size() < n) expected[text.size()] = '\0';
    expected[n] = '\0';
  }
  return {"copyToBuffer",
          [this, target, size] { return gives(buffer().copyToBuffer(target->data(), size)); },
          [n](bool) { return gives(n); }, [target, expected] { return *target == expected; }};
}

Deed Walk::extractString() {
  const bool tells = !oneIn(4);
  const void* const block = model().onHeap ? heapBlock(buffer()) : nullptr;
  return {"extractString",
          [this, tells] {
            unsigned int length = 7;
            handOut(buffer().extractString(tells ? &length : nullptr));
            return gives(m_block != nullptr, length);
          },
          [this, tells](bool memory) {
            const Outcome outcome = gives(model().onHeap || memory, tells ? model().size() : 7);
            if (outcome.result) model().clear();
            return outcome;
          },
          [this, block, content = model().content] {
            return blockIs(content) && (block == nullptr || m_block == block);
          }};
}

Deed Walk::extractString2() {
  const void* const block = model().onHeap ? heapBlock(buffer()) : nullptr;
  return {"extractString2",
          [this] {
            unsigned int length = 7;
            unsigned int size = 8;
            handOut(buffer().extractString2(length, size));
            return gives(m_block != nullptr, length, size);
          },
          [this](bool memory) {
            if (!model().onHeap && !memory) return gives(0, model().size(), 8);
            const unsigned int length = model().size();
            const unsigned int size = model().onHeap ? model().capacity : length + 1;
            model().clear();
            return gives(1, length, size);
          },
          [this, block, content = model().content] {
            return blockIs(content) && (block == nullptr || m_block == block);
          }};
}

Deed Walk::takeSb() {
  if (oneIn(8)) m_source = m_target;
  const void* const block =
      otherModel().onHeap && m_source != m_target ? heapBlock(other()) : nullptr;
  return {"takeSb",
          [this] {
            buffer().takeSb(other());
            return gives(0);
          },
          [this](bool) {
            model().clear();
            if (m_source != m_target) model().take(otherModel());
            return gives(0);
          },
          [this, block] { return block == nullptr || buffer().getString() == block; }};
}

// The source has its terminator or the room for it, so that its block stays.
Deed Walk::takeFromDb() {
  auto data = std::make_shared<DataBuffer>();
  data->setSecure(m_rules.allSecure);
  std::string bytes(drawBytes().substr(0, oneIn(4) ? 2 : std::string::npos));
  const auto n = static_cast<unsigned int>(bytes.size());
  data->ensureBuffer(n + 1 + below(300));
  data->append(bytes.data(), n);
  if (oneIn(2)) data->prepForSbTake();
  const unsigned int room = data->getBufSize();
  const bool taken = n != 0 && bytes != "\0"s;
  if (taken && bytes.back() == '\0') bytes.pop_back();
  return {"takeFromDb", [this, data] { return gives(buffer().takeFromDb(*data)); },
          [this, bytes, room, taken](bool) {
            model().clear();
            if (taken) model().adopt(bytes, room);
            return gives(true);
          },
          [data, taken, room] { return data->getBufSize() == (taken ? 0 : room); }};
}

// The source may have to grow for its terminator.
Deed Walk::takeFullDb() {
  auto data = std::make_shared<DataBuffer>();
  data->setSecure(m_rules.allSecure);
  const std::string bytes = plainPool().substr(below(1000), 1 + drawSize());
  const auto n = static_cast<unsigned int>(bytes.size());
  data->append(bytes.data(), n);
  return {"takeFromDb of a full DataBuffer",
          [this, data] { return gives(buffer().takeFromDb(*data)); },
          [this, bytes, n](bool memory) {
            model().clear();
            if (memory) model().adopt(bytes, std::max(n + 1, buffer().heapUsage()));
            return gives(memory);
          },
          [this, data, n] { return data->getSize() == (buffer().heapUsage() == 0 ? n : 0); }};
}

Deed Walk::minimizeMemoryUsage() {
  return {"minimizeMemoryUsage",
          [this] {
            buffer().minimizeMemoryUsage();
            return gives(0);
          },
          [this](bool memory) {
            model().minimize(memory);
            return gives(0);
          },
          {}};
}

// -- Room that nobody sees --

Deed Walk::reserve() {
  if (model().extendSize == kMost) return dropReserve();  // or memory for the slack is taken
  const std::uint64_t total =
      oneIn(20) ? std::uint64_t{1} << 40 : std::uint64_t{model().size()} + drawSize();
  return change(
      "reserve " + std::to_string(total),
      [total](StringBuffer& b) { BufferAccess(b).reserve(total); }, [](PlainStorage&) {});
}

Deed Walk::dropReserve() {
  return change(
      "dropReserve", [](StringBuffer& b) { BufferAccess(b).dropReserve(); }, [](PlainStorage&) {});
}

// -- Steps --

Deed Walk::makeSmaller() {
  constexpr Maker kMakers[] = {&Walk::clear,         &Walk::secureClear, &Walk::weakClear,
                               &Walk::chopAt,        &Walk::rollback,    &Walk::extractString2,
                               &Walk::setStringText, &Walk::construct,   &Walk::strongClear};
  return (this->*kMakers[below(std::size(kMakers))])();
}

Deed Walk::draw() {
  constexpr std::size_t kGrowing = 10;
  constexpr Maker kMakers[] = {
      // kGrowing of them, more often
      &Walk::appendN, &Walk::appendN, &Walk::appendN, &Walk::appendText, &Walk::appendText,
      &Walk::appendChar, &Walk::appendOther, &Walk::reserve, &Walk::reserve, &Walk::shorten,
      // each of the others once
      &Walk::expectNumBytes, &Walk::appendMinSizeText, &Walk::appendMinSizeOther, &Walk::appendData,
      &Walk::setStringText, &Walk::setStringOther, &Walk::clear, &Walk::strongClear,
      &Walk::secureClear, &Walk::weakClear, &Walk::releaseBuffer, &Walk::chopAt, &Walk::rollback,
      &Walk::removeChunk, &Walk::setExtendSize, &Walk::setSecureBuf, &Walk::allocBuffer,
      &Walk::construct, &Walk::constructFromText, &Walk::constructCopy, &Walk::constructByMove,
      &Walk::assignText, &Walk::assignOther, &Walk::makeNew, &Walk::makeNewFromText,
      &Walk::makeNewCopy, &Walk::makeNewWithExtendSize, &Walk::createCopy, &Walk::copyString,
      &Walk::copyToBuffer, &Walk::extractString, &Walk::extractString2, &Walk::takeSb,
      &Walk::takeFromDb, &Walk::takeFullDb, &Walk::minimizeMemoryUsage, &Walk::dropReserve};
  m_target = below(kBuffers);
  drawOther();
  if (std::max(model().size(), otherModel().size()) > m_rules.largestContent) {
    if (otherModel().size() > model().size()) std::swap(m_target, m_source);
    return makeSmaller();
  }
  const bool grows = m_rules.growing && !oneIn(20);
  return (this->*kMakers[below(grows ? kGrowing : std::size(kMakers))])();
}

Outcome Walk::run(const Deed& deed) {
  const bool nothingIsLeft = m_failed && m_mode == FailAllocation::kFromThenOn;
  const long k = nothingIsLeft ? 1 : m_failAt;
  FailAllocation fail(k, m_mode);
  const Outcome outcome = deed.real();
  m_failedNow = fail.fired();
  m_failed = m_failed || m_failedNow;
  if (m_failAt > 0) m_failAt = std::max(0L, m_failAt - fail.seen());
  return outcome;
}

Outcome Walk::runWatched(const Deed& deed) {
  const void* const block = heapBlock(buffer());
  const WatchReleases watch([&](const unsigned char* released, std::size_t size) {
    if ((deed.judged || released == block) && !harness::isWiped(released, size)) ++m_dirty;
  });
  return run(deed);
}

testing::AssertionResult Walk::statesAgree() {
  for (const std::size_t i : {m_target, m_source}) {
    const testing::AssertionResult same = agrees(*m_slots[i], m_models[i]);
    if (!same) return same;
  }
  return model().size() < 4000 || oneIn(50) ? logAgrees(buffer(), model())
                                            : testing::AssertionSuccess();
}

testing::AssertionResult Walk::compare(const Deed& deed, const Outcome& got, bool memory) {
  const Outcome expected = deed.told(memory);
  if (got == expected) return statesAgree();
  return testing::AssertionFailure() << "it gave " << got << " instead of " << expected;
}

// After a failed allocation the operation has failed, or it has done without that block.
testing::AssertionResult Walk::step() {
  const Deed deed = draw();
  const auto before = m_failAt > 0 || m_failed ? std::optional(m_models) : std::nullopt;
  const Outcome got = m_rules.allSecure ? runWatched(deed) : run(deed);
  testing::AssertionResult same = compare(deed, got, true);
  if (!same && m_failedNow) {
    m_models = *before;
    same = compare(deed, got, false);
  }
  if (same && deed.after && !deed.after()) same = testing::AssertionFailure() << "what is left";
  if (same && m_dirty != 0) same = testing::AssertionFailure() << "bytes are left in a block";
  delete[] std::exchange(m_block, nullptr);
  if (same) return same;
  return testing::AssertionFailure() << deed.name << " on buffer " << m_target << ", other "
                                     << m_source << ": " << same.message();
}

testing::AssertionResult Walk::walk(int steps) {
  for (int i = 0; i < steps; ++i) {
    const testing::AssertionResult same = step();
    if (!same) return testing::AssertionFailure() << "step " << i << ": " << same.message();
  }
  return testing::AssertionSuccess();
}

// Whether the walk leaks nothing, too.
testing::AssertionResult walks(unsigned long long seed, int steps, const WalkRules& rules) {
  plainPool();
  nulPool();
  layout();
  const long live = liveBlocks();
  {
    const testing::AssertionResult same = Walk(seed, rules).walk(steps);
    if (!same) return testing::AssertionFailure() << "seed " << seed << ", " << same.message();
  }
  return liveBlocks() == live ? testing::AssertionSuccess()
                              : differs("number of blocks", liveBlocks(), live);
}

TEST(StorageRules, RandomOperationsRecordWhatTheStepsSay) {
  for (unsigned long long seed = 1; seed <= 50; ++seed) ASSERT_TRUE(walks(seed, 4000, {}));
}

// The extend size reaches 500000, and blocks are held that are larger than recorded.
TEST(StorageRules, RandomOperationsOnMegabytesRecordWhatTheStepsSay) {
  for (unsigned long long seed = 1; seed <= 4; ++seed) ASSERT_TRUE(walks(seed, 800, megabytes()));
}

TEST(StorageRules, SecureBuffersReleaseNoBytes) {
  WalkRules rules;
  rules.allSecure = true;
  for (unsigned long long seed = 1; seed <= 20; ++seed) ASSERT_TRUE(walks(seed, 3000, rules));
}

TEST(StorageRules, SecureBuffersOfMegabytesReleaseNoBytes) {
  WalkRules rules = megabytes();
  rules.allSecure = true;
  for (unsigned long long seed = 1; seed <= 3; ++seed) ASSERT_TRUE(walks(seed, 400, rules));
}

// Every allocation of the walk fails in turn, alone or with all later ones.
void expectSurvives(unsigned long long seed, int steps, const WalkRules& rules,
                    FailAllocation::Mode mode) {
  bool failed = true;
  for (long k = 1; failed; ++k) {
    const long live = liveBlocks();
    {
      Walk walk(seed, rules);
      walk.failAt(k, mode);
      ASSERT_TRUE(walk.walk(steps)) << "seed " << seed << ", allocation " << k;
      failed = walk.hasFailed();
    }
    ASSERT_EQ(liveBlocks(), live) << "seed " << seed << ", allocation " << k;
  }
}

TEST(StorageRules, AFailedAllocationLeavesTheStatedState) {
  WalkRules rules;
  walks(1, 1, rules);
  for (const bool secure : {false, true}) {
    rules.allSecure = secure;
    for (const auto mode : {FailAllocation::kOnce, FailAllocation::kFromThenOn})
      for (unsigned long long seed = 1; seed <= 40; ++seed) expectSurvives(seed, 50, rules, mode);
  }
}

TEST(StorageRules, AFailedAllocationOfMegabytesLeavesTheStatedState) {
  const WalkRules rules = megabytes();
  walks(1, 1, rules);
  for (const auto mode : {FailAllocation::kOnce, FailAllocation::kFromThenOn})
    for (unsigned long long seed = 1; seed <= 3; ++seed) expectSurvives(seed, 70, rules, mode);
}

// ---- Allocations of a text that is built by appends ----

struct Building {
  long long blocks = 0;
  double bytesPerByte = 0;  // asked for per byte of content, at powers of two
  double most = 0;          // and at any size from 1 KiB
};

// Appends pieces, which never fail, up to `total` bytes. What is recorded follows the steps.
Building build(unsigned int piece, unsigned int total) {
  const std::string bytes(piece, 'p');
  StringBuffer buffer;
  harness::GrowthModel steps;
  Building seen;
  const harness::AllocationCount start = allocationsMade();
  for (unsigned int power = 1024; steps.length < total;) {
    buffer.appendN(bytes.data(), piece);
    steps.append(piece);
    if (steps.length < 1024) continue;
    const auto asked = static_cast<double>(allocationsMade().bytes - start.bytes);
    seen.most = std::max(seen.most, asked / steps.length);
    if (steps.length < power) continue;
    seen.bytesPerByte = std::max(seen.bytesPerByte, asked / steps.length);
    while (power <= steps.length) power *= 2;
  }
  seen.blocks = allocationsMade().blocks - start.blocks;
  EXPECT_EQ(buffer.getSize(), steps.length);
  EXPECT_EQ(buffer.heapUsage(), steps.capacity);
  EXPECT_EQ(buffer.getExtendSize(), steps.extendSize);
  return seen;
}

// Each block is at least half as large again as the one before.
void expectCheapBuilding(unsigned int piece, unsigned int total) {
  long long most = 2;
  for (double size = kInlineRoom; size < total; size *= 1.5) ++most;
  const Building seen = build(piece, total);
  EXPECT_LE(seen.blocks, most) << total << " bytes by " << piece;
  EXPECT_LE(seen.bytesPerByte, 5.0) << total << " bytes by " << piece;
  EXPECT_LE(seen.most, 6.0) << total << " bytes by " << piece;
}

TEST(StorageRules, ATextBuiltByAppendsTakesFewBlocksAndBytes) {
  expectCheapBuilding(1, 1 << 20);
  expectCheapBuilding(16, 1 << 22);
  for (const unsigned int piece : {50U, 64U, 100U, 1000U, 3000U, 4096U, 10000U, 16384U, 65536U})
    for (const unsigned int total : {1U << 16, 1U << 20, 1U << 24})
      expectCheapBuilding(piece, total);
}

TEST(StorageRules, AQuarterOfAGigabyteTakesFewBlocksAndBytesToo) {
  expectCheapBuilding(4096, 1 << 28);
}

// ---- Held memory ----

std::string lettersUpTo(std::size_t n) {
  static const std::string all = harness::letters(3000000);
  return all.substr(0, n);
}

void fillLinear(StringBuffer& buffer, unsigned int room) {
  buffer.setExtendSize(500000);
  buffer.expectNumBytes(2000000 - 500001);
  buffer.appendCharN('x', 2000000 - 1 - room);
}

TEST(HeldMemory, OfLinearStepsIsHalfAsLargeAgain) {
  StringBuffer buffer;
  fillLinear(buffer, 0);
  ASSERT_EQ(buffer.heapUsage(), 2000000U);
  const unsigned int held = heldSize(buffer);
  unsigned int recorded = 0;
  for (int i = 0; i < 10; ++i) {
    const unsigned int before = heldSize(buffer);
    buffer.appendCharN('y', 300000);
    recorded = buffer.heapUsage();
    EXPECT_GE(heldSize(buffer), recorded);
    if (heldSize(buffer) != before) {
      EXPECT_GE(heldSize(buffer), before + before / 2);
    }
  }
  EXPECT_GT(recorded, held);
}

TEST(HeldMemory, ThatCannotBeHadFallsBackToTheRecordedSize) {
  StringBuffer buffer;
  fillLinear(buffer, 0);
  ASSERT_EQ(heldSize(buffer), buffer.heapUsage());
  bool appended = false;
  {
    const FailAllocation fail(1);
    appended = buffer.append("yz");
    EXPECT_EQ(fail.seen(), 2);
  }
  EXPECT_TRUE(appended);
  EXPECT_TRUE(holds(buffer, std::string(1999999, 'x') + "yz", 2500002, 500000));
  EXPECT_EQ(heldSize(buffer), 2500002U);
}

TEST(HeldMemory, IsUnchangedWithoutMemory) {
  StringBuffer buffer;
  fillLinear(buffer, 0);
  bool appended = true;
  {
    const FailAllocation fail(1, FailAllocation::kFromThenOn);
    appended = buffer.append("yz");
  }
  EXPECT_FALSE(appended);
  EXPECT_TRUE(holds(buffer, std::string(1999999, 'x'), 2000000, 500000));
}

// What makes a block of exact size from 3000 bytes, each beside its recorded capacity.
struct ExactFit {
  const char* name;
  std::function<void(StringBuffer&, const std::string&)> make;
};

const ExactFit kExactFits[] = {
    {"an extend size of 0",
     [](StringBuffer& b, const std::string& s) {
       b.setExtendSize(0);
       b.append(s.c_str());
     }},
    {"appendMinSize of a text",
     [](StringBuffer& b, const std::string& s) { b.appendMinSize(s.c_str()); }},
    {"appendMinSize of a buffer",
     [](StringBuffer& b, const std::string& s) { b.appendMinSize(StringBuffer(s.c_str())); }},
    {"appendMinSize of half and half",
     [](StringBuffer& b, const std::string& s) {
       b.appendMinSize(s.substr(0, s.size() / 2).c_str());
       b.appendMinSize(s.substr(s.size() / 2).c_str());
     }},
    {"createNewSB of a buffer",
     [](StringBuffer& b, const std::string& s) {
       const StringBuffer source(s.c_str());
       StringBuffer* made = StringBuffer::createNewSB(source);
       b.takeSb(*made);
       StringBuffer::deleteSb(made);
     }},
    {"minimizeMemoryUsage",
     [](StringBuffer& b, const std::string& s) {
       b.setExtendSize(500000);
       b.append(s.c_str());
       b.minimizeMemoryUsage();
     }},
    {"minimizeMemoryUsage after a reservation",
     [](StringBuffer& b, const std::string& s) {
       BufferAccess(b).reserve(s.size() * 3);
       b.setExtendSize(500000);
       b.append(s.c_str());
       b.minimizeMemoryUsage();
     }},
};

TEST(HeldMemory, OfExactFitsIsWhatIsRecorded) {
  for (const ExactFit& fit : kExactFits) {
    for (const std::size_t size : {std::size_t{82}, std::size_t{3000}, std::size_t{3000000}}) {
      StringBuffer buffer;
      fit.make(buffer, lettersUpTo(size));
      EXPECT_EQ(buffer.heapUsage(), size + 1) << fit.name;
      EXPECT_EQ(heldSize(buffer), size + 1) << fit.name;
    }
  }
}

// ---- Room that is reserved ----

TEST(ReservedRoom, IsOneAllocationAndTheStepsAreRecordedAsWithout) {
  for (const unsigned int total : {82U, 300U, 5000U, 100000U, 3000000U}) {
    for (const unsigned int piece : {1U, 7U, 100U, 60000U}) {
      if (total / piece > 100000) continue;
      StringBuffer buffer;
      harness::GrowthModel steps;
      const std::string bytes(piece, 'r');
      const auto start = allocationsMade().blocks;
      BufferAccess(buffer).reserve(total);
      for (unsigned int left = total; left > 0;) {
        const unsigned int n = std::min(piece, left);
        buffer.appendN(bytes.data(), n);
        steps.append(n);
        left -= n;
        ASSERT_EQ(buffer.heapUsage(), steps.capacity) << total << " by " << piece;
        ASSERT_EQ(buffer.getExtendSize(), steps.extendSize) << total << " by " << piece;
      }
      EXPECT_EQ(allocationsMade().blocks - start, 1) << total << " by " << piece;
    }
  }
}

TEST(ReservedRoom, ChangesNothingThatIsRecorded) {
  for (const unsigned int size : {0U, 5U, 81U, 82U, 284U, 5000U}) {
    for (const std::uint64_t total : {std::uint64_t{0}, std::uint64_t{90}, std::uint64_t{1} << 20,
                                      std::uint64_t{1} << 32, ~std::uint64_t{0}}) {
      StringBuffer buffer;
      buffer.append(lettersUpTo(size).c_str());
      const harness::BufferState before = harness::stateOf(buffer);
      BufferAccess(buffer).reserve(total);
      EXPECT_EQ(harness::stateOf(buffer), before) << size << ", " << total;
      BufferAccess(buffer).dropReserve();
      EXPECT_EQ(harness::stateOf(buffer), before) << size << ", " << total;
    }
  }
}

TEST(ReservedRoom, ThatCannotBeHadChangesNothing) {
  for (const unsigned int size : {0U, 81U, 82U, 5000U}) {
    StringBuffer buffer;
    buffer.append(lettersUpTo(size).c_str());
    const harness::BufferState before = harness::stateOf(buffer);
    const char* const data = buffer.getString();
    const unsigned int held = heldSize(buffer);
    {
      const FailAllocation fail(1, FailAllocation::kFromThenOn);
      BufferAccess(buffer).reserve(100000);
      EXPECT_TRUE(fail.fired());
    }
    EXPECT_EQ(harness::stateOf(buffer), before);
    EXPECT_EQ(buffer.getString(), data);
    EXPECT_EQ(heldSize(buffer), held);
  }
}

TEST(ReservedRoom, IsGivenBackWhenItWasNotNeeded) {
  StringBuffer buffer("abc");
  const long live = liveBlocks();
  BufferAccess(buffer).reserve(1000);
  EXPECT_EQ(liveBlocks(), live + 1);
  BufferAccess(buffer).dropReserve();
  EXPECT_EQ(liveBlocks(), live);
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
  BufferAccess(buffer).dropReserve();
  EXPECT_TRUE(holds(buffer, "abc", 0, 202));
}

TEST(ReservedRoom, OfASecureBufferIsReleasedWiped) {
  for (const unsigned int size : {10U, 81U, 82U, 284U, 5000U}) {
    const auto blocks = releasedBy([&] {
      StringBuffer buffer;
      buffer.setSecureBuf(true);
      buffer.appendCharN('s', size);
      BufferAccess(buffer).reserve(20000);
      buffer.appendCharN('s', 10000);
      buffer.shorten(9000);
      buffer.minimizeMemoryUsage();
    });
    EXPECT_GE(blocks.size(), 2U) << size;
    EXPECT_TRUE(allWiped(blocks)) << size;
  }
}

// ---- Arguments inside the buffer ----

// A buffer in which the next `length` bytes reach its room, all but `spare` bytes; and a place in
// its storage where an argument of that many bytes begins.
struct OwnPlace {
  unsigned int capacity = 0;  // 0: inline
  unsigned int length = 0;
  int spare = 0;
  unsigned int reserved = 0;  // in addition
  bool secure = false;
  int place = 0;

  unsigned int room() const { return capacity == 0 ? kInlineRoom + 1 : capacity; }
  // Size of the content; beyond the room if there is no such place.
  unsigned int size() const { return room() - 1 - static_cast<unsigned int>(spare) - length; }
};

std::ostream& operator<<(std::ostream& out, const OwnPlace& own) {
  return out << "capacity " << own.capacity << ", length " << own.length << ", spare " << own.spare
             << ", reserved " << own.reserved << ", secure " << own.secure << ", place "
             << own.place;
}

constexpr int kPlaces = 7;

// Start, middle, last byte, across the end, terminator, past it, and the unused inline array.
std::optional<unsigned int> offsetOf(const OwnPlace& own) {
  const unsigned int size = own.size();
  const unsigned int offsets[] = {0, size / 2, size - 1, size - own.length / 2, size, size + 1};
  const unsigned int offset = offsets[own.place];
  if (size >= own.room() || offset > size + 1 || offset + own.length > own.room())
    return std::nullopt;
  return offset;
}

// The content goes in after the room has been reserved, so that the bytes past its end are there.
void fillAround(StringBuffer& buffer, const OwnPlace& own, unsigned int nulAt) {
  buffer.setSecureBuf(own.secure);
  buffer.append(std::string(kInlineRoom, 'I').c_str());
  buffer.chopAt(0);
  buffer.setExtendSize(0);
  if (own.capacity != 0) buffer.expectNumBytes(own.capacity - 1);
  buffer.setExtendSize(own.capacity > 1000000 ? 500000 : 202);
  if (own.reserved != 0) BufferAccess(buffer).reserve(std::uint64_t{own.room()} + own.reserved);
  std::string bytes = lettersUpTo(own.room() - 1);
  if (nulAt < bytes.size()) bytes[nulAt] = '\0';
  harness::appendRaw(buffer, bytes);
  buffer.chopAt(own.size());
}

PlainStorage modelOf(StringBuffer& buffer) {
  PlainStorage model;
  model.content = std::string(bytesIn(buffer));
  model.onHeap = buffer.heapUsage() != 0;
  model.capacity = buffer.heapUsage();
  model.extendSize = buffer.getExtendSize();
  model.secure = isSecure(buffer);
  return model;
}

// An operation that takes a place and a number of bytes, or the text there.
struct TakesPlace {
  const char* name;
  bool text;
  std::function<bool(StringBuffer&, const char*, unsigned int)> real;
  std::function<bool(PlainStorage&, const std::string&)> told;
};

const TakesPlace kTakesPlace[] = {
    {"appendN", false,
     [](StringBuffer& b, const char* p, unsigned int n) { return b.appendN(p, n); },
     [](PlainStorage& m, const std::string& bytes) { return m.appendN(bytes, true); }},
    {"append", true, [](StringBuffer& b, const char* p, unsigned int) { return b.append(p); },
     [](PlainStorage& m, const std::string& text) { return m.append(text, true); }},
    {"appendMinSize", true,
     [](StringBuffer& b, const char* p, unsigned int) { return b.appendMinSize(p); },
     [](PlainStorage& m, const std::string& text) {
       return m.exactly([&] { return m.append(text, true); });
     }},
    {"assignment", true,
     [](StringBuffer& b, const char* p, unsigned int) { return &(b = p) == &b; },
     [](PlainStorage& m, const std::string& text) { return m.append(text, true); }},
    {"setString", true, [](StringBuffer& b, const char* p, unsigned int) { return b.setString(p); },
     [](PlainStorage& m, const std::string& text) {
       m.weakClear();
       return m.append(text, true);
     }},
};

testing::AssertionResult takesAsIfCopied(const TakesPlace& taker, StringBuffer& buffer,
                                         const char* place, unsigned int n) {
  const std::string copy = taker.text ? std::string(place) : std::string(place, n);
  PlainStorage model = modelOf(buffer);
  const bool expected = taker.told(model, copy);
  bool result = false;
  const auto blocks = releasedBy([&] { result = taker.real(buffer, place, n); });
  if (result != expected) return differs("result", result, expected);
  if (model.secure && !allWiped(blocks)) return allWiped(blocks);
  return agrees(buffer, model);
}

// Whether the case exists; a text also needs its NUL inside the room.
bool expectTakes(const TakesPlace& taker, const OwnPlace& own) {
  StringBuffer buffer;
  const char* const inlineArray = buffer.getString();
  const bool isInlineArray = own.place == kPlaces - 1;
  if (isInlineArray && (own.capacity == 0 || own.size() >= own.room())) return false;
  const auto offset = isInlineArray ? std::optional(0U) : offsetOf(own);
  if (!offset) return false;
  const unsigned int end = *offset + own.length;
  if (taker.text && *offset > own.size() && end >= own.room()) return false;
  fillAround(buffer, own, isInlineArray ? kMost : end);
  if (buffer.getSize() != own.size()) return false;
  const char* const place =
      isInlineArray ? inlineArray + kInlineRoom - own.length : buffer.getString() + *offset;
  EXPECT_TRUE(takesAsIfCopied(taker, buffer, place, own.length)) << taker.name << ", " << own;
  return true;
}

int expectTakesEverywhere(const TakesPlace& taker, OwnPlace own,
                          const std::vector<unsigned int>& lengths = {1, 2, 7, 40}) {
  int cases = 0;
  for (const unsigned int length : lengths) {
    for (const int spare : {2, 1, 0, -1, -2}) {
      for (int place = 0; place < kPlaces; ++place) {
        own.length = length;
        own.spare = spare;
        own.place = place;
        cases += expectTakes(taker, own) ? 1 : 0;
      }
    }
  }
  return cases;
}

TEST(OwnArguments, AreTakenAsIfTheyHadBeenCopied) {
  for (const TakesPlace& taker : kTakesPlace) {
    for (const unsigned int capacity : {0U, 83U, 90U, 285U, 2000U}) {
      for (const unsigned int reserved : {0U, 1U, 1000U}) {
        for (const bool secure : {false, true}) {
          const OwnPlace own{capacity, 0, 0, reserved, secure, 0};
          EXPECT_GT(expectTakesEverywhere(taker, own), 40) << taker.name << ", " << own;
        }
      }
    }
  }
}

TEST(OwnArguments, AreTakenAsIfTheyHadBeenCopiedWhereStepsAreLinear) {
  for (const TakesPlace& taker : kTakesPlace) {
    for (const unsigned int reserved : {0U, 800000U}) {
      const OwnPlace own{1100000, 0, 0, reserved, true, 0};
      EXPECT_GT(expectTakesEverywhere(taker, own, {1, 40}), 40) << taker.name << ", " << own;
    }
  }
}

// From any byte to the end of the recorded room, which no longer fits.
TEST(OwnArguments, ReachToTheEndOfTheRoom) {
  for (const unsigned int capacity : {0U, 83U, 285U, 2000U}) {
    for (const unsigned int reserved : {0U, 1U, 1000U}) {
      for (const unsigned int cut : {1U, 10U, 70U}) {
        for (const unsigned int from : {0U, 1U, 9U}) {
          StringBuffer buffer;
          const OwnPlace own{capacity, cut, 0, reserved, false, 0};
          fillAround(buffer, own, kMost);
          const unsigned int offset = buffer.getSize() - std::min(from, buffer.getSize());
          EXPECT_TRUE(takesAsIfCopied(kTakesPlace[0], buffer, buffer.getString() + offset,
                                      own.room() - offset))
              << own << ", from " << from;
        }
      }
    }
  }
}

}  // namespace
