#ifndef DORVANE_BENCH_RESULTS_H
#define DORVANE_BENCH_RESULTS_H

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/StringBuffer.h"
#include "support/DataBuffer.h"
#include "support/ExtPtrArraySb.h"

#if defined(DORVANE_BENCH_HAVE_QT)
#define QT_NO_KEYWORDS
#include <QByteArray>
#include <QList>
#include <QString>
#endif
#if defined(DORVANE_BENCH_HAVE_GLIB)
#include <glib.h>
#endif

// What the measured operations produce, and how it is compared: every result becomes a text.
namespace bench {

struct DeleteSb {
  void operator()(StringBuffer* buffer) const { StringBuffer::deleteSb(buffer); }
};
using OwnedSb = std::unique_ptr<StringBuffer, DeleteSb>;

inline std::string toText(const std::string& result) { return result; }

inline std::string toText(const StringBuffer& result) {
  return {result.getString(), result.getSize()};
}

inline std::string toText(const DataBuffer& result) {
  return {reinterpret_cast<const char*>(result.getData2()), result.getSize()};
}

/// The bytes of UTF-16, little-endian.
inline std::string toText(const std::u16string& result) {
  std::string bytes;
  for (const unsigned int unit : result) {
    bytes.push_back(static_cast<char>(unit & 0xFFU));
    bytes.push_back(static_cast<char>(unit >> 8U));
  }
  return bytes;
}

/// A count, a position, a yes or no.
template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
std::string toText(T result) {
  return std::to_string(result);
}

/// Collects the pieces of a list as one text. Each piece is closed by a byte that occurs in none.
class Pieces {
 public:
  void add(std::string_view piece) { m_text.append(piece).push_back('\x1E'); }
  const std::string& text() const { return m_text; }

 private:
  std::string m_text;
};

inline std::string toText(const std::vector<std::string>& result) {
  Pieces pieces;
  for (const std::string& piece : result) pieces.add(piece);
  return pieces.text();
}

inline std::string toText(const ExtPtrArraySb& result) {
  Pieces pieces;
  for (int i = 0; i < result.getSize(); ++i) pieces.add(toText(*result.sbAt(i)));
  return pieces.text();
}

#if defined(DORVANE_BENCH_HAVE_QT)

inline std::string toText(const QByteArray& result) { return result.toStdString(); }

inline std::string toText(const QString& result) { return toText(result.toLatin1()); }

inline std::string toText(const QList<QByteArray>& result) {
  Pieces pieces;
  for (const QByteArray& piece : result) pieces.add(toText(piece));
  return pieces.text();
}

inline QByteArray toQByteArray(const std::string& text) {
  return {text.data(), static_cast<int>(text.size())};
}

inline QString toQString(const std::string& text) {
  return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

#endif

#if defined(DORVANE_BENCH_HAVE_GLIB)

struct FreeGlib {
  void operator()(gchar* text) const { g_free(text); }
  void operator()(gchar** texts) const { g_strfreev(texts); }
  void operator()(GString* text) const { g_string_free(text, TRUE); }
};
using OwnedGchars = std::unique_ptr<gchar, FreeGlib>;
using OwnedGStrv = std::unique_ptr<gchar*, FreeGlib>;
using OwnedGString = std::unique_ptr<GString, FreeGlib>;

inline OwnedGString newGString() { return OwnedGString(g_string_new(nullptr)); }

inline std::string toText(const OwnedGchars& result) { return result.get(); }

inline std::string toText(const OwnedGString& result) { return {result->str, result->len}; }

inline std::string toText(const OwnedGStrv& result) {
  Pieces pieces;
  for (gchar** piece = result.get(); *piece != nullptr; ++piece) pieces.add(*piece);
  return pieces.text();
}

#endif

/// The object behind a pointer; below all other forms, so that it finds them.
template <class T, class Delete>
std::string toText(const std::unique_ptr<T, Delete>& result) {
  return toText(*result);
}

}  // namespace bench

#endif
