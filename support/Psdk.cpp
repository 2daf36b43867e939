#include "support/Psdk.h"

#include <atomic>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

std::atomic<int> g_ansiCodePage{0};
std::atomic<int> g_oemCodePage{0};

#if defined(_WIN32)
int hostAnsiCodePage() noexcept { return static_cast<int>(GetACP()); }
int hostOemCodePage() noexcept { return static_cast<int>(GetOEMCP()); }
#else
int hostAnsiCodePage() noexcept { return 1252; }
int hostOemCodePage() noexcept { return 437; }
#endif

}  // namespace

int Psdk::getAnsiCodePage() noexcept {
  const int chosen = g_ansiCodePage.load(std::memory_order_relaxed);
  return chosen != 0 ? chosen : hostAnsiCodePage();
}

int Psdk::getOemCodePage() noexcept {
  const int chosen = g_oemCodePage.load(std::memory_order_relaxed);
  return chosen != 0 ? chosen : hostOemCodePage();
}

void Psdk::setAnsiCodePage(int codePage) noexcept {
  g_ansiCodePage.store(codePage, std::memory_order_relaxed);
}

void Psdk::setOemCodePage(int codePage) noexcept {
  g_oemCodePage.store(codePage, std::memory_order_relaxed);
}
