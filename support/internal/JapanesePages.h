#ifndef DORVANE_SUPPORT_INTERNAL_JAPANESEPAGES_H
#define DORVANE_SUPPORT_INTERNAL_JAPANESEPAGES_H

// The functions of the Japanese pages of Windows, 51932 and 50220 to 50222; a CodePage says what
// each does.

namespace dorvane::internal {

struct ByteBlock;
struct CharacterBlock;
struct CodePage;
struct Faults;
class SourceText;

// ---- EUC

void decodeEuc932(const CodePage& page, SourceText& source, CharacterBlock& block,
                  unsigned int limit) noexcept;

void encodeEuc932(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
                  Faults& faults) noexcept;

// ---- ISO-2022

void decodeIso932(const CodePage& page, SourceText& source, CharacterBlock& block,
                  unsigned int limit) noexcept;

void encodeIso932(const CodePage& page, const CharacterBlock& block, ByteBlock& bytes,
                  Faults& faults) noexcept;

void finishIso932(const CodePage& page, ByteBlock& bytes) noexcept;

}  // namespace dorvane::internal

#endif
