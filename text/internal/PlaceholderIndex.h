#ifndef DORVANE_TEXT_INTERNAL_PLACEHOLDERINDEX_H
#define DORVANE_TEXT_INTERNAL_PLACEHOLDERINDEX_H

#include <cstddef>
#include <memory>
#include <string_view>

namespace dorvane::internal {

/// What a text becomes when texts are put in place of "DV_ISO2022_1", "DV_ISO2022_2", ..., number
/// by number, each in place of the first occurrence there is by then. The result is the same as
/// replacing them one by one, but no byte is moved before write().
///
/// It is for hostile mail: a text of a megabyte with ten thousand short runs, where every
/// replacement would search from the start and move the rest of the text; runs that hold the
/// placeholders of the runs behind them, however deep; and long digits behind one marker, which
/// every number tries. All of this takes linear time but for a logarithm.
///
/// The texts form a tree: one that was put in may hold the placeholders of later numbers. An
/// occurrence with several digits may serve several numbers ("DV_ISO2022_12" serves 1, then 12). It
/// waits in the list of the next number that it can serve, and moves on when another one is taken.
class PlaceholderIndex {
 public:
  static constexpr char kMarker[] = "DV_ISO2022_";

  /// Size of the placeholder of a number.
  static std::size_t sizeOf(unsigned int number);

  /// For the numbers from `first`, at least 1, to `last`. `text` outlives the index.
  PlaceholderIndex(std::string_view text, unsigned int first, unsigned int last);

  /// False when memory was exhausted.
  bool ok() const { return m_ok; }

  /// True when no placeholder comes into being where this text meets others: it is not empty,
  /// does not go on with a placeholder that stands before it and does not end in one.
  static bool isSealed(std::string_view text);

  enum class Put { kDone, kRefused, kNoMemory };

  /// Puts a text, which outlives the index, in the first place of a number; without one there is
  /// nothing to do. Refused when the text is not sealed, or when the whole would not be shorter
  /// than `room` afterwards. Numbers are put in or skipped in ascending order, none after a
  /// refusal.
  Put put(unsigned int number, std::string_view text, std::size_t room);
  void skip(unsigned int number);

  /// True when a text was put in.
  bool isChanged() const { return m_changed; }
  /// Size of the whole as it stands now, and its bytes.
  std::size_t size() const { return m_size; }
  void write(char* out) const;

 private:
  static constexpr unsigned int kNone = 0xFFFFFFFF;

  // The text itself is piece 0; what is put in for a number is the piece of that number.
  struct Piece {
    std::string_view text;
    unsigned int waiting = kNone;  // the places that may serve the number, linked by `next`
    unsigned int firstInside = 0;  // where the places inside the piece begin, in their order
    unsigned int depth = 0;        // of the piece in the tree
    unsigned int place = kNone;    // the one that was taken, in the piece around this one
    unsigned int jump = kNone;     // the one that leads here from a piece further out
  };
  struct Place {
    unsigned int piece = 0;   // the one it lies in
    unsigned int filler = 0;  // the piece that was put in, or 0
    unsigned int next = kNone;
    std::size_t digits = 0;  // the offset behind the marker
  };

  unsigned int pieceOf(unsigned int number) const { return number - m_first + 1; }
  bool addPlacesIn(unsigned int piece, unsigned int after);
  bool addPlace(unsigned int piece, std::size_t digits, unsigned int after);
  bool makeRoomForPlace();
  unsigned int nextNumber(const Place& place, unsigned int after) const;
  void wait(unsigned int place, unsigned int number);
  unsigned int firstPlaceOf(unsigned int number) const;
  void plant(unsigned int piece, unsigned int place);
  const Piece& pieceAround(unsigned int place) const { return m_pieces[m_places[place].piece]; }
  unsigned int ascend(unsigned int place, unsigned int depth) const;
  bool standsBefore(unsigned int a, unsigned int b) const;
  unsigned int fillerBehind(unsigned int piece, unsigned int place) const;

  unsigned int m_first;
  unsigned int m_last;
  std::unique_ptr<Piece[]> m_pieces;
  std::unique_ptr<Place[]> m_places;
  unsigned int m_placeCount = 0;
  unsigned int m_placeCapacity = 0;
  std::size_t m_size;
  bool m_changed = false;
  bool m_ok;
};

}  // namespace dorvane::internal

#endif
