#include "support/Psdk.h"

#include <atomic>

namespace {

constexpr int kUsualAnsiCodePage = 1252;
constexpr int kUsualOemCodePage = 437;

std::atomic<int> g_ansiCodePage{0};
std::atomic<int> g_oemCodePage{0};

}  // namespace

int Psdk::getAnsiCodePage() noexcept {
  const int chosen = g_ansiCodePage.load(std::memory_order_relaxed);
  return chosen != 0 ? chosen : kUsualAnsiCodePage;
}

int Psdk::getOemCodePage() noexcept {
  const int chosen = g_oemCodePage.load(std::memory_order_relaxed);
  return chosen != 0 ? chosen : kUsualOemCodePage;
}

void Psdk::setAnsiCodePage(int codePage) noexcept {
  g_ansiCodePage.store(codePage, std::memory_order_relaxed);
}

void Psdk::setOemCodePage(int codePage) noexcept {
  g_oemCodePage.store(codePage, std::memory_order_relaxed);
}
