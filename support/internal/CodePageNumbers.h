#ifndef DORVANE_SUPPORT_INTERNAL_CODEPAGENUMBERS_H
#define DORVANE_SUPPORT_INTERNAL_CODEPAGENUMBERS_H

namespace dorvane::internal {

// The Windows numbers of the code pages that the library names itself.
inline constexpr int kUtf7Page = 65000;
inline constexpr int kUtf8Page = 65001;
inline constexpr int kUtf16LePage = 1200;
inline constexpr int kUtf16BePage = 1201;
inline constexpr int kUtf32LePage = 12000;
inline constexpr int kUtf32BePage = 12001;
inline constexpr int kUsAsciiPage = 20127;

}  // namespace dorvane::internal

#endif
