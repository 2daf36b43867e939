#include "text/internal/PlaceholderIndex.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "support/internal/NewArray.h"
#include "support/internal/Search.h"

namespace dorvane::internal {
namespace {

constexpr std::string_view kMarkerText = PlaceholderIndex::kMarker;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// True when a placeholder may begin at the start of `text` and not be complete at its end.
bool isOpenPlaceholder(std::string_view text) {
  if (text.size() <= kMarkerText.size()) return text == kMarkerText.substr(0, text.size());
  return text.substr(0, kMarkerText.size()) == kMarkerText &&
         std::all_of(text.begin() + kMarkerText.size(), text.end(), isDigit);
}

}  // namespace

std::size_t PlaceholderIndex::sizeOf(unsigned int number) {
  std::size_t size = kMarkerText.size() + 1;
  for (; number > 9; number /= 10) ++size;
  return size;
}

PlaceholderIndex::PlaceholderIndex(std::string_view text, unsigned int first, unsigned int last)
    : m_first(first),
      m_last(last),
      m_pieces(newArray<Piece>(std::uint64_t{last} - first + 2)),
      m_size(text.size()),
      m_ok(m_pieces != nullptr) {
  if (!m_ok) return;
  m_pieces[0].text = text;
  m_ok = addPlacesIn(0, first - 1);
}

bool PlaceholderIndex::isSealed(std::string_view text) {
  if (text.empty() || isDigit(text.front())) return false;
  if (kMarkerText.find(text.front(), 1) != std::string_view::npos) return false;
  // The first letter of the marker occurs in it only once.
  const std::size_t last = text.rfind(kMarkerText.front());
  return last == std::string_view::npos || !isOpenPlaceholder(text.substr(last));
}

// ---- Places ----

bool PlaceholderIndex::addPlacesIn(unsigned int piece, unsigned int after) {
  m_pieces[piece].firstInside = m_placeCount;
  const std::string_view all = m_pieces[piece].text;
  std::string_view rest = all;
  while (const char* const marker = findBytes(rest, kMarkerText)) {
    rest.remove_prefix(static_cast<std::size_t>(marker - rest.data()) + kMarkerText.size());
    if (!addPlace(piece, all.size() - rest.size(), after)) return false;
  }
  return true;
}

bool PlaceholderIndex::addPlace(unsigned int piece, std::size_t digits, unsigned int after) {
  Place place;
  place.piece = piece;
  place.digits = digits;
  const unsigned int number = nextNumber(place, after);
  if (number == 0) return true;
  if (!makeRoomForPlace()) return false;
  m_places[m_placeCount] = place;
  wait(m_placeCount++, number);
  return true;
}

bool PlaceholderIndex::makeRoomForPlace() {
  if (m_placeCount < m_placeCapacity) return true;
  if (m_placeCapacity > kNone / 2) return false;
  const unsigned int capacity = std::max(16U, m_placeCapacity * 2);
  std::unique_ptr<Place[]> places(newArray<Place>(capacity));
  if (places == nullptr) return false;
  std::copy_n(m_places.get(), m_placeCount, places.get());
  m_places = std::move(places);
  m_placeCapacity = capacity;
  return true;
}

// The smallest number above `after` that the digits of a place begin with, or 0.
unsigned int PlaceholderIndex::nextNumber(const Place& place, unsigned int after) const {
  std::uint64_t number = 0;
  for (const char c : m_pieces[place.piece].text.substr(place.digits)) {
    if (!isDigit(c)) break;
    number = number * 10 + static_cast<unsigned int>(c - '0');
    if (number == 0 || number > m_last) break;
    if (number > after) return static_cast<unsigned int>(number);
  }
  return 0;
}

void PlaceholderIndex::wait(unsigned int place, unsigned int number) {
  Piece& piece = m_pieces[pieceOf(number)];
  m_places[place].next = piece.waiting;
  piece.waiting = place;
}

// ---- Order ----

unsigned int PlaceholderIndex::firstPlaceOf(unsigned int number) const {
  unsigned int first = m_pieces[pieceOf(number)].waiting;
  if (first == kNone) return kNone;
  for (unsigned int i = m_places[first].next; i != kNone; i = m_places[i].next)
    if (standsBefore(i, first)) first = i;
  return first;
}

// A piece jumps as far as two equal jumps from the piece around it, or else only to that piece.
// So every ancestor is a logarithmic number of jumps away, and pieces of one depth jump equally
// far (E. W. Myers, An applicative random-access stack, 1983).
void PlaceholderIndex::plant(unsigned int piece, unsigned int place) {
  const Piece& outer = pieceAround(place);
  Piece& planted = m_pieces[piece];
  planted.place = planted.jump = place;
  planted.depth = outer.depth + 1;
  if (outer.jump == kNone) return;
  const Piece& further = pieceAround(outer.jump);
  if (further.jump == kNone) return;
  if (outer.depth - further.depth == further.depth - pieceAround(further.jump).depth)
    planted.jump = further.jump;
}

// The place, in the piece of that depth, in which the given place lies.
unsigned int PlaceholderIndex::ascend(unsigned int place, unsigned int depth) const {
  while (pieceAround(place).depth > depth) {
    const Piece& piece = pieceAround(place);
    place = pieceAround(piece.jump).depth >= depth ? piece.jump : piece.place;
  }
  return place;
}

bool PlaceholderIndex::standsBefore(unsigned int a, unsigned int b) const {
  const unsigned int depth = std::min(pieceAround(a).depth, pieceAround(b).depth);
  a = ascend(a, depth);
  b = ascend(b, depth);
  while (m_places[a].piece != m_places[b].piece) {
    const Piece& aroundA = pieceAround(a);
    const Piece& aroundB = pieceAround(b);
    const bool jumps = aroundA.jump != aroundB.jump;
    a = jumps ? aroundA.jump : aroundA.place;
    b = jumps ? aroundB.jump : aroundB.place;
  }
  return a < b;
}

// ---- Putting in ----

PlaceholderIndex::Put PlaceholderIndex::put(unsigned int number, std::string_view text,
                                            std::size_t room) {
  const unsigned int place = firstPlaceOf(number);
  if (place == kNone) return Put::kDone;
  const std::size_t size = m_size - sizeOf(number) + text.size();
  if (size >= room || !isSealed(text)) return Put::kRefused;
  const unsigned int filler = pieceOf(number);
  m_pieces[filler].text = text;
  if (!addPlacesIn(filler, number)) return Put::kNoMemory;
  plant(filler, place);
  m_places[place].filler = filler;
  m_size = size;
  m_changed = true;
  skip(number);
  return Put::kDone;
}

void PlaceholderIndex::skip(unsigned int number) {
  unsigned int next = kNone;
  for (unsigned int i = m_pieces[pieceOf(number)].waiting; i != kNone; i = next) {
    const Place& place = m_places[i];
    next = place.next;
    const unsigned int later = place.filler == 0 ? nextNumber(place, number) : 0;
    if (later != 0) wait(i, later);
  }
}

// ---- The result ----

// The first place at or behind `place` in a piece that was filled, or kNone.
unsigned int PlaceholderIndex::fillerBehind(unsigned int piece, unsigned int place) const {
  for (; place < m_placeCount && m_places[place].piece == piece; ++place)
    if (m_places[place].filler != 0) return place;
  return kNone;
}

void PlaceholderIndex::write(char* out) const {
  unsigned int piece = 0;
  unsigned int place = m_pieces[0].firstInside;
  std::size_t from = 0;
  for (;;) {
    place = fillerBehind(piece, place);
    const std::string_view text = m_pieces[piece].text;
    const std::size_t end =
        place == kNone ? text.size() : m_places[place].digits - kMarkerText.size();
    std::memcpy(out, text.data() + from, end - from);
    out += end - from;
    if (place != kNone) {
      piece = m_places[place].filler;
      place = m_pieces[piece].firstInside;
      from = 0;
    } else {
      if (piece == 0) return;
      place = m_pieces[piece].place;
      from = m_places[place].digits - kMarkerText.size() + sizeOf(m_first + piece - 1);
      piece = m_places[place++].piece;
    }
  }
}

}  // namespace dorvane::internal
