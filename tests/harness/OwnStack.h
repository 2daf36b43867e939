#ifndef DORVANE_TESTS_HARNESS_OWNSTACK_H
#define DORVANE_TESTS_HARNESS_OWNSTACK_H

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace harness {

// A thread whose stack is memory of the test: what a call leaves there can be read afterwards. (A
// sanitizer may keep the arrays of its functions elsewhere; then there is nothing to be seen.)
class OwnStack {
 public:
  OwnStack()
      : m_bytes(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
  ~OwnStack() { munmap(m_bytes, kSize); }
  OwnStack(const OwnStack&) = delete;
  OwnStack& operator=(const OwnStack&) = delete;

  // What `body` leaves on the stack. It runs twice: the first time the dynamic linker works on
  // the same stack and saves registers there.
  std::string after(const std::function<void()>& body) {
    for (int run = 0; run < 2; ++run) {
      EXPECT_EQ(madvise(m_bytes, kSize, MADV_DONTNEED), 0);  // full of zeros again
      runOnIt(body);
    }
    std::string_view used(static_cast<const char*>(m_bytes), kSize);
    const std::string untouched(kPage, '\0');
    while (used.substr(0, kPage) == untouched) used.remove_prefix(kPage);
    return std::string(used);
  }

 private:
  // A sanitizer may keep most of a megabyte at the top for itself.
  static constexpr std::size_t kSize = std::size_t{4} << 20U;
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kDistance = 65536;

  // Calls it far enough down that the end of the thread does not write there.
  static void* call(void* body) {
    volatile char distance[kDistance];
    distance[0] = '\0';
    (*static_cast<const std::function<void()>*>(body))();
    distance[1] = distance[0];
    return nullptr;
  }

  void runOnIt(std::function<void()> body) {
    pthread_attr_t attributes;
    pthread_t thread{};
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstack(&attributes, m_bytes, kSize), 0);
    ASSERT_EQ(pthread_create(&thread, &attributes, call, &body), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
  }

  void* m_bytes;
};

// A text no two pieces of which are alike.
inline std::string secretText(std::size_t size) {
  std::string text;
  for (unsigned int i = 0; text.size() < size; ++i) text += "secret " + std::to_string(i) + ", ";
  return text.substr(0, size);
}

// True when a call leaves a piece of the secret on the stack that is longer than a register.
inline testing::AssertionResult leavesOnStack(std::string_view secret,
                                              const std::function<void()>& body) {
  constexpr std::size_t kPiece = 32;
  const std::string stack = OwnStack().after(body);
  for (std::size_t at = 0; at + kPiece <= secret.size(); ++at) {
    if (stack.find(secret.substr(at, kPiece)) != std::string::npos)
      return testing::AssertionSuccess() << "the secret is left from byte " << at << " on";
  }
  return testing::AssertionFailure() << "nothing of the secret is left";
}

}  // namespace harness

#endif
