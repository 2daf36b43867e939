#ifndef DORVANE_SUPPORT_PARSEENGINE_H
#define DORVANE_SUPPORT_PARSEENGINE_H

#include <memory>
#include <string_view>

class StringBuffer;

/// A cursor over a text of its own. Deliberate: a null or empty marker never occurs, so that a
/// loop over markers always comes to its end.
class ParseEngine {
 public:
  /// Copies the text and puts the cursor at 0. The text may be this engine's own. When memory is
  /// exhausted, or the text is longer than 4294967294 bytes, the engine is empty, with false.
  bool setString(const char* text);

  /// The text, NUL-terminated; never null. Valid until setString().
  const char* getText() const noexcept { return m_text == nullptr ? "" : m_text.get(); }

  /// Length of the text in bytes.
  unsigned int getSize() const noexcept { return m_size; }

  /// The cursor: a position in the text, at most getSize().
  unsigned int getPosition() const noexcept { return m_position; }

  /// The text from the cursor on.
  const char* getRest() const noexcept { return getText() + m_position; }

  /// True when the cursor is at the end of the text.
  bool atEnd() const noexcept { return m_position == m_size; }

  /// Appends the text from the cursor up to the next occurrence of `marker`, puts the cursor on
  /// that occurrence and returns true; an occurrence at the cursor is the next one. When the
  /// marker does not occur again: false, and nothing changes. The cursor moves even when `out`
  /// cannot grow; the piece is left out then. Linear in the distance, as is the next one.
  bool captureToNext(const char* marker, StringBuffer& out);

  /// Appends the text from the cursor through the next occurrence of `marker` and puts the
  /// cursor behind it; the rest of the text, when the marker does not occur. The cursor moves
  /// even when `out` cannot grow; the piece is left out then, with false.
  bool seekAndCopy(const char* marker, StringBuffer& out);

 private:
  std::string_view rest() const noexcept { return {getRest(), m_size - m_position}; }
  bool moveAndCopy(std::size_t n, StringBuffer& out);

  std::unique_ptr<char[]> m_text;
  unsigned int m_size = 0;
  unsigned int m_position = 0;
};

#endif
