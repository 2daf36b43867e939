#ifndef DORVANE_BENCH_HARNESS_H
#define DORVANE_BENCH_HARNESS_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/Results.h"

/// A benchmark is an operation, done by several peers on the same input at several sizes. It is
/// written once per peer as a function that prepares what is not measured and returns what is:
///
///     Operation<std::string>("Copy", "copyConstructor", kSizes, words)
///         .peer("ours", [](const std::string& input) {
///           return [source = StringBuffer(input.c_str())](const auto& use) {
///             const StringBuffer copy(source);
///             use(copy);
///           };
///         })
///         .peer("std", ...)
///         .enroll();
///
/// The first peer is "ours", the second "std"; each result is checked against the other of these
/// two before it is measured.
namespace bench {

using Sizes = std::vector<std::size_t>;

/// Empty; usual; the last inline size and the first on the heap; a short, a medium, a long text.
inline const Sizes kSizes = {0, 20, 81, 82, 200, 4096, 1 << 20};
inline const Sizes kSizesOfContent = {20, 81, 82, 200, 4096, 1 << 20};

/// Where the storage makes no difference: a usual, a short, a medium, a long text.
inline const Sizes kSizesOfTexts = {20, 200, 4096, 1 << 20};

/// How often each benchmark runs; the fastest run counts.
inline constexpr int kRounds = 3;

/// Names of the benchmarks whose result was wrong.
std::vector<std::string>& failures();

/// One operation of a family, done by several peers.
template <class Input>
class Operation {
 public:
  /// `makeInput(size)` gives the same input whenever it is called.
  template <class MakeInput>
  Operation(std::string family, std::string name, Sizes sizes, MakeInput makeInput)
      : m_family(std::move(family)),
        m_name(std::move(name)),
        m_sizes(std::move(sizes)),
        m_makeInput(std::move(makeInput)) {}

  /// `prepare(input)` answers the function to measure. That hands its result to its argument,
  /// while the result lives, and so builds and destroys it in the measured time.
  template <class Prepare>
  Operation& peer(const char* name, Prepare prepare) {
    const auto answer = [prepare](const Input& input) {
      std::string text;
      prepare(input)([&text](const auto& result) { text = toText(result); });
      return text;
    };
    const auto measure = [prepare](benchmark::State& state, const Input& input) {
      auto run = prepare(input);
      benchmark::DoNotOptimize(&run);  // no run may borrow the result of the one before
      for (auto _ : state) run([](const auto& result) { benchmark::DoNotOptimize(&result); });
    };
    m_peers.push_back({name, answer, measure});
    return *this;
  }

  /// A peer that answers from a text of its own type: `answer(text)` is measured, `text` is not.
  template <class Text, class Answer>
  Operation& peerOn(const char* name, Answer answer) {
    return peer(name, [answer](const std::string& input) {
      return [answer, text = Text(input.c_str())](const auto& use) { use(answer(text)); };
    });
  }

  /// A peer that changes a text of its own type in place by `change(text)`. Each run changes a
  /// fresh copy, and making that is part of what is measured.
  template <class Text, class Change>
  Operation& peerInPlace(const char* name, Change change) {
    return peer(name, [change](const std::string& input) {
      return [change, source = Text(input.c_str())](const auto& use) {
        Text out(source);
        change(out);
        use(out);
      };
    });
  }

  /// Registers "family/operation/peer/size" for all peers and sizes, each several times. The
  /// peers of a size take turns, so that a machine that changes its speed treats them alike.
  void enroll() {
    const auto self = std::make_shared<const Operation>(std::move(*this));
    for (const std::size_t size : self->m_sizes)
      for (int round = 0; round < kRounds; ++round)
        for (std::size_t peer = 0; peer < self->m_peers.size(); ++peer) enroll(self, peer, size);
  }

 private:
  struct Peer {
    std::string name;
    std::function<std::string(const Input&)> answer;
    std::function<void(benchmark::State&, const Input&)> measure;
  };

  static void enroll(const std::shared_ptr<const Operation>& self, std::size_t peer,
                     std::size_t size) {
    const std::string name = self->benchmarkName(peer, size);
    benchmark::RegisterBenchmark(
        name.c_str(), [self, peer, size, checked = false](benchmark::State& state) mutable {
          const Input input = self->m_makeInput(size);
          if (!checked) checked = self->check(state, peer, size, input);
          if (checked) self->m_peers[peer].measure(state, input);
        });
  }

  std::string benchmarkName(std::size_t peer, std::size_t size) const {
    return m_family + '/' + m_name + '/' + m_peers[peer].name + '/' + std::to_string(size);
  }

  bool check(benchmark::State& state, std::size_t peer, std::size_t size,
             const Input& input) const {
    const Peer& other = m_peers[peer == 0 ? 1 : 0];
    if (m_peers[peer].answer(input) == other.answer(input)) return true;
    failures().push_back(benchmarkName(peer, size));
    state.SkipWithError(("the result is not that of " + other.name).c_str());
    return false;
  }

  std::string m_family;
  std::string m_name;
  Sizes m_sizes;
  std::function<Input(std::size_t)> m_makeInput;
  std::vector<Peer> m_peers;
};

// ---- Inputs: the same bytes in every run ----

/// Lower-case words of 2 to 9 letters, separated by single spaces.
std::string words(std::size_t size);

/// Words, in which marks take the place of some bytes: one mark about every `distance` bytes, the
/// marks in turn, and at least one if it fits.
std::string wordsWithMarks(std::size_t size, std::size_t distance,
                           const std::vector<std::string>& marks);

}  // namespace bench

#endif
