#ifndef DORVANE_TESTS_PAGES_PAGETEST_H
#define DORVANE_TESTS_PAGES_PAGETEST_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/StringBuffer.h"
#include "harness/TempDir.h"
#include "support/ContentCoding.h"
#include "support/DataBuffer.h"
#include "support/EncodingConvert.h"
#include "support/ExtPtrArraySb.h"
#include "support/LogNull.h"

// What the examples of a page stand in: a directory of their own, and show().
class PageTest : public testing::Test {
 protected:
  PageTest() { std::filesystem::current_path(m_directory.path()); }
  ~PageTest() override { std::filesystem::current_path(m_before); }

  void show(const StringBuffer& buffer) { showBytes({buffer.getString(), buffer.getSize()}); }
  void show(const DataBuffer& data) {
    showBytes({reinterpret_cast<const char*>(data.getData2()), data.getSize()});
  }
  void show(bool value) { shown.emplace_back(value ? "true" : "false"); }
  void show(int value) { shown.push_back(std::to_string(value)); }
  void show(unsigned int value) { shown.push_back(std::to_string(value)); }
  void show(const char* text) = delete;  // would be shown as a truth value

  std::vector<std::string> shown;

 private:
  void showBytes(std::string_view bytes) {
    std::string line;
    for (const char c : bytes) line += printable(c);
    shown.push_back(line.empty() ? "(empty)" : line);
  }

  static std::string printable(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F) return {c};
    char hex[5];
    std::snprintf(hex, sizeof hex, "<%02X>", byte);
    return hex;
  }

  const std::filesystem::path m_before = std::filesystem::current_path();
  harness::TempDir m_directory;
};

#endif
