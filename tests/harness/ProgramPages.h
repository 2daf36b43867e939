#ifndef DORVANE_TESTS_HARNESS_PROGRAMPAGES_H
#define DORVANE_TESTS_HARNESS_PROGRAMPAGES_H

#include "support/Psdk.h"

namespace harness {

// The ANSI and OEM pages of the program while it lives; 0 is the default one.
class ProgramPages {
 public:
  explicit ProgramPages(int ansi, int oem = 0) { set(ansi, oem); }
  ~ProgramPages() { set(0, 0); }
  ProgramPages(const ProgramPages&) = delete;
  ProgramPages& operator=(const ProgramPages&) = delete;

 private:
  static void set(int ansi, int oem) {
    Psdk::setAnsiCodePage(ansi);
    Psdk::setOemCodePage(oem);
  }
};

}  // namespace harness

#endif
