#ifndef DORVANE_SUPPORT_PSDK_H
#define DORVANE_SUPPORT_PSDK_H

/// The code pages that "ANSI" and "OEM" stand for. Any thread may call any of these at any time.
class Psdk {
 public:
  /// The ANSI code page: the one that was set, else 1252.
  static int getAnsiCodePage() noexcept;

  /// The OEM code page: the one that was set, else 437.
  static int getOemCodePage() noexcept;

  /// Sets the ANSI code page of the whole program; 0 goes back to 1252.
  static void setAnsiCodePage(int codePage) noexcept;

  /// Sets the OEM code page of the whole program; 0 goes back to 437.
  static void setOemCodePage(int codePage) noexcept;
};

#endif
